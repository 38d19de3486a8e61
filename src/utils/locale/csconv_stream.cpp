#include "utils/locale/csconv_stream.h"

#include <algorithm>
#include <cstring>

// ---- Both directions

ORV_CONV_RET CSConvStreamBase::convert(a_byte * dest, const a_byte * dest_end, size_t * p_nwritten,
                                       const a_byte * src, const a_byte * src_end, size_t * p_nread,
                                       a_bool finish)
{
    void * dest_at = dest;
    const void * src_at = src;
    const ORV_CONV_RET result = _conv.ContinueConvert(_pivot, &dest_at, dest_end, &src_at, src_end, finish);
    *p_nwritten = static_cast<size_t>(static_cast<a_byte *>(dest_at) - dest);
    *p_nread = static_cast<size_t>(static_cast<const a_byte *>(src_at) - src);
    _num_output += *p_nwritten;
    _num_input += *p_nread;
    return result;
}

bool CSConvStreamBase::note_stop(ORV_CONV_RET result)
{
    if (result == ORV_CONV_OK || result == ORV_CONV_DST_BUFFER_OVERRUN) {
        return false;
    }
    _status = std::max(_status, result);
    return true;
}

// ---- Writing

// Straight into the destination's buffer.
CSConvOStream::a_step CSConvOStream::step_in_buffer(UTBufferedOStream & dest, const a_byte * src, size_t len,
                                                    a_bool finish)
{
    a_step step = {ORV_CONV_OK, 0, 0, false};
    if (dest.ptr() == dest.lim() && !dest.eof()) {
        dest.make_room();
    }
    if (dest.ptr() == nullptr) {
        step.dest_ended = true;
        return step;
    }
    step.result = convert(dest.ptr(), dest.lim(), &step.written, src, src + len, &step.read, finish);
    dest.bump(step.written);
    return step;
}

CSConvOStream::a_step CSConvOStream::step_through_work_area(const a_byte * src, size_t len, a_bool finish)
{
    a_byte work[512];
    a_step step = {ORV_CONV_OK, 0, 0, false};
    step.result = convert(work, work + sizeof(work), &step.written, src, src + len, &step.read, finish);
    step.dest_ended = step.written > 0 && _dest.put(work, step.written) == 0;
    return step;
}

CSConvOStream::a_step CSConvOStream::step(const a_byte * src, size_t len, a_bool finish)
{
    return _dest.is_buffered() ? step_in_buffer(static_cast<UTBufferedOStream &>(_dest), src, len, finish)
                               : step_through_work_area(src, len, finish);
}

size_t CSConvOStream::do_put(const a_byte * src, size_t len)
{
    size_t used = 0;
    while (used < len && !eof()) {
        const a_step done = step(src + used, len - used, FALSE);
        used += done.read;
        if (done.dest_ended || note_stop(done.result)) {
            set_eof();
        } else if (done.result == ORV_CONV_OK && done.written == 0) {
            break; // the converter holds what was used
        }
    }
    return used;
}

void CSConvOStream::flush(a_bool eof_when_done)
{
    a_step done;
    do {
        done = step(nullptr, 0, TRUE);
        // That an unbuffered destination takes no more only ends the loop, once the converter is empty.
        if (note_stop(done.result) || (done.dest_ended && _dest.is_buffered())) {
            set_eof();
            return;
        }
    } while (done.result == ORV_CONV_DST_BUFFER_OVERRUN || (done.written > 0 && !done.dest_ended));
    if (eof_when_done) {
        set_eof();
    }
}

// ---- Reading

a_byte * CSConvIStream::read_buffered(UTBufferedIStream & src, a_byte * dest, const a_byte * dest_end)
{
    while (dest < dest_end) {
        if (!src.eof() && src.ptr() == src.lim()) {
            src.refill();
        }
        if (src.ptr() == nullptr || src.ptr() == src.lim()) {
            break;
        }
        size_t written = 0;
        size_t read = 0;
        const ORV_CONV_RET result = convert(dest, dest_end, &written, src.ptr(), src.lim(), &read, FALSE);
        src.bump(read);
        dest += written;
        if (result != ORV_CONV_OK) {
            note_stop(result);
            break;
        }
    }
    return dest;
}

a_byte * CSConvIStream::read_unbuffered(a_byte * dest, const a_byte * dest_end)
{
    while (dest < dest_end) {
        if (_n_srcbuf < sizeof(_srcbuf)) {
            _n_srcbuf += _src.get(_srcbuf + _n_srcbuf, sizeof(_srcbuf) - _n_srcbuf);
        }
        if (_n_srcbuf == 0) {
            break;
        }
        size_t written = 0;
        size_t read = 0;
        const ORV_CONV_RET result =
            convert(dest, dest_end, &written, _srcbuf, _srcbuf + _n_srcbuf, &read, FALSE);
        dest += written;
        _n_srcbuf -= read;
        std::memmove(_srcbuf, _srcbuf + read, _n_srcbuf);
        if (result != ORV_CONV_OK) {
            note_stop(result);
            break;
        }
    }
    return dest;
}

// What the converter holds at the end of the source; when that is nothing, the stream ends.
a_byte * CSConvIStream::drain(a_byte * dest, const a_byte * dest_end)
{
    while (dest < dest_end) {
        size_t written = 0;
        size_t read = 0;
        const ORV_CONV_RET result = convert(dest, dest_end, &written, nullptr, nullptr, &read, TRUE);
        dest += written;
        note_stop(result);
        if (written == 0) {
            set_eof();
            break;
        }
    }
    return dest;
}

size_t CSConvIStream::do_get(a_byte * dest, size_t len)
{
    if (eof()) {
        return 0;
    }
    a_byte * const begin = dest;
    const a_byte * const dest_end = dest + len;
    dest = _src.is_buffered() ? read_buffered(static_cast<UTBufferedIStream &>(_src), dest, dest_end)
                              : read_unbuffered(dest, dest_end);
    if (_status != ORV_CONV_OK) {
        set_eof();
    } else if (_src.eof()) {
        dest = drain(dest, dest_end);
    }
    return static_cast<size_t>(dest - begin);
}
