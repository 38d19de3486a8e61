#include "utils/locale/csconv_pivot.h"

#include <memory>
#include <random>
#include <typeinfo>

#include <gtest/gtest.h>

#include "support/catalogue.h"
#include "utils/locale/converter_driver.h"
#include "utils/locale/fake_icu.h"
#include "utils/locale/unicode_texts.h"

namespace {

constexpr unsigned ILLEGAL = CharsetConversionFlags::ILLEGAL;
constexpr unsigned UNMAPPABLE = CharsetConversionFlags::UNMAPPABLE;
constexpr unsigned TRUNCATED = CharsetConversionFlags::TRUNCATED;

// Where no ICU serves, the last resorts have to.
UTLocale & locale()
{
    static LocaleWithoutIcu the_locale;
    return the_locale;
}

// ---- To the hub by a table

TEST(UnicodeMapConverter, EachByteOfEachCharacterSetIsTheCataloguesValue)
{
    for (const CharsetInfo & src : UTLocale::_charset_info) {
        CharsetConverter conv(&locale(), locale().UTF16LE(), &src);
        const CharsetConverterBase & chosen = conv.conv();
        ASSERT_EQ(typeid(chosen) == typeid(SBCSToUTF16MapCharsetConverter), !src.is_mbcs());
        if (src.is_mbcs()) {
            continue;
        }
        EXPECT_TRUE(conv.is_supported());
        EXPECT_FALSE(conv.support_reporting());
        Bytes input;
        Units values;
        // In both orders, so that each byte stands beside others in a vector.
        for (unsigned i = 0; i < 512; i++) {
            const unsigned b = i < 256 ? i : (i * 37) & 0xFF;
            input.push_back(static_cast<a_byte>(b));
            values.push_back(b < 0x80 ? static_cast<a_utf16>(b) : src.to_utf16_upper128()[b - 0x80]);
        }
        ConverterDriver driver(conv);
        EXPECT_EQ(driver.whole(input), (a_outcome{u16(values), ORV_CONV_OK, 0, input.size()}))
            << src.orv_label();
    }
}

// ---- Last resorts

struct a_case {
    const char * dest;
    const char * src;
    Bytes input;
    unsigned stop_at;
    a_outcome outcome;
};

// An outcome of the whole input.
a_outcome all(const Bytes & output, unsigned flags, size_t size)
{
    return {output, ORV_CONV_OK, flags, size};
}

TEST(LastResort, SubstitutesFlagsAndCursorsAreExactWithAndWithoutAStop)
{
    const char * const hub = "UTF-16LE";
    constexpr ORV_CONV_RET UNMAPPABLE_STOP = ORV_CONV_UNMAPPABLE_CHARACTER;
    constexpr ORV_CONV_RET TRUNCATED_STOP = ORV_CONV_TRUNCATED_CHARACTER;
    const a_case cases[] = {
        {hub, "Shift_JIS", {0x82, 0xA0, 'a'}, 0, all(u16({0xFFFD, 'a'}), UNMAPPABLE, 3)},
        {hub, "Shift_JIS", {'a', 0x82}, 0, all(u16({'a', 0xFFFD}), TRUNCATED, 2)},
        {hub, "Shift_JIS", {0xB1, 0x7F}, 0, all(u16({0xFFFD, 0x7F}), UNMAPPABLE, 2)}, // half-width: one byte
        {hub, "Shift_JIS", {0x82, 'A', 'B'}, 0, all(u16({0xFFFD, 'B'}), UNMAPPABLE, 3)},
        {"windows-1252", hub, u16({0x20AC}), 0, all({0x1A}, UNMAPPABLE, 2)},
        {"Big5-HKSCS", hub, u16({0x20AC, 0x7F, 0x80}), 0, all({0xA1, 0x48, 0x7F, 0xA1, 0x48}, UNMAPPABLE, 6)},
        {"Big5-HKSCS", hub, u16({0xD83D, 0xDE00}), 0, all({0xA1, 0x48}, UNMAPPABLE, 4)},
        {"Big5-HKSCS", hub, u16({0xD83D, 'A'}), 0, all({0xA1, 0x48, 'A'}, UNMAPPABLE | ILLEGAL, 4)},
        {"Big5-HKSCS", hub, u16({0xDE00}), 0, all({0xA1, 0x48}, UNMAPPABLE, 2)},
        {"Big5-HKSCS", hub, u16({'A', 0xD83D}), 0, all({'A', 0xA1, 0x48}, TRUNCATED, 4)},
        // Just behind the first byte of the character, decoding; behind the character, encoding.
        {hub, "Shift_JIS", {'a', 0x82, 0xA0}, UNMAPPABLE, {u16({'a'}), UNMAPPABLE_STOP, UNMAPPABLE, 2}},
        {hub, "Shift_JIS", {'a', 0x82}, TRUNCATED, {u16({'a'}), TRUNCATED_STOP, TRUNCATED, 1}},
        {"Big5", hub, u16({0xD83D, 0xDE00, 'b'}), UNMAPPABLE, {{}, UNMAPPABLE_STOP, UNMAPPABLE, 4}},
        {"Big5", hub, u16({0xDE00, 'b'}), ILLEGAL | UNMAPPABLE, {{}, UNMAPPABLE_STOP, UNMAPPABLE, 2}},
        // On a lone lead surrogate when that stops; behind it when its lack of a mapping does.
        {"Big5", hub, u16({0xD83D, 'b'}), ILLEGAL, {{}, ORV_CONV_ILLEGAL_CHARACTER, ILLEGAL, 0}},
        {"Big5", hub, u16({0xD83D, 'b'}), UNMAPPABLE, {{}, UNMAPPABLE_STOP, ILLEGAL | UNMAPPABLE, 2}},
        {"Big5", hub, u16({'a', 0xD83D}), TRUNCATED, {{'a'}, TRUNCATED_STOP, TRUNCATED, 2}},
    };
    for (const a_case & c : cases) {
        SCOPED_TRACE(std::string(c.src) + " to " + c.dest + ": " + hex(c.input));
        CharsetConverter conv(&locale(), charset(c.dest), charset(c.src));
        EXPECT_TRUE(conv.support_reporting());
        EXPECT_FALSE(conv.is_supported());
        conv.stop_at().set(c.stop_at);
        ConverterDriver driver(conv);
        EXPECT_EQ(driver.whole(c.input), c.outcome);
        for (size_t at = 0; at <= c.input.size(); at++) {
            EXPECT_EQ(driver.in_two_pieces(c.input, at, 16), c.outcome) << "cut at " << at;
        }
    }
}

// ---- Two stages

TEST(Pivot, IsSupportedIfBothStagesAre)
{
    const struct {
        const char * dest;
        const char * src;
        bool allows_last_resort;
        bool is_supported;
        bool reports;
    } rows[] = {
        {"UTF-8", "windows-1252", false, true, false}, {"UTF-8", "CESU-8", false, true, true},
        {"UTF-16BE", "UTF-8", false, true, false},     {"UTF-8", "UTF-16BE", true, true, false},
        {"EUC-JP", "UTF-8", false, false, false},      {"UTF-8", "EUC-JP", false, false, false},
        {"EUC-JP", "UTF-8", true, false, true},        {"UTF-8", "EUC-JP", true, false, true},
        {"UTF-16LE", "UTF-8", true, false, false},     {"UTF-8", "UTF-16LE", true, false, false},
    };
    for (const auto & row : rows) {
        SCOPED_TRACE(std::string(row.src) + " to " + row.dest);
        PivotCharsetConverter conv(&locale(), charset(row.dest), charset(row.src),
                                   row.allows_last_resort ? TRUE : FALSE);
        EXPECT_EQ(conv.is_supported() != FALSE, row.is_supported);
        EXPECT_EQ(conv.support_reporting() != FALSE, row.reports);
        EXPECT_FALSE(conv.is_identity());
        conv.Reset();
        conv.close();
        conv.close();
        EXPECT_FALSE(conv.is_supported());
    }
    EXPECT_FALSE(PivotCharsetConverter(&locale(), nullptr, locale().UTF8(), TRUE).is_supported());
    EXPECT_FALSE(PivotCharsetConverter(&locale(), locale().UTF8(), nullptr, TRUE).is_supported());
}

// The two conversions one after the other, each in one call with room for all.
struct a_staged {
    a_outcome first;
    a_outcome second;
};

a_staged convert_in_stages(UTLocale & locale, const CharsetInfo & dest, const CharsetInfo & src,
                           const Bytes & input, unsigned stop_at)
{
    CharsetConverter to_hub(&locale, locale.UTF16LE(), &src);
    to_hub.stop_at().set(stop_at);
    a_staged staged;
    staged.first = ConverterDriver(to_hub).whole(input);
    CharsetConverter from_hub(&locale, &dest, locale.UTF16LE());
    from_hub.stop_at().set(stop_at);
    staged.second = ConverterDriver(from_hub).whole(staged.first.bytes);
    return staged;
}

// UTF-8 of what stages and buffers treat apart, to be moved over the buffer's end.
const Bytes & boundary_text()
{
    static const Bytes text = {0xF0, 0x9F, 0x98, 0x80, 'a', 0xC3, 0xA9, 0xE2, 0x82, 0xAC, 0xF4, 0x90, 0x80,
                               0x80, 0xED, 0xA0, 0xBD, 'b', 0xED, 0xB8, 0x80, 0xF0, 0x9F, 0x98, 0x80};
    return text;
}

TEST(Pivot, NothingDependsOnWhereTheBufferEnds)
{
    const char * const dests[] = {"CESU-8", "UTF-16BE", "EUC-JP", "Big5-HKSCS"};
    for (const char * const label : dests) {
        const CharsetInfo * const dest = charset(label);
        CharsetConverter conv(&locale(), dest, locale().UTF8());
        ConverterDriver driver(conv);
        for (size_t units = PivotBuffer::CODE_UNITS - 20; units < PivotBuffer::CODE_UNITS + 4; units++) {
            for (const size_t tail : {0u, 1u, 600u, 1100u}) {
                Bytes input(units, 'x');
                input.insert(input.end(), boundary_text().begin(), boundary_text().end());
                input.insert(input.end(), tail, 'y');
                input.insert(input.end(), {0xE2, 0x82}); // truncated
                const a_staged staged = convert_in_stages(locale(), *dest, *locale().UTF8(), input, 0);
                a_outcome expected = staged.second;
                expected.flags |= staged.first.flags;
                expected.position = input.size();
                ASSERT_EQ(driver.whole(input), expected) << label << " behind " << units << " units";
                ASSERT_EQ(driver.in_two_pieces(input, units + 2, 700), expected) << label << " " << units;
            }
        }
    }
}

// Full of what the second stage holds or drops, the buffer must not look like the end.
TEST(Pivot, ALoneHalfInTheBufferEndsNothing)
{
    CharsetConverter conv(&locale(), locale().UTF8(), locale().CESU8());
    ConverterDriver driver(conv);
    const Bytes input = {0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80}; // a surrogate pair, each half by itself
    const a_outcome whole = {{0xF0, 0x9F, 0x98, 0x80}, ORV_CONV_OK, 0, input.size()};
    for (size_t at = 0; at <= input.size(); at++) {
        for (size_t room = 1; room < 6; room++) {
            EXPECT_EQ(driver.in_two_pieces(input, at, room), whole) << at << " " << room;
        }
    }
}

// ---- All pairs

// With and without an ICU build.
class AllPairs : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override
    {
        if (!GetParam()) {
            _locale = std::make_unique<LocaleWithoutIcu>();
            return;
        }
        auto with_icu = std::make_unique<LocaleWithBuiltIcu>();
        if (!with_icu->has_icu()) {
            GTEST_SKIP() << "no ICU was built";
        }
        _locale = std::move(with_icu);
    }

    UTLocale & locale() { return *_locale; }

    template<typename Check> void each_pair(unsigned seed, Check && check)
    {
        _random.seed(seed);
        for (const CharsetInfo & dest : UTLocale::_charset_info) {
            for (const CharsetInfo & src : UTLocale::_charset_info) {
                if (&dest == &src || (GetParam() && !is_icus(dest) && !is_icus(src))) {
                    continue; // with ICU, those that need it are enough
                }
                check(dest, src);
                if (::testing::Test::HasFailure()) {
                    ADD_FAILURE() << src.orv_label() << " to " << dest.orv_label();
                    return;
                }
            }
        }
    }

    // Text for the source, good or bad, that may be longer than the buffer between the stages.
    Bytes input_of(const CharsetInfo & src, size_t length)
    {
        Bytes bytes = u16(_texts.below(2) != 0 ? _texts.spoilt_units(length) : _texts.text(length));
        if (!src.is_UTF16Any()) {
            // What ICU doesn't serve is read as if it were UTF-8.
            const bool is_utf8 = !GetParam() || !src.is_mbcs();
            CharsetConverter conv(&locale(), is_utf8 ? locale().UTF8() : &src, locale().UTF16LE());
            bytes = _texts.spoilt_bytes(ConverterDriver(conv).whole(bytes).bytes);
        }
        return bytes;
    }

    a_cutting random_cutting() { return {_random, size(), size(), GetParam() ? size_t{1} : size_t{0}}; }
    size_t size() { return sizes[_texts.below(std::size(sizes))]; }
    UnicodeTexts & texts() { return _texts; }

private:
    static bool is_icus(const CharsetInfo & charset)
    {
        return charset.is_mbcs() && charset.get_packed_collation() != nullptr && !charset.is_UTF8() &&
               !charset.is_CESU8();
    }

    static constexpr size_t sizes[] = {1, 2, 3, 5, 9, 20, 70, 600};
    std::unique_ptr<UTLocale> _locale;
    std::mt19937_64 _random;
    UnicodeTexts _texts{_random};
};
INSTANTIATE_TEST_SUITE_P(Locales, AllPairs, ::testing::Bool(),
                         [](const auto & info) { return info.param ? "WithIcu" : "WithoutIcu"; });

TEST_P(AllPairs, CuttingInputAndOutputChangesNothing)
{
    each_pair(531, [this](const CharsetInfo & dest, const CharsetInfo & src) {
        CharsetConverter conv(&locale(), &dest, &src);
        ConverterDriver driver(conv);
        for (int i = 0; i < 4; i++) {
            const Bytes input = input_of(src, i == 0 ? 700 : 40);
            conv.stop_at().set(0);
            const a_outcome whole = driver.whole(input);
            EXPECT_EQ(whole.result, ORV_CONV_OK);
            EXPECT_EQ(whole.position, input.size());
            EXPECT_EQ(driver.in_pieces(input, random_cutting()), whole);
        }
    });
}

// A buffer lies between the stages, so the first may be ahead of the second when it stops: what has come out
// by then is the beginning of the same text. When the second stops, all of it is there but what had no room.
bool is_stop_of_a_pivot(const a_outcome & outcome, const a_staged & staged, PivotCharsetConverter & conv)
{
    const Bytes & text = staged.second.bytes;
    if (outcome.bytes.size() > text.size() ||
        !std::equal(outcome.bytes.begin(), outcome.bytes.end(), text.begin())) {
        return false;
    }
    if (outcome.result != ORV_CONV_OK && outcome.result == staged.first.result) {
        return true;
    }
    const size_t held = CharsetConverterInspector::held_output(conv.dest_conv());
    return outcome.result == staged.second.result && outcome.bytes.size() + held == text.size() &&
           (outcome.result != ORV_CONV_OK || held == 0);
}

// Each run has a converter of its own: ICU keeps, over a reset, which substitute a character had asked for
// that it stopped at.
TEST_P(AllPairs, EveryCombinationOfStopsStopsAtTheSameText)
{
    each_pair(532, [this](const CharsetInfo & dest, const CharsetInfo & src) {
        for (unsigned stop_at = 0; stop_at < 8; stop_at++) {
            const Bytes input = input_of(src, 30);
            CharsetConverter conv(&locale(), &dest, &src);
            CharsetConverter cut_conv(&locale(), &dest, &src);
            conv.stop_at().set(stop_at);
            cut_conv.stop_at().set(stop_at);
            const a_outcome whole = ConverterDriver(conv).whole(input);
            a_outcome cut = ConverterDriver(cut_conv).in_pieces(input, random_cutting());
            if (GetParam()) {
                cut.position =
                    whole.position; // ICU has taken more of an ill-formed character that a piece cuts
            }
            auto * const pivot = dynamic_cast<PivotCharsetConverter *>(&conv.conv());
            if (pivot == nullptr) {
                EXPECT_EQ(cut, whole) << hex(input);
                continue;
            }
            const a_staged staged = convert_in_stages(locale(), dest, src, input, stop_at);
            EXPECT_TRUE(is_stop_of_a_pivot(whole, staged, *pivot)) << hex(input);
            auto & cut_pivot = dynamic_cast<PivotCharsetConverter &>(cut_conv.conv());
            EXPECT_TRUE(is_stop_of_a_pivot(cut, staged, cut_pivot)) << hex(input);
            EXPECT_EQ(conv.stop_at().get(), stop_at);
        }
    });
}

TEST_P(AllPairs, ResetForgetsWhatIsHeldAndMet)
{
    each_pair(533, [this](const CharsetInfo & dest, const CharsetInfo & src) {
        CharsetConverter conv(&locale(), &dest, &src);
        ConverterDriver driver(conv);
        const Bytes input = input_of(src, 20);
        const a_outcome fresh = driver.whole(input);
        const Bytes abandoned = input_of(src, 20);
        PivotBuffer pivot;
        GuardedArea area(texts().below(30), true, 0x5A);
        void * at = area.begin();
        const void * from = abandoned.data();
        (void)conv.ContinueConvert(pivot, &at, area.end(), &from,
                                   abandoned.data() + texts().below(abandoned.size() + 1), FALSE);
        EXPECT_EQ(driver.whole(input), fresh);
    });
}

} // namespace
