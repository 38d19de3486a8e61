// A UCA collation beside the distribution's ICU called directly, on the same bytes.
//
// What we aim at, over 20,000 words: comparing single-byte text at 0.75 of the speed of widening it and
// ucol_strcoll, UTF-8 at 0.45 of ucol_strcollUTF8, sort keys at 0.8 of converting and ucol_getSortKey, and
// words that come in buffered streams at 0.5 of those in memory. Result 1 when one is missed. Without an ICU
// build beside the program there is nothing to measure.

#include <algorithm>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <unicode/ucol.h>
#include <unicode/ustring.h>

#include "ratio.h"
#include "utils/etc/utcollation.h"
#include "utils/etc/utstream.h"
#include "utils/locale/tailoring.h"

namespace {

constexpr size_t WORDS = 20000;
constexpr int TIMES = 21;

std::vector<ratio::a_figure> figures;

struct a_word {
    std::string latin1;
    std::string utf8;
};

// Of two to six syllables, a few of them with an accent.
std::vector<a_word> make_words()
{
    constexpr const char * SYLLABLES[] = {"ba",  "der", "ke",    "lich",   "sch\xE4", "ung",
                                          "vor", "ze",  "\xE9t", "f\xFCr", "Gr\xF6",  "-"};
    std::mt19937 random(16);
    std::vector<a_word> words(WORDS);
    for (a_word & word : words) {
        for (size_t count = 2 + random() % 5; count > 0; count--) {
            word.latin1 += SYLLABLES[random() % std::size(SYLLABLES)];
        }
        for (const char c : word.latin1) {
            const auto b = static_cast<unsigned char>(c);
            if (b < 0x80) {
                word.utf8 += c;
            } else {
                word.utf8 += static_cast<char>(0xC0 | b >> 6);
                word.utf8 += static_cast<char>(0x80 | (b & 0x3F));
            }
        }
    }
    return words;
}

class Uca : public UTCollation {
public:
    Uca(UTLocale & locale, const char * charset) : UTCollation(nullptr)
    {
        (void)set_collation(&locale, UTLocale::GetCollationInfoFromLabel("UCA"),
                            UTLocale::GetCharsetInfoFromLabel(charset, CS_STD_ANY), nullptr,
                            UTCollationTailoring("Case=yes;Accent=yes"), FALSE);
    }
};

// The same by ICU's own means.
UCollator * open_collator()
{
    UErrorCode error = U_ZERO_ERROR;
    UCollator * const collator = ucol_open("", &error);
    ucol_setStrength(collator, UCOL_TERTIARY);
    ucol_setAttribute(collator, UCOL_CASE_FIRST, UCOL_UPPER_FIRST, &error);
    return collator;
}

int32_t widen(UChar * dest, const std::string & text)
{
    for (size_t i = 0; i < text.size(); i++) {
        dest[i] = static_cast<unsigned char>(text[i]);
    }
    return static_cast<int32_t>(text.size());
}

template<typename Compare> void each_pair(const std::vector<a_word> & words, Compare && compare)
{
    for (size_t i = 0; i < words.size(); i++) {
        benchmark::DoNotOptimize(compare(words[i], words[(i * 7919 + 1) % words.size()]));
    }
}

template<typename Ours, typename Peers>
void measure(const char * name, double target, const std::vector<a_word> & words, Ours && ours,
             Peers && peers)
{
    const ratio::a_result result = ratio::compare(
        TIMES, [&] { each_pair(words, ours); }, [&] { each_pair(words, peers); });
    ratio::print(name, result);
    figures.push_back({name, ratio::AT_LEAST, target, result.value()});
}

void measure_comparing(const std::vector<a_word> & words, const Uca & latin1, const Uca & utf8,
                       const UCollator * collator)
{
    const auto ours_utf8 = [&](const a_word & a, const a_word & b) {
        return utf8.trancmp(a.utf8.data(), a.utf8.size(), b.utf8.data(), b.utf8.size());
    };
    measure(
        "compare ISO 8859-1 / widen, ucol_strcoll", 0.75, words,
        [&](const a_word & a, const a_word & b) {
            return latin1.trancmp(a.latin1.data(), a.latin1.size(), b.latin1.data(), b.latin1.size());
        },
        [&](const a_word & a, const a_word & b) {
            UChar first[128];
            UChar second[128];
            const int32_t first_length = widen(first, a.latin1);
            return static_cast<int>(
                ucol_strcoll(collator, first, first_length, second, widen(second, b.latin1)));
        });
    measure("compare UTF-8 / ucol_strcollUTF8", 0.45, words, ours_utf8,
            [&](const a_word & a, const a_word & b) {
                UErrorCode error = U_ZERO_ERROR;
                return static_cast<int>(ucol_strcollUTF8(collator, a.utf8.data(),
                                                         static_cast<int32_t>(a.utf8.size()), b.utf8.data(),
                                                         static_cast<int32_t>(b.utf8.size()), &error));
            });
    measure(
        "UTF-8 in streams / in memory", 0.5, words,
        [&](const a_word & a, const a_word & b) {
            UTBufIStream first(reinterpret_cast<const a_byte *>(a.utf8.data()), a.utf8.size());
            UTBufIStream second(reinterpret_cast<const a_byte *>(b.utf8.data()), b.utf8.size());
            return utf8.trancmp(first, second);
        },
        ours_utf8);
}

void measure_keys(const std::vector<a_word> & words, const Uca & latin1, const Uca & utf8,
                  const UCollator * collator)
{
    measure(
        "sort keys ISO 8859-1 / widen, ucol_getSortKey", 0.8, words,
        [&](const a_word & a, const a_word &) {
            a_byte key[256];
            return latin1.sortkey_prefix(key, sizeof key, a.latin1.data(), a.latin1.size());
        },
        [&](const a_word & a, const a_word &) {
            UChar units[128];
            uint8_t key[256];
            return ucol_getSortKey(collator, units, widen(units, a.latin1), key, sizeof key);
        });
    measure(
        "sort keys UTF-8 / convert, ucol_getSortKey", 0.8, words,
        [&](const a_word & a, const a_word &) {
            a_byte key[256];
            return utf8.sortkey_prefix(key, sizeof key, a.utf8.data(), a.utf8.size());
        },
        [&](const a_word & a, const a_word &) {
            UChar units[128];
            uint8_t key[256];
            int32_t length = 0;
            UErrorCode error = U_ZERO_ERROR;
            u_strFromUTF8(units, 128, &length, a.utf8.data(), static_cast<int32_t>(a.utf8.size()), &error);
            return ucol_getSortKey(collator, units, length, key, sizeof key);
        });
}

} // namespace

int main()
{
    UTLocale locale;
    if (!locale.ICUIsSupported()) {
        std::printf("no ICU build: nothing to measure\n");
        return 0;
    }
    const std::vector<a_word> words = make_words();
    const Uca latin1(locale, "ISO-8859-1");
    const Uca utf8(locale, "UTF-8");
    UCollator * const collator = open_collator();
    measure_comparing(words, latin1, utf8, collator);
    measure_keys(words, latin1, utf8, collator);
    ucol_close(collator);
    return ratio::print_table(figures);
}
