// Language resource files as bytes: making one from numbered strings, and taking one apart. The format is
// told in docs/resource-file.md.
//
// Units: bytes; offsets count from the start of the file, integers are little-endian. Part of a tool of the
// build: it allocates, and may throw std::bad_alloc. No state, any thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// The width of each level of the tree in bits, first level first; unused levels hold 0.
using a_level_bits = std::array<std::uint8_t, 4>;

// The strings by number, in the file's character set.
using a_string_map = std::map<std::uint16_t, std::string>;

constexpr std::uint32_t res_signature = 0x4F534552;
constexpr std::uint32_t res_endian_detect = 0x12345678;
constexpr std::uint32_t res_format_version = 0;
constexpr std::size_t res_header_size = 20;

// Strings that the reader itself asks for.
constexpr std::uint16_t res_version_id = 5000;
constexpr std::uint16_t res_charset_id = 8643;

// The levels that give the smallest file for these numbers; of several, those with the fewest levels, so that
// a look-up reads least.
[[nodiscard]] a_level_bits smallest_levels(const a_string_map & strings);

// A file with the given levels, which add up to 16. A text that stands under several numbers is written once.
// The same strings give the same bytes.
[[nodiscard]] std::vector<std::uint8_t> make_res_file(const a_string_map & strings,
                                                      const a_level_bits & levels);

struct a_res_contents {
    a_level_bits levels{};
    std::map<std::uint16_t, std::string_view> strings; // they lie in the file's bytes
    std::vector<std::string> faults;
};

// Takes a file apart and believes nothing in it. Each fault is a line, the first hundred of them; `strings`
// holds what is whole nevertheless.
[[nodiscard]] a_res_contents read_res_file(std::span<const std::uint8_t> file);
