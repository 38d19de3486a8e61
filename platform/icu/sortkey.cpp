// Key building straight from single-byte text and UTF-8.

#include <unicode/ustring.h>

#include <algorithm>
#include <cstring>

#include "icu/iterator.h"

namespace {

// Where leading bytes of a key go.
struct a_key_buffer {
    uint8_t * dest;
    int32_t size;
    a_key_buffer(uint8_t * to, uint32_t capacity)
        : dest(to), size(static_cast<int32_t>(std::min(capacity, uint32_t{INT32_MAX})))
    {
    }
};

// The key in pieces, which stops as soon as the bytes wanted are there.
int32_t key_of_iterator(const UCollator * collator, UCharIterator * iter, const a_key_buffer & key,
                        UErrorCode * error)
{
    uint32_t state[2] = {0, 0};
    return ucol_nextSortKeyPart(collator, iter, state, key.dest, key.size, error);
}

int32_t key_of_units(const UCollator * collator, const UChar * text, int32_t length, const a_key_buffer & key,
                     UErrorCode * error)
{
    // Most keys are about as long as their text in UTF-16, or twice as long. For less room ICU had better
    // stop early.
    if (key.size > length / 2) {
        uint8_t local[2 * STACK_UNITS]; // since ICU doesn't tell what it leaves in a buffer that is too small
        const bool in_place = key.size >= static_cast<int32_t>(sizeof local);
        uint8_t * dest = in_place ? key.dest : local;
        const int32_t capacity = in_place ? key.size : static_cast<int32_t>(sizeof local);
        const int32_t key_length = ucol_getSortKey(collator, text, length, dest, capacity);
        if (key_length == 0) {
            *error = U_MEMORY_ALLOCATION_ERROR;
            return 0;
        }
        if (key_length <= capacity) {
            const int32_t given = std::min(key_length - 1, key.size);
            if (!in_place) {
                memcpy(key.dest, local, static_cast<size_t>(given));
            }
            return given;
        }
    }
    UCharIterator iter;
    uiter_setString(&iter, text, length);
    return key_of_iterator(collator, &iter, key, error);
}

int32_t key_of_text(const UCollator * collator, UCharIteratorBase & text, bool text_is_complete,
                    const a_key_buffer & key, UErrorCode * error)
{
    UCharIterator iter;
    text.bind(&iter);
    const int32_t length = key_of_iterator(collator, &iter, key, error);
    // ICU sees a text through its iterator alone, so what came before the end was met stands for any text
    // that goes on.
    if (!text_is_complete && text.met_end() && U_SUCCESS(*error)) {
        *error = U_INDEX_OUTOFBOUNDS_ERROR;
        return 0;
    }
    return length;
}

// A call that has to do nothing; one without a text or a buffer is wrong.
bool has_nothing_to_do(const void * collator, const void * text, int32_t length, const void * dest,
                       uint32_t dest_size, UErrorCode * error)
{
    if (error == nullptr || U_FAILURE(*error)) {
        return true;
    }
    if (collator == nullptr || (text == nullptr && length != 0) || (dest == nullptr && dest_size != 0)) {
        *error = U_ILLEGAL_ARGUMENT_ERROR;
        return true;
    }
    return dest_size == 0;
}

size_t size_of(const char * text, int32_t length)
{
    return length < 0 ? strlen(text) : static_cast<size_t>(length);
}

} // namespace

extern "C" {

int32_t ucol_getSortKeyPrefix(const UCollator * collator, const UChar * text, int32_t length, uint8_t * dest,
                              uint32_t dest_size, UBool text_is_complete, UErrorCode * error)
{
    if (has_nothing_to_do(collator, text, length, dest, dest_size, error)) {
        return 0;
    }
    const int32_t units = length < 0 ? u_strlen(text) : length;
    const a_key_buffer key(dest, dest_size);
    if (text_is_complete != 0) {
        return key_of_units(collator, text, units, key, error);
    }
    UnitIterator iter(text, units);
    return key_of_text(collator, iter, false, key, error);
}

int32_t ucol_getSortKeyPrefixSBCS(const UCollator * collator, const char * text, int32_t length,
                                  uint8_t * dest, uint32_t dest_size, const UChar * map,
                                  UBool text_is_complete, UErrorCode * error)
{
    if (has_nothing_to_do(collator, text, length, dest, dest_size, error)) {
        return 0;
    }
    const size_t size = size_of(text, length);
    const a_key_buffer key(dest, dest_size);
    if (text_is_complete != 0 && size <= STACK_UNITS) {
        UChar units[STACK_UNITS];
        map_text(units, map, bytes_of(text), size);
        return key_of_units(collator, units, static_cast<int32_t>(size), key, error);
    }
    FragmentedSBCSIterator iter(bytes_of(text), size, size, nullptr, nullptr, map);
    return key_of_text(collator, iter, text_is_complete != 0, key, error);
}

int32_t ucol_getSortKeyPrefixUTF8(const UCollator * collator, const char * text, int32_t length,
                                  uint8_t * dest, uint32_t dest_size, UBool text_is_complete,
                                  UErrorCode * error)
{
    if (has_nothing_to_do(collator, text, length, dest, dest_size, error)) {
        return 0;
    }
    const size_t size = size_of(text, length);
    const a_key_buffer key(dest, dest_size);
    if (text_is_complete != 0 && size <= STACK_UNITS) {
        UChar units[STACK_UNITS + 1]; // no byte makes more than one; without a terminator there is a warning
        int32_t count = 0;
        u_strFromUTF8WithSub(units, STACK_UNITS + 1, &count, text, static_cast<int32_t>(size), 0xFFFD,
                             nullptr, error);
        return U_SUCCESS(*error) ? key_of_units(collator, units, count, key, error) : 0;
    }
    FragmentedUTF8Iterator iter(bytes_of(text), size, size, nullptr, nullptr);
    return key_of_text(collator, iter, text_is_complete != 0, key, error);
}
}
