#include "utils/locale/csconv_icu.h"

#include "utils/locale/utlocale.h"

// The binding loads no build so far, so no converter has a handle, none is supported and none is driven.

ToUTF16ICUCharsetConverter::ToUTF16ICUCharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                                                       const CharsetInfo * src_csinfo)
    : ToUTF16CharsetConverterBase(locale, dest_csinfo, src_csinfo), _icu(locale->icu())
{
}

ToUTF16ICUCharsetConverter::~ToUTF16ICUCharsetConverter() = default;

void ToUTF16ICUCharsetConverter::Reset()
{
    ToUTF16CharsetConverterBase::Reset();
}

void ToUTF16ICUCharsetConverter::close()
{
    _is_supported = FALSE;
}

ORV_CONV_RET ToUTF16ICUCharsetConverter::to_utf16_aligned(a_byte **, const a_byte *, const a_byte **,
                                                          const a_byte *, a_bool)
{
    return ORV_CONV_FATAL_ERROR;
}

FromUTF16ICUCharsetConverter::FromUTF16ICUCharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                                                           const CharsetInfo * src_csinfo)
    : FromUTF16CharsetConverterBase(locale, dest_csinfo, src_csinfo), _icu(locale->icu())
{
}

FromUTF16ICUCharsetConverter::~FromUTF16ICUCharsetConverter() = default;

void FromUTF16ICUCharsetConverter::Reset()
{
    FromUTF16CharsetConverterBase::Reset();
}

void FromUTF16ICUCharsetConverter::close()
{
    _is_supported = FALSE;
}

ORV_CONV_RET FromUTF16ICUCharsetConverter::from_utf16_aligned(a_byte **, const a_byte *, const a_byte **,
                                                              const a_byte *, a_bool)
{
    return ORV_CONV_FATAL_ERROR;
}
