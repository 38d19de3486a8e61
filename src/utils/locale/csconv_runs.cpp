#include "utils/locale/csconv_runs.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>
#include <emmintrin.h>

#include "utils/locale/csconv_rule.h"

namespace {

constexpr ptrdiff_t VECTOR = RUN_VECTOR;
static_assert(VECTOR == sizeof(__m128i));

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

// A run of text mixes ASCII with two-byte characters as words end and accents come, so what they take in
// UTF-8 is never branched on: every place of a vector is written, and the cursor moves on only where a
// character is.

// ---- Decoding

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

// Half a vector of ASCII, which the last of a text often is.
void decode_half(a_run & run)
{
    if (!have(run, VECTOR / 2, VECTOR)) {
        return;
    }
    const __m128i text = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(run.src));
    if (byte_mask(text) == 0) {
        store(run.dest, _mm_unpacklo_epi8(text, _mm_setzero_si128()));
        run.src += VECTOR / 2;
        run.dest += VECTOR;
    }
}

// Of the bytes of a vector, one bit each: where a whole character of one or two bytes begins, and how many
// bytes from the first on belong to such characters.
struct a_mixture {
    unsigned starts;
    int length;
};

a_mixture find_mixture(__m128i text, unsigned not_ascii)
{
    // As signed bytes, 0x80 to 0xBF are the lowest, and 0xC2 to 0xDF follow 0xC1.
    const unsigned follows = byte_mask(_mm_cmplt_epi8(text, _mm_set1_epi8(static_cast<char>(0xC0))));
    const unsigned above_c1 = byte_mask(_mm_cmpgt_epi8(text, _mm_set1_epi8(static_cast<char>(0xC1))));
    const unsigned above_df = byte_mask(_mm_cmpgt_epi8(text, _mm_set1_epi8(static_cast<char>(0xDF))));
    const unsigned pairs = above_c1 & ~above_df & (follows >> 1); // the last byte's successor isn't in sight
    const unsigned starts = (~not_ascii & 0xFFFF) | pairs;
    const int length = std::countr_one(starts | pairs << 1);
    return {starts & ((1u << length) - 1), length};
}

// Eight bytes in the low halves of `bytes` and their successors in those of `next` as code units, as though a
// character of one or two bytes began at each.
__m128i mixture_values(__m128i bytes, __m128i next)
{
    const __m128i is_ascii = _mm_cmplt_epi16(bytes, _mm_set1_epi16(0x80));
    const __m128i high = _mm_slli_epi16(_mm_and_si128(bytes, _mm_set1_epi16(0x1F)), 6);
    const __m128i pair = _mm_or_si128(high, _mm_and_si128(next, _mm_set1_epi16(0x3F)));
    return _mm_or_si128(_mm_and_si128(is_ascii, bytes), _mm_andnot_si128(is_ascii, pair));
}

// Eight values, of which those that `starts` has count.
a_byte * store_starts(a_byte * dest, __m128i values, unsigned starts)
{
    alignas(__m128i) a_byte units[VECTOR];
    _mm_store_si128(reinterpret_cast<__m128i *>(units), values);
    for (int i = 0; i < 8; i++) {
        std::memcpy(dest, units + 2 * i, 2);
        dest += (starts >> i & 1) * 2;
    }
    return dest;
}

void decode_mixture(a_run & run, __m128i text, const a_mixture & mixture)
{
    const __m128i zero = _mm_setzero_si128();
    const __m128i next = _mm_srli_si128(text, 1);
    run.dest =
        store_starts(run.dest, mixture_values(_mm_unpacklo_epi8(text, zero), _mm_unpacklo_epi8(next, zero)),
                     mixture.starts);
    if (mixture.length > 8) {
        run.dest = store_starts(run.dest,
                                mixture_values(_mm_unpackhi_epi8(text, zero), _mm_unpackhi_epi8(next, zero)),
                                mixture.starts >> 8);
    }
    run.src += mixture.length;
}

// A four-byte character, where the form has them. FALSE: there is none that is legal.
bool decode_four_bytes(a_run & run, const an_encoding_form & form)
{
    const a_byte * const src = run.src;
    const uint32 value =
        (src[0] & 7u) << 18 | (src[1] & 0x3Fu) << 12 | (src[2] & 0x3Fu) << 6 | (src[3] & 0x3Fu);
    if (src[0] > form.last_lead_byte || value > LAST_CHARACTER) {
        return false;
    }
    run.dest += put_units(value, run.dest, run.dest_end);
    run.src += 4;
    return true;
}

// The characters of three and four bytes at the cursors.
void decode_wide(a_run & run, const an_encoding_form & form)
{
    while (have(run, 4, 4)) {
        uint32 text;
        std::memcpy(&text, run.src, sizeof(text));
        if ((text & 0xF0) == 0xE0) {
            store_unit(run.dest, (text & 0xF) << 12 | (text >> 2 & 0xFC0) | (text >> 16 & 0x3F));
            run.src += 3;
            run.dest += 2;
        } else if ((text & 0xF0) != 0xF0 || !decode_four_bytes(run, form)) {
            return;
        }
    }
}

// What a vector of text begins with. FALSE: nothing that is taken here.
bool decode_vector(a_run & run, const an_encoding_form & form)
{
    const a_byte * const before = run.src;
    const __m128i text = load(run.src);
    const unsigned not_ascii = byte_mask(text);
    if (not_ascii == 0) {
        store_widened(run.dest, text);
        run.src += VECTOR;
        run.dest += 2 * VECTOR;
        decode_ascii(run);
        return true;
    }
    const a_mixture mixture = find_mixture(text, not_ascii);
    if (mixture.length > 0) {
        decode_mixture(run, text, mixture);
    }
    // The last byte alone is most often the first of a character that the next vector has whole.
    if (mixture.length < VECTOR - 1) {
        decode_wide(run, form);
    }
    return run.src != before;
}

} // namespace

void decode_runs(a_run & run, const an_encoding_form & form)
{
    while (have(run, VECTOR, 2 * VECTOR) && decode_vector(run, form)) {
    }
    decode_half(run);
}

// ---- Encoding

namespace {

// All ones in the lanes that have none of the bits of `mask`.
__m128i lanes_without(__m128i units, unsigned mask)
{
    return _mm_cmpeq_epi16(_mm_and_si128(units, _mm_set1_epi16(static_cast<short>(mask))),
                           _mm_setzero_si128());
}

void encode_ascii(a_run & run)
{
    size_t left = std::min(static_cast<size_t>(run.src_end - run.src) / (2 * VECTOR),
                           static_cast<size_t>(run.dest_end - run.dest) / VECTOR);
    for (; left > 0; left--) {
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

// Eight code units below 0x800, of which the first `count` count, at least one; `is_ascii` has ones where one
// is a single byte.
void encode_mixture(a_run & run, __m128i units, __m128i is_ascii, int count)
{
    const __m128i follow = _mm_slli_epi16(_mm_and_si128(units, _mm_set1_epi16(0x3F)), 8);
    const __m128i pair = _mm_or_si128(_mm_or_si128(_mm_srli_epi16(units, 6), follow),
                                      _mm_set1_epi16(static_cast<short>(0x80C0)));
    const __m128i text = _mm_or_si128(_mm_and_si128(is_ascii, units), _mm_andnot_si128(is_ascii, pair));
    alignas(__m128i) a_byte bytes[VECTOR];
    _mm_store_si128(reinterpret_cast<__m128i *>(bytes), text);
    // Eight lengths in the bytes of one number: 2, less 1 where there is ASCII. A product adds them up, so
    // that each byte tells where its unit's text ends. `count` is 1 to 8, so `& 63` changes nothing.
    const __m128i lengths = _mm_add_epi8(_mm_packs_epi16(is_ascii, is_ascii), _mm_set1_epi8(2));
    const uint64 counted =
        static_cast<uint64>(_mm_cvtsi128_si64(lengths)) & ~uint64{0} >> ((64 - 8 * count) & 63);
    uint64 ends = counted * 0x0101010101010101;
    const auto total = static_cast<ptrdiff_t>(ends >> 56);
    std::memcpy(run.dest, bytes, 2);
    for (int i = 1; i < 8; i++) {
        std::memcpy(run.dest + (ends & 0xFF), bytes + 2 * i, 2);
        ends >>= 8;
    }
    run.dest += total;
    run.src += 2 * static_cast<ptrdiff_t>(count);
}

// The characters of three and four bytes at the cursors.
void encode_wide(a_run & run, const an_encoding_form & form)
{
    while (have(run, 4, 4)) {
        const uint32 unit = load_unit(run.src);
        if (unit < 0x800) {
            return;
        }
        uint32 text = 0x8080E0 | unit >> 12 | (unit << 2 & 0x3F00) | (unit & 0x3F) << 16;
        ptrdiff_t length = 3;
        if ((unit & 0xF800) == 0xD800) {
            const a_character c = read_units(run.src, run.src_end, form);
            if (c.length != 4) {
                return;
            }
            text = 0x808080F0 | c.value >> 18 | (c.value >> 4 & 0x3F00) | (c.value << 10 & 0x3F0000) |
                   (c.value & 0x3F) << 24;
            length = 4;
            run.src += 2;
        }
        std::memcpy(run.dest, &text, sizeof(text));
        run.src += 2;
        run.dest += length;
    }
}

// What a vector of units begins with. FALSE: nothing that is taken here.
bool encode_vector(a_run & run, const an_encoding_form & form)
{
    const a_byte * const before = run.src;
    const __m128i units = load(run.src);
    const __m128i is_ascii = lanes_without(units, 0xFF80);
    if (byte_mask(is_ascii) == 0xFFFF) {
        _mm_storel_epi64(reinterpret_cast<__m128i *>(run.dest), _mm_packus_epi16(units, units));
        run.src += VECTOR;
        run.dest += VECTOR / 2;
        encode_ascii(run);
        return true;
    }
    const int count = std::countr_one(byte_mask(lanes_without(units, 0xF800))) / 2;
    if (count > 0) {
        encode_mixture(run, units, is_ascii, count);
    }
    if (count < 8) {
        encode_wide(run, form);
    }
    return run.src != before;
}

} // namespace

void encode_runs(a_run & run, const an_encoding_form & form)
{
    encode_ascii(run);
    while (fits_encode_runs(run) && encode_vector(run, form)) {
    }
}

void copy_ascii(a_run & run)
{
    while (have(run, VECTOR, VECTOR)) {
        const __m128i text = load(run.src);
        if (byte_mask(text) != 0) {
            break;
        }
        store(run.dest, text);
        run.src += VECTOR;
        run.dest += VECTOR;
    }
    if (have(run, VECTOR / 2, VECTOR / 2)) {
        const __m128i half = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(run.src));
        if (byte_mask(half) == 0) {
            _mm_storel_epi64(reinterpret_cast<__m128i *>(run.dest), half);
            run.src += VECTOR / 2;
            run.dest += VECTOR / 2;
        }
    }
    while (have(run, 1, 1) && *run.src < 0x80) {
        *run.dest++ = *run.src++;
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
