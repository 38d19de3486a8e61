// The binding to an ICU build that is looked for at run time, under the name liborvicu16_r.so. There may be
// none, or one that lacks entry points: each entry point that can't be had is replaced by a stub of the same
// signature, which fails as ICU would, so callers never ask whether it is there. Nothing is reported.
//
// The library builds without ICU's headers: what it needs of ICU's types and values stands here, with the
// values that ICU gives them. An entry point with the suffix _3_4 is ICU's function of that name; the others
// are the build's own, and their contracts stand at their methods.
//
// Units: text in a character set is counted in bytes, UTF-16 in units. Ownership: the object owns the library
// it has loaded, handles belong to whoever opens them. Threads: read-only after construction, free on any
// thread; a converter or an iterator belongs to one thread at a time.
#pragma once

#include "utils/etc/utdll.h"
#include "utils/etc/uttypes.h"

struct UConverter;
struct UCollator;

// How much data an ICU build brings along.
enum ICU_DATASET : int32 {
    ICU_DATASET_NONE = 0,
    ICU_DATASET_STUB = 1,
    ICU_DATASET_CE = 2,
    ICU_DATASET_ORV = 3,
    ICU_DATASET_FULL = 4
};

// What ICU's headers call by the same names. In a namespace, so that a source may include both.
namespace icu_abi {

using UBool = signed char;
using UChar32 = int32;

// Below 0 are warnings, above 0 failures.
enum UErrorCode : int32 {
    U_USING_FALLBACK_WARNING = -128,
    U_USING_DEFAULT_WARNING = -127,
    U_ZERO_ERROR = 0,
    U_MISSING_RESOURCE_ERROR = 2,
    U_INDEX_OUTOFBOUNDS_ERROR = 8,
    U_INVALID_CHAR_FOUND = 10,
    U_TRUNCATED_CHAR_FOUND = 11,
    U_ILLEGAL_CHAR_FOUND = 12,
    U_BUFFER_OVERFLOW_ERROR = 15
};

enum UConverterCallbackReason : int32 { UCNV_UNASSIGNED = 0, UCNV_ILLEGAL = 1, UCNV_IRREGULAR = 2 };

struct UConverterToUnicodeArgs;
struct UConverterFromUnicodeArgs;
using UConverterToUCallback = void (*)(const void * context, UConverterToUnicodeArgs * args,
                                       const char * code_units, int32 length, UConverterCallbackReason reason,
                                       UErrorCode * error);
using UConverterFromUCallback = void (*)(const void * context, UConverterFromUnicodeArgs * args,
                                         const a_utf16 * code_units, int32 length, UChar32 code_point,
                                         UConverterCallbackReason reason, UErrorCode * error);

enum UColAttribute : int32 {
    UCOL_FRENCH_COLLATION = 0,
    UCOL_ALTERNATE_HANDLING = 1,
    UCOL_CASE_FIRST = 2,
    UCOL_CASE_LEVEL = 3
};

enum UColAttributeValue : int32 {
    UCOL_PRIMARY = 0,
    UCOL_SECONDARY = 1,
    UCOL_TERTIARY = 2,
    UCOL_QUATERNARY = 3,
    UCOL_ON = 17,
    UCOL_SHIFTED = 20,
    UCOL_NON_IGNORABLE = 21,
    UCOL_LOWER_FIRST = 24,
    UCOL_UPPER_FIRST = 25
};

enum UCollationResult : int32 { UCOL_LESS = -1, UCOL_EQUAL = 0, UCOL_GREATER = 1 };

enum UProperty : int32 { UCHAR_NUMERIC_TYPE = 0x1009 };
constexpr int32 U_NT_DECIMAL = 1; // of that property

// Storage for an iterator, which a uiter_set operation builds in it: an object derived from
// UCharIteratorBase, on which the caller runs the destructor. It isn't ICU's record of that name.
struct UCharIterator {
    void * _space[5];
    void * _derived_class_space[8];
};
static_assert(sizeof(UCharIterator) == 104);

} // namespace icu_abi

// What of an iterator this side knows.
class UCharIteratorBase {
public:
    UCharIteratorBase() = default;
    UCharIteratorBase(const UCharIteratorBase &) = delete;
    UCharIteratorBase & operator=(const UCharIteratorBase &) = delete;
    virtual ~UCharIteratorBase() = default;
};

// Takes `size` bytes of UTF-16 and returns how many of them it took.
using orv_output_func = size_t (*)(const a_byte * data, size_t size, void * context);
// Gives up to `size` bytes of UTF-16 and returns how many; 0 is the end.
using orv_utf16_input_func = size_t (*)(a_byte * dest, size_t size, void * context);
// Makes the byte at `min_index` available if there is one: returns where the text now lies, with all bytes
// from the first on, and sets *new_size to how many of them may be read.
using orv_fill_func = const a_byte * (*)(void * fill_context, size_t min_index, size_t * new_size);

class UTICU {
public:
    // Searches for the build and loads it.
    UTICU();
    // Takes `dll` over as the build; null is none. Searches and loads nothing.
    explicit UTICU(a_dll_handle dll);
    // Unloads it: nothing that it has made may be left.
    ~UTICU();
    UTICU(const UTICU &) = delete;
    UTICU & operator=(const UTICU &) = delete;

    // A binding to no build, for who has none of his own.
    static UTICU & no_build();

    // TRUE if a build was found that lacks an entry point.
    a_bool version_mismatch() const { return _missing_entry; }

    // ---- Converters

    UConverter * ucnv_open_3_4(const char * name, icu_abi::UErrorCode * error) const
    {
        return _ucnv_open(name, error);
    }
    void ucnv_resetToUnicode_3_4(UConverter * converter) const { _ucnv_resetToUnicode(converter); }
    void ucnv_resetFromUnicode_3_4(UConverter * converter) const { _ucnv_resetFromUnicode(converter); }
    void ucnv_close_3_4(UConverter * converter) const { _ucnv_close(converter); }
    void ucnv_toUnicode_3_4(UConverter * converter, a_utf16 ** target, const a_utf16 * target_limit,
                            const char ** source, const char * source_limit, int32 * offsets,
                            icu_abi::UBool flush, icu_abi::UErrorCode * error) const
    {
        _ucnv_toUnicode(converter, target, target_limit, source, source_limit, offsets, flush, error);
    }
    void ucnv_fromUnicode_3_4(UConverter * converter, char ** target, const char * target_limit,
                              const a_utf16 ** source, const a_utf16 * source_limit, int32 * offsets,
                              icu_abi::UBool flush, icu_abi::UErrorCode * error) const
    {
        _ucnv_fromUnicode(converter, target, target_limit, source, source_limit, offsets, flush, error);
    }
    void ucnv_setFallback_3_4(UConverter * converter, icu_abi::UBool uses_fallback) const
    {
        _ucnv_setFallback(converter, uses_fallback);
    }
    void ucnv_setFromUCallBack_3_4(UConverter * converter, icu_abi::UConverterFromUCallback callback,
                                   const void * context, icu_abi::UConverterFromUCallback * old_callback,
                                   const void ** old_context, icu_abi::UErrorCode * error) const
    {
        _ucnv_setFromUCallBack(converter, callback, context, old_callback, old_context, error);
    }
    void ucnv_setToUCallBack_3_4(UConverter * converter, icu_abi::UConverterToUCallback callback,
                                 const void * context, icu_abi::UConverterToUCallback * old_callback,
                                 const void ** old_context, icu_abi::UErrorCode * error) const
    {
        _ucnv_setToUCallBack(converter, callback, context, old_callback, old_context, error);
    }

    // ---- Collators

    UCollator * ucol_open_3_4(const char * locale, icu_abi::UErrorCode * error) const
    {
        return _ucol_open(locale, error);
    }
    // Opens for a locale text that may carry a sort type as a keyword. Warnings about the locale are left in
    // the first code, those about the keyword in the second.
    UCollator * ORV_ucol_open(const char * locale, icu_abi::UErrorCode * locale_error,
                              icu_abi::UErrorCode * options_error) const
    {
        return _ORV_ucol_open(locale, locale_error, options_error);
    }
    void ucol_close_3_4(UCollator * collator) const { _ucol_close(collator); }
    void ucol_setAttribute_3_4(UCollator * collator, icu_abi::UColAttribute attribute,
                               icu_abi::UColAttributeValue value, icu_abi::UErrorCode * error) const
    {
        _ucol_setAttribute(collator, attribute, value, error);
    }
    void ucol_setStrength_3_4(UCollator * collator, icu_abi::UColAttributeValue strength) const
    {
        _ucol_setStrength(collator, strength);
    }
    // The three write the leading bytes of a text's sort key, as many as fit, without a terminator, and
    // return how many. With `is_complete` false, U_INDEX_OUTOFBOUNDS_ERROR tells that these bytes depend on
    // what follows the text. `map` gives the UTF-16 unit of each byte.
    int32 ucol_getSortKeyPrefix(const UCollator * collator, const a_utf16 * text, int32 length, a_byte * dest,
                                uint32 dest_size, icu_abi::UBool is_complete,
                                icu_abi::UErrorCode * error) const
    {
        return _ucol_getSortKeyPrefix(collator, text, length, dest, dest_size, is_complete, error);
    }
    int32 ucol_getSortKeyPrefixSBCS(const UCollator * collator, const char * text, int32 length,
                                    a_byte * dest, uint32 dest_size, const a_utf16 * map,
                                    icu_abi::UBool is_complete, icu_abi::UErrorCode * error) const
    {
        return _ucol_getSortKeyPrefixSBCS(collator, text, length, dest, dest_size, map, is_complete, error);
    }
    int32 ucol_getSortKeyPrefixUTF8(const UCollator * collator, const char * text, int32 length,
                                    a_byte * dest, uint32 dest_size, icu_abi::UBool is_complete,
                                    icu_abi::UErrorCode * error) const
    {
        return _ucol_getSortKeyPrefixUTF8(collator, text, length, dest, dest_size, is_complete, error);
    }
    icu_abi::UCollationResult ucol_strcoll_3_4(const UCollator * collator, const a_utf16 * s1, int32 length1,
                                               const a_utf16 * s2, int32 length2) const
    {
        return _ucol_strcoll(collator, s1, length1, s2, length2);
    }
    // As ucol_strcoll on the two texts taken through the map: negative, 0 or positive.
    int ucol_strcoll_sbcs(const UCollator * collator, const a_utf16 * map, const char * s1, size_t length1,
                          const char * s2, size_t length2) const
    {
        return _ucol_strcoll_sbcs(collator, map, s1, length1, s2, length2);
    }
    icu_abi::UCollationResult ucol_strcollIter_3_4(const UCollator * collator, icu_abi::UCharIterator * iter1,
                                                   icu_abi::UCharIterator * iter2,
                                                   icu_abi::UErrorCode * error) const
    {
        return _ucol_strcollIter(collator, iter1, iter2, error);
    }
    void uiter_setUTF8_3_4(icu_abi::UCharIterator * iter, const char * text, int32 length) const
    {
        _uiter_setUTF8(iter, text, length);
    }
    // Build an iterator over a text of at most `limit` bytes, of which the first `available` ones are at hand
    // at `bytes`; `fill` is called for more.
    void uiter_setFragmentedSBCS(icu_abi::UCharIterator * iter, const a_byte * bytes, size_t available,
                                 size_t limit, orv_fill_func fill, void * fill_context,
                                 const a_utf16 * map) const
    {
        _uiter_setFragmentedSBCS(iter, bytes, available, limit, fill, fill_context, map);
    }
    void uiter_setFragmentedUTF8Simple(icu_abi::UCharIterator * iter, const a_byte * bytes, size_t available,
                                       size_t limit, orv_fill_func fill, void * fill_context) const
    {
        _uiter_setFragmentedUTF8Simple(iter, bytes, available, limit, fill, fill_context);
    }

    // ---- Characters, case mapping, the rest

    icu_abi::UBool u_isUAlphabetic_3_4(icu_abi::UChar32 c) const { return _u_isUAlphabetic(c); }
    icu_abi::UBool u_isWhitespace_3_4(icu_abi::UChar32 c) const { return _u_isWhitespace(c); }
    icu_abi::UBool u_isUWhiteSpace_3_4(icu_abi::UChar32 c) const { return _u_isUWhiteSpace(c); }
    int32 u_getIntPropertyValue_3_4(icu_abi::UChar32 c, icu_abi::UProperty which) const
    {
        return _u_getIntPropertyValue(c, which);
    }
    // Pull UTF-16 through `input` to its end and push the mapped text through `output`.
    int32 ORV_strToUpper(orv_output_func output, void * output_context, orv_utf16_input_func input,
                         void * input_context, const char * locale, icu_abi::UErrorCode * error) const
    {
        return _ORV_strToUpper(output, output_context, input, input_context, locale, error);
    }
    int32 ORV_strToLower(orv_output_func output, void * output_context, orv_utf16_input_func input,
                         void * input_context, const char * locale, icu_abi::UErrorCode * error) const
    {
        return _ORV_strToLower(output, output_context, input, input_context, locale, error);
    }
    int32 u_strToLower_3_4(a_utf16 * dest, int32 capacity, const a_utf16 * text, int32 length,
                           const char * locale, icu_abi::UErrorCode * error) const
    {
        return _u_strToLower(dest, capacity, text, length, locale, error);
    }
    int32 u_strToUpper_3_4(a_utf16 * dest, int32 capacity, const a_utf16 * text, int32 length,
                           const char * locale, icu_abi::UErrorCode * error) const
    {
        return _u_strToUpper(dest, capacity, text, length, locale, error);
    }
    int32 uloc_canonicalize_3_4(const char * locale, char * dest, int32 capacity,
                                icu_abi::UErrorCode * error) const
    {
        return _uloc_canonicalize(locale, dest, capacity, error);
    }
    ICU_DATASET ORVGetICUDataset() const { return _ORVGetICUDataset(); }

private:
    struct an_entry;
    static const an_entry ENTRIES[];

    // The build's entry point, or the stub.
    void * load_symbol(const char * name, void * fail_function);

    // The entry points, in the order in which they are looked up.
    UConverter * (*_ucnv_open)(const char *, icu_abi::UErrorCode *);
    void (*_ucnv_resetToUnicode)(UConverter *);
    void (*_ucnv_resetFromUnicode)(UConverter *);
    void (*_ucnv_close)(UConverter *);
    void (*_ucnv_toUnicode)(UConverter *, a_utf16 **, const a_utf16 *, const char **, const char *, int32 *,
                            icu_abi::UBool, icu_abi::UErrorCode *);
    void (*_ucnv_fromUnicode)(UConverter *, char **, const char *, const a_utf16 **, const a_utf16 *, int32 *,
                              icu_abi::UBool, icu_abi::UErrorCode *);
    void (*_ucnv_setFallback)(UConverter *, icu_abi::UBool);
    UCollator * (*_ucol_open)(const char *, icu_abi::UErrorCode *);
    void (*_ucol_close)(UCollator *);
    void (*_ucol_setAttribute)(UCollator *, icu_abi::UColAttribute, icu_abi::UColAttributeValue,
                               icu_abi::UErrorCode *);
    void (*_ucol_setStrength)(UCollator *, icu_abi::UColAttributeValue);
    int32 (*_ucol_getSortKeyPrefix)(const UCollator *, const a_utf16 *, int32, a_byte *, uint32,
                                    icu_abi::UBool, icu_abi::UErrorCode *);
    int32 (*_ucol_getSortKeyPrefixSBCS)(const UCollator *, const char *, int32, a_byte *, uint32,
                                        const a_utf16 *, icu_abi::UBool, icu_abi::UErrorCode *);
    int32 (*_ucol_getSortKeyPrefixUTF8)(const UCollator *, const char *, int32, a_byte *, uint32,
                                        icu_abi::UBool, icu_abi::UErrorCode *);
    icu_abi::UBool (*_u_isUAlphabetic)(icu_abi::UChar32);
    int32 (*_u_getIntPropertyValue)(icu_abi::UChar32, icu_abi::UProperty);
    icu_abi::UBool (*_u_isWhitespace)(icu_abi::UChar32);
    void (*_uiter_setUTF8)(icu_abi::UCharIterator *, const char *, int32);
    icu_abi::UCollationResult (*_ucol_strcoll)(const UCollator *, const a_utf16 *, int32, const a_utf16 *,
                                               int32);
    int (*_ucol_strcoll_sbcs)(const UCollator *, const a_utf16 *, const char *, size_t, const char *, size_t);
    icu_abi::UCollationResult (*_ucol_strcollIter)(const UCollator *, icu_abi::UCharIterator *,
                                                   icu_abi::UCharIterator *, icu_abi::UErrorCode *);
    int32 (*_ORV_strToUpper)(orv_output_func, void *, orv_utf16_input_func, void *, const char *,
                             icu_abi::UErrorCode *);
    int32 (*_ORV_strToLower)(orv_output_func, void *, orv_utf16_input_func, void *, const char *,
                             icu_abi::UErrorCode *);
    int32 (*_u_strToLower)(a_utf16 *, int32, const a_utf16 *, int32, const char *, icu_abi::UErrorCode *);
    int32 (*_u_strToUpper)(a_utf16 *, int32, const a_utf16 *, int32, const char *, icu_abi::UErrorCode *);
    int32 (*_uloc_canonicalize)(const char *, char *, int32, icu_abi::UErrorCode *);
    ICU_DATASET (*_ORVGetICUDataset)();
    void (*_ucnv_setFromUCallBack)(UConverter *, icu_abi::UConverterFromUCallback, const void *,
                                   icu_abi::UConverterFromUCallback *, const void **, icu_abi::UErrorCode *);
    void (*_ucnv_setToUCallBack)(UConverter *, icu_abi::UConverterToUCallback, const void *,
                                 icu_abi::UConverterToUCallback *, const void **, icu_abi::UErrorCode *);
    icu_abi::UBool (*_u_isUWhiteSpace)(icu_abi::UChar32);
    UCollator * (*_ORV_ucol_open)(const char *, icu_abi::UErrorCode *, icu_abi::UErrorCode *);
    void (*_uiter_setFragmentedSBCS)(icu_abi::UCharIterator *, const a_byte *, size_t, size_t, orv_fill_func,
                                     void *, const a_utf16 *);
    void (*_uiter_setFragmentedUTF8Simple)(icu_abi::UCharIterator *, const a_byte *, size_t, size_t,
                                           orv_fill_func, void *);
    a_bool _missing_entry;    // a build was loaded, and lacks an entry point
    a_dll_handle _orvicu_dll; // the build, or null
};
static_assert(sizeof(UTICU) == 33 * sizeof(void *) + 16);
