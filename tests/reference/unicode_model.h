// The slow twin of the Unicode transforms: whole texts, a character at a time, by ranges written out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "utils/locale/csconvert.h"

enum a_model_pair { MODEL_UTF8_UTF16, MODEL_UTF16_UTF8, MODEL_CESU8_UTF16, MODEL_UTF16_CESU8, MODEL_SWAP };

struct a_model_result {
    std::vector<a_byte> bytes;
    unsigned flags = 0; // CharsetConversionFlags bits
    ORV_CONV_RET result = ORV_CONV_OK;
    size_t position = 0; // how much of the input is done with
};

class UnicodeModel {
public:
    UnicodeModel(a_model_pair pair, std::vector<a_byte> substitute) : _pair(pair), _substitute(substitute) {}

    a_model_result convert(const std::vector<a_byte> & input, unsigned stop_at)
    {
        _in = &input;
        _out = {};
        _stop_at = stop_at;
        while (_out.position < input.size() && step()) {
        }
        return _out;
    }

private:
    size_t left() const { return _in->size() - _out.position; }
    unsigned byte(size_t i) const { return (*_in)[_out.position + i]; }
    unsigned unit(size_t i) const { return byte(2 * i) + byte(2 * i + 1) * 256; }

    void put_unit(unsigned u)
    {
        _out.bytes.push_back(static_cast<a_byte>(u % 256));
        _out.bytes.push_back(static_cast<a_byte>(u / 256));
    }

    // Notes a problem; false: the conversion ends here.
    bool meets(unsigned bit, ORV_CONV_RET stop)
    {
        _out.flags |= bit;
        if ((_stop_at & bit) != 0) {
            _out.result = stop;
            return false;
        }
        return true;
    }

    bool illegal() { return meets(CharsetConversionFlags::ILLEGAL, ORV_CONV_ILLEGAL_CHARACTER); }

    // All that is left is an incomplete character.
    bool truncated()
    {
        if (meets(CharsetConversionFlags::TRUNCATED, ORV_CONV_TRUNCATED_CHARACTER)) {
            _out.bytes.insert(_out.bytes.end(), _substitute.begin(), _substitute.end());
            _out.position = _in->size();
        }
        return false;
    }

    bool step()
    {
        switch (_pair) {
        case MODEL_UTF8_UTF16:
            return decode(0xF4);
        case MODEL_CESU8_UTF16:
            return decode(0xEF);
        case MODEL_UTF16_UTF8:
            return left() < 2 ? truncated() : encode_utf8();
        case MODEL_UTF16_CESU8:
            return left() < 2 ? truncated() : encode_cesu8();
        default:
            return left() < 2 ? truncated() : swap();
        }
    }

    bool decode(unsigned last_lead)
    {
        const unsigned b = byte(0);
        if (b < 0xC0 || b > last_lead) {
            put_unit(b);
            _out.position += 1;
            return true;
        }
        const size_t length = b < 0xC2 ? 1 : b < 0xE0 ? 2 : b < 0xF0 ? 3 : 4;
        if (left() < length) {
            return truncated();
        }
        unsigned long value = length == 1   ? b - 0xC0
                              : length == 2 ? b - 0xC0
                              : length == 3 ? b - 0xE0
                                            : b - 0xF0;
        for (size_t i = 1; i < length; i++) {
            value = value * 64 + byte(i) % 64;
        }
        if (value > 0x10FFFF) {
            const bool goes_on = illegal();
            _out.position += length; // the cursor is behind the character either way
            if (goes_on) {
                put_unit(0xFFFD);
            }
            return goes_on;
        }
        if (value >= 0x10000) {
            put_unit(0xD800 + static_cast<unsigned>((value - 0x10000) / 0x400));
            put_unit(0xDC00 + static_cast<unsigned>((value - 0x10000) % 0x400));
        } else {
            put_unit(static_cast<unsigned>(value));
        }
        _out.position += length;
        return true;
    }

    void put_text(unsigned long c)
    {
        auto put = [this](unsigned long b) { _out.bytes.push_back(static_cast<a_byte>(b)); };
        if (c < 0x80) {
            put(c);
        } else if (c < 0x800) {
            put(0xC0 + c / 64);
            put(0x80 + c % 64);
        } else if (c < 0x10000) {
            put(0xE0 + c / 4096);
            put(0x80 + c / 64 % 64);
            put(0x80 + c % 64);
        } else {
            put(0xF0 + c / 262144);
            put(0x80 + c / 4096 % 64);
            put(0x80 + c / 64 % 64);
            put(0x80 + c % 64);
        }
    }

    bool encode_utf8()
    {
        const unsigned u = unit(0);
        const bool lead = u >= 0xD800 && u <= 0xDBFF;
        const bool trail = u >= 0xDC00 && u <= 0xDFFF;
        if (lead && left() < 4) {
            return truncated();
        }
        if (lead && unit(1) >= 0xDC00 && unit(1) <= 0xDFFF) {
            put_text(0x10000 + (u - 0xD800) * 0x400UL + (unit(1) - 0xDC00));
            _out.position += 4;
            return true;
        }
        if ((lead || trail) && !illegal()) {
            return false;
        }
        put_text(lead || trail ? 0xFFFD : u);
        _out.position += 2;
        return true;
    }

    bool encode_cesu8()
    {
        put_text(unit(0));
        _out.position += 2;
        return true;
    }

    bool swap()
    {
        _out.bytes.push_back(static_cast<a_byte>(byte(1)));
        _out.bytes.push_back(static_cast<a_byte>(byte(0)));
        _out.position += 2;
        return true;
    }

    a_model_pair _pair;
    std::vector<a_byte> _substitute;
    const std::vector<a_byte> * _in = nullptr;
    a_model_result _out;
    unsigned _stop_at = 0;
};
