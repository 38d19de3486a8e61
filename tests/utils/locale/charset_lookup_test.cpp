#include "utils/locale/utlocale.h"

#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

constexpr int NO_ROW = -1;

int row_number(const CharsetInfo * row)
{
    return row == nullptr ? NO_ROW : static_cast<int>(row - UTLocale::_charset_info);
}

int row_of(const char * label, uint32 standards = CS_STD_ANY)
{
    return row_number(UTLocale::GetCharsetInfoFromLabel(label, standards));
}

// The slow twin of the lookup: labels reduced to what counts, then compared as strings.
std::string reduced(const std::string & label)
{
    std::string text;
    for (const char c : label) {
        if (c != ' ' && c != '-' && c != '_') {
            text += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        }
    }
    return text;
}

struct a_known_label {
    int row;
    std::string text;
    uint32 standards;
};

std::vector<a_known_label> all_labels()
{
    std::vector<a_known_label> labels;
    for (const CharsetInfo & row : UTLocale::_charset_info) {
        for (const a_charset_label * label = row._all_labels; label->_label != nullptr; label++) {
            labels.push_back({row_number(&row), label->_label, label->_standards});
        }
    }
    return labels;
}

int reference_row(const std::vector<a_known_label> & labels, const std::string & wanted, uint32 standards)
{
    const std::string key = reduced(wanted);
    for (const a_known_label & label : labels) {
        if ((label.standards & standards) != 0 && reduced(label.text) == key) {
            return label.row;
        }
    }
    return NO_ROW;
}

TEST(CharsetLookup, EachLabelLeadsToTheFirstRowThatHasItUnderEachStandard)
{
    const std::vector<a_known_label> labels = all_labels();
    ASSERT_EQ(labels.size(), 434U);
    for (const a_known_label & label : labels) {
        for (const uint32 standard :
             {CS_STD_ORV, CS_STD_IANA, CS_STD_MIME, CS_STD_JAVA, CS_STD_WINDOWS, CS_STD_ICU_TABLE, CS_STD_IBM,
              CS_STD_ICU, CS_STD_KEP, CS_STD_ANY, uint32{0}, uint32{0x200}}) {
            EXPECT_EQ(row_of(label.text.c_str(), standard), reference_row(labels, label.text, standard))
                << label.text << " under " << std::hex << standard;
        }
        EXPECT_TRUE(UTLocale::_charset_info[label.row].match_label(label.text.c_str(), label.standards));
        EXPECT_FALSE(UTLocale::_charset_info[label.row].match_label(label.text.c_str(), 0)) << label.text;
    }
}

TEST(CharsetLookup, OnlyFillerAndCaseMayDiffer)
{
    const struct {
        const char * label;
        int row;
    } cases[] = {
        {"iso_8859_1", 1},
        {"ISO-8859-1", 1},
        {"ISO 8859 1", 1},
        {"ISO_8859-1:1987", 1},
        {"ISO_8859-1:19870", NO_ROW},
        {"utf8", 53},
        {"U T F - 8", 53},
        {"-_ UTF-8 _-", 53},
        {"UTF\t8", NO_ROW},
        {"UTF-", NO_ROW},
        {"UTF-88", NO_ROW},
        {"", NO_ROW},
        {" - _", NO_ROW},
        // Bytes that differ from a digit or a letter in the bit of case alone.
        {"\x18"
         "59_1",
         NO_ROW},
        {"iso\xDF"
         "8859_1",
         NO_ROW},
        {"\xF5tf8", NO_ROW},
        {"UTF-16", 54},
        {"UTF16PE", 54},
        {"UTF16OE", 55},
    };
    for (const auto & row : cases) {
        EXPECT_EQ(row_of(row.label), row.row) << row.label;
    }
    EXPECT_EQ(row_of(nullptr), NO_ROW);
    EXPECT_FALSE(UTLocale::_charset_info[0].match_label(nullptr, CS_STD_ANY));
    EXPECT_TRUE(UTLocale::_charset_info[53].match_label("  utf 8", CS_STD_ANY));
}

TEST(CharsetLookup, CodePageNumbersGiveTheFirstRow)
{
    EXPECT_EQ(row_number(UTLocale::GetCharsetInfoFromMicrosoftCID(932)), 6);
    EXPECT_EQ(row_number(UTLocale::GetCharsetInfoFromMicrosoftCID(950)), 24);
    EXPECT_EQ(row_number(UTLocale::GetCharsetInfoFromMicrosoftCID(65001)), 53);
    EXPECT_EQ(row_number(UTLocale::GetCharsetInfoFromMicrosoftCID(4711)), NO_ROW);
    EXPECT_EQ(row_number(UTLocale::GetCharsetInfoFromChartabCID(-4)), 53);
    EXPECT_EQ(row_number(UTLocale::GetCharsetInfoFromChartabCID(6)), 7);
    EXPECT_EQ(row_number(UTLocale::GetCharsetInfoFromChartabCID(4711)), NO_ROW);
}

TEST(CharsetInfo, AMissingLabelFallsBackOnTheSystemsOwn)
{
    const CharsetInfo * ascii = &UTLocale::_charset_info[0];
    EXPECT_STREQ(CharsetInfo::safe_label(nullptr, CS_STD_MIME), "unknown");
    EXPECT_STREQ(CharsetInfo::safe_label(ascii, CS_STD_MIME), "US-ASCII");
    EXPECT_STREQ(CharsetInfo::safe_label(ascii, CS_STD_JAVA), "ASCII");
    EXPECT_STREQ(CharsetInfo::safe_label(ascii, CS_STD_KEP), "ANSI_X3.4-1968");
    EXPECT_STREQ(CharsetInfo::safe_label(ascii, CS_STD_WINDOWS), "ANSI_X3.4-1968");
    EXPECT_STREQ(CharsetInfo::safe_label(&UTLocale::_charset_info[10], CS_STD_IANA), "EUC-TW");
    EXPECT_STREQ(CharsetInfo::safe_label(&UTLocale::_charset_info[2], CS_STD_ICU), "ibm-850_P100-1995");
    EXPECT_STREQ(CharsetInfo::safe_label(&UTLocale::_charset_info[2], CS_STD_KEP), "cp850");
}

TEST(CharsetInfo, OnlyUtf8AndUtf16HaveAByteOrderMark)
{
    for (int row = 0; row < 57; row++) {
        const std::string expected = row == 53   ? "\xEF\xBB\xBF"
                                     : row == 54 ? "\xFF\xFE"
                                     : row == 55 ? "\xFE\xFF"
                                                 : "";
        size_t len = 99;
        const a_byte * bom = UTLocale::_charset_info[row].get_BOM(&len);
        EXPECT_EQ(std::string(bom, bom + len), expected) << row;
        EXPECT_EQ(bom == nullptr, expected.empty()) << row;
    }
}

TEST(CharsetInfo, ByteOrderIsExplicitInFourNamesOnly)
{
    for (const char * label : {"UTF16BE", "utf-16le", "UTF_16 PE", "utf16oe"}) {
        EXPECT_TRUE(CharsetInfo::is_UTF16_explicit_endian_label(label)) << label;
    }
    for (const char * label : {"UTF16", "UTF-16", "UTF16B", "UTF16BEX", ""}) {
        EXPECT_FALSE(CharsetInfo::is_UTF16_explicit_endian_label(label)) << label;
    }
    EXPECT_FALSE(CharsetInfo::is_UTF16_explicit_endian_label(nullptr));
}

TEST(UnknownCharset, OnlyTheFourWordsAndNoLabelMeanThatNoneWasGiven)
{
    for (const char * label : {"none", "NULL", "Unspecified", "unknown"}) {
        EXPECT_TRUE(UTLocale::isAcceptableUnknownCharsetLabel(label)) << label;
    }
    EXPECT_TRUE(UTLocale::isAcceptableUnknownCharsetLabel(nullptr));
    for (const char * label : {"", "none ", "un-known", "utf8"}) {
        EXPECT_FALSE(UTLocale::isAcceptableUnknownCharsetLabel(label)) << label;
    }
}

} // namespace
