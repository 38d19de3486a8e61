// UTF-8 to UTF-16 and back beside ICU's converters, kept open, and the C library's iconv: five kinds of text,
// 200 bytes and 1 MiB of source. The short texts are many, taken in turn, since no two messages are alike and
// a processor would soon know one by heart.
//
// Ends with a line for each pair; what we aim at is to be ahead of both everywhere. Result 1 when one is
// missed.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iconv.h>
#include <random>
#include <span>
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

constexpr size_t SIZES[] = {200, size_t{1} << 20};
constexpr size_t BYTES_PER_SAMPLE = size_t{2} << 20;
constexpr int TIMES = 15;

struct a_kind {
    const char * name;
    std::vector<const char *> words; // put together at random
    const char * separator;
};

const std::vector<a_kind> & kinds()
{
    static const std::vector<a_kind> all = {
        {"ASCII",
         {"the", "message", "is", "delivered", "once", "more,", "and", "nothing", "lost.", "table"},
         " "},
        {"Latin with accents",
         {"élève", "Straße", "über", "naïve", "message", "dernière", "fenêtre", "mañana", "der", "les",
          "größer"},
         " "},
        {"Cyrillic and Greek",
         {"сообщение", "и", "таблица", "не", "потеряно.", "μήνυμα", "και", "πίνακας", "доставлено,", "раз"},
         " "},
        {"CJK",
         {"数据库", "消息", "表", "。", "テーブル", "メッセージ", "、", "복제", "전송", "的", "は"},
         ""},
        {"emoji mix", {"ok", "😀", "🎉🎉", "naïve", "👍", "日本", "great!", "🚀", "да"}, " "},
    };
    return all;
}

// Text of the kind, `size` bytes less what doesn't fill a whole word.
Bytes utf8_text(const a_kind & kind, size_t size, std::mt19937_64 & random)
{
    std::string text;
    for (;;) {
        const std::string word = kind.words[random() % kind.words.size()] + std::string(kind.separator);
        if (text.size() + word.size() > size) {
            return {text.begin(), text.end()};
        }
        text += word;
    }
}

[[noreturn]] void give_up(const char * what)
{
    std::fprintf(stderr, "%s failed\n", what);
    std::abort();
}

// One direction as each side knows it.
struct a_direction {
    const char * name;
    const CharsetInfo * dest;
    const CharsetInfo * src;
    const char * iconv_dest;
    const char * iconv_src;
};

class Ours {
public:
    Ours(UTLocale & locale, const a_direction & direction) : _conv(&locale, direction.dest, direction.src) {}

    size_t convert(std::span<const a_byte> text, std::span<a_byte> area)
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
    explicit Iconv(const a_direction & direction)
        : _conv(iconv_open(direction.iconv_dest, direction.iconv_src))
    {
    }
    ~Iconv() { iconv_close(_conv); }
    Iconv(const Iconv &) = delete;
    Iconv & operator=(const Iconv &) = delete;

    size_t convert(std::span<const a_byte> text, std::span<a_byte> area)
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
    explicit Icu(const a_direction & direction) : _encodes(direction.dest->is_UTF8() != FALSE)
    {
        UErrorCode error = U_ZERO_ERROR;
        _conv = ucnv_open("UTF-8", &error);
    }
    ~Icu() { ucnv_close(_conv); }
    Icu(const Icu &) = delete;
    Icu & operator=(const Icu &) = delete;

    size_t convert(std::span<const a_byte> text, std::span<a_byte> area)
    {
        UErrorCode error = U_ZERO_ERROR;
        const size_t written = _encodes ? encode(text, area, error) : decode(text, area, error);
        if (U_FAILURE(error)) {
            give_up("ICU");
        }
        return written;
    }

private:
    size_t encode(std::span<const a_byte> text, std::span<a_byte> area, UErrorCode & error)
    {
        ucnv_resetFromUnicode(_conv);
        auto * dest = reinterpret_cast<char *>(area.data());
        const auto * src = reinterpret_cast<const UChar *>(text.data());
        ucnv_fromUnicode(_conv, &dest, dest + area.size(), &src, src + text.size() / 2, nullptr, 1, &error);
        return static_cast<size_t>(dest - reinterpret_cast<char *>(area.data()));
    }
    size_t decode(std::span<const a_byte> text, std::span<a_byte> area, UErrorCode & error)
    {
        ucnv_resetToUnicode(_conv);
        auto * dest = reinterpret_cast<UChar *>(area.data());
        const auto * src = reinterpret_cast<const char *>(text.data());
        ucnv_toUnicode(_conv, &dest, dest + area.size() / 2, &src, src + text.size(), nullptr, 1, &error);
        return static_cast<size_t>(reinterpret_cast<a_byte *>(dest) - area.data());
    }

    bool _encodes;
    UConverter * _conv = nullptr;
};
#endif

// One line for a peer; FALSE: it is ahead.
template<typename Peer>
bool beside(const char * peer_name, Peer && peer, Ours & ours, const std::string & name,
            const std::vector<Bytes> & texts)
{
    size_t total = 0;
    Bytes area(3 * texts.front().size() + 1024);
    Bytes peer_area(area.size());
    for (const Bytes & text : texts) {
        const size_t written = ours.convert(text, area);
        if (peer.convert(text, peer_area) != written ||
            std::memcmp(area.data(), peer_area.data(), written) != 0) {
            give_up("the comparison of outputs");
        }
        total += text.size();
    }
    const auto convert_all = [&](auto & side) {
        for (const Bytes & text : texts) {
            (void)side.convert(text, area);
        }
    };
    const ratio::a_result result = ratio::compare(
        TIMES, [&] { convert_all(ours); }, [&] { convert_all(peer); });
    const double megabytes = static_cast<double>(total) / 1e6;
    std::printf("%-46s ours %8.0f MB/s   %-5s %8.0f MB/s   ratio %6.2f\n", name.c_str(),
                megabytes / result.ours, peer_name, megabytes / result.peers, result.value());
    return result.value() >= 1.0;
}

// UTF-8 as the hub has it, cut to `size` bytes at most, between characters.
Bytes hub_text(UTLocale & locale, const Bytes & text, size_t size)
{
    Bytes units(2 * text.size());
    size_t written = 0;
    CharsetConverter conv(&locale, locale.UTF16LE(), locale.UTF8());
    (void)conv.Convert(units.data(), units.size(), &written, text.data(), text.size());
    units.resize(std::min(written, size));
    const bool cuts_pair = (units.back() & 0xFC) == 0xD8;
    units.resize(units.size() - (cuts_pair ? 2 : 0));
    return units;
}

std::vector<Bytes> make_texts(UTLocale & locale, const a_direction & direction, const a_kind & kind,
                              size_t size)
{
    std::mt19937_64 random(1);
    std::vector<Bytes> texts;
    for (size_t made = 0; made < BYTES_PER_SAMPLE; made += size) {
        const Bytes text = utf8_text(kind, size, random);
        texts.push_back(direction.src->is_UTF8() ? text : hub_text(locale, text, size));
    }
    return texts;
}

bool run(UTLocale & locale, const a_direction & direction)
{
    bool reached = true;
    for (const a_kind & kind : kinds()) {
        for (const size_t size : SIZES) {
            const std::vector<Bytes> texts = make_texts(locale, direction, kind, size);
            const std::string name =
                std::string(direction.name) + ", " + kind.name + ", " + std::to_string(size);
            Ours ours(locale, direction);
#ifdef ORV_HAVE_ICU
            reached = beside("ICU", Icu(direction), ours, name, texts) && reached;
#endif
            reached = beside("iconv", Iconv(direction), ours, name, texts) && reached;
        }
    }
    return reached;
}

} // namespace

int main()
{
    UTLocale locale;
#ifndef ORV_HAVE_ICU
    std::puts("ICU not found: its side is left out");
#endif
    const bool decoding =
        run(locale, {"UTF-8 to UTF-16", locale.UTF16LE(), locale.UTF8(), "UTF-16LE", "UTF-8"});
    const bool encoding =
        run(locale, {"UTF-16 to UTF-8", locale.UTF8(), locale.UTF16LE(), "UTF-8", "UTF-16LE"});
    return decoding && encoding ? 0 : 1;
}
