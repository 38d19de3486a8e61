// Collation specs: a collation label, optionally followed by a list of options in brackets, such as
// UCA(Locale=de;Case=Respect;Accent=f;SortType=phonebook). A UTCollationTailoring holds what the options ask
// for. On a legacy collation they can only choose whether case counts; the rest is for ICU collations.
//
// The grammar of the options is that of keyvalparse.h. Which values an option takes stands in tailoring.cpp.
//
// Ownership: a tailoring owns its texts. Failure: the result; nothing is reported. Threads: a plain value,
// one thread at a time. The look-ups by spec are operations of UTLocale.
#pragma once

#include <cstddef>

#include "utils/dbutils/keyvalparse.h"
#include "utils/etc/collationbase.h"
#include "utils/etc/uttypes.h"

using a_bit_bool = unsigned int;

// A sort type and its keyword in ICU's locale texts. A null name ends a table.
struct a_sort_type_name {
    const char * type_name;
    a_sort_type type;
};

class UTCollationTailoring {
public:
    // Insensitive to case and accents, and to punctuation at the first level; not set, not valid.
    UTCollationTailoring() { initialize(); }
    // These values; not set, not valid, and without derived texts, but usable.
    UTCollationTailoring(a_case_sensitivity case_sensitivity, an_accent_sensitivity accent_sensitivity,
                         a_punctuation_sensitivity punctuation_sensitivity);
    // As sensitive to accents as to case.
    explicit UTCollationTailoring(a_case_sensitivity case_sensitivity);
    // Options for an ICU collation; IsValid() tells whether they hold.
    explicit UTCollationTailoring(const char * str);
    ~UTCollationTailoring();
    UTCollationTailoring(const UTCollationTailoring &) = delete;
    UTCollationTailoring & operator=(const UTCollationTailoring &) = delete;

    // Takes over the options of a spec; what they don't name stays, and null or empty ones name nothing. A
    // tailoring that has once been set for a legacy collation stays one. FALSE, and IsValid() FALSE: no
    // memory; a key or a value that doesn't hold, or on a legacy collation isn't allowed, and no value has
    // changed; or quaternary punctuation without sensitivity to case and accents, with the values stored.
    a_bool Set(const char * orv_locale_specification, a_bool is_for_legacy_collation);

    a_case_sensitivity GetCaseSensitivity() const { return _case_sensitivity; }
    an_accent_sensitivity GetAccentSensitivity() const { return _accent_sensitivity; }
    a_punctuation_sensitivity GetPunctuationSensitivity() const { return _punctuation_sensitivity; }
    a_sort_type GetSortType() const { return _sorttype; }

    // The derived texts stay as they are.
    void SetCaseSensitivity(a_case_sensitivity value) { _case_sensitivity = value; }
    void SetAccentSensitivity(an_accent_sensitivity value) { _accent_sensitivity = value; }
    void SetPunctuationSensitivity(a_punctuation_sensitivity value) { _punctuation_sensitivity = value; }
    // Builds the derived texts again; without memory they are empty.
    void SetSortType(a_sort_type value);

    a_bool WasSet() const { return _was_set; }
    a_bool IsValid() const { return _settings_valid; }

    // The derived texts, never null; empty before Set or SetSortType.
    // For ICU, such as de@collation=phonebook.
    const char * GetICULocale() const { return text_of(_icu_locale); }
    // The locale alone, as an option.
    const char * GetTailoringOptions() const { return text_of(_tailoring_options); }
    // All options in canonical words.
    const char * GetCompleteTailoringOptions() const { return text_of(_complete_options); }

private:
    static const char * text_of(const char * text) { return text != nullptr ? text : ""; }

    void initialize();
    a_bool store_options(const a_string_parms & options);
    a_bool rebuild_locale_strings();
    a_bool rebuild_icu_locale();
    a_bool rebuild_tailoring_options();
    a_bool rebuild_complete_options();

    a_case_sensitivity _case_sensitivity;
    an_accent_sensitivity _accent_sensitivity;
    a_punctuation_sensitivity _punctuation_sensitivity;
    a_sort_type _sorttype;
    a_bit_bool _was_set : 1;
    a_bit_bool _settings_valid : 1;
    a_bit_bool _is_for_legacy_collation : 1;
    char * _locale; // these four are owned and may be null
    char * _icu_locale;
    char * _tailoring_options;
    char * _complete_options;
};
static_assert(sizeof(UTCollationTailoring) == 56);

// The canonical words. A legacy collation knows no order of cases: both are "Respect" there.
const char * GetCaseTypeName(a_case_sensitivity casesens, a_bool is_legacy);
const char * GetAccentTypeName(an_accent_sensitivity accentsens);
const char * GetPunctuationTypeName(a_punctuation_sensitivity punctsens);
// Null for a value without a keyword.
const char * GetSortTypeName(a_sort_type sorttype);
