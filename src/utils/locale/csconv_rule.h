// How UTF-8, CESU-8 and the hub write one character: the rule that every faster way has to follow. For the
// implementation of converters and their tests.
//
// Units: lengths are in bytes of UTF-8 or in code units of UTF-16, as told. Threads: free on any.
#pragma once

#include <cstddef>
#include <cstring>

#include "utils/etc/uttypes.h"
#include "utils/locale/utlocale.h"

constexpr uint32 REPLACEMENT_CHARACTER = 0xFFFD; // for what can't be converted
constexpr uint32 LAST_CHARACTER = 0x10FFFF;      // Unicode ends here
constexpr a_byte FIRST_LEAD_BYTE = 0xC0;

// What UTF-8 and CESU-8 differ in.
struct an_encoding_form {
    a_byte last_lead_byte; // higher bytes stand for themselves, as those below FIRST_LEAD_BYTE do
    bool joins_pairs; // a surrogate pair is one character of four bytes, and alone a surrogate is illegal
};
constexpr an_encoding_form FORM_UTF8 = {0xF4, true};
constexpr an_encoding_form FORM_CESU8 = {0xEF, false};

struct a_character {
    uint32 value;
    size_t length; // in what it was read from; 0: it is incomplete
    bool is_illegal;
};

[[nodiscard]] inline a_utf16 load_unit(const a_byte * src)
{
    a_utf16 unit;
    std::memcpy(&unit, src, sizeof(unit));
    return unit;
}

inline void store_unit(a_byte * dest, uint32 unit)
{
    const auto value = static_cast<a_utf16>(unit);
    std::memcpy(dest, &value, sizeof(value));
}

[[nodiscard]] constexpr bool is_lead_surrogate(uint32 unit)
{
    return (unit & 0xFC00) == 0xD800;
}
[[nodiscard]] constexpr bool is_trail_surrogate(uint32 unit)
{
    return (unit & 0xFC00) == 0xDC00;
}

// The character at `src`, which is before `src_end`; the length is in bytes. `flags` is the row's, whose
// PACKED_TRAILING_BYTES tell how many bytes follow a lead byte; of these only the low six bits are looked at.
[[nodiscard]] inline a_character decode_character(const a_byte * src, const a_byte * src_end,
                                                  const a_byte * flags, const an_encoding_form & form)
{
    const uint32 b = *src;
    if (b < FIRST_LEAD_BYTE || b > form.last_lead_byte) {
        return {b, 1, false};
    }
    const size_t follow = flags[b] & PACKED_TRAILING_BYTES;
    if (static_cast<size_t>(src_end - src) <= follow) {
        return {0, 0, false};
    }
    uint32 value = b & ((1u << (6 - follow)) - 1);
    for (size_t i = 1; i <= follow; i++) {
        value = value << 6 | (src[i] & 0x3Fu);
    }
    return {value, 1 + follow, value > LAST_CHARACTER};
}

// Writes `value` as UTF-16 and gives the bytes written, 0 if it doesn't fit.
[[nodiscard]] inline size_t put_units(uint32 value, a_byte * dest, const a_byte * dest_end)
{
    const auto room = static_cast<size_t>(dest_end - dest);
    if (value <= 0xFFFF) {
        if (room < 2) {
            return 0;
        }
        store_unit(dest, value);
        return 2;
    }
    if (room < 4) {
        return 0;
    }
    store_unit(dest, ((value >> 10) & 0x7FF) + 0xD7C0);
    store_unit(dest + 2, (value & 0x3FF) | 0xDC00);
    return 4;
}

// The character at `src`, of which `src_end` is a whole number of code units away, at least one; the length
// is in bytes of UTF-16.
[[nodiscard]] inline a_character read_units(const a_byte * src, const a_byte * src_end,
                                            const an_encoding_form & form)
{
    const uint32 unit = load_unit(src);
    if (!form.joins_pairs || (!is_lead_surrogate(unit) && !is_trail_surrogate(unit))) {
        return {unit, 2, false};
    }
    if (is_trail_surrogate(unit)) {
        return {unit, 2, true};
    }
    if (src_end - src < 4) {
        return {0, 0, false};
    }
    const uint32 next = load_unit(src + 2);
    if (!is_trail_surrogate(next)) {
        return {unit, 2, true};
    }
    return {(unit << 10) + next - 0x35FDC00, 4, false};
}

// Writes `value` as UTF-8 (RFC 3629; a surrogate in the same way) and gives the bytes written, 0 if it
// doesn't fit.
[[nodiscard]] inline size_t encode_character(uint32 value, a_byte * dest, const a_byte * dest_end)
{
    constexpr a_byte lead_bits[] = {0, 0, 0xC0, 0xE0, 0xF0}; // by length
    const size_t length = value < 0x80 ? 1 : value < 0x800 ? 2 : value < 0x10000 ? 3 : 4;
    if (static_cast<size_t>(dest_end - dest) < length) {
        return 0;
    }
    for (size_t i = length - 1; i > 0; i--) {
        dest[i] = static_cast<a_byte>(0x80 | (value & 0x3F));
        value >>= 6;
    }
    dest[0] = static_cast<a_byte>(lead_bits[length] | value);
    return length;
}
