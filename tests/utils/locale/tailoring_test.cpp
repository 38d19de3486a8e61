#include "utils/locale/tailoring.h"

#include <cctype>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "support/scoped_environment.h"
#include "utils/locale/utlocale.h"

namespace {

constexpr const char * DEFAULT_OPTIONS =
    "CaseSensitivity=Ignore;AccentSensitivity=Ignore;PunctuationSensitivity=Primary";

struct a_values {
    a_case_sensitivity of_case = CASE_INSENSITIVE;
    an_accent_sensitivity of_accents = ACCENT_INSENSITIVE;
    a_punctuation_sensitivity of_punctuation = PUNCTUATION_SENSITIVE_PRIMARY;
    a_sort_type sort = SORTTYPE_UNKNOWN;
    bool operator==(const a_values & other) const = default;
};

a_values values_of(const UTCollationTailoring & tailoring)
{
    return {tailoring.GetCaseSensitivity(), tailoring.GetAccentSensitivity(),
            tailoring.GetPunctuationSensitivity(), tailoring.GetSortType()};
}

TEST(Tailoring, EmptyOptionsAreValidAndChangeNoValue)
{
    for (const char * options : {"", static_cast<const char *>(nullptr)}) {
        UTCollationTailoring tailoring;
        EXPECT_TRUE(tailoring.Set(options, FALSE));
        EXPECT_TRUE(tailoring.WasSet());
        EXPECT_TRUE(tailoring.IsValid());
        EXPECT_STREQ(tailoring.GetICULocale(), "");
        EXPECT_STREQ(tailoring.GetCompleteTailoringOptions(), DEFAULT_OPTIONS);
    }
    UTCollationTailoring kept("Case=yes;Locale=de");
    EXPECT_TRUE(kept.Set("", FALSE));
    EXPECT_EQ(kept.GetCaseSensitivity(), CASE_SENSITIVE);
    EXPECT_STREQ(kept.GetICULocale(), "de");
}

std::string swap_case(std::string text)
{
    for (char & c : text) {
        const auto letter = static_cast<unsigned char>(c);
        c = static_cast<char>(isupper(letter) ? tolower(letter) : toupper(letter));
    }
    return text;
}

TEST(Tailoring, EveryWordStoresItsValueInAnyCaseAndShowsItsCanonicalText)
{
    constexpr a_values no_punctuation = {CASE_INSENSITIVE, ACCENT_INSENSITIVE, PUNCTUATION_INSENSITIVE};
    const struct {
        std::string key; // begins all its names
        const char * words;
        const char * canonical;
        a_values values;
    } rows[] = {
        {"Case", "CapsFirst UpperFirst", "UpperFirst", {CASE_SENSITIVE_CAPS_FIRST}},
        {"Case", "LowerFirst", "LowerFirst", {CASE_SENSITIVE_LOWER_FIRST}},
        {"Case", "respect yes on 1 true", "UpperFirst", {CASE_SENSITIVE}},
        {"Case", "ignore no off 0 false", "Ignore", {CASE_INSENSITIVE}},
        {"Accent", "French f", "French", {CASE_INSENSITIVE, ACCENT_SENSITIVE_FRENCH}},
        {"Accent", "respect yes on 1 true", "Respect", {CASE_INSENSITIVE, ACCENT_SENSITIVE}},
        {"Accent", "ignore no off 0 false", "Ignore", {}},
        {"Punct", "Primary", "Primary", {}},
        {"Punct", "ignore no off 0 false", "Ignore", no_punctuation},
    };
    for (const auto & row : rows) {
        const std::string whole = row.key == "Punct" ? "Punctuation" : row.key;
        std::istringstream words(row.words);
        for (std::string word; words >> word;) {
            for (const std::string & option :
                 {row.key + "=" + word, whole + "Sensitive=" + word,
                  swap_case(whole + "Sensitivity") + "#\"" + swap_case(word) + "\""}) {
                const UTCollationTailoring tailoring(option.c_str());
                EXPECT_TRUE(tailoring.IsValid()) << option;
                EXPECT_EQ(values_of(tailoring), row.values) << option;
                const std::string shown = tailoring.GetCompleteTailoringOptions();
                EXPECT_NE(shown.find(whole + "Sensitivity=" + row.canonical), std::string::npos) << option;
            }
        }
    }
}

TEST(Tailoring, EverySortTypeHasItsKeyword)
{
    const struct {
        const char * word;
        a_sort_type type;
    } cases[] = {{"phonebook", SORTTYPE_PHONEBOOK}, {"traditional", SORTTYPE_TRADITIONAL},
                 {"standard", SORTTYPE_STANDARD},   {"pinyin", SORTTYPE_PINYIN},
                 {"stroke", SORTTYPE_STROKE},       {"direct", SORTTYPE_DIRECT},
                 {"posix", SORTTYPE_POSIX},         {"big5han", SORTTYPE_BIG5HAN},
                 {"gb2312han", SORTTYPE_GB2312}};
    for (const auto & row : cases) {
        const UTCollationTailoring tailoring(("sorttype=" + swap_case(row.word)).c_str());
        EXPECT_TRUE(tailoring.IsValid()) << row.word;
        EXPECT_EQ(tailoring.GetSortType(), row.type) << row.word;
        EXPECT_EQ(tailoring.GetICULocale(), "@collation=" + std::string(row.word));
        EXPECT_EQ(tailoring.GetCompleteTailoringOptions(),
                  std::string(DEFAULT_OPTIONS) + ";SortType=" + row.word);
        EXPECT_STREQ(GetSortTypeName(row.type), row.word);
    }
    EXPECT_EQ(GetSortTypeName(SORTTYPE_UNKNOWN), nullptr);
    EXPECT_EQ(GetSortTypeName(static_cast<a_sort_type>(10)), nullptr);
}

TEST(Tailoring, ARefusedOptionStoresNothingOfItsSpec)
{
    const char * const cases[] = {"Locale=en;Case=AA",
                                  "Locale=en;Case=aa",
                                  "Locale=en;Case=",
                                  "Locale=en;Accent=",
                                  "Locale=en;Punct=",
                                  "Locale=en;SortType=",
                                  "Locale=en;Punct=yes",
                                  "Locale=en;Punct=respect",
                                  "Locale=en;Case=French",
                                  "Locale=en;Accent=Aa",
                                  "Locale=en;SortType=unknown",
                                  "Locale=en;Strength=1",
                                  "Locale=en;Case",
                                  "Locale=en;Case='yes",
                                  "Locale=en;Case='yes' no",
                                  "Locale=en;Case=yes,no",
                                  "Locale=en;=yes",
                                  "Case=no;Locale=en;Case=maybe",
                                  "Locale=en;Case=(yes=1)",
                                  "Locale=en;SortType=phone",
                                  "Locale=en;Locale='e"};
    for (const char * options : cases) {
        UTCollationTailoring tailoring("Locale=de;Case=aA;Accent=f;SortType=stroke");
        const a_values before = values_of(tailoring);
        EXPECT_FALSE(tailoring.Set(options, FALSE)) << options;
        EXPECT_TRUE(tailoring.WasSet());
        EXPECT_FALSE(tailoring.IsValid()) << options;
        EXPECT_EQ(values_of(tailoring), before) << options;
        EXPECT_STREQ(tailoring.GetICULocale(), "de@collation=stroke") << options;
    }
}

TEST(Tailoring, WhatASpecDoesNotNameStaysAndTheLastOfTwoWins)
{
    UTCollationTailoring tailoring("Case=yes;Case=no;Locale=\"d;\"\"e\";Locale=");
    EXPECT_EQ(tailoring.GetCaseSensitivity(), CASE_INSENSITIVE);
    EXPECT_STREQ(tailoring.GetICULocale(), "d;\"e");
    EXPECT_TRUE(tailoring.Set(";;Accent=yes;", FALSE));
    EXPECT_STREQ(tailoring.GetTailoringOptions(), "Locale=d;\"e");
    EXPECT_TRUE(tailoring.Set("Locale=fr;SortType=posix", FALSE));
    EXPECT_STREQ(tailoring.GetICULocale(), "fr@collation=posix");
    EXPECT_STREQ(tailoring.GetTailoringOptions(), "Locale=fr");
    EXPECT_STREQ(tailoring.GetCompleteTailoringOptions(),
                 "Locale=fr;CaseSensitivity=Ignore;AccentSensitivity=Respect;"
                 "PunctuationSensitivity=Primary;SortType=posix");
}

TEST(Tailoring, QuaternaryPunctuationNeedsCaseAndAccentsAndStaysStoredWithoutThem)
{
    for (const char * options :
         {"Punct=Quaternary;Case=yes;Accent=yes", "Accent=f;Case=aA;Punct=quaternary"}) {
        EXPECT_TRUE(UTCollationTailoring(options).IsValid()) << options;
    }
    for (const char * options : {"Punct=Quaternary", "Punct=Quaternary;Case=yes",
                                 "Punct=Quaternary;Accent=yes", "Punct=Quaternary;Case=no;Accent=yes"}) {
        UTCollationTailoring tailoring;
        EXPECT_FALSE(tailoring.Set((std::string(options) + ";SortType=posix").c_str(), FALSE)) << options;
        EXPECT_FALSE(tailoring.IsValid());
        EXPECT_EQ(tailoring.GetPunctuationSensitivity(), PUNCTUATION_SENSITIVE_QUATERNARY) << options;
        EXPECT_EQ(tailoring.GetSortType(), SORTTYPE_UNKNOWN) << "the sort type comes after it";
    }
    // Values from before count.
    UTCollationTailoring tailoring(CASE_SENSITIVE);
    EXPECT_TRUE(tailoring.Set("Punct=Quaternary", FALSE));
}

TEST(Tailoring, ALegacyCollationTakesCaseAloneAndOnlyYesOrNo)
{
    for (const char * options : {"Case=Respect", "CaseSensitive=1", "", "Locale="}) {
        EXPECT_TRUE(UTCollationTailoring().Set(options, TRUE)) << options;
    }
    for (const char * options : {"Case=Aa", "Case=aA", "Case=UpperFirst", "Locale=de", "Accent=no",
                                 "Punct=Primary", "SortType=standard", "Case=yes;Accent=yes"}) {
        UTCollationTailoring tailoring;
        EXPECT_FALSE(tailoring.Set(options, TRUE)) << options;
        EXPECT_EQ(values_of(tailoring), a_values{}) << options;
    }
    UTCollationTailoring tailoring;
    EXPECT_TRUE(tailoring.Set("Case=yes", TRUE));
    EXPECT_STREQ(tailoring.GetCompleteTailoringOptions(),
                 "CaseSensitivity=Respect;AccentSensitivity=Ignore;PunctuationSensitivity=Primary");
    EXPECT_FALSE(tailoring.Set("Accent=yes", FALSE)) << "once for a legacy collation, always";
    EXPECT_TRUE(tailoring.Set("Case=no", FALSE));
}

TEST(Tailoring, OnlyTheSortTypeRebuildsTheDerivedTexts)
{
    UTCollationTailoring tailoring("Locale=de");
    tailoring.SetCaseSensitivity(CASE_SENSITIVE);
    EXPECT_EQ(tailoring.GetCompleteTailoringOptions(), std::string("Locale=de;") + DEFAULT_OPTIONS);
    tailoring.SetSortType(SORTTYPE_PHONEBOOK);
    EXPECT_STREQ(tailoring.GetICULocale(), "de@collation=phonebook");
    EXPECT_STREQ(tailoring.GetCompleteTailoringOptions(),
                 "Locale=de;CaseSensitivity=UpperFirst;AccentSensitivity=Ignore;"
                 "PunctuationSensitivity=Primary;SortType=phonebook");
}

const CollationInfo * row_of(const char * spec, UTCollationTailoring * tailoring)
{
    return UTLocale::GetCollationInfoAndTailoring(spec, tailoring);
}

TEST(CollationSpec, BracketsBelongTogetherAndEndTheSpec)
{
    const struct {
        const char * spec;
        bool holds;
    } cases[] = {{"UCA()", true},
                 {"UCA(Case=yes) ", true},
                 {"UCA{Case=yes}", true},
                 {"UCA(Locale=d(e))", true},
                 {"1252LATIN1(Case=yes)", true},
                 {"UCA(Case=maybe)", false},
                 {"UCA(Locale=)d)", true},
                 {"1252LATIN1(Case=Aa)", false},
                 {"1252LATIN1(Accent=no)", false}};
    for (const auto & row : cases) {
        UTCollationTailoring tailoring;
        EXPECT_EQ(row_of(row.spec, &tailoring) != nullptr, row.holds) << row.spec;
        EXPECT_TRUE(tailoring.WasSet()) << row.spec;
        EXPECT_EQ(tailoring.IsValid() != FALSE, row.holds) << row.spec;
    }
    // Without its bracket a spec sets nothing, which is valid.
    for (const char * spec : {"UCA(", "UCA(   ", "UCA(Case=yes", "UCA(Case=yes}", "UCA{Case=yes)",
                              "UCA(Case=yes)x", "UCA(Case=yes)\t", "1252LATIN1("}) {
        UTCollationTailoring tailoring;
        EXPECT_EQ(row_of(spec, &tailoring), nullptr) << spec;
        EXPECT_TRUE(tailoring.WasSet() && tailoring.IsValid()) << spec;
        EXPECT_EQ(values_of(tailoring), a_values{}) << spec;
    }
}

TEST(CollationSpec, UnknownOrOverlongLabelsAndBareOnesLeaveTheTailoringAlone)
{
    const std::string long_label(33, 'x');
    for (const char * spec :
         {static_cast<const char *>(nullptr), "", "UCA2(Case=yes)", "(Case=yes)", long_label.c_str()}) {
        UTCollationTailoring tailoring;
        EXPECT_EQ(row_of(spec, &tailoring), nullptr);
        EXPECT_FALSE(tailoring.WasSet());
    }
    UTCollationTailoring tailoring;
    EXPECT_NE(row_of("utf8bin", &tailoring), nullptr);
    EXPECT_FALSE(tailoring.WasSet());
}

TEST(CollationTailoringDefaults, JapaneseSystemsTellCaseAndAccentsApart)
{
    const struct {
        const char * locale;
        const char * language; // overriding, null for none
        const char * spec;
        bool sensitive;
    } cases[] = {{"de_DE.ISO-8859-1", nullptr, "UCA", false},
                 {"ja_JP.EUC-JP", nullptr, "UCA", true},
                 {"ja_JP.SJIS", nullptr, "uca(x", true},
                 {"ja_JP.UTF-8", nullptr, "UCA", true},
                 {"de_DE.ISO-8859-1", "ja", "UCA", true},
                 {"ja_JP.EUC-JP", "de", "UCA", true}, // by the character set
                 {"ja_JP.UTF-8", "de", "UCA", false},
                 {"ja_JP.EUC-JP", nullptr, "EUC_JAPAN", false}};
    for (const auto & row : cases) {
        const ScopedLocaleEnvironment environment;
        ScopedLocaleEnvironment::set("LC_ALL", row.locale);
        ScopedLocaleEnvironment::set("VXLANG", row.language);
        UTCollationTailoring tailoring;
        EXPECT_NE(UTLocale::GetCollationTailoringDefaults(row.spec, &tailoring), nullptr) << row.locale;
        EXPECT_EQ(values_of(tailoring),
                  row.sensitive ? (a_values{CASE_SENSITIVE, ACCENT_SENSITIVE}) : a_values{})
            << row.locale << " " << row.spec;
        EXPECT_FALSE(tailoring.WasSet());
        EXPECT_EQ(UTLocale::GetCollationTailoringDefaults("nothing", &tailoring), nullptr);
        EXPECT_EQ(UTLocale::GetCollationTailoringDefaults(nullptr, &tailoring), nullptr);
    }
}

} // namespace
