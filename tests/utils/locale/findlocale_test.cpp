#include "utils/locale/findlocale.h"

#include <map>
#include <string>

#include <gtest/gtest.h>

#include "support/scoped_environment.h"
#include "utils/locale/utlocale.h"
#include "utils/unix/localias.h"

namespace {

constexpr int LATIN1 = 1;

int charset_row(a_bool allow_override = TRUE)
{
    return static_cast<int>(UTLocale::FindOSCharset(allow_override) - UTLocale::_charset_info);
}

std::string language(a_bool allow_override = TRUE)
{
    return UTLocale::FindOSLanguage(allow_override)->kep_label();
}

class Discovery : public testing::Test {
protected:
    const ScopedLocaleEnvironment environment;
};

TEST_F(Discovery, NamesOfTheEnvironmentLeadToTheirRows)
{
    const struct {
        const char * lang; // null: not set
        const char * language;
        int charset;
        const char * collation;
    } cases[] = {
        {nullptr, "us_english", LATIN1, "ISO1LATIN1"},
        {"", "us_english", LATIN1, "ISO1LATIN1"},
        {"C", "us_english", LATIN1, "ISO1LATIN1"},
        {"en_US.UTF-8", "us_english", 53, "UTF8BIN"},
        {"JA_JP", "japanese", 53, "UTF8BIN"},
        {"zh_HK.Big5", "tchinese", 25, "950ZHO_TW"},
        {"zh_CN.Big5", "tchinese", 25, "950ZHO_TW"}, // its alias is Taiwan's
        {"ZH_hk", "tchinese", 25, "950ZHO_TW"},
        {"zh-HK.GBK", "tchinese", 41, "936ZHO"}, // no alias: read as it stands
        {"zhq", "chinese", LATIN1, "ISO1LATIN1"},
        {"zh_", "chinese", LATIN1, "ISO1LATIN1"},
        {"zh_t", "chinese", LATIN1, "ISO1LATIN1"},
        {"zh_tx", "chinese", LATIN1, "ISO1LATIN1"},
        {"ru_RU", "russian", 22, "ISO1LATIN1"}, // no collation for KOI8-R
        {"xx_YY.UTF-8", "us_english", 53, "UTF8BIN"},
        {"hebrew", "us_english", 15, "ISO1LATIN1"}, // its alias begins with iw
        {"f", "us_english", LATIN1, "ISO1LATIN1"},
        {"fran\xE7"
         "ais",
         "french", LATIN1, "ISO1LATIN1"},
        {"es_ES.CP1252", "spanish", 46, "1252SPA"},
        {"en.a.b.UTF-8", "us_english", LATIN1, "ISO1LATIN1"}, // what follows the first point is no codeset
        {"en_US..UTF-8", "us_english", LATIN1, "ISO1LATIN1"},
        {"en_US.", "us_english", LATIN1, "ISO1LATIN1"},
        {".UTF-8", "us_english", 53, "UTF8BIN"},
        {"\xFF\xFE.utf8", "us_english", 53, "UTF8BIN"},
    };
    for (const auto & row : cases) {
        environment.set("LANG", row.lang);
        const char * shown = row.lang != nullptr ? row.lang : "(none)";
        EXPECT_EQ(language(), row.language) << shown;
        EXPECT_EQ(charset_row(), row.charset) << shown;
        ASSERT_NE(UTLocale::FindOSCollation(), nullptr) << shown;
        EXPECT_STREQ(UTLocale::FindOSCollation()->orv_collation_label(), row.collation) << shown;
    }
}

TEST_F(Discovery, TheFirstVariableThatIsSetWinsEvenIfEmpty)
{
    environment.set("LANG", "de_DE");
    EXPECT_EQ(language(), "german");
    environment.set("LC_CTYPE", "fr_FR");
    EXPECT_EQ(language(), "french");
    environment.set("LC_MESSAGES", "it_IT");
    EXPECT_EQ(language(), "italian");
    environment.set("LC_ALL", "pl_PL");
    EXPECT_EQ(language(), "polish");
    environment.set("LC_ALL", "");
    EXPECT_EQ(language(), "us_english");
    EXPECT_STREQ(get_unix_locale(), "");
}

TEST_F(Discovery, AnOverrideNeverFallsBackOnTheLocale)
{
    environment.set("LANG", "ja_JP.UTF-8");
    const struct {
        const char * value;
        const char * language;
    } languages[] = {{"de", "german"},   {"GERMAN", "german"},       {"tradchin", "tchinese"},
                     {"", "us_english"}, {"nonsense", "us_english"}, {"de_DE", "us_english"}};
    for (const auto & row : languages) {
        environment.set("VXLANG", row.value);
        EXPECT_EQ(language(TRUE), row.language) << row.value;
        EXPECT_EQ(language(FALSE), "japanese") << row.value;
    }
    const struct {
        const char * value;
        int charset;
    } charsets[] = {{"cp1252", 46}, {"SJIS", 6}, {"nonsense", LATIN1}, {"", LATIN1}, {"UTF 16", 54}};
    for (const auto & row : charsets) {
        environment.set("VXCHARSET", row.value);
        EXPECT_EQ(charset_row(TRUE), row.charset) << row.value;
        EXPECT_EQ(charset_row(FALSE), 53) << row.value;
    }
}

TEST_F(Discovery, AnOverrideIsCutBeforeItIsLookedUp)
{
    // 149 bytes survive: the name, filler that plays no part, and not the letter behind it.
    const std::string filler(149 - 4, '-');
    environment.set("VXCHARSET", std::string("utf8").append(filler).append("x").c_str());
    EXPECT_EQ(charset_row(), 53);
    environment.set("VXCHARSET", std::string("utf8").append(filler, 1).append("x").c_str());
    EXPECT_EQ(charset_row(), LATIN1);
    environment.set("VXLANG", std::string(200, 'e').c_str());
    EXPECT_EQ(language(), "us_english");
}

TEST_F(Discovery, AVariableIsCutToItsBufferAndAMissingOneLeavesItAlone)
{
    char buffer[5] = "keep";
    environment.set("VXLANG", nullptr);
    EXPECT_EQ(ut_getenv("VXLANG", buffer, sizeof buffer), nullptr);
    EXPECT_STREQ(buffer, "keep");
    environment.set("VXLANG", "german");
    EXPECT_EQ(ut_getenv("VXLANG", buffer, sizeof buffer), buffer);
    EXPECT_STREQ(buffer, "germ");
    environment.set("VXLANG", "");
    EXPECT_EQ(ut_getenv("VXLANG", buffer, sizeof buffer), buffer);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(ut_getenv("VXLANG", buffer, 0), nullptr);
}

TEST_F(Discovery, ACollationOfAPairFallsBackOnEnglish)
{
    const CharsetInfo * cp1252 = UTLocale::GetCharsetInfoFromLabel("cp1252", CS_STD_ANY);
    const LanguageInfo * polish = UTLocale::GetLanguageInfoFromLabel("pl");
    EXPECT_STREQ(UTLocale::FindCollation(cp1252, polish)->orv_collation_label(), "1252LATIN1");
    EXPECT_EQ(UTLocale::FindCollation(UTLocale::GetCharsetInfoFromLabel("KOI8-R", CS_STD_ANY), polish),
              nullptr);
    environment.set("LANG", "es_ES.UTF-8");
    EXPECT_STREQ(UTLocale::FindCollation(cp1252, nullptr)->orv_collation_label(), "1252SPA");
    EXPECT_STREQ(UTLocale::FindCollation(nullptr, polish)->orv_collation_label(), "UTF8BIN");
    EXPECT_STREQ(UTLocale::FindCollation(nullptr, nullptr)->orv_collation_label(), "UTF8BIN");
}

struct a_codeset {
    int row;
    const char * collation; // of a process in any language that the known locales pair with it
};

// Codesets of the aliases that have a row; all others end at ISO 8859-1. A row that no collation sorts for
// English ends at the collation of ISO 8859-1.
const std::map<std::string, a_codeset> codesets = {
    {"ISO8859-1", {1, "ISO1LATIN1"}},   {"SJIS", {6, "932JPN"}},           {"IBM-943", {6, "932JPN"}},
    {"eucJP", {8, "EUC_JAPAN"}},        {"eucCN", {9, "EUC_CHINA"}},       {"eucTW", {10, "ISO1LATIN1"}},
    {"ISO8859-2", {11, "ISO1LATIN1"}},  {"ISO8859-5", {12, "ISO1LATIN1"}}, {"ISO8859-6", {13, "ISO1LATIN1"}},
    {"ISO8859-7", {14, "ISO1LATIN1"}},  {"ISO8859-8", {15, "ISO1LATIN1"}}, {"ISO8859-9", {16, "920TRK"}},
    {"ISO8859-15", {17, "ISO9LATIN1"}}, {"KOI8-R", {22, "ISO1LATIN1"}},    {"TIS620", {23, "874THAIBIN"}},
    {"tis620", {23, "874THAIBIN"}},     {"big5hkscs", {24, "950ZHO_HK"}},  {"big5", {25, "950ZHO_TW"}},
    {"eucKR", {26, "EUC_KOREA"}},       {"GB18030", {40, "936ZHO"}},       {"gbk", {41, "936ZHO"}},
    {"CP1251", {45, "1251CYR"}},        {"CP1255", {49, "1255HEB"}},       {"CP1256", {50, "1256ARA"}},
    {"UTF-8", {53, "UTF8BIN"}},
};

TEST_F(Discovery, EachKnownLocaleLeadsToTheCodesetLanguageAndCollationOfItsAlias)
{
    for (const LocaleTable * row = known_locales; row->locale != nullptr; row++) {
        environment.set("LC_ALL", row->locale);
        const std::string alias = get_alias(row->locale);
        const size_t point = alias.find('.');
        const auto known = codesets.find(point == std::string::npos ? "" : alias.substr(point + 1));
        const a_codeset expected_set =
            known != codesets.end() ? known->second : a_codeset{LATIN1, "ISO1LATIN1"};
        EXPECT_EQ(charset_row(), expected_set.row) << row->locale;
        const bool traditional = alias.rfind("zh_TW", 0) == 0 || alias.rfind("zh_HK", 0) == 0;
        const std::string code = traditional ? "tw" : alias.substr(0, 2);
        const LanguageInfo * expected = UTLocale::GetLanguageInfoFromLabel(code.c_str());
        EXPECT_EQ(language(), expected != nullptr ? expected->kep_label() : "us_english") << row->locale;
        const CollationInfo * collation = UTLocale::FindOSCollation();
        ASSERT_NE(collation, nullptr) << row->locale;
        EXPECT_STREQ(collation->orv_collation_label(), expected_set.collation) << row->locale;
    }
}

} // namespace
