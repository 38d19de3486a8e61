#include "utils/locale/csconvert.h"

#include <cstring>
#include <typeinfo>

#include <gtest/gtest.h>

#include "support/locale_inspector.h"
#include "utils/locale/converter_driver.h"

namespace {

// Where no ICU serves, the last resorts have to.
UTLocale & locale()
{
    static LocaleWithoutIcu the_locale;
    return the_locale;
}

const CharsetInfo * charset(const char * label)
{
    const CharsetInfo * const row = UTLocale::GetCharsetInfoFromLabel(label, CS_STD_ANY);
    EXPECT_NE(row, nullptr) << label;
    return row;
}

const a_byte * text(const char * t)
{
    return reinterpret_cast<const a_byte *>(t);
}

// ---- The choice

TEST(CharsetConverter, ADirectConverterIsChosenWhereThereIsOne)
{
    const struct {
        const char * dest;
        const char * src;
        const std::type_info & type;
    } rows[] = {
        {"UTF-8", "UTF-8", typeid(IdentityCharsetConverter)},
        {"UTF-16BE", "UTF-16BE", typeid(IdentityCharsetConverter)},
        {"UTF-16LE", "UTF-8", typeid(UTF8ToUTF16CharsetConverter)},
        {"UTF-16LE", "CESU-8", typeid(CESU8ToUTF16CharsetConverter)},
        {"UTF-16LE", "UTF-16BE", typeid(UTF16SwapEndianCharsetConverter)},
        {"UTF-16BE", "UTF-16LE", typeid(UTF16SwapEndianCharsetConverter)},
        {"UTF-8", "UTF-16LE", typeid(UTF16ToUTF8CharsetConverter)},
        {"CESU-8", "UTF-16LE", typeid(UTF16ToCESU8CharsetConverter)},
    };
    CharsetConverter conv(&locale(), nullptr, nullptr); // one after the other in the same place
    for (const auto & row : rows) {
        SCOPED_TRACE(std::string(row.src) + " to " + row.dest);
        EXPECT_TRUE(conv.SetEncodings(charset(row.dest), charset(row.src)));
        EXPECT_TRUE(conv.is_supported());
        const CharsetConverterBase & chosen = conv.conv();
        EXPECT_EQ(typeid(chosen), row.type);
        EXPECT_EQ(conv.DestCharset(), charset(row.dest));
        EXPECT_EQ(conv.SrcCharset(), charset(row.src));
        EXPECT_EQ(conv.is_identity() != FALSE, row.type == typeid(IdentityCharsetConverter));
        EXPECT_NE(conv.is_identity(), conv.conversion_needed());
    }
}

TEST(CharsetConverter, WhatNothingServesGetsALastResort)
{
    const struct {
        const char * dest;
        const char * src;
        const std::type_info & type;
    } rows[] = {
        {"UTF-16LE", "EUC-JP", typeid(ToUTF16LastResortCharsetConverter)},
        {"Shift_JIS", "UTF-16LE", typeid(FromUTF16LastResortCharsetConverter)},
        {"EUC-JP", "UTF-8", typeid(PivotCharsetConverter)},
    };
    for (const auto & row : rows) {
        SCOPED_TRACE(std::string(row.src) + " to " + row.dest);
        CharsetConverter conv(&locale(), charset(row.dest), charset(row.src));
        EXPECT_FALSE(conv.is_supported());
        EXPECT_FALSE(conv.SetEncodings(charset(row.dest), charset(row.src))); // nor the second time
        const CharsetConverterBase & chosen = conv.conv();
        EXPECT_EQ(typeid(chosen), row.type);
        EXPECT_EQ(conv.DestCharset(), charset(row.dest));
    }
}

TEST(CharsetConverter, NoCharacterSetMeansCopying)
{
    const CharsetInfo * const utf8 = locale().UTF8();
    for (const auto & [dest, src] : {std::pair<const CharsetInfo *, const CharsetInfo *>{nullptr, nullptr},
                                     {utf8, nullptr},
                                     {nullptr, utf8}}) {
        CharsetConverter conv(&locale(), utf8, locale().UTF16LE());
        EXPECT_FALSE(conv.SetEncodings(dest, src));
        EXPECT_FALSE(conv.is_supported());
        EXPECT_TRUE(conv.is_identity());
        EXPECT_EQ(conv.DestCharset(), locale().AsciiCharset());
        a_byte copy[4];
        size_t written = 0;
        EXPECT_EQ(conv.Convert(copy, sizeof(copy), &written, text("\xFF\x80z"), 3), ORV_CONV_OK);
        EXPECT_EQ(written, 3u);
        EXPECT_EQ(std::memcmp(copy, "\xFF\x80z", 3), 0);
        EXPECT_EQ(conv.Convert(copy, 2, &written, text("abc"), 3), ORV_CONV_DST_BUFFER_OVERRUN);
        EXPECT_EQ(written, 2u);
    }
}

TEST(CharsetConverter, TheSamePairAgainKeepsTheConverterWithItsFlags)
{
    CharsetConverter conv(&locale(), locale().UTF8(), locale().UTF16LE());
    a_byte out[8];
    size_t written = 0;
    (void)conv.Convert(out, sizeof(out), &written, text("\x00\xDC"), 2);
    conv.stop_at().set_truncated_character();
    EXPECT_TRUE(conv.SetEncodings(locale().UTF8(), locale().UTF16LE()));
    EXPECT_TRUE(conv.encountered().illegal_character());
    EXPECT_TRUE(conv.stop_at().truncated_character());
    EXPECT_TRUE(conv.SetEncodings(locale().CESU8(), locale().UTF16LE()));
    EXPECT_EQ(conv.encountered().get(), 0u);
    EXPECT_EQ(conv.stop_at().get(), 0u);
}

TEST(CharsetConverter, AClosedConverterTakesANewPairAndASecondClose)
{
    CharsetConverter conv(&locale(), locale().UTF8(), locale().UTF16LE());
    conv.close();
    EXPECT_FALSE(conv.is_supported());
    conv.close();
    EXPECT_TRUE(conv.SetEncodings(locale().UTF8(), locale().UTF16LE()));
    EXPECT_TRUE(conv.is_supported());
}

TEST(CharsetConverter, FactoriesLeaveNothingWithoutALastResort)
{
    NonpivotCharsetConverterPlaceholder area;
    const CharsetInfo * const hub = locale().UTF16LE();
    const CharsetInfo * const eucjp = charset("EUC-JP");
    auto * const conv = reinterpret_cast<CharsetConverterBase *>(&area);
    EXPECT_FALSE(CharsetConverter::create_to_utf16_converter(&locale(), &area, hub, eucjp, FALSE));
    EXPECT_FALSE(CharsetConverter::create_from_utf16_converter(&locale(), &area, eucjp, hub, FALSE));
    ASSERT_TRUE(CharsetConverter::create_to_utf16_converter(&locale(), &area, hub, eucjp, TRUE));
    EXPECT_FALSE(conv->is_supported());
    conv->~CharsetConverterBase();
    ASSERT_TRUE(CharsetConverter::create_from_utf16_converter(&locale(), &area, eucjp, hub, TRUE));
    EXPECT_FALSE(conv->is_supported());
    conv->~CharsetConverterBase();
    ASSERT_TRUE(CharsetConverter::create_to_utf16_converter(&locale(), &area, hub, locale().UTF8(), TRUE));
    EXPECT_TRUE(conv->is_supported());
    conv->~CharsetConverterBase();
}

// ---- Whole conversions

TEST(CharsetConverter, AnEmptyInputIsNoFailure)
{
    for (const CharsetInfo * dest :
         {locale().UTF8(), locale().UTF16LE(), locale().UTF16BE(), locale().CESU8()}) {
        CharsetConverter conv(&locale(), dest, locale().UTF16LE());
        size_t written = 7;
        EXPECT_EQ(conv.Convert(nullptr, 0, &written, nullptr, 0), ORV_CONV_OK);
        EXPECT_EQ(written, 0u);
    }
}

struct a_terminated {
    const char * dest;
    const char * src;
    const char * input;
    size_t input_length;
    size_t destlen;
    ORV_CONV_RET result;
    size_t written; // 99: untouched
    const char * output;
    size_t output_length; // with the terminator
};

TEST(CharsetConverter, TheTerminatorFitsInTheDestination)
{
    const a_terminated rows[] = {
        {"UTF-16LE", "UTF-8", "ab", 2, 0, ORV_CONV_DST_BUFFER_OVERRUN, 99, "", 0},
        {"UTF-16LE", "UTF-8", "ab", 2, 1, ORV_CONV_DST_BUFFER_OVERRUN, 99, "", 0},
        {"UTF-16LE", "UTF-8", "ab", 2, 2, ORV_CONV_DST_BUFFER_OVERRUN, 0, "\0\0", 2},
        {"UTF-16LE", "UTF-8", "", 0, 2, ORV_CONV_OK, 0, "\0\0", 2},
        {"UTF-16LE", "UTF-8", "ab", 2, 5, ORV_CONV_DST_BUFFER_OVERRUN, 3, "a\0b\0\0", 5},
        {"UTF-16LE", "UTF-8", "ab", 2, 6, ORV_CONV_OK, 4, "a\0b\0\0\0", 6},
        {"UTF-8", "UTF-16LE", "\xAC\x20", 2, 0, ORV_CONV_DST_BUFFER_OVERRUN, 99, "", 0},
        {"UTF-8", "UTF-16LE", "\xAC\x20", 2, 3, ORV_CONV_DST_BUFFER_OVERRUN, 2, "\xE2\x82\0", 3},
        {"UTF-8", "UTF-16LE", "\xAC\x20", 2, 4, ORV_CONV_OK, 3, "\xE2\x82\xAC\0", 4},
        {"UTF-8", "UTF-8", "ab", 2, 2, ORV_CONV_DST_BUFFER_OVERRUN, 1, "a\0", 2},
    };
    for (const a_terminated & row : rows) {
        SCOPED_TRACE(std::string(row.dest) + " of " + std::to_string(row.destlen));
        CharsetConverter conv(&locale(), charset(row.dest), charset(row.src));
        GuardedArea area(row.destlen, false, 0x77);
        size_t written = 99;
        EXPECT_EQ(
            conv.ConvertNullTerm(area.begin(), row.destlen, &written, text(row.input), row.input_length),
            row.result);
        EXPECT_EQ(written, row.written);
        EXPECT_EQ(std::memcmp(area.begin(), row.output, row.output_length), 0);
        EXPECT_TRUE(area.is_intact());
    }
    CharsetConverter conv(&locale(), locale().UTF16LE(), locale().UTF8());
    a_byte out[6];
    size_t written = 0;
    EXPECT_EQ(conv.ConvertNullTerm(out, sizeof(out), &written, text("ab")), ORV_CONV_OK);
    EXPECT_EQ(written, 4u);
}

// ---- Holding over, shown at converters that answer what a test tells them to

// Takes and makes what its script says, whatever the text.
class ScriptedConverter final : public ToUTF16CharsetConverterBase {
public:
    struct a_step {
        size_t takes;
        size_t makes;
        ORV_CONV_RET result;
    };
    ScriptedConverter(std::vector<a_step> script)
        : ToUTF16CharsetConverterBase(&locale(), locale().UTF16LE(), locale().UTF8()),
          _script(std::move(script))
    {
    }
    void Reset() override { ToUTF16CharsetConverterBase::Reset(); }
    a_bool support_reporting() const override { return TRUE; }
    void close() override {}
    ORV_CONV_RET to_utf16_aligned(a_byte ** p_dest, const a_byte * dest_end, const a_byte ** p_src,
                                  const a_byte * src_end, a_bool finish) override
    {
        _passes.push_back({static_cast<size_t>(src_end - *p_src), finish});
        const a_step step = _next < _script.size() ? _script[_next] : a_step{0, 0, ORV_CONV_OK};
        _next++;
        EXPECT_LE(step.takes, static_cast<size_t>(src_end - *p_src));
        EXPECT_LE(step.makes, static_cast<size_t>(dest_end - *p_dest));
        EXPECT_TRUE(is_utf16_aligned(*p_dest) && is_utf16_aligned(dest_end));
        std::memset(*p_dest, 'm', step.makes);
        *p_src += step.takes;
        *p_dest += step.makes;
        return step.result;
    }
    [[nodiscard]] size_t calls() const { return _next; }

    // What the calls were given.
    struct a_given {
        size_t length;
        a_bool finish;
        bool operator==(const a_given &) const = default;
    };
    [[nodiscard]] const std::vector<a_given> & passes() const { return _passes; }

private:
    std::vector<a_step> _script;
    std::vector<a_given> _passes;
    size_t _next = 0;
};

struct a_scripted_run {
    std::vector<ScriptedConverter::a_step> script;
    size_t room;
    ORV_CONV_RET result;
    size_t taken;
    size_t written;
    unsigned flags;
};

TEST(RestartableConversion, ResultsOfAConverterReachTheCaller)
{
    const a_scripted_run runs[] = {
        // A failure that moves nothing isn't a truncated character.
        {{{0, 0, ORV_CONV_FATAL_ERROR}}, 40, ORV_CONV_FATAL_ERROR, 0, 0, 0},
        {{{0, 0, ORV_CONV_ILLEGAL_CHARACTER}}, 40, ORV_CONV_ILLEGAL_CHARACTER, 0, 0, 0},
        // Nor is one at the very end no failure.
        {{{10, 4, ORV_CONV_ILLEGAL_CHARACTER}}, 40, ORV_CONV_ILLEGAL_CHARACTER, 10, 4, 0},
        // An overrun of the work area goes on while there is room.
        {{{4, 20, ORV_CONV_DST_BUFFER_OVERRUN}, {6, 12, ORV_CONV_OK}}, 40, ORV_CONV_OK, 10, 32, 0},
        {{{4, 20, ORV_CONV_DST_BUFFER_OVERRUN}}, 20, ORV_CONV_DST_BUFFER_OVERRUN, 4, 20, 0},
        // With little room behind the output a converter may still hold some: it is asked once more.
        {{{10, 38, ORV_CONV_OK}, {0, 2, ORV_CONV_OK}}, 40, ORV_CONV_OK, 10, 40, 0},
        {{{10, 36, ORV_CONV_OK}, {0, 4, ORV_CONV_OK}}, 40, ORV_CONV_OK, 10, 40, 0},
        {{{10, 34, ORV_CONV_OK}, {0, 6, ORV_CONV_OK}}, 40, ORV_CONV_OK, 10, 34, 0}, // not asked
        // What is left at the end of all input is a truncated character.
        {{{8, 8, ORV_CONV_OK}}, 40, ORV_CONV_OK, 10, 10, CharsetConversionFlags::TRUNCATED},
    };
    for (const a_scripted_run & run : runs) {
        SCOPED_TRACE(&run - runs);
        ScriptedConverter conv(run.script);
        alignas(2) a_byte area[40];
        PivotBuffer pivot;
        void * dest = area;
        const a_byte input[10] = {};
        const void * src = input;
        EXPECT_EQ(conv.ContinueConvert(pivot, &dest, area + run.room, &src, input + sizeof(input), TRUE),
                  run.result);
        EXPECT_EQ(static_cast<const a_byte *>(src) - input, static_cast<ptrdiff_t>(run.taken));
        EXPECT_EQ(static_cast<a_byte *>(dest) - area, static_cast<ptrdiff_t>(run.written));
        EXPECT_EQ(conv.encountered().get(), run.flags);
    }
}

TEST(RestartableConversion, ACallWithoutRoomOrInputAsksNothing)
{
    ScriptedConverter conv({});
    PivotBuffer pivot;
    a_byte area[8];
    void * dest = area;
    const void * src = area;
    EXPECT_EQ(conv.ContinueConvert(pivot, &dest, area + sizeof(area), &src, src, FALSE), ORV_CONV_OK);
    EXPECT_EQ(conv.ContinueConvert(pivot, &dest, area, &src, area + 1, TRUE), ORV_CONV_DST_BUFFER_OVERRUN);
    EXPECT_EQ(conv.calls(), 0u);
}

// A converter that keeps a cut character to itself is told of the end even where nothing fits any more.
TEST(RestartableConversion, TheEndOfAllInputIsToldWithoutRoom)
{
    ScriptedConverter conv({{0, 2, ORV_CONV_OK}});
    PivotBuffer pivot;
    a_byte area[8];
    void * dest = area;
    const void * src = area;
    EXPECT_EQ(conv.ContinueConvert(pivot, &dest, area, &src, src, TRUE), ORV_CONV_DST_BUFFER_OVERRUN);
    EXPECT_EQ(conv.passes(), (std::vector<ScriptedConverter::a_given>{{0, TRUE}}));
    EXPECT_EQ(conv.ContinueConvert(pivot, &dest, area + sizeof(area), &src, src, TRUE), ORV_CONV_OK);
    EXPECT_EQ(static_cast<a_byte *>(dest) - area, 2);
}

TEST(RestartableConversion, TheEndIsToldOnlyWithTheLastOfTheInput)
{
    // What is held goes through a work area with as much of the input as fits, which isn't the end of it.
    ScriptedConverter conv({{0, 0, ORV_CONV_OK}, {512, 20, ORV_CONV_OK}, {91, 20, ORV_CONV_OK}});
    PivotBuffer pivot;
    alignas(2) a_byte area[200];
    void * dest = area;
    const a_byte input[600] = {};
    const void * src = input;
    EXPECT_EQ(conv.ContinueConvert(pivot, &dest, area + sizeof(area), &src, input + 3, FALSE), ORV_CONV_OK);
    src = input;
    EXPECT_EQ(conv.ContinueConvert(pivot, &dest, area + sizeof(area), &src, input + sizeof(input), TRUE),
              ORV_CONV_OK);
    EXPECT_EQ(src, input + sizeof(input));
    EXPECT_EQ(conv.passes(), (std::vector<ScriptedConverter::a_given>{{3, FALSE}, {512, FALSE}, {91, TRUE}}));
}

} // namespace
