#include "utils/locale/csconvert.h"

#include <algorithm>
#include <cstring>

a_bool CharsetConverter::SetEncodings(const CharsetInfo * dest_csinfo, const CharsetInfo * src_csinfo)
{
    _dest_csinfo = dest_csinfo;
    _src_csinfo = src_csinfo;
    return dest_csinfo != nullptr && dest_csinfo == src_csinfo ? TRUE : FALSE;
}

ORV_CONV_RET CharsetConverter::ConvertNullTerm(a_byte * dest, size_t destlen, size_t * p_written,
                                               const a_byte * src, size_t srclen)
{
    if (destlen == 0) {
        return ORV_CONV_DST_BUFFER_OVERRUN;
    }
    const size_t count = std::min(srclen, destlen - 1);
    std::memcpy(dest, src, count);
    dest[count] = 0;
    *p_written = count;
    return count == srclen ? ORV_CONV_OK : ORV_CONV_DST_BUFFER_OVERRUN;
}

ORV_CONV_RET CharsetConverter::ConvertNullTerm(a_byte * dest, size_t destlen, size_t * p_written,
                                               const a_byte * src)
{
    return ConvertNullTerm(dest, destlen, p_written, src, std::strlen(reinterpret_cast<const char *>(src)));
}
