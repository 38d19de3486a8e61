#include "icu/iterator.h"

#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstring>
#include <new>

static_assert(sizeof(FragmentedSBCSIterator) <= sizeof(an_icu_iterator));
static_assert(sizeof(FragmentedUTF8Iterator) <= sizeof(an_icu_iterator));
static_assert(alignof(FragmentedUTF8Iterator) <= alignof(an_icu_iterator));

namespace {

// ICU's functions for an iterator of ours. The last class is known, so nothing virtual is called for a unit.
template<typename Iterator> struct an_adapter {
    static Iterator * self(UCharIterator * iter)
    {
        return static_cast<Iterator *>(const_cast<void *>(iter->context));
    }

    static int32_t length(UCharIterator * iter)
    {
        const int32_t back_at = self(iter)->index();
        while (self(iter)->next() >= 0) {
        }
        const int32_t end = self(iter)->index();
        while (self(iter)->index() > back_at && self(iter)->previous() >= 0) {
        }
        return end;
    }

    static int32_t get_index(UCharIterator * iter, UCharIteratorOrigin origin)
    {
        switch (origin) {
        case UITER_CURRENT:
            return self(iter)->index();
        case UITER_LIMIT:
        case UITER_LENGTH:
            return length(iter);
        default:
            return 0;
        }
    }

    static int32_t move(UCharIterator * iter, int32_t delta, UCharIteratorOrigin origin)
    {
        const int64_t target = int64_t{get_index(iter, origin)} + delta;
        while (self(iter)->index() < target && self(iter)->next() >= 0) {
        }
        while (self(iter)->index() > target && self(iter)->previous() >= 0) {
        }
        return self(iter)->index();
    }

    static UBool has_next(UCharIterator * iter) { return static_cast<UBool>(self(iter)->current() >= 0); }
    static UBool has_previous(UCharIterator * iter) { return static_cast<UBool>(self(iter)->index() > 0); }
    static UChar32 current(UCharIterator * iter) { return self(iter)->current(); }
    static UChar32 next(UCharIterator * iter) { return self(iter)->next(); }
    static UChar32 next_disguised(UCharIterator * iter)
    {
        iter->next = next;
        const UChar32 unit = next(iter);
        return unit < 0 ? unit : unit ^ 1;
    }
    static UChar32 previous(UCharIterator * iter) { return self(iter)->previous(); }

    // Nobody here keeps a place for later.
    static uint32_t get_state(const UCharIterator * /*iter*/) { return UITER_NO_STATE; }
    static void set_state(UCharIterator * /*iter*/, uint32_t /*state*/, UErrorCode * error)
    {
        if (error != nullptr && U_SUCCESS(*error)) {
            *error = U_UNSUPPORTED_ERROR;
        }
    }

    static void bind(Iterator * iterator, UCharIterator * iter)
    {
        *iter = {};
        iter->context = iterator;
        iter->getIndex = get_index;
        iter->move = move;
        iter->hasNext = has_next;
        iter->hasPrevious = has_previous;
        iter->current = current;
        iter->next = next;
        iter->previous = previous;
        iter->getState = get_state;
        iter->setState = set_state;
    }
};

} // namespace

bool UCharIteratorBase::fetch(size_t position)
{
    if (!_whole) {
        const size_t had = _available;
        size_t size = 0;
        _bytes = _fill(_fill_context, position, &size);
        _available = at_hand(_bytes, size, _limit);
        _whole = _available <= had || _available == _limit;
    }
    _met_end = _met_end || position >= _available;
    return position < _available;
}

void FragmentedSBCSIterator::bind(UCharIterator * icu_iter)
{
    an_adapter<FragmentedSBCSIterator>::bind(this, icu_iter);
}

void FragmentedSBCSIterator::disguise_first(UCharIterator * icu_iter)
{
    icu_iter->next = an_adapter<FragmentedSBCSIterator>::next_disguised;
}

UChar32 FragmentedSBCSIterator::at_end()
{
    _next = std::min(_next, _available);
    return U_SENTINEL;
}

void UnitIterator::bind(UCharIterator * icu_iter)
{
    an_adapter<UnitIterator>::bind(this, icu_iter);
}

void UnitIterator::disguise_first(UCharIterator * icu_iter)
{
    icu_iter->next = an_adapter<UnitIterator>::next_disguised;
}

void FragmentedUTF8Iterator::bind(UCharIterator * icu_iter)
{
    an_adapter<FragmentedUTF8Iterator>::bind(this, icu_iter);
}

void FragmentedUTF8Iterator::disguise_first(UCharIterator * icu_iter)
{
    icu_iter->next = an_adapter<FragmentedUTF8Iterator>::next_disguised;
}

UChar32 FragmentedUTF8Iterator::read_character(size_t * position)
{
    if (!has_byte(*position)) {
        return U_SENTINEL;
    }
    for (;;) {
        const size_t start = *position;
        size_t end = start;
        UChar32 c = 0;
        U8_NEXT_OR_FFFD(_bytes, end, _available, c);
        // A character cut off by the end of what is at hand: all of that was well-formed so far.
        const size_t wanted = size_t{1} + U8_COUNT_TRAIL_BYTES(_bytes[start]);
        if (end < _available || end - start == wanted) {
            *position = end;
            return c;
        }
        if (!has_byte(_available)) {
            if (start >= _available) {
                return U_SENTINEL; // its first bytes were taken back
            }
            end = start;
            U8_NEXT_OR_FFFD(_bytes, end, _available, c);
            *position = end;
            return c;
        }
    }
}

// What was read may have been taken back, so the units before here have to be counted again.
void FragmentedUTF8Iterator::recount()
{
    size_t position = 0;
    _index = 0;
    _trail = 0;
    while (position < _available) {
        UChar32 c = 0;
        U8_NEXT_OR_FFFD(_bytes, position, _available, c);
        _index += U16_LENGTH(c);
    }
    _next = position;
}

UChar32 FragmentedUTF8Iterator::at_end()
{
    if (_next > _available) {
        recount();
    }
    return U_SENTINEL;
}

UChar32 FragmentedUTF8Iterator::current()
{
    if (_trail != 0) {
        return _trail;
    }
    size_t position = _next;
    const UChar32 c = read_character(&position);
    if (c < 0) {
        return at_end();
    }
    return c <= 0xFFFF ? c : U16_LEAD(c);
}

UChar32 FragmentedUTF8Iterator::next()
{
    if (_trail != 0) {
        const UChar unit = _trail;
        _trail = 0;
        ++_index;
        return unit;
    }
    UChar32 c = 0;
    // The usual byte; it isn't a part of anything, so no other is needed.
    if (_next < _available && _bytes[_next] < 0x80) {
        c = _bytes[_next++];
    } else {
        c = read_character(&_next);
    }
    if (c < 0) {
        return at_end();
    }
    ++_index;
    if (c <= 0xFFFF) {
        return c;
    }
    _trail = U16_TRAIL(c);
    return U16_LEAD(c);
}

UChar32 FragmentedUTF8Iterator::previous()
{
    if (_next == 0) {
        return U_SENTINEL;
    }
    auto position = static_cast<int32_t>(_next);
    UChar32 c = 0;
    U8_PREV_OR_FFFD(_bytes, 0, position, c);
    --_index;
    if (c <= 0xFFFF) {
        _next = static_cast<size_t>(position);
        return c;
    }
    if (_trail == 0) {
        _trail = U16_TRAIL(c);
        return _trail;
    }
    _trail = 0;
    _next = static_cast<size_t>(position);
    return U16_LEAD(c);
}

extern "C" {

void uiter_setFragmentedSBCS(an_icu_iterator * iter, const uint8_t * bytes, size_t available, size_t limit,
                             orv_fill_func fill, void * fill_context, const UChar * map)
{
    new (iter) FragmentedSBCSIterator(bytes, available, limit, fill, fill_context, map);
}

void uiter_setFragmentedUTF8Simple(an_icu_iterator * iter, const uint8_t * bytes, size_t available,
                                   size_t limit, orv_fill_func fill, void * fill_context)
{
    new (iter) FragmentedUTF8Iterator(bytes, available, limit, fill, fill_context);
}

void uiter_setUTF8_3_4(an_icu_iterator * iter, const char * text, int32_t length)
{
    const size_t size = text == nullptr ? 0 : length < 0 ? strlen(text) : static_cast<size_t>(length);
    new (iter) FragmentedUTF8Iterator(reinterpret_cast<const uint8_t *>(text), size, size, nullptr, nullptr);
}
}
