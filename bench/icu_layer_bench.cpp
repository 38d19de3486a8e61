// The companion that brings ICU beside the distribution's ICU called directly, in the same run.
//
// What we aim at, over 20,000 words: comparing UTF-8 in memory at most 1.3 times the time of
// ucol_strcollUTF8, single-byte text through its map no slower than converting and ucol_strcoll, sort keys at
// most 1.2 times converting and ucol_getSortKey, and converters at 0.95 of ucnv's speed. Result 1 when one is
// missed.

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <new>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <unicode/ustring.h>

#include "icu/orvicu.h"
#include "ratio.h"

namespace {

constexpr size_t WORDS = 20000;
constexpr int TIMES = 25;

std::vector<ratio::a_figure> figures;

struct a_script {
    const char * name;
    const char * converter; // of the single-byte form
    std::vector<const char16_t *> syllables;
};

const std::vector<a_script> SCRIPTS = {
    {"Latin",
     "windows-1252",
     {u"ba", u"der", u"f\u00FCr", u"gr\u00F6", u"ke", u"lich", u"sch\u00E4", u"ung", u"vor", u"ze",
      u"\u00E9t", u"-"}},
    {"Cyrillic",
     "windows-1251",
     {u"\u0431\u0430", u"\u0434\u0435\u0440", u"\u0438\u0439", u"\u043A\u043E", u"\u043B\u044F",
      u"\u0441\u0442\u0432", u"\u0447\u0438", u"\u044B\u0445"}},
    {"Thai",
     "windows-874-2000",
     {u"\u0E01\u0E32", u"\u0E40\u0E14", u"\u0E19\u0E49\u0E33", u"\u0E44\u0E17\u0E22", u"\u0E1B\u0E35\u0E48",
      u"\u0E23\u0E31\u0E01", u"\u0E2B\u0E21\u0E39", u"\u0E41\u0E21\u0E27"}},
};

// A text in its three forms.
struct a_word {
    std::u16string units;
    std::string utf8;
    std::string bytes;
};

using a_map = std::array<UChar, 256>;

a_map map_of(const char * name)
{
    a_map map{};
    UErrorCode error = U_ZERO_ERROR;
    UConverter * converter = ucnv_open(name, &error);
    for (size_t byte = 0; byte < map.size(); byte++) {
        const auto c = static_cast<char>(byte);
        UErrorCode unassigned = U_ZERO_ERROR;
        ucnv_toUChars(converter, &map[byte], 1, &c, 1, &unassigned);
    }
    ucnv_close(converter);
    return map;
}

std::vector<a_word> make_words(const a_script & script)
{
    std::mt19937 random(16);
    std::set<std::u16string> unique; // as in a dictionary
    for (size_t tries = 0; unique.size() < WORDS && tries < 20 * WORDS; tries++) {
        std::u16string units;
        for (size_t count = 2 + random() % 5; count > 0; count--) {
            units += script.syllables[random() % script.syllables.size()];
        }
        unique.insert(units);
    }
    std::vector<a_word> words;
    for (const std::u16string & units : unique) {
        words.push_back({units, {}, {}});
    }
    std::shuffle(words.begin(), words.end(), random);
    UErrorCode error = U_ZERO_ERROR;
    UConverter * converter = ucnv_open(script.converter, &error);
    for (a_word & word : words) {
        char dest[256];
        int32_t length = 0;
        u_strToUTF8(dest, sizeof dest, &length, word.units.data(), static_cast<int32_t>(word.units.size()),
                    &error);
        word.utf8.assign(dest, static_cast<size_t>(length));
        length = ucnv_fromUChars(converter, dest, sizeof dest, word.units.data(),
                                 static_cast<int32_t>(word.units.size()), &error);
        word.bytes.assign(dest, static_cast<size_t>(length));
    }
    ucnv_close(converter);
    return words;
}

struct a_rule {
    const char * name;
    UColAttributeValue alternate;
    UColAttributeValue strength;
};
constexpr a_rule PLAIN = {"", UCOL_NON_IGNORABLE, UCOL_TERTIARY};
constexpr a_rule SHIFTED = {", punctuation ignored", UCOL_SHIFTED, UCOL_TERTIARY};

UCollator * open_collator(const a_rule & rule)
{
    UErrorCode error = U_ZERO_ERROR;
    UErrorCode options_error = U_ZERO_ERROR;
    UCollator * collator = ORV_ucol_open("", &error, &options_error);
    ucol_setAttribute_3_4(collator, UCOL_ALTERNATE_HANDLING, rule.alternate, &error);
    ucol_setStrength_3_4(collator, rule.strength);
    return collator;
}

// Each word with another one, or with its neighbour in order.
template<typename Compare>
void compare_all(const std::vector<a_word> & words, size_t step, Compare && compare)
{
    for (size_t i = 0; i < words.size(); i++) {
        benchmark::DoNotOptimize(compare(words[i], words[(i + step) % words.size()]));
    }
}

const uint8_t * never_filled(void * /*context*/, size_t /*min_index*/, size_t * new_size)
{
    *new_size = 0;
    return nullptr;
}

// The interface of the iterators' base, as the link library sees it.
class an_iterator_base {
public:
    virtual ~an_iterator_base() = default;
};

int layer_utf8(const UCollator * collator, const a_word & a, const a_word & b)
{
    an_icu_iterator iter1;
    an_icu_iterator iter2;
    const auto set = [](an_icu_iterator * iter, const std::string & text) {
        uiter_setFragmentedUTF8Simple(iter, reinterpret_cast<const uint8_t *>(text.data()), text.size(),
                                      text.size(), never_filled, nullptr);
    };
    set(&iter1, a.utf8);
    set(&iter2, b.utf8);
    UErrorCode error = U_ZERO_ERROR;
    const int order = ucol_strcollIter_3_4(collator, &iter1, &iter2, &error);
    std::launder(reinterpret_cast<an_iterator_base *>(&iter1))->~an_iterator_base();
    std::launder(reinterpret_cast<an_iterator_base *>(&iter2))->~an_iterator_base();
    return order;
}

int icu_utf8(const UCollator * collator, const a_word & a, const a_word & b)
{
    UErrorCode error = U_ZERO_ERROR;
    return ucol_strcollUTF8(collator, a.utf8.data(), static_cast<int32_t>(a.utf8.size()), b.utf8.data(),
                            static_cast<int32_t>(b.utf8.size()), &error);
}

// Converting as a caller without a layer would.
struct a_converted {
    UChar units[256];
    int32_t length;
    a_converted(UConverter * converter, const std::string & bytes)
    {
        UErrorCode error = U_ZERO_ERROR;
        length = ucnv_toUChars(converter, units, std::size(units), bytes.data(),
                               static_cast<int32_t>(bytes.size()), &error);
    }
};

void compare_words(const a_script & script, const a_rule & rule, bool has_target)
{
    std::vector<a_word> words = make_words(script);
    const a_map map = map_of(script.converter);
    UCollator * collator = open_collator(rule);
    UErrorCode error = U_ZERO_ERROR;
    UConverter * converter = ucnv_open(script.converter, &error);
    for (const char * order : {"any pairs", "neighbours"}) {
        const size_t step = *order == 'a' ? 7919 : 1;
        const std::string title = std::string(script.name) + rule.name + ", " + order;
        const ratio::a_result utf8 = ratio::compare(
            TIMES,
            [&] { compare_all(words, step, [&](auto & a, auto & b) { return layer_utf8(collator, a, b); }); },
            [&] { compare_all(words, step, [&](auto & a, auto & b) { return icu_utf8(collator, a, b); }); });
        const ratio::a_result bytes = ratio::compare(
            TIMES,
            [&] {
                compare_all(words, step, [&](auto & a, auto & b) {
                    return ucol_strcoll_sbcs(collator, map.data(), a.bytes.data(), a.bytes.size(),
                                             b.bytes.data(), b.bytes.size());
                });
            },
            [&] {
                compare_all(words, step, [&](auto & a, auto & b) {
                    const a_converted units1(converter, a.bytes);
                    const a_converted units2(converter, b.bytes);
                    return ucol_strcoll(collator, units1.units, units1.length, units2.units, units2.length);
                });
            });
        ratio::print(("UTF-8, " + title).c_str(), utf8);
        ratio::print(("bytes, " + title).c_str(), bytes);
        if (has_target) {
            figures.push_back(
                {"UTF-8, " + title + ": time by ucol_strcollUTF8", ratio::AT_MOST, 1.3, 1 / utf8.value()});
            figures.push_back(
                {"bytes, " + title + ": times as fast as ICU", ratio::AT_LEAST, 1.0, bytes.value()});
        }
        std::sort(words.begin(), words.end(),
                  [&](const a_word & a, const a_word & b) { return icu_utf8(collator, a, b) == UCOL_LESS; });
    }
    ucnv_close(converter);
    ucol_close_3_4(collator);
}

void build_keys(const a_script & script)
{
    const std::vector<a_word> words = make_words(script);
    const a_map map = map_of(script.converter);
    UCollator * collator = open_collator(PLAIN);
    UErrorCode error = U_ZERO_ERROR;
    UConverter * converter = ucnv_open(script.converter, &error);
    uint8_t key[512];
    const auto for_all = [&](auto && build) {
        for (const a_word & word : words) {
            benchmark::DoNotOptimize(build(word));
        }
    };
    const ratio::a_result utf8 = ratio::compare(
        TIMES,
        [&] {
            for_all([&](const a_word & word) {
                return ucol_getSortKeyPrefixUTF8(collator, word.utf8.data(),
                                                 static_cast<int32_t>(word.utf8.size()), key,
                                                 static_cast<uint32_t>(2 * word.utf8.size()), 1, &error);
            });
        },
        [&] {
            for_all([&](const a_word & word) {
                UChar units[256];
                int32_t length = 0;
                u_strFromUTF8(units, std::size(units), &length, word.utf8.data(),
                              static_cast<int32_t>(word.utf8.size()), &error);
                return ucol_getSortKey(collator, units, length, key, sizeof key);
            });
        });
    const ratio::a_result bytes = ratio::compare(
        TIMES,
        [&] {
            for_all([&](const a_word & word) {
                return ucol_getSortKeyPrefixSBCS(
                    collator, word.bytes.data(), static_cast<int32_t>(word.bytes.size()), key,
                    static_cast<uint32_t>(2 * word.bytes.size()), map.data(), 1, &error);
            });
        },
        [&] {
            for_all([&](const a_word & word) {
                const a_converted units(converter, word.bytes);
                return ucol_getSortKey(collator, units.units, units.length, key, sizeof key);
            });
        });
    for (const auto & [name, result] :
         {std::pair{"keys of UTF-8, ", utf8}, std::pair{"keys of bytes, ", bytes}}) {
        const std::string title = std::string(name) + script.name;
        ratio::print(title.c_str(), result);
        figures.push_back({title + ": time by ucol_getSortKey", ratio::AT_MOST, 1.2, 1 / result.value()});
    }
    ucnv_close(converter);
    ucol_close_3_4(collator);
}

// Text that the character set has, about `size` bytes of it.
std::string text_in(UConverter * converter, size_t size)
{
    constexpr std::u16string_view LINE =
        u"Text 0123, \u4E00\u4E8C\u4E09\u4EBA\u5927\u5B50\u5C71\u6C34\u706B\u6728\u5929. ";
    std::u16string units;
    while (units.size() < size) {
        units += LINE;
    }
    std::string bytes(4 * units.size(), '\0');
    UErrorCode error = U_ZERO_ERROR;
    bytes.resize(
        static_cast<size_t>(ucnv_fromUChars(converter, bytes.data(), static_cast<int32_t>(bytes.size()),
                                            units.data(), static_cast<int32_t>(units.size()), &error)));
    bytes.resize(std::min(size, bytes.size()));
    return bytes;
}

struct an_api {
    decltype(&ucnv_toUnicode_3_4) to;
    decltype(&ucnv_fromUnicode_3_4) from;
};

// To UTF-16 and back, over `text` again and again until about 2 MiB went through.
void convert(const an_api & api, UConverter * converter, const std::string & text, std::vector<UChar> & units,
             std::vector<char> & back)
{
    for (size_t done = 0; done < (size_t{2} << 20); done += text.size()) {
        UErrorCode error = U_ZERO_ERROR;
        const char * source = text.data();
        UChar * units_end = units.data();
        api.to(converter, &units_end, units.data() + units.size(), &source, text.data() + text.size(),
               nullptr, 1, &error);
        const UChar * units_at = units.data();
        char * back_end = back.data();
        api.from(converter, &back_end, back.data() + back.size(), &units_at, units_end, nullptr, 1, &error);
        benchmark::DoNotOptimize(back_end);
    }
}

void convert_texts()
{
    struct a_row {
        const char * name;
        const char * label; // the catalogue's
        const char * icu;
    };
    constexpr a_row ROWS[] = {{"EUC-JP", "ibm-33722_P12A-1999", "ibm-33722_P12A_P12A-2004_U2"},
                              {"GB18030", "gb18030", "gb18030"},
                              {"Big5", "windows-950-2000", "windows-950-2000"},
                              {"Shift_JIS", "ibm-943_P15A-2003", "ibm-943_P15A-2003"}};
    for (const a_row & row : ROWS) {
        UErrorCode error = U_ZERO_ERROR;
        UConverter * ours = ucnv_open_3_4(row.label, &error);
        UConverter * icu = ucnv_open(row.icu, &error);
        for (const size_t size : {size_t{1} << 20, size_t{200}}) {
            const std::string text = text_in(icu, size);
            std::vector<UChar> units(text.size() + 16);
            std::vector<char> back(4 * text.size() + 16);
            const ratio::a_result result = ratio::compare(
                TIMES,
                [&] {
                    convert({ucnv_toUnicode_3_4, ucnv_fromUnicode_3_4}, ours, text, units, back);
                },
                [&] {
                    convert({ucnv_toUnicode, ucnv_fromUnicode}, icu, text, units, back);
                });
            const std::string title = std::string(row.name) + ", pieces of " + std::to_string(size);
            ratio::print(title.c_str(), result);
            figures.push_back({title + ": times as fast as ucnv", ratio::AT_LEAST, 0.95, result.value()});
        }
        ucnv_close_3_4(ours);
        ucnv_close(icu);
    }
}

} // namespace

int main()
{
    for (const a_script & script : SCRIPTS) {
        compare_words(script, PLAIN, true);
        // Thai has no simple letters: shown for what the right order costs there.
        compare_words(script, SHIFTED, script.name != std::string("Thai"));
        build_keys(script);
    }
    convert_texts();
    return ratio::print_table(figures);
}
