// Streams with a converter in between: what is written to a CSConvOStream arrives at its destination
// converted, and what is read from a CSConvIStream has been converted on the way. Pieces may have any size;
// a character that a piece's end cuts is held over.
//
// Neither calls Reset on the converter: whoever begins a conversion does. Units: bytes. Ownership: converter
// and stream outlive the object; nothing is allocated. Failure: a conversion that stops, which with nothing
// in stop_at() only a converter's own failure does, shows in status(), the greatest ORV_CONV_RET so far, and
// ends the stream; what was converted before has been delivered. An end of the other stream ends this one
// without a status. Threads: as the converter's.
#pragma once

#include "utils/etc/utstream.h"
#include "utils/locale/csconvert.h"

// What both directions have: a converter, the buffer of its conversion, and the accounts.
class CSConvStreamBase {
public:
    // The worst result so far.
    [[nodiscard]] ORV_CONV_RET status() const { return _status; }
    // Bytes that the converter has used and made.
    [[nodiscard]] size_t num_input() const { return _num_input; }
    [[nodiscard]] size_t num_output() const { return _num_output; }
    [[nodiscard]] CharsetConverter & conv() { return _conv; }
    [[nodiscard]] CharsetConversionFlags & encountered() { return _conv.encountered(); }

    // One ContinueConvert. *p_nwritten and *p_nread are what it made and used, always.
    [[nodiscard]] ORV_CONV_RET convert(a_byte * dest, const a_byte * dest_end, size_t * p_nwritten,
                                       const a_byte * src, const a_byte * src_end, size_t * p_nread,
                                       a_bool finish);

protected:
    explicit CSConvStreamBase(CharsetConverter & conv) : _conv(conv) {}

    // TRUE: the conversion has stopped, which is noted. An overrun is no stop: it goes on.
    bool note_stop(ORV_CONV_RET result);

    ORV_CONV_RET _status = ORV_CONV_OK;
    size_t _num_input = 0;
    size_t _num_output = 0;
    CharsetConverter & _conv;
    PivotBuffer _pivot;
};

class CSConvOStream final : public UTOStream, public CSConvStreamBase {
public:
    CSConvOStream(CharsetConverter & conv, UTOStream & dest) : CSConvStreamBase(conv), _dest(dest) {}
    ~CSConvOStream() override { flush(TRUE); }

    // The bytes used, also those of an incomplete character, which the converter holds.
    size_t do_put(const a_byte * src, size_t len) override;
    // Ends the input and pushes out what the converter holds; may be repeated. `eof_when_done` ends the
    // stream, too.
    void flush(a_bool eof_when_done);

private:
    // Of one call: what the converter did, and how the destination took it.
    struct a_step {
        ORV_CONV_RET result;
        size_t written;
        size_t read;
        bool dest_ended;
    };
    [[nodiscard]] a_step step(const a_byte * src, size_t len, a_bool finish);
    [[nodiscard]] a_step step_in_buffer(UTBufferedOStream & dest, const a_byte * src, size_t len,
                                        a_bool finish);
    [[nodiscard]] a_step step_through_work_area(const a_byte * src, size_t len, a_bool finish);

    UTOStream & _dest;
};

class CSConvIStream final : public UTIStream, public CSConvStreamBase {
public:
    CSConvIStream(CharsetConverter & conv, UTIStream & src) : CSConvStreamBase(conv), _src(src) {}

    // The bytes delivered. The end comes one read after the last of them, or with a stop.
    size_t do_get(a_byte * dest, size_t len) override;

private:
    // Each reads until `dest_end`, the end of the source or a stop, and gives the destination cursor.
    [[nodiscard]] a_byte * read_buffered(UTBufferedIStream & src, a_byte * dest, const a_byte * dest_end);
    [[nodiscard]] a_byte * read_unbuffered(a_byte * dest, const a_byte * dest_end);
    [[nodiscard]] a_byte * drain(a_byte * dest, const a_byte * dest_end);

    UTIStream & _src;
    size_t _n_srcbuf = 0; // bytes now held in _srcbuf
    a_byte _srcbuf[512];  // bytes of an unbuffered source, not yet converted
};
