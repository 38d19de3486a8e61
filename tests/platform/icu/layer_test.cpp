// The companion as the link library meets it: its symbols, the names it opens, the codes it leaves.

#include <cstdio>
#include <numeric>
#include <set>
#include <string>

#include <gtest/gtest.h>
#include <unicode/ustring.h>

#include "icu/orvicu.h"
#include "utils/locale/utlocale.h"

namespace {

std::set<std::string> ExportsOf(const std::string & library)
{
    const std::string command = "nm -D --defined-only " + library;
    FILE * pipe = popen(command.c_str(), "r");
    EXPECT_NE(pipe, nullptr);
    std::set<std::string> names;
    char line[256];
    while (fgets(line, sizeof line, pipe) != nullptr) {
        char name[128];
        EXPECT_EQ(sscanf(line, "%*s %*s %127s", name), 1) << line;
        names.insert(name);
    }
    EXPECT_EQ(pclose(pipe), 0);
    return names;
}

} // namespace

// That none of them is missing is seen where the link library looks for them.
TEST(IcuLayer, ExportsNothingButThe33EntryPoints)
{
    for (const char * name : {"/lib64/liborvicu16_r.so", "/lib64/liborvicu16.so"}) {
        EXPECT_EQ(ExportsOf(ORV_BUILD_DIR + std::string(name)).size(), 33u) << name;
    }
}

// A warning already counts as failure with the link library.
TEST(IcuLayer, NoNameOfTheCatalogueOpensWithAWarning)
{
    for (const CharsetInfo & row : UTLocale::_charset_info) {
        UErrorCode error = U_ZERO_ERROR;
        UConverter * converter = ucnv_open_3_4(row.icu_label(), &error);
        EXPECT_NE(converter, nullptr) << row.icu_label();
        EXPECT_EQ(error, U_ZERO_ERROR) << row.icu_label() << ' ' << u_errorName(error);
        ucnv_close_3_4(converter);
    }
}

TEST(IcuLayer, OwnTablesLoseNoByte)
{
    for (const size_t number : {20, 50}) {
        const CharsetInfo & row = UTLocale::_charset_info[number];
        UErrorCode error = U_ZERO_ERROR;
        UConverter * converter = ucnv_open_3_4(row.icu_label(), &error);
        ASSERT_EQ(error, U_ZERO_ERROR) << row.icu_label();
        std::string bytes(256, '\0');
        std::iota(bytes.begin(), bytes.end(), '\0');
        UChar units[256];
        char back[256];
        EXPECT_EQ(ucnv_toUChars(converter, units, 256, bytes.data(), 256, &error), 256);
        for (unsigned byte = 0; byte < 256; byte++) {
            EXPECT_EQ(units[byte], byte < 0x80 ? byte : row.to_utf16_upper128()[byte - 0x80]) << byte;
        }
        EXPECT_EQ(ucnv_fromUChars(converter, back, 256, units, 256, &error), 256);
        EXPECT_EQ(std::string(back, 256), bytes);
        error = U_ZERO_ERROR; // of no room for a terminator
        // An unknown character becomes the catalogue's substitution byte.
        const UChar snowman[] = {0x2603};
        char dest[4];
        EXPECT_EQ(ucnv_fromUChars(converter, dest, sizeof dest, snowman, 1, &error), 1);
        EXPECT_EQ(static_cast<a_byte>(dest[0]), row._substitution_character[0]);
        ucnv_close_3_4(converter);
    }
}

TEST(IcuLayer, UnknownNamesAndFailedCallsOpenNothing)
{
    UErrorCode error = U_ZERO_ERROR;
    EXPECT_EQ(ucnv_open_3_4("macos-6-10", &error), nullptr);
    EXPECT_EQ(error, U_FILE_ACCESS_ERROR);
    for (const UErrorCode earlier : {U_ILLEGAL_ARGUMENT_ERROR, U_FILE_ACCESS_ERROR}) {
        error = earlier;
        EXPECT_EQ(ucnv_open_3_4("macos-6-10.2", &error), nullptr);
        EXPECT_EQ(error, earlier);
    }
    EXPECT_EQ(ucnv_open_3_4("macos-6-10.2", nullptr), nullptr);
    UErrorCode other = U_ZERO_ERROR;
    EXPECT_EQ(ORV_ucol_open("de", &error, &other), nullptr);
}

TEST(IcuLayer, CollatorsTellTheirLocaleAndTheirTypeApart)
{
    struct a_row {
        const char * locale;
        UErrorCode locale_error;
        UErrorCode options_error;
    };
    constexpr a_row ROWS[] = {
        {"", U_ZERO_ERROR, U_ZERO_ERROR},
        {"sv", U_ZERO_ERROR, U_ZERO_ERROR},
        {"sv_SE", U_USING_FALLBACK_WARNING, U_ZERO_ERROR},
        {"xx", U_USING_DEFAULT_WARNING, U_ZERO_ERROR},
        {"sv@collation=stroke", U_ZERO_ERROR, U_USING_DEFAULT_WARNING},
        {"de@collation=phonebook", U_ZERO_ERROR, U_ZERO_ERROR},
        {"de_AT@collation=phonebook", U_ZERO_ERROR, U_ZERO_ERROR},
        {"de@collation=stroke", U_USING_DEFAULT_WARNING, U_USING_DEFAULT_WARNING},
        {"zh@collation=gb2312han", U_ZERO_ERROR, U_ZERO_ERROR},
        {"@collation=phonebook", U_ZERO_ERROR, U_USING_DEFAULT_WARNING},
        {"de@colStrength=bogus", U_USING_DEFAULT_WARNING, U_ILLEGAL_ARGUMENT_ERROR},
    };
    for (const a_row & row : ROWS) {
        UErrorCode locale_error = U_ZERO_ERROR;
        UErrorCode options_error = U_ZERO_ERROR;
        UCollator * collator = ORV_ucol_open(row.locale, &locale_error, &options_error);
        EXPECT_EQ(locale_error, row.locale_error) << row.locale << ' ' << u_errorName(locale_error);
        EXPECT_EQ(options_error, row.options_error) << row.locale << ' ' << u_errorName(options_error);
        EXPECT_EQ(collator == nullptr, U_FAILURE(row.locale_error) || U_FAILURE(row.options_error))
            << row.locale;
        ucol_close_3_4(collator);
    }
}
