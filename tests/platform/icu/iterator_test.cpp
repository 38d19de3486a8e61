// The fragmented iterators, held against the whole text in UTF-16 and an index into it.

#include <array>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include "icu/iterator.h"
#include "platform/icu/moving_text.h"

namespace {

// The whole text, and behind which byte each unit ends.
struct a_model {
    std::vector<UChar> units;
    std::vector<size_t> ends;
    size_t index = 0;

    [[nodiscard]] UChar32 at(size_t i) const { return i < units.size() ? units[i] : U_SENTINEL; }
    [[nodiscard]] size_t end_of(size_t i, size_t size) const { return i < ends.size() ? ends[i] : size + 1; }
};

a_model ModelOfUTF8(const std::string & text)
{
    a_model model;
    const auto * bytes = reinterpret_cast<const uint8_t *>(text.data());
    const auto size = static_cast<int32_t>(text.size());
    for (int32_t at = 0; at < size;) {
        UChar32 c = 0;
        U8_NEXT_OR_FFFD(bytes, at, size, c);
        // Where an ill-formed part ends is told by the byte behind it.
        const size_t end = static_cast<size_t>(at) + (c == 0xFFFD ? 1 : 0);
        if (c <= 0xFFFF) {
            model.units.push_back(static_cast<UChar>(c));
            model.ends.push_back(end);
        } else {
            model.units.insert(model.units.end(), {U16_LEAD(c), U16_TRAIL(c)});
            model.ends.insert(model.ends.end(), 2, end);
        }
    }
    return model;
}

const std::array<UChar, 256> & Map()
{
    static const std::array<UChar, 256> map = [] {
        std::array<UChar, 256> values{};
        for (size_t byte = 0; byte < values.size(); byte++) {
            values[byte] = static_cast<UChar>(byte < 0x80 ? byte : 0x0400 + byte);
        }
        return values;
    }();
    return map;
}

a_model ModelOfSBCS(const std::string & text)
{
    a_model model;
    for (const char c : text) {
        model.units.push_back(Map()[static_cast<uint8_t>(c)]);
        model.ends.push_back(model.ends.size() + 1);
    }
    return model;
}

// One random step on both; the text must allow what the step needs and no more.
void Step(UCharIterator & iter, a_model & model, MovingText & text, std::mt19937 & random)
{
    text.allow_up_to(model.end_of(model.index, text.size()));
    switch (random() % 8) {
    case 0:
    case 1:
    case 2:
        ASSERT_EQ(iter.next(&iter), model.at(model.index));
        model.index += model.index < model.units.size() ? 1 : 0;
        break;
    case 3:
        ASSERT_EQ(iter.current(&iter), model.at(model.index));
        break;
    case 4:
        ASSERT_EQ(iter.hasNext(&iter) != 0, model.index < model.units.size());
        break;
    case 5: {
        const auto target = static_cast<int32_t>(random() % (model.units.size() + 3)) - 1;
        text.allow_up_to(SIZE_MAX);
        const int32_t end = static_cast<int32_t>(model.units.size());
        const int32_t base = random() % 2 != 0 ? 0 : static_cast<int32_t>(model.index);
        const int32_t reached = std::min(std::max(target, 0), end);
        ASSERT_EQ(iter.move(&iter, target - base, base == 0 ? UITER_ZERO : UITER_CURRENT), reached);
        model.index = static_cast<size_t>(reached);
        break;
    }
    default:
        ASSERT_EQ(iter.hasPrevious(&iter) != 0, model.index > 0);
        ASSERT_EQ(iter.previous(&iter), model.index > 0 ? model.at(model.index - 1) : U_SENTINEL);
        model.index -= model.index > 0 ? 1 : 0;
    }
    ASSERT_EQ(iter.getIndex(&iter, UITER_CURRENT), static_cast<int32_t>(model.index));
    ASSERT_EQ(text.complaint(), "");
}

std::string RandomText(std::mt19937 & random)
{
    // Whole characters of each length, and parts of them, so that every way of being ill-formed comes up.
    constexpr std::string_view PARTS[] = {
        "a",        "Z",        "\xC3\xA4",     "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xEF\xBF\xBD", "\xC3",
        "\xE2\x82", "\xF0\x9F", "\xF0\x9F\x98", "\x80",         "\xED\xA0",         "\xC0",         "\xF5",
        "\xFF"};
    std::string text;
    for (size_t count = random() % 12; count > 0; count--) {
        text += PARTS[random() % (random() % 2 != 0 ? 6 : std::size(PARTS))];
    }
    return text;
}

} // namespace

TEST(FragmentedIterator, NoPieceAndNoMoveOfTheTextShows)
{
    std::mt19937 random; // always the same: rare quirks of an ICU shall not strike by chance
    for (int round = 0; round < 20000; round++) {
        const std::string whole = RandomText(random);
        SCOPED_TRACE(testing::PrintToString(whole));
        const size_t most = 1 + random() % (whole.size() + 1);
        MovingText text(whole, random() % (whole.size() + 1), [&] { return random() % most; });
        an_icu_iterator storage;
        const bool utf8 = random() % 2 != 0;
        // Often nothing is known of the length.
        const size_t limit = random() % 2 != 0 ? SIZE_MAX : whole.size();
        if (utf8) {
            uiter_setFragmentedUTF8Simple(&storage, text.bytes(), text.at_hand(), limit, &MovingText::fill,
                                          &text);
        } else {
            uiter_setFragmentedSBCS(&storage, text.bytes(), text.at_hand(), limit, &MovingText::fill, &text,
                                    Map().data());
        }
        auto * object = iterator_in(&storage);
        UCharIterator iter;
        object->bind(&iter);
        a_model model = utf8 ? ModelOfUTF8(whole) : ModelOfSBCS(whole);
        for (size_t steps = 4 * model.units.size() + 4; steps > 0; steps--) {
            ASSERT_NO_FATAL_FAILURE(Step(iter, model, text, random));
        }
        const auto length = static_cast<int32_t>(model.units.size());
        EXPECT_EQ(iter.getIndex(&iter, UITER_LENGTH), length);
        EXPECT_EQ(iter.move(&iter, -1, UITER_LIMIT), std::max(length - 1, 0));
        object->~UCharIteratorBase();
    }
}

// A long text is cut at a whole character once its length is known, which may take back what was at hand.
TEST(FragmentedIterator, LastCharacterTakenBackIsTheEnd)
{
    struct a_shrinking_text {
        const char * text;
        static const uint8_t * fill(void * context, size_t min_index, size_t * new_size)
        {
            EXPECT_EQ(min_index, 4u);
            *new_size = 2;
            return reinterpret_cast<const uint8_t *>(static_cast<a_shrinking_text *>(context)->text);
        }
    } moved{"ab"};
    // A character cut off, and bytes that were already read as something else.
    for (const char * text : {"ab\xE2\x82", "abcd"}) {
        FragmentedUTF8Iterator iter(reinterpret_cast<const uint8_t *>(text), 4, 100, &a_shrinking_text::fill,
                                    &moved);
        std::vector<UChar32> units;
        UChar32 unit = 0;
        while ((unit = iter.next()) >= 0) {
            units.push_back(unit);
        }
        EXPECT_GE(units.size(), 2u);
        EXPECT_EQ(iter.index(), 2);
        EXPECT_EQ(iter.next(), U_SENTINEL);
        EXPECT_EQ(iter.previous(), 'b');
        EXPECT_EQ(iter.previous(), 'a');
        EXPECT_EQ(iter.previous(), U_SENTINEL);
        EXPECT_EQ(iter.index(), 0);
    }
}
