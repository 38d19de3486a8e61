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
        {"ja_JP", "ja_JP.eucJP"},         {"Ja_JP", "Ja_JP.IBM-943"},       {"JA_JP", "JA_JP.UTF-8"},
        {"jA_jP", "ja_JP.eucJP"},         {"th_TH.tis620", "th_TH.TIS620"}, // a name before it is an alias
        {"TH_TH.TIS620", "th_TH.TIS620"}, {"en_US.UTF-8", "en_US.UTF-8"},   // an alias stands for itself
        {"bokm\xE5l", "nb_NO.ISO8859-1"},
    };
    for (const auto & row : cases) {
        EXPECT_STREQ(get_alias(row.name), row.alias) << row.name;
    }
    const std::string longest(100 * 1024, '\xE7');
    for (const char * name : {"", "xx_YY.UTF-8", "bokm\xC3\xA5l", "C ", longest.c_str()}) {
        EXPECT_EQ(get_alias(name), name) << "what no row knows stands for itself";
    }
    EXPECT_EQ(get_alias(nullptr), nullptr);
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
