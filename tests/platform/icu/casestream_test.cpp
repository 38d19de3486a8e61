// Case mapping of streams, held against ICU's mapping of the whole text.

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unicode/ustring.h>

#include "icu/orvicu.h"

namespace {

struct a_source {
    std::string bytes;
    size_t piece;  // most bytes of a call
    size_t at = 0; // next byte
    static size_t pull(uint8_t * dest, size_t size, void * context)
    {
        auto * self = static_cast<a_source *>(context);
        const size_t count = std::min({size, self->piece, self->bytes.size() - self->at});
        memcpy(dest, self->bytes.data() + self->at, count);
        self->at += count;
        return count;
    }
};

struct a_sink {
    std::string bytes;
    size_t room = SIZE_MAX; // bytes it still takes
    static size_t push(const uint8_t * data, size_t size, void * context)
    {
        auto * self = static_cast<a_sink *>(context);
        const size_t count = std::min(size, self->room);
        EXPECT_NE(size, 0u);
        self->bytes.append(reinterpret_cast<const char *>(data), count);
        self->room -= count;
        return count;
    }
};

std::string BytesOf(const std::u16string & text)
{
    return {reinterpret_cast<const char *>(text.data()), text.size() * sizeof(char16_t)};
}

using a_mapper = int32_t (*)(UChar *, int32_t, const UChar *, int32_t, const char *, UErrorCode *);

std::u16string MappedWhole(a_mapper mapper, const std::u16string & text, const char * locale)
{
    std::u16string dest(3 * text.size() + 1, u'\0');
    UErrorCode error = U_ZERO_ERROR;
    const int32_t length = mapper(dest.data(), static_cast<int32_t>(dest.size()), text.data(),
                                  static_cast<int32_t>(text.size()), locale, &error);
    EXPECT_TRUE(U_SUCCESS(error));
    dest.resize(static_cast<size_t>(length));
    return dest;
}

void ExpectAsWhole(const std::u16string & text, const char * locale, size_t piece)
{
    for (const bool upper : {false, true}) {
        const std::u16string expected = MappedWhole(upper ? u_strToUpper : u_strToLower, text, locale);
        a_source source{BytesOf(text), piece};
        a_sink sink;
        UErrorCode error = U_ZERO_ERROR;
        const int32_t count = (upper ? ORV_strToUpper : ORV_strToLower)(&a_sink::push, &sink, &a_source::pull,
                                                                        &source, locale, &error);
        EXPECT_EQ(error, U_ZERO_ERROR);
        EXPECT_EQ(static_cast<size_t>(count), expected.size());
        ASSERT_TRUE(sink.bytes == BytesOf(expected)) << (upper ? "upper " : "lower ") << locale << ", "
                                                     << text.size() << " units, pieces of " << piece;
    }
}

// Texts whose mapping depends on their neighbours, and the languages that have rules of their own.
constexpr const char16_t * TEXTS[] = {
    u"\u039F\u0394\u03A5\u03A3\u03A3\u0395\u03A5\u03A3 \u03A3 \u03A3\u0391\u03A3",             // sigmas
    u"a\u03A3'\u0301\u00AD\u0345b\u03A3.\u03A3'\u0301 \u03A3\u0301\u02B0\u03A3\u02B0-a\u03A3", // ignorables
    u"\U00010400\u03A3\U0001D165\U00010400\u03A3\U0001D165 \U00010428",            // beyond the BMP
    u"I\u0307 I\u0323\u0307 I\u0301\u0307 \u0130I i\u0307 \u0131 iI\u0307\u0131I", // Turkish
    u"J\u0307\u0301 i\u0307\u0301 \u012F\u0307 I\u0323\u0300 \u00CC\u0128 J\u0323\u0303j\u0307", // Lithuanian
    u"\u03AC\u03B9 \u03AC\u03CA \u03AE \u03B1\u03AE \u03AE\u03B1 \u03B1\u0301\u0308\u03C5\u0301\u03B9 "
    u"\u1F71\u1F80\u1FB3\u0345\u03AE'\u03B1", // Greek accents
    u"\u00DF\uFB03\u0587\u1E9E\u0149 \u01C5 ij\u0301IJ \xD800"
    u"x\xDC00", // expansions, lone surrogates
};
constexpr const char * LOCALES[] = {"", "tr", "az", "lt", "el", "hy", "nl", "de"};

} // namespace

// The stream's buffer ends at each place of each text in turn.
TEST(CaseStream, NoPlaceOfACutShows)
{
    constexpr size_t BUFFER = 1023;
    for (const char16_t * text : TEXTS) {
        const std::u16string tricky = text;
        for (const char16_t filler : {u' ', u'b', u'\u0301', u'\u03A3', u'\u03AC'}) {
            for (size_t at = 0; at <= tricky.size() + 1; at++) {
                const std::u16string whole =
                    std::u16string(BUFFER - at, filler) + tricky + std::u16string(at, filler) + tricky;
                for (const char * locale : LOCALES) {
                    ExpectAsWhole(whole, locale, 4096);
                }
            }
        }
    }
}

TEST(CaseStream, RunsLongerThanTheBufferKeepTheirContext)
{
    const std::u16string marks(5000, u'\u0301');
    const std::u16string apostrophes(5000, u'\'');
    ExpectAsWhole(u"a\u03A3" + apostrophes + u"b\u03A3" + apostrophes + u" \u03A3", "", 777);
    ExpectAsWhole(u"I" + std::u16string(5000, u'\u0323') + u"\u0307 J" + marks + u"\u0307", "lt", 777);
    ExpectAsWhole(u"I" + std::u16string(5000, u'\u0323') + u"\u0307 I" + marks + u"\u0307", "tr", 777);
    ExpectAsWhole(std::u16string(5001, u'\u03AC') + u"\u03B9\u03AE " + std::u16string(3000, u'\u0390'), "el",
                  777);
}

TEST(CaseStream, FullOutputAndHalfAUnitAreToldAndEndIt)
{
    a_source source{std::string(6000, 'x'), SIZE_MAX};
    a_sink sink{{}, 101};
    UErrorCode error = U_ZERO_ERROR;
    EXPECT_EQ(ORV_strToLower(&a_sink::push, &sink, &a_source::pull, &source, "", &error), 50);
    EXPECT_EQ(error, U_BUFFER_OVERFLOW_ERROR);
    EXPECT_EQ(sink.bytes.size(), 101u);
    EXPECT_LT(source.at, source.bytes.size());

    a_source odd{BytesOf(u"AB") + "C", 3};
    a_sink whole;
    error = U_ZERO_ERROR;
    EXPECT_EQ(ORV_strToLower(&a_sink::push, &whole, &a_source::pull, &odd, "", &error), 2);
    EXPECT_EQ(error, U_TRUNCATED_CHAR_FOUND);
    EXPECT_EQ(whole.bytes, BytesOf(u"ab"));

    // An error of before: nothing is read.
    a_source unread{"xx", 2};
    EXPECT_EQ(ORV_strToUpper(&a_sink::push, &whole, &a_source::pull, &unread, "", &error), 0);
    EXPECT_EQ(unread.at, 0u);
}
