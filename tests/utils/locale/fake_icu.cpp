// A small ICU build with all 33 entry points, for tests of what stands above one: the real one need not be
// there, and doesn't fail on demand. Text is Latin-1, whatever it is called, and case of ASCII letters
// doesn't count.
//
// Calls that change something go into a log of words, which fake_icu_log() gives and a test may empty.
//
// Converters: "ibm-850_P100-1995" opens with a warning, "ibm-437_P100-1995" doesn't open. Bytes F0 and F1
// stand for no character, and F1 not even for a byte; units above FF have no byte, and surrogates are no
// characters. Substitutes are U+FFFD and 1A.
//
// Collators: "fallback" and "default" open with the warning, and so does the type "unknown"; "missing"
// doesn't open, and what "broken" opens fails at all but its opening.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>

#include "utils/locale/uticu.h"

using namespace icu_abi;

struct UConverter {
    UConverterToUCallback to_hook;
    UConverterFromUCallback from_hook;
    const void * to_context;
    const void * from_context;
};

struct UCollator {
    bool is_broken;
};

struct icu_abi::UConverterToUnicodeArgs {
    a_utf16 ** target;
};

struct icu_abi::UConverterFromUnicodeArgs {
    char ** target;
};

namespace {

char log_text[4096];

void note(const char * word, int number = -1)
{
    const size_t used = strlen(log_text);
    std::snprintf(log_text + used, sizeof log_text - used, number < 0 ? "%s " : "%s=%d ", word, number);
}

// The hooks of a new converter.
void substitute_unit(const void *, UConverterToUnicodeArgs * args, const char *, int32,
                     UConverterCallbackReason reason, UErrorCode * error)
{
    if (reason <= UCNV_IRREGULAR) {
        *(*args->target)++ = 0xFFFD;
        *error = U_ZERO_ERROR;
    }
}

void substitute_byte(const void *, UConverterFromUnicodeArgs * args, const a_utf16 *, int32, UChar32,
                     UConverterCallbackReason reason, UErrorCode * error)
{
    if (reason <= UCNV_IRREGULAR) {
        *(*args->target)++ = 0x1A;
        *error = U_ZERO_ERROR;
    }
}

int fold(int c)
{
    return c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c;
}

int compare(const a_byte * s1, size_t length1, const a_byte * s2, size_t length2)
{
    for (size_t i = 0; i < std::min(length1, length2); i++) {
        if (fold(s1[i]) != fold(s2[i])) {
            return fold(s1[i]) - fold(s2[i]);
        }
    }
    return int{length1 > length2} - int{length1 < length2};
}

// Two bytes for each, none of them 0 or 1.
int32 write_key(const UCollator * collator, const a_byte * text, int32 length, a_byte * dest, uint32 size,
                bool is_complete, UErrorCode * error)
{
    if (collator->is_broken) {
        *error = U_MISSING_RESOURCE_ERROR;
        return 0;
    }
    uint32 written = 0;
    for (int32 i = 0; i < 2 * length && written < size; i++) {
        const int c = fold(text[i / 2]);
        dest[written++] = static_cast<a_byte>(2 + (i % 2 == 0 ? c >> 4 : c & 15));
    }
    if (!is_complete && written < size) {
        *error = U_INDEX_OUTOFBOUNDS_ERROR;
    }
    return static_cast<int32>(written);
}

class FakeText final : public UCharIteratorBase {
public:
    FakeText(const a_byte * bytes, size_t available, size_t limit, orv_fill_func fill, void * context)
        : _bytes(bytes), _available(std::min(available, limit)), _limit(limit), _fill(fill), _context(context)
    {
    }
    ~FakeText() override { note("destroy"); }

    // The byte at `index`, -1 behind the end.
    int at(size_t index)
    {
        if (index >= _available && index < _limit) {
            _bytes = _fill(_context, index, &_available);
            _limit = index >= _available ? _available : _limit;
        }
        return index < _available ? fold(_bytes[index]) : -1;
    }

private:
    const a_byte * _bytes;
    size_t _available;
    size_t _limit;
    orv_fill_func _fill;
    void * _context;
};
static_assert(sizeof(FakeText) <= sizeof(UCharIterator));

int32 map_case(orv_output_func output, void * output_context, orv_utf16_input_func input,
               void * input_context, int from, int to)
{
    a_utf16 unit = 0;
    int32 units = 0;
    while (input(reinterpret_cast<a_byte *>(&unit), sizeof unit, input_context) == sizeof unit) {
        unit = static_cast<a_utf16>(unit >= from && unit <= from + 25 ? unit - from + to : unit);
        units += output(reinterpret_cast<const a_byte *>(&unit), sizeof unit, output_context) == sizeof unit;
    }
    return units;
}

} // namespace

extern "C" {

char * fake_icu_log()
{
    return log_text;
}

UConverter * ucnv_open_3_4(const char * name, UErrorCode * error)
{
    note(name);
    if (strcmp(name, "ibm-437_P100-1995") == 0) {
        *error = U_MISSING_RESOURCE_ERROR;
        return nullptr;
    }
    *error = strcmp(name, "ibm-850_P100-1995") == 0 ? U_USING_DEFAULT_WARNING : *error;
    return new UConverter{substitute_unit, substitute_byte, nullptr, nullptr};
}

void ucnv_resetToUnicode_3_4(UConverter *)
{
    note("reset-to");
}

void ucnv_resetFromUnicode_3_4(UConverter *)
{
    note("reset-from");
}

void ucnv_close_3_4(UConverter * converter)
{
    note("close");
    delete converter;
}

void ucnv_toUnicode_3_4(UConverter * converter, a_utf16 ** target, const a_utf16 * target_limit,
                        const char ** source, const char * source_limit, int32 *, UBool, UErrorCode * error)
{
    UConverterToUnicodeArgs args = {target};
    while (*source < source_limit && *error == U_ZERO_ERROR) {
        if (*target == target_limit) {
            *error = U_BUFFER_OVERFLOW_ERROR;
            return;
        }
        const char c = *(*source)++;
        const auto b = static_cast<a_byte>(c);
        if (b != 0xF0 && b != 0xF1) {
            *(*target)++ = b;
            continue;
        }
        *error = b == 0xF0 ? U_INVALID_CHAR_FOUND : U_ILLEGAL_CHAR_FOUND;
        converter->to_hook(converter->to_context, &args, &c, 1, b == 0xF0 ? UCNV_UNASSIGNED : UCNV_ILLEGAL,
                           error);
    }
}

void ucnv_fromUnicode_3_4(UConverter * converter, char ** target, const char * target_limit,
                          const a_utf16 ** source, const a_utf16 * source_limit, int32 *, UBool,
                          UErrorCode * error)
{
    UConverterFromUnicodeArgs args = {target};
    while (*source < source_limit && *error == U_ZERO_ERROR) {
        if (*target == target_limit) {
            *error = U_BUFFER_OVERFLOW_ERROR;
            return;
        }
        const a_utf16 unit = *(*source)++;
        if (unit <= 0xFF) {
            *(*target)++ = static_cast<char>(unit);
            continue;
        }
        const bool is_surrogate = unit >= 0xD800 && unit <= 0xDFFF;
        *error = is_surrogate ? U_ILLEGAL_CHAR_FOUND : U_INVALID_CHAR_FOUND;
        converter->from_hook(converter->from_context, &args, &unit, 1, unit,
                             is_surrogate ? UCNV_ILLEGAL : UCNV_UNASSIGNED, error);
    }
}

void ucnv_setFallback_3_4(UConverter *, UBool uses_fallback)
{
    note("fallback", uses_fallback);
}

UCollator * ORV_ucol_open(const char * locale, UErrorCode * locale_error, UErrorCode * options_error)
{
    note(locale);
    if (strcmp(locale, "missing") == 0) {
        *locale_error = U_MISSING_RESOURCE_ERROR;
        return nullptr;
    }
    *locale_error = strcmp(locale, "fallback") == 0  ? U_USING_FALLBACK_WARNING
                    : strcmp(locale, "default") == 0 ? U_USING_DEFAULT_WARNING
                                                     : U_ZERO_ERROR;
    *options_error = strstr(locale, "unknown") != nullptr ? U_USING_DEFAULT_WARNING : U_ZERO_ERROR;
    return new UCollator{strcmp(locale, "broken") == 0};
}

void ucol_close_3_4(UCollator * collator)
{
    note("close");
    delete collator;
}

void ucol_setAttribute_3_4(UCollator * collator, UColAttribute attribute, UColAttributeValue value,
                           UErrorCode * error)
{
    if (*error > U_ZERO_ERROR) {
        return;
    }
    *error = collator->is_broken ? U_MISSING_RESOURCE_ERROR : U_ZERO_ERROR;
    static constexpr const char * NAMES[] = {"french", "alternate", "case-first", "case-level"};
    note(NAMES[attribute], value);
}

void ucol_setStrength_3_4(UCollator *, UColAttributeValue strength)
{
    note("strength", strength);
}

int32 ucol_getSortKeyPrefixSBCS(const UCollator * collator, const char * text, int32 length, a_byte * dest,
                                uint32 size, const a_utf16 *, UBool is_complete, UErrorCode * error)
{
    return write_key(collator, reinterpret_cast<const a_byte *>(text), length, dest, size, is_complete != 0,
                     error);
}

int32 ucol_getSortKeyPrefixUTF8(const UCollator * collator, const char * text, int32 length, a_byte * dest,
                                uint32 size, UBool is_complete, UErrorCode * error)
{
    return write_key(collator, reinterpret_cast<const a_byte *>(text), length, dest, size, is_complete != 0,
                     error);
}

UBool u_isUAlphabetic_3_4(UChar32 c)
{
    return fold(c) >= 'A' && fold(c) <= 'Z';
}

int32 u_getIntPropertyValue_3_4(UChar32 c, UProperty)
{
    return c >= '0' && c <= '9' ? 1 : 0;
}

UBool u_isWhitespace_3_4(UChar32 c)
{
    return c == ' ';
}

UBool u_isUWhiteSpace_3_4(UChar32 c)
{
    return c == ' ';
}

int ucol_strcoll_sbcs(const UCollator *, const a_utf16 *, const char * s1, size_t length1, const char * s2,
                      size_t length2)
{
    return compare(reinterpret_cast<const a_byte *>(s1), length1, reinterpret_cast<const a_byte *>(s2),
                   length2);
}

UCollationResult ucol_strcollIter_3_4(const UCollator * collator, UCharIterator * iter1,
                                      UCharIterator * iter2, UErrorCode * error)
{
    if (collator->is_broken) {
        *error = U_MISSING_RESOURCE_ERROR;
        return UCOL_LESS;
    }
    auto & text1 = *std::launder(reinterpret_cast<FakeText *>(iter1));
    auto & text2 = *std::launder(reinterpret_cast<FakeText *>(iter2));
    for (size_t i = 0;; i++) {
        const int c1 = text1.at(i);
        const int c2 = text2.at(i);
        if (c1 != c2) {
            return c1 < c2 ? UCOL_LESS : UCOL_GREATER;
        }
        if (c1 < 0) {
            return UCOL_EQUAL;
        }
    }
}

int32 ORV_strToUpper(orv_output_func output, void * output_context, orv_utf16_input_func input,
                     void * input_context, const char *, UErrorCode *)
{
    return map_case(output, output_context, input, input_context, 'a', 'A');
}

int32 ORV_strToLower(orv_output_func output, void * output_context, orv_utf16_input_func input,
                     void * input_context, const char *, UErrorCode *)
{
    return map_case(output, output_context, input, input_context, 'A', 'a');
}

ICU_DATASET ORVGetICUDataset()
{
    return ICU_DATASET_FULL;
}

// They have to be there, but nobody calls them.
void ucol_open_3_4() {}
void ucol_getSortKeyPrefix() {}
void ucol_strcoll_3_4() {}
void uiter_setUTF8_3_4() {}
void u_strToLower_3_4() {}
void u_strToUpper_3_4() {}
void uloc_canonicalize_3_4() {}

void ucnv_setFromUCallBack_3_4(UConverter * converter, UConverterFromUCallback callback, const void * context,
                               UConverterFromUCallback * old_callback, const void ** old_context,
                               UErrorCode *)
{
    *old_callback = converter->from_hook;
    *old_context = converter->from_context;
    converter->from_hook = callback;
    converter->from_context = context;
}

void ucnv_setToUCallBack_3_4(UConverter * converter, UConverterToUCallback callback, const void * context,
                             UConverterToUCallback * old_callback, const void ** old_context, UErrorCode *)
{
    *old_callback = converter->to_hook;
    *old_context = converter->to_context;
    converter->to_hook = callback;
    converter->to_context = context;
}

void uiter_setFragmentedSBCS(UCharIterator * iter, const a_byte * bytes, size_t available, size_t limit,
                             orv_fill_func fill, void * context, const a_utf16 *)
{
    new (iter) FakeText(bytes, available, limit, fill, context);
}

void uiter_setFragmentedUTF8Simple(UCharIterator * iter, const a_byte * bytes, size_t available, size_t limit,
                                   orv_fill_func fill, void * context)
{
    new (iter) FakeText(bytes, available, limit, fill, context);
}
}
