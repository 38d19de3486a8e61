#include "utils/locale/csconvert.h"

#include <algorithm>
#include <cstring>

#include "utils/locale/csconv_pivot.h"
#include "utils/locale/csconv_restart.h"
#include "utils/locale/csconv_stream.h"
#include "utils/locale/utlocale.h"

// ---- Bases

namespace {

// U+FFFD in the hub.
constexpr a_byte REPLACEMENT_UNIT[] = {0xFD, 0xFF};

} // namespace

void ToUTF16CharsetConverterBase::Reset()
{
    CharsetConverterBase::Reset();
    _state.Clear();
}

ORV_CONV_RET ToUTF16CharsetConverterBase::ContinueConvert(PivotBuffer &, void ** p_dest,
                                                          const void * dest_end, const void ** p_src,
                                                          const void * src_end, a_bool finish)
{
    const RestartableConversion::a_call call = {_state,   _encountered, _stop_at, p_dest,
                                                dest_end, p_src,        src_end,  finish};
    const a_conversion_form form = {false, true, REPLACEMENT_UNIT, sizeof(REPLACEMENT_UNIT)};
    RestartableConversion conversion(call, form);
    return conversion.run([this](a_conversion_pass & pass) {
        return to_utf16_aligned(&pass.dest, pass.dest_end, &pass.src, pass.src_end, pass.finish);
    });
}

void FromUTF16CharsetConverterBase::Reset()
{
    CharsetConverterBase::Reset();
    _state.Clear();
}

ORV_CONV_RET FromUTF16CharsetConverterBase::ContinueConvert(PivotBuffer &, void ** p_dest,
                                                            const void * dest_end, const void ** p_src,
                                                            const void * src_end, a_bool finish)
{
    size_t length = 0;
    const a_byte * const substitute = _dest_csinfo->get_substitution_character(&length);
    const RestartableConversion::a_call call = {_state,   _encountered, _stop_at, p_dest,
                                                dest_end, p_src,        src_end,  finish};
    const a_conversion_form form = {true, false, substitute, length};
    RestartableConversion conversion(call, form);
    return conversion.run([this](a_conversion_pass & pass) {
        // A lone last byte is no code unit: it stays behind.
        return from_utf16_aligned(&pass.dest, pass.dest_end, &pass.src, utf16_align(pass.src_end),
                                  pass.finish);
    });
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

namespace {

// Builds a converter at `mem` and keeps it if it is supported; otherwise nothing is left there.
template<typename Converter, typename... Arguments>
[[nodiscard]] a_bool keep_if_supported(void * mem, Arguments... arguments)
{
    auto * const converter = new (mem) Converter(arguments...);
    if (converter->is_supported()) {
        return TRUE;
    }
    converter->~Converter();
    return FALSE;
}

// The same with the first that is supported.
template<typename... Converters>
[[nodiscard]] a_bool keep_first_supported(void * mem, UTLocale * locale, const CharsetInfo * dest_csinfo,
                                          const CharsetInfo * src_csinfo)
{
    return (keep_if_supported<Converters>(mem, locale, dest_csinfo, src_csinfo) || ...) ? TRUE : FALSE;
}

} // namespace

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
    const CharsetInfo * const ascii = _locale->AsciiCharset();
    auto * const copier = new (&_conv_placeholder) IdentityCharsetConverter(_locale, ascii, ascii);
    copier->_is_supported = FALSE;
}

a_bool CharsetConverter::SetEncodings(const CharsetInfo * dest_csinfo, const CharsetInfo * src_csinfo)
{
    if (is_supported()) {
        if (dest_csinfo == DestCharset() && src_csinfo == SrcCharset()) {
            return TRUE;
        }
        close();
    }
    conv().~CharsetConverterBase();
    if (dest_csinfo == nullptr || src_csinfo == nullptr) {
        place_copier();
        return FALSE;
    }
    if (place_proper(dest_csinfo, src_csinfo)) {
        return TRUE;
    }
    place_last_resort(dest_csinfo, src_csinfo);
    return FALSE;
}

// The best converter there is, the direct ones first. FALSE: there is none, and nothing is in place.
a_bool CharsetConverter::place_proper(const CharsetInfo * dest_csinfo, const CharsetInfo * src_csinfo)
{
    void * const mem = &_conv_placeholder;
    if (dest_csinfo == src_csinfo) {
        return keep_if_supported<IdentityCharsetConverter>(mem, _locale, dest_csinfo, src_csinfo);
    }
    if (!dest_csinfo->is_mbcs() && !src_csinfo->is_mbcs() &&
        keep_if_supported<BytemapCharsetConverter>(mem, _locale, dest_csinfo, src_csinfo)) {
        return TRUE;
    }
    if (dest_csinfo->is_UTF16PE() &&
        create_to_utf16_converter(_locale, mem, dest_csinfo, src_csinfo, FALSE)) {
        return TRUE;
    }
    if (src_csinfo->is_UTF16PE() &&
        create_from_utf16_converter(_locale, mem, dest_csinfo, src_csinfo, FALSE)) {
        return TRUE;
    }
    return keep_if_supported<PivotCharsetConverter>(mem, _locale, dest_csinfo, src_csinfo, a_bool{FALSE});
}

void CharsetConverter::place_last_resort(const CharsetInfo * dest_csinfo, const CharsetInfo * src_csinfo)
{
    void * const mem = &_conv_placeholder;
    if (dest_csinfo->is_UTF16PE()) {
        new (mem) ToUTF16LastResortCharsetConverter(_locale, dest_csinfo, src_csinfo);
    } else if (src_csinfo->is_UTF16PE()) {
        new (mem) FromUTF16LastResortCharsetConverter(_locale, dest_csinfo, src_csinfo);
    } else {
        new (mem) PivotCharsetConverter(_locale, dest_csinfo, src_csinfo, TRUE);
    }
}

a_bool CharsetConverter::create_to_utf16_converter(UTLocale * locale, void * mem,
                                                   const CharsetInfo * dest_csinfo,
                                                   const CharsetInfo * src_csinfo, a_bool allow_last_resort)
{
    if (keep_first_supported<SBCSToUTF16MapCharsetConverter, UTF8ToUTF16CharsetConverter,
                             CESU8ToUTF16CharsetConverter, UTF16SwapEndianCharsetConverter,
                             ToUTF16ICUCharsetConverter>(mem, locale, dest_csinfo, src_csinfo)) {
        return TRUE;
    }
    if (allow_last_resort) {
        new (mem) ToUTF16LastResortCharsetConverter(locale, dest_csinfo, src_csinfo);
    }
    return allow_last_resort;
}

a_bool CharsetConverter::create_from_utf16_converter(UTLocale * locale, void * mem,
                                                     const CharsetInfo * dest_csinfo,
                                                     const CharsetInfo * src_csinfo, a_bool allow_last_resort)
{
    if (keep_first_supported<UTF16ToUTF8CharsetConverter, UTF16ToCESU8CharsetConverter,
                             UTF16SwapEndianCharsetConverter, FromUTF16ICUCharsetConverter>(
            mem, locale, dest_csinfo, src_csinfo)) {
        return TRUE;
    }
    if (allow_last_resort) {
        new (mem) FromUTF16LastResortCharsetConverter(locale, dest_csinfo, src_csinfo);
    }
    return allow_last_resort;
}

// ---- Conversions

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

ORV_CONV_RET CharsetConverter::Convert(UTOStream & o, size_t * p_written, UTIStream & i, size_t max_src_len)
{
    CSConvOStream stream(*this, o);
    Reset();
    i.append_to(stream, max_src_len);
    stream.flush(TRUE);
    *p_written = stream.num_output();
    return stream.status();
}
