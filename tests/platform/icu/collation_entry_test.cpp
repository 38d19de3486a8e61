// Comparing and keys from single-byte text, from UTF-8 and from text in pieces, held against ICU's keys of
// the same text in UTF-16, with the strings of allkeys.txt (Unicode's default table, package unicode-data).

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "icu/iterator.h"
#include "platform/icu/allkeys.h"
#include "platform/icu/moving_text.h"
#include "utils/locale/utlocale.h"

namespace {

std::string UTF8Of(const std::u16string & units)
{
    std::string utf8;
    icu::UnicodeString(units.data(), static_cast<int32_t>(units.size())).toUTF8String(utf8);
    return utf8;
}

std::u16string UnitsOf(const icu::UnicodeString & string)
{
    return {string.getBuffer(), static_cast<size_t>(string.length())};
}

std::u16string UnitsOf(const std::string & utf8)
{
    return UnitsOf(icu::UnicodeString::fromUTF8(utf8));
}

struct a_tailoring {
    const char * locale;
    std::vector<std::pair<UColAttribute, UColAttributeValue>> attributes;
};

const std::vector<a_tailoring> TAILORINGS = {
    {"", {}},
    {"", {{UCOL_STRENGTH, UCOL_PRIMARY}}},
    {"", {{UCOL_STRENGTH, UCOL_PRIMARY}, {UCOL_CASE_LEVEL, UCOL_ON}, {UCOL_CASE_FIRST, UCOL_LOWER_FIRST}}},
    {"sv", {{UCOL_STRENGTH, UCOL_SECONDARY}}},
    {"de@collation=phonebook", {{UCOL_CASE_FIRST, UCOL_UPPER_FIRST}}},
    {"fr_CA", {{UCOL_FRENCH_COLLATION, UCOL_ON}, {UCOL_CASE_FIRST, UCOL_UPPER_FIRST}}},
    {"cs", {{UCOL_ALTERNATE_HANDLING, UCOL_SHIFTED}, {UCOL_STRENGTH, UCOL_QUATERNARY}}},
    {"ja", {{UCOL_ALTERNATE_HANDLING, UCOL_SHIFTED}, {UCOL_STRENGTH, UCOL_TERTIARY}}},
    {"zh@collation=stroke", {}},
    // With normalization, without which ICU leaves the identical level of text in disorder open.
    {"", {{UCOL_STRENGTH, UCOL_IDENTICAL}, {UCOL_NORMALIZATION_MODE, UCOL_ON}}},
    {"th", {{UCOL_NUMERIC_COLLATION, UCOL_ON}, {UCOL_NORMALIZATION_MODE, UCOL_ON}}},
};

using a_collator = std::unique_ptr<UCollator, void (*)(UCollator *)>;

a_collator Open(const a_tailoring & tailoring)
{
    UErrorCode locale_error = U_ZERO_ERROR;
    UErrorCode options_error = U_ZERO_ERROR;
    a_collator collator(ORV_ucol_open(tailoring.locale, &locale_error, &options_error), ucol_close_3_4);
    EXPECT_NE(collator, nullptr);
    for (const auto & [attribute, value] : tailoring.attributes) {
        ucol_setAttribute_3_4(collator.get(), attribute, value, &options_error);
    }
    EXPECT_EQ(options_error, U_ZERO_ERROR) << tailoring.locale;
    return collator;
}

int Sign(int order)
{
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}

// Without its terminator.
std::string ReferenceKey(const UCollator * collator, const std::u16string & text)
{
    std::string key(100 * text.size() + 100, '\0');
    const int32_t length =
        ucol_getSortKey(collator, text.data(), static_cast<int32_t>(text.size()),
                        reinterpret_cast<uint8_t *>(key.data()), static_cast<int32_t>(key.size()));
    EXPECT_LE(static_cast<size_t>(length), key.size());
    key.resize(static_cast<size_t>(length) - 1);
    return key;
}

// The order of the keys, which ICU's own comparing agrees with but for a few strings under special rules.
int Reference(const UCollator * collator, const std::u16string & s1, const std::u16string & s2)
{
    return Sign(ReferenceKey(collator, s1).compare(ReferenceKey(collator, s2)));
}

// Runs a key function on a block of exactly `size` bytes.
template<typename Build> std::string Key(size_t size, Build build)
{
    const auto dest = std::make_unique<uint8_t[]>(size);
    UErrorCode error = U_ZERO_ERROR;
    const int32_t length = build(dest.get(), static_cast<uint32_t>(size), &error);
    EXPECT_EQ(error, U_ZERO_ERROR);
    EXPECT_LE(static_cast<size_t>(length), size);
    return {reinterpret_cast<const char *>(dest.get()), static_cast<size_t>(length)};
}

std::string KeyOfUTF8(const UCollator * collator, const std::string & text, size_t size)
{
    return Key(size, [&](uint8_t * dest, uint32_t dest_size, UErrorCode * error) {
        return ucol_getSortKeyPrefixUTF8(collator, text.data(), static_cast<int32_t>(text.size()), dest,
                                         dest_size, 1, error);
    });
}

// Both texts in moving pieces of one to `piece` bytes.
int CompareInPieces(const UCollator * collator, const std::string & s1, const std::string & s2, size_t piece,
                    const UChar * map)
{
    size_t next = 0;
    const auto pieces = [&] { return next++ % piece; };
    MovingText text1(s1, std::min(piece, s1.size()), pieces);
    MovingText text2(s2, std::min(piece / 2, s2.size()), pieces);
    an_icu_iterator iter1;
    an_icu_iterator iter2;
    const auto set = [map](an_icu_iterator * iter, MovingText & text) {
        if (map != nullptr) {
            uiter_setFragmentedSBCS(iter, text.bytes(), text.at_hand(), 1024, &MovingText::fill, &text, map);
        } else {
            uiter_setFragmentedUTF8Simple(iter, text.bytes(), text.at_hand(), text.size(), &MovingText::fill,
                                          &text);
        }
    };
    set(&iter1, text1);
    set(&iter2, text2);
    UErrorCode error = U_ZERO_ERROR;
    const int order = ucol_strcollIter_3_4(collator, &iter1, &iter2, &error);
    EXPECT_EQ(error, U_ZERO_ERROR);
    EXPECT_EQ(text1.complaint() + text2.complaint(), "");
    iterator_in(&iter1)->~UCharIteratorBase();
    iterator_in(&iter2)->~UCharIteratorBase();
    return order;
}

int CompareUTF8(const UCollator * collator, const std::string & s1, const std::string & s2)
{
    an_icu_iterator iter1;
    an_icu_iterator iter2;
    uiter_setUTF8_3_4(&iter1, s1.data(), static_cast<int32_t>(s1.size()));
    uiter_setUTF8_3_4(&iter2, s2.data(), static_cast<int32_t>(s2.size()));
    UErrorCode error = U_ZERO_ERROR;
    return ucol_strcollIter_3_4(collator, &iter1, &iter2, &error);
}

// The character set's own 256 values, as the link library takes them.
std::array<UChar, 256> MapOf(const CharsetInfo & row)
{
    std::array<UChar, 256> map{};
    for (size_t byte = 0; byte < map.size(); byte++) {
        map[byte] = byte < 0x80 ? static_cast<UChar>(byte) : row.to_utf16_upper128()[byte - 0x80];
    }
    return map;
}

std::u16string Mapped(const std::string & text, const std::array<UChar, 256> & map)
{
    std::u16string units;
    for (const char c : text) {
        units += map[static_cast<uint8_t>(c)];
    }
    return units;
}

std::string RandomBytes(std::mt19937 & random, size_t most)
{
    std::string text(random() % (most + 1), '\0');
    for (char & c : text) {
        c = static_cast<char>(random() % 3 == 0 ? 0x20 + random() % 0x60 : 0x80 + random() % 0x80);
    }
    return text;
}

} // namespace

TEST(CollationEntry, LongestTextIsKeyedWithoutAWarning)
{
    const a_collator collator = Open(TAILORINGS[0]);
    for (const size_t size : {1023, 1024, 1025}) {
        EXPECT_EQ(KeyOfUTF8(collator.get(), std::string(size, 'a'), 8000),
                  ReferenceKey(collator.get(), std::u16string(size, u'a')))
            << size;
    }
}

// Pairs that ICU's own comparing puts in another order than their keys.
TEST(CollationEntry, CommonBeginningIsntForgotten)
{
    struct a_row {
        const char * locale;
        std::vector<std::pair<UColAttribute, UColAttributeValue>> attributes;
        std::u16string s1;
        std::u16string s2;
    };
    const std::vector<a_row> rows = {
        {"", {{UCOL_ALTERNATE_HANDLING, UCOL_SHIFTED}}, u"\u247B\u009E", u"\u247B\uA980"},
        {"", {{UCOL_ALTERNATE_HANDLING, UCOL_SHIFTED}}, u"\u104C\u08D1", u"\u104C\U00010F4D"},
        {"th", {{UCOL_NUMERIC_COLLATION, UCOL_ON}}, u"\u3237\uFE7E", u"\u3237\u1807"},
        {"", {{UCOL_NUMERIC_COLLATION, UCOL_ON}}, u"4\u06F00", u"4\u06F0\u4E0C"},
        {"fr_CA", {}, u"\u1F8A\u20DE", u"\u1F8A\U000E0077"},
    };
    for (const a_row & row : rows) {
        const a_collator collator = Open({row.locale, row.attributes});
        const std::string utf8[] = {UTF8Of(row.s1), UTF8Of(row.s2)};
        const int expected = Reference(collator.get(), row.s1, row.s2);
        EXPECT_EQ(CompareUTF8(collator.get(), utf8[0], utf8[1]), expected) << utf8[0] << ' ' << utf8[1];
        EXPECT_EQ(CompareInPieces(collator.get(), utf8[0], utf8[1], 2, nullptr), expected)
            << utf8[0] << ' ' << utf8[1];
        EXPECT_EQ(CompareUTF8(collator.get(), utf8[1], utf8[0]), -expected) << utf8[0] << ' ' << utf8[1];
    }
}

// Characters that ICU is trusted with behind a common beginning, whatever the rules: under each of them.
TEST(CollationEntry, SimpleCharactersKeepTheOrderOfTheKeys)
{
    std::mt19937 random;
    const std::vector<icu::UnicodeString> & texts = AllKeys();
    ASSERT_GT(texts.size(), 30000u) << "package unicode-data";
    constexpr std::pair<unsigned, unsigned> BLOCKS[] = {{0x20, 0x7F},     {0xC0, 0x280}, {0x380, 0x480},
                                                        {0x20, 0x7F},     {0x30, 0x3A},  {0x4E00, 0x4E80},
                                                        {0xAC00, 0xAD00}, {0xC0, 0x100}, {0x4000, 0xA000}};
    const auto text = [&](size_t most) {
        std::u16string units;
        for (size_t count = random() % (most + 1); count > 0; count--) {
            const auto & [first, end] = BLOCKS[random() % std::size(BLOCKS)];
            units += static_cast<char16_t>(first + random() % (end - first));
        }
        return units;
    };
    for (const char * locale :
         {"", "th", "fr_CA", "cs", "vi", "el", "es@collation=traditional", "ko@collation=search"}) {
        SCOPED_TRACE(locale);
        const a_collator collator = Open({locale,
                                          {{UCOL_ALTERNATE_HANDLING, UCOL_SHIFTED},
                                           {UCOL_NUMERIC_COLLATION, UCOL_ON},
                                           {UCOL_FRENCH_COLLATION, UCOL_ON},
                                           {UCOL_STRENGTH, UCOL_QUATERNARY},
                                           {UCOL_NORMALIZATION_MODE, UCOL_ON}}});
        for (int round = 0; round < 10000; round++) {
            // Anything before them and behind them, but ICU is trusted only where they begin to differ.
            const auto any = [&] {
                return random() % 2 != 0 ? UnitsOf(texts[random() % texts.size()]) : text(3);
            };
            const std::u16string beginning = any() + any();
            const std::u16string s1 = beginning + text(2) + any();
            const std::u16string s2 = beginning + text(2) + any();
            ASSERT_EQ(CompareUTF8(collator.get(), UTF8Of(s1), UTF8Of(s2)), Reference(collator.get(), s1, s2))
                << UTF8Of(s1) << ' ' << UTF8Of(s2);
        }
    }
}

TEST(CollationEntry, SingleBytesCompareAndKeyAsTheirCharacters)
{
    std::mt19937 random;
    for (const a_tailoring & tailoring : TAILORINGS) {
        const a_collator collator = Open(tailoring);
        for (const CharsetInfo & row : UTLocale::_charset_info) {
            if (row.to_utf16_upper128() == nullptr) {
                continue;
            }
            SCOPED_TRACE(std::string(tailoring.locale) + ' ' + row.orv_label());
            const std::array<UChar, 256> map = MapOf(row);
            for (int round = 0; round < 40; round++) {
                // The last ones are longer than what goes over the stack.
                const size_t most = round < 38 ? 12 : 2000;
                const std::string beginning = RandomBytes(random, most / 2);
                const std::string s1 = beginning + RandomBytes(random, most);
                const std::string s2 = beginning + RandomBytes(random, most);
                const std::u16string units1 = Mapped(s1, map);
                const int expected = Reference(collator.get(), units1, Mapped(s2, map));
                ASSERT_EQ(Sign(ucol_strcoll_sbcs(collator.get(), map.data(), s1.data(), s1.size(), s2.data(),
                                                 s2.size())),
                          expected);
                if (most <= 1024) {
                    ASSERT_EQ(CompareInPieces(collator.get(), s1, s2, 1 + random() % 9, map.data()),
                              expected);
                }
                const std::string key = ReferenceKey(collator.get(), units1);
                const size_t cut = random() % (key.size() + 2);
                ASSERT_EQ(Key(cut,
                              [&](uint8_t * dest, uint32_t size, UErrorCode * error) {
                                  return ucol_getSortKeyPrefixSBCS(collator.get(), s1.data(),
                                                                   static_cast<int32_t>(s1.size()), dest,
                                                                   size, map.data(), 1, error);
                              }),
                          key.substr(0, cut));
            }
        }
    }
}

// U+FFFD for each ill-formed part, on every way there is.
TEST(CollationEntry, IllFormedUTF8IsTheSameTextOnEveryWay)
{
    std::mt19937 random;
    const a_collator collator = Open(TAILORINGS[0]);
    for (int round = 0; round < 20000; round++) {
        std::string texts[2] = {RandomBytes(random, 6), RandomBytes(random, 6)};
        texts[1] = texts[0].substr(0, random() % 4) + texts[1];
        const int expected = Reference(collator.get(), UnitsOf(texts[0]), UnitsOf(texts[1]));
        const std::string shown = testing::PrintToString(texts[0]) + ' ' + testing::PrintToString(texts[1]);
        ASSERT_EQ(CompareUTF8(collator.get(), texts[0], texts[1]), expected) << shown;
        ASSERT_EQ(CompareInPieces(collator.get(), texts[0], texts[1], 1 + random() % 3, nullptr), expected)
            << shown;
        ASSERT_EQ(KeyOfUTF8(collator.get(), texts[0], 300), ReferenceKey(collator.get(), UnitsOf(texts[0])))
            << shown;
    }
}

// Bytes given for a beginning stay right whatever follows; what isn't certain yet is asked for.
TEST(CollationEntry, KeyOfABeginningHoldsForEveryContinuation)
{
    // Contractions, marks, digits, a letter that changes the compression of the primary level.
    constexpr const char16_t * CONTINUATIONS[] = {u"", u"h", u"\u0327", u"\u0301z", u"7", u"a", u"\u4E00"};
    constexpr const char16_t * TEXTS[] = {u"c", u"mac", u"12", u"e\u0301", u"\uAC00\u4E00c", u"z-a -"};
    size_t given = 0;
    size_t refused = 0;
    for (const a_tailoring & tailoring : TAILORINGS) {
        SCOPED_TRACE(tailoring.locale);
        const a_collator collator = Open(tailoring);
        for (const char16_t * beginning : TEXTS) {
            const std::string utf8 = UTF8Of(beginning);
            for (uint32_t size = 1; size < 12; size++) {
                uint8_t dest[12];
                UErrorCode error = U_ZERO_ERROR;
                const int32_t length =
                    ucol_getSortKeyPrefixUTF8(collator.get(), utf8.c_str(), -1, dest, size, 0, &error);
                if (error == U_INDEX_OUTOFBOUNDS_ERROR) {
                    EXPECT_EQ(length, 0);
                    refused++;
                    continue;
                }
                ASSERT_EQ(error, U_ZERO_ERROR);
                ASSERT_EQ(length, static_cast<int32_t>(size));
                given++;
                for (const char16_t * more : CONTINUATIONS) {
                    const std::string key = ReferenceKey(collator.get(), std::u16string(beginning) + more);
                    EXPECT_EQ(memcmp(dest, key.data(), size), 0)
                        << utf8 << " + " << UTF8Of(more) << ", " << size;
                }
            }
        }
    }
    // Neither answer alone would do.
    EXPECT_GT(given, 100u);
    EXPECT_GT(refused, 100u);
}

TEST(CollationEntry, BrokenCallsFailWithoutTouchingTheirText)
{
    UErrorCode error = U_ZERO_ERROR;
    uint8_t dest[4];
    EXPECT_EQ(ucol_getSortKeyPrefixUTF8(nullptr, "a", 1, dest, sizeof dest, 1, &error), 0);
    EXPECT_EQ(error, U_ILLEGAL_ARGUMENT_ERROR);
    EXPECT_EQ(ucol_getSortKeyPrefixUTF8(nullptr, nullptr, 9, nullptr, 4, 1, &error), 0);
    EXPECT_EQ(ucol_strcoll_sbcs(nullptr, nullptr, nullptr, 9, nullptr, 9), -1);
    const a_collator collator = Open(TAILORINGS[0]);
    error = U_ZERO_ERROR;
    EXPECT_EQ(ucol_getSortKeyPrefix(collator.get(), u"ab", -1, dest, 1, 1, &error), 1);
    EXPECT_EQ(error, U_ZERO_ERROR);
    EXPECT_EQ(ucol_getSortKeyPrefix(collator.get(), u"ab", 2, dest, sizeof dest, 0, &error), 0);
    EXPECT_EQ(error, U_INDEX_OUTOFBOUNDS_ERROR);
    EXPECT_EQ(KeyOfUTF8(collator.get(), "", 10), ReferenceKey(collator.get(), u""));
}
