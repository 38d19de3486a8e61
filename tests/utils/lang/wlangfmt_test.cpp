#include <gtest/gtest.h>

#include <cstdarg>
#include <cstring>
#include <cwchar>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "reference/template_model.h"
#include "utils/etc/critsect.h"
#include "utils/lang/utlangstring.h"
#include "utils/locale/utlocale.h"

namespace {

// The wide form has no variadic shape of its own.
size_t format_wide(wchar_t * output, size_t bytes, const wchar_t * format, ...)
{
    va_list args;
    va_start(args, format);
    const size_t length = UTLangStringBase::VFormatMiscStr(output, bytes, format, args, nullptr, nullptr);
    va_end(args);
    return length;
}

template<typename... Args> std::string formatted(const char * format, Args... args)
{
    char text[256];
    const size_t length = UTLangStringBase::FormatMiscStr(text, sizeof(text), format, args...);
    EXPECT_EQ(length, std::strlen(text)) << format;
    return text;
}

const char * const null_string = nullptr;

} // namespace

TEST(Template, TagsTellTheWidthAndTheForm)
{
    EXPECT_EQ(formatted("%1!d! %2!ld!", -5, int32{INT32_MIN}), "-5 -2147483648");
    EXPECT_EQ(formatted("%1!u! %2!lu!", -5, UINT32_MAX), "4294967291 4294967295");
    EXPECT_EQ(formatted("%1!lld! %2!d!", int64{INT64_MIN}, 7), "-9223372036854775808 7");
    EXPECT_EQ(formatted("%1!llu! %2!c!", uint64{UINT64_MAX}, 'x'), "18446744073709551615 x");
    EXPECT_EQ(formatted("%1!4x! %2!8x! %3!8x!", 0x12345, 255, 0xFEDCBA98u), "2345 000000ff fedcba98");
    EXPECT_EQ(formatted("<%1!c!>", '\0'), "<>");
}

TEST(Template, MissingStringsShowAsQuestionMarks)
{
    EXPECT_EQ(formatted("%1 %2!s! %3!at!", null_string, null_string, null_string), "??? ??? ???");
    wchar_t wide[64];
    EXPECT_EQ(format_wide(wide, sizeof(wide), L"[%1]", static_cast<const wchar_t *>(nullptr)), 5u);
    EXPECT_STREQ(wide, L"[???]");
}

namespace {

// Two characters without a zero byte in UTF-16LE, U+0101 and U+5B57, so that they pass as strings.
const std::string a_macron_utf16 = "\x01\x01";
const std::string a_macron_utf8 = "\xC4\x81";
const std::string ideograph_utf16 = "\x57\x5B";
const std::string ideograph_utf8 = "\xE5\xAD\x97";

class ConvertedTemplate : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(ut_safe_pthread_mutex_init(&_mutex, nullptr), 0); }
    void TearDown() override { EXPECT_EQ(ut_safe_pthread_mutex_destroy(&_mutex), 0); }

    // Into a block of the exact size, so that a sanitizer sees the first byte behind it.
    std::string formatted(size_t size, const char * src_charset, const char * format, ...)
    {
        CharsetConverter converter(&_locale, UTLocale::GetCharsetInfoFromLabel("UTF-8", CS_STD_ANY),
                                   UTLocale::GetCharsetInfoFromLabel(src_charset, CS_STD_ANY));
        const std::unique_ptr<char[]> text(new char[size]);
        std::memset(text.get(), '#', size);
        va_list args;
        va_start(args, format);
        const size_t length =
            UTLangStringBase::VFormatMiscStr(text.get(), size, format, args, &converter, &_mutex);
        va_end(args);
        EXPECT_EQ(length, std::strlen(text.get())) << format;
        EXPECT_EQ(pthread_mutex_trylock(_mutex.p_mutex), 0) << "still held behind " << format;
        pthread_mutex_unlock(_mutex.p_mutex);
        return text.get();
    }

private:
    UTLocale _locale;
    a_critical_sect _mutex{nullptr};
};

} // namespace

TEST_F(ConvertedTemplate, OnlyStringsWithoutTheTagForItAreConverted)
{
    const char * const text = ideograph_utf16.c_str();
    EXPECT_EQ(formatted(64, "UTF-16LE", "%1|%2!s!|%3!at!|%4!c!|%5!d!|ab", text, text, text, 'c', -5),
              ideograph_utf8 + "|" + ideograph_utf8 + "|" + ideograph_utf16 + "|c|-5|ab");
    EXPECT_EQ(formatted(64, "UTF-8", "%1", "\xE4"), "\xE4") << "the identity copies, whatever the bytes are";
}

TEST_F(ConvertedTemplate, ConvertedTextFillsTheRoomAndNothingBehindIt)
{
    const std::string text = a_macron_utf16 + ideograph_utf16;
    const std::string whole = a_macron_utf8 + ideograph_utf8;
    for (size_t size = 1; size <= 7; ++size) {
        EXPECT_EQ(formatted(size, "UTF-16LE", "%1", text.c_str()), whole.substr(0, size - 1)) << size;
    }
}

TEST(WideTemplate, BufferWithoutRoomForATerminatorIsLeftAlone)
{
    wchar_t buffer = L'#';
    EXPECT_EQ(format_wide(&buffer, 3, L"text"), 0u);
    EXPECT_EQ(buffer, L'#');
}

TEST(ArrayTemplate, FirstNullEndsTheArray)
{
    const char * const strings[] = {"A", nullptr, "never read"};
    const struct {
        const char * format;
        const char * const * strings;
        const char * text;
    } rows[] = {
        {"%1", strings, "A"},
        {"%2 %1", strings, "??? A"},
        {"%3 %1", strings, "??? A"},
        {"%1!s! %2!s!", strings, "A ???"},
        {"%1 %2", nullptr, "??? ???"},
        {"%1!at! %2!d!", strings, "??? 0"}, // other types than strings aren't filled
        {"none", nullptr, "none"},
    };
    for (const auto & row : rows) {
        char text[64];
        (void)UTLangStringBase::ArrayFormatMiscStr(text, sizeof(text), row.format, row.strings, nullptr,
                                                   nullptr);
        EXPECT_STREQ(text, row.text) << row.format;
    }
}

TEST(PackedTemplate, StringsEndWithTheirBytes)
{
    using namespace std::string_literals;
    const struct {
        const char * format;
        std::string args;
        const char * text;
    } rows[] = {
        {"%2 %1", "A\0B\0"s, "B A"},
        {"%1|%2|%3", "A\0\0C\0"s, "A||C"}, // an empty string is a string
        {"%1 %2", "A\0B"s, "A ???"},       // without its terminator it isn't one
        {"%1", ""s, "???"},
    };
    for (const auto & row : rows) {
        const std::vector<char> args(row.args.begin(), row.args.end());
        char text[64];
        (void)UTLangStringBase::SQLFormatMiscStr(text, sizeof(text), row.format, args.data(), args.size(),
                                                 nullptr, nullptr);
        EXPECT_STREQ(text, row.text) << row.format;
    }
    char text[8];
    EXPECT_EQ(UTLangStringBase::SQLFormatMiscStr(text, sizeof(text), "%1", nullptr, 0, nullptr, nullptr), 3u);
}

namespace {

// Every argument is a string whose address serves as the number, too: both are read from the same slot.
class RandomTemplates : public testing::Test {
protected:
    std::string next_format()
    {
        static constexpr const char * pieces[] = {"%",    "%%",   "%0",    "%1",   "%2",    "%3",    "%4",
                                                  "%5",   "%9",   "!d!",   "!s!",  "!c!",   "!u!",   "!ld!",
                                                  "!lu!", "!at!", "!4x!",  "!8x!", "!lld!", "!llu!", "!x!",
                                                  "!",    "1",    "text ", "d"};
        std::string format;
        for (size_t count = _random() % 14; count != 0; --count) {
            format += pieces[_random() % std::size(pieces)];
        }
        return format;
    }

    template<typename Ch> static a_model_arguments model_arguments(const std::basic_string<Ch> (&strings)[9])
    {
        a_model_arguments arguments;
        for (size_t i = 0; i < arguments.size(); ++i) {
            arguments[i].text.assign(strings[i].begin(), strings[i].end());
            arguments[i].bits = reinterpret_cast<std::uintptr_t>(strings[i].c_str());
        }
        return arguments;
    }

    // A character that isn't ASCII has no wide form in the C locale.
    static bool has_plain_characters(const std::string & text)
    {
        return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<signed char>(c) > 0; });
    }

    std::mt19937 _random{20261122};
};

} // namespace

TEST_F(RandomTemplates, NarrowFormAgreesWithTheModel)
{
    const std::string s[9] = {"one", "", "%3!d!", "a longer text for the fourth", "5", "six", "7", "8", "%%"};
    const a_model_arguments arguments = model_arguments(s);
    for (int round = 0; round < 20000; ++round) {
        const std::string format = next_format();
        const std::string whole = model_format(format, arguments);
        const size_t size = 1 + _random() % (whole.size() + 4);
        const std::unique_ptr<char[]> text(new char[size]);
        const size_t length = UTLangStringBase::FormatMiscStr(
            text.get(), size, format.c_str(), s[0].c_str(), s[1].c_str(), s[2].c_str(), s[3].c_str(),
            s[4].c_str(), s[5].c_str(), s[6].c_str(), s[7].c_str(), s[8].c_str());
        ASSERT_EQ(std::string(text.get()), whole.substr(0, size - 1)) << format;
        ASSERT_EQ(length, std::min(whole.size(), size - 1)) << format;
    }
}

TEST_F(RandomTemplates, WideFormAgreesWithTheModel)
{
    const std::wstring s[9] = {L"one", L"",  L"%3!d!", L"a longer text for the fourth", L"5", L"six",
                               L"7",   L"8", L"%%"};
    const a_model_arguments arguments = model_arguments(s);
    for (int round = 0; round < 20000; ++round) {
        const std::string format = next_format();
        const std::string whole = model_format(format, arguments);
        if (!has_plain_characters(whole)) {
            continue;
        }
        const size_t units = 1 + _random() % (whole.size() + 8);
        const size_t room = units > 4 ? units - 4 : 0;
        std::vector<wchar_t> text(units);
        const size_t length = format_wide(text.data(), units * sizeof(wchar_t) + _random() % sizeof(wchar_t),
                                          std::wstring(format.begin(), format.end()).c_str(), s[0].c_str(),
                                          s[1].c_str(), s[2].c_str(), s[3].c_str(), s[4].c_str(),
                                          s[5].c_str(), s[6].c_str(), s[7].c_str(), s[8].c_str());
        const std::string expected = whole.substr(0, room);
        ASSERT_EQ(std::wstring(text.data()), std::wstring(expected.begin(), expected.end())) << format;
        ASSERT_EQ(length, expected.size()) << format;
    }
}
