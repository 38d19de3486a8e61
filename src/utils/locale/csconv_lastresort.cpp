#include "utils/locale/csconv_lastresort.h"

// Neither replaces anything so far.

ORV_CONV_RET ToUTF16LastResortCharsetConverter::to_utf16_aligned(a_byte **, const a_byte *, const a_byte **,
                                                                 const a_byte *, a_bool)
{
    return ORV_CONV_FATAL_ERROR;
}

ORV_CONV_RET FromUTF16LastResortCharsetConverter::from_utf16_aligned(a_byte **, const a_byte *,
                                                                     const a_byte **, const a_byte *, a_bool)
{
    return ORV_CONV_FATAL_ERROR;
}
