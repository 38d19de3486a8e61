#include "utils/locale/csconv_pivot.h"

#include <cstring>

#include "utils/locale/utlocale.h"

namespace {

a_bool is_hub_or_none(const CharsetInfo * csinfo)
{
    return csinfo == nullptr || csinfo->is_UTF16PE() ? TRUE : FALSE;
}

} // namespace

PivotCharsetConverter::PivotCharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                                             const CharsetInfo * src_csinfo, a_bool allow_last_resort)
    : CharsetConverterBase(locale, dest_csinfo, src_csinfo)
{
    if (is_hub_or_none(dest_csinfo) || is_hub_or_none(src_csinfo)) {
        return;
    }
    const CharsetInfo * const hub = locale->UTF16LE();
    if (!CharsetConverter::create_to_utf16_converter(locale, &_src_to_utf16, hub, src_csinfo,
                                                     allow_last_resort)) {
        return;
    }
    if (!CharsetConverter::create_from_utf16_converter(locale, &_utf16_to_dest, dest_csinfo, hub,
                                                       allow_last_resort)) {
        src_conv().close();
        src_conv().~CharsetConverterBase();
        return;
    }
    _has_stages = TRUE;
    _is_supported = src_conv().is_supported() && dest_conv().is_supported() ? TRUE : FALSE;
}

PivotCharsetConverter::~PivotCharsetConverter()
{
    if (_has_stages) {
        dest_conv().~CharsetConverterBase();
        src_conv().~CharsetConverterBase();
    }
}

void PivotCharsetConverter::Reset()
{
    CharsetConverterBase::Reset();
    if (_has_stages) {
        src_conv().Reset();
        dest_conv().Reset();
    }
}

a_bool PivotCharsetConverter::support_reporting() const
{
    return _has_stages && src_conv().support_reporting() && dest_conv().support_reporting() ? TRUE : FALSE;
}

void PivotCharsetConverter::close()
{
    if (_has_stages) {
        src_conv().close();
        dest_conv().close();
    }
    _is_supported = FALSE;
}

// The second stage over what the buffer holds; what it doesn't take moves to the buffer's start.
ORV_CONV_RET PivotCharsetConverter::empty_buffer(PivotBuffer & pivot, void ** p_dest, const void * dest_end,
                                                 a_bool finish)
{
    const void * rest = pivot._buffer;
    const ORV_CONV_RET result =
        dest_conv().ContinueConvert(pivot, p_dest, dest_end, &rest, pivot._unidata_end, finish);
    const auto * const units = static_cast<const a_utf16 *>(rest);
    const auto count = static_cast<size_t>(pivot._unidata_end - units);
    std::memmove(pivot._buffer, units, count * sizeof(a_utf16));
    pivot._unidata_end = pivot._buffer + count;
    return result;
}

// One buffer full. A buffer may end inside a surrogate pair whose other half the first stage still holds, so
// the second stage is told of the end only when the first one has delivered everything: what comes out
// doesn't depend on where the buffer ends.
// `*goes_on` stays as it was if there may be more to do.
ORV_CONV_RET PivotCharsetConverter::convert_slice(PivotBuffer & pivot, const a_call & call, bool * goes_on)
{
    const void * const dest_before = *call.p_dest;
    const void * const src_before = *call.p_src;
    const a_utf16 * const units_before = pivot._unidata_end;
    void * units_end = pivot._unidata_end;
    const ORV_CONV_RET made = src_conv().ContinueConvert(pivot, &units_end, pivot.buffer_end(), call.p_src,
                                                         call.src_end, call.finish);
    pivot._unidata_end = static_cast<a_utf16 *>(units_end);
    if (made != ORV_CONV_OK && made != ORV_CONV_DST_BUFFER_OVERRUN) {
        *goes_on = false;
        return made;
    }
    const bool is_last = call.finish && made == ORV_CONV_OK; // otherwise the buffer is full
    ORV_CONV_RET result = ORV_CONV_OK;
    if (call.finish || pivot._unidata_end != pivot._buffer) {
        result = empty_buffer(pivot, call.p_dest, call.dest_end, is_last ? TRUE : FALSE);
    }
    // A slice of characters that the destination drops moves the source alone.
    const bool moved =
        *call.p_dest != dest_before || *call.p_src != src_before || pivot._unidata_end != units_before;
    if (result != ORV_CONV_OK || is_last || !moved) {
        *goes_on = false;
    }
    return result;
}

ORV_CONV_RET PivotCharsetConverter::ContinueConvert(PivotBuffer & pivot, void ** p_dest,
                                                    const void * dest_end, const void ** p_src,
                                                    const void * src_end, a_bool finish)
{
    if (!_has_stages) {
        return ORV_CONV_FATAL_ERROR;
    }
    src_conv().stop_at().set(_stop_at);
    dest_conv().stop_at().set(_stop_at);
    ORV_CONV_RET result = ORV_CONV_OK;
    bool goes_on = true;
    while (goes_on && (*p_src != src_end || finish)) {
        result = convert_slice(pivot, {p_dest, dest_end, p_src, src_end, finish}, &goes_on);
    }
    _encountered.set(src_conv().encountered().get() | dest_conv().encountered().get());
    return result;
}
