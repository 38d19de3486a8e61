#include "utils/etc/lschrfns.h"

#include <string>

#include <gtest/gtest.h>

#include "support/scoped_environment.h"

namespace {

LS_CharFunctions classifier(const char * charset)
{
    const ScopedLocaleEnvironment environment;
    environment.set("VXCHARSET", charset);
    LS_CharFunctions functions;
    functions.init();
    return functions;
}

TEST(CharFunctions, LeadBytesAreThoseOfTheCharacterSet)
{
    const struct {
        const char * charset;
        const char * lead; // pairs of first and last byte
    } cases[] = {{"ISO-8859-1", ""},
                 {"UTF-8", ""},
                 {"EUC-JP", ""},
                 {"Big5", ""},
                 {"Shift_JIS", "\x81\x9F\xE0\xEF"},
                 {"Windows-31J", "\x81\x9F\xE0\xFC"},
                 {"sjis", "\x81\x9F\xE0\xFC"}, // the name belongs to Windows-31J
                 {"GBK", "\x81\xFE"},
                 {"GB18030", "\x81\xFE"}};
    for (const auto & row : cases) {
        const LS_CharFunctions functions = classifier(row.charset);
        const std::string ranges = row.lead;
        for (int c = 0; c < 256; c++) {
            bool lead = false;
            for (size_t i = 0; i < ranges.size(); i += 2) {
                lead = lead || (c >= static_cast<unsigned char>(ranges[i]) &&
                                c <= static_cast<unsigned char>(ranges[i + 1]));
            }
            EXPECT_EQ(functions.isLeadByte(static_cast<char>(c)), lead) << row.charset << " " << c;
            EXPECT_EQ(functions.charSize(static_cast<char>(c)), lead ? 2U : 1U) << row.charset << " " << c;
        }
    }
}

TEST(CharFunctions, SteppingBackNeverEndsInsideACharacter)
{
    const LS_CharFunctions functions = classifier("GBK");
    const std::string text = "a\x81\x81\x81"
                             "b\xFE\xFE"; // trail bytes that look like lead bytes
    const char * start = text.c_str();
    const ptrdiff_t before[] = {0, 0, 1, 1, 3, 3, 5, 5};
    for (size_t at = 0; at <= text.size(); at++) {
        EXPECT_EQ(functions.prevChar(start, start + at) - start, before[at]) << at;
    }
    const char * p = start;
    for (const ptrdiff_t at : {1, 3, 5, 7}) {
        p = functions.nextChar(p);
        EXPECT_EQ(p - start, at);
    }
    const char cut[] = "\x81";
    EXPECT_EQ(functions.nextChar(cut), cut + 1) << "a lead byte at the end steps onto the terminator";
    EXPECT_EQ(functions.prevChar(cut, cut + 1), cut);
    const LS_CharFunctions single = classifier("UTF-8");
    EXPECT_EQ(single.prevChar(start, start + 2), start + 1);
}

} // namespace
