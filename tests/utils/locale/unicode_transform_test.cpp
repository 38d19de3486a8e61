#include "utils/locale/csconv_unicode.h"

#include <cstdint>
#include <random>

#include <gtest/gtest.h>

#include "reference/unicode_model.h"
#include "utils/locale/converter_driver.h"
#include "utils/locale/unicode_texts.h"

namespace {

constexpr unsigned ILLEGAL = CharsetConversionFlags::ILLEGAL;
constexpr unsigned TRUNCATED = CharsetConversionFlags::TRUNCATED;

UTLocale & locale()
{
    static UTLocale the_locale;
    return the_locale;
}

const CharsetInfo * utf8()
{
    return locale().UTF8();
}
const CharsetInfo * cesu8()
{
    return locale().CESU8();
}
const CharsetInfo * hub()
{
    return locale().UTF16LE();
}
const CharsetInfo * utf16be()
{
    return locale().UTF16BE();
}

// A pair with its model.
struct a_pair {
    const char * name;
    const CharsetInfo * dest;
    const CharsetInfo * src;
    a_model_pair model;
    Bytes substitute; // for a truncated character

    [[nodiscard]] bool decodes() const { return model == MODEL_UTF8_UTF16 || model == MODEL_CESU8_UTF16; }
};

const std::vector<a_pair> & pairs()
{
    static const std::vector<a_pair> all = {
        {"UTF-8 to UTF-16", hub(), utf8(), MODEL_UTF8_UTF16, {0xFD, 0xFF}},
        {"UTF-16 to UTF-8", utf8(), hub(), MODEL_UTF16_UTF8, {0xEF, 0xBF, 0xBD}},
        {"CESU-8 to UTF-16", hub(), cesu8(), MODEL_CESU8_UTF16, {0xFD, 0xFF}},
        {"UTF-16 to CESU-8", cesu8(), hub(), MODEL_UTF16_CESU8, {0xEF, 0xBF, 0xBD}},
        {"UTF-16LE to UTF-16BE", utf16be(), hub(), MODEL_SWAP, {0xFF, 0xFD}},
        {"UTF-16BE to UTF-16LE", hub(), utf16be(), MODEL_SWAP, {0xFD, 0xFF}},
    };
    return all;
}

// Text for a pair's source, good or bad.
Bytes random_input(const a_pair & pair, UnicodeTexts & texts, size_t length)
{
    const bool is_bad = texts.below(3) != 0;
    if (!pair.decodes()) {
        Bytes bytes = u16(is_bad ? texts.spoilt_units(length) : texts.text(length));
        if (is_bad && texts.below(2) != 0) {
            bytes.push_back(static_cast<a_byte>(texts.below(256)));
        }
        return bytes;
    }
    const a_model_pair back = pair.model == MODEL_UTF8_UTF16 ? MODEL_UTF16_UTF8 : MODEL_UTF16_CESU8;
    const Bytes good = UnicodeModel(back, {}).convert(u16(texts.text(length)), 0).bytes;
    return is_bad ? texts.spoilt_bytes(good) : good;
}

a_outcome expected(const a_pair & pair, const Bytes & input, unsigned stop_at)
{
    const a_model_result model = UnicodeModel(pair.model, pair.substitute).convert(input, stop_at);
    return {model.bytes, model.result, model.flags, model.position};
}

// ---- Single cases

struct a_case {
    a_model_pair pair;
    Bytes input;
    Bytes output;
    unsigned flags;
};

TEST(UnicodeTransform, LenientReadingsAndSubstitutesAreExact)
{
    const a_case cases[] = {
        {MODEL_UTF8_UTF16, {0xC3, 0xA9, 0xE2, 0x82, 0xAC}, u16({0xE9, 0x20AC}), 0},
        {MODEL_UTF8_UTF16, {0xF0, 0x9F, 0x98, 0x80}, u16({0xD83D, 0xDE00}), 0},
        {MODEL_UTF8_UTF16, {0xF4, 0x8F, 0xBF, 0xBF}, u16({0xDBFF, 0xDFFF}), 0},
        {MODEL_UTF8_UTF16, {0xF4, 0x90, 0x80, 0x80}, u16({0xFFFD}), ILLEGAL},
        {MODEL_UTF8_UTF16, {0xF4, 0xBF, 0xBF, 0xBF, 'x'}, u16({0xFFFD, 'x'}), ILLEGAL},
        {MODEL_UTF8_UTF16, {0xC0, 0xC1, 0x80, 0xBF, 0xF5, 0xFF}, u16({0, 1, 0x80, 0xBF, 0xF5, 0xFF}), 0},
        {MODEL_UTF8_UTF16, {0xE0, 0x80, 0x80}, u16({0}), 0},
        {MODEL_UTF8_UTF16, {0xF0, 0x80, 0x80, 0xC1}, u16({1}), 0},
        {MODEL_UTF8_UTF16, {0xED, 0xA0, 0x80}, u16({0xD800}), 0},
        {MODEL_UTF8_UTF16, {0xC3, 0x41}, u16({0xC1}), 0},
        {MODEL_UTF8_UTF16, {'a', 0xE2, 0x82}, u16({'a', 0xFFFD}), TRUNCATED},
        {MODEL_UTF8_UTF16, {0xF0, 'a', 'b'}, u16({0xFFFD}), TRUNCATED}, // the rest goes with it
        {MODEL_UTF16_UTF8, u16({0xE9, 0x20AC}), {0xC3, 0xA9, 0xE2, 0x82, 0xAC}, 0},
        {MODEL_UTF16_UTF8, u16({0xD83D, 0xDE00}), {0xF0, 0x9F, 0x98, 0x80}, 0},
        {MODEL_UTF16_UTF8, u16({0xD83D, 'A'}), {0xEF, 0xBF, 0xBD, 'A'}, ILLEGAL},
        {MODEL_UTF16_UTF8, u16({0xDE00}), {0xEF, 0xBF, 0xBD}, ILLEGAL},
        {MODEL_UTF16_UTF8, u16({0xD83D}), {0xEF, 0xBF, 0xBD}, TRUNCATED},
        {MODEL_UTF16_UTF8, {0x3D, 0xD8, 'b'}, {0xEF, 0xBF, 0xBD}, TRUNCATED}, // one for both
        {MODEL_CESU8_UTF16, {0xF0, 0x9F, 0xF4, 0xFF}, u16({0xF0, 0x9F, 0xF4, 0xFF}), 0},
        {MODEL_CESU8_UTF16, {0xEF, 0xBF}, u16({0xFFFD}), TRUNCATED},
        {MODEL_UTF16_CESU8, u16({0xD83D, 0xDE00}), {0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80}, 0},
        {MODEL_UTF16_CESU8, u16({0xDE00}), {0xED, 0xB8, 0x80}, 0},
    };
    for (const a_case & c : cases) {
        const a_pair & pair = pairs()[c.pair];
        SCOPED_TRACE(std::string(pair.name) + ": " + hex(c.input));
        CharsetConverter conv(&locale(), pair.dest, pair.src);
        EXPECT_EQ(ConverterDriver(conv).whole(c.input),
                  (a_outcome{c.output, ORV_CONV_OK, c.flags, c.input.size()}));
    }
}

// Behind the bad character, decoding; on it, encoding. The model has the rest of them.
TEST(UnicodeTransform, CursorsStandAtTheCharacterWhereAStopSaysSo)
{
    const struct {
        a_model_pair pair;
        Bytes input;
        a_outcome outcome;
    } stops[] = {
        {MODEL_UTF8_UTF16, {0xF4, 0x90, 0x80, 0x80, 'b'}, {{}, ORV_CONV_ILLEGAL_CHARACTER, ILLEGAL, 4}},
        {MODEL_UTF8_UTF16, {'a', 0xE2}, {{'a', 0}, ORV_CONV_TRUNCATED_CHARACTER, TRUNCATED, 1}},
        {MODEL_UTF16_UTF8, u16({'a', 0xDE00, 'b'}), {{'a'}, ORV_CONV_ILLEGAL_CHARACTER, ILLEGAL, 2}},
        {MODEL_UTF16_UTF8, u16({'a', 0xD83D}), {{'a'}, ORV_CONV_TRUNCATED_CHARACTER, TRUNCATED, 2}},
        {MODEL_SWAP, {'a', 0, 'b'}, {{0, 'a'}, ORV_CONV_TRUNCATED_CHARACTER, TRUNCATED, 2}},
    };
    for (const auto & s : stops) {
        const a_pair & pair = pairs()[s.pair];
        SCOPED_TRACE(std::string(pair.name) + ": " + hex(s.input));
        CharsetConverter conv(&locale(), pair.dest, pair.src);
        conv.stop_at().set(ILLEGAL | TRUNCATED);
        EXPECT_EQ(ConverterDriver(conv).whole(s.input), s.outcome);
    }
}

TEST(UnicodeTransform, SwapIsForTheTwoByteOrdersAlone)
{
    for (const CharsetInfo & dest : UTLocale::_charset_info) {
        for (const CharsetInfo & src : UTLocale::_charset_info) {
            const bool both = (&dest == hub() && &src == utf16be()) || (&dest == utf16be() && &src == hub());
            EXPECT_EQ(UTF16SwapEndianCharsetConverter(&locale(), &dest, &src).is_supported() != FALSE, both);
        }
    }
}

// ---- Against the model

TEST(UnicodeTransform, EveryPairOfBytesReadsAsTheModelSays)
{
    for (const a_pair & pair : pairs()) {
        CharsetConverter conv(&locale(), pair.dest, pair.src);
        ConverterDriver driver(conv);
        for (unsigned value = 0; value < 0x10000; value++) {
            const Bytes input = {static_cast<a_byte>(value >> 8), static_cast<a_byte>(value & 0xFF)};
            ASSERT_EQ(driver.whole(input), expected(pair, input, 0)) << pair.name << " " << hex(input);
        }
    }
}

// The vectors' borders move over every lead byte.
TEST(UnicodeTransform, EveryLeadByteAtEveryPlaceReadsAsTheModelSays)
{
    for (const a_pair & pair : pairs()) {
        CharsetConverter conv(&locale(), pair.dest, pair.src);
        ConverterDriver driver(conv);
        for (unsigned lead = 0x80; lead < 0x100; lead++) {
            for (size_t at = 0; at < 36; at++) {
                Bytes input(80, 'x');
                input[at] = static_cast<a_byte>(lead);
                input[at + 1] = static_cast<a_byte>(0x80 | at);
                ASSERT_EQ(driver.whole(input), expected(pair, input, 0)) << pair.name << " " << hex(input);
            }
        }
    }
}

TEST(UnicodeTransform, WholeCallsFollowTheModelWithEveryStop)
{
    std::mt19937_64 random(501);
    UnicodeTexts texts(random);
    for (const a_pair & pair : pairs()) {
        CharsetConverter conv(&locale(), pair.dest, pair.src);
        ConverterDriver driver(conv);
        for (int i = 0; i < 3000; i++) {
            const Bytes input = random_input(pair, texts, i % 100 == 0 ? 1500 : texts.below(120));
            const unsigned stop_at = i % 8;
            conv.stop_at().set(stop_at);
            ASSERT_EQ(driver.whole(input), expected(pair, input, stop_at))
                << pair.name << " stops " << stop_at << " input " << hex(input);
        }
    }
}

} // namespace
