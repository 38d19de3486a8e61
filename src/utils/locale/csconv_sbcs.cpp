#include "utils/locale/csconv_sbcs.h"

// Neither map is driven so far, so neither converter is supported.

BytemapCharsetConverter::BytemapCharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                                                 const CharsetInfo * src_csinfo)
    : CharsetConverterBase(locale, dest_csinfo, src_csinfo)
{
}

void BytemapCharsetConverter::close()
{
    _is_supported = FALSE;
    _map = nullptr;
}

ORV_CONV_RET BytemapCharsetConverter::ContinueConvert(PivotBuffer &, void **, const void *, const void **,
                                                      const void *, a_bool)
{
    return ORV_CONV_FATAL_ERROR;
}

SBCSToUTF16MapCharsetConverter::SBCSToUTF16MapCharsetConverter(UTLocale * locale,
                                                               const CharsetInfo * dest_csinfo,
                                                               const CharsetInfo * src_csinfo)
    : CharsetConverterBase(locale, dest_csinfo, src_csinfo)
{
}

void SBCSToUTF16MapCharsetConverter::close()
{
    _map = nullptr;
    _is_supported = FALSE;
}

ORV_CONV_RET SBCSToUTF16MapCharsetConverter::ContinueConvert(PivotBuffer &, void **, const void *,
                                                             const void **, const void *, a_bool)
{
    return ORV_CONV_FATAL_ERROR;
}
