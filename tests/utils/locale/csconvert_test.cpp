#include "utils/locale/csconvert.h"

#include <cstring>
#include <typeinfo>

#include <gtest/gtest.h>

#include "support/catalogue.h"
#include "support/locale_inspector.h"
#include "utils/locale/converter_driver.h"

namespace {

// Where no ICU serves, the last resorts have to.
UTLocale & locale()
{
    static LocaleWithoutIcu the_locale;
    return the_locale;
}

const a_byte * text(const char * t)
{
    return reinterpret_cast<const a_byte *>(t);
}

// ---- The choice

TEST(CharsetConverter, ADirectConverterIsChosenWhereThereIsOneElseALastResort)
{
    const struct {
        const char * dest;
        const char * src;
        const std::type_info & type;
        bool is_supported = true;
    } rows[] = {
        {"UTF-8", "UTF-8", typeid(IdentityCharsetConverter)},
        {"UTF-16BE", "UTF-16BE", typeid(IdentityCharsetConverter)},
        {"UTF-16LE", "UTF-8", typeid(UTF8ToUTF16CharsetConverter)},
        {"UTF-16LE", "CESU-8", typeid(CESU8ToUTF16CharsetConverter)},
        {"UTF-16LE", "UTF-16BE", typeid(UTF16SwapEndianCharsetConverter)},
        {"UTF-16BE", "UTF-16LE", typeid(UTF16SwapEndianCharsetConverter)},
        {"UTF-8", "UTF-16LE", typeid(UTF16ToUTF8CharsetConverter)},
        {"CESU-8", "UTF-16LE", typeid(UTF16ToCESU8CharsetConverter)},
        {"UTF-16LE", "EUC-JP", typeid(ToUTF16LastResortCharsetConverter), false},
        {"Shift_JIS", "UTF-16LE", typeid(FromUTF16LastResortCharsetConverter), false},
        {"EUC-JP", "UTF-8", typeid(PivotCharsetConverter), false},
    };
    CharsetConverter conv(&locale(), nullptr, nullptr); // one after the other in the same place
    for (const auto & row : rows) {
        SCOPED_TRACE(std::string(row.src) + " to " + row.dest);
        for (int time = 0; time < 2; time++) { // the second one finds it made
            EXPECT_EQ(conv.SetEncodings(charset(row.dest), charset(row.src)) != FALSE, row.is_supported);
        }
        EXPECT_EQ(conv.is_supported() != FALSE, row.is_supported);
        const CharsetConverterBase & chosen = conv.conv();
        EXPECT_EQ(typeid(chosen), row.type);
        EXPECT_EQ(conv.DestCharset(), charset(row.dest));
        EXPECT_EQ(conv.SrcCharset(), charset(row.src));
        EXPECT_EQ(conv.is_identity() != FALSE, row.type == typeid(IdentityCharsetConverter));
        EXPECT_NE(conv.is_identity(), conv.conversion_needed());
    }
    conv.close();
    conv.close();
    EXPECT_FALSE(conv.is_supported());
    EXPECT_TRUE(conv.SetEncodings(locale().UTF8(), locale().UTF16LE()));
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

} // namespace
