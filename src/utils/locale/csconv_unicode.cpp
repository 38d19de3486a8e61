#include "utils/locale/csconv_unicode.h"

#include "utils/locale/csconv_restart.h"
#include "utils/locale/csconv_rule.h"
#include "utils/locale/csconv_runs.h"
#include "utils/locale/utlocale.h"

namespace {

// What a decoding or an encoding loop works on: the arguments of an aligned function, and the converter's
// flags.
struct a_transform {
    a_byte ** p_dest;
    const a_byte * dest_end;
    const a_byte ** p_src;
    const a_byte * src_end;
    CharsetConversionFlags & encountered;
    const CharsetConversionFlags & stop_at;

    // Notes an illegal character. TRUE: the conversion stops at it.
    [[nodiscard]] bool stops_at_illegal() const
    {
        encountered.set_illegal_character();
        return stop_at.illegal_character() != FALSE;
    }
    [[nodiscard]] ORV_CONV_RET end(const a_run & run, ORV_CONV_RET result) const
    {
        *p_dest = run.dest;
        *p_src = run.src;
        return result;
    }
};

template<const an_encoding_form & FORM>
ORV_CONV_RET decode(const a_transform & how, const CharsetInfo & csinfo)
{
    const a_byte * const flags = csinfo._packed_collation->flags;
    a_run run = {*how.p_dest, how.dest_end, *how.p_src, how.src_end};
    for (;;) {
        if (fits_decode_runs(run)) {
            decode_runs(run, FORM);
        }
        if (run.src >= run.src_end || run.dest >= run.dest_end) {
            return how.end(run, ORV_CONV_OK);
        }
        const a_character c = decode_character(run.src, run.src_end, flags, FORM);
        if (c.length == 0) {
            return how.end(run, ORV_CONV_OK);
        }
        if (c.is_illegal && how.stops_at_illegal()) {
            run.src += c.length;
            return how.end(run, ORV_CONV_ILLEGAL_CHARACTER);
        }
        const uint32 value = c.is_illegal ? REPLACEMENT_CHARACTER : c.value;
        const size_t written = put_units(value, run.dest, run.dest_end);
        if (written == 0) {
            return how.end(run, ORV_CONV_OK);
        }
        run.src += c.length;
        run.dest += written;
    }
}

template<const an_encoding_form & FORM> ORV_CONV_RET encode(const a_transform & how)
{
    a_run run = {*how.p_dest, how.dest_end, *how.p_src, how.src_end};
    for (;;) {
        if (fits_encode_runs(run)) {
            encode_runs(run, FORM);
        }
        if (run.src >= run.src_end || run.dest >= run.dest_end) {
            return how.end(run, ORV_CONV_OK);
        }
        const a_character c = read_units(run.src, run.src_end, FORM);
        if (c.length == 0) {
            return how.end(run, ORV_CONV_OK);
        }
        if (c.is_illegal && how.stops_at_illegal()) {
            return how.end(run, ORV_CONV_ILLEGAL_CHARACTER);
        }
        const uint32 value = c.is_illegal ? REPLACEMENT_CHARACTER : c.value;
        const size_t written = encode_character(value, run.dest, run.dest_end);
        if (written == 0) {
            return how.end(run, ORV_CONV_OK);
        }
        run.src += c.length;
        run.dest += written;
    }
}

a_bool is_pair(const CharsetInfo * dest, a_byte dest_id, const CharsetInfo * src, a_byte src_id)
{
    return dest != nullptr && src != nullptr && dest->_unique_identifier == dest_id &&
                   src->_unique_identifier == src_id
               ? TRUE
               : FALSE;
}

} // namespace

// ---- UTF-8

UTF8ToUTF16CharsetConverter::UTF8ToUTF16CharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                                                         const CharsetInfo * src_csinfo)
    : UnicodeTransform(locale, dest_csinfo, src_csinfo), _utf8_csinfo(locale->UTF8())
{
    _is_supported = is_pair(dest_csinfo, CSID_UTF16LE, src_csinfo, CSID_UTF8);
}

ORV_CONV_RET UTF8ToUTF16CharsetConverter::to_utf16_aligned(a_byte ** p_dest, const a_byte * dest_end,
                                                           const a_byte ** p_src, const a_byte * src_end,
                                                           a_bool)
{
    return decode<FORM_UTF8>({p_dest, dest_end, p_src, src_end, _encountered, _stop_at}, *_utf8_csinfo);
}

UTF16ToUTF8CharsetConverter::UTF16ToUTF8CharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                                                         const CharsetInfo * src_csinfo)
    : UnicodeTransform(locale, dest_csinfo, src_csinfo), _utf8_csinfo(locale->UTF8())
{
    _is_supported = is_pair(dest_csinfo, CSID_UTF8, src_csinfo, CSID_UTF16LE);
}

ORV_CONV_RET UTF16ToUTF8CharsetConverter::from_utf16_aligned(a_byte ** p_dest, const a_byte * dest_end,
                                                             const a_byte ** p_src, const a_byte * src_end,
                                                             a_bool)
{
    return encode<FORM_UTF8>({p_dest, dest_end, p_src, src_end, _encountered, _stop_at});
}

// ---- CESU-8

CESU8ToUTF16CharsetConverter::CESU8ToUTF16CharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                                                           const CharsetInfo * src_csinfo)
    : UnicodeTransform(locale, dest_csinfo, src_csinfo), _cesu8_csinfo(locale->CESU8())
{
    _is_supported = is_pair(dest_csinfo, CSID_UTF16LE, src_csinfo, CSID_CESU8);
}

ORV_CONV_RET CESU8ToUTF16CharsetConverter::to_utf16_aligned(a_byte ** p_dest, const a_byte * dest_end,
                                                            const a_byte ** p_src, const a_byte * src_end,
                                                            a_bool)
{
    return decode<FORM_CESU8>({p_dest, dest_end, p_src, src_end, _encountered, _stop_at}, *_cesu8_csinfo);
}

UTF16ToCESU8CharsetConverter::UTF16ToCESU8CharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                                                           const CharsetInfo * src_csinfo)
    : UnicodeTransform(locale, dest_csinfo, src_csinfo), _cesu8_csinfo(locale->CESU8())
{
    _is_supported = is_pair(dest_csinfo, CSID_CESU8, src_csinfo, CSID_UTF16LE);
}

ORV_CONV_RET UTF16ToCESU8CharsetConverter::from_utf16_aligned(a_byte ** p_dest, const a_byte * dest_end,
                                                              const a_byte ** p_src, const a_byte * src_end,
                                                              a_bool)
{
    return encode<FORM_CESU8>({p_dest, dest_end, p_src, src_end, _encountered, _stop_at});
}

// ---- UTF-16 in the other byte order

UTF16SwapEndianCharsetConverter::UTF16SwapEndianCharsetConverter(UTLocale * locale,
                                                                 const CharsetInfo * dest_csinfo,
                                                                 const CharsetInfo * src_csinfo)
    : CharsetConverterBase(locale, dest_csinfo, src_csinfo)
{
    _is_supported = is_pair(dest_csinfo, CSID_UTF16LE, src_csinfo, CSID_UTF16BE) ||
                            is_pair(dest_csinfo, CSID_UTF16BE, src_csinfo, CSID_UTF16LE)
                        ? TRUE
                        : FALSE;
}

void UTF16SwapEndianCharsetConverter::Reset()
{
    CharsetConverterBase::Reset();
    _state.Clear();
}

ORV_CONV_RET UTF16SwapEndianCharsetConverter::ContinueConvert(PivotBuffer &, void ** p_dest,
                                                              const void * dest_end, const void ** p_src,
                                                              const void * src_end, a_bool finish)
{
    size_t length = 0;
    const a_byte * const substitute = _dest_csinfo->get_substitution_character(&length);
    const RestartableConversion::a_call call = {_state,   _encountered, _stop_at, p_dest,
                                                dest_end, p_src,        src_end,  finish};
    const a_conversion_form form = {false, false, substitute, length};
    RestartableConversion conversion(call, form);
    return conversion.run([](a_conversion_pass & pass) {
        a_run run = {pass.dest, pass.dest_end, pass.src, pass.src_end};
        swap_run(run);
        pass.dest = run.dest;
        pass.src = run.src;
        return ORV_CONV_OK;
    });
}
