// Opening collators, and what data there is for them.

#include <unicode/uclean.h>
#include <unicode/uenum.h>
#include <unicode/uloc.h>

#include <atomic>
#include <cstring>

#include "icu/converters.h"

namespace {

constexpr const char * TYPE_KEYWORD = "collation";
constexpr size_t LOCALE_SIZE = 512; // bytes; ICU's own for a locale with keywords is 257

// Does the locale, or one that it falls back to, have a collation of this type?
bool has_type(const char * locale, const char * type)
{
    UErrorCode error = U_ZERO_ERROR;
    UEnumeration * types = ucol_getKeywordValuesForLocale(TYPE_KEYWORD, locale, 0, &error);
    bool found = false;
    for (;;) {
        const char * name = uenum_next(types, nullptr, &error);
        if (name == nullptr || U_FAILURE(error)) {
            break;
        }
        found = found || strcmp(name, type) == 0;
    }
    uenum_close(types);
    return found;
}

// Does the locale text ask for no collation type but one that is there?
bool gets_its_type(const char * locale)
{
    char type[LOCALE_SIZE];
    UErrorCode error = U_ZERO_ERROR;
    const int32_t length = uloc_getKeywordValue(locale, TYPE_KEYWORD, type, sizeof type, &error);
    if (U_FAILURE(error) || length == 0 || error == U_STRING_NOT_TERMINATED_WARNING) {
        return true;
    }
    return has_type(locale, type);
}

// How the locale is served without its options.
void open_plain(const char * locale, UErrorCode * error)
{
    char plain[LOCALE_SIZE];
    uloc_getBaseName(locale, plain, sizeof plain, error);
    if (*error == U_STRING_NOT_TERMINATED_WARNING) {
        *error = U_BUFFER_OVERFLOW_ERROR;
    }
    ucol_close(ucol_open(plain, error));
}

// Has the language a tailoring of its own?
bool has_tailoring(const char * locale)
{
    UErrorCode error = U_ZERO_ERROR;
    ucol_close(ucol_open(locale, &error));
    return error == U_ZERO_ERROR;
}

ICU_DATASET find_dataset()
{
    UErrorCode error = U_ZERO_ERROR;
    u_init(&error);
    if (U_FAILURE(error)) {
        return ICU_DATASET_NONE;
    }
    if (!has_tailoring("")) {
        return ICU_DATASET_STUB;
    }
    if (!has_catalogue_converters()) {
        return ICU_DATASET_CE;
    }
    // One of the smallest tailorings and one of the largest.
    return has_tailoring("sv") && has_tailoring("zh@collation=stroke") ? ICU_DATASET_FULL : ICU_DATASET_ORV;
}

} // namespace

extern "C" {

UCollator * ORV_ucol_open(const char * locale, UErrorCode * locale_error, UErrorCode * options_error)
{
    if (locale_error == nullptr || options_error == nullptr || U_FAILURE(*locale_error) ||
        U_FAILURE(*options_error)) {
        return nullptr;
    }
    if (locale == nullptr || strchr(locale, '@') == nullptr) {
        return ucol_open(locale, locale_error);
    }
    UErrorCode error = U_ZERO_ERROR;
    UCollator * collator = ucol_open(locale, &error);
    if (collator != nullptr && gets_its_type(locale)) {
        *locale_error = error;
        return collator;
    }
    // ICU has one code for both, so the locale is asked for alone.
    open_plain(locale, locale_error);
    if (U_FAILURE(*locale_error)) {
        ucol_close(collator);
        return nullptr;
    }
    *options_error = collator != nullptr ? U_USING_DEFAULT_WARNING : error;
    return collator;
}

ICU_DATASET ORVGetICUDataset()
{
    // Two first calls find the same.
    static constinit std::atomic<int32_t> found{-1};
    int32_t dataset = found.load(std::memory_order_relaxed);
    if (dataset < 0) {
        dataset = find_dataset();
        found.store(dataset, std::memory_order_relaxed);
    }
    return static_cast<ICU_DATASET>(dataset);
}
}
