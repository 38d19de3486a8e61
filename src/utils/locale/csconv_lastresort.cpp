#include "utils/locale/csconv_lastresort.h"

#include <cstring>

#include "utils/locale/csconv_rule.h"
#include "utils/locale/utlocale.h"

namespace {

constexpr uint32 LAST_ASCII = 0x7F;

// How many bytes follow `b`, as far as the row's table tells; the UTF-16 rows have none.
ptrdiff_t following_bytes(const CharsetInfo & csinfo, a_byte b)
{
    return csinfo._packed_collation != nullptr ? csinfo._packed_collation->flags[b] & PACKED_TRAILING_BYTES
                                               : 0;
}

} // namespace

ORV_CONV_RET ToUTF16LastResortCharsetConverter::to_utf16_aligned(a_byte ** p_dest, const a_byte * dest_end,
                                                                 const a_byte ** p_src,
                                                                 const a_byte * src_end, a_bool)
{
    a_byte *& dest = *p_dest;
    const a_byte *& src = *p_src;
    while (src < src_end && dest < dest_end) {
        uint32 value = *src;
        ptrdiff_t length = 1;
        if (value > LAST_ASCII) {
            const ptrdiff_t follow = following_bytes(*_src_csinfo, *src);
            if (follow >= src_end - src) {
                return ORV_CONV_OK; // incomplete
            }
            _encountered.set_unmappable_character();
            if (_stop_at.unmappable_character()) {
                src++;
                return ORV_CONV_UNMAPPABLE_CHARACTER;
            }
            value = REPLACEMENT_CHARACTER;
            length += follow;
        }
        store_unit(dest, value);
        dest += sizeof(a_utf16);
        src += length;
    }
    return ORV_CONV_OK;
}

ORV_CONV_RET FromUTF16LastResortCharsetConverter::from_utf16_aligned(a_byte ** p_dest,
                                                                     const a_byte * dest_end,
                                                                     const a_byte ** p_src,
                                                                     const a_byte * src_end, a_bool)
{
    size_t length = 0;
    const a_byte * const substitute = _dest_csinfo->get_substitution_character(&length);
    a_byte *& dest = *p_dest;
    const a_byte *& src = *p_src;
    while (src < src_end && dest < dest_end) {
        const uint32 unit = load_unit(src);
        if (unit <= LAST_ASCII) {
            *dest++ = static_cast<a_byte>(unit);
            src += sizeof(a_utf16);
            continue;
        }
        if (static_cast<size_t>(dest_end - dest) < length) {
            return ORV_CONV_OK;
        }
        size_t units = 1;
        if (is_lead_surrogate(unit)) {
            if (src_end - src < 4) {
                return ORV_CONV_OK; // its pair may follow
            }
            if (is_trail_surrogate(load_unit(src + sizeof(a_utf16)))) {
                units = 2;
            } else {
                _encountered.set_illegal_character();
                if (_stop_at.illegal_character()) {
                    return ORV_CONV_ILLEGAL_CHARACTER;
                }
            }
        }
        src += units * sizeof(a_utf16);
        _encountered.set_unmappable_character();
        if (_stop_at.unmappable_character()) {
            return ORV_CONV_UNMAPPABLE_CHARACTER;
        }
        std::memcpy(dest, substitute, length);
        dest += length;
    }
    return ORV_CONV_OK;
}
