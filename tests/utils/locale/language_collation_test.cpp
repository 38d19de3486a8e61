#include "utils/locale/utlocale.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/catalogue.h"
#include "utils/etc/utcollation.h"
#include "utils/lang/utlangstring.h"

namespace {

const LanguageInfo * language(const char * label)
{
    return UTLocale::GetLanguageInfoFromLabel(label);
}
TEST(LanguageLookup, AnyOfTheThreeNamesWillDo)
{
    const struct {
        const char * label;
        int row;
    } cases[] = {{"tw", 12},     {"tradchin", 12},  {"TCHINESE", 12}, {"norweg", 9}, {"no", 9},   {"zh", 13},
                 {"ENGLISH", 0}, {"us_english", 0}, {"en", 0},        {"Th", 25},    {"thai", 25}};
    for (const auto & row : cases) {
        const LanguageInfo * found = language(row.label);
        ASSERT_NE(found, nullptr) << row.label;
        EXPECT_EQ(found->lid(), row.row) << row.label;
        EXPECT_EQ(found->bit(), 1U << row.row);
    }
    for (const char * label : {"", "e", "eng", "us-english", "norwe", "nb", " en"}) {
        EXPECT_EQ(language(label), nullptr) << label;
    }
    EXPECT_EQ(language(nullptr), nullptr);
}

TEST(LanguageLookup, IdsOutsideTheTableAndPlatformNumbersGiveNothing)
{
    EXPECT_EQ(UTLocale::GetLanguageInfoFromOrvLID(ORV_LID_ENGLISH), language("en"));
    EXPECT_EQ(UTLocale::GetLanguageInfoFromOrvLID(ORV_LID_THAI), language("th"));
    EXPECT_EQ(UTLocale::GetLanguageInfoFromOrvLID(ORV_LID_LAST_REAL_LANGUAGE), nullptr);
    EXPECT_EQ(UTLocale::GetLanguageInfoFromOrvLID(static_cast<ORV_LID>(-1)), nullptr);
    for (const PLATFORM_LID lid : {-1, 0, 1, 25, 26, 1033}) {
        EXPECT_EQ(UTLocale::GetLanguageInfoFromPlatformLID(lid), nullptr) << lid;
    }
}

TEST(CollationLookup, DefaultsAreChosenBySetAndByRow)
{
    const struct {
        const char * charset;
        const char * language;  // null for none
        const char * collation; // null for none
    } cases[] = {{"GB18030", "zh", "936ZHO"},
                 {"GBK", "zh", "936ZHO"},
                 {"GB18030", "ja", nullptr},
                 {"windows-1252", nullptr, "1252LATIN1"},
                 {"windows-1252", "de", "1252LATIN1"},
                 {"windows-1252", "no", "1252NOR"},
                 {"windows-1252", "sv", "1252SWEFIN"},
                 {"windows-1252", "es", "1252SPA"},
                 {"windows-1252", "pl", nullptr},
                 {"KOI8-R", nullptr, nullptr},
                 {"KOI8-R", "ru", nullptr},
                 {"ISO-8859-1", nullptr, "ISO1LATIN1"},
                 {"US-ASCII", nullptr, "C"},
                 {"UTF-8", "th", "UTF8BIN"},
                 {"CESU-8", "en", nullptr},
                 {"UTF-16LE", "en", nullptr},
                 {"Shift_JIS", "ja", "SJIS2"}};
    for (const auto & row : cases) {
        const CollationInfo * found = UTLocale::GetCollationInfoFromCharsetLang(
            charset(row.charset), row.language != nullptr ? language(row.language) : nullptr);
        EXPECT_STREQ(found != nullptr ? found->orv_collation_label() : nullptr, row.collation)
            << row.charset << " " << (row.language != nullptr ? row.language : "none");
    }
    EXPECT_EQ(UTLocale::GetCollationInfoFromCharsetLang(nullptr, language("en")), nullptr);
}

TEST(CollationLookup, LabelsCompareWholeWithCaseIgnored)
{
    for (size_t i = 0; i < UTLocale::NUM_COLLATIONS; i++) {
        std::string label = UTLocale::_collation_info[i]._orv_collation_label;
        for (char & c : label) {
            c = static_cast<char>(i % 2 == 0 ? tolower(c) : toupper(c));
        }
        EXPECT_EQ(UTLocale::GetCollationInfoFromLabel(label.c_str()), &UTLocale::_collation_info[i]) << label;
        EXPECT_EQ(UTLocale::GetCollationInfoFromLabel((label + "x").c_str()), nullptr) << label;
    }
    EXPECT_EQ(UTLocale::GetCollationInfoFromLabel(""), nullptr);
    EXPECT_EQ(UTLocale::GetCollationInfoFromLabel("ISO-1"), nullptr) << "filler counts here";
    EXPECT_EQ(UTLocale::GetCollationInfoFromLabel(nullptr), nullptr);
    EXPECT_STREQ(UTLocale::GetDefaultCollation()->orv_collation_label(), "ISO_BINENG");
    EXPECT_TRUE(UTLocale::GetCollationInfoFromLabel("UCA")->IsICUCollation());
    EXPECT_TRUE(UTLocale::GetDefaultCollation()->IsLegacyCollation());
}

TEST(CollationSpec, TheFirstParenthesisEndsTheLabelThenTheFirstBrace)
{
    const struct {
        const char * spec;
        size_t size;
        a_bool fits;
        const char * label;
        const char * opts; // null for none
    } cases[] = {{"UCA", 32, TRUE, "UCA", nullptr},
                 {"UCA(Case=yes)", 4, TRUE, "UCA", "(Case=yes)"},
                 {"UCA{x}", 32, TRUE, "UCA", "{x}"},
                 {"UCA{x(y)}", 32, TRUE, "UCA{x", "(y)}"},
                 {"(", 32, TRUE, "", "("},
                 {"UCA )", 32, TRUE, "UCA )", nullptr},
                 {"UCAS(Case=yes)", 4, FALSE, "UCA", "(Case=yes)"},
                 {"UCAS", 4, FALSE, "UCA", nullptr},
                 {nullptr, 4, FALSE, "", nullptr}};
    for (const auto & row : cases) {
        SCOPED_TRACE(&row - cases);
        char label[32] = "untouched";
        const char * opts = "untouched";
        EXPECT_EQ(UTLocale::GetCollationLabel(row.spec, label, row.size, &opts), row.fits);
        EXPECT_STREQ(label, row.label);
        EXPECT_STREQ(opts, row.opts);
    }
}

TEST(LanguagesList, GoesFromTheLastLanguageDownAndNeedsRoomForAll)
{
    const LanguageSet set = language("en")->bit() | language("de")->bit() | language("th")->bit();
    const struct {
        size_t size;
        const char * separator;
        LanguageSet set;
        a_bool fits;
        const char * text;
    } rows[] = {
        {32, ", ", set, TRUE, "th, de, en"},
        {11, ", ", set, TRUE, "th, de, en"},
        {10, ", ", set, FALSE, "th, de, e"},
        {5, ", ", set, FALSE, "th, "},
        {1, ",", 0, TRUE, ""},
        {0, ",", 0, FALSE, "untouched"},
        {32, ",", 0xFC000000U | language("fr")->bit(), TRUE, "fr"}, // bits of no language
    };
    for (const auto & row : rows) {
        char text[32] = "untouched";
        EXPECT_EQ(CollationInfo::GetLanguagesList(text, row.size, row.separator, row.set), row.fits)
            << row.size;
        EXPECT_STREQ(text, row.text);
    }
}

int order(const char * a, const char * b)
{
    const int result = ORVCollationIterator::compare_collations(UTLocale::GetCollationInfoFromLabel(a),
                                                                UTLocale::GetCollationInfoFromLabel(b));
    return (result > 0) - (result < 0);
}

TEST(CollationOrder, HiddenLastThenNumbersThenNames)
{
    const struct {
        const char * first;
        const char * second;
    } cases[] = {{"UTF8BIN", "UTF8"},        // shown, hidden
                 {"UCA", "1252DEU"},         // shown name, hidden number
                 {"1252LATIN1", "CESU8BIN"}, // number, name
                 {"932JPN", "1250POL"},      // by value, not by digit
                 {"1252BIN", "1252LATIN1"},  // same number, by name
                 {"874THAIBIN", "932JPN"},   {"EUC_CHINA", "ISO_1"}, {"437LATIN1", "C"}, // both hidden
                 {"C", "internal"}};
    for (const auto & row : cases) {
        EXPECT_EQ(order(row.first, row.second), -1) << row.first << " " << row.second;
        EXPECT_EQ(order(row.second, row.first), 1) << row.first << " " << row.second;
        EXPECT_EQ(order(row.first, row.first), 0) << row.first;
    }
}

// Texts that fill their fields to the last byte, as a damaged record can hold them.
template<size_t N> void fill(char (&field)[N], const char * text)
{
    memcpy(field, text, std::min(strlen(text) + 1, N));
}

a_custom_collation_info record(const char * label, const char * charset_label)
{
    a_custom_collation_info info;
    fill(info.orv_collation_label, label);
    fill(info.charset_label, charset_label);
    fill(info.description, "My own order");
    info.collation_type = LEGACY_COLLATION;
    for (int i = 0; i < 256; i++) {
        info.packed.sensitive[i] = static_cast<a_byte>(255 - i);
        info.packed.flags[i] = static_cast<a_byte>(i ^ 0x5A);
    }
    return info;
}

TEST(CustomCollation, OwnsItsTextsAndTables)
{
    a_custom_collation_info info = record("mine", "utf8");
    fill(info.kep_so_case, "so_case");
    const a_packed_collation_order packed = info.packed;
    const CollationInfo custom(&info);
    info = a_custom_collation_info();
    EXPECT_STREQ(custom.orv_collation_label(), "mine");
    EXPECT_STREQ(custom.kep_sensitive_sortorder(), "so_case");
    EXPECT_STREQ(custom._description, "My own order");
    EXPECT_TRUE(custom.is_custom() && custom.IsLegacyCollation() && !custom.is_hidden());
    EXPECT_EQ(custom.supported_languages() | custom.default_languages() | custom._description_strid, 0U);
    EXPECT_EQ(memcmp(custom.get_packed_collation_for_custom_collation(), &packed, sizeof packed), 0);
}

TEST(CustomCollation, ABuiltInLabelLendsWhatTheRecordLeavesOpen)
{
    a_custom_collation_info info = record("1252deu", "windows-1252");
    fill(info.kep_so_caseless, "mine");
    const CollationInfo custom(&info);
    EXPECT_STREQ(custom.kep_sensitive_sortorder(), "dictionary_iso_1");
    EXPECT_STREQ(custom.kep_insensitive_sortorder(), "mine");
    EXPECT_EQ(custom.supported_languages(), 5U);
    EXPECT_EQ(custom.default_languages(), 0U);
    EXPECT_EQ(custom._description_strid, 13731U);
    EXPECT_TRUE(custom.is_hidden() && custom.is_custom());
}

TEST(CustomCollation, AnyNameOfItsCharacterSetWillDoAndIcuNeedsNone)
{
    const struct {
        const char * label;
        a_collation_type type;
        const CharsetInfo * row;
    } cases[] = {{"cp950", LEGACY_COLLATION, &UTLocale::_charset_info[25]}, // no row's own name; 25 is first
                 {"TIS-620", LEGACY_COLLATION, &UTLocale::_charset_info[23]},
                 {"nonsense", LEGACY_COLLATION, nullptr},
                 {"utf8", ICU_COLLATION, nullptr}};
    for (const auto & row : cases) {
        a_custom_collation_info info = record("mine", row.label);
        info.collation_type = row.type;
        EXPECT_EQ(CollationInfo(&info).required_charset(), row.row) << row.label;
    }
}

TEST(CollationDescription, OnlyACustomOneWithoutAStringIdHasItsOwnText)
{
    UTLocale locale;
    UTLangStringBase no_strings(&locale);
    const a_custom_collation_info own = record("mine", "utf8");
    const CollationInfo custom(&own);
    char text[32] = "untouched";
    EXPECT_EQ(custom.get_description(no_strings, text, sizeof text), strlen("My own order"));
    EXPECT_STREQ(text, "My own order");
    EXPECT_EQ(custom.get_description(no_strings, text, 4), 3U) << "cut";
    EXPECT_STREQ(text, "My ");
    EXPECT_EQ(custom.get_description(no_strings, text, 0), 0U);
    EXPECT_STREQ(text, "My ") << "there is no byte to write to";

    const a_custom_collation_info known = record("UTF8", "utf8");
    EXPECT_EQ(CollationInfo(&known).get_description(no_strings, text, sizeof text), 0U);
    EXPECT_EQ(UTLocale::GetDefaultCollation()->get_description(no_strings, text, sizeof text), 0U);
}

} // namespace
