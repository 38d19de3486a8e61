// The conversion file: byte maps for pairs of single-byte character sets, made beforehand, so that a machine
// without an ICU build converts between them properly. The format is told in docs/conversion-file.md.
//
// A conversion file is an installed file that anyone may have put there, so nothing in it is believed: every
// read that falls short, and every name or offset that leads nowhere, means that there is no map. The lists
// that are walked are bounded by the file's size. Units: bytes. Ownership: the caller's file and buffers.
// Failure: the result; nothing is reported. Threads: free on any, with a file each.
#pragma once

#include <cstdio>

#include "utils/etc/uttypes.h"

struct CharsetInfo;

constexpr const char * CVF_FILE_NAME = "orvany.cvf";
constexpr const char * CVF_VERSION = "version=2;"; // part of every file's information text
constexpr size_t CVF_MAP_SIZE = 128;               // the destination's bytes for 0x80 to 0xFF

// One cell of a file's matrix: where a pair's map is, if there is one.
struct CvfHeaderRec {
    uint32 value;

    [[nodiscard]] uint32 tablePos() const { return value & 0x3FFFFFFF; }
    [[nodiscard]] uint32 isBytemap() const { return value >> 30; }
};

// Reads the map from `src_csinfo` to `dest_csinfo`, CVF_MAP_SIZE bytes, from any position of `file`. FALSE:
// there is none, and `upper128` is undefined.
[[nodiscard]] a_bool read_cvf_map(FILE * file, a_byte * upper128, const CharsetInfo * dest_csinfo,
                                  const CharsetInfo * src_csinfo);
