// The packed collations: what every table must hold, and whether the letters of each script stand in the
// order of its dictionaries. ICU gives the properties, case mappings and root order to compare with.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <unicode/uchar.h>
#include <unicode/unorm2.h>

#include "utils/locale/csinfo_sources.h"
#include "utils/locale/utlocale.h"

namespace {

using Table = a_byte[256];

const a_packed_collation_order & Packed(size_t row)
{
    return *UTLocale::_charset_info[row]._packed_collation;
}

std::vector<size_t> RowsWithTables(bool single_byte)
{
    std::vector<size_t> rows;
    for (size_t row = 0; row < UTLocale::NUM_CHARSETS; ++row) {
        if (UTLocale::_charset_info[row]._packed_collation &&
            (UTLocale::_charset_info[row]._max_char_size == 1) == single_byte)
            rows.push_back(row);
    }
    return rows;
}

std::vector<size_t> AllRowsWithTables()
{
    std::vector<size_t> rows = RowsWithTables(true);
    for (const size_t row : RowsWithTables(false))
        rows.push_back(row);
    return rows;
}

// The character behind a byte; 0xFFFD where there is none, C1 controls among them.
unsigned Character(size_t row, unsigned byte)
{
    if (byte < 0x80)
        return byte;
    const unsigned value = UTLocale::_charset_info[row]._to_utf16_upper128[byte - 0x80];
    return value <= 0x9F && value >= 0x80 ? 0xFFFDu : value;
}

int ByteOf(size_t row, unsigned character)
{
    for (unsigned byte = 0; byte <= 0xFF; ++byte) {
        if (Character(row, byte) == character)
            return static_cast<int>(byte);
    }
    return -1;
}

std::string Name(size_t row, unsigned byte)
{
    char text[32];
    (void)snprintf(text, sizeof text, "%zu %02X U+%04X", row, byte, Character(row, byte));
    return text;
}

TEST(PackedCollations, PositionsHaveNoGapAndCaselessOnesAreCoarser)
{
    ASSERT_EQ(AllRowsWithTables().size(), 55u);
    for (const size_t row : AllRowsWithTables()) {
        const a_packed_collation_order & packed = Packed(row);
        for (const Table * table : {&packed.sensitive, &packed.insensitive}) {
            const std::set<a_byte> used(std::begin(*table), std::end(*table));
            EXPECT_EQ(used.size(), size_t{*used.rbegin()} + 1) << row;
        }
        for (unsigned a = 0; a < 256; ++a) {
            for (unsigned b = 0; b < 256; ++b) {
                ASSERT_TRUE(packed.sensitive[a] > packed.sensitive[b] ||
                            packed.insensitive[a] <= packed.insensitive[b])
                    << row << ' ' << a << ' ' << b;
            }
        }
    }
}

// Lower case comes just before upper case: no letter of another kind may stand between the two.
TEST(PackedCollations, FoldingIsDoneOnceAndItsLettersAreNeighbours)
{
    for (const size_t row : AllRowsWithTables()) {
        const a_packed_collation_order & packed = Packed(row);
        for (unsigned b = 0; b < 256; ++b) {
            for (const Table * map : {&packed.tolower, &packed.toupper}) {
                const a_byte folded = (*map)[b];
                ASSERT_EQ((*map)[folded], folded) << Name(row, b);
                ASSERT_EQ(packed.insensitive[folded], packed.insensitive[b]) << row << ' ' << b;
            }
            const a_byte lower = packed.tolower[b];
            EXPECT_TRUE(lower == b || packed.sensitive[lower] + 1 == packed.sensitive[b]) << row << ' ' << b;
        }
        for (unsigned b = 'a'; b <= 'z'; ++b) {
            EXPECT_EQ(packed.toupper[b], b - 'a' + 'A') << row;
            EXPECT_EQ(packed.tolower[b - 'a' + 'A'], b) << row;
        }
    }
}

TEST(PackedCollations, AsciiFlagsAreTheSameInEveryTable)
{
    std::array<a_byte, 128> flags{};
    std::fill(&flags[9], &flags[14], PACKED_SPACE);
    flags[u8' '] = PACKED_SPACE;
    std::fill(&flags[u8'0'], &flags[u8'9'] + 1, PACKED_DIGIT);
    std::fill(&flags[u8'A'], &flags[u8'Z'] + 1, PACKED_ALPHA);
    std::fill(&flags[u8'a'], &flags[u8'z'] + 1, PACKED_ALPHA);
    for (const size_t row : AllRowsWithTables())
        EXPECT_EQ(memcmp(Packed(row).flags, flags.data(), flags.size()), 0) << row;
    const auto * upper = Packed(0).flags + 128;
    EXPECT_EQ(std::count(upper, upper + 128, 0), 128);
}

TEST(PackedCollations, AsciiKeepsItsOrder)
{
    const a_packed_collation_order & packed = Packed(0);
    std::string order;
    for (unsigned b = 0; b < 0x20; ++b)
        order += static_cast<char>(b);
    order +=
        "\x7F "
        "_-,;:!?.'\"()[]{}@*/\\&#%`^+<=>|~$0123456789aAbBcCdDeEfFgGhHiIjJkKlLmMnNoOpPqQrRsStTuUvVwWxXyYzZ";
    ASSERT_EQ(order.size(), 128u);
    for (size_t position = 0; position < order.size(); ++position)
        EXPECT_EQ(packed.sensitive[static_cast<a_byte>(order[position])], position);
    EXPECT_EQ(packed.sensitive[u8'a'], 0x4C);
    for (unsigned b = 0x80; b <= 0xFF; ++b) {
        EXPECT_EQ(packed.sensitive[b], b);
        EXPECT_EQ(packed.insensitive[b], b - 0x80 + 0x66);
    }
    EXPECT_EQ(packed.insensitive[u8'a'], 0x4C);
    EXPECT_EQ(packed.insensitive[u8'A'], 0x4C);
}

// Multi-byte text orders by code, whatever the character set.
TEST(PackedCollations, MultiByteTextOrdersByCode)
{
    for (const size_t row : RowsWithTables(false))
        EXPECT_EQ(memcmp(&Packed(row), &Packed(0), offsetof(a_packed_collation_order, flags)), 0) << row;
}

TEST(PackedCollations, BytesWithoutACharacterComeLast)
{
    for (const size_t row : RowsWithTables(true)) {
        const a_packed_collation_order & packed = Packed(row);
        unsigned empty = 0;
        for (unsigned b = 0x80; b <= 0xFF; ++b)
            empty += Character(row, b) == 0xFFFD;
        const unsigned top = *std::max_element(std::begin(packed.sensitive), std::end(packed.sensitive));
        for (unsigned b = 0x80, next = top + 1 - empty; b <= 0xFF; ++b) {
            if (Character(row, b) == 0xFFFD) {
                EXPECT_EQ(packed.sensitive[b], next++) << Name(row, b);
                EXPECT_EQ(packed.tolower[b], b) << Name(row, b);
                EXPECT_EQ(packed.toupper[b], b) << Name(row, b);
            }
        }
    }
}

bool IsAssigned(UChar32 c)
{
    const int8_t type = u_charType(c);
    return type != U_UNASSIGNED && type != U_SURROGATE && type != U_PRIVATE_USE_CHAR;
}

// Characters behind lead bytes whose length isn't what the lead byte tells: "row lead trailing bytes".
std::set<std::string> TornCharacters(size_t row, UConverter * converter)
{
    std::set<std::string> torn;
    UErrorCode status = U_ZERO_ERROR;
    ucnv_setFromUCallBack(converter, UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    for (UChar32 c = 0x80; c <= UCHAR_MAX_VALUE; ++c) {
        if (!IsAssigned(c))
            continue;
        UChar wide[2];
        int32_t units = 0;
        U16_APPEND_UNSAFE(wide, units, c);
        char bytes[8];
        status = U_ZERO_ERROR;
        const int32_t length = ucnv_fromUChars(converter, bytes, sizeof bytes, wide, units, &status);
        const auto lead = static_cast<a_byte>(bytes[0]);
        if (U_SUCCESS(status) && lead >= 0x80 &&
            length - 1 != (Packed(row).flags[lead] & PACKED_TRAILING_BYTES))
            torn.insert(std::to_string(row) + ' ' + std::to_string(lead) + ' ' + std::to_string(length - 1));
    }
    return torn;
}

// GB18030 and CESU-8 have characters whose length the lead byte doesn't tell: they are stepped over as two.
TEST(LeadBytes, SteppingTearsNoCharacter)
{
    for (const size_t row : RowsWithTables(false)) {
        const IcuConverter icu(IcuConverter::nearest(row));
        for (const std::string & length : TornCharacters(row, icu.get())) {
            const bool gb18030_pair = row == 40 && length.ends_with(" 3");
            const bool cesu8_surrogates = row == 56 && length == "56 237 5";
            EXPECT_TRUE(gb18030_pair || cesu8_surrogates) << length;
        }
    }
}

TEST(PackedCollations, FlagsAreUnicodesProperties)
{
    std::vector<std::string> found;
    for (const size_t row : RowsWithTables(true)) {
        for (unsigned b = 0; b <= 0xFF; ++b) {
            const UChar32 c = b < 0x80 ? b : UTLocale::_charset_info[row]._to_utf16_upper128[b - 0x80];
            const int expected = (u_isUAlphabetic(c) ? PACKED_ALPHA : 0) | (u_isdigit(c) ? PACKED_DIGIT : 0) |
                                 (u_isUWhiteSpace(c) ? PACKED_SPACE : 0);
            if ((Packed(row).flags[b] & ~PACKED_TRAILING_BYTES) != expected)
                found.push_back(Name(row, b));
        }
    }
    ExpectTheListed(found, {});
}

// The byte of a letter, in whatever form the page has it: Arabic pages of DOS times hold its shapes.
int ByteOfLetter(size_t row, unsigned letter)
{
    UErrorCode status = U_ZERO_ERROR;
    const UNormalizer2 * nfkc = unorm2_getNFKCInstance(&status);
    for (unsigned b = 0; b <= 0xFF; ++b) {
        const UChar character = static_cast<UChar>(Character(row, b));
        UChar plain[24];
        status = U_ZERO_ERROR;
        if (unorm2_normalize(nfkc, &character, 1, plain, 24, &status) == 1 && plain[0] == letter)
            return static_cast<int>(b);
    }
    return -1;
}

// One alphabet as a dictionary has it, and the pages made for it.
struct Alphabet {
    const char * language;
    std::u16string_view letters;
    std::vector<size_t> rows;
};

const std::vector<Alphabet> & Alphabets()
{
    static const std::vector<Alphabet> all = {
        {"English", u"abcdefghijklmnopqrstuvwxyz", RowsWithTables(true)},
        {"Icelandic", u"abdefghijklmnoprstuvxyþ", {1, 2, 4, 32, 46}},
        {"Turkish", u"abcdefghiıjklmnoprstuvyz", {16, 21, 30, 48}},
        {"Vietnamese", u"abcdeghiklmnopqrstuvxy", {52}},
        {"Russian", u"абвгдежзийклмнопрстуфхцчшщъыьэюя", {12, 18, 22, 28, 37, 45}},
        {"Ukrainian", u"абвгдеєжзиійклмнопрстуфхцчшщьюя", {18, 45}},
        {"Serbian", u"абвгдђежзијклљмнњопрстћуфхцчџш", {12, 18, 28, 45}},
        {"Macedonian", u"абвгдежзѕијклљмнњопрстуфхцчџш", {12, 18, 28, 45}},
        {"Greek", u"αβγδεζηθικλμνξοπρστυφχψω", {14, 20, 38, 47}},
        {"Hebrew", u"אבגדהוזחטיכלמנסעפצקרשת", {15, 29, 33, 49}},
        {"Arabic", u"ابتثجحخدذرزسشصضطظعغفقكلمنهوي", {13, 35, 50}},
        {"Thai", u"กขฃคฅฆงจฉชซฌญฎฏฐฑฒณดตถทธนบปผฝพฟภมยรฤลฦวศษสหฬอฮ", {23, 39}},
    };
    return all;
}

TEST(DictionaryOrder, NeighboursOfEachAlphabetFollowEachOther)
{
    for (const Alphabet & alphabet : Alphabets()) {
        for (const size_t row : alphabet.rows) {
            for (size_t i = 1; i < alphabet.letters.size(); ++i) {
                const int before = ByteOfLetter(row, alphabet.letters[i - 1]);
                const int after = ByteOfLetter(row, alphabet.letters[i]);
                ASSERT_TRUE(before >= 0 && after >= 0) << alphabet.language << ' ' << row << ' ' << i;
                EXPECT_LT(Packed(row).insensitive[before], Packed(row).insensitive[after])
                    << alphabet.language << ' ' << Name(row, static_cast<unsigned>(after));
            }
        }
    }
}

// Letters that share a place, the first of them the plain one, wherever a page has them.
TEST(DictionaryOrder, AccentedAndFinalFormsStandWithTheirLetter)
{
    const std::u16string_view shared[] = {
        u"aàáâãäåāăą", u"cçćčĉ", u"dďđð", u"eèéêëēęěė", u"gğģ",        u"iìíîïīį", u"lłĺľļ", u"nñńňņ",
        u"oòóôõöøōőơ", u"rŕřŗ",  u"sśšş", u"tťţ",       u"uùúûüūůűųư", u"yýÿ",     u"zźżž",  u"αά",
        u"εέ",         u"ηή",    u"ιίϊΐ", u"οό",        u"σς",         u"υύϋΰ",    u"ωώ",    u"её",
        u"гґ",         u"כך",    u"מם",   u"נן",        u"פף",         u"צץ"};
    for (const size_t row : RowsWithTables(true)) {
        for (const std::u16string_view letters : shared) {
            const int plain = ByteOf(row, letters[0]);
            for (const char16_t letter : letters) {
                const int byte = ByteOf(row, letter);
                if (byte < 0)
                    continue;
                ASSERT_GE(plain, 0) << Name(row, static_cast<unsigned>(byte));
                EXPECT_EQ(Packed(row).sensitive[byte], Packed(row).sensitive[plain])
                    << Name(row, static_cast<unsigned>(byte));
            }
        }
    }
}

// i and I pair as in ASCII in Turkish pages too; a Turkish pairing would take ASCII words apart.
TEST(DictionaryOrder, TurkishPagesPairTheAsciiLettersToo)
{
    for (const size_t row : {16, 21, 30, 48}) {
        const a_packed_collation_order & packed = Packed(row);
        const int dotless = ByteOf(row, 0x131);
        const int dotted = ByteOf(row, 0x130);
        ASSERT_TRUE(dotless >= 0 && dotted >= 0) << row;
        EXPECT_EQ(packed.tolower[u8'I'], 'i') << row;
        EXPECT_EQ(packed.toupper[u8'i'], 'I') << row;
        EXPECT_EQ(packed.tolower[dotted], 'i') << row;
        EXPECT_EQ(packed.toupper[dotless], dotless) << row;
    }
}

} // namespace
