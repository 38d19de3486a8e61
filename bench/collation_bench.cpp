// The table-driven collation beside ICU, the C library and bare memory operations.
//
// Ends with a line for each pair. What we aim at, over 100,000 Latin-1 words: comparing at least 7 times as
// fast as ICU's ucol_strcoll on random pairs and 4.4 times on sorted neighbours, and at 0.7 and 0.4 of
// memcmp; sort keys at least 9 times as fast as ucol_getSortKey at primary strength; building a UTCollation
// allocates nothing and costs at most 1.3 times a copy of its five tables (ratio 0.77). Result 1 when one is
// missed. strcoll and strxfrm of a German ISO 8859-1 locale stand beside, if localedef can make one.
//
// The words are made up, or taken from a dictionary: a file of UTF-8 lines, such as /usr/share/dict/ngerman,
// given as the argument.

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iconv.h>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>
#ifdef ORV_HAVE_ICU
#include <unicode/ucol.h>
#endif

#include "ratio.h"
#include "utils/etc/utcollation.h"
#include "utils/locale/tailoring.h"

namespace {

size_t allocations = 0;

} // namespace

// Every allocation of the program is counted: operator new comes here, too.
extern "C" void * __libc_malloc(size_t size); // glibc's own
extern "C" void * malloc(size_t size) noexcept
{
    allocations++;
    return __libc_malloc(size);
}

namespace {

constexpr size_t WORDS = 100000;
constexpr int TIMES = 15;

// Words of two to five syllables as in a dictionary: one in four has a capital, about one in eight a letter
// of the upper half, and each is there once.
std::vector<std::string> make_words()
{
    constexpr const char * ONSETS[] = {"b", "d", "f", "gr",  "h", "k", "l", "m", "n",
                                       "p", "r", "s", "sch", "t", "v", "w", "z", "br"};
    constexpr const char * RIMES[] = {"a",  "e",  "i",  "o",   "u",   "an",   "en",
                                      "er", "ei", "au", "ung", "ell", "isch", "ie"};
    constexpr const char * ACCENTED[] = {"\xE4", "\xF6", "\xFC", "\xE9"};
    std::mt19937 random(16);
    std::vector<std::string> words;
    while (words.size() < WORDS) {
        while (words.size() < WORDS) {
            std::string word;
            for (size_t syllables = 2 + random() % 4; syllables > 0; syllables--) {
                word += ONSETS[random() % std::size(ONSETS)];
                word += random() % 28 == 0 ? ACCENTED[random() % std::size(ACCENTED)]
                                           : RIMES[random() % std::size(RIMES)];
            }
            if (random() % 4 == 0) {
                word[0] = static_cast<char>(word[0] - 'a' + 'A');
            }
            words.push_back(word);
        }
        std::sort(words.begin(), words.end());
        words.erase(std::unique(words.begin(), words.end()), words.end());
    }
    std::shuffle(words.begin(), words.end(), random);
    return words;
}

const CharsetInfo * latin1()
{
    return UTLocale::GetCharsetInfoFromLabel("ISO-8859-1", CS_STD_ANY);
}

const CollationInfo * latin1_row()
{
    return UTLocale::GetCollationInfoFromLabel("ISO1LATIN1");
}

struct Latin1 {
    Latin1() : collation(nullptr)
    {
        (void)collation.set_collation(nullptr, latin1_row(), latin1(), nullptr, UTCollationTailoring(),
                                      FALSE);
    }
    UTCollation collation;
};

// As many words of a dictionary as are wanted, or fewer, from all over it. Words with letters that aren't in
// ISO 8859-1 are left out.
std::vector<std::string> read_words(const char * dictionary)
{
    const iconv_t to_latin1 = iconv_open("ISO-8859-1", "UTF-8");
    std::ifstream file(dictionary);
    std::vector<std::string> words;
    for (std::string line; std::getline(file, line);) {
        std::string word(line.size(), ' ');
        char * from = line.data();
        char * to = word.data();
        size_t left = line.size();
        size_t room = word.size();
        if (left > 0 && iconv(to_latin1, &from, &left, &to, &room) == 0) {
            word.resize(word.size() - room);
            words.push_back(word);
        }
    }
    iconv_close(to_latin1);
    std::mt19937 random(16);
    std::shuffle(words.begin(), words.end(), random);
    words.resize(std::min(words.size(), WORDS));
    return words;
}

// The texts of pairs, each with its terminator, one behind the other in the order in which they are compared:
// what is measured is comparing, not waiting for memory.
struct Pairs {
    std::vector<std::string> texts; // first and second of a pair in turn
    std::string bytes;
    std::vector<std::pair<std::string_view, std::string_view>> views;

    void add(const std::string & first, const std::string & second)
    {
        texts.push_back(first);
        texts.push_back(second);
    }
    void pack()
    {
        for (const std::string & text : texts) {
            bytes.append(text.c_str(), text.size() + 1);
        }
        const char * at = bytes.data();
        for (size_t i = 0; i < texts.size(); i += 2) {
            const std::string_view first(at, texts[i].size());
            const std::string_view second(at + first.size() + 1, texts[i + 1].size());
            views.emplace_back(first, second);
            at += first.size() + second.size() + 2;
        }
    }
};

Pairs random_pairs(const std::vector<std::string> & words)
{
    Pairs pairs;
    for (size_t i = 0; i < words.size(); i++) {
        pairs.add(words[i], words[(i * 7919 + 1) % words.size()]);
    }
    pairs.pack();
    return pairs;
}

// What a sort compares in its last rounds.
Pairs neighbours(const std::vector<std::string> & words)
{
    Pairs pairs;
    for (size_t i = 0; i + 1 < words.size(); i++) {
        pairs.add(words[i], words[i + 1]);
    }
    pairs.pack();
    return pairs;
}

std::vector<std::string> sorted(std::vector<std::string> words)
{
    const Latin1 latin1;
    std::sort(words.begin(), words.end(), [&](const std::string & a, const std::string & b) {
        return latin1.collation.trancmp(a.data(), a.size(), b.data(), b.size()) < 0;
    });
    return words;
}

template<typename Compare> void compare_all(const Pairs & pairs, Compare && compare)
{
    for (const auto & pair : pairs.views) {
        benchmark::DoNotOptimize(compare(pair.first, pair.second));
    }
}

int by_table(const UTCollation & collation, std::string_view a, std::string_view b)
{
    return collation.trancmp(a.data(), a.size(), b.data(), b.size());
}

int by_memcmp(std::string_view a, std::string_view b)
{
    const int order = memcmp(a.data(), b.data(), std::min(a.size(), b.size()));
    return order != 0 ? order : int{a.size() > b.size()} - int{a.size() < b.size()};
}

bool compares_well(const char * against, const Pairs & pairs, double wanted,
                   int (*peer)(std::string_view, std::string_view))
{
    const Latin1 latin1;
    const ratio::a_result result = ratio::compare(
        TIMES, [&] { compare_all(pairs, [&](auto a, auto b) { return by_table(latin1.collation, a, b); }); },
        [&] { compare_all(pairs, peer); });
    ratio::print(against, result);
    return result.value() >= wanted;
}

bool memcmp_is_near(const Pairs & far, const Pairs & near)
{
    const bool random = compares_well("compare / memcmp, random pairs", far, 0.7, by_memcmp);
    const bool close = compares_well("compare / memcmp, sorted neighbours", near, 0.4, by_memcmp);
    return random && close;
}

// The keys of the first texts.
size_t our_keys(const Latin1 & latin1, const Pairs & pairs)
{
    a_byte key[256];
    size_t total = 0;
    for (const auto & pair : pairs.views) {
        total += latin1.collation.sortkey_prefix(key, sizeof(key), pair.first.data(), pair.first.size());
        benchmark::DoNotOptimize(key);
    }
    return total;
}

#ifdef ORV_HAVE_ICU

UCollator * collator = nullptr;

// The same texts as UTF-16, laid out as ours and made beforehand: ICU compares nothing else.
std::u16string wide(const Pairs & pairs)
{
    std::u16string units;
    for (const std::string & text : pairs.texts) {
        for (const char c : text) {
            units.push_back(static_cast<unsigned char>(c));
        }
    }
    return units;
}

bool icu_is_far(const char * against, const Pairs & pairs, double wanted)
{
    const std::u16string units = wide(pairs);
    const Latin1 latin1;
    const ratio::a_result result = ratio::compare(
        TIMES, [&] { compare_all(pairs, [&](auto a, auto b) { return by_table(latin1.collation, a, b); }); },
        [&] {
            const char16_t * at = units.data();
            for (const auto & pair : pairs.views) {
                const auto first = static_cast<int32_t>(pair.first.size());
                const auto second = static_cast<int32_t>(pair.second.size());
                benchmark::DoNotOptimize(ucol_strcoll(collator, at, first, at + first, second));
                at += first + second;
            }
        });
    ratio::print(against, result);
    return result.value() >= wanted;
}

bool icu_keys_are_far(const Pairs & pairs)
{
    const std::u16string units = wide(pairs);
    const Latin1 latin1;
    uint8_t key[512];
    const ratio::a_result result = ratio::compare(
        TIMES, [&] { benchmark::DoNotOptimize(our_keys(latin1, pairs)); },
        [&] {
            const char16_t * at = units.data();
            for (const auto & pair : pairs.views) {
                const auto first = static_cast<int32_t>(pair.first.size());
                benchmark::DoNotOptimize(ucol_getSortKey(collator, at, first, key, sizeof(key)));
                at += pair.first.size() + pair.second.size();
            }
        });
    ratio::print("sort keys / ucol_getSortKey, primary", result);
    return result.value() >= 9.0;
}

bool icu_is_left_behind(const Pairs & far, const Pairs & near)
{
    UErrorCode status = U_ZERO_ERROR;
    collator = ucol_open("de", &status);
    if (U_FAILURE(status)) {
        std::printf("no collator of ICU for German: %s\n", u_errorName(status));
        return true;
    }
    ucol_setStrength(collator, UCOL_PRIMARY);
    const bool random = icu_is_far("compare / ucol_strcoll, random pairs", far, 7.0);
    const bool close = icu_is_far("compare / ucol_strcoll, sorted neighbours", near, 4.4);
    const bool keys = icu_keys_are_far(far);
    ucol_close(collator);
    return random && close && keys;
}

#else

bool icu_is_left_behind(const Pairs &, const Pairs &)
{
    std::printf("ICU isn't installed: nothing to compare with\n");
    return true;
}

#endif

// A German ISO 8859-1 locale in a folder of its own, for as long as the object lives.
class GermanLocale {
public:
    GermanLocale()
    {
        char folder[] = "/tmp/collation_bench_XXXXXX";
        if (mkdtemp(folder) == nullptr) {
            return;
        }
        _folder = folder;
        const std::string command =
            "localedef -i de_DE -f ISO-8859-1 " + _folder + "/de_DE.ISO-8859-1 2>/dev/null";
        setenv("LOCPATH", folder, 1);
        _made = std::system(command.c_str()) == 0 && setlocale(LC_ALL, "de_DE.ISO-8859-1") != nullptr;
    }
    ~GermanLocale()
    {
        setlocale(LC_ALL, "C");
        unsetenv("LOCPATH");
        std::error_code ignored; // what stays in /tmp does no harm
        std::filesystem::remove_all(_folder, ignored);
    }
    GermanLocale(const GermanLocale &) = delete;
    GermanLocale & operator=(const GermanLocale &) = delete;

    bool made() const { return _made; }

private:
    std::string _folder;
    bool _made = false;
};

void show_c_library(const Pairs & far, const Pairs & near)
{
    const GermanLocale german;
    if (!german.made()) {
        std::printf("no de_DE.ISO-8859-1 locale: nothing to show of the C library\n");
        return;
    }
    // The words are whole strings, so their terminators are there.
    const auto by_strcoll = [](std::string_view a, std::string_view b) {
        return strcoll(a.data(), b.data());
    };
    (void)compares_well("compare / strcoll, random pairs", far, 0, by_strcoll);
    (void)compares_well("compare / strcoll, sorted neighbours", near, 0, by_strcoll);
    const Latin1 latin1;
    char key[1024];
    const auto keys_by_strxfrm = [&] {
        for (const auto & pair : far.views) {
            benchmark::DoNotOptimize(strxfrm(key, pair.first.data(), sizeof(key)));
        }
    };
    ratio::print("sort keys / strxfrm",
                 ratio::compare(
                     TIMES, [&] { benchmark::DoNotOptimize(our_keys(latin1, far)); }, keys_by_strxfrm));
}

bool building_costs_a_copy(a_case_sensitivity sensitivity, const char * name)
{
    constexpr int OBJECTS = 20000;
    const UTCollationTailoring tailoring(sensitivity);
    const CollationInfo * row = latin1_row();
    const CharsetInfo * charset = latin1();
    UTCollation collation(nullptr);
    const size_t before = allocations;
    const auto build = [&] {
        for (int i = 0; i < OBJECTS; i++) {
            benchmark::DoNotOptimize(
                collation.set_collation(nullptr, row, charset, nullptr, tailoring, FALSE));
            benchmark::ClobberMemory();
        }
    };
    build();
    const size_t counted = allocations - before;
    a_packed_collation_order copy;
    const ratio::a_result result = ratio::compare(TIMES, build, [&] {
        for (int i = 0; i < OBJECTS; i++) {
            memcpy(&copy, charset->get_packed_collation(), sizeof(copy));
            benchmark::DoNotOptimize(&copy);
            benchmark::ClobberMemory();
        }
    });
    ratio::print(name, result);
    std::printf("%-44s %zu allocations\n", "", counted);
    return counted == 0 && result.value() >= 1 / 1.3;
}

void compare_random_pairs(benchmark::State & state)
{
    const std::vector<std::string> words = make_words();
    const Pairs pairs = random_pairs(words);
    const Latin1 latin1;
    for (auto _ : state) {
        compare_all(pairs, [&](auto a, auto b) { return by_table(latin1.collation, a, b); });
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(pairs.views.size()));
}

void sort_keys(benchmark::State & state)
{
    const Pairs pairs = random_pairs(make_words());
    const Latin1 latin1;
    for (auto _ : state) {
        benchmark::DoNotOptimize(our_keys(latin1, pairs));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(pairs.views.size()));
}

BENCHMARK(compare_random_pairs);
BENCHMARK(sort_keys);

} // namespace

int main(int argc, char ** argv)
{
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    const std::vector<std::string> words = argc > 1 ? read_words(argv[1]) : make_words();
    if (words.empty()) {
        std::fprintf(stderr, "no words in %s\n", argv[1]);
        return 2;
    }
    const Pairs far = random_pairs(words);
    const std::vector<std::string> ordered = sorted(words);
    const Pairs near = neighbours(ordered);
    const bool memory = memcmp_is_near(far, near);
    const bool icu = icu_is_left_behind(far, near);
    show_c_library(far, near);
    const bool with_case = building_costs_a_copy(CASE_SENSITIVE, "build, case counts / copy of five tables");
    const bool without = building_costs_a_copy(CASE_INSENSITIVE, "build, no case / copy of five tables");
    return memory && icu && with_case && without ? 0 : 1;
}
