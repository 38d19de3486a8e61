#include "utils/locale/csconvert.h"

#include <algorithm>
#include <cstring>

#include "utils/locale/utlocale.h"

// ---- Bases

void ToUTF16CharsetConverterBase::Reset()
{
    CharsetConverterBase::Reset();
    _state.Clear();
}

void FromUTF16CharsetConverterBase::Reset()
{
    CharsetConverterBase::Reset();
    _state.Clear();
}

// ---- Identity

IdentityCharsetConverter::IdentityCharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                                                   const CharsetInfo * src_csinfo)
    : CharsetConverterBase(locale, dest_csinfo, src_csinfo)
{
    _is_supported = dest_csinfo != nullptr && dest_csinfo == src_csinfo ? TRUE : FALSE;
}

ORV_CONV_RET IdentityCharsetConverter::ContinueConvert(PivotBuffer &, void ** p_dest, const void * dest_end,
                                                       const void ** p_src, const void * src_end, a_bool)
{
    auto * const dest = static_cast<a_byte *>(*p_dest);
    const auto * const src = static_cast<const a_byte *>(*p_src);
    const size_t room = static_cast<size_t>(static_cast<const a_byte *>(dest_end) - dest);
    const size_t input = static_cast<size_t>(static_cast<const a_byte *>(src_end) - src);
    const size_t count = std::min(room, input);
    if (count > 0) {
        std::memcpy(dest, src, count);
    }
    *p_dest = dest + count;
    *p_src = src + count;
    return count < input ? ORV_CONV_DST_BUFFER_OVERRUN : ORV_CONV_OK;
}

// ---- CharsetConverter

CharsetConverter::CharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                                   const CharsetInfo * src_csinfo)
    : _locale(locale)
{
    place_copier();                              // SetEncodings looks at what is in place
    (void)SetEncodings(dest_csinfo, src_csinfo); // is_supported() tells
}

CharsetConverter::~CharsetConverter()
{
    close();
    conv().~CharsetConverterBase();
}

// What stands for a pair that isn't one: it copies, and isn't supported.
void CharsetConverter::place_copier()
{
    const CharsetInfo * const ascii = _locale != nullptr ? _locale->AsciiCharset() : nullptr;
    auto * const copier = new (&_conv_placeholder) IdentityCharsetConverter(_locale, ascii, ascii);
    copier->_is_supported = FALSE;
}

a_bool CharsetConverter::SetEncodings(const CharsetInfo * dest_csinfo, const CharsetInfo * src_csinfo)
{
    conv().~CharsetConverterBase();
    if (dest_csinfo != nullptr && dest_csinfo == src_csinfo) {
        new (&_conv_placeholder) IdentityCharsetConverter(_locale, dest_csinfo, src_csinfo);
        return TRUE;
    }
    place_copier();
    return FALSE;
}

ORV_CONV_RET CharsetConverter::Convert(a_byte * dest, size_t destlen, size_t * p_written, const a_byte * src,
                                       size_t srclen)
{
    PivotBuffer pivot;
    Reset();
    void * dest_at = dest;
    const void * src_at = src;
    const ORV_CONV_RET result = ContinueConvert(pivot, &dest_at, dest + destlen, &src_at, src + srclen, TRUE);
    *p_written = static_cast<size_t>(static_cast<a_byte *>(dest_at) - dest);
    return result;
}

ORV_CONV_RET CharsetConverter::ConvertNullTerm(a_byte * dest, size_t destlen, size_t * p_written,
                                               const a_byte * src, size_t srclen)
{
    const CharsetInfo * const csinfo = DestCharset();
    const size_t terminator = csinfo != nullptr ? csinfo->min_char_size() : 1;
    if (terminator > destlen) {
        return ORV_CONV_DST_BUFFER_OVERRUN;
    }
    const ORV_CONV_RET result = Convert(dest, destlen - terminator, p_written, src, srclen);
    std::memset(dest + *p_written, 0, terminator);
    return result;
}

ORV_CONV_RET CharsetConverter::ConvertNullTerm(a_byte * dest, size_t destlen, size_t * p_written,
                                               const a_byte * src)
{
    return ConvertNullTerm(dest, destlen, p_written, src, std::strlen(reinterpret_cast<const char *>(src)));
}
