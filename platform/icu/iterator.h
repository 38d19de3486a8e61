// The iterators that an_icu_iterator holds: over text of which the first bytes are at hand and more may come
// from a fill function. ICU's own UCharIterator is made over one for the time of a call.
//
// Units: positions in the text are bytes, indexes and moves UTF-16 units. A text counts as ended where the
// fill function gives no more, at its limit, or at 2^31 - 1 bytes, which ICU's indexes can't pass.
// Ownership, threads: an iterator owns nothing and belongs to one thread.
#pragma once

#include <unicode/uiter.h>

#include <algorithm>
#include <new>

#include "icu/orvicu.h"

class UCharIteratorBase {
public:
    virtual ~UCharIteratorBase() = default; // first, so that callers find it in the table

    // Makes ICU's iterator over this one, which has to outlive it.
    virtual void bind(UCharIterator * icu_iter) = 0;

    // Makes ICU's iterator give another unit than the right one, once, when next asked for one.
    virtual void disguise_first(UCharIterator * icu_iter) = 0;

    // True if it is UTF-8, known to be all at hand, and nothing of it was read.
    [[nodiscard]] bool is_untouched_utf8() const { return _is_utf8 && _whole && _next == 0; }

    // True if an iterator's user asked for what follows the end.
    [[nodiscard]] bool met_end() const { return _met_end; }

    [[nodiscard]] const uint8_t * bytes() const { return _bytes; }
    [[nodiscard]] size_t available() const { return _available; }

protected:
    UCharIteratorBase(bool is_utf8, const uint8_t * bytes, size_t available, size_t limit, orv_fill_func fill,
                      void * fill_context)
        : _bytes(bytes), _available(at_hand(bytes, available, limit)),
          _limit(std::min(limit, size_t{INT32_MAX})), _fill(fill), _fill_context(fill_context),
          _is_utf8(is_utf8), _whole(fill == nullptr || _available == _limit)
    {
    }

    // Is there a byte at `position`? Calls the fill function if it isn't at hand. After false the text is all
    // at hand, and it may be shorter than what was at hand before: the fill function may take back a last
    // character that wouldn't come in full.
    [[nodiscard]] bool has_byte(size_t position) { return position < _available || fetch(position); }

    const uint8_t * _bytes;
    size_t _available;

private:
    // A text that isn't there is a caller's fault; it counts as empty.
    [[nodiscard]] static size_t at_hand(const void * bytes, size_t available, size_t limit)
    {
        return bytes == nullptr ? 0 : std::min({available, limit, size_t{INT32_MAX}});
    }

    bool fetch(size_t position);

    size_t _limit;
    orv_fill_func _fill;
    void * _fill_context;

protected:
    size_t _next = 0; // position of the next character, behind it if its second unit is still to come

private:
    bool _is_utf8;
    bool _whole;
    bool _met_end = false;
};

// The object that a uiter_set operation has built.
[[nodiscard]] inline UCharIteratorBase * iterator_in(an_icu_iterator * iter)
{
    return std::launder(reinterpret_cast<UCharIteratorBase *>(iter));
}

// One unit for each byte.
class FragmentedSBCSIterator final : public UCharIteratorBase {
public:
    FragmentedSBCSIterator(const uint8_t * bytes, size_t available, size_t limit, orv_fill_func fill,
                           void * fill_context, const UChar * map)
        : UCharIteratorBase(false, bytes, available, limit, fill, fill_context), _map(map)
    {
    }
    void bind(UCharIterator * icu_iter) override;
    void disguise_first(UCharIterator * icu_iter) override;
    [[nodiscard]] int32_t index() const { return static_cast<int32_t>(_next); }
    UChar32 current() { return has_byte(_next) ? _map[_bytes[_next]] : at_end(); }
    UChar32 next() { return has_byte(_next) ? _map[_bytes[_next++]] : at_end(); }
    UChar32 previous() { return _next > 0 ? _map[_bytes[--_next]] : U_SENTINEL; }

private:
    UChar32 at_end();

    const UChar * _map;
};

// Units as they stand, all at hand.
class UnitIterator final : public UCharIteratorBase {
public:
    UnitIterator(const UChar * text, int32_t length)
        : UCharIteratorBase(false, reinterpret_cast<const uint8_t *>(text),
                            static_cast<size_t>(length) * sizeof(UChar), SIZE_MAX, nullptr, nullptr),
          _text(text)
    {
    }
    void bind(UCharIterator * icu_iter) override;
    void disguise_first(UCharIterator * icu_iter) override;

    [[nodiscard]] int32_t index() const { return _index; }
    UChar32 current() { return has_unit() ? _text[_index] : U_SENTINEL; }
    UChar32 next() { return has_unit() ? _text[_index++] : U_SENTINEL; }
    UChar32 previous() { return _index > 0 ? _text[--_index] : U_SENTINEL; }

private:
    [[nodiscard]] bool has_unit() { return has_byte(static_cast<size_t>(_index) * sizeof(UChar)); }

    const UChar * _text;
    int32_t _index = 0;
};

// One or two units for each character, and U+FFFD for each ill-formed part.
class FragmentedUTF8Iterator final : public UCharIteratorBase {
public:
    FragmentedUTF8Iterator(const uint8_t * bytes, size_t available, size_t limit, orv_fill_func fill,
                           void * fill_context)
        : UCharIteratorBase(true, bytes, available, limit, fill, fill_context)
    {
    }
    void bind(UCharIterator * icu_iter) override;
    void disguise_first(UCharIterator * icu_iter) override;
    [[nodiscard]] int32_t index() const { return _index; }
    UChar32 current();
    UChar32 next();
    UChar32 previous();

private:
    // Reads the character at `*position` and moves that behind it; U_SENTINEL at the end.
    UChar32 read_character(size_t * position);
    UChar32 at_end();
    void recount();

    int32_t _index = 0; // units before here
    UChar _trail = 0;   // the unit to come of a character half given
};

// Single-byte text and UTF-8 of up to this many bytes is taken to UTF-16 on the stack before ICU sees it,
// which is what ICU is fastest with; the link library gives no more than 1,024. Anything longer is read in
// place.
constexpr size_t STACK_UNITS = 1024;

inline void map_text(UChar * dest, const UChar * map, const uint8_t * text, size_t length)
{
    std::transform(text, text + length, dest, [map](uint8_t byte) { return map[byte]; });
}

[[nodiscard]] inline const uint8_t * bytes_of(const char * text)
{
    return reinterpret_cast<const uint8_t *>(text);
}
