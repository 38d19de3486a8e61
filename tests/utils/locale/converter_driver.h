// Drives a converter through its whole contract: input and output in pieces of any size, in blocks of exactly
// their size at even and odd addresses, with guard bytes around every destination.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <ostream>
#include <random>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "utils/locale/csconv_pivot.h"
#include "utils/locale/csconvert.h"
#include "utils/locale/utlocale.h"

using Bytes = std::vector<a_byte>;

inline std::string hex(std::span<const a_byte> bytes)
{
    std::string text;
    for (const a_byte b : bytes) {
        char pair[4];
        std::snprintf(pair, sizeof(pair), "%02X ", b);
        text += pair;
    }
    return text;
}

// What a converter holds of the caller's input and output between two calls.
struct CharsetConverterInspector {
    static const CharsetConversionState * state(CharsetConverterBase & conv)
    {
        if (auto * to = dynamic_cast<ToUTF16CharsetConverterBase *>(&conv)) {
            return &to->_state;
        }
        if (auto * from = dynamic_cast<FromUTF16CharsetConverterBase *>(&conv)) {
            return &from->_state;
        }
        if (auto * swap = dynamic_cast<UTF16SwapEndianCharsetConverter *>(&conv)) {
            return &swap->_state;
        }
        if (auto * sbcs = dynamic_cast<SBCSToUTF16MapCharsetConverter *>(&conv)) {
            return &sbcs->_state;
        }
        return nullptr;
    }
    static size_t held_input(CharsetConverterBase & conv)
    {
        const CharsetConversionState * const held = state(conv);
        return held != nullptr ? held->_n_srcbuf : 0;
    }
    static size_t held_output(CharsetConverterBase & conv)
    {
        const CharsetConversionState * const held = state(conv);
        return held != nullptr ? held->_n_destbuf : 0;
    }
};

// A destination of exactly `size` bytes, at an odd address or an even one, between guard bytes.
class GuardedArea {
public:
    GuardedArea(size_t size, bool odd, a_byte fill)
        : _size(size), _front(odd ? FRONT + 1 : FRONT), _fill(fill),
          _block(std::make_unique<a_byte[]>(_front + size + BEHIND))
    {
        std::memset(_block.get(), fill, _front + size + BEHIND);
    }
    [[nodiscard]] a_byte * begin() { return _block.get() + _front; }
    [[nodiscard]] a_byte * end() { return begin() + _size; }
    [[nodiscard]] bool is_intact() const
    {
        const a_byte * const behind = _block.get() + _front + _size;
        auto untouched = [this](a_byte b) { return b == _fill; };
        return std::all_of(_block.get(), _block.get() + _front, untouched) &&
               std::all_of(behind, behind + BEHIND, untouched);
    }

private:
    static constexpr size_t FRONT = 16;
    static constexpr size_t BEHIND = 40; // more than any vector
    size_t _size;
    size_t _front;
    a_byte _fill;
    std::unique_ptr<a_byte[]> _block;
};

// A source in a block that ends where it does.
class ExactSource {
public:
    ExactSource(std::span<const a_byte> bytes, bool odd)
        : _front(odd ? 1 : 0), _size(bytes.size()), _block(std::make_unique<a_byte[]>(_front + bytes.size()))
    {
        std::copy(bytes.begin(), bytes.end(), _block.get() + _front);
    }
    [[nodiscard]] const a_byte * begin() const { return _block.get() + _front; }
    [[nodiscard]] const a_byte * end() const { return begin() + _size; }

private:
    size_t _front;
    size_t _size;
    std::unique_ptr<a_byte[]> _block;
};

// Sizes of the pieces, each at random up to a maximum.
struct a_cutting {
    std::mt19937_64 & random;
    size_t max_input;
    size_t max_output;
    // 1 for converters that hold output of their own: they can't tell so in a destination of no bytes.
    size_t min_output = 0;

    [[nodiscard]] size_t input() const { return random() % (max_input + 1); }
    [[nodiscard]] size_t output() const { return std::max<size_t>(random() % (max_output + 1), min_output); }
    [[nodiscard]] bool coin() const { return random() % 2 != 0; }
};

struct a_outcome {
    Bytes bytes;
    ORV_CONV_RET result = ORV_CONV_OK;
    unsigned flags = 0;
    size_t position = 0; // input that is done with: what is held is not
    bool operator==(const a_outcome &) const = default;
};

inline void PrintTo(const a_outcome & outcome, std::ostream * out)
{
    *out << "result " << outcome.result << " flags " << outcome.flags << " position " << outcome.position
         << " bytes " << hex(outcome.bytes);
}

class ConverterDriver {
public:
    explicit ConverterDriver(CharsetConverter & conv) : _conv(conv) {}

    // One call with more destination than any conversion needs.
    a_outcome whole(std::span<const a_byte> input)
    {
        begin();
        const ExactSource source(input, false);
        _outcome.result = call(source, 4 * input.size() + 64, false, TRUE);
        return finish();
    }

    // As the caller of a restartable conversion does it. A stop ends it, and what had no room is fetched.
    a_outcome in_pieces(std::span<const a_byte> input, const a_cutting & cutting)
    {
        begin();
        const auto output = [&cutting] { return cutting.output(); };
        const auto coin = [&cutting] { return cutting.coin(); };
        bool is_last = false;
        while (!is_last && _outcome.result == ORV_CONV_OK) {
            const size_t end = std::min(input.size(), _taken + cutting.input());
            is_last = end == input.size() && cutting.coin(); // otherwise the end comes with an empty input
            _outcome.result = feed(input.first(end), is_last, output, coin);
        }
        const ORV_CONV_RET result = _outcome.result;
        if (result != ORV_CONV_OK) {
            (void)feed(input.first(_taken), false, output, coin); // the stop is the result
        }
        _outcome.result = result;
        return finish();
    }

    // The input cut at `at`, every destination of `room` bytes, and the end told with an empty input. A stop
    // ends it.
    a_outcome in_two_pieces(std::span<const a_byte> input, size_t at, size_t room)
    {
        begin();
        const auto same_room = [room] { return room; };
        const auto odd = [at, room] { return (at + room) % 2 != 0; };
        for (const size_t end : {at, input.size()}) {
            if (_outcome.result == ORV_CONV_OK) {
                _outcome.result = feed(input.first(end), false, same_room, odd);
            }
        }
        if (_outcome.result == ORV_CONV_OK) {
            _outcome.result = feed(input, true, same_room, odd);
        }
        return finish();
    }

private:
    void begin()
    {
        _conv.Reset();
        _pivot.clear();
        _outcome = {};
        _taken = 0;
    }

    a_outcome finish()
    {
        _outcome.flags = _conv.encountered().get();
        _outcome.position = _taken - CharsetConverterInspector::held_input(_conv.conv());
        EXPECT_EQ(CharsetConverterInspector::held_output(_conv.conv()), 0u);
        return _outcome;
    }

    // Gives the rest of `input`, in as many calls as the destinations need; `room` and `is_odd` choose them.
    template<typename Room, typename Odd>
    ORV_CONV_RET feed(std::span<const a_byte> input, bool is_last, Room && room, Odd && is_odd)
    {
        for (int idle = 0; idle < 1000; idle++) {
            const size_t taken = _taken;
            const size_t made = _outcome.bytes.size();
            const ExactSource source(input.subspan(_taken), is_odd());
            const ORV_CONV_RET result = call(source, room(), is_odd(), is_last ? TRUE : FALSE);
            if (result != ORV_CONV_DST_BUFFER_OVERRUN) {
                EXPECT_TRUE(result != ORV_CONV_OK || _taken == input.size()) << "input is left behind";
                return result;
            }
            idle = _taken != taken || _outcome.bytes.size() != made ? 0 : idle;
        }
        ADD_FAILURE() << "the conversion doesn't get on";
        return ORV_CONV_FATAL_ERROR;
    }

    ORV_CONV_RET call(const ExactSource & source, size_t size, bool odd, a_bool is_last)
    {
        GuardedArea area(size, odd, size % 2 != 0 ? 0xA5 : 0x5A);
        void * dest = area.begin();
        const void * src = source.begin();
        const ORV_CONV_RET result =
            _conv.ContinueConvert(_pivot, &dest, area.end(), &src, source.end(), is_last);
        const auto * const dest_at = static_cast<const a_byte *>(dest);
        const auto * const src_at = static_cast<const a_byte *>(src);
        EXPECT_TRUE(area.is_intact()) << "written outside of " << size << " bytes";
        EXPECT_TRUE(dest_at >= area.begin() && dest_at <= area.end());
        EXPECT_TRUE(src_at >= source.begin() && src_at <= source.end());
        EXPECT_TRUE(result != ORV_CONV_DST_BUFFER_OVERRUN || dest_at == area.end())
            << "overrun with room left";
        _outcome.bytes.insert(_outcome.bytes.end(), static_cast<const a_byte *>(area.begin()), dest_at);
        _taken += static_cast<size_t>(src_at - source.begin());
        return result;
    }

    CharsetConverter & _conv;
    PivotBuffer _pivot;
    a_outcome _outcome;
    size_t _taken = 0;
};
