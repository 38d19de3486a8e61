// Collation specs and the options in them, which come from outside: the key-value parser, tailorings for both
// kinds of collation, and the look-up of a whole spec.
//
// Input: the text up to its first zero byte.

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "require.h"
#include "utils/dbutils/keyvalparse.h"
#include "utils/locale/tailoring.h"
#include "utils/locale/utlocale.h"

namespace {

const char * refuse_empty(const char * value)
{
    return *value != '\0' ? value : nullptr;
}

constexpr const char * SECOND_NAMES[] = {"Case", "Accent", nullptr};
constexpr a_key_value_map TABLE[] = {
    {"Locale", "l", nullptr, nullptr, FALSE},
    {"Second", nullptr, SECOND_NAMES, refuse_empty, FALSE},
    {nullptr, nullptr, nullptr, nullptr, FALSE},
};

void parse(const char * text, a_bool respect_1st, a_bool ignore_bad_keywords)
{
    a_string_parms values;
    require(InitSizedStringParms(&values, 2));
    const a_parse_ret result =
        ParseKeyValueString(text, &values, TABLE, FALSE, respect_1st, ignore_bad_keywords, nullptr);
    require(result == PARSE_OK || result == PARSE_NO_EQUAL_SIGN || result == PARSE_MISSING_QUOTE ||
            result == PARSE_BAD_KEYWORD || result == PARSE_BAD_VALUE);
    require(result != PARSE_BAD_KEYWORD || !ignore_bad_keywords);
    require(result != PARSE_OK || *OffendingWord(&values) == '\0');
    for (size_t i = 0; i < 2; i++) {
        require(values.string[i] == nullptr ||
                (values.string[i][0] != '\0' && strlen(values.string[i]) < strlen(text)));
    }
    FreeStringParms(&values);
}

// What a valid tailoring shows of itself has the same effect as what it was made from.
void require_round_trip(const UTCollationTailoring & tailoring)
{
    const std::string options = tailoring.GetCompleteTailoringOptions();
    if (strpbrk(tailoring.GetTailoringOptions(), "\"';") != nullptr) {
        return; // shown as it is, without quotes
    }
    UTCollationTailoring again(options.c_str());
    // A locale of blanks is lost without its quotes.
    require(again.IsValid() && again.GetCaseSensitivity() == tailoring.GetCaseSensitivity() &&
            again.GetAccentSensitivity() == tailoring.GetAccentSensitivity() &&
            again.GetPunctuationSensitivity() == tailoring.GetPunctuationSensitivity() &&
            again.GetSortType() == tailoring.GetSortType());
}

void tailor(const char * text)
{
    UTCollationTailoring tailoring;
    if (tailoring.Set(text, FALSE)) {
        require_round_trip(tailoring);
    }
    require(tailoring.WasSet());
    UTCollationTailoring legacy;
    const bool holds = legacy.Set(text, TRUE);
    require(holds == (legacy.IsValid() != FALSE));
    require(!holds || *legacy.GetICULocale() == '\0');
    require(legacy.GetAccentSensitivity() == ACCENT_INSENSITIVE);
    require(legacy.GetSortType() == SORTTYPE_UNKNOWN);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * data, std::size_t size)
{
    const auto text = std::make_unique<char[]>(size + 1); // exact, so that a sanitizer sees a read behind it
    if (size > 0) {
        memcpy(text.get(), data, size);
    }
    for (const a_bool respect_1st : {FALSE, TRUE}) {
        for (const a_bool ignore_bad_keywords : {FALSE, TRUE}) {
            parse(text.get(), respect_1st, ignore_bad_keywords);
        }
    }
    tailor(text.get());
    UTCollationTailoring tailoring;
    const CollationInfo * row = UTLocale::GetCollationInfoAndTailoring(text.get(), &tailoring);
    require(row == nullptr || !tailoring.WasSet() || tailoring.IsValid());
    const CollationInfo * defaults = UTLocale::GetCollationTailoringDefaults(text.get(), &tailoring);
    require(row == nullptr || row == defaults);
    return 0;
}
