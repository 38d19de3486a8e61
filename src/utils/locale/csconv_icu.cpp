#include "utils/locale/csconv_icu.h"

#include <algorithm>
#include <cstddef>

#include "utils/locale/utlocale.h"

using namespace icu_abi; // names of ICU, in this file alone

namespace {

// Notes a problem. True: what the handle had before decides what becomes of the character. False: nobody
// does, and ICU stops with its error.
bool goes_on(UConverterCallbackReason reason, CharsetConversionFlags & encountered,
             const CharsetConversionFlags & stop_at)
{
    switch (reason) {
    case UCNV_UNASSIGNED:
        encountered.set_unmappable_character();
        if (stop_at.unmappable_character()) {
            return false;
        }
        [[fallthrough]];
    case UCNV_ILLEGAL:
    case UCNV_IRREGULAR:
        encountered.set_illegal_character();
        return !stop_at.illegal_character();
    default:
        return true; // no character: the handle is reset or closed
    }
}

// The converter gives itself as a context, which ICU takes as a constant.
template<typename Converter> Converter & converter_of(const void * context)
{
    return *static_cast<Converter *>(const_cast<void *>(context));
}

// One step of a conversion, with none of its output left in the handle: the frame around a converter sees
// only what is in memory, and would take a conversion for done. So a reserve is kept back for what ICU then
// holds, one character. `convert` gets target, its limit, source, its limit, flush and error as ICU does.
template<typename Target, typename Source, typename Convert>
ORV_CONV_RET convert_and_drain(Convert && convert, Target ** target, const Target * target_end,
                               Source ** source, Source * source_end, UBool flush)
{
    constexpr ptrdiff_t RESERVE = 8 / sizeof(Target); // no step has less room than that
    const Target * const limit =
        target_end - std::min(RESERVE, std::max<ptrdiff_t>(target_end - *target, 1) - 1);
    UErrorCode error = U_ZERO_ERROR;
    convert(target, limit, source, source_end, flush, &error);
    if (error != U_BUFFER_OVERFLOW_ERROR) {
        return UErrorCode_to_ORV_CONV_RET(error);
    }
    error = U_ZERO_ERROR;
    if (*source == source_end) {
        convert(target, target_end, source, source_end, flush, &error);
        return UErrorCode_to_ORV_CONV_RET(error);
    }
    convert(target, target_end, source, *source, 0, &error);
    return error > U_ZERO_ERROR ? UErrorCode_to_ORV_CONV_RET(error) : ORV_CONV_DST_BUFFER_OVERRUN;
}

} // namespace

ORV_CONV_RET UErrorCode_to_ORV_CONV_RET(UErrorCode error)
{
    if (error <= U_ZERO_ERROR) {
        return ORV_CONV_OK;
    }
    switch (error) {
    case U_INVALID_CHAR_FOUND:
        return ORV_CONV_UNMAPPABLE_CHARACTER;
    case U_TRUNCATED_CHAR_FOUND:
        return ORV_CONV_TRUNCATED_CHARACTER;
    case U_ILLEGAL_CHAR_FOUND:
        return ORV_CONV_ILLEGAL_CHARACTER;
    case U_BUFFER_OVERFLOW_ERROR:
        return ORV_CONV_DST_BUFFER_OVERRUN;
    default:
        return ORV_CONV_FATAL_ERROR;
    }
}

// ---- Both directions

template<typename Base, typename Callback>
ICUCharsetConverter<Base, Callback>::ICUCharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                                                         const CharsetInfo * src_csinfo,
                                                         const CharsetInfo * foreign, a_hook_setter set_hook,
                                                         Callback on_error)
    : Base(locale, dest_csinfo, src_csinfo), _icu(locale->icu())
{
    UErrorCode error = U_ZERO_ERROR;
    _cvth = _icu.ucnv_open_3_4(foreign->icu_label(), &error);
    if (_cvth != nullptr) {
        _icu.ucnv_setFallback_3_4(_cvth, 1);
        (_icu.*set_hook)(_cvth, on_error, this, &_old_callback, &_old_context, &error);
        this->_is_supported = error == U_ZERO_ERROR;
    }
}

template<typename Base, typename Callback> void ICUCharsetConverter<Base, Callback>::close_handle()
{
    if (_cvth != nullptr) {
        _icu.ucnv_close_3_4(_cvth);
        _cvth = nullptr;
    }
    this->_is_supported = FALSE;
}

template class ICUCharsetConverter<ToUTF16CharsetConverterBase, UConverterToUCallback>;
template class ICUCharsetConverter<FromUTF16CharsetConverterBase, UConverterFromUCallback>;

// ---- To the hub

ToUTF16ICUCharsetConverter::ToUTF16ICUCharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                                                       const CharsetInfo * src_csinfo)
    : ICUCharsetConverter(locale, dest_csinfo, src_csinfo, src_csinfo, &UTICU::ucnv_setToUCallBack_3_4,
                          on_error)
{
}

void ToUTF16ICUCharsetConverter::Reset()
{
    ToUTF16CharsetConverterBase::Reset();
    if (_cvth != nullptr) {
        _icu.ucnv_resetToUnicode_3_4(_cvth);
    }
}

ORV_CONV_RET ToUTF16ICUCharsetConverter::to_utf16_aligned(a_byte ** p_dest, const a_byte * dest_end,
                                                          const a_byte ** p_src, const a_byte * src_end,
                                                          a_bool finish)
{
    auto * target = reinterpret_cast<a_utf16 *>(*p_dest);
    auto * source = reinterpret_cast<const char *>(*p_src);
    const ORV_CONV_RET result = convert_and_drain(
        [this](a_utf16 ** to, const a_utf16 * to_end, const char ** from, const char * from_end, UBool flush,
               UErrorCode * error) {
            _icu.ucnv_toUnicode_3_4(_cvth, to, to_end, from, from_end, nullptr, flush, error);
        },
        &target, reinterpret_cast<const a_utf16 *>(dest_end), &source,
        reinterpret_cast<const char *>(src_end), UBool{finish != FALSE});
    *p_dest = reinterpret_cast<a_byte *>(target);
    *p_src = reinterpret_cast<const a_byte *>(source);
    return result;
}

void ToUTF16ICUCharsetConverter::on_error(const void * context, UConverterToUnicodeArgs * args,
                                          const char * code_units, int32 length,
                                          UConverterCallbackReason reason, UErrorCode * error)
{
    auto & converter = converter_of<ToUTF16ICUCharsetConverter>(context);
    if (goes_on(reason, converter._encountered, converter._stop_at)) {
        converter._old_callback(converter._old_context, args, code_units, length, reason, error);
    }
}

// ---- From the hub

FromUTF16ICUCharsetConverter::FromUTF16ICUCharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                                                           const CharsetInfo * src_csinfo)
    : ICUCharsetConverter(locale, dest_csinfo, src_csinfo, dest_csinfo, &UTICU::ucnv_setFromUCallBack_3_4,
                          on_error)
{
}

void FromUTF16ICUCharsetConverter::Reset()
{
    FromUTF16CharsetConverterBase::Reset();
    if (_cvth != nullptr) {
        _icu.ucnv_resetFromUnicode_3_4(_cvth);
    }
}

ORV_CONV_RET FromUTF16ICUCharsetConverter::from_utf16_aligned(a_byte ** p_dest, const a_byte * dest_end,
                                                              const a_byte ** p_src, const a_byte * src_end,
                                                              a_bool finish)
{
    auto * target = reinterpret_cast<char *>(*p_dest);
    auto * source = reinterpret_cast<const a_utf16 *>(*p_src);
    const ORV_CONV_RET result = convert_and_drain(
        [this](char ** to, const char * to_end, const a_utf16 ** from, const a_utf16 * from_end, UBool flush,
               UErrorCode * error) {
            _icu.ucnv_fromUnicode_3_4(_cvth, to, to_end, from, from_end, nullptr, flush, error);
        },
        &target, reinterpret_cast<const char *>(dest_end), &source,
        reinterpret_cast<const a_utf16 *>(src_end), UBool{finish != FALSE});
    *p_dest = reinterpret_cast<a_byte *>(target);
    *p_src = reinterpret_cast<const a_byte *>(source);
    return result;
}

void FromUTF16ICUCharsetConverter::on_error(const void * context, UConverterFromUnicodeArgs * args,
                                            const a_utf16 * code_units, int32 length, UChar32 code_point,
                                            UConverterCallbackReason reason, UErrorCode * error)
{
    auto & converter = converter_of<FromUTF16ICUCharsetConverter>(context);
    if (goes_on(reason, converter._encountered, converter._stop_at)) {
        converter._old_callback(converter._old_context, args, code_units, length, code_point, reason, error);
    }
}
