// Comparing straight from single-byte text, UTF-8 and text in pieces.
//
// The order is that of the sort keys, which plain ICU doesn't always keep: it skips what two texts have in
// common at their beginning, and under some rules the rest then compares otherwise than behind it. With
// punctuation ignored, a mark behind an ignored character is ignored, too; with French accents the last
// difference counts; numbers and canonical order reach back. ICU steps back over most of such characters,
// but not over all (in ICU 72 one pair in 100,000 of random strings that differ in their last character). So
// where such rules are set, the texts are made to differ for ICU in their first unit, unless the first
// characters that differ are such that nothing can happen.

#include <array>
#include <bit>
#include <cstring>

#include "icu/iterator.h"

namespace {

// Rules under which the place where two texts begin to differ is all that counts.
bool has_plain_rules(const UCollator * collator, UErrorCode * error)
{
    return ucol_getAttribute(collator, UCOL_ALTERNATE_HANDLING, error) == UCOL_NON_IGNORABLE &&
           ucol_getAttribute(collator, UCOL_NORMALIZATION_MODE, error) == UCOL_OFF &&
           ucol_getAttribute(collator, UCOL_FRENCH_COLLATION, error) == UCOL_OFF &&
           ucol_getAttribute(collator, UCOL_NUMERIC_COLLATION, error) == UCOL_OFF;
}

// Can texts that begin to differ with this character be compared from there on under any rules? It has a
// primary weight, punctuation ignored or not, so it decides for itself what becomes of what follows, and it
// joins with nothing before it but what ICU steps back over. So are the characters of some blocks without
// marks: ASCII from the blank on but for the digits, Latin letters, Greek, the first half of Cyrillic, Han,
// and Hangul but for its ends.
bool is_simple(UChar unit)
{
    return (unit >= 0x20 && unit < 0x30) || (unit >= 0x3A && unit < 0x7F) || (unit >= 0xC0 && unit < 0x280) ||
           (unit >= 0x380 && unit < 0x480) || (unit >= 0x4000 && unit < 0xA000) ||
           (unit >= 0xB000 && unit < 0xD000);
}

// The same by the first byte of the character. If that is ill-formed, it is U+FFFD, which is as simple.
constexpr std::array<bool, 256> SIMPLE_LEAD_BYTES = [] {
    std::array<bool, 256> simple{};
    for (unsigned byte = 0; byte < simple.size(); byte++) {
        simple[byte] = (byte >= 0x20 && byte < 0x30) || (byte >= 0x3A && byte < 0x7F) ||
                       (byte >= 0xC3 && byte < 0xCA) || (byte >= 0xCE && byte < 0xD2) ||
                       (byte >= 0xE4 && byte < 0xEA) || byte == 0xEB || byte == 0xEC;
    }
    return simple;
}();

// Bytes of a text, wherever they lie.
struct a_view {
    const uint8_t * bytes;
    size_t length;

    [[nodiscard]] bool is_trail_at(size_t at) const { return at < length && (bytes[at] & 0xC0) == 0x80; }
    [[nodiscard]] bool is_simple_at(size_t at) const { return at == length || SIMPLE_LEAD_BYTES[bytes[at]]; }
};

// The number of leading bytes in which two blocks of eight are equal.
size_t equal_bytes(const uint8_t * s1, const uint8_t * s2)
{
    uint64_t word1 = 0;
    uint64_t word2 = 0;
    memcpy(&word1, s1, sizeof word1);
    memcpy(&word2, s2, sizeof word2);
    static_assert(std::endian::native == std::endian::little);
    return static_cast<size_t>(std::countr_zero(word1 ^ word2)) / 8;
}

// How many bytes two texts have in common at their beginning. Where it ends can't be foretold, so blocks are
// compared without a branch on it.
[[gnu::always_inline]] inline size_t common_length(const a_view & s1, const a_view & s2)
{
    const size_t shorter = std::min(s1.length, s2.length);
    size_t at = 0;
    for (; at + 8 <= shorter; at += 8) {
        const size_t equal = equal_bytes(s1.bytes + at, s2.bytes + at);
        if (equal < 8) {
            return at + equal;
        }
    }
    if (shorter >= 8) {
        at = shorter - 8;
        return at + equal_bytes(s1.bytes + at, s2.bytes + at);
    }
    while (at < shorter && s1.bytes[at] == s2.bytes[at]) {
        at++;
    }
    return at;
}

UCollationResult compare_by_iterators(const UCollator * collator, UCharIteratorBase & text1,
                                      UCharIteratorBase & text2, bool keep_beginning, UErrorCode * error)
{
    UCharIterator iter1;
    UCharIterator iter2;
    text1.bind(&iter1);
    text2.bind(&iter2);
    if (keep_beginning && iter1.current(&iter1) == iter2.current(&iter2)) {
        text2.disguise_first(&iter2);
    }
    return ucol_strcollIter(collator, &iter1, &iter2, error);
}

// Have two texts anything in common at their beginning?
bool begin_alike(const a_view & s1, const a_view & s2)
{
    return s1.length != 0 && s2.length != 0 && *s1.bytes == *s2.bytes;
}

UCollationResult compare_in_place(const UCollator * collator, const a_view & s1, const a_view & s2,
                                  UErrorCode * error)
{
    return ucol_strcollUTF8(collator, reinterpret_cast<const char *>(s1.bytes),
                            static_cast<int32_t>(s1.length), reinterpret_cast<const char *>(s2.bytes),
                            static_cast<int32_t>(s2.length), error);
}

// UTF-8 that begins alike. Words that don't never come here, and their way is kept short: ICU orders them in
// less than 20 ns.
[[gnu::noinline]] UCollationResult compare_utf8(const UCollator * collator, UCharIteratorBase & text1,
                                                UCharIteratorBase & text2, UErrorCode * error)
{
    const a_view s1 = {text1.bytes(), text1.available()};
    const a_view s2 = {text2.bytes(), text2.available()};
    size_t common = common_length(s1, s2);
    if (common == s1.length && common == s2.length) {
        return UCOL_EQUAL;
    }
    // Trailing bytes aren't simple, so a whole character of each is looked at only where it has to be.
    bool may_skip = s1.is_simple_at(common) && s2.is_simple_at(common);
    if (!may_skip) {
        while (common > 0 && (s1.is_trail_at(common) || s2.is_trail_at(common))) {
            --common;
        }
        may_skip = common == 0 || (s1.is_simple_at(common) && s2.is_simple_at(common));
    }
    if (!may_skip && !has_plain_rules(collator, error)) {
        return compare_by_iterators(collator, text1, text2, true, error);
    }
    return compare_in_place(collator, s1, s2, error);
}

[[gnu::noinline]] UCollationResult compare_pieces(const UCollator * collator, UCharIteratorBase & text1,
                                                  UCharIteratorBase & text2, UErrorCode * error)
{
    return compare_by_iterators(collator, text1, text2, !has_plain_rules(collator, error), error);
}

// Texts that go through the map on the stack.
UCollationResult compare_mapped(const UCollator * collator, const UChar * map, const a_view & s1,
                                const a_view & s2)
{
    const size_t common = common_length(s1, s2);
    if (common == s1.length && common == s2.length) {
        return UCOL_EQUAL;
    }
    UChar units1[STACK_UNITS];
    UChar units2[STACK_UNITS];
    map_text(units1, map, s1.bytes, s1.length);
    map_text(units2, map, s2.bytes, s2.length);
    const auto size1 = static_cast<int32_t>(s1.length);
    const auto size2 = static_cast<int32_t>(s2.length);
    UErrorCode error = U_ZERO_ERROR;
    const bool may_skip = common == 0 || ((common == s1.length || is_simple(units1[common])) &&
                                          (common == s2.length || is_simple(units2[common])));
    if (!may_skip && !has_plain_rules(collator, &error)) {
        UnitIterator text1(units1, size1);
        UnitIterator text2(units2, size2);
        return compare_by_iterators(collator, text1, text2, true, &error);
    }
    return ucol_strcoll(collator, units1, size1, units2, size2);
}

} // namespace

extern "C" {

int ucol_strcoll_sbcs(const UCollator * collator, const UChar * map, const char * s1, size_t length1,
                      const char * s2, size_t length2)
{
    if (collator == nullptr) {
        return -1; // as without this library
    }
    if (length1 <= STACK_UNITS && length2 <= STACK_UNITS) {
        return compare_mapped(collator, map, {bytes_of(s1), length1}, {bytes_of(s2), length2});
    }
    FragmentedSBCSIterator text1(bytes_of(s1), length1, length1, nullptr, nullptr, map);
    FragmentedSBCSIterator text2(bytes_of(s2), length2, length2, nullptr, nullptr, map);
    UErrorCode error = U_ZERO_ERROR;
    return compare_by_iterators(collator, text1, text2, !has_plain_rules(collator, &error), &error);
}

UCollationResult ucol_strcollIter_3_4(const UCollator * collator, an_icu_iterator * iter1,
                                      an_icu_iterator * iter2, UErrorCode * error)
{
    if (error == nullptr || U_FAILURE(*error)) {
        return UCOL_EQUAL;
    }
    if (collator == nullptr) {
        *error = U_ILLEGAL_ARGUMENT_ERROR;
        return UCOL_EQUAL;
    }
    UCharIteratorBase & text1 = *iterator_in(iter1);
    UCharIteratorBase & text2 = *iterator_in(iter2);
    if (!text1.is_untouched_utf8() || !text2.is_untouched_utf8()) {
        return compare_pieces(collator, text1, text2, error);
    }
    // ICU compares UTF-8 in place several times as fast as through an iterator.
    const a_view s1 = {text1.bytes(), text1.available()};
    const a_view s2 = {text2.bytes(), text2.available()};
    return begin_alike(s1, s2) ? compare_utf8(collator, text1, text2, error)
                               : compare_in_place(collator, s1, s2, error);
}
}
