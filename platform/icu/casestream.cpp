// Case mapping of texts of any length, from one stream to another.
//
// ICU maps whole texts, so the text is cut into segments, at places where neither side's mapping depends on
// the other but for one fact: whether a cased letter stands there, which decides about a final sigma
// (Unicode, SpecialCasing.txt, Final_Sigma). A letter that isn't part of the text stands in for such a
// neighbour. All other conditions of SpecialCasing.txt are about marks on one letter, and a segment begins
// with a character that is no mark. Greek upper case looks further (tonos and dialytika of a diphthong, a
// single eta), and is cut only before characters that are no letters.

#include <unicode/uchar.h>
#include <unicode/uloc.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>

#include "icu/orvicu.h"

namespace {

using a_mapper = int32_t (*)(UChar *, int32_t, const UChar *, int32_t, const char *, UErrorCode *);

// A letter whose lower case is itself, one unit, in every language and every neighbourhood.
constexpr UChar STAND_IN = 'a';

constexpr int32_t FIRST_CAPACITY = 1024;      // units, on the stack
constexpr int32_t MOST_UNITS = INT32_MAX / 8; // a segment that ICU can map at three units for one

// Units in memory that grows: first the caller's, then allocated.
class a_unit_buffer {
public:
    a_unit_buffer(UChar * first, int32_t capacity) : _units(first), _capacity(capacity) {}
    ~a_unit_buffer() { free(_grown); }
    a_unit_buffer(const a_unit_buffer &) = delete;
    a_unit_buffer & operator=(const a_unit_buffer &) = delete;

    [[nodiscard]] UChar * units() { return _units; }
    [[nodiscard]] int32_t capacity() const { return _capacity; }

    // Makes room for `capacity` units and keeps the first `used` ones; false without memory, with nothing
    // changed.
    [[nodiscard]] bool grow(int32_t capacity, int32_t used)
    {
        auto * grown = static_cast<UChar *>(malloc(static_cast<size_t>(capacity) * sizeof(UChar)));
        if (grown == nullptr) {
            return false;
        }
        memcpy(grown, _units, static_cast<size_t>(used) * sizeof(UChar));
        free(_grown);
        _units = _grown = grown;
        _capacity = capacity;
        return true;
    }

private:
    UChar * _units;
    UChar * _grown = nullptr;
    int32_t _capacity;
};

bool is_case_ignorable(UChar32 c)
{
    return u_hasBinaryProperty(c, UCHAR_CASE_IGNORABLE) != 0;
}

bool is_cased(UChar32 c)
{
    return u_hasBinaryProperty(c, UCHAR_CASED) != 0;
}

class CaseStream {
public:
    CaseStream(a_mapper mapper, const char * locale, bool greek, orv_output_func output,
               void * output_context, UErrorCode * error)
        : _mapper(mapper), _locale(locale), _greek(greek), _output(output), _output_context(output_context),
          _error(error), _text(_first_text, FIRST_CAPACITY), _mapped(_first_mapped, 3 * FIRST_CAPACITY)
    {
        _text.units()[0] = STAND_IN;
    }

    // Reads `input` to its end.
    void run(orv_utf16_input_func input, void * input_context)
    {
        while (U_SUCCESS(*_error) && read(input, input_context)) {
            const int32_t cut = last_cut();
            if (cut > 1) {
                pass_on(cut);
            } else {
                grow();
            }
        }
        if (U_SUCCESS(*_error) && _end > 1) {
            map(_end);
        }
        if (U_SUCCESS(*_error) && _half_unit) {
            *_error = U_TRUNCATED_CHAR_FOUND;
        }
    }

    [[nodiscard]] int32_t written() const
    {
        return static_cast<int32_t>(_written < INT32_MAX ? _written : INT32_MAX);
    }

private:
    // Fills the text to its capacity; false if the input ended before.
    bool read(orv_utf16_input_func input, void * input_context)
    {
        auto * bytes = reinterpret_cast<uint8_t *>(_text.units());
        const size_t capacity = static_cast<size_t>(_text.capacity()) * sizeof(UChar);
        size_t used = static_cast<size_t>(_end) * sizeof(UChar) + (_half_unit ? 1 : 0);
        bool more = true;
        while (more && used < capacity) {
            const size_t got = input(bytes + used, capacity - used, input_context);
            more = got != 0;
            used += got < capacity - used ? got : capacity - used;
        }
        _end = static_cast<int32_t>(used / sizeof(UChar));
        _half_unit = used % sizeof(UChar) != 0;
        return more;
    }

    // Where the text can be cut last; 1, where it begins, if there is no place.
    [[nodiscard]] int32_t last_cut()
    {
        const UChar * units = _text.units();
        int32_t at = _end;
        if (U16_IS_LEAD(units[at - 1])) {
            --at; // what it is the first half of isn't there yet
        }
        while (at > 1) {
            UChar32 c = 0;
            U16_PREV(units, 1, at, c);
            if (u_getCombiningClass(c) == 0 && !is_case_ignorable(c) && !(_greek && is_cased(c))) {
                return at;
            }
        }
        return 1;
    }

    // Gives what stands before the cut and keeps the rest.
    void pass_on(int32_t cut)
    {
        UChar * units = _text.units();
        UChar32 c = 0;
        U16_GET(units, 1, cut, _end, c);
        const UChar kept = units[cut];
        if (!_greek && is_cased(c)) {
            units[cut] = STAND_IN;
            _letter_follows = true;
            map(cut + 1);
            _letter_follows = false;
            units[cut] = kept;
        } else {
            map(cut);
        }
        _letter_stands_before = ends_in_letter(cut);
        memmove(units + 1, units + cut,
                static_cast<size_t>(_end - cut) * sizeof(UChar) + (_half_unit ? 1 : 0));
        _end -= cut - 1;
    }

    [[nodiscard]] bool ends_in_letter(int32_t cut)
    {
        const UChar * units = _text.units();
        while (cut > 1) {
            UChar32 c = 0;
            U16_PREV(units, 1, cut, c);
            if (!is_case_ignorable(c)) {
                return is_cased(c);
            }
        }
        return _letter_stands_before;
    }

    // Maps the text up to `end` and gives it to the output, without the letters that only stand in.
    void map(int32_t end)
    {
        const int32_t before = _letter_stands_before && !_greek ? 1 : 0;
        const int32_t behind = _letter_follows ? 1 : 0;
        const UChar * source = _text.units() + 1 - before;
        const int32_t length = end - 1 + before;
        UErrorCode error = U_ZERO_ERROR;
        int32_t mapped = _mapper(_mapped.units(), _mapped.capacity(), source, length, _locale, &error);
        if (error == U_BUFFER_OVERFLOW_ERROR) {
            error = _mapped.grow(mapped, 0) ? U_ZERO_ERROR : U_MEMORY_ALLOCATION_ERROR;
            mapped = _mapper(_mapped.units(), _mapped.capacity(), source, length, _locale, &error);
        }
        if (U_FAILURE(error)) {
            *_error = error;
            return;
        }
        give(_mapped.units() + before, mapped - before - behind);
    }

    void give(const UChar * units, int32_t count)
    {
        if (count <= 0) {
            return;
        }
        const size_t size = static_cast<size_t>(count) * sizeof(UChar);
        const size_t taken = _output(reinterpret_cast<const uint8_t *>(units), size, _output_context);
        _written += static_cast<int64_t>(taken / sizeof(UChar));
        if (taken < size) {
            *_error = U_BUFFER_OVERFLOW_ERROR;
        }
    }

    void grow()
    {
        if (_text.capacity() > MOST_UNITS / 2 || !_text.grow(2 * _text.capacity(), _end)) {
            *_error = U_MEMORY_ALLOCATION_ERROR;
        }
    }

    a_mapper _mapper;
    const char * _locale;
    bool _greek;
    orv_output_func _output;
    void * _output_context;
    UErrorCode * _error;
    UChar _first_text[FIRST_CAPACITY];
    UChar _first_mapped[3 * FIRST_CAPACITY];
    a_unit_buffer _text; // its first unit is the stand-in, the text begins behind it
    a_unit_buffer _mapped;
    int32_t _end = 1; // behind the last whole unit of the text
    bool _half_unit = false;
    bool _letter_stands_before = false;
    bool _letter_follows = false;
    int64_t _written = 0;
};

bool is_greek(const char * locale)
{
    char language[ULOC_LANG_CAPACITY];
    UErrorCode error = U_ZERO_ERROR;
    uloc_getLanguage(locale, language, sizeof language, &error);
    return U_SUCCESS(error) && strcmp(language, "el") == 0;
}

int32_t map_stream(a_mapper mapper, bool greek, orv_output_func output, void * output_context,
                   orv_utf16_input_func input, void * input_context, const char * locale, UErrorCode * error)
{
    CaseStream stream(mapper, locale, greek, output, output_context, error);
    stream.run(input, input_context);
    return stream.written();
}

} // namespace

extern "C" {

int32_t ORV_strToUpper(orv_output_func output, void * output_context, orv_utf16_input_func input,
                       void * input_context, const char * locale, UErrorCode * error)
{
    if (error == nullptr || U_FAILURE(*error)) {
        return 0;
    }
    return map_stream(u_strToUpper, is_greek(locale), output, output_context, input, input_context, locale,
                      error);
}

int32_t ORV_strToLower(orv_output_func output, void * output_context, orv_utf16_input_func input,
                       void * input_context, const char * locale, UErrorCode * error)
{
    if (error == nullptr || U_FAILURE(*error)) {
        return 0;
    }
    return map_stream(u_strToLower, false, output, output_context, input, input_context, locale, error);
}
}
