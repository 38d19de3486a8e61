// The companion that brings ICU: `liborvicu16_r.so`, or `liborvicu16.so` for a process without threads. It
// exports the 33 entry points below under the names told here and nothing else. Those with the suffix _3_4
// are ICU's own functions of that name, as ICU documents them; the others are this companion's. The link
// library looks for it at run time and declares what it calls for itself, since it builds without ICU's
// headers.
//
// ABI, for whoever declares these functions without ICU's headers: UBool is one signed byte, as an argument
// and as a result; UChar is an unsigned 16-bit unit; UChar32, UErrorCode, ICU_DATASET and all other
// enumerations are 32-bit integers; handles are pointers.
//
// Units: text in a character set is counted in bytes, UTF-16 (in the platform's byte order) in units; the
// streams of ORV_strToUpper and ORV_strToLower count bytes of UTF-16. Failure: a UErrorCode above 0 on
// entry makes a function do nothing, as in ICU; running out of memory is U_MEMORY_ALLOCATION_ERROR. Nothing
// is thrown. Threads: as ICU's. A converter and an iterator belong to one thread at a time; a collator
// whose attributes are set serves several.
#pragma once

#include <unicode/ucnv.h>
#include <unicode/ucol.h>

#include <cstddef>
#include <cstdint>

#define ORVICU_EXPORT __attribute__((visibility("default")))

// How much data the ICU below brings along.
enum ICU_DATASET : int32_t {
    ICU_DATASET_NONE = 0, // none that can be read
    ICU_DATASET_STUB = 1, // less than the next
    ICU_DATASET_CE = 2,   // the root collation, and not all converters
    ICU_DATASET_ORV = 3,  // also a converter for each character set of the catalogue
    ICU_DATASET_FULL = 4  // also the tailorings of languages
};

// Storage for an iterator, which the caller provides, aligned as a pointer. It isn't ICU's struct of that
// name and not as large. A uiter_set operation builds an object derived from UCharIteratorBase in it, over
// what was there. The caller runs the virtual destructor on it after use; its two slots are the first of
// the table.
struct an_icu_iterator {
    void * _space[5];
    void * _derived_class_space[8];
};
static_assert(sizeof(an_icu_iterator) == 104);

class UCharIteratorBase;

// Gives text for an iterator: returns where the text now lies, with all bytes from the first on, and sets
// *new_size to how many of them may be read. It is called when the byte at index `min_index` is needed and
// isn't at hand. The text may have moved, and what was at hand before is then no longer read. A *new_size
// that doesn't exceed `min_index` tells that the text has ended; the function isn't called again.
using orv_fill_func = const uint8_t * (*)(void * fill_context, size_t min_index, size_t * new_size);

// Takes `size` bytes of UTF-16 and returns how many of them it took; fewer mean that no more will be taken.
using orv_output_func = size_t (*)(const uint8_t * data, size_t size, void * context);

// Writes up to `size` bytes of UTF-16 to `dest` and returns how many; 0 is the end. Any number may come at a
// time, an odd one too.
using orv_utf16_input_func = size_t (*)(uint8_t * dest, size_t size, void * context);

extern "C" {

// Opens by name, as ICU does, and the five code pages of the catalogue that ICU's own data may lack.
ORVICU_EXPORT UConverter * ucnv_open_3_4(const char * name, UErrorCode * error);
ORVICU_EXPORT void ucnv_resetToUnicode_3_4(UConverter * converter);
ORVICU_EXPORT void ucnv_resetFromUnicode_3_4(UConverter * converter);
ORVICU_EXPORT void ucnv_close_3_4(UConverter * converter);
ORVICU_EXPORT void ucnv_toUnicode_3_4(UConverter * converter, UChar ** target, const UChar * target_limit,
                                      const char ** source, const char * source_limit, int32_t * offsets,
                                      UBool flush, UErrorCode * error);
ORVICU_EXPORT void ucnv_fromUnicode_3_4(UConverter * converter, char ** target, const char * target_limit,
                                        const UChar ** source, const UChar * source_limit, int32_t * offsets,
                                        UBool flush, UErrorCode * error);
ORVICU_EXPORT void ucnv_setFallback_3_4(UConverter * converter, UBool uses_fallback);
ORVICU_EXPORT UCollator * ucol_open_3_4(const char * locale, UErrorCode * error);
ORVICU_EXPORT void ucol_close_3_4(UCollator * collator);
ORVICU_EXPORT void ucol_setAttribute_3_4(UCollator * collator, UColAttribute attribute,
                                         UColAttributeValue value, UErrorCode * error);
ORVICU_EXPORT void ucol_setStrength_3_4(UCollator * collator, UCollationStrength strength);

// The three write the leading bytes of the sort key of a text to `dest`, as many as fit and without the
// terminator, and return how many. What is written is a prefix of the key whatever its size, and the key is
// that of ucol_getSortKey for the whole text. A negative length stands for text that ends in a zero.
// With `text_is_complete` false more text follows that isn't at hand. If the bytes wanted depend on it, the
// error is U_INDEX_OUTOFBOUNDS_ERROR, and the result is how many bytes don't.
ORVICU_EXPORT int32_t ucol_getSortKeyPrefix(const UCollator * collator, const UChar * text, int32_t length,
                                            uint8_t * dest, uint32_t dest_size, UBool text_is_complete,
                                            UErrorCode * error);
ORVICU_EXPORT int32_t ucol_getSortKeyPrefixSBCS(const UCollator * collator, const char * text, int32_t length,
                                                uint8_t * dest, uint32_t dest_size, const UChar * map,
                                                UBool text_is_complete, UErrorCode * error);
ORVICU_EXPORT int32_t ucol_getSortKeyPrefixUTF8(const UCollator * collator, const char * text, int32_t length,
                                                uint8_t * dest, uint32_t dest_size, UBool text_is_complete,
                                                UErrorCode * error);
ORVICU_EXPORT UBool u_isUAlphabetic_3_4(UChar32 c);
ORVICU_EXPORT int32_t u_getIntPropertyValue_3_4(UChar32 c, UProperty which);
ORVICU_EXPORT UBool u_isWhitespace_3_4(UChar32 c);

// An iterator for ucol_strcollIter_3_4 over UTF-8 that is all at hand; a negative length as above.
ORVICU_EXPORT void uiter_setUTF8_3_4(an_icu_iterator * iter, const char * text, int32_t length);
ORVICU_EXPORT UCollationResult ucol_strcoll_3_4(const UCollator * collator, const UChar * s1, int32_t length1,
                                                const UChar * s2, int32_t length2);

// Compares as ucol_strcoll does on the two texts taken through the map of 256 values: negative, 0 or
// positive. This one and ucol_strcollIter_3_4 keep the order of the sort keys even in the rare cases in which
// ucol_strcoll doesn't.
ORVICU_EXPORT int ucol_strcoll_sbcs(const UCollator * collator, const UChar * map, const char * s1,
                                    size_t length1, const char * s2, size_t length2);

// Both iterators are used up by it.
ORVICU_EXPORT UCollationResult ucol_strcollIter_3_4(const UCollator * collator, an_icu_iterator * iter1,
                                                    an_icu_iterator * iter2, UErrorCode * error);

// Read UTF-16 from `input` to its end and give the mapped text to `output`, in pieces, none of them empty.
// The mapping is that of u_strToUpper and u_strToLower on the whole text, whatever the pieces are. Memory
// is held for the longest run of marks on one letter, or of letters in Greek upper case. Result: units
// given to `output`, at most INT32_MAX. Errors: U_BUFFER_OVERFLOW_ERROR if the output took less than it was
// given, U_TRUNCATED_CHAR_FOUND if the input ended in half a unit, which is left out.
ORVICU_EXPORT int32_t ORV_strToUpper(orv_output_func output, void * output_context,
                                     orv_utf16_input_func input, void * input_context, const char * locale,
                                     UErrorCode * error);
ORVICU_EXPORT int32_t ORV_strToLower(orv_output_func output, void * output_context,
                                     orv_utf16_input_func input, void * input_context, const char * locale,
                                     UErrorCode * error);
ORVICU_EXPORT int32_t u_strToLower_3_4(UChar * dest, int32_t capacity, const UChar * text, int32_t length,
                                       const char * locale, UErrorCode * error);
ORVICU_EXPORT int32_t u_strToUpper_3_4(UChar * dest, int32_t capacity, const UChar * text, int32_t length,
                                       const char * locale, UErrorCode * error);
ORVICU_EXPORT int32_t uloc_canonicalize_3_4(const char * locale, char * dest, int32_t capacity,
                                            UErrorCode * error);
ORVICU_EXPORT ICU_DATASET ORVGetICUDataset();
ORVICU_EXPORT void ucnv_setFromUCallBack_3_4(UConverter * converter, UConverterFromUCallback callback,
                                             const void * context, UConverterFromUCallback * old_callback,
                                             const void ** old_context, UErrorCode * error);
ORVICU_EXPORT void ucnv_setToUCallBack_3_4(UConverter * converter, UConverterToUCallback callback,
                                           const void * context, UConverterToUCallback * old_callback,
                                           const void ** old_context, UErrorCode * error);
ORVICU_EXPORT UBool u_isUWhiteSpace_3_4(UChar32 c);

// Opens a collator for a locale text, which may carry options as keywords ("de@collation=phonebook"). After
// success *locale_error tells how the locale was served (U_USING_FALLBACK_WARNING: by a less special one;
// U_USING_DEFAULT_WARNING: by the root, as for the many languages that need no tailoring) and *options_error
// how the collation type asked for was (U_USING_DEFAULT_WARNING: it isn't known there, and the locale's usual
// one serves). After failure the result is null and one of the two holds the error.
ORVICU_EXPORT UCollator * ORV_ucol_open(const char * locale, UErrorCode * locale_error,
                                        UErrorCode * options_error);

// Build an iterator in `iter` over text of which the first `available` bytes are at hand at `bytes`. The text
// has at most `limit` bytes, whatever the fill function gives. SBCS: one unit for each byte, from the map of
// 256 values. UTF8Simple: each ill-formed part is one U+FFFD, as in ICU's conversions. The fill function is
// called only when a byte beyond those at hand and below `limit` is needed. Bytes, map and context are the
// caller's and outlive the iterator.
ORVICU_EXPORT void uiter_setFragmentedSBCS(an_icu_iterator * iter, const uint8_t * bytes, size_t available,
                                           size_t limit, orv_fill_func fill, void * fill_context,
                                           const UChar * map);
ORVICU_EXPORT void uiter_setFragmentedUTF8Simple(an_icu_iterator * iter, const uint8_t * bytes,
                                                 size_t available, size_t limit, orv_fill_func fill,
                                                 void * fill_context);
}
