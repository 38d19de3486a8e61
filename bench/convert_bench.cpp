// Conversion beside ICU's converters, kept open, the C library's iconv, and simdutf where that is installed:
// UTF-8 to UTF-16 and back, single-byte text to UTF-16, to UTF-8 and to other single-byte text; each kind of
// text in pieces of 200 bytes and 1 MiB. The short texts are many, taken in turn, since no two messages are
// alike and a processor would soon know one by heart. Then what a short call and a change of the pair cost.
//
// Result 1 when a target is missed: ahead of ICU and iconv everywhere, 200 ns for a pair seen before, and 3
// times a loop that widens, narrows and copies for 40 bytes of ASCII through UTF-16. Of simdutf, 0.9 on 1 MiB
// of ASCII and of windows-1252 to UTF-16, and all of it on text with emoji; the rest of it is shown only: it
// takes whole, well-formed texts, has no stops, and uses what this very processor has.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iconv.h>
#include <memory>
#include <random>
#include <string>
#include <vector>

#ifdef ORV_HAVE_ICU
#include <unicode/ucnv.h>
#endif
#ifdef ORV_HAVE_SIMDUTF
#include <simdutf.h>
#endif

#include "ratio.h"
#include "utils/locale/csconvert.h"
#include "utils/locale/utlocale.h"

namespace {

using Bytes = std::vector<a_byte>;

constexpr size_t SIZES[] = {200, size_t{1} << 20};
constexpr size_t BYTES_PER_SAMPLE = size_t{2} << 20;
constexpr int TIMES = 15;

[[noreturn]] void give_up(const std::string & what)
{
    std::fprintf(stderr, "%s failed\n", what.c_str());
    std::abort();
}

const CharsetInfo * charset(const char * label)
{
    return UTLocale::GetCharsetInfoFromLabel(label, CS_STD_ANY);
}

struct a_pair {
    const char * dest;
    const char * src;
};

// ---- Sides

class Side {
public:
    Side() = default;
    virtual ~Side() = default;
    Side(const Side &) = delete;
    Side & operator=(const Side &) = delete;
    // The bytes written.
    virtual size_t convert(const Bytes & text, Bytes & area) = 0;
};

class Ours final : public Side {
public:
    Ours(UTLocale & locale, const a_pair & pair) : _conv(&locale, charset(pair.dest), charset(pair.src)) {}
    size_t convert(const Bytes & text, Bytes & area) override
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

class Iconv final : public Side {
public:
    explicit Iconv(const a_pair & pair) : _conv(iconv_open(pair.dest, pair.src)) {}
    ~Iconv() override { iconv_close(_conv); }
    size_t convert(const Bytes & text, Bytes & area) override
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
// From and to UTF-16 by one converter, otherwise by two with a pivot between them.
class Icu final : public Side {
public:
    explicit Icu(const a_pair & pair)
        : _decodes(std::string(pair.dest) == "UTF-16LE"), _encodes(std::string(pair.src) == "UTF-16LE")
    {
        UErrorCode error = U_ZERO_ERROR;
        _src = ucnv_open(pair.src, &error);
        _dest = ucnv_open(pair.dest, &error);
        if (U_FAILURE(error)) {
            give_up("opening ICU's converters");
        }
    }
    ~Icu() override
    {
        ucnv_close(_src);
        ucnv_close(_dest);
    }
    size_t convert(const Bytes & text, Bytes & area) override
    {
        UErrorCode error = U_ZERO_ERROR;
        const auto * src = reinterpret_cast<const char *>(text.data());
        auto * const begin = reinterpret_cast<char *>(area.data());
        char * dest = begin;
        if (_decodes) {
            ucnv_resetToUnicode(_src);
            auto * units = reinterpret_cast<UChar *>(begin);
            ucnv_toUnicode(_src, &units, units + area.size() / 2, &src, src + text.size(), nullptr, 1,
                           &error);
            dest = reinterpret_cast<char *>(units);
        } else if (_encodes) {
            ucnv_resetFromUnicode(_dest);
            const auto * units = reinterpret_cast<const UChar *>(src);
            ucnv_fromUnicode(_dest, &dest, begin + area.size(), &units, units + text.size() / 2, nullptr, 1,
                             &error);
        } else {
            UChar pivot[PivotBuffer::CODE_UNITS];
            UChar * pivot_src = pivot;
            UChar * pivot_dest = pivot;
            ucnv_convertEx(_dest, _src, &dest, begin + area.size(), &src, src + text.size(), pivot,
                           &pivot_src, &pivot_dest, pivot + PivotBuffer::CODE_UNITS, 1, 1, &error);
        }
        if (U_FAILURE(error)) {
            give_up("ICU");
        }
        return static_cast<size_t>(dest - begin);
    }

private:
    bool _decodes;
    bool _encodes;
    UConverter * _src = nullptr;
    UConverter * _dest = nullptr;
};
#endif

#ifdef ORV_HAVE_SIMDUTF
// Pairs that it has. windows-1252 is Latin-1 to it, which is the same for letters.
class Simdutf final : public Side {
public:
    explicit Simdutf(const a_pair & pair) : _src(pair.src) {}
    static bool has(const a_pair & pair)
    {
        const std::string dest = pair.dest;
        const std::string src = pair.src;
        return dest == "UTF-16LE" ? src == "UTF-8" || src == "windows-1252"
                                  : dest == "UTF-8" && src == "UTF-16LE";
    }
    size_t convert(const Bytes & text, Bytes & area) override
    {
        const auto * const bytes = reinterpret_cast<const char *>(text.data());
        auto * const units = reinterpret_cast<char16_t *>(area.data());
        const size_t written =
            _src == "UTF-8" ? 2 * simdutf::convert_utf8_to_utf16le(bytes, text.size(), units)
            : _src == "windows-1252"
                ? 2 * simdutf::convert_latin1_to_utf16le(bytes, text.size(), units)
                : simdutf::convert_utf16le_to_utf8(reinterpret_cast<const char16_t *>(text.data()),
                                                   text.size() / 2, reinterpret_cast<char *>(area.data()));
        if (written == 0) {
            give_up("simdutf");
        }
        return written;
    }

private:
    std::string _src;
};
#endif

// ---- Texts

struct a_kind {
    const char * name;
    std::vector<std::string> words; // UTF-8, put together at random
    std::string separator;
};

const a_kind ASCII = {
    "ASCII", {"the", "message", "is", "delivered", "once", "more,", "and", "nothing", "lost.", "table"}, " "};
const a_kind LATIN = {
    "Latin with accents",
    {"élève", "Straße", "über", "naïve", "message", "dernière", "fenêtre", "mañana", "der", "les", "größer"},
    " "};
const a_kind CYRILLIC = {"Cyrillic", {"сообщение", "и", "таблица", "не", "потеряно.", "раз"}, " "};
const a_kind CYRILLIC_AND_GREEK = {
    "Cyrillic and Greek",
    {"сообщение", "и", "таблица", "не", "потеряно.", "μήνυμα", "και", "πίνακας", "доставлено,", "раз"},
    " "};
const a_kind CJK = {
    "CJK", {"数据库", "消息", "表", "。", "テーブル", "メッセージ", "、", "복제", "전송", "的", "は"}, ""};
const a_kind EMOJI = {"emoji mix", {"ok", "😀", "🎉🎉", "naïve", "👍", "日本", "great!", "🚀", "да"}, " "};

// Texts of whole words, of `size` bytes at most each.
std::vector<Bytes> make_texts(const a_kind & kind, const char * src, size_t size)
{
    Iconv to_src({src, "UTF-8"});
    std::vector<Bytes> words;
    for (const std::string & word : kind.words) {
        const std::string text = word + kind.separator;
        Bytes encoded(64);
        encoded.resize(to_src.convert(Bytes(text.begin(), text.end()), encoded));
        words.push_back(encoded);
    }
    std::mt19937_64 random(1);
    std::vector<Bytes> texts;
    for (size_t made = 0; made < BYTES_PER_SAMPLE; made += size) {
        Bytes text;
        for (;;) {
            const Bytes & word = words[random() % words.size()];
            if (text.size() + word.size() > size) {
                break;
            }
            text.insert(text.end(), word.begin(), word.end());
        }
        texts.push_back(text);
    }
    return texts;
}

// ---- Figures

constexpr double SHOWN_ONLY = 0;

struct a_named_side {
    std::string name;
    std::unique_ptr<Side> side;
    double target; // what ours reaches of it, at least
};

#ifdef ORV_HAVE_SIMDUTF
double target_beside_simdutf(const a_pair & pair, const a_kind & kind, size_t size)
{
    const std::string name = kind.name;
    if (name == EMOJI.name) {
        return 1.0;
    }
    const bool is_long = size == SIZES[1];
    return is_long && (name == ASCII.name || std::string(pair.src) == "windows-1252") ? 0.9 : SHOWN_ONLY;
}
#endif

std::vector<a_named_side> make_sides(UTLocale & locale, const a_pair & pair,
                                     [[maybe_unused]] const a_kind & kind, [[maybe_unused]] size_t size)
{
    std::vector<a_named_side> sides;
    sides.push_back({"ours", std::make_unique<Ours>(locale, pair), SHOWN_ONLY});
    sides.push_back({"iconv", std::make_unique<Iconv>(pair), 1.0});
#ifdef ORV_HAVE_ICU
    sides.push_back({"ICU", std::make_unique<Icu>(pair), 1.0});
#endif
#ifdef ORV_HAVE_SIMDUTF
    if (Simdutf::has(pair)) {
        sides.push_back(
            {"simdutf", std::make_unique<Simdutf>(pair), target_beside_simdutf(pair, kind, size)});
    }
#endif
    return sides;
}

void require_same_output(const std::vector<a_named_side> & sides, const std::vector<Bytes> & texts,
                         Bytes & area)
{
    Bytes other(area.size());
    for (const Bytes & text : texts) {
        const size_t written = sides[0].side->convert(text, area);
        for (const a_named_side & each : sides) {
            if (each.side->convert(text, other) != written ||
                std::memcmp(area.data(), other.data(), written) != 0) {
                give_up("comparing the output with " + each.name);
            }
        }
    }
}

void measure_texts(UTLocale & locale, const a_pair & pair, const a_kind & kind, size_t size,
                   std::vector<ratio::a_figure> & figures)
{
    const std::vector<Bytes> texts = make_texts(kind, pair.src, size);
    const std::string name = std::string(pair.src) + " to " + pair.dest + ", " + kind.name + ", " +
                             (size < 1024 ? "200 B" : "1 MiB");
    const std::vector<a_named_side> sides = make_sides(locale, pair, kind, size);
    Bytes area(3 * size + 1024);
    require_same_output(sides, texts, area);
    std::vector<ratio::a_side> turns;
    for (const a_named_side & each : sides) {
        turns.push_back({each.name, [&texts, &area, side = each.side.get()] {
                             for (const Bytes & text : texts) {
                                 (void)side->convert(text, area);
                             }
                         }});
    }
    ratio::take_turns(TIMES, turns);
    std::printf("%-52s", name.c_str());
    for (size_t i = 0; i < sides.size(); i++) {
        std::printf(" %s %.0f MB/s", turns[i].name.c_str(),
                    static_cast<double>(texts.size() * size) / ratio::median(turns[i].cpu) / 1e6);
        if (sides[i].target != SHOWN_ONLY) {
            figures.push_back({name + ", " + turns[i].name, ratio::AT_LEAST, sides[i].target,
                               ratio::median_ratio(turns[0].cpu, turns[i].cpu)});
        }
    }
    std::puts("");
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
double widen_and_copy()
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

double short_call(CharsetConverter & conv, const Bytes & text)
{
    a_byte area[256];
    return nanoseconds_each([&] {
        size_t written = 0;
        (void)conv.Convert(area, sizeof(area), &written, text.data(), text.size());
        touch(area);
    });
}

void measure_calls(UTLocale & locale, std::vector<ratio::a_figure> & figures)
{
    const CharsetInfo * const cp1252 = charset("windows-1252");
    for (const a_pair & pair : {a_pair{"UTF-8", "UTF-16LE"}, a_pair{"UTF-8", "IBM850"}}) {
        CharsetConverter conv(&locale, charset(pair.dest), cp1252);
        bool turn = false;
        const double change = nanoseconds_each([&] {
            turn = !turn;
            (void)conv.SetEncodings(charset(turn ? pair.src : pair.dest), cp1252);
        });
        const double look_ups = nanoseconds_each([&] {
            turn = !turn;
            touch(const_cast<CharsetInfo *>(charset(turn ? pair.src : pair.dest)));
        });
        figures.push_back({std::string("SetEncodings for a pair seen before, ") + pair.src + ", ns",
                           ratio::AT_MOST, 200, change - look_ups});
    }
    CharsetConverter conv(&locale, locale.UTF8(), cp1252);
    Bytes text(40, 'x');
    const double ascii = short_call(conv, text);
    text[0] = text[20] = 0xE9;
    std::printf("40 bytes, windows-1252 to UTF-8: ASCII %.1f ns, with accents %.1f ns\n", ascii,
                short_call(conv, text));
    figures.push_back({"40 bytes of ASCII through UTF-16, times a plain loop", ratio::AT_MOST, 3,
                       ascii / widen_and_copy()});
}

} // namespace

int main()
{
    UTLocale locale;
    std::vector<ratio::a_figure> figures;
    for (const size_t size : SIZES) {
        for (const a_pair & pair : {a_pair{"UTF-16LE", "UTF-8"}, a_pair{"UTF-8", "UTF-16LE"}}) {
            for (const a_kind & kind : {ASCII, LATIN, CYRILLIC_AND_GREEK, CJK, EMOJI}) {
                measure_texts(locale, pair, kind, size, figures);
            }
        }
        for (const char * dest : {"UTF-16LE", "UTF-8", "IBM850"}) {
            measure_texts(locale, {dest, "windows-1252"}, ASCII, size, figures);
            measure_texts(locale, {dest, "windows-1252"}, LATIN, size, figures);
        }
        for (const char * dest : {"UTF-16LE", "UTF-8", "windows-1251"}) {
            measure_texts(locale, {dest, "KOI8-R"}, CYRILLIC, size, figures);
        }
    }
    measure_calls(locale, figures);
    return ratio::print_table(figures);
}
