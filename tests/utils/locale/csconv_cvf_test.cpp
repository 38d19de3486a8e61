#include "utils/locale/csconv_cvf.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/catalogue.h"
#include "tools/cvf/cvf_file.h"

namespace {

using File = std::vector<a_byte>;

struct a_reading {
    bool found;
    CvfMap map;
};

a_reading read(File file, const char * dest, const char * src)
{
    a_reading reading = {};
    // fmemopen has no file without a byte: it writes behind the block that it makes for one.
    FILE * opened = file.empty() ? fopen("/dev/null", "rb") : fmemopen(file.data(), file.size(), "rb");
    const std::unique_ptr<FILE, int (*)(FILE *)> stream(opened, fclose);
    if (stream != nullptr) {
        reading.found = read_cvf_map(stream.get(), reading.map.data(), charset(dest), charset(src)) != FALSE;
    }
    return reading;
}

// A file by hand, so that a fault of the tool that writes them doesn't hide one of the reader.
struct a_layout {
    uint32 header_pos = 0; // 0: behind the names
    std::string info = "orv; version=2; by hand";
    uint32 num_charsets = 2;
    std::vector<std::string> names = {"windows-1252", "IBM850"};
    std::vector<uint32> matrix = {0, 0x40000000, 0x80000000, 0}; // completed by the maps' places
    size_t maps = 2;
};

void put(File & file, uint32 number)
{
    for (int shift = 0; shift < 32; shift += 8) {
        file.push_back(static_cast<a_byte>(number >> shift));
    }
}

void put(File & file, const std::string & text)
{
    file.push_back(static_cast<a_byte>(text.size()));
    file.insert(file.end(), text.begin(), text.end());
}

// The maps hold 1, 2, ... throughout.
File build(const a_layout & layout)
{
    File names;
    for (const std::string & name : layout.names) {
        put(names, name);
    }
    const size_t matrix = 4 + 1 + layout.info.size() + 4 + names.size();
    const size_t maps = matrix + 4 * layout.matrix.size();
    File file;
    put(file, layout.header_pos != 0 ? layout.header_pos : static_cast<uint32>(matrix));
    put(file, layout.info);
    put(file, layout.num_charsets);
    file.insert(file.end(), names.begin(), names.end());
    size_t next = 0;
    for (const uint32 cell : layout.matrix) {
        const bool has_place = cell == 0x40000000 || cell == 0x80000000 || cell == 0xC0000000;
        put(file, has_place ? cell | static_cast<uint32>(maps + CVF_MAP_SIZE * next++) : cell);
    }
    for (size_t i = 1; i <= layout.maps; i++) {
        file.insert(file.end(), CVF_MAP_SIZE, static_cast<a_byte>(i));
    }
    return file;
}

TEST(ConversionFile, RowsAreSourcesAndColumnsDestinations)
{
    const File file = build({});
    const a_reading to_850 = read(file, "IBM850", "windows-1252");
    ASSERT_TRUE(to_850.found);
    EXPECT_EQ(to_850.map[0], 1);
    EXPECT_EQ(to_850.map[127], 1);
    const a_reading to_1252 = read(file, "windows-1252", "IBM850");
    ASSERT_TRUE(to_1252.found);
    EXPECT_EQ(to_1252.map[0], 2);
}

struct a_bad_file {
    const char * what;
    a_layout layout;
};

TEST(ConversionFile, WhatLiesGivesNoMap)
{
    const a_bad_file files[] = {
        {"another version", {.info = "version=3;"}},
        {"a version cut short", {.info = "version=2"}},
        {"a version behind the text's end", {.info = std::string("orv\0version=2;", 14)}},
        {"no information", {.info = ""}},
        {"no character sets", {.num_charsets = 0}},
        {"more names than there are", {.num_charsets = 5, .names = {"windows-1252"}}},
        {"names without end", {.num_charsets = 0xFFFFFFFF, .names = {"windows-1252", "KOI8-R"}}},
        {"a name missing", {.names = {"windows-1252", "KOI8-R"}}},
        {"a count that hides a name", {.num_charsets = 1}},
        {"a place without a map", {.matrix = {0, 0x00000040, 0x00000040, 0}}},
        {"a place behind the end", {.matrix = {0, 0x7FFFFFFF, 0x7FFFFFFF, 0}}},
        {"a matrix behind the end", {.header_pos = 0xFFFFFFF0}},
        {"half a map", {.matrix = {0, 0x40000000, 0x40000000, 0}, .maps = 0}},
    };
    for (const a_bad_file & bad : files) {
        EXPECT_FALSE(read(build(bad.layout), "IBM850", "windows-1252").found) << bad.what;
    }
}

// The first pair of a layout is whole, so each byte that is missing is one that the reader needs.
TEST(ConversionFile, CutAtAnyByteItGivesNoMap)
{
    a_layout layout;
    layout.matrix = {0, 0x40000000, 0, 0};
    layout.maps = 1;
    const File file = build(layout);
    ASSERT_TRUE(read(file, "IBM850", "windows-1252").found);
    for (size_t size = 0; size < file.size(); size++) {
        EXPECT_FALSE(
            read(File(file.begin(), file.begin() + static_cast<ptrdiff_t>(size)), "IBM850", "windows-1252")
                .found)
            << size;
    }
}

TEST(ConversionFile, NamesMayBeUnknownOrSayARowTwice)
{
    const struct {
        const char * what;
        std::vector<std::string> names;
        size_t cell; // the one with a map
    } rows[] = {
        {"the later name of a row counts", {"windows-1252", "cp1252", "IBM850"}, 1 * 3 + 2},
        {"unless both are known by then", {"windows-1252", "IBM850", "cp1252"}, 0 * 3 + 1},
        {"unknown names", {"", "of a later version", "windows-1252", "IBM850"}, 2 * 4 + 3},
    };
    for (const auto & row : rows) {
        a_layout layout;
        layout.num_charsets = static_cast<uint32>(row.names.size());
        layout.names = row.names;
        layout.matrix.assign(row.names.size() * row.names.size(), 0);
        layout.matrix[row.cell] = 0x40000000;
        layout.maps = 1;
        EXPECT_TRUE(read(build(layout), "IBM850", "windows-1252").found) << row.what;
    }
}

// 4 * 0x40000000 is 0 in 32 bits.
TEST(ConversionFile, AMatrixThatWrapsReadsACellOfTheFile)
{
    a_layout layout;
    layout.num_charsets = 0x40000000;
    layout.names = {"IBM850", "windows-1252"}; // destination 0, source 1
    layout.matrix = {0x40000000};
    layout.maps = 1;
    const a_reading reading = read(build(layout), "IBM850", "windows-1252");
    ASSERT_TRUE(reading.found);
    EXPECT_EQ(reading.map[5], 1);
}

// ---- The tool's files

std::vector<const CharsetInfo *> single_byte_rows()
{
    std::vector<const CharsetInfo *> rows;
    for (const CharsetInfo & charset : UTLocale::_charset_info) {
        if (!charset.is_mbcs()) {
            rows.push_back(&charset);
        }
    }
    return rows;
}

TEST(ConversionFile, EachMapOfAWrittenFileIsReadAndKeepsWhatBothHave)
{
    const auto rows = single_byte_rows();
    File file = make_cvf_file(rows);
    const std::unique_ptr<FILE, int (*)(FILE *)> stream(fmemopen(file.data(), file.size(), "rb"), fclose);
    for (const CharsetInfo * src : rows) {
        for (const CharsetInfo * dest : rows) {
            CvfMap map;
            const a_bool found = read_cvf_map(stream.get(), map.data(), dest, src);
            ASSERT_EQ(found != FALSE, dest != src);
            if (dest == src) {
                continue;
            }
            for (size_t i = 0; i < CVF_MAP_SIZE; i++) {
                const a_utf16 value = src->to_utf16_upper128()[i];
                const a_byte b = map[i];
                const a_utf16 back = b < 0x80 ? b : dest->to_utf16_upper128()[b - 0x80];
                const a_utf16 * const end = dest->to_utf16_upper128() + CVF_MAP_SIZE;
                const bool has_it =
                    value < 0x80 || (value != 0xFFFD && std::find(end - CVF_MAP_SIZE, end, value) != end);
                if (has_it) {
                    ASSERT_EQ(back, value) << src->orv_label() << " to " << dest->orv_label() << " " << i;
                } else {
                    ASSERT_EQ(b, dest->_substitution_character[0]);
                }
            }
        }
    }
}

TEST(ConversionFile, TheToolTakesNoBrokenFile)
{
    const auto rows = single_byte_rows();
    const File file = make_cvf_file(std::span(rows).first(3));
    const auto contents = parse_cvf_file(file);
    ASSERT_TRUE(contents.has_value());
    EXPECT_EQ(contents->names.size(), 3u);
    EXPECT_EQ(contents->cells.size(), 9u);
    for (size_t size = 0; size < file.size(); size++) {
        EXPECT_FALSE(parse_cvf_file(std::span(file).first(size)).has_value()) << size;
    }
}

} // namespace
