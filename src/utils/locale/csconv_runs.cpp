#include "utils/locale/csconv_runs.h"

#include <bit>
#include <cstddef>
#include <cstring>
#include <emmintrin.h>

#include "utils/locale/csconv_rule.h"

namespace {

constexpr ptrdiff_t VECTOR = sizeof(__m128i);

__m128i load(const a_byte * src)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(src));
}

void store(a_byte * dest, __m128i value)
{
    _mm_storeu_si128(reinterpret_cast<__m128i *>(dest), value);
}

// One bit for each byte, set where its highest bit is.
unsigned byte_mask(__m128i value)
{
    return static_cast<unsigned>(_mm_movemask_epi8(value));
}

bool have(const a_run & run, ptrdiff_t src, ptrdiff_t dest)
{
    return run.src_end - run.src >= src && run.dest_end - run.dest >= dest;
}

// 16 bytes of ASCII as 16 code units.
void store_widened(a_byte * dest, __m128i ascii)
{
    const __m128i zero = _mm_setzero_si128();
    store(dest, _mm_unpacklo_epi8(ascii, zero));
    store(dest + VECTOR, _mm_unpackhi_epi8(ascii, zero));
}

// ---- Decoding

// Of eight lanes of two bytes, those that begin with a lead byte of one following byte. 0xC0 and 0xC1 have
// none.
__m128i two_byte_lanes(__m128i text)
{
    const __m128i is_lead = _mm_cmpeq_epi16(_mm_and_si128(text, _mm_set1_epi16(0xE0)), _mm_set1_epi16(0xC0));
    const __m128i has_none = _mm_cmpeq_epi16(_mm_and_si128(text, _mm_set1_epi16(0xFE)), _mm_set1_epi16(0xC0));
    return _mm_andnot_si128(has_none, is_lead);
}

// Eight two-byte characters as code units.
__m128i two_byte_values(__m128i text)
{
    const __m128i high = _mm_slli_epi16(_mm_and_si128(text, _mm_set1_epi16(0x1F)), 6);
    const __m128i low = _mm_and_si128(_mm_srli_epi16(text, 8), _mm_set1_epi16(0x3F));
    return _mm_or_si128(high, low);
}

// The ASCII vectors at the cursors.
void decode_ascii(a_run & run)
{
    while (have(run, 2 * VECTOR, 4 * VECTOR)) {
        const __m128i first = load(run.src);
        const __m128i second = load(run.src + VECTOR);
        if (byte_mask(_mm_or_si128(first, second)) != 0) {
            return;
        }
        store_widened(run.dest, first);
        store_widened(run.dest + 2 * VECTOR, second);
        run.src += 2 * VECTOR;
        run.dest += 4 * VECTOR;
    }
}

// The three-byte characters at the cursors, which `src` and `dest` bytes are there for.
void decode_three_bytes(a_run & run)
{
    while (have(run, 4, 2)) {
        uint32 text;
        std::memcpy(&text, run.src, sizeof(text));
        if ((text & 0xF0) != 0xE0) {
            return;
        }
        store_unit(run.dest, (text & 0xF) << 12 | ((text >> 2) & 0xFC0) | ((text >> 16) & 0x3F));
        run.src += 3;
        run.dest += 2;
    }
}

} // namespace

void decode_runs(a_run & run)
{
    while (have(run, 2 * VECTOR, 3 * VECTOR)) {
        const __m128i text = load(run.src);
        const unsigned not_ascii = byte_mask(text);
        if (not_ascii == 0) {
            store_widened(run.dest, text);
            run.src += VECTOR;
            run.dest += 2 * VECTOR;
            decode_ascii(run);
            continue;
        }
        // First as many two-byte characters as there are, which have as many bytes in both forms, then as
        // many of ASCII; no branch depends on how many there are, since words end everywhere.
        constexpr unsigned sentinel = 1u << VECTOR;
        const int pairs = std::countr_one(byte_mask(two_byte_lanes(text)));
        const int ascii = std::countr_zero((not_ascii | sentinel) >> pairs);
        if (pairs + ascii == 0) {
            if ((*run.src & 0xF0) != 0xE0) {
                return;
            }
            decode_three_bytes(run);
            continue;
        }
        store(run.dest, two_byte_values(text));
        store_widened(run.dest + pairs, load(run.src + pairs));
        run.src += pairs + ascii;
        run.dest += pairs + 2 * ascii;
    }
}

// ---- Encoding

namespace {

// All ones in the lanes whose value is below a power of two, of which `mask` has the other bits.
__m128i lanes_without(__m128i units, unsigned mask)
{
    return _mm_cmpeq_epi16(_mm_and_si128(units, _mm_set1_epi16(static_cast<short>(mask))),
                           _mm_setzero_si128());
}

// Eight code units from 0x80 to 0x7FF as two bytes each.
__m128i two_byte_text(__m128i units)
{
    const __m128i lead = _mm_srli_epi16(units, 6);
    const __m128i follow = _mm_slli_epi16(_mm_and_si128(units, _mm_set1_epi16(0x3F)), 8);
    return _mm_or_si128(_mm_or_si128(lead, follow), _mm_set1_epi16(static_cast<short>(0x80C0)));
}

void store_narrowed(a_byte * dest, __m128i ascii)
{
    _mm_storel_epi64(reinterpret_cast<__m128i *>(dest), _mm_packus_epi16(ascii, ascii));
}

void encode_ascii(a_run & run)
{
    while (have(run, 2 * VECTOR, VECTOR)) {
        const __m128i first = load(run.src);
        const __m128i second = load(run.src + VECTOR);
        if (byte_mask(lanes_without(_mm_or_si128(first, second), 0xFF80)) != 0xFFFF) {
            return;
        }
        store(run.dest, _mm_packus_epi16(first, second));
        run.src += 2 * VECTOR;
        run.dest += VECTOR;
    }
}

void encode_three_bytes(a_run & run)
{
    while (have(run, 2, 4)) {
        const uint32 unit = load_unit(run.src);
        if (unit < 0x800 || (unit & 0xF800) == 0xD800) {
            return;
        }
        const uint32 text = 0x8080E0 | unit >> 12 | (unit << 2 & 0x3F00) | (unit & 0x3F) << 16;
        std::memcpy(run.dest, &text, sizeof(text));
        run.src += 2;
        run.dest += 3;
    }
}

} // namespace

void encode_runs(a_run & run)
{
    while (have(run, 2 * VECTOR, 2 * VECTOR)) {
        const __m128i units = load(run.src);
        const __m128i is_ascii = lanes_without(units, 0xFF80);
        const unsigned ascii_mask = byte_mask(is_ascii);
        if (ascii_mask == 0xFFFF) {
            store_narrowed(run.dest, units);
            run.src += VECTOR;
            run.dest += VECTOR / 2;
            encode_ascii(run);
            continue;
        }
        // As in decoding: first the two-byte characters, then ASCII, without a branch on how many there are.
        const __m128i is_pair = _mm_andnot_si128(is_ascii, lanes_without(units, 0xF800));
        const int pairs = std::countr_one(byte_mask(is_pair));
        const int ascii = std::countr_one(ascii_mask >> pairs);
        if (pairs + ascii == 0) {
            if ((load_unit(run.src) & 0xF800) == 0xD800) {
                return;
            }
            encode_three_bytes(run);
            continue;
        }
        store(run.dest, two_byte_text(units));
        store_narrowed(run.dest + pairs, load(run.src + pairs));
        run.src += pairs + ascii;
        run.dest += pairs + ascii / 2;
    }
}

void swap_run(a_run & run)
{
    while (have(run, VECTOR, VECTOR)) {
        const __m128i units = load(run.src);
        store(run.dest, _mm_or_si128(_mm_slli_epi16(units, 8), _mm_srli_epi16(units, 8)));
        run.src += VECTOR;
        run.dest += VECTOR;
    }
    while (have(run, 2, 2)) {
        const a_byte first = run.src[0];
        run.dest[0] = run.src[1];
        run.dest[1] = first;
        run.src += 2;
        run.dest += 2;
    }
}
