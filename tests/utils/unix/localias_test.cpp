#include "utils/unix/localias.h"

#include <string>

#include <gtest/gtest.h>

namespace {

TEST(LocaleAlias, ExactNamesOfAllRowsGoBeforeNamesWithCaseIgnored)
{
    const struct {
        const char * name;
        const char * alias;
    } cases[] = {
        {"ja_JP", "ja_JP.eucJP"},
        {"Ja_JP", "Ja_JP.IBM-943"},
        {"JA_JP", "JA_JP.UTF-8"},
        {"jA_jP", "ja_JP.eucJP"},
        {"th_TH.tis620", "th_TH.TIS620"}, // a name before it is an alias
        {"thai", "th_TH.tis620"},
        {"TH_TH.TIS620", "th_TH.TIS620"},
        {"C", "C"},
        {"c", "C"},
        {"POSIX", "C"},
        {"C.en", "C"},
        {"en_US.UTF-8", "en_US.UTF-8"}, // an alias stands for itself
        {"EN_us.utf-8", "en_US.UTF-8"},
        {"de_DE@euro", "de_DE.ISO8859-15"},
        {"el_GR@euro", "el_GR.ISO8859-15"},
        {"zh_CN.Big5", "zh_TW.big5"},
        {"hebrew", "iw_IL.ISO8859-8"},
        {"english.iso88591", "en_EN.ISO8859-1"},
        {"universal.utf8@ucs4", "en_US.UTF-8"},
        {"fran\xE7"
         "ais",
         "fr_FR.ISO8859-1"},
        {"bokm\xE5l", "nb_NO.ISO8859-1"},
        {"sr_YU.UTF-8@cyrillic", "sr_YU.UTF-8"},
    };
    for (const auto & row : cases) {
        EXPECT_STREQ(get_alias(row.name), row.alias) << row.name;
    }
}

TEST(LocaleAlias, WhatNoRowKnowsStandsForItself)
{
    const std::string longest(100 * 1024, '\xE7');
    for (const char * name : {"", " ", "xx_YY.UTF-8",
                              "fran\xC3\xA7"
                              "ais",
                              "bokm\xC3\xA5l", "C ", longest.c_str()}) {
        EXPECT_EQ(get_alias(name), name);
    }
    EXPECT_EQ(get_alias(nullptr), nullptr);
}

TEST(LocaleAlias, TheTableIsWholeAndEnds)
{
    size_t rows = 0;
    for (; known_locales[rows].locale != nullptr; rows++) {
        ASSERT_NE(known_locales[rows].alias, nullptr);
    }
    EXPECT_EQ(rows, NUM_KNOWN_LOCALES);
    EXPECT_EQ(known_locales[rows].alias, nullptr);
    EXPECT_STREQ(known_locales[0].locale, "POSIX");
    EXPECT_STREQ(known_locales[rows - 1].locale, "universal.utf8@ucs4");
}

TEST(LocaleAlias, OnlyEnglishInLatin1IsSupported)
{
    for (const char * name :
         {"en_US", "en_GB", "en", "english.iso88591", "EN_au.ISO8859-1", "en_ZZ.iso8859-1"}) {
        EXPECT_TRUE(is_locale_supported(name)) << name;
    }
    for (const char * name : {"", "C", "de_DE", "en_US.UTF-8", "en_US.ISO8859-15", "en_US.iso885915",
                              "enXUS.ISO8859-1", "en_USA.ISO8859-1", "en_U.ISO8859-1", "en_US.ISO8859-2"}) {
        EXPECT_FALSE(is_locale_supported(name)) << name;
    }
    EXPECT_FALSE(is_locale_supported(nullptr));
}

} // namespace
