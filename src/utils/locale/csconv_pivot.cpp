#include "utils/locale/csconv_pivot.h"

// No stages are built so far, so no pivot is supported.

PivotCharsetConverter::PivotCharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                                             const CharsetInfo * src_csinfo, a_bool)
    : CharsetConverterBase(locale, dest_csinfo, src_csinfo)
{
}

PivotCharsetConverter::~PivotCharsetConverter() = default;

void PivotCharsetConverter::Reset() {}

ORV_CONV_RET PivotCharsetConverter::ContinueConvert(PivotBuffer &, void **, const void *, const void **,
                                                    const void *, a_bool)
{
    return ORV_CONV_FATAL_ERROR;
}

a_bool PivotCharsetConverter::support_reporting() const
{
    return FALSE;
}

void PivotCharsetConverter::close()
{
    _is_supported = FALSE;
}
