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
#include "support/catalogue.h"
#include "support/plain_streams.h"
#include "utils/etc/utcollation.h"
#include "utils/etc/utstream.h"
#include "utils/locale/tailoring.h"

namespace {

int sign(int value)
{
    return (value > 0) - (value < 0);
}

int sign_of(const Bytes & s1, const Bytes & s2)
{
    return int{s1 > s2} - int{s1 < s2};
}

Bytes beginning(const Bytes & text, size_t len)
{
    return {text.begin(), text.begin() + static_cast<std::ptrdiff_t>(std::min(len, text.size()))};
}

// Does `dest` hold as much of `whole` as fits, and nothing behind it?
void expect_cut(const Block & dest, size_t written, const Bytes & whole)
{
    ASSERT_EQ(written, std::min(dest.size(), whole.size()));
    ASSERT_EQ(dest.first(written), beginning(whole, written));
    ASSERT_TRUE(
        std::all_of(dest.begin() + written, dest.end(), [](a_byte b) { return b == Block::FILLING; }));
}

// A stream over a text that shows it in pieces of 1 to `most` bytes.
class PiecesIStream : public UTBufferedIStream {
public:
    PiecesIStream(const Bytes & bytes, size_t most, unsigned seed) : _bytes(bytes), _most(most), _random(seed)
    {
    }
    void refill() override
    {
        const size_t len = std::min<size_t>(_bytes.size() - _at, 1 + _random() % _most);
        if (len == 0) {
            set_eof();
            return;
        }
        _piece = std::make_unique<Block>(Bytes(_bytes.begin() + static_cast<std::ptrdiff_t>(_at),
                                               _bytes.begin() + static_cast<std::ptrdiff_t>(_at + len)));
        _at += len;
        setp(_piece->begin(), _piece->end());
    }
    size_t consumed() const { return _at - static_cast<size_t>(lim() - ptr()); }

private:
    Bytes _bytes;
    size_t _most;
    std::mt19937 _random;
    size_t _at = 0;
    std::unique_ptr<Block> _piece;
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

    Bytes next(size_t longest)
    {
        Bytes word(_random() % (longest + 1));
        for (a_byte & b : word) {
            b = _random() % 16 == 0 ? static_cast<a_byte>(_random())
                                    : _alphabet[_random() % _alphabet.size()];
        }
        return word;
    }

    // Often the same beginning, or the same word in another case.
    Bytes neighbour(const Bytes & word, const LegacyCollationModel & model, size_t longest)
    {
        Bytes other = word;
        if (_random() % 2 == 0) {
            other = model.mapped(other, _random() % 2 == 0 ? model.packed.tolower : model.packed.toupper);
        }
        if (_random() % 2 == 0 && !other.empty()) {
            other[_random() % other.size()] = next(1).empty() ? 'a' : _alphabet[_random() % _alphabet.size()];
        }
        const Bytes more = next(longest);
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
    Bytes _alphabet;
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

Bytes without_zeros(Bytes word)
{
    std::replace(word.begin(), word.end(), a_byte{0}, a_byte{'z'});
    return word;
}

// The whole key, in a block of exactly its size.
Bytes key_of(const UTCollation & collation, const Bytes & word)
{
    const Block source(word);
    const Block key(2 * word.size() + 1);
    const size_t len = collation.sortkey_prefix(key.begin(), key.size(), source.begin(), source.size());
    return key.first(len);
}

TEST(LegacyCollationProperty, EveryFormOfComparisonAgreesWithTheModel)
{
    for_every_table([](Subject & subject, Words & words) {
        for (int i = 0; i < 150; i++) {
            const Bytes w1 = without_zeros(words.next(i % 4 == 0 ? 40 : 12)); // beyond a block or two
            const Bytes w2 = without_zeros(words.neighbour(w1, subject.model, 6));
            const int expected = subject.model.compare(w1, w2);
            const Block s1(w1);
            const Block s2(w2);
            const Block z1(w1, true);
            const Block z2(w2, true);
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
            const Bytes cut1 = beginning(w1, limit);
            const Bytes cut2 = beginning(w2, limit);
            const Block l1(cut1, cut1.size() < limit);
            const Block l2(cut2, cut2.size() < limit);
            ASSERT_EQ(sign(collation.tranncmp(l1.begin(), l2.begin(), limit)),
                      subject.model.compare(cut1, cut2));
        }
    });
}

TEST(LegacyCollationProperty, KeysOrderAsStringsDoAndEqualStringsHashEqually)
{
    for_every_table([](Subject & subject, Words & words) {
        for (int i = 0; i < 150; i++) {
            const Bytes w1 = words.next(12);
            const Bytes w2 = words.neighbour(w1, subject.model, 6);
            const int order = sign(subject.collation.trancmp(w1.data(), w1.size(), w2.data(), w2.size()));
            const Bytes k1 = key_of(subject.collation, w1);
            const Bytes k2 = key_of(subject.collation, w2);
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
            const Bytes word = words.next(i % 10 == 0 ? 700 : 12);
            const Bytes whole = subject.model.key(word);
            const size_t size = words.below(whole.size() + 3);
            const Block source(word);
            const UTCollation & collation = subject.collation;
            const Block counted(size);
            expect_cut(counted,
                       collation.sortkey_prefix(counted.begin(), size, source.begin(), source.size()), whole);
            PlainIStream plain(word);
            const Block from_plain(size);
            expect_cut(from_plain, collation.sortkey_prefix(from_plain.begin(), size, plain), whole);
            ASSERT_EQ(plain.consumed(), word.size()) << "a full key ends the reading";

            const Bytes begin = beginning(word, words.below(word.size() + 2));
            PiecesIStream pieces(word, 5, static_cast<unsigned>(i));
            const Block limited(size);
            expect_cut(limited, collation.sortkey_prefix(limited.begin(), size, pieces, begin.size()),
                       subject.model.key(begin));
            ASSERT_EQ(pieces.consumed(), begin.size());
            PiecesIStream again(word, 5, static_cast<unsigned>(i));
            const Block tessel(size);
            expect_cut(tessel, collation.sortkey_prefix_tessel(tessel.begin(), size, again, 1),
                       subject.model.tessel_key(word));
            ASSERT_EQ(again.consumed(), word.size());
        }
    });
}

TEST(LegacyCollationProperty, MappingChangesSingleBytesAloneInEveryForm)
{
    for_every_table([](Subject & subject, Words & words) {
        const UTCollation & collation = subject.collation;
        for (int i = 0; i < 60; i++) {
            const Bytes word = words.next(i % 10 == 0 ? 700 : 12);
            const Block source(word);
            const Bytes lower = subject.model.mapped(word, subject.model.packed.tolower);
            const Bytes upper = subject.model.mapped(word, subject.model.packed.toupper);
            const size_t size = words.below(word.size() + 3);
            const size_t expected = std::min(size, word.size());
            const Block memory(size);
            ASSERT_EQ(collation.str_tolower(memory.begin(), size, source.begin(), source.size()), expected);
            ASSERT_TRUE(std::equal(memory.begin(), memory.begin() + expected, lower.begin()));
            ASSERT_TRUE(size <= expected || memory.begin()[expected] == 0);
            ASSERT_EQ(collation.str_toupper(memory.begin(), size, source.begin(), source.size()), expected);
            ASSERT_TRUE(std::equal(memory.begin(), memory.begin() + expected, upper.begin()));

            PlainOStream output;
            PiecesIStream pieces(word, 5, static_cast<unsigned>(i));
            ASSERT_EQ(collation.str_toupper(output, pieces), word.size());
            ASSERT_EQ(output.content(), upper);
            PlainIStream plain(word);
            const Block small(size);
            UTBufOStream buffer(small.begin(), size);
            ASSERT_EQ(collation.str_tolower(buffer, plain), expected);
            ASSERT_TRUE(std::equal(small.begin(), small.begin() + expected, lower.begin()));

            // The first character alone.
            const size_t room = words.below(4);
            const Block character(room);
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
            const Bytes w1 = words.next(6);
            const Bytes w2 = words.neighbour(w1, subject.model, 3);
            const Block s1(w1);
            const Block s2(w2);
            const auto characters = subject.model.characters(w1);
            ASSERT_EQ(collation.num_characters(s1.begin(), s1.size()), characters.size());
            size_t start = 0;
            for (const Bytes & character : characters) {
                for (size_t in = 1; in <= character.size(); in++) {
                    ASSERT_EQ(collation.prev_character(s1.begin(), s1.begin() + start + in),
                              s1.begin() + start);
                }
                const Block copy(character.size());
                ASSERT_EQ(collation.copy_character(copy.begin(), copy.size(), s1.begin() + start, s1.end()),
                          character.size());
                ASSERT_EQ(copy.first(copy.size()), character);
                start += character.size();
            }
            const a_byte * left1 = nullptr;
            const a_byte * left2 = nullptr;
            const int order =
                sign(collation.compare_character(s1.begin(), s1.end(), &left1, s2.begin(), s2.end(), &left2));
            const Bytes c1 = characters.empty() ? Bytes{} : characters[0];
            const Bytes c2 = w2.empty() ? Bytes{} : subject.model.characters(w2)[0];
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

// ---- Single cases

TEST(LegacyCollation, BoundsFitAnyDestination)
{
    const UTCollation collation(nullptr);
    const struct {
        a_sortkey_bound_type type;
        size_t size;
        Bytes key;
        Bytes bound;
    } cases[] = {
        {UPPER_INCLUSIVE, 16, {0x41, 0x42, 0}, {0x41, 0x42, 0xFF, 0xFF, 0}},
        {UPPER_INCLUSIVE, 3, {0x41, 0x42, 0}, {0x41, 0xFF, 0xFF}},
        {UPPER_INCLUSIVE, 1, {0x41, 0x42, 0}, {0xFF}},
        {UPPER_INCLUSIVE, 0, {0x41, 0x42, 0}, {}},
        {LOWER_INCLUSIVE, 2, {0x41, 0x42, 0}, {0x41, 0}},
        {LOWER_INCLUSIVE, 4, {0x41, 0, 0}, {0x41, 0, 0}}, // one zero byte is the terminator, no more
    };
    for (const auto & row : cases) {
        const Block dest(row.size);
        const size_t len =
            collation.sortkey_bound(row.type, dest.begin(), dest.size(), row.key.data(), row.key.size());
        EXPECT_EQ(dest.first(len), row.bound) << row.size;
    }
}

TEST(LegacyCollation, AHistogramNumberTurnsBackIntoTheSmallestBytesOfItsPositions)
{
    const UTCollation collation(nullptr);
    const Block back(size_t{9});
    collation.hist_unhash(collation.hist_hash("AB", 2, 0, 6), back.begin(), 0, 0, 6);
    // Positions of both cases are those of the upper case, the smaller bytes.
    EXPECT_EQ(back.first(7), (Bytes{'A', 'B', 0, 0, 0, 0, 0}));
    EXPECT_EQ(back.begin()[7], Block::FILLING);
    collation.hist_unhash(1.0, static_cast<a_byte *>(nullptr), 0, 0, 0);
    // A position that no byte has, and numbers that no string has.
    collation.hist_unhash(255.0, back.begin(), 0, 0, 1);
    EXPECT_EQ(back.begin()[0], '?');
    for (const double number :
         {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
        collation.hist_unhash(number, back.begin(), 0, 0, 8);
        EXPECT_EQ(back.first(9), Bytes(9, 0));
    }
    collation.hist_unhash(-1e300, back.begin(), 0, 0, 8);
    EXPECT_EQ(back.begin()[8], 0);
}

TEST(LegacyCollation, ClassesAreThoseOfTheFirstByte)
{
    const Subject utf8(*charset("UTF-8"), CASE_SENSITIVE);
    const UTCollation & collation = utf8.collation;
    for (int lead = 0; lead < 256; lead++) {
        const char text[] = {static_cast<char>(lead), 'a', '\0'};
        const a_byte flags = utf8.model.packed.flags[lead];
        EXPECT_EQ(collation.is_alpha(text, 2), flags / 0x20 % 2) << lead;
        EXPECT_EQ(collation.is_digit(text, 2), flags / 0x40 % 2) << lead;
        EXPECT_EQ(collation.is_alphanum(text, 2), flags / 0x20 % 4 != 0) << lead;
        EXPECT_EQ(collation.is_space(text, 2), flags / 0x80) << lead;
    }
    EXPECT_EQ(collation.is_alpha("a", 0) + collation.is_digit("1", 0) + collation.is_alphanum("a", 0) +
                  collation.is_space(" ", 0),
              0);
}

} // namespace
