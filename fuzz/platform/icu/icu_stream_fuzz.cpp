// Text in pieces that move: the fragmented iterators against ICU's own iterators over the whole text, and
// case mapping of streams against mapping of the whole text. The first bytes choose the schedule of pieces,
// the language and how often the text is repeated, so that it reaches beyond every buffer.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <unicode/ustring.h>

#include "icu/iterator.h"

namespace {

void expect(bool holds, const char * what)
{
    if (!holds) {
        (void)fprintf(stderr, "not so: %s\n", what); // the abort tells the rest
        abort();
    }
}

// Sizes of pieces from the input, in turn.
struct a_schedule {
    const uint8_t * sizes;
    size_t count;
    size_t at = 0;
    size_t next() { return count == 0 ? 0 : sizes[at++ % count]; }
};

// A block of its own for what is at hand.
struct a_moving_text {
    const std::string & text;
    a_schedule schedule;
    std::unique_ptr<uint8_t[]> block = {};
    size_t at_hand = 0;
    void show(size_t count)
    {
        at_hand = std::min(count, text.size());
        block = std::make_unique<uint8_t[]>(at_hand);
        std::copy_n(text.begin(), at_hand, block.get());
    }
    static const uint8_t * fill(void * context, size_t min_index, size_t * new_size)
    {
        auto * self = static_cast<a_moving_text *>(context);
        expect(min_index >= self->at_hand, "a fill only for a byte that isn't at hand");
        self->show(min_index + 1 + self->schedule.next() % 7);
        *new_size = self->at_hand;
        return self->block.get();
    }
};

void hold_against(UCharIterator & iter, UCharIterator & model, a_schedule steps)
{
    for (size_t i = 0; i < 3 * steps.count + 20; i++) {
        switch (steps.next() % 4) {
        case 0:
            expect(iter.previous(&iter) == model.previous(&model), "the same unit before");
            break;
        case 1:
            expect(iter.current(&iter) == model.current(&model), "the same unit here");
            break;
        default:
            expect(iter.next(&iter) == model.next(&model), "the same next unit");
        }
        expect(iter.getIndex(&iter, UITER_CURRENT) == model.getIndex(&model, UITER_CURRENT),
               "the same index");
    }
    expect(iter.getIndex(&iter, UITER_LENGTH) == model.getIndex(&model, UITER_LENGTH), "the same length");
}

void check_iterators(const std::string & text, const a_schedule & schedule)
{
    std::vector<UChar> map(256);
    for (size_t byte = 0; byte < map.size(); byte++) {
        map[byte] = static_cast<UChar>(byte * 3);
    }
    std::vector<UChar> units(text.size() + 1);
    for (const bool utf8 : {true, false}) {
        a_moving_text moving{text, schedule};
        moving.show(schedule.count);
        an_icu_iterator storage;
        auto length = static_cast<int32_t>(text.size());
        if (utf8) {
            uiter_setFragmentedUTF8Simple(&storage, moving.block.get(), moving.at_hand, SIZE_MAX,
                                          &a_moving_text::fill, &moving);
            UErrorCode error = U_ZERO_ERROR;
            u_strFromUTF8WithSub(units.data(), length, &length, text.data(), length, 0xFFFD, nullptr, &error);
        } else {
            uiter_setFragmentedSBCS(&storage, moving.block.get(), moving.at_hand, text.size(),
                                    &a_moving_text::fill, &moving, map.data());
            map_text(units.data(), map.data(), bytes_of(text.data()), text.size());
        }
        UCharIterator iter;
        iterator_in(&storage)->bind(&iter);
        UCharIterator model;
        uiter_setString(&model, units.data(), length);
        hold_against(iter, model, schedule);
        iterator_in(&storage)->~UCharIteratorBase();
    }
}

struct a_source {
    const std::string & bytes;
    a_schedule schedule;
    size_t at = 0;
    static size_t pull(uint8_t * dest, size_t size, void * context)
    {
        auto * self = static_cast<a_source *>(context);
        const size_t piece = 1 + self->schedule.next();
        const size_t count = std::min({size, piece, self->bytes.size() - self->at});
        std::copy_n(self->bytes.begin() + static_cast<ptrdiff_t>(self->at), count, dest);
        self->at += count;
        return count;
    }
};

size_t push(const uint8_t * data, size_t size, void * context)
{
    static_cast<std::string *>(context)->append(reinterpret_cast<const char *>(data), size);
    return size;
}

void check_case(const std::string & bytes, const a_schedule & schedule, const char * locale)
{
    const size_t count = bytes.size() / sizeof(UChar);
    std::vector<UChar> units(count + 1);
    memcpy(units.data(), bytes.data(), count * sizeof(UChar));
    for (const bool upper : {true, false}) {
        std::vector<UChar> whole(3 * count + 1);
        UErrorCode error = U_ZERO_ERROR;
        const int32_t length =
            (upper ? u_strToUpper : u_strToLower)(whole.data(), static_cast<int32_t>(whole.size()),
                                                  units.data(), static_cast<int32_t>(count), locale, &error);
        a_source source{bytes, schedule};
        std::string mapped;
        UErrorCode stream_error = U_ZERO_ERROR;
        const int32_t given = (upper ? ORV_strToUpper : ORV_strToLower)(push, &mapped, a_source::pull,
                                                                        &source, locale, &stream_error);
        expect(given == length, "as many units as the whole text has");
        expect(mapped.size() == static_cast<size_t>(length) * sizeof(UChar) &&
                   memcmp(mapped.data(), whole.data(), mapped.size()) == 0,
               "the mapping of the whole text");
        expect(stream_error == (bytes.size() % 2 == 0 ? U_ZERO_ERROR : U_TRUNCATED_CHAR_FOUND),
               "half a unit at the end, and only that, is an error");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t * data, size_t size)
{
    constexpr const char * LOCALES[] = {"", "tr", "lt", "el", "az", "hy", "nl", "de"};
    if (size < 3) {
        return 0;
    }
    const char * locale = LOCALES[data[0] % std::size(LOCALES)];
    const size_t repeats = 1 + data[1] % 64;
    const a_schedule schedule{data + 3, std::min<size_t>(data[2] % 16, size - 3)};
    const std::string piece(reinterpret_cast<const char *>(data + 3 + schedule.count),
                            size - 3 - schedule.count);
    std::string text;
    for (size_t i = 0; i < repeats && text.size() < 20000; i++) {
        text += piece;
    }
    check_iterators(piece, schedule);
    check_case(text, schedule, locale);
    return 0;
}
