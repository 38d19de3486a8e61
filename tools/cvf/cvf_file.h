// Conversion files as bytes: making one from the catalogue's tables, and taking one apart. The format is told
// in docs/conversion-file.md.
//
// Units: bytes. Part of a tool of the build: it allocates, and may throw std::bad_alloc.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "utils/locale/csconv_cvf.h"
#include "utils/locale/utlocale.h"

using CvfMap = std::array<a_byte, CVF_MAP_SIZE>;

// Two single-byte rows. A character that the destination lacks becomes its substitution byte.
[[nodiscard]] CvfMap make_cvf_map(const CharsetInfo & dest, const CharsetInfo & src);

// A file for all pairs of `charsets`, which are single-byte rows.
[[nodiscard]] std::vector<a_byte> make_cvf_file(std::span<const CharsetInfo * const> charsets);

struct a_cvf_contents {
    std::string info;
    std::vector<std::string> names;
    std::vector<CvfHeaderRec> cells; // rows by source, columns by destination
};

// None: the file is of another version, or isn't whole; every cell's map is inside of it otherwise.
[[nodiscard]] std::optional<a_cvf_contents> parse_cvf_file(std::span<const a_byte> file);
