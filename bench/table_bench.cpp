// Single-byte text to UTF-16 by a table, and to UTF-8 through it, beside ICU's converters, kept open, and the
// C library's iconv: texts of 200 bytes and 1 MiB. Then what a short call and a change of the pair cost.
//
// Result 1 when a target is missed: ahead of both peers everywhere, 200 ns for a pair seen before, and 3
// times a loop that widens and copies for 40 bytes of ASCII.

#include <cstdlib>
#include <cstring>
#include <iconv.h>
#include <random>
#include <string>
#include <vector>

#ifdef ORV_HAVE_ICU
#include <unicode/ucnv.h>
#endif

#include "ratio.h"
#include "utils/locale/csconvert.h"
#include "utils/locale/utlocale.h"

namespace {

using Bytes = std::vector<a_byte>;

constexpr size_t BYTES_PER_SAMPLE = size_t{2} << 20;
constexpr int TIMES = 15;

[[noreturn]] void give_up(const char * what)
{
    std::fprintf(stderr, "%s failed\n", what);
    std::abort();
}

const CharsetInfo * charset(const char * label)
{
    return UTLocale::GetCharsetInfoFromLabel(label, CS_STD_ANY);
}

// Lower-case words in which each so-manieth letter is from the upper half; 0: none is.
struct a_kind {
    const char * name;
    const char * charset;
    unsigned accents;
};

std::vector<Bytes> make_texts(const a_kind & kind, size_t size)
{
    std::mt19937_64 random(1);
    std::vector<Bytes> texts;
    for (size_t made = 0; made < BYTES_PER_SAMPLE; made += size) {
        Bytes text(size);
        for (a_byte & b : text) {
            const bool accent = kind.accents != 0 && random() % kind.accents == 0;
            b = static_cast<a_byte>(random() % 7 == 0 ? ' '
                                    : accent          ? 0xC0 + random() % 0x40
                                                      : 'a' + random() % 26);
        }
        texts.push_back(std::move(text));
    }
    return texts;
}

class Ours {
public:
    Ours(UTLocale & locale, const char * dest, const char * src) : _conv(&locale, charset(dest), charset(src))
    {
    }
    size_t convert(const Bytes & text, Bytes & area)
    {
        size_t written = 0;
        if (_conv.Convert(area.data(), area.size(), &written, text.data(), text.size()) != ORV_CONV_OK) {
            give_up("Convert");
        }
        return written;
    }

private:
    CharsetConverter _conv;
};

class Iconv {
public:
    Iconv(const char * dest, const char * src) : _conv(iconv_open(dest, src)) {}
    ~Iconv() { iconv_close(_conv); }
    Iconv(const Iconv &) = delete;
    Iconv & operator=(const Iconv &) = delete;
    size_t convert(const Bytes & text, Bytes & area)
    {
        char * src = reinterpret_cast<char *>(const_cast<a_byte *>(text.data()));
        char * dest = reinterpret_cast<char *>(area.data());
        size_t src_left = text.size();
        size_t dest_left = area.size();
        (void)iconv(_conv, nullptr, nullptr, nullptr, nullptr); // a new text
        if (iconv(_conv, &src, &src_left, &dest, &dest_left) != 0) {
            give_up("iconv");
        }
        return area.size() - dest_left;
    }

private:
    iconv_t _conv;
};

#ifdef ORV_HAVE_ICU
class Icu {
public:
    Icu(const char * dest, const char * src)
    {
        UErrorCode error = U_ZERO_ERROR;
        _src = ucnv_open(src, &error);
        _dest = ucnv_open(dest, &error);
        if (U_FAILURE(error)) {
            give_up("opening ICU's converters");
        }
        _is_utf16 = std::strncmp(dest, "UTF-16", 6) == 0;
    }
    ~Icu()
    {
        ucnv_close(_src);
        ucnv_close(_dest);
    }
    Icu(const Icu &) = delete;
    Icu & operator=(const Icu &) = delete;
    size_t convert(const Bytes & text, Bytes & area)
    {
        UErrorCode error = U_ZERO_ERROR;
        const auto * src = reinterpret_cast<const char *>(text.data());
        auto * const begin = reinterpret_cast<char *>(area.data());
        char * dest = begin;
        if (_is_utf16) {
            ucnv_resetToUnicode(_src);
            auto * units = reinterpret_cast<UChar *>(begin);
            ucnv_toUnicode(_src, &units, units + area.size() / 2, &src, src + text.size(), nullptr, 1,
                           &error);
            dest = reinterpret_cast<char *>(units);
        } else {
            UChar pivot[512]; // as many as ours has
            UChar * pivot_src = pivot;
            UChar * pivot_dest = pivot;
            ucnv_convertEx(_dest, _src, &dest, begin + area.size(), &src, src + text.size(), pivot,
                           &pivot_src, &pivot_dest, pivot + 512, 1, 1, &error);
        }
        if (U_FAILURE(error)) {
            give_up("ICU");
        }
        return static_cast<size_t>(dest - begin);
    }

private:
    UConverter * _src = nullptr;
    UConverter * _dest = nullptr;
    bool _is_utf16 = false;
};
#endif

// A figure for one peer: how many times as fast as it we are.
template<typename Peer>
ratio::a_figure beside(const std::string & name, Peer && peer, Ours & ours, const std::vector<Bytes> & texts)
{
    Bytes area(3 * texts.front().size() + 64);
    Bytes peer_area(area.size());
    for (const Bytes & text : texts) {
        const size_t written = ours.convert(text, area);
        if (peer.convert(text, peer_area) != written ||
            std::memcmp(area.data(), peer_area.data(), written) != 0) {
            give_up("the comparison of outputs");
        }
    }
    const auto convert_all = [&](auto & side) {
        for (const Bytes & text : texts) {
            (void)side.convert(text, area);
        }
    };
    const ratio::a_result result = ratio::compare(
        TIMES, [&] { convert_all(ours); }, [&] { convert_all(peer); });
    const double megabytes = static_cast<double>(texts.size() * texts.front().size()) / 1e6;
    std::printf("%-56s ours %7.0f MB/s  peer %7.0f MB/s\n", name.c_str(), megabytes / result.ours,
                megabytes / result.peers);
    return {name, ratio::AT_LEAST, 1.0, result.value()};
}

void measure_texts(UTLocale & locale, std::vector<ratio::a_figure> & figures)
{
    const a_kind kinds[] = {
        {"ASCII", "windows-1252", 0}, {"Latin with accents", "windows-1252", 8}, {"Cyrillic", "KOI8-R", 1}};
    for (const char * dest : {"UTF-16LE", "UTF-8"}) {
        for (const a_kind & kind : kinds) {
            for (const size_t size : {size_t{200}, size_t{1} << 20}) {
                const std::vector<Bytes> texts = make_texts(kind, size);
                const std::string name = std::string(kind.charset) + " to " + dest + ", " + kind.name + ", " +
                                         std::to_string(size) + ", ";
                Ours ours(locale, dest, kind.charset);
#ifdef ORV_HAVE_ICU
                figures.push_back(beside(name + "ICU", Icu(dest, kind.charset), ours, texts));
#endif
                figures.push_back(beside(name + "iconv", Iconv(dest, kind.charset), ours, texts));
            }
        }
    }
}

// Keeps the compiler from seeing through a call.
void touch(void * area)
{
    asm volatile("" : : "r"(area) : "memory");
}

template<typename Work> double nanoseconds_each(Work && work)
{
    constexpr int CALLS = 200000;
    std::vector<double> times;
    for (int i = 0; i < TIMES; i++) {
        times.push_back(ratio::seconds_of([&] {
            for (int call = 0; call < CALLS; call++) {
                work();
            }
        }));
    }
    return ratio::median(times) / CALLS * 1e9;
}

// The least that a conversion through UTF-16 does: one loop there, one back, and the result copied.
double copy_and_widen()
{
    const Bytes text(40, 'x');
    a_utf16 units[40];
    a_byte work[40];
    a_byte area[64];
    return nanoseconds_each([&] {
        for (size_t i = 0; i < text.size(); i++) {
            units[i] = text[i];
        }
        touch(units);
        for (size_t i = 0; i < text.size(); i++) {
            work[i] = static_cast<a_byte>(units[i]);
        }
        touch(work);
        std::memcpy(area, work, text.size());
        touch(area);
    });
}

void measure_calls(UTLocale & locale, std::vector<ratio::a_figure> & figures)
{
    const CharsetInfo * const cp1252 = charset("windows-1252");
    CharsetConverter conv(&locale, locale.UTF8(), cp1252);
    bool turn = false;
    const double change = nanoseconds_each([&] {
        turn = !turn;
        (void)conv.SetEncodings(turn ? locale.UTF16LE() : locale.UTF8(), cp1252);
    });
    figures.push_back({"SetEncodings for a pair seen before, ns", ratio::AT_MOST, 200, change});
    (void)conv.SetEncodings(locale.UTF8(), cp1252);
    const Bytes text(40, 'x');
    a_byte area[64];
    const double convert = nanoseconds_each([&] {
        size_t written = 0;
        (void)conv.Convert(area, sizeof(area), &written, text.data(), text.size());
        touch(area);
    });
    figures.push_back(
        {"40 bytes through UTF-16, times a plain loop", ratio::AT_MOST, 3, convert / copy_and_widen()});
    std::printf("%-56s %7.0f ns\n", "40 bytes of ASCII, windows-1252 to UTF-8", convert);
}

} // namespace

int main()
{
    UTLocale locale;
    std::vector<ratio::a_figure> figures;
    measure_texts(locale, figures);
    measure_calls(locale, figures);
    return ratio::print_table(figures);
}
