// The iterators that an_icu_iterator holds: over text of which the first bytes are at hand and more may come
// from a fill function. ICU's own UCharIterator is made over one for the time of a call.
//
// Units: positions in the text are bytes, indexes and moves UTF-16 units. A text counts as ended where the
// fill function gives no more, at its limit, or at 2^31 - 1 bytes, which ICU's indexes can't pass.
// Ownership, threads: an iterator owns nothing and belongs to one thread.
#pragma once

#include <unicode/uiter.h>

#include "icu/orvicu.h"

class UCharIteratorBase {
public:
    UCharIteratorBase(const uint8_t * bytes, size_t available, size_t limit, orv_fill_func fill,
                      void * fill_context);
    virtual ~UCharIteratorBase() = default; // first, so that callers find it in the table

    // Makes ICU's iterator over this one, which has to outlive it.
    virtual void bind(UCharIterator * icu_iter) = 0;

    [[nodiscard]] virtual bool is_utf8() const { return false; }

    // Units before here.
    [[nodiscard]] virtual int32_t index() const = 0;

    // True if the text is known to be all at hand.
    [[nodiscard]] bool is_whole() const { return _whole; }

    // True if an iterator's user asked for what follows the end.
    [[nodiscard]] bool met_end() const { return _met_end; }

    [[nodiscard]] const uint8_t * bytes() const { return _bytes; }
    [[nodiscard]] size_t available() const { return _available; }

protected:
    // Is there a byte at `position`? Calls the fill function if it isn't at hand. After false the text is all
    // at hand, and it may be shorter than what was at hand before: the fill function may take back a last
    // character that wouldn't come in full.
    [[nodiscard]] bool has_byte(size_t position) { return position < _available || fetch(position); }

    const uint8_t * _bytes;
    size_t _available;

private:
    bool fetch(size_t position);

    size_t _limit;
    orv_fill_func _fill;
    void * _fill_context;
    bool _whole;
    bool _met_end = false;
};

// One unit for each byte.
class FragmentedSBCSIterator final : public UCharIteratorBase {
public:
    FragmentedSBCSIterator(const uint8_t * bytes, size_t available, size_t limit, orv_fill_func fill,
                           void * fill_context, const UChar * map);
    void bind(UCharIterator * icu_iter) override;
    [[nodiscard]] int32_t index() const override { return static_cast<int32_t>(_next); }
    UChar32 current() { return has_byte(_next) ? _map[_bytes[_next]] : at_end(); }
    UChar32 next() { return has_byte(_next) ? _map[_bytes[_next++]] : at_end(); }
    UChar32 previous() { return _next > 0 ? _map[_bytes[--_next]] : U_SENTINEL; }

private:
    UChar32 at_end();

    const UChar * _map;
    size_t _next = 0; // position of the next byte
};

// Units as they stand, all at hand.
class UnitIterator final : public UCharIteratorBase {
public:
    UnitIterator(const UChar * text, int32_t length);
    void bind(UCharIterator * icu_iter) override;
    [[nodiscard]] int32_t index() const override { return _next; }
    UChar32 current() { return has_unit() ? _text[_next] : U_SENTINEL; }
    UChar32 next() { return has_unit() ? _text[_next++] : U_SENTINEL; }
    UChar32 previous() { return _next > 0 ? _text[--_next] : U_SENTINEL; }

private:
    [[nodiscard]] bool has_unit() { return has_byte(static_cast<size_t>(_next) * sizeof(UChar)); }

    const UChar * _text;
    int32_t _next = 0;
};

// One or two units for each character, and U+FFFD for each ill-formed part.
class FragmentedUTF8Iterator final : public UCharIteratorBase {
public:
    FragmentedUTF8Iterator(const uint8_t * bytes, size_t available, size_t limit, orv_fill_func fill,
                           void * fill_context);
    void bind(UCharIterator * icu_iter) override;
    [[nodiscard]] bool is_utf8() const override { return true; }
    [[nodiscard]] int32_t index() const override { return _index; }
    UChar32 current();
    UChar32 next();
    UChar32 previous();

private:
    // Reads the character at `*position` and moves that behind it; U_SENTINEL at the end.
    UChar32 read_character(size_t * position);
    UChar32 at_end();
    void recount();

    size_t _next = 0;   // position of the next character, behind it if its second unit is still to come
    int32_t _index = 0; // units before here
    UChar _trail = 0;   // the unit to come of a character half given
};
