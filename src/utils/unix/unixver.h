// The version record of a file: a block of text that stands somewhere in a library or program and is found by
// its marker, so that any tool can read it without loading the file. docs/version-record.md tells the form.
//
// Nothing in a file is believed: no read goes outside of what was captured of it, and what is broken is no
// record.
//
// Units: bytes. Ownership: a tc holds all that its pointers point to; it is large (7 KB) and no pointer of it
// survives a plain copy, see __Clone_dbversion_info. Failure: the result; nothing is reported. Threads: any,
// each with tcs of its own.
#pragma once

#include <sys/types.h>

#include "utils/etc/uttypes.h"

constexpr uint32 DBVERSION_MAX_ARGS = 100;
constexpr uint32 DBVERSION_MAX_EXTS = 32;
constexpr size_t DBVERSION_MAX_LENGTH = 4096; // what is captured behind the marker

enum an_info_found { FOUND_NOTHING = 0, FOUND_DBVERSION = 1 };

// One entry, key=value. In the buffer a NUL has taken the place of `=`.
struct ta {
    char * label;
    char * equal; // null for an entry that was blanked
    char * value;
};

// One extension.
struct tb {
    char * label;  // one character, no string
    int len;       // as the file says: of the data, no more than `length` tells was captured
    uint8 * value; // inside `buffer` or at its end; null without extension data
};

struct tc {
    uint32 num_args;
    ta args[DBVERSION_MAX_ARGS];
    uint32 num_exts;
    tb exts[DBVERSION_MAX_EXTS];
    off_t file_offset;  // of the bytes behind the marker
    uint32 length;      // how many of these were captured
    uint32 data_length; // how many of those the record takes up
    uint8 * extensions; // start of the extension data, or null
    char buffer[DBVERSION_MAX_LENGTH];
};

// Reads the record of `fname`; without follow_link a symbolic link has none. FOUND_DBVERSION: *info is the
// record; it has no entries if a later part of the file couldn't be read. FOUND_NOTHING: *info has neither
// entries nor extensions.
an_info_found __Get_dbversion_info(const char * fname, tc * info, a_bool follow_link);

// Finds the first marker in `size` bytes at `buffer`, unless a NUL follows it, and captures what stands
// behind it into info->buffer and info->length. The offset behind the marker; -1 without one, and *info stays
// as it was.
ssize_t __Get_dbversion_info_mem(const char * buffer, size_t size, tc * info);

// The first entry or extension with the key, or the first character, of `label`; case doesn't matter for
// keys. -1 or null: none.
[[nodiscard]] int __Find_arg_index(const tc * info, const char * label);
[[nodiscard]] char * __Find_arg(const tc * info, const char * label);
[[nodiscard]] int __Find_ext_index(const tc * info, const char * label);

// The value; without one `def`, and if that is null `label`.
[[nodiscard]] const char * __Find_arg_safe(const tc * info, const char * label, const char * def);

// Copies a record, whose pointers then point into the copy.
void __Clone_dbversion_info(const tc * old_info, tc * new_info);

// Blanks the entry with the key `zap`, and each extension that a character of `xap` names, in the file that
// `info` was read from; both may be null. FALSE: the file can't be opened for update, holds fewer bytes there
// than `info` tells of, or can't be written; in the last case parts may be blank.
[[nodiscard]] a_bool __Zap_dbversion_info(const char * fname, const tc * info, char * zap, char * xap);

// The four numbers of a file's version; of a key that comes twice, the later one. FALSE, and none is set: the
// file has no record, or not all four.
[[nodiscard]] a_bool GetORVUnixVer(const char * file, int * major, int * minor, int * patch, int * build);
