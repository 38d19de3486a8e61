#include "utils/locale/csconv_icu.h"

#include <span>

#include <gtest/gtest.h>

#include "support/catalogue.h"
#include "utils/locale/converter_driver.h"
#include "utils/locale/fake_icu.h"

namespace {

using namespace icu_abi;

constexpr unsigned ILLEGAL = CharsetConversionFlags::ILLEGAL;
constexpr unsigned UNMAPPABLE = CharsetConversionFlags::UNMAPPABLE;

TEST(IcuConverter, ErrorsOfIcuAreResultsAndWarningsAreNone)
{
    const struct {
        int error;
        ORV_CONV_RET result;
    } rows[] = {{0, ORV_CONV_OK},
                {-127, ORV_CONV_OK},
                {10, ORV_CONV_UNMAPPABLE_CHARACTER},
                {11, ORV_CONV_TRUNCATED_CHARACTER},
                {12, ORV_CONV_ILLEGAL_CHARACTER},
                {15, ORV_CONV_DST_BUFFER_OVERRUN},
                {1, ORV_CONV_FATAL_ERROR},
                {2, ORV_CONV_FATAL_ERROR}};
    for (const auto & row : rows) {
        EXPECT_EQ(UErrorCode_to_ORV_CONV_RET(static_cast<UErrorCode>(row.error)), row.result) << row.error;
    }
}

TEST(IcuConverter, AWarningOnOpeningMeansNotSupportedAndEveryHandleIsClosedOnce)
{
    LocaleWithFakeIcu locale;
    const CharsetInfo * const hub = locale.UTF16LE();
    const struct {
        const char * label;
        bool is_supported;
        const char * opening;
        const char * closing;
    } rows[] = {
        {"EUC-JP", true, "ibm-33722_P12A-1999 fallback=1 ", "close "},
        {"IBM850", false, "ibm-850_P100-1995 fallback=1 ", "close "},
        {"IBM437", false, "ibm-437_P100-1995 ", ""},
    };
    for (const auto & row : rows) {
        SCOPED_TRACE(row.label);
        {
            ToUTF16ICUCharsetConverter to(&locale, hub, charset(row.label));
            EXPECT_EQ(to.is_supported() != FALSE, row.is_supported);
            EXPECT_TRUE(to.support_reporting());
        }
        EXPECT_EQ(locale.take_log(), std::string(row.opening) + row.closing);
        FromUTF16ICUCharsetConverter from(&locale, charset(row.label), hub);
        EXPECT_EQ(from.is_supported() != FALSE, row.is_supported);
        EXPECT_EQ(locale.take_log(), row.opening);
        from.close();
        from.close();
        EXPECT_FALSE(from.is_supported());
        from.Reset(); // asks nothing of ICU any more
        EXPECT_EQ(locale.take_log(), row.closing);
    }
}

struct a_bad_character {
    const char * dest;
    const char * src;
    Bytes good; // of the source
    Bytes bad;
    bool is_unmappable;
    Bytes converted; // of the destination
    Bytes substitute;
};

const a_bad_character BAD_UNITS[] = {
    {"windows-1252", "UTF-16LE", {'a', 0}, {0x00, 0x4E}, true, {'a'}, {0x1A}},
    {"windows-1252", "UTF-16LE", {'a', 0}, {0x00, 0xDC}, false, {'a'}, {0x1A}},
};
const a_bad_character BAD_BYTES_OF_THE_FAKE[] = {
    {"UTF-16LE", "EUC-JP", {'a'}, {0xF0}, true, {'a', 0}, {0xFD, 0xFF}},
    {"UTF-16LE", "EUC-JP", {'a'}, {0xF1}, false, {'a', 0}, {0xFD, 0xFF}},
};

void append(Bytes & to, const Bytes & more)
{
    to.insert(to.end(), more.begin(), more.end());
}

// The bad character between two good ones, with all stops. A stop for illegal characters alone stops at
// unmappable ones, too, since these count as both unless their own stop comes first.
void check_all_stops(UTLocale & locale, std::span<const a_bad_character> characters)
{
    for (const a_bad_character & c : characters) {
        Bytes input = c.good;
        append(input, c.bad);
        append(input, c.good);
        for (unsigned stop_at = 0; stop_at < 8; stop_at++) {
            SCOPED_TRACE(std::string(c.src) + hex(c.bad) + "stop at " + std::to_string(stop_at));
            CharsetConverter conv(&locale, charset(c.dest), charset(c.src));
            ASSERT_TRUE(conv.is_supported());
            conv.stop_at().set(stop_at);
            a_outcome expected = {c.converted, ORV_CONV_OK, ILLEGAL, input.size()};
            if (c.is_unmappable) {
                expected.flags = (stop_at & UNMAPPABLE) != 0 ? UNMAPPABLE : UNMAPPABLE | ILLEGAL;
            }
            if ((stop_at & expected.flags) != 0) {
                expected.result =
                    c.is_unmappable ? ORV_CONV_UNMAPPABLE_CHARACTER : ORV_CONV_ILLEGAL_CHARACTER;
                expected.position = c.good.size() + c.bad.size();
            } else {
                append(expected.bytes, c.substitute);
                append(expected.bytes, c.converted);
            }
            EXPECT_EQ(ConverterDriver(conv).whole(input), expected);
        }
    }
}

TEST(IcuConverter, FlagsAndSubstitutesAreRightInEveryCombinationOfStops)
{
    LocaleWithFakeIcu fake;
    check_all_stops(fake, BAD_UNITS);
    check_all_stops(fake, BAD_BYTES_OF_THE_FAKE);
    LocaleWithBuiltIcu built;
    if (!built.has_icu()) {
        return;
    }
    check_all_stops(built, BAD_UNITS);
    CharsetConverter conv(&built, built.UTF16LE(), charset("EUC-JP"));
    EXPECT_EQ(ConverterDriver(conv).whole(Bytes{0xC6, 0xFC, 0xCB}),
              (a_outcome{{0xE5, 0x65, 0x1A, 0x00}, ORV_CONV_OK, ILLEGAL, 3}))
        << "a character that the end cuts is ICU's to substitute, and a single byte gets U+001A there";
}

// Pending output fills the destination of the last call to the byte, while ICU holds half a character.
TEST(IcuConverter, ACutCharacterSurvivesAFullDestination)
{
    LocaleWithBuiltIcu built;
    if (!built.has_icu()) {
        GTEST_SKIP() << "no ICU was built";
    }
    for (const bool stops : {false, true}) {
        CharsetConverter conv(&built, built.UTF16LE(), charset("EUC-JP"));
        conv.stop_at().set(stops ? ILLEGAL : 0);
        PivotBuffer pivot;
        const a_byte input[] = {'a', 'b', 0xCB};
        a_byte area[12] = {};
        const void * src = input;
        void * dest = area;
        EXPECT_EQ(conv.ContinueConvert(pivot, &dest, area + 2, &src, input + 3, FALSE),
                  ORV_CONV_DST_BUFFER_OVERRUN);
        ASSERT_EQ(src, input + 3);
        EXPECT_EQ(conv.ContinueConvert(pivot, &dest, area + 4, &src, input + 3, TRUE),
                  stops ? ORV_CONV_TRUNCATED_CHARACTER : ORV_CONV_DST_BUFFER_OVERRUN);
        EXPECT_EQ(conv.ContinueConvert(pivot, &dest, area + 12, &src, input + 3, TRUE), ORV_CONV_OK);
        EXPECT_EQ(Bytes(area, static_cast<a_byte *>(dest)),
                  stops ? (Bytes{'a', 0, 'b', 0}) : (Bytes{'a', 0, 'b', 0, 0x1A, 0}));
        EXPECT_EQ(conv.encountered().get(), ILLEGAL);
    }
}

} // namespace
