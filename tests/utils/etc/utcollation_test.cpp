#include "utils/etc/utcollation.h"

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/catalogue.h"
#include "support/locale_inspector.h"
#include "support/scoped_environment.h"
#include "utils/etc/utstream.h"
#include "utils/locale/tailoring.h"

namespace {

const CollationInfo * row(const char * label)
{
    return UTLocale::GetCollationInfoFromLabel(label);
}

// ---- Slots

// The place in the table of virtual operations, read off the member pointer (Itanium C++ ABI, 2.3).
template<typename Operation> size_t slot(Operation operation)
{
    static_assert(sizeof(operation) == 2 * sizeof(size_t));
    size_t words[2];
    memcpy(words, &operation, sizeof(words));
    return (words[0] - 1) / sizeof(void *);
}

using Base = UTCollationImplementationBase;
template<typename Result, typename... Args> size_t slot_of(Result (Base::*operation)(Args...) const)
{
    return slot(operation);
}

TEST(CollationSlots, VirtualOperationsStandInTheirFixedOrder)
{
    using a_str = const a_byte *;
    using In = UTIStream &;
    using Buffered = UTBufferedIStream &;
    const size_t slots[] = {slot(&Base::close),
                            slot_of(&Base::do_is_alpha),
                            slot_of(&Base::do_is_num),
                            slot_of(&Base::do_is_alphanum),
                            slot_of(&Base::do_is_space),
                            slot_of(&Base::prev_character),
                            slot_of<int, a_str, a_str>(&Base::trancmp),
                            slot_of<int, In, In>(&Base::trancmp),
                            slot_of<int, Buffered, size_t, Buffered, size_t>(&Base::trancmp),
                            slot_of<int, a_str, size_t, a_str, size_t>(&Base::trancmp),
                            slot_of(&Base::tranncmp),
                            slot_of(&Base::char_tolower),
                            slot_of(&Base::char_toupper),
                            slot_of<size_t, a_byte *, size_t, a_str, size_t>(&Base::str_tolower),
                            slot_of<size_t, a_byte *, size_t, a_str, size_t>(&Base::str_toupper),
                            slot_of<size_t, UTOStream &, In>(&Base::str_tolower),
                            slot_of<size_t, UTOStream &, In>(&Base::str_toupper),
                            slot_of(&Base::compare_character),
                            slot_of(&Base::is_prefix),
                            slot_of(&Base::case_translation_preserves_sort_order),
                            slot_of(&Base::hist_hash),
                            slot_of(&Base::hist_unhash),
                            slot_of(&Base::id_hash),
                            slot_of(&Base::suggested_sortkey_length),
                            slot_of<size_t, a_byte *, size_t, a_str, size_t>(&Base::sortkey_prefix),
                            slot_of<size_t, a_byte *, size_t, In>(&Base::sortkey_prefix),
                            slot_of<size_t, a_byte *, size_t, Buffered, size_t>(&Base::sortkey_prefix),
                            slot_of<size_t, a_byte *, size_t, In>(&Base::sortkey_prefix_tessel),
                            slot_of<size_t, a_byte *, size_t, Buffered, size_t>(&Base::sortkey_prefix_tessel),
                            slot_of(&Base::sortkey_bound),
                            slot_of(&Base::from_default)};
    size_t expected = 2; // behind the destructor's two forms
    for (const size_t at : slots) {
        EXPECT_EQ(at, expected++);
    }
}

// ---- Choosing the implementation

TEST(UTCollation, TheOperatingSystemsCollationFollowsTheEnvironment)
{
    const ScopedLocaleEnvironment environment;
    ScopedLocaleEnvironment::set("LC_ALL", "ja_JP.SJIS");
    UTLocale locale;
    UTCollation collation(&locale);
    EXPECT_EQ(collation.collation(), UTLocale::FindOSCollation());
    EXPECT_EQ(collation.charset(), UTLocale::FindOSCollation()->required_charset());
    EXPECT_EQ(collation.nbytes_in_char('\x83'), 2U) << "Shift_JIS has characters of two bytes";
    ScopedLocaleEnvironment::set("LC_ALL", "de_DE.ISO-8859-1");
    EXPECT_TRUE(collation.set_os_collation(CASE_SENSITIVE));
    EXPECT_STREQ(collation.collation()->orv_collation_label(), "ISO1LATIN1");
    EXPECT_EQ(collation.nbytes_in_char('\x83'), 1U);
    EXPECT_EQ(collation.get_accent_sensitivity(), ACCENT_SENSITIVE);
}

TEST(UTCollation, AccentsFollowTheCaseUnlessTheyAreTold)
{
    UTCollation collation(nullptr);
    EXPECT_EQ(collation.collation(), row("C")) << "without a locale";
    EXPECT_EQ(collation.get_accent_sensitivity(), ACCENT_INSENSITIVE);
    for (const a_case_sensitivity sensitivity : {CASE_SENSITIVE, CASE_SENSITIVE_LOWER_FIRST}) {
        ASSERT_TRUE(collation.set_c_collation(sensitivity));
        EXPECT_EQ(collation.get_case_sensitivity(), sensitivity);
        EXPECT_EQ(collation.get_accent_sensitivity(), ACCENT_SENSITIVE);
        ASSERT_TRUE(collation.set_os_collation(UTCollationTailoring()));
        EXPECT_EQ(collation.get_accent_sensitivity(), ACCENT_INSENSITIVE);
    }
    ASSERT_TRUE(collation.set_c_collation(CASE_SENSITIVE, ACCENT_SENSITIVE_FRENCH));
    EXPECT_EQ(collation.get_accent_sensitivity(), ACCENT_SENSITIVE_FRENCH);
    ASSERT_TRUE(collation.set_os_collation(CASE_INSENSITIVE, ACCENT_SENSITIVE));
    EXPECT_EQ(collation.get_accent_sensitivity(), ACCENT_SENSITIVE);
    EXPECT_EQ(collation.get_punctuation_sensitivity(), PUNCTUATION_SENSITIVE_PRIMARY);
}

TEST(UTCollation, TheWrongCharacterSetLeavesTheOldCollationByteForByte)
{
    const UTCollationTailoring sensitive(CASE_SENSITIVE);
    UTCollation collation(nullptr);
    const auto before = std::make_unique<a_byte[]>(sizeof(collation));
    memcpy(before.get(), static_cast<const void *>(&collation), sizeof(collation));
    for (const CharsetInfo * wrong : {charset("UTF-8"), static_cast<const CharsetInfo *>(nullptr)}) {
        EXPECT_FALSE(collation.set_collation(nullptr, row("1252LATIN1"), wrong, nullptr, sensitive, TRUE));
        EXPECT_EQ(memcmp(before.get(), static_cast<const void *>(&collation), sizeof(collation)), 0);
    }
    EXPECT_EQ(collation.trancmp("ABC", "abc"), 0);
    EXPECT_TRUE(collation.set_collation(nullptr, row("1252LATIN1"), charset("windows-1252"), nullptr,
                                        sensitive, FALSE));
    EXPECT_NE(collation.trancmp("ABC", "abc"), 0);
}

a_custom_collation_info reversed_latin1()
{
    a_packed_collation_order order = *charset("ISO-8859-1")->get_packed_collation();
    for (size_t i = 0; i < 256; i++) {
        order.sensitive[i] = order.insensitive[i] = static_cast<a_byte>(255 - i);
    }
    a_custom_collation_info record;
    record.set("reversed", "backwards", reinterpret_cast<const a_byte *>(&order), "ISO_8859-1:1987");
    return record;
}

TEST(UTCollation, TablesComeFromTheCallerThenTheCustomRowThenTheCharacterSet)
{
    const UTCollationTailoring none;
    const a_custom_collation_info record = reversed_latin1();
    const CollationInfo custom(&record);
    UTCollation collation(nullptr);
    ASSERT_TRUE(collation.set_collation(nullptr, &custom, charset("ISO-8859-1"), nullptr, none, FALSE));
    EXPECT_GT(collation.trancmp("a", "b"), 0);
    const a_packed_collation_order * own = charset("ISO-8859-1")->get_packed_collation();
    ASSERT_TRUE(collation.set_collation(nullptr, &custom, charset("ISO-8859-1"), own, none, FALSE));
    EXPECT_LT(collation.trancmp("a", "b"), 0);
    ASSERT_TRUE(collation.set_collation(nullptr, row("ISO1LATIN1"), charset("ISO-8859-1"), &record.packed,
                                        none, FALSE));
    EXPECT_GT(collation.trancmp("a", "b"), 0);
    ASSERT_TRUE(
        collation.set_collation(nullptr, row("ISO1LATIN1"), charset("ISO-8859-1"), nullptr, none, FALSE));
    EXPECT_LT(collation.trancmp("a", "b"), 0);
}

TEST(UTCollation, WithoutAnIcuBuildOnlyTheTailoringCountsForTheResult)
{
    LocaleWithoutIcu locale;
    const UTCollationTailoring fine("Punct=Quaternary;Case=yes;Accent=yes");
    const UTCollationTailoring lacking(CASE_SENSITIVE, ACCENT_INSENSITIVE, PUNCTUATION_SENSITIVE_QUATERNARY);
    for (const char * label : {"UTF-8", "windows-1252"}) {
        UTCollation collation(nullptr);
        EXPECT_TRUE(collation.set_collation(&locale, row("UCA"), charset(label), nullptr, fine, FALSE));
        EXPECT_FALSE(collation.set_collation(&locale, row("UCA"), charset(label), nullptr, lacking, FALSE));
        // Built all the same, and able to step.
        EXPECT_EQ(collation.collation(), row("UCA"));
        EXPECT_EQ(collation.charset(), charset(label));
        EXPECT_EQ(collation.get_punctuation_sensitivity(), PUNCTUATION_SENSITIVE_QUATERNARY);
        char end_stays = 0;
        char * match_end = &end_stays;
        EXPECT_TRUE(collation.is_prefix("", "", "a", "b", &match_end));
        collation.close();
        collation.close();
        EXPECT_TRUE(collation.set_c_collation(fine));
        EXPECT_LT(collation.trancmp("a", "b"), 0);
    }
}

TEST(UTCollation, AnIcuBoundTakesThePrimaryLevelAlone)
{
    UTLocale locale;
    UTCollation collation(nullptr);
    ASSERT_TRUE(collation.set_collation(&locale, row("UCA"), charset("UTF-8"), nullptr,
                                        UTCollationTailoring(), FALSE));
    const a_byte key[] = {0x41, 0x42, 0x01, 0x05, 0x00};
    a_byte bound[8] = {};
    EXPECT_EQ(collation.sortkey_bound(UPPER_INCLUSIVE, bound, sizeof bound, key, sizeof key), 5U);
    EXPECT_EQ(memcmp(bound, "\x41\x42\xFF\xFF", 5), 0);
    EXPECT_EQ(collation.sortkey_bound(LOWER_INCLUSIVE, bound, sizeof bound, key, sizeof key), 5U);
    EXPECT_EQ(memcmp(bound, key, 5), 0);
    EXPECT_EQ(collation.sortkey_bound(UPPER_INCLUSIVE, bound, 1, key, sizeof key), 1U);
    EXPECT_EQ(collation.sortkey_bound(UPPER_INCLUSIVE, bound, 0, key, sizeof key), 0U);
}

// ---- Stepping

struct Utf8 {
    Utf8() : collation(nullptr)
    {
        EXPECT_TRUE(collation.set_collation(nullptr, row("UTF8BIN"), charset("UTF-8"), nullptr,
                                            UTCollationTailoring(CASE_SENSITIVE), FALSE));
    }
    UTCollation collation;
};

TEST(MbcsCharacter, HasRoomForFourBytesAndForgetsWhatItWas)
{
    const Utf8 utf8;
    an_mbcs_character c(&utf8.collation);
    EXPECT_FALSE(c.defined() || c.is_alpha() || c.is_digit() || c.is_space() || c.is_lead());
    c.set_first('7');
    EXPECT_TRUE(c.is_digit() && !c.is_alpha());
    c.set_first(0xE2);
    EXPECT_TRUE(c.is_lead() && !c.is_digit());
    EXPECT_EQ(c.expected_length(), 3U);
    for (const a_byte b : {0x82, 0xAC, 0x31, 0x32}) {
        c.append(b);
    }
    EXPECT_EQ(std::string(c.get(), c.get() + c.length()), "\u20AC1");
    c.clear();
    EXPECT_FALSE(c.defined());
}

TEST(MbcsCharacter, MappingAndOrderAreThoseOfItsCollation)
{
    const Utf8 utf8;
    const auto character = [&](const char * text) {
        an_mbcs_character c(&utf8.collation);
        c.set(reinterpret_cast<const a_byte *>(text), reinterpret_cast<const a_byte *>(text + strlen(text)));
        return c;
    };
    an_mbcs_character c = character("ab");
    EXPECT_EQ(c.length(), 1U);
    c.toupper();
    EXPECT_TRUE(c == character("A"));
    c.tolower();
    const an_mbcs_character cut = character("\xC3");
    const an_mbcs_character wide = character("\u00E4");
    EXPECT_TRUE(character("") < c && c < wide && cut < wide && wide >= cut && c <= c && wide > c &&
                c != wide);
}

// ---- The stored form

TEST(CustomCollationRecord, ARecordOfARowTakesItsTailoringButNotTheSortType)
{
    a_custom_collation_info record;
    memset(static_cast<void *>(&record), 'x', sizeof(record));
    const UTCollationTailoring tailoring("Locale=de;SortType=phonebook;Case=aA;Accent=f;Punct=no");
    const a_packed_collation_order & order = *charset("UTF-8")->get_packed_collation();
    record.set(row("1252LATIN1"), charset("cp1252"), &order, tailoring);
    EXPECT_STREQ(record.orv_collation_label, "1252LATIN1");
    EXPECT_STREQ(record.charset_label, charset("windows-1252")->orv_label());
    EXPECT_STREQ(record.tailoring, "de@collation=phonebook");
    EXPECT_EQ(record.case_sensitivity, CASE_SENSITIVE_LOWER_FIRST);
    EXPECT_EQ(record.accent_sensitivity, ACCENT_SENSITIVE_FRENCH);
    EXPECT_EQ(record.punctuation_sensitivity, PUNCTUATION_INSENSITIVE);
    EXPECT_EQ(record.collation_type, 'L');
    EXPECT_EQ(static_cast<int32>(record.sort_type), 0x78787878);
    EXPECT_EQ(memcmp(&record.packed, &order, sizeof(order)), 0);
    record.set(row("UCA"), charset("UTF-8"), &order, tailoring);
    EXPECT_EQ(record.collation_type, 'I');
}

// Reading them is held by the fuzz target of deserialize and its seeds.
TEST(CustomCollationRecord, IsStoredWholeOrNot)
{
    const a_custom_collation_info record = reversed_latin1();
    std::vector<a_byte> bytes(2 + 1828 + 1);
    UTBufOStream whole(bytes.data(), bytes.size());
    EXPECT_TRUE(record.serialize(whole));
    EXPECT_EQ(whole.ptr(), bytes.data() + 2 + 1828);
    EXPECT_EQ(bytes[0] + 256 * bytes[1], 2);
    EXPECT_EQ(memcmp(bytes.data() + 2, &record, sizeof(record)), 0);
    for (const size_t size : {0, 1, 2, 1829}) {
        UTBufOStream cut(bytes.data(), size);
        EXPECT_FALSE(record.serialize(cut)) << size;
    }
}

} // namespace
