#include "utils/locale/csconv_pivot.h"

#include <cstring>

#include "utils/locale/csconv_runs.h"
#include "utils/locale/utlocale.h"

namespace {

a_bool is_hub_or_none(const CharsetInfo * csinfo)
{
    return csinfo == nullptr || csinfo->is_UTF16PE() ? TRUE : FALSE;
}

bool is_unicode_of_bytes(const CharsetInfo & csinfo)
{
    return csinfo._unique_identifier == CSID_UTF8 || csinfo._unique_identifier == CSID_CESU8;
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
    _has_stages = true;
    _keeps_ascii =
        is_unicode_of_bytes(*dest_csinfo) && (is_unicode_of_bytes(*src_csinfo) || !src_csinfo->is_mbcs());
    _at_start = _keeps_ascii;
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
        _at_start = _keeps_ascii;
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
    if (units == pivot._unidata_end) { // as most often
        pivot.clear();
        return result;
    }
    const auto count = static_cast<size_t>(pivot._unidata_end - units);
    std::memmove(pivot._buffer, units, count * sizeof(a_utf16));
    pivot._unidata_end = pivot._buffer + count;
    return result;
}

// ASCII at the beginning of a text, where no stage holds anything yet, needs no stages. True: that was all.
bool PivotCharsetConverter::take_ascii(void ** p_dest, const void * dest_end, const void ** p_src,
                                       const void * src_end)
{
    a_run run = {static_cast<a_byte *>(*p_dest), static_cast<const a_byte *>(dest_end),
                 static_cast<const a_byte *>(*p_src), static_cast<const a_byte *>(src_end)};
    copy_ascii(run);
    *p_dest = run.dest;
    *p_src = run.src;
    _at_start = false;
    return run.src == run.src_end;
}

// In each round one buffer full. A buffer may end inside a surrogate pair whose other half the first stage
// still holds, so the second stage is told of the end only when the first one has delivered everything: what
// comes out doesn't depend on where the buffer ends. A first stage that had no room at all may hold more,
// too: not every converter can tell.
ORV_CONV_RET PivotCharsetConverter::convert_slices(PivotBuffer & pivot, void ** p_dest, const void * dest_end,
                                                   const void ** p_src, const void * src_end, a_bool finish)
{
    while (*p_src != src_end || finish) {
        const void * const dest_before = *p_dest;
        const void * const src_before = *p_src;
        const a_utf16 * const units_before = pivot._unidata_end;
        const bool had_room = units_before != pivot.buffer_end();
        void * units_end = pivot._unidata_end;
        const ORV_CONV_RET made =
            src_conv().ContinueConvert(pivot, &units_end, pivot.buffer_end(), p_src, src_end, finish);
        pivot._unidata_end = static_cast<a_utf16 *>(units_end);
        if (made > ORV_CONV_DST_BUFFER_OVERRUN) {
            return made;
        }
        const bool is_last = finish && had_room && made == ORV_CONV_OK;
        if (finish || pivot._unidata_end != pivot._buffer) {
            const ORV_CONV_RET result = empty_buffer(pivot, p_dest, dest_end, is_last ? TRUE : FALSE);
            if (is_last || result != ORV_CONV_OK) {
                return result;
            }
        }
        // A slice of characters that the destination drops moves the source alone.
        if (*p_dest == dest_before && *p_src == src_before && pivot._unidata_end == units_before) {
            break;
        }
    }
    return ORV_CONV_OK;
}

ORV_CONV_RET PivotCharsetConverter::ContinueConvert(PivotBuffer & pivot, void ** p_dest,
                                                    const void * dest_end, const void ** p_src,
                                                    const void * src_end, a_bool finish)
{
    if (!_has_stages) {
        return ORV_CONV_FATAL_ERROR;
    }
    if (_at_start && take_ascii(p_dest, dest_end, p_src, src_end)) {
        return ORV_CONV_OK;
    }
    src_conv().stop_at().set(_stop_at);
    dest_conv().stop_at().set(_stop_at);
    const ORV_CONV_RET result = convert_slices(pivot, p_dest, dest_end, p_src, src_end, finish);
    _encountered.set(src_conv().encountered().get() | dest_conv().encountered().get());
    return result;
}
