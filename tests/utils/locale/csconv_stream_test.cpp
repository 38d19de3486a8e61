#include "utils/locale/csconv_stream.h"

#include <algorithm>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "support/plain_streams.h"
#include "utils/locale/converter_driver.h"
#include "utils/locale/unicode_texts.h"

namespace {

UTLocale & locale()
{
    static UTLocale the_locale;
    return the_locale;
}

const CharsetInfo * cp1252()
{
    return UTLocale::GetCharsetInfoFromLabel("windows-1252", CS_STD_ANY);
}

Bytes bytes_of(const char * text)
{
    return {text, text + std::strlen(text)};
}

// A pair and a text, with what one whole call makes of it.
struct a_conversion {
    const CharsetInfo * dest;
    const CharsetInfo * src;
    Bytes input;
    Bytes output;
};

std::vector<a_conversion> conversions()
{
    std::mt19937_64 random(551);
    UnicodeTexts texts(random);
    const CharsetInfo * const utf8 = locale().UTF8();
    const std::pair<const CharsetInfo *, const CharsetInfo *> pairs[] = {
        {utf8, locale().UTF16LE()}, {locale().UTF16LE(), utf8}, {utf8, cp1252()}, {locale().CESU8(), utf8},
        {cp1252(), utf8},           {utf8, locale().UTF16BE()}, {utf8, utf8},
    };
    std::vector<a_conversion> all;
    for (const auto & [dest, src] : pairs) {
        for (const size_t length : {0u, 1u, 7u, 300u, 1400u}) {
            Bytes input = u16(texts.spoilt_units(length));
            if (length % 2 != 0) {
                input.push_back(0xE2); // ends inside a character
            }
            CharsetConverter conv(&locale(), dest, src);
            const Bytes output = ConverterDriver(conv).whole(input).bytes;
            all.push_back({dest, src, std::move(input), output});
        }
    }
    return all;
}

TEST(ConvertingStream, WrittenInPiecesAnyDestinationGetsTheWholeText)
{
    for (const a_conversion & c : conversions()) {
        SCOPED_TRACE(c.src->orv_label() + std::string(" to ") + c.dest->orv_label());
        for (const size_t piece : {1u, 3u, 700u}) {
            for (const size_t buffer_size : {0u, 1u, 2u, 5u, 512u}) {
                CharsetConverter conv(&locale(), c.dest, c.src);
                PlainOStream plain;
                {
                    Bytes buffer(buffer_size);
                    UTOStreamBuffer buffered(plain, buffer.data(), buffer_size);
                    CSConvOStream stream(conv, buffer_size != 0 ? static_cast<UTOStream &>(buffered) : plain);
                    for (size_t at = 0; at < c.input.size(); at += piece) {
                        const size_t size = std::min(piece, c.input.size() - at);
                        ASSERT_EQ(stream.put(c.input.data() + at, size), size);
                    }
                    EXPECT_EQ(stream.num_input(), c.input.size());
                    stream.flush(FALSE);
                    EXPECT_EQ(stream.num_output(), c.output.size());
                    EXPECT_EQ(stream.status(), ORV_CONV_OK);
                    EXPECT_FALSE(stream.eof());
                    stream.flush(TRUE);
                    EXPECT_TRUE(stream.eof());
                    EXPECT_EQ(stream.num_output(), c.output.size()) << "a second flush has nothing left";
                }
                EXPECT_EQ(hex(plain.content()), hex(c.output)) << piece << " through " << buffer_size;
            }
        }
    }
}

TEST(ConvertingStream, ReadInPiecesAnySourceGivesTheWholeText)
{
    for (const a_conversion & c : conversions()) {
        SCOPED_TRACE(c.src->orv_label() + std::string(" to ") + c.dest->orv_label());
        for (const size_t piece : {1u, 2u, 5u, 600u}) {
            for (const size_t buffer_size : {0u, 1u, 3u, 4096u}) {
                CharsetConverter conv(&locale(), c.dest, c.src);
                PlainIStream plain(c.input);
                Bytes buffer(buffer_size);
                UTIStreamBuffer buffered(plain, buffer.data(), buffer_size);
                CSConvIStream stream(conv, buffer_size != 0 ? static_cast<UTIStream &>(buffered) : plain);
                Bytes output;
                size_t got = 0;
                do {
                    Bytes part(piece);
                    got = stream.get(part.data(), piece);
                    output.insert(output.end(), part.begin(), part.begin() + static_cast<ptrdiff_t>(got));
                    ASSERT_TRUE(got > 0 || stream.eof());
                } while (got > 0);
                EXPECT_EQ(hex(output), hex(c.output)) << piece << " through " << buffer_size;
                EXPECT_EQ(stream.num_input(), c.input.size());
                EXPECT_EQ(stream.num_output(), c.output.size());
                EXPECT_EQ(stream.status(), ORV_CONV_OK);
            }
        }
    }
}

TEST(ConvertingStream, GoingOutOfScopeFlushes)
{
    CharsetConverter conv(&locale(), locale().UTF16LE(), locale().UTF8());
    PlainOStream plain;
    {
        CSConvOStream stream(conv, plain);
        (void)stream.put("a\xE2\x82", 3);
        EXPECT_EQ(plain.content().size(), 2u);
    }
    EXPECT_EQ(hex(plain.content()), "61 00 FD FF ");
    EXPECT_TRUE(conv.encountered().truncated_character());
}

TEST(ConvertingStream, TheEndComesOneReadAfterTheLastData)
{
    CharsetConverter conv(&locale(), locale().UTF8(), locale().UTF16LE());
    const a_byte euro[] = {0xAC, 0x20};
    UTBufIStream source(euro, sizeof(euro));
    CSConvIStream stream(conv, source);
    a_byte out[4] = {};
    EXPECT_EQ(stream.get(out, 1), 1u); // the character's first byte; the others wait
    EXPECT_EQ(stream.get(out + 1, 2), 2u);
    EXPECT_EQ(hex({out, 3}), "E2 82 AC ");
    EXPECT_FALSE(stream.eof());
    EXPECT_EQ(stream.get(out, 4), 0u);
    EXPECT_TRUE(stream.eof());
    EXPECT_EQ(stream.get(out, 4), 0u);

    UTBufIStream nothing(euro, 0);
    CSConvIStream empty(conv, nothing);
    EXPECT_EQ(empty.get(out, 4), 0u);
    EXPECT_TRUE(empty.eof());
}

TEST(ConvertingStream, AStopEndsTheStreamBehindWhatWasConverted)
{
    const CharsetConversionFlags illegal(CharsetConversionFlags::ILLEGAL);
    const Bytes input = {'a', 'b', 0xF4, 0x90, 0x80, 0x80, 'c'};
    for (const bool buffered : {false, true}) {
        CharsetConverter conv(&locale(), locale().UTF16LE(), locale().UTF8());
        conv.stop_at().set(illegal);
        a_byte out[32];
        PlainOStream plain;
        UTBufOStream memory(out, sizeof(out));
        CSConvOStream stream(conv, buffered ? static_cast<UTOStream &>(memory) : plain);
        EXPECT_EQ(stream.put(input.data(), input.size()), 6u);
        EXPECT_EQ(stream.status(), ORV_CONV_ILLEGAL_CHARACTER);
        EXPECT_TRUE(stream.eof());
        EXPECT_EQ(stream.num_output(), 4u);
        EXPECT_EQ(stream.put(input.data(), 1), 0u) << "nothing is accepted behind the end";

        conv.Reset();
        PlainIStream plain_source(input);
        UTBufIStream memory_source(input.data(), input.size());
        CSConvIStream reader(conv, buffered ? static_cast<UTIStream &>(memory_source) : plain_source);
        EXPECT_EQ(reader.get(out, sizeof(out)), 4u);
        EXPECT_EQ(hex({out, 4}), "61 00 62 00 ");
        EXPECT_EQ(reader.status(), ORV_CONV_ILLEGAL_CHARACTER);
        EXPECT_TRUE(reader.eof());
        EXPECT_EQ(reader.get(out, sizeof(out)), 0u);
    }
}

// A pivot has taken more than it stopped at, so a flush comes to the next stop, here of a lower number.
TEST(ConvertingStream, TheWorstStatusIsKept)
{
    CharsetConverter conv(&locale(), UTLocale::GetCharsetInfoFromLabel("EUC-JP", CS_STD_ANY),
                          locale().CESU8());
    conv.stop_at().set(CharsetConversionFlags::ILLEGAL | CharsetConversionFlags::UNMAPPABLE);
    PlainOStream plain;
    CSConvOStream stream(conv, plain);
    const Bytes text = {'a', 0xE2, 0x82, 0xAC, 0xED, 0xA0, 0xBD, 'b'}; // an euro sign, a lone surrogate
    EXPECT_EQ(stream.put(text.data(), text.size()), text.size());
    EXPECT_EQ(stream.status(), ORV_CONV_UNMAPPABLE_CHARACTER);
    EXPECT_FALSE(conv.encountered().illegal_character());
    stream.flush(FALSE);
    EXPECT_TRUE(conv.encountered().illegal_character());
    EXPECT_EQ(stream.status(), ORV_CONV_UNMAPPABLE_CHARACTER);
    EXPECT_TRUE(stream.eof());
    EXPECT_EQ(hex(plain.content()), "61 ");
}

TEST(ConvertingStream, ADestinationThatEndsEndsTheStreamWithoutAStatus)
{
    const Bytes input(2000, 'x');
    for (const bool buffered : {false, true}) {
        CharsetConverter conv(&locale(), locale().UTF16LE(), locale().UTF8());
        a_byte out[100];
        PlainOStream plain(100);
        UTBufOStream memory(out, sizeof(out));
        CSConvOStream stream(conv, buffered ? static_cast<UTOStream &>(memory) : plain);
        EXPECT_LT(stream.put(input.data(), input.size()), input.size());
        EXPECT_TRUE(stream.eof());
        EXPECT_EQ(stream.status(), ORV_CONV_OK);
        stream.flush(TRUE);
        EXPECT_EQ(buffered ? sizeof(out) : plain.content().size(), 100u);
    }
}

TEST(ConvertingStream, FromStreamToStreamIsOneWholeConversion)
{
    for (const a_conversion & c : conversions()) {
        CharsetConverter conv(&locale(), c.dest, c.src);
        // What an earlier conversion left is forgotten.
        PivotBuffer pivot;
        const a_byte lead = 0xE2;
        const void * src = &lead;
        void * dest = pivot._buffer;
        (void)conv.ContinueConvert(pivot, &dest, dest, &src, &lead + 1, FALSE);

        PlainIStream from(c.input);
        PlainOStream to;
        size_t written = 0;
        EXPECT_EQ(conv.Convert(to, &written, from, ~size_t{0}), ORV_CONV_OK);
        EXPECT_EQ(hex(to.content()), hex(c.output));
        EXPECT_EQ(written, c.output.size());
    }
    CharsetConverter conv(&locale(), locale().UTF16LE(), locale().UTF8());
    const Bytes text = bytes_of("abcdef");
    UTBufIStream from(text.data(), text.size());
    PlainOStream to;
    size_t written = 0;
    EXPECT_EQ(conv.Convert(to, &written, from, 2), ORV_CONV_OK);
    EXPECT_EQ(hex(to.content()), "61 00 62 00 ");
    EXPECT_EQ(written, 4u);
}

} // namespace
