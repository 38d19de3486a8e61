// The library's own declarations of ICU's types and values beside ICU's.
#include <type_traits>

#include <unicode/uchar.h>
#include <unicode/ucnv.h>
#include <unicode/ucol.h>
#include <unicode/utypes.h>

#include <gtest/gtest.h>

#include "utils/locale/uticu.h"

namespace {

TEST(IcuAbi, ValuesAndSizesAreThoseOfIcusHeaders)
{
    const struct {
        int own;
        int icus;
    } values[] = {
        {icu_abi::U_USING_FALLBACK_WARNING, U_USING_FALLBACK_WARNING},
        {icu_abi::U_USING_DEFAULT_WARNING, U_USING_DEFAULT_WARNING},
        {icu_abi::U_ZERO_ERROR, U_ZERO_ERROR},
        {icu_abi::U_MISSING_RESOURCE_ERROR, U_MISSING_RESOURCE_ERROR},
        {icu_abi::U_INDEX_OUTOFBOUNDS_ERROR, U_INDEX_OUTOFBOUNDS_ERROR},
        {icu_abi::U_INVALID_CHAR_FOUND, U_INVALID_CHAR_FOUND},
        {icu_abi::U_TRUNCATED_CHAR_FOUND, U_TRUNCATED_CHAR_FOUND},
        {icu_abi::U_ILLEGAL_CHAR_FOUND, U_ILLEGAL_CHAR_FOUND},
        {icu_abi::U_BUFFER_OVERFLOW_ERROR, U_BUFFER_OVERFLOW_ERROR},
        {icu_abi::UCNV_UNASSIGNED, UCNV_UNASSIGNED},
        {icu_abi::UCNV_ILLEGAL, UCNV_ILLEGAL},
        {icu_abi::UCNV_IRREGULAR, UCNV_IRREGULAR},
        {icu_abi::UCOL_FRENCH_COLLATION, UCOL_FRENCH_COLLATION},
        {icu_abi::UCOL_ALTERNATE_HANDLING, UCOL_ALTERNATE_HANDLING},
        {icu_abi::UCOL_CASE_FIRST, UCOL_CASE_FIRST},
        {icu_abi::UCOL_CASE_LEVEL, UCOL_CASE_LEVEL},
        {icu_abi::UCOL_PRIMARY, UCOL_PRIMARY},
        {icu_abi::UCOL_SECONDARY, UCOL_SECONDARY},
        {icu_abi::UCOL_TERTIARY, UCOL_TERTIARY},
        {icu_abi::UCOL_QUATERNARY, UCOL_QUATERNARY},
        {icu_abi::UCOL_ON, UCOL_ON},
        {icu_abi::UCOL_SHIFTED, UCOL_SHIFTED},
        {icu_abi::UCOL_NON_IGNORABLE, UCOL_NON_IGNORABLE},
        {icu_abi::UCOL_LOWER_FIRST, UCOL_LOWER_FIRST},
        {icu_abi::UCOL_UPPER_FIRST, UCOL_UPPER_FIRST},
        {icu_abi::UCOL_LESS, UCOL_LESS},
        {icu_abi::UCOL_GREATER, UCOL_GREATER},
        {icu_abi::UCHAR_NUMERIC_TYPE, UCHAR_NUMERIC_TYPE},
        {icu_abi::U_NT_DECIMAL, U_NT_DECIMAL},
    };
    for (const auto & value : values) {
        EXPECT_EQ(value.own, value.icus) << &value - values;
    }
    static_assert(std::is_same_v<icu_abi::UBool, UBool> && std::is_same_v<icu_abi::UChar32, UChar32>);
    static_assert(sizeof(a_utf16) == sizeof(UChar) && sizeof(icu_abi::UErrorCode) == sizeof(UErrorCode));
    static_assert(sizeof(icu_abi::UColAttributeValue) == sizeof(UColAttributeValue));
    static_assert(sizeof(icu_abi::UConverterCallbackReason) == sizeof(UConverterCallbackReason));
}

} // namespace
