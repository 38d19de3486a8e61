// All converters, driven through ContinueConvert by a schedule of pieces: what comes out, and what has been
// met, is the same as in one whole call, and nothing is written outside of a destination.
//
// Input: row of the destination, row of the source, stop bits (3 low bits; bit 3: a Reset and a second run),
// number of steps of the schedule; the steps, each with the size of an input piece in its low four bits and
// of a destination in its high four; then the text.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <span>
#include <vector>

#include "require.h"
#include "utils/locale/csconvert.h"
#include "utils/locale/uticu.h"
#include "utils/locale/utlocale.h"

namespace {

using Bytes = std::vector<a_byte>;
using View = std::span<const a_byte>;

// A block of the exact size, so that a sanitizer sees the first byte read or written behind it; at an odd
// address where that is asked for.
class ExactBlock {
public:
    ExactBlock(size_t size, bool odd) : _front(odd ? 1 : 0), _size(size), _block(new a_byte[_front + size]) {}
    a_byte * begin() { return _block.get() + _front; }
    a_byte * end() { return begin() + _size; }

private:
    size_t _front;
    size_t _size;
    std::unique_ptr<a_byte[]> _block;
};

class Conversion {
public:
    Conversion(CharsetConverter & conv) : _conv(conv) { _conv.Reset(); }

    // One call; the cursors stay inside their areas.
    ORV_CONV_RET call(View piece, size_t room, bool odd, a_bool finish)
    {
        ExactBlock source(piece.size(), odd);
        std::copy(piece.begin(), piece.end(), source.begin());
        ExactBlock area(room, !odd);
        void * dest = area.begin();
        const void * src = source.begin();
        const ORV_CONV_RET result =
            _conv.ContinueConvert(_pivot, &dest, area.end(), &src, source.end(), finish);
        auto * const dest_at = static_cast<a_byte *>(dest);
        const auto * const src_at = static_cast<const a_byte *>(src);
        require(dest_at >= area.begin() && dest_at <= area.end());
        require(src_at >= source.begin() && src_at <= source.end());
        _output.insert(_output.end(), area.begin(), dest_at);
        _taken += static_cast<size_t>(src_at - source.begin());
        return result;
    }

    [[nodiscard]] const Bytes & output() const { return _output; }
    [[nodiscard]] size_t taken() const { return _taken; }

private:
    CharsetConverter & _conv;
    PivotBuffer _pivot;
    Bytes _output;
    size_t _taken = 0;
};

struct a_result {
    Bytes output;
    unsigned flags;
    bool is_whole; // converted to its end, without a stop
    bool failed;   // in a way that no text explains, which a call without room may not come to
};

a_result convert_whole(CharsetConverter & conv, View text)
{
    Conversion conversion(conv);
    const ORV_CONV_RET result = conversion.call(text, 4 * text.size() + 16, false, TRUE);
    require(result != ORV_CONV_DST_BUFFER_OVERRUN);
    require(result != ORV_CONV_OK || conversion.taken() == text.size());
    return {conversion.output(), conv.encountered().get(), result == ORV_CONV_OK,
            result == ORV_CONV_FATAL_ERROR};
}

a_result convert_in_pieces(CharsetConverter & conv, View text, View schedule)
{
    Conversion conversion(conv);
    const size_t most_calls = 64 + 8 * text.size(); // a schedule of empty pieces gets nowhere
    size_t piece_end = 0;
    for (size_t i = 0; i < most_calls; i++) {
        const unsigned step = schedule[i % schedule.size()];
        if (conversion.taken() == piece_end) {
            piece_end = std::min(text.size(), piece_end + (step & 0xF));
        }
        const bool is_last = piece_end == text.size() && (step & 1) != 0;
        const View piece = text.subspan(conversion.taken(), piece_end - conversion.taken());
        const size_t made = conversion.output().size();
        const ORV_CONV_RET result =
            conversion.call(piece, step >> 4, (step & 2) != 0, is_last ? TRUE : FALSE);
        if (result > ORV_CONV_DST_BUFFER_OVERRUN) {
            break;
        }
        if (result == ORV_CONV_OK) {
            require(conversion.taken() == piece_end);
        } else {
            require(conversion.output().size() == made + (step >> 4)); // an overrun leaves no room
        }
        if (result == ORV_CONV_OK && is_last) {
            return {conversion.output(), conv.encountered().get(), true, false};
        }
    }
    return {conversion.output(), conv.encountered().get(), false, false};
}

} // namespace

// Takes away what ICU build the locale has found. Whether there is one depends on what has been built; and
// ICU keeps in its handle what a piece cuts, which a last call without room then loses.
struct UTLocaleInspector {
    static void unbind_icu(UTLocale & locale)
    {
        locale._icu->~UTICU();
        new (locale._icu) UTICU(nullptr);
    }
};

namespace {

UTLocale & locale()
{
    static UTLocale the_locale;
    [[maybe_unused]] static const bool is_unbound = (UTLocaleInspector::unbind_icu(the_locale), true);
    return the_locale;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * data, std::size_t size)
{
    constexpr size_t header = 4;
    if (size < header || data[3] == 0 || size < header + data[3]) {
        return 0;
    }
    const CharsetInfo * const dest = &UTLocale::_charset_info[data[0] % UTLocale::NUM_CHARSETS];
    const CharsetInfo * const src = &UTLocale::_charset_info[data[1] % UTLocale::NUM_CHARSETS];
    const unsigned stop_at = data[2] & 7;
    const View schedule(data + header, data[3]);
    const View text(data + header + data[3], std::min<size_t>(size - header - data[3], 4096));

    CharsetConverter conv(&locale(), dest, src);
    require(conv.is_supported() == conv.SetEncodings(dest, src));
    conv.stop_at().set(stop_at);
    const a_result pieces = convert_in_pieces(conv, text, schedule);
    const a_result whole = convert_whole(conv, text);
    if (pieces.is_whole && !whole.failed) {
        require(whole.is_whole && pieces.output == whole.output && pieces.flags == whole.flags);
    }
    if ((data[2] & 8) != 0 && whole.is_whole) {
        const a_result again = convert_whole(conv, text);
        require(again.output == whole.output && again.flags == whole.flags);
    }
    return 0;
}
