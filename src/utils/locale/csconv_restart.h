// What makes a conversion restartable: it brings the caller's pieces, of any size and at any address, into
// the form in which a converter takes whole characters, and holds over what the pieces' ends cut. For the
// implementation of converters alone.
//
// Units: bytes. Ownership: none; lives for one call. Threads: as its converter.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "utils/locale/csconvert.h"

// What a converter asks of its memory and puts in place of a character that the input's end cuts.
struct a_conversion_form {
    bool even_src;  // whole code units at even addresses
    bool even_dest; // the same
    const a_byte * substitute;
    size_t substitute_length; // at most 4
};

// One call of a converter: areas in the form that it asks for, with the cursors that it moves.
struct a_conversion_pass {
    a_byte * dest;
    const a_byte * dest_end;
    const a_byte * src;
    const a_byte * src_end;
    a_bool finish; // `src_end` is the end of all input
};

class RestartableConversion {
public:
    // What a converter keeps, and the parameters of its ContinueConvert.
    struct a_call {
        CharsetConversionState & state;
        CharsetConversionFlags & encountered;
        const CharsetConversionFlags & stop_at;
        void ** p_dest;
        const void * dest_end;
        const void ** p_src;
        const void * src_end;
        a_bool finish;
    };

    // Both stay with the caller.
    RestartableConversion(const a_call & call, const a_conversion_form & form)
        : _call(call), _form(form), _state(call.state), _dest(static_cast<a_byte *>(*call.p_dest)),
          _dest_end(static_cast<const a_byte *>(call.dest_end)),
          _src(static_cast<const a_byte *>(*call.p_src)), _src_end(static_cast<const a_byte *>(call.src_end))
    {
    }

    // One ContinueConvert, with the cursors moved. `convert` is called with an a_conversion_pass and gives an
    // ORV_CONV_RET; it converts whole characters, and stops with ORV_CONV_OK in front of one that is
    // incomplete or doesn't fit.
    template<typename Convert> [[nodiscard]] ORV_CONV_RET run(Convert && convert)
    {
        const bool is_plain = _state._n_srcbuf == 0 && _state._n_destbuf == 0 && has_work() &&
                              takes_input_directly() && takes_output_directly();
        if (!is_plain) {
            return run_passes(convert, nullptr, ORV_CONV_OK);
        }
        a_conversion_pass pass = {_dest, in_form(_dest_end), _src, _src_end, _call.finish};
        const ORV_CONV_RET result = convert(pass);
        if (result == ORV_CONV_OK && pass.src == _src_end &&
            pass.dest_end - pass.dest > ROOM_OF_A_CHARACTER) {
            _dest = pass.dest;
            _src = pass.src;
            return stop(ORV_CONV_OK); // a whole text with room for it, as most are
        }
        return run_passes(convert, &pass, result);
    }

private:
    static constexpr size_t SRC_WORK_AREA = 512;
    static constexpr size_t DEST_WORK_AREA = 1024;
    static constexpr size_t DIRECT_ROOM = 8; // from here on every character fits
    static constexpr size_t OUTPUT_AHEAD = sizeof(CharsetConversionState::_destbuf);
    static constexpr ptrdiff_t ROOM_OF_A_CHARACTER = 4;

    struct a_work_area {
        alignas(a_utf16) a_byte src[SRC_WORK_AREA];
        alignas(a_utf16) a_byte dest[DEST_WORK_AREA];
    };

    // `first`, if it isn't null, is the first pass, which `convert` has made already, with `result`.
    template<typename Convert>
    [[nodiscard, gnu::noinline]] ORV_CONV_RET run_passes(Convert & convert, const a_conversion_pass * first,
                                                         ORV_CONV_RET result)
    {
        a_work_area work;
        deliver_pending();
        // A converter with a handle of its own may hold a cut character where nothing here tells of one.
        const bool ends_without_room =
            _call.finish && room() == 0 && input() == 0 && _state._n_srcbuf == 0 && _state._n_destbuf == 0;
        for (bool asks = ends_without_room; asks || has_work(); first = nullptr, asks = false) {
            a_conversion_pass pass = next_pass(work);
            const a_conversion_pass begin = pass;
            if (first != nullptr) {
                pass = *first;
            } else {
                result = convert(pass);
            }
            const bool goes_on = result == ORV_CONV_OK || result == ORV_CONV_DST_BUFFER_OVERRUN;
            if (goes_on && pass.src == begin.src && pass.dest == begin.dest) {
                // Nothing moves: the input is used up, or ends inside a character.
                if (begin.src == begin.src_end || !begin.finish) {
                    break;
                }
                _call.encountered.set_truncated_character();
                if (_call.stop_at.truncated_character()) {
                    return stop(ORV_CONV_TRUNCATED_CHARACTER);
                }
                substitute(pass);
            }
            account_input(static_cast<size_t>(pass.src - begin.src));
            account_output(begin.dest, static_cast<size_t>(pass.dest - begin.dest));
            const bool all_taken = input() == 0 && begin.finish && _state._n_srcbuf == 0;
            if (goes_on && all_taken && pass.dest_end - pass.dest > ROOM_OF_A_CHARACTER) {
                break; // what a converter may still hold would have fitted
            }
            const bool must_return =
                result == ORV_CONV_DST_BUFFER_OVERRUN ? all_taken || room() == 0 : result != ORV_CONV_OK;
            if (must_return) {
                return stop(result);
            }
        }
        return end();
    }

    [[nodiscard]] size_t input() const { return static_cast<size_t>(_src_end - _src); }
    [[nodiscard]] size_t room() const { return static_cast<size_t>(_dest_end - _dest); }
    [[nodiscard]] bool has_work() const { return (input() > 0 || _call.finish) && room() > 0; }

    [[nodiscard]] bool takes_input_directly() const
    {
        return !_form.even_src || CharsetConverterBase::is_utf16_aligned(_src);
    }
    [[nodiscard]] bool takes_output_directly() const
    {
        return room() >= DIRECT_ROOM && (!_form.even_dest || CharsetConverterBase::is_utf16_aligned(_dest));
    }
    // The end of a destination as the converter takes it.
    [[nodiscard]] const a_byte * in_form(const a_byte * dest_end) const
    {
        return _form.even_dest ? CharsetConverterBase::utf16_align(dest_end) : dest_end;
    }

    // As memcpy, but the caller's areas may be null when they are empty.
    static void copy(a_byte * dest, const a_byte * src, size_t count)
    {
        if (count > 0) {
            std::memcpy(dest, src, count);
        }
    }

    void deliver_pending()
    {
        if (_state._n_destbuf == 0) {
            return;
        }
        const size_t count = std::min(_state._n_destbuf, room());
        copy(_dest, _state._destbuf, count);
        _dest += count;
        _state._n_destbuf -= count;
        std::memmove(_state._destbuf, _state._destbuf + count, _state._n_destbuf);
    }

    [[nodiscard]] a_conversion_pass next_pass(a_work_area & work)
    {
        a_conversion_pass pass;
        choose_input(pass, work.src);
        choose_output(pass, work.dest);
        return pass;
    }

    // The caller's input, or what is held with the input behind it.
    void choose_input(a_conversion_pass & pass, a_byte * work)
    {
        const size_t held = _state._n_srcbuf;
        if (held == 0 && takes_input_directly()) {
            pass.src = _src;
            pass.src_end = _src_end;
            pass.finish = _call.finish;
            return;
        }
        const size_t added = std::min(input(), SRC_WORK_AREA - held);
        copy(work, _state._srcbuf, held);
        copy(work + held, _src, added);
        pass.src = work;
        pass.src_end = work + held + added;
        pass.finish = added < input() ? FALSE : _call.finish;
    }

    // The caller's destination, or a work area from which its last bytes are filled.
    void choose_output(a_conversion_pass & pass, a_byte * work)
    {
        _is_direct = takes_output_directly();
        pass.dest = _is_direct ? _dest : work;
        pass.dest_end =
            in_form(_is_direct ? _dest_end : work + std::min(DEST_WORK_AREA, room() + OUTPUT_AHEAD));
    }

    // In place of all that is left of the input.
    void substitute(a_conversion_pass & pass) const
    {
        std::memcpy(pass.dest, _form.substitute, _form.substitute_length);
        pass.dest += _form.substitute_length;
        pass.src = pass.src_end;
    }

    void account_input(size_t used)
    {
        if (used < _state._n_srcbuf) {
            _state._n_srcbuf -= used;
            std::memmove(_state._srcbuf, _state._srcbuf + used, _state._n_srcbuf);
            return;
        }
        _src += used - _state._n_srcbuf;
        _state._n_srcbuf = 0;
    }

    void account_output(const a_byte * begin, size_t written)
    {
        if (_is_direct) {
            _dest += written;
            return;
        }
        const size_t count = std::min(written, room());
        copy(_dest, begin, count);
        _dest += count;
        _state._n_destbuf = written - count;
        copy(_state._destbuf, begin + count, _state._n_destbuf);
    }

    [[nodiscard]] ORV_CONV_RET stop(ORV_CONV_RET result)
    {
        *_call.p_dest = _dest;
        *_call.p_src = _src;
        return result;
    }

    // Input that is left over while there is room is an incomplete character: it is held.
    [[nodiscard]] ORV_CONV_RET end()
    {
        if (room() > 0) {
            const size_t count = std::min(input(), sizeof(_state._srcbuf) - _state._n_srcbuf);
            copy(_state._srcbuf + _state._n_srcbuf, _src, count);
            _state._n_srcbuf += count;
            _src += count;
            return stop(ORV_CONV_OK);
        }
        const bool work_remains = input() > 0 || _state._n_srcbuf > 0 || _state._n_destbuf > 0;
        return stop(work_remains ? ORV_CONV_DST_BUFFER_OVERRUN : ORV_CONV_OK);
    }

    const a_call & _call;
    const a_conversion_form & _form;
    CharsetConversionState & _state;
    a_byte * _dest;
    const a_byte * _dest_end;
    const a_byte * _src;
    const a_byte * _src_end;
    bool _is_direct = false;
};
