#include "utils/etc/legacy_collation.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "reference/legacy_collation_model.h"
#include "utils/etc/utcollation.h"
#include "utils/etc/utstream.h"
#include "utils/locale/tailoring.h"

namespace {

using a_text = LegacyCollationModel::a_text;

int sign(int value)
{
    return (value > 0) - (value < 0);
}

int sign_of(const a_text & s1, const a_text & s2)
{
    return int{s1 > s2} - int{s1 < s2};
}

a_text text(const std::string & bytes)
{
    return {bytes.begin(), bytes.end()};
}

// A block of the exact size, so that a sanitizer sees the first byte read or written behind it.
class Exact {
public:
    explicit Exact(const a_text & bytes, bool terminated = false)
        : _size(bytes.size()), _bytes(new a_byte[bytes.size() + terminated])
    {
        std::copy(bytes.begin(), bytes.end(), _bytes.get());
        if (terminated) {
            _bytes[_size] = 0;
        }
    }
    explicit Exact(size_t size, a_byte fill = 0xA5) : Exact(a_text(size, fill)) {}

    a_byte * begin() const { return _bytes.get(); }
    a_byte * end() const { return _bytes.get() + _size; }
    size_t size() const { return _size; }
    a_text first(size_t size) const { return {begin(), begin() + size}; }

private:
    size_t _size;
    std::unique_ptr<a_byte[]> _bytes;
};

// Streams over a text: one that shows no buffer, and one that shows it in pieces of 1 to `most` bytes.
class PlainIStream : public UTIStream {
public:
    explicit PlainIStream(const a_text & bytes) : _bytes(bytes) {}
    size_t do_get(a_byte * dest, size_t size) override
    {
        const size_t len = std::min(size, _bytes.size() - _at);
        std::copy_n(_bytes.data() + _at, len, dest);
        _at += len;
        if (len < size) {
            set_eof();
        }
        return len;
    }
    size_t consumed() const { return _at; }

private:
    a_text _bytes;
    size_t _at = 0;
};

class PiecesIStream : public UTBufferedIStream {
public:
    PiecesIStream(const a_text & bytes, size_t most, unsigned seed)
        : _bytes(bytes), _most(most), _random(seed)
    {
    }
    void refill() override
    {
        const size_t len = std::min<size_t>(_bytes.size() - _at, 1 + _random() % _most);
        if (len == 0) {
            set_eof();
            return;
        }
        _piece = std::make_unique<Exact>(a_text(_bytes.begin() + static_cast<std::ptrdiff_t>(_at),
                                                _bytes.begin() + static_cast<std::ptrdiff_t>(_at + len)));
        _at += len;
        setp(_piece->begin(), _piece->end());
    }
    size_t consumed() const { return _at - static_cast<size_t>(lim() - ptr()); }

private:
    a_text _bytes;
    size_t _most;
    std::mt19937 _random;
    size_t _at = 0;
    std::unique_ptr<Exact> _piece;
};

class PlainOStream : public UTOStream {
public:
    size_t do_put(const a_byte * src, size_t size) override
    {
        taken.insert(taken.end(), src, src + size);
        return size;
    }
    a_text taken;
};

constexpr a_case_sensitivity CASES[] = {CASE_SENSITIVE, CASE_INSENSITIVE};

// A collation over the tables of a character set, with its model.
struct Subject {
    Subject(const CharsetInfo & charset, a_case_sensitivity sensitivity)
        : name(std::string(charset.orv_label()) + (sensitivity == CASE_INSENSITIVE ? " no case" : " case")),
          collation(nullptr), model{*charset.get_packed_collation(), sensitivity != CASE_INSENSITIVE,
                                    charset.is_mbcs() != FALSE}
    {
        CollationInfoPod row = {};
        row._orv_collation_label = "test";
        row._required_charset = &charset;
        row._collation_type = LEGACY_COLLATION;
        rows.push_back(row);
        // Rows of the catalogue are plain records, too.
        EXPECT_TRUE(collation.set_collation(nullptr, static_cast<const CollationInfo *>(&rows.back()),
                                            &charset, nullptr, UTCollationTailoring(sensitivity), FALSE));
    }

    std::string name;
    std::vector<CollationInfoPod> rows;
    UTCollation collation;
    LegacyCollationModel model;
};

// Bytes that meet each other often: a few letters in both cases and their neighbours in position, lead bytes
// of every kind, and some of any value.
class Words {
public:
    Words(const LegacyCollationModel & model, unsigned seed) : _random(seed)
    {
        for (const char c : {'a', 'A', 'b', 'B', '\\', ' ', '1', '\x01', '\xE4', '\xC4', '\xFE', '\xFF'}) {
            _alphabet.push_back(static_cast<a_byte>(c));
        }
        for (const a_byte extreme : {a_byte{253}, a_byte{254}, a_byte{255}}) {
            for (int b = 0; b < 256; b++) {
                if (model.position(static_cast<a_byte>(b)) == extreme) {
                    _alphabet.push_back(static_cast<a_byte>(b));
                }
            }
        }
        for (int following = 1; following < 4; following++) {
            for (int b = 0, found = 0; b < 256 && found < 3; b++) {
                if (model.packed.flags[b] % 4 == following) {
                    _alphabet.push_back(static_cast<a_byte>(b));
                    found++;
                }
            }
        }
    }

    a_text next(size_t longest)
    {
        a_text word(_random() % (longest + 1));
        for (a_byte & b : word) {
            b = _random() % 16 == 0 ? static_cast<a_byte>(_random())
                                    : _alphabet[_random() % _alphabet.size()];
        }
        return word;
    }

    // Often the same beginning, or the same word in another case.
    a_text neighbour(const a_text & word, const LegacyCollationModel & model, size_t longest)
    {
        a_text other = word;
        if (_random() % 2 == 0) {
            other = model.mapped(other, _random() % 2 == 0 ? model.packed.tolower : model.packed.toupper);
        }
        if (_random() % 2 == 0 && !other.empty()) {
            other[_random() % other.size()] = next(1).empty() ? 'a' : _alphabet[_random() % _alphabet.size()];
        }
        const a_text more = next(longest);
        if (_random() % 3 == 0) {
            other.insert(other.end(), more.begin(), more.end());
        } else if (_random() % 3 == 0) {
            other.resize(_random() % (other.size() + 1));
        }
        return other;
    }

    size_t below(size_t limit) { return _random() % limit; }

private:
    std::mt19937 _random;
    a_text _alphabet;
};

template<typename Check> void for_every_table(Check && check)
{
    unsigned seed = 16;
    for (const CharsetInfo & charset : UTLocale::_charset_info) {
        if (charset.get_packed_collation() == nullptr) {
            continue;
        }
        for (const a_case_sensitivity sensitivity : CASES) {
            Subject subject(charset, sensitivity);
            SCOPED_TRACE(subject.name);
            Words words(subject.model, seed++);
            check(subject, words);
            if (testing::Test::HasFailure()) {
                return; // one table tells it
            }
        }
    }
}

a_text without_zeros(a_text word)
{
    std::replace(word.begin(), word.end(), a_byte{0}, a_byte{'z'});
    return word;
}

// The whole key, in a block of exactly its size.
a_text key_of(const UTCollation & collation, const a_text & word)
{
    const Exact source(word);
    const Exact key(2 * word.size() + 1);
    const size_t len = collation.sortkey_prefix(key.begin(), key.size(), source.begin(), source.size());
    return key.first(len);
}

TEST(LegacyCollationProperty, EveryFormOfComparisonAgreesWithTheModel)
{
    for_every_table([](Subject & subject, Words & words) {
        for (int i = 0; i < 150; i++) {
            const a_text w1 = without_zeros(words.next(i % 4 == 0 ? 40 : 12)); // beyond a block or two
            const a_text w2 = without_zeros(words.neighbour(w1, subject.model, 6));
            const int expected = subject.model.compare(w1, w2);
            const Exact s1(w1);
            const Exact s2(w2);
            const Exact z1(w1, true);
            const Exact z2(w2, true);
            const UTCollation & collation = subject.collation;
            ASSERT_EQ(sign(collation.trancmp(s1.begin(), s1.size(), s2.begin(), s2.size())), expected);
            ASSERT_EQ(sign(collation.trancmp(z1.begin(), z2.begin())), expected);
            ASSERT_EQ(sign(collation.tranncmp(z1.begin(), z2.begin(), 1000)), expected);
            PlainIStream p1(w1);
            PlainIStream p2(w2);
            ASSERT_EQ(sign(collation.trancmp(p1, p2)), expected);
            PiecesIStream b1(w1, 3, 1);
            PiecesIStream b2(w2, 3, 2);
            ASSERT_EQ(sign(collation.trancmp(b1, 1, b2, 1)), expected) << "the lengths count for nothing";
            // A limit cuts both, and then needs no terminator.
            const size_t limit = words.below(14);
            const a_text cut1(w1.begin(),
                              w1.begin() + static_cast<std::ptrdiff_t>(std::min(limit, w1.size())));
            const a_text cut2(w2.begin(),
                              w2.begin() + static_cast<std::ptrdiff_t>(std::min(limit, w2.size())));
            const Exact l1(cut1, cut1.size() < limit);
            const Exact l2(cut2, cut2.size() < limit);
            ASSERT_EQ(sign(collation.tranncmp(l1.begin(), l2.begin(), limit)),
                      subject.model.compare(cut1, cut2));
        }
    });
}

TEST(LegacyCollationProperty, KeysOrderAsStringsDoAndEqualStringsHashEqually)
{
    for_every_table([](Subject & subject, Words & words) {
        for (int i = 0; i < 150; i++) {
            const a_text w1 = words.next(12);
            const a_text w2 = words.neighbour(w1, subject.model, 6);
            const int order = sign(subject.collation.trancmp(w1.data(), w1.size(), w2.data(), w2.size()));
            const a_text k1 = key_of(subject.collation, w1);
            const a_text k2 = key_of(subject.collation, w2);
            ASSERT_EQ(k1, subject.model.key(w1));
            ASSERT_EQ(sign_of(k1, k2), order);
            ASSERT_EQ(std::count(k1.begin(), k1.end(), 0), 1);
            // A cut character's trailing bytes stand for themselves, but hash by position.
            if (order == 0) {
                ASSERT_EQ(subject.collation.id_hash(w1.data(), w1.size()),
                          subject.collation.id_hash(w2.data(), w2.size()));
            }
            const double h1 = subject.collation.hist_hash(w1.data(), w1.size(), 0, 6);
            const double h2 = subject.collation.hist_hash(w2.data(), w2.size(), 0, 6);
            if (!subject.model.multi_byte && order != 0) {
                ASSERT_LE(order * h2, order * h1);
            }
        }
    });
}

TEST(LegacyCollationProperty, KeysCutAtAnyPlaceAndStreamsInAnyPiecesAreTheSame)
{
    for_every_table([](Subject & subject, Words & words) {
        for (int i = 0; i < 60; i++) {
            const a_text word = words.next(i % 10 == 0 ? 700 : 12);
            const a_text whole = subject.model.key(word);
            const size_t size = words.below(whole.size() + 3);
            const size_t expected = std::min(size, whole.size());
            const Exact source(word);
            const Exact counted(size);
            ASSERT_EQ(subject.collation.sortkey_prefix(counted.begin(), size, source.begin(), source.size()),
                      expected);
            ASSERT_TRUE(std::equal(counted.begin(), counted.begin() + expected, whole.begin()));
            ASSERT_TRUE(
                std::all_of(counted.begin() + expected, counted.end(), [](a_byte b) { return b == 0xA5; }));

            PlainIStream plain(word);
            const Exact from_plain(size);
            ASSERT_EQ(subject.collation.sortkey_prefix(from_plain.begin(), size, plain), expected);
            ASSERT_EQ(from_plain.first(expected), counted.first(expected));
            ASSERT_EQ(plain.consumed(), word.size()) << "a full key ends the reading";

            const size_t limit = words.below(word.size() + 2);
            const a_text begin(word.begin(),
                               word.begin() + static_cast<std::ptrdiff_t>(std::min(limit, word.size())));
            const a_text limited_key = subject.model.key(begin);
            PiecesIStream pieces(word, 5, static_cast<unsigned>(i));
            const Exact limited(size);
            ASSERT_EQ(subject.collation.sortkey_prefix(limited.begin(), size, pieces, limit),
                      std::min(size, limited_key.size()));
            ASSERT_TRUE(std::equal(limited.begin(), limited.begin() + std::min(size, limited_key.size()),
                                   limited_key.begin()));
            ASSERT_EQ(pieces.consumed(), begin.size());

            const a_text older = subject.model.tessel_key(word);
            PiecesIStream again(word, 5, static_cast<unsigned>(i));
            const Exact tessel(size);
            ASSERT_EQ(subject.collation.sortkey_prefix_tessel(tessel.begin(), size, again, 1),
                      std::min(size, older.size()));
            ASSERT_TRUE(
                std::equal(tessel.begin(), tessel.begin() + std::min(size, older.size()), older.begin()));
            ASSERT_EQ(again.consumed(), word.size());
        }
    });
}

TEST(LegacyCollationProperty, MappingChangesSingleBytesAloneInEveryForm)
{
    for_every_table([](Subject & subject, Words & words) {
        const UTCollation & collation = subject.collation;
        for (int i = 0; i < 60; i++) {
            const a_text word = words.next(i % 10 == 0 ? 700 : 12);
            const Exact source(word);
            const a_text lower = subject.model.mapped(word, subject.model.packed.tolower);
            const a_text upper = subject.model.mapped(word, subject.model.packed.toupper);
            const size_t size = words.below(word.size() + 3);
            const size_t expected = std::min(size, word.size());
            const Exact memory(size);
            ASSERT_EQ(collation.str_tolower(memory.begin(), size, source.begin(), source.size()), expected);
            ASSERT_TRUE(std::equal(memory.begin(), memory.begin() + expected, lower.begin()));
            ASSERT_TRUE(size <= expected || memory.begin()[expected] == 0);
            ASSERT_EQ(collation.str_toupper(memory.begin(), size, source.begin(), source.size()), expected);
            ASSERT_TRUE(std::equal(memory.begin(), memory.begin() + expected, upper.begin()));

            PlainOStream output;
            PiecesIStream pieces(word, 5, static_cast<unsigned>(i));
            ASSERT_EQ(collation.str_toupper(output, pieces), word.size());
            ASSERT_EQ(output.taken, upper);
            PlainIStream plain(word);
            const Exact small(size);
            UTBufOStream buffer(small.begin(), size);
            ASSERT_EQ(collation.str_tolower(buffer, plain), expected);
            ASSERT_TRUE(std::equal(small.begin(), small.begin() + expected, lower.begin()));

            // The first character alone.
            const size_t room = words.below(4);
            const Exact character(room);
            const auto first = subject.model.characters(upper);
            const size_t len = word.empty() ? 0 : std::min(room, first[0].size());
            ASSERT_EQ(collation.char_toupper(character.begin(), room, source.begin(), source.size()), len);
            ASSERT_TRUE(std::equal(character.begin(), character.begin() + len, upper.begin()));
        }
        ASSERT_EQ(collation.case_translation_preserves_sort_order() != FALSE,
                  subject.model.mapping_keeps_order());
    });
}

TEST(LegacyCollationProperty, CharactersAreSteppedAndComparedWithinTheirString)
{
    for_every_table([](Subject & subject, Words & words) {
        const UTCollation & collation = subject.collation;
        for (int i = 0; i < 100; i++) {
            const a_text w1 = words.next(6);
            const a_text w2 = words.neighbour(w1, subject.model, 3);
            const Exact s1(w1);
            const Exact s2(w2);
            const auto characters = subject.model.characters(w1);
            ASSERT_EQ(collation.num_characters(s1.begin(), s1.size()), characters.size());
            size_t start = 0;
            for (const a_text & character : characters) {
                for (size_t in = 1; in <= character.size(); in++) {
                    ASSERT_EQ(collation.prev_character(s1.begin(), s1.begin() + start + in),
                              s1.begin() + start);
                }
                const Exact copy(character.size());
                ASSERT_EQ(collation.copy_character(copy.begin(), copy.size(), s1.begin() + start, s1.end()),
                          character.size());
                ASSERT_EQ(copy.first(copy.size()), character);
                start += character.size();
            }
            const a_byte * left1 = nullptr;
            const a_byte * left2 = nullptr;
            const int order =
                sign(collation.compare_character(s1.begin(), s1.end(), &left1, s2.begin(), s2.end(), &left2));
            const a_text c1 = characters.empty() ? a_text{} : characters[0];
            const a_text c2 = w2.empty() ? a_text{} : subject.model.characters(w2)[0];
            ASSERT_EQ(order, subject.model.compare(c1, c2));
            ASSERT_EQ(left1, s1.begin() + c1.size());
            ASSERT_EQ(left2, s2.begin() + c2.size());

            size_t expected_end = 0;
            a_byte * match_end = nullptr;
            const bool expected = subject.model.is_prefix(w1, w2, expected_end);
            ASSERT_EQ(collation.is_prefix(s1.begin(), s1.end(), s2.begin(), s2.end(), &match_end) != FALSE,
                      expected);
            ASSERT_EQ(match_end, s2.begin() + expected_end);
        }
    });
}

TEST(LegacyCollationProperty, BoundsEncloseEveryStringWithThePrefix)
{
    for_every_table([](Subject & subject, Words & words) {
        for (int i = 0; i < 100; i++) {
            const a_text prefix = words.next(6);
            a_text word = prefix;
            const a_text more = words.next(5);
            word.insert(word.end(), more.begin(), more.end());
            const a_text key = key_of(subject.collation, prefix);
            const a_text inside = key_of(subject.collation, word);
            // 0xFF 0xFF is itself a value, so a string that goes on with it can lie above the bound.
            if (inside.size() >= key.size() + 1 && inside[key.size() - 1] == 255 &&
                inside[key.size()] == 255) {
                continue;
            }
            const Exact low(key.size() + 3);
            const Exact high(key.size() + 3);
            const UTCollation & collation = subject.collation;
            const size_t low_size =
                collation.sortkey_bound(LOWER_INCLUSIVE, low.begin(), low.size(), key.data(), key.size());
            const size_t high_size =
                collation.sortkey_bound(UPPER_INCLUSIVE, high.begin(), high.size(), key.data(), key.size());
            ASSERT_LE(low.first(low_size), inside);
            ASSERT_GE(high.first(high_size), inside);
            // A bound that is cut is still one.
            const size_t room = 1 + words.below(key.size() + 2);
            const Exact cut(room);
            const size_t cut_low =
                collation.sortkey_bound(LOWER_INCLUSIVE, cut.begin(), room, key.data(), key.size());
            ASSERT_LE(cut.first(cut_low), inside);
        }
    });
}

// ---- Single cases

const CharsetInfo & charset(const char * label)
{
    return *UTLocale::GetCharsetInfoFromLabel(label, CS_STD_ANY);
}

TEST(LegacyCollation, PositionsOfTheRowCMakeTheKey)
{
    UTCollation collation(nullptr);
    ASSERT_TRUE(collation.set_c_collation(CASE_SENSITIVE));
    a_byte key[8];
    ASSERT_EQ(collation.sortkey_prefix(key, sizeof key, "ab", 2), 3U);
    EXPECT_EQ(a_text(key, key + 3), (a_text{0x4D, 0x4F, 0x00}));
    EXPECT_EQ(collation.sortkey_prefix(key, sizeof key, "", 0), 1U);
    EXPECT_EQ(key[0], 0);
    key[0] = 7;
    EXPECT_EQ(collation.sortkey_prefix(key, 0, "ab", 2), 0U);
    EXPECT_EQ(key[0], 7);
    EXPECT_EQ(collation.suggested_sortkey_length(17), 17U);
    EXPECT_FALSE(collation.from_default());
}

TEST(LegacyCollation, CaseCountsOnlyWhereItWasAskedFor)
{
    UTCollation collation(nullptr);
    EXPECT_EQ(collation.trancmp("ABC", "abc"), 0);
    EXPECT_EQ(collation.id_hash("ABC", 3), collation.id_hash("abc", 3));
    EXPECT_EQ(collation.id_hash("", 0), 5381U);
    EXPECT_EQ(key_of(collation, text("ABC")), key_of(collation, text("abc")));
    EXPECT_TRUE(collation.case_translation_preserves_sort_order());
    for (const a_case_sensitivity sensitivity : {CASE_SENSITIVE, CASE_SENSITIVE_LOWER_FIRST}) {
        ASSERT_TRUE(collation.set_c_collation(sensitivity));
        EXPECT_LT(collation.trancmp("abc", "ABC"), 0);
        EXPECT_EQ(collation.trancmp("aA", 2, "aA", 2), 0);
        EXPECT_FALSE(collation.case_translation_preserves_sort_order());
    }
}

TEST(LegacyCollation, AnEndedStringIsBeforeALongerOne)
{
    const UTCollation collation(nullptr);
    EXPECT_EQ(collation.trancmp("", ""), 0);
    EXPECT_EQ(collation.trancmp("", "a"), -1);
    EXPECT_EQ(collation.trancmp("a", ""), 1);
    EXPECT_EQ(collation.trancmp("", size_t{0}, "\0", 1), -1);
    EXPECT_EQ(collation.tranncmp("a", "b", 0), 0);
    EXPECT_LT(collation.trancmp("\0", 1, "\x01", 1), 0) << "a counted zero byte is a byte like others";
}

TEST(LegacyCollation, TrailingBytesDecideAsUnsignedValues)
{
    Subject utf8(charset("UTF-8"), CASE_INSENSITIVE);
    const UTCollation & collation = utf8.collation;
    EXPECT_EQ(collation.trancmp("\xC3\xA4", "\xC3\xB6"), 0xA4 - 0xB6);
    EXPECT_EQ(collation.trancmp("\xE2\x82\xAC", "\xE2\x82\x20"), 0xAC - 0x20);
    EXPECT_EQ(collation.trancmp("A\xC3\xA4", "a\xC3\xA4"), 0);
    EXPECT_LT(collation.trancmp("\xC3", "\xC3\xA4"), 0) << "a cut character ends its string";
}

TEST(LegacyCollation, AnEscapeCutInTheMiddleHasNoTerminator)
{
    const Subject bytes(charset("UTF-8"), CASE_SENSITIVE);
    a_byte high[2] = {};
    for (int b = 0; b < 256; b++) {
        if (bytes.model.position(static_cast<a_byte>(b)) >= 254) {
            high[bytes.model.position(static_cast<a_byte>(b)) - 254] = static_cast<a_byte>(b);
        }
    }
    ASSERT_TRUE(high[0] != 0 && high[1] != 0);
    a_byte key[4] = {1, 2, 3, 4};
    EXPECT_EQ(bytes.collation.sortkey_prefix(key, 1, &high[0], 1), 1U);
    EXPECT_EQ(a_text(key, key + 2), (a_text{0xFF, 2}));
    EXPECT_EQ(bytes.collation.sortkey_prefix(key, 4, &high[0], 1), 3U);
    EXPECT_EQ(a_text(key, key + 3), (a_text{0xFF, 0xFE, 0}));
    EXPECT_EQ(bytes.collation.sortkey_prefix(key, 2, &high[1], 1), 2U);
    EXPECT_EQ(a_text(key, key + 2), (a_text{0xFF, 0xFF}));
    UTBufIStream stream(&high[1], 1);
    EXPECT_EQ(bytes.collation.sortkey_prefix_tessel(key, 4, stream), 3U);
    EXPECT_EQ(a_text(key, key + 3), (a_text{0xFF, 0x01, 0}));
}

TEST(LegacyCollation, BoundsFitAnyDestination)
{
    const UTCollation collation(nullptr);
    const struct {
        a_sortkey_bound_type type;
        size_t size;
        a_text key;
        a_text bound;
    } cases[] = {
        {UPPER_INCLUSIVE, 16, {0x41, 0x42, 0}, {0x41, 0x42, 0xFF, 0xFF, 0}},
        {UPPER_INCLUSIVE, 4, {0x41, 0x42, 0}, {0x41, 0x42, 0xFF, 0xFF}},
        {UPPER_INCLUSIVE, 3, {0x41, 0x42, 0}, {0x41, 0xFF, 0xFF}},
        {UPPER_INCLUSIVE, 2, {0x41, 0x42}, {0xFF, 0xFF}},
        {UPPER_INCLUSIVE, 1, {0x41, 0x42, 0}, {0xFF}},
        {UPPER_INCLUSIVE, 0, {0x41, 0x42, 0}, {}},
        {UPPER_INCLUSIVE, 8, {}, {0xFF, 0xFF, 0}},
        {LOWER_INCLUSIVE, 16, {0x41, 0x42, 0}, {0x41, 0x42, 0}},
        {LOWER_INCLUSIVE, 16, {0x41, 0x42}, {0x41, 0x42, 0}},
        {LOWER_INCLUSIVE, 2, {0x41, 0x42, 0}, {0x41, 0}},
        {LOWER_INCLUSIVE, 1, {0x41, 0x42, 0}, {0}},
        {LOWER_INCLUSIVE, 4, {0}, {0}},
        {LOWER_INCLUSIVE, 4, {0x41, 0, 0}, {0x41, 0, 0}}, // one zero byte is the terminator, no more
    };
    for (const auto & row : cases) {
        const Exact dest(row.size);
        const size_t len =
            collation.sortkey_bound(row.type, dest.begin(), dest.size(), row.key.data(), row.key.size());
        EXPECT_EQ(dest.first(len), row.bound) << row.size;
    }
}

TEST(LegacyCollation, AHistogramNumberTurnsBackIntoTheSmallestBytesOfItsPositions)
{
    const UTCollation collation(nullptr);
    const Exact back(size_t{9});
    collation.hist_unhash(collation.hist_hash("AB", 2, 0, 6), back.begin(), 0, 0, 6);
    // Positions of both cases are those of the upper case, the smaller bytes.
    EXPECT_EQ(back.first(7), (a_text{'A', 'B', 0, 0, 0, 0, 0}));
    EXPECT_EQ(back.begin()[7], 0xA5);
    EXPECT_EQ(collation.hist_hash("", 0, 0, 6), 0.0);
    EXPECT_EQ(collation.hist_hash("A", 1, 0, 2), collation.hist_hash("A", 1, 0, 1) * 256);
    EXPECT_EQ(collation.hist_hash("ABC", 3, 0, 2), collation.hist_hash("AB", 2, 7, 2));
    collation.hist_unhash(1.0, static_cast<a_byte *>(nullptr), 0, 0, 0);
    // A position that no byte has, and numbers that no string has.
    collation.hist_unhash(255.0, back.begin(), 0, 0, 1);
    EXPECT_EQ(back.begin()[0], '?');
    for (const double number :
         {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
        collation.hist_unhash(number, back.begin(), 0, 0, 8);
        EXPECT_EQ(back.first(9), a_text(9, 0));
    }
    collation.hist_unhash(-1e300, back.begin(), 0, 0, 8);
    EXPECT_EQ(back.begin()[8], 0);
}

TEST(LegacyCollation, ClassesAreThoseOfTheFirstByte)
{
    const Subject utf8(charset("UTF-8"), CASE_SENSITIVE);
    const UTCollation & collation = utf8.collation;
    const struct {
        const char * str;
        bool alpha;
        bool num;
        bool space;
    } cases[] = {{"a1", true, false, false},  {"1a", false, true, false}, {" a", false, false, true},
                 {"\ta", false, false, true}, {"-", false, false, false}, {"\xC3\xA4", false, false, false}};
    for (const auto & row : cases) {
        const auto lead = static_cast<a_byte>(row.str[0]);
        const bool alpha = lead < 0x80 ? row.alpha : (utf8.model.packed.flags[lead] & PACKED_ALPHA) != 0;
        EXPECT_EQ(collation.is_alpha(row.str, 1), alpha) << row.str;
        EXPECT_EQ(collation.is_digit(row.str, 1), row.num) << row.str;
        EXPECT_EQ(collation.is_alphanum(row.str, 1), alpha || row.num) << row.str;
        EXPECT_EQ(collation.is_space(row.str, 1), row.space) << row.str;
        EXPECT_EQ(collation.is_alpha(row.str, 0) + collation.is_digit(row.str, 0) +
                      collation.is_alphanum(row.str, 0) + collation.is_space(row.str, 0),
                  0);
    }
}

} // namespace
