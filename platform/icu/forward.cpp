// The entry points that are ICU's own. ICU's headers put the version suffix of the ICU at hand behind each
// name.

#include <unicode/uchar.h>
#include <unicode/uloc.h>
#include <unicode/ustring.h>

#include "icu/orvicu.h"

extern "C" {

void ucnv_resetToUnicode_3_4(UConverter * converter)
{
    ucnv_resetToUnicode(converter);
}

void ucnv_resetFromUnicode_3_4(UConverter * converter)
{
    ucnv_resetFromUnicode(converter);
}

void ucnv_close_3_4(UConverter * converter)
{
    ucnv_close(converter);
}

void ucnv_toUnicode_3_4(UConverter * converter, UChar ** target, const UChar * target_limit,
                        const char ** source, const char * source_limit, int32_t * offsets, UBool flush,
                        UErrorCode * error)
{
    ucnv_toUnicode(converter, target, target_limit, source, source_limit, offsets, flush, error);
}

void ucnv_fromUnicode_3_4(UConverter * converter, char ** target, const char * target_limit,
                          const UChar ** source, const UChar * source_limit, int32_t * offsets, UBool flush,
                          UErrorCode * error)
{
    ucnv_fromUnicode(converter, target, target_limit, source, source_limit, offsets, flush, error);
}

void ucnv_setFallback_3_4(UConverter * converter, UBool uses_fallback)
{
    ucnv_setFallback(converter, uses_fallback);
}

void ucnv_setFromUCallBack_3_4(UConverter * converter, UConverterFromUCallback callback, const void * context,
                               UConverterFromUCallback * old_callback, const void ** old_context,
                               UErrorCode * error)
{
    ucnv_setFromUCallBack(converter, callback, context, old_callback, old_context, error);
}

void ucnv_setToUCallBack_3_4(UConverter * converter, UConverterToUCallback callback, const void * context,
                             UConverterToUCallback * old_callback, const void ** old_context,
                             UErrorCode * error)
{
    ucnv_setToUCallBack(converter, callback, context, old_callback, old_context, error);
}

UCollator * ucol_open_3_4(const char * locale, UErrorCode * error)
{
    return ucol_open(locale, error);
}

void ucol_close_3_4(UCollator * collator)
{
    ucol_close(collator);
}

void ucol_setAttribute_3_4(UCollator * collator, UColAttribute attribute, UColAttributeValue value,
                           UErrorCode * error)
{
    ucol_setAttribute(collator, attribute, value, error);
}

void ucol_setStrength_3_4(UCollator * collator, UCollationStrength strength)
{
    ucol_setStrength(collator, strength);
}

UCollationResult ucol_strcoll_3_4(const UCollator * collator, const UChar * s1, int32_t length1,
                                  const UChar * s2, int32_t length2)
{
    return ucol_strcoll(collator, s1, length1, s2, length2);
}

UBool u_isUAlphabetic_3_4(UChar32 c)
{
    return u_isUAlphabetic(c);
}

UBool u_isUWhiteSpace_3_4(UChar32 c)
{
    return u_isUWhiteSpace(c);
}

UBool u_isWhitespace_3_4(UChar32 c)
{
    return u_isWhitespace(c);
}

int32_t u_getIntPropertyValue_3_4(UChar32 c, UProperty which)
{
    return u_getIntPropertyValue(c, which);
}

int32_t u_strToLower_3_4(UChar * dest, int32_t capacity, const UChar * text, int32_t length,
                         const char * locale, UErrorCode * error)
{
    return u_strToLower(dest, capacity, text, length, locale, error);
}

int32_t u_strToUpper_3_4(UChar * dest, int32_t capacity, const UChar * text, int32_t length,
                         const char * locale, UErrorCode * error)
{
    return u_strToUpper(dest, capacity, text, length, locale, error);
}

int32_t uloc_canonicalize_3_4(const char * locale, char * dest, int32_t capacity, UErrorCode * error)
{
    return uloc_canonicalize(locale, dest, capacity, error);
}
}
