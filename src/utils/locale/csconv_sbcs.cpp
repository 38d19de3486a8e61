#include "utils/locale/csconv_sbcs.h"

#include <algorithm>
#include <cstring>
#include <emmintrin.h>

#include "utils/locale/csconv_rule.h"
#include "utils/locale/csconv_runs.h"
#include "utils/locale/utlocale.h"

namespace {

constexpr ptrdiff_t VECTOR = RUN_VECTOR;
constexpr uint32 UPPER_HALF = 0x80; // bytes below are ASCII, and each table has them stand for themselves
constexpr uint32 ALL_BYTES = 0x100;

__m128i load(const a_byte * src)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(src));
}

void store(a_byte * dest, __m128i value)
{
    _mm_storeu_si128(reinterpret_cast<__m128i *>(dest), value);
}

// Is any byte of the upper half below `limit`, which is from UPPER_HALF to ALL_BYTES? As signed bytes, the
// upper half is below 0, in its own order.
bool has_upper_below(__m128i text, uint32 limit)
{
    return _mm_movemask_epi8(_mm_cmplt_epi8(text, _mm_set1_epi8(static_cast<char>(limit)))) != 0;
}

a_run run_of(void ** p_dest, const void * dest_end, const void ** p_src, const void * src_end)
{
    return {static_cast<a_byte *>(*p_dest), static_cast<const a_byte *>(dest_end),
            static_cast<const a_byte *>(*p_src), static_cast<const a_byte *>(src_end)};
}

} // namespace

// ---- To another single-byte character set

BytemapCharsetConverter::BytemapCharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                                                 const CharsetInfo * src_csinfo)
    : CharsetConverterBase(locale, dest_csinfo, src_csinfo)
{
    if (dest_csinfo == nullptr || src_csinfo == nullptr || dest_csinfo->is_mbcs() || src_csinfo->is_mbcs()) {
        return;
    }
    const ConversionTable * const table = locale->GetConversionTable(dest_csinfo, src_csinfo, TRUE, TRUE);
    if (table != nullptr) {
        _map = table->_map;
        _is_supported = TRUE;
    }
}

void BytemapCharsetConverter::close()
{
    _is_supported = FALSE;
    _map = nullptr;
}

ORV_CONV_RET BytemapCharsetConverter::ContinueConvert(PivotBuffer &, void ** p_dest, const void * dest_end,
                                                      const void ** p_src, const void * src_end, a_bool)
{
    a_run run = run_of(p_dest, dest_end, p_src, src_end);
    const a_byte * const end = run.src + std::min(run.src_end - run.src, run.dest_end - run.dest);
    while (end - run.src >= VECTOR) {
        const __m128i text = load(run.src);
        if (!has_upper_below(text, ALL_BYTES)) {
            store(run.dest, text);
        } else {
            for (ptrdiff_t i = 0; i < VECTOR; i++) {
                run.dest[i] = _map[run.src[i]];
            }
        }
        run.src += VECTOR;
        run.dest += VECTOR;
    }
    while (run.src < end) {
        *run.dest++ = _map[*run.src++];
    }
    *p_dest = run.dest;
    *p_src = run.src;
    return run.src < run.src_end ? ORV_CONV_DST_BUFFER_OVERRUN : ORV_CONV_OK;
}

// ---- To the hub

namespace {

// The byte from which on all stand for the code units of the same value, as 0xA0 and higher ones do in most
// character sets that grew out of ISO 8859-1.
uint32 first_like_latin1(const a_utf16 * map)
{
    uint32 first = ALL_BYTES;
    while (first > UPPER_HALF && map[first - 1] == first - 1) {
        first--;
    }
    return first;
}

// The rule; `count` code units fit.
inline void map_units(a_run & run, const a_utf16 * map, ptrdiff_t count)
{
    for (ptrdiff_t i = 0; i < count; i++) {
        store_unit(run.dest + 2 * i, map[run.src[i]]);
    }
    run.src += count;
    run.dest += 2 * count;
}

size_t vectors_that_fit(const a_run & run)
{
    return std::min(static_cast<size_t>(run.src_end - run.src) / VECTOR,
                    static_cast<size_t>(run.dest_end - run.dest) / (2 * VECTOR));
}

// The rule for whole vectors. Where every byte is ASCII or at least `like_latin1`, the table needn't be
// asked.
void map_vectors(a_run & run, const a_utf16 * map, uint32 like_latin1)
{
    const __m128i zero = _mm_setzero_si128();
    for (size_t left = vectors_that_fit(run); left > 0; left--) {
        const __m128i text = load(run.src);
        if (has_upper_below(text, like_latin1)) {
            map_units(run, map, VECTOR);
            continue;
        }
        store(run.dest, _mm_unpacklo_epi8(text, zero));
        store(run.dest + VECTOR, _mm_unpackhi_epi8(text, zero));
        run.src += VECTOR;
        run.dest += 2 * VECTOR;
    }
    if (run.src_end - run.src < VECTOR / 2 || run.dest_end - run.dest < VECTOR) {
        return;
    }
    const __m128i half = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(run.src));
    if (!has_upper_below(half, like_latin1)) { // the bytes that are missing count as ASCII
        store(run.dest, _mm_unpacklo_epi8(half, zero));
        run.src += VECTOR / 2;
        run.dest += VECTOR;
    }
}

} // namespace

SBCSToUTF16MapCharsetConverter::SBCSToUTF16MapCharsetConverter(UTLocale * locale,
                                                               const CharsetInfo * dest_csinfo,
                                                               const CharsetInfo * src_csinfo)
    : CharsetConverterBase(locale, dest_csinfo, src_csinfo)
{
    if (dest_csinfo == nullptr || src_csinfo == nullptr || src_csinfo->is_mbcs() ||
        dest_csinfo->min_char_size() != sizeof(a_utf16)) {
        return;
    }
    _map = locale->FindOrLoadSBCSToUTF16(src_csinfo);
    if (_map != nullptr) {
        _like_latin1 = first_like_latin1(_map);
        _is_supported = TRUE;
    }
}

void SBCSToUTF16MapCharsetConverter::close()
{
    _map = nullptr;
    _is_supported = FALSE;
}

ORV_CONV_RET SBCSToUTF16MapCharsetConverter::ContinueConvert(PivotBuffer &, void ** p_dest,
                                                             const void * dest_end, const void ** p_src,
                                                             const void * src_end, a_bool)
{
    a_run run = run_of(p_dest, dest_end, p_src, src_end);
    if (_state._n_destbuf > 0 && run.dest < run.dest_end) {
        *run.dest++ = _state._destbuf[0];
        _state._n_destbuf = 0;
    }
    map_vectors(run, _map, _like_latin1);
    if (run.src < run.src_end) {
        map_units(run, _map, std::min(run.src_end - run.src, (run.dest_end - run.dest) / 2));
    }
    if (run.src < run.src_end && run.dest < run.dest_end) { // one byte of room is left
        a_byte unit[sizeof(a_utf16)];
        store_unit(unit, _map[*run.src++]);
        *run.dest++ = unit[0];
        _state._destbuf[0] = unit[1];
        _state._n_destbuf = 1;
    }
    *p_dest = run.dest;
    *p_src = run.src;
    return run.src < run.src_end || _state._n_destbuf > 0 ? ORV_CONV_DST_BUFFER_OVERRUN : ORV_CONV_OK;
}
