// The multi-byte character sets through the companion, held against ICU called directly and glibc's iconv,
// over every character. What differs from glibc stands in iconv_differences.txt, and docs/catalogue.md tells
// why.

#include <array>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <iconv.h>
#include <unicode/ucnv_err.h>
#include <unicode/uset.h>
#include <unicode/utf16.h>

#include "icu/orvicu.h"
#include "utils/locale/utlocale.h"

namespace {

// Bytes of one character; empty where there is none.
using a_code = std::string;

using an_open = UConverter * (*)(const char *, UErrorCode *);

// An ICU converter that stops at what it can't convert, whichever way its functions are reached.
struct an_icu {
    explicit an_icu(const char * name, an_open open)
    {
        UErrorCode error = U_ZERO_ERROR;
        converter.reset(open(name, &error));
        EXPECT_EQ(error, U_ZERO_ERROR) << name;
        ucnv_setFallback_3_4(converter.get(), 1);
        ucnv_setToUCallBack_3_4(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &error);
        ucnv_setFromUCallBack_3_4(converter.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr,
                                  &error);
    }
    struct a_closer {
        void operator()(UConverter * handle) const { ucnv_close_3_4(handle); }
    };
    std::unique_ptr<UConverter, a_closer> converter;
};

using a_from = decltype(&ucnv_fromUnicode_3_4);
using a_to = decltype(&ucnv_toUnicode_3_4);

a_code Encode(const an_icu & icu, a_from from, UChar32 c)
{
    UChar units[2];
    int32_t length = 0;
    U16_APPEND_UNSAFE(units, length, c);
    const UChar * source = units;
    std::array<char, 16> bytes{};
    char * dest = bytes.data();
    UErrorCode error = U_ZERO_ERROR;
    from(icu.converter.get(), &dest, bytes.data() + bytes.size(), &source, units + length, nullptr, 1,
         &error);
    return U_SUCCESS(error) ? a_code(bytes.data(), dest) : a_code();
}

// The character, or -1 if it isn't exactly one.
UChar32 Decode(const an_icu & icu, a_to to, const a_code & code)
{
    std::array<UChar, 8> units{};
    UChar * dest = units.data();
    const char * source = code.data();
    UErrorCode error = U_ZERO_ERROR;
    to(icu.converter.get(), &dest, units.data() + units.size(), &source, code.data() + code.size(), nullptr,
       1, &error);
    const auto length = static_cast<size_t>(dest - units.data());
    if (U_FAILURE(error) || length == 0) {
        return -1;
    }
    UChar32 c = 0;
    U16_GET(units.data(), 0, 0, length, c);
    return static_cast<size_t>(U16_LENGTH(c)) == length ? c : -1;
}

class Iconv {
public:
    Iconv(const char * to, const char * from) : _handle(iconv_open(to, from))
    {
        EXPECT_NE(_handle, reinterpret_cast<iconv_t>(-1)) << to << ' ' << from;
    }
    ~Iconv() { iconv_close(_handle); }
    Iconv(const Iconv &) = delete;
    Iconv & operator=(const Iconv &) = delete;

    a_code convert(std::string source) const
    {
        std::array<char, 16> bytes{};
        char * in = source.data();
        size_t in_left = source.size();
        char * out = bytes.data();
        size_t out_left = bytes.size();
        (void)iconv(_handle, nullptr, nullptr, nullptr, nullptr);
        if (iconv(_handle, &in, &in_left, &out, &out_left) != 0) {
            return {};
        }
        (void)iconv(_handle, nullptr, nullptr, &out, &out_left);
        return {bytes.data(), out};
    }

    a_code encode(UChar32 c) const { return convert({reinterpret_cast<const char *>(&c), sizeof c}); }

    UChar32 decode(const a_code & code) const
    {
        const a_code c = convert(code);
        UChar32 value = -1;
        if (c.size() == sizeof value) {
            memcpy(&value, c.data(), sizeof value);
        }
        return value;
    }

private:
    iconv_t _handle;
};

// What a character's row says about it, "" if all agree.
std::string DifferenceOf(UChar32 c, const an_icu & layer, const Iconv & to_glibc, const Iconv & from_glibc)
{
    const a_code here = Encode(layer, ucnv_fromUnicode_3_4, c);
    const a_code there = to_glibc.encode(c);
    std::string kind;
    if (here.empty() || there.empty()) {
        kind = here.empty() == there.empty() ? "" : here.empty() ? "only glibc" : "only here";
    } else if (here != there) {
        kind = "other bytes";
    } else if (from_glibc.decode(here) != Decode(layer, ucnv_toUnicode_3_4, here)) {
        kind = "decodes otherwise";
    }
    if (!here.empty() && Decode(layer, ucnv_toUnicode_3_4, here) != c) {
        kind += kind.empty() ? "best fit" : ", best fit";
    }
    return kind;
}

struct a_row {
    size_t row;
    const char * icu; // where ICU itself doesn't know the row's name; null otherwise
    const char * glibc;
};
constexpr a_row ROWS[] = {
    {6, nullptr, "CP932"},
    {7, nullptr, "SHIFT_JIS"},
    {8, "ibm-33722_P12A_P12A-2004_U2", "EUC-JP"},
    {9, nullptr, "EUC-CN"},
    {10, nullptr, "EUC-TW"},
    {24, "ibm-1375_P100-2008", "BIG5-HKSCS"},
    {25, nullptr, "BIG5"},
    {26, "ibm-970_P110_P110-2006_U2", "EUC-KR"},
    {40, nullptr, "GB18030"},
    {41, nullptr, "GBK"},
    {42, nullptr, "UHC"},
    {43, nullptr, "BIG5"},
};

// The characters of one kind: how many, and the first runs of them.
struct a_finding {
    size_t count = 0;
    size_t runs = 0;
    UChar32 last = -2;
    std::ostringstream text;

    void add(UChar32 c)
    {
        count++;
        if (c != last + 1) {
            end_run();
            runs++;
            first = c;
        }
        last = c;
    }
    void end_run()
    {
        if (last < 0) {
            return;
        }
        text << (runs > 1 ? ", " : "") << std::hex << std::uppercase << first;
        if (last != first) {
            text << '-' << last;
        }
    }
    UChar32 first = -2;
};

constexpr size_t MOST_RUNS = 8; // what a line of the table shows in full

// A line for each kind of difference. Characters above plane 2 are private or unassigned, and only GB18030
// has them.
void AddDifferences(const a_row & row, std::vector<std::string> & lines)
{
    const an_icu layer(UTLocale::_charset_info[row.row].icu_label(), ucnv_open_3_4);
    const Iconv to_glibc(row.glibc, "UTF-32LE");
    const Iconv from_glibc("UTF-32LE", row.glibc);
    std::map<std::string, a_finding> findings;
    const UChar32 end = row.row == 40 ? 0x110000 : 0x30000;
    for (UChar32 c = 0; c < end; c++) {
        const std::string kind = U_IS_SURROGATE(c) ? "" : DifferenceOf(c, layer, to_glibc, from_glibc);
        if (!kind.empty()) {
            findings[kind].add(c);
        }
    }
    for (auto & [kind, finding] : findings) {
        finding.end_run();
        std::ostringstream line;
        line << "| " << row.row << " | " << row.glibc << " | " << kind << " | " << finding.count << " | "
             << (finding.runs <= MOST_RUNS ? finding.text.str() : "") << " |";
        lines.push_back(line.str());
    }
}

} // namespace

TEST(MultiByte, EntryPointsConvertEachCharacterAsIcuDoes)
{
    for (const a_row & row : ROWS) {
        const char * label = UTLocale::_charset_info[row.row].icu_label();
        SCOPED_TRACE(label);
        const an_icu layer(label, ucnv_open_3_4);
        const an_icu direct(row.icu != nullptr ? row.icu : label, ucnv_open);
        UErrorCode error = U_ZERO_ERROR;
        USet * all = uset_openEmpty();
        ucnv_getUnicodeSet(direct.converter.get(), all, UCNV_ROUNDTRIP_AND_FALLBACK_SET, &error);
        uset_removeRange(all, 0xD800, 0xDFFF);
        ASSERT_GT(uset_size(all), 7000);
        for (int32_t range = 0; range < uset_getRangeCount(all); range++) {
            UChar32 first = 0;
            UChar32 last = 0;
            ASSERT_EQ(uset_getItem(all, range, &first, &last, nullptr, 0, &error), 0);
            for (UChar32 c = first; c <= last; c++) {
                const a_code code = Encode(layer, ucnv_fromUnicode_3_4, c);
                ASSERT_FALSE(code.empty()) << c;
                ASSERT_EQ(code, Encode(direct, ucnv_fromUnicode, c)) << c;
                ASSERT_EQ(Decode(layer, ucnv_toUnicode_3_4, code), Decode(direct, ucnv_toUnicode, code)) << c;
            }
        }
        uset_close(all);
    }
}

TEST(MultiByte, DifferencesFromGlibcAreTheListedOnes)
{
    std::vector<std::string> found;
    for (const a_row & row : ROWS) {
        AddDifferences(row, found);
    }
    std::vector<std::string> listed;
    std::ifstream page(std::string(ORV_SOURCE_DIR) + "/docs/catalogue.md");
    bool in_table = false;
    for (std::string line; std::getline(page, line);) {
        in_table = in_table ? !line.empty() : line == "| Row | glibc | Difference | Characters | Which |";
        if (in_table && line.find_first_of("0123456789") == 2) {
            listed.push_back(line);
        }
    }
    const std::string dump = std::string(ORV_BUILD_DIR) + "/iconv_differences.txt";
    if (found != listed) {
        std::ofstream file(dump);
        for (const std::string & line : found) {
            file << line << '\n';
        }
    }
    EXPECT_EQ(found, listed) << "what was found is in " << dump;
}
