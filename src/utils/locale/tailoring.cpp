#include "utils/locale/tailoring.h"

#include <cstring>
#include <iterator>
#include <string_view>
#include <strings.h>

#include "utils/dbutils/keyvalparse.h"
#include "utils/etc/utstrfcn.h"
#include "utils/locale/utlocale.h"
#include "utils/utmem/utmem.h"

namespace {

// ---- Words and their values

constexpr const char * YesStrings[] = {"respect", "yes", "on", "1", "true", nullptr};
constexpr const char * NoStrings[] = {"ignore", "no", "off", "0", "false", nullptr};
constexpr const char * FrenchStrings[] = {"French", "f", nullptr};

// The collation keywords of ICU's locale ids.
constexpr a_sort_type_name SortTypes[] = {
    {"phonebook", SORTTYPE_PHONEBOOK}, {"traditional", SORTTYPE_TRADITIONAL}, {"standard", SORTTYPE_STANDARD},
    {"pinyin", SORTTYPE_PINYIN},       {"stroke", SORTTYPE_STROKE},           {"direct", SORTTYPE_DIRECT},
    {"posix", SORTTYPE_POSIX},         {"big5han", SORTTYPE_BIG5HAN},         {"gb2312han", SORTTYPE_GB2312},
    {nullptr, SORTTYPE_UNKNOWN},
};
static_assert(std::size(SortTypes) == SORTTYPE_GB2312 + 1);

constexpr const char * RESPECT = "Respect";
constexpr const char * IGNORE = "Ignore";
constexpr const char * UPPER_FIRST = "UpperFirst";
constexpr const char * LOWER_FIRST = "LowerFirst";
constexpr const char * FRENCH = "French";
constexpr const char * PRIMARY = "Primary";
constexpr const char * QUATERNARY = "Quaternary";

bool is_word(const char * value, const char * word)
{
    return strcasecmp(value, word) == 0;
}

bool is_word_of(const char * value, const char * const * words)
{
    while (*words != nullptr && !is_word(value, *words)) {
        words++;
    }
    return *words != nullptr;
}

// "Aa" and "aA" tell the two orders by their own case, so their case counts.
const char * post_process_case(const char * value)
{
    if (strcmp(value, "Aa") == 0 || is_word(value, "CapsFirst") || is_word(value, UPPER_FIRST)) {
        return UPPER_FIRST;
    }
    if (strcmp(value, "aA") == 0 || is_word(value, LOWER_FIRST)) {
        return LOWER_FIRST;
    }
    if (is_word_of(value, YesStrings)) {
        return RESPECT;
    }
    return is_word_of(value, NoStrings) ? IGNORE : nullptr;
}

const char * post_process_accent(const char * value)
{
    if (is_word_of(value, FrenchStrings)) {
        return FRENCH;
    }
    if (is_word_of(value, YesStrings)) {
        return RESPECT;
    }
    return is_word_of(value, NoStrings) ? IGNORE : nullptr;
}

const char * post_process_punct(const char * value)
{
    if (is_word(value, PRIMARY)) {
        return PRIMARY;
    }
    if (is_word(value, QUATERNARY)) {
        return QUATERNARY;
    }
    return is_word_of(value, NoStrings) ? IGNORE : nullptr;
}

const a_sort_type_name & sort_type_row(const char * value)
{
    const a_sort_type_name * row = SortTypes;
    while (row->type_name != nullptr && !is_word(value, row->type_name)) {
        row++;
    }
    return *row;
}

const char * post_process_sort(const char * value)
{
    return sort_type_row(value).type_name;
}

// The values of canonical words.

a_case_sensitivity case_of(std::string_view word)
{
    if (word == UPPER_FIRST) {
        return CASE_SENSITIVE_CAPS_FIRST;
    }
    if (word == LOWER_FIRST) {
        return CASE_SENSITIVE_LOWER_FIRST;
    }
    return word == RESPECT ? CASE_SENSITIVE : CASE_INSENSITIVE;
}

an_accent_sensitivity accent_of(std::string_view word)
{
    if (word == FRENCH) {
        return ACCENT_SENSITIVE_FRENCH;
    }
    return word == RESPECT ? ACCENT_SENSITIVE : ACCENT_INSENSITIVE;
}

a_punctuation_sensitivity punctuation_of(std::string_view word)
{
    if (word == PRIMARY) {
        return PUNCTUATION_SENSITIVE_PRIMARY;
    }
    return word == QUATERNARY ? PUNCTUATION_SENSITIVE_QUATERNARY : PUNCTUATION_INSENSITIVE;
}

// ---- The options

enum an_option : size_t { OPTION_LOCALE, OPTION_CASE, OPTION_ACCENT, OPTION_PUNCT, OPTION_SORT, NUM_OPTIONS };

constexpr const char * CaseSensitivityList[] = {"Case", "CaseSensitive", nullptr};
constexpr const char * AccentSensitivityList[] = {"Accent", "AccentSensitive", nullptr};
constexpr const char * PunctuationSensitivityList[] = {"Punct", "PunctuationSensitive", nullptr};

constexpr a_key_value_map MapCollationOptionTable[] = {
    {"Locale", nullptr, nullptr, nullptr, FALSE},
    {"CaseSensitivity", nullptr, CaseSensitivityList, post_process_case, FALSE},
    {"AccentSensitivity", nullptr, AccentSensitivityList, post_process_accent, FALSE},
    {"PunctuationSensitivity", nullptr, PunctuationSensitivityList, post_process_punct, FALSE},
    {"SortType", nullptr, nullptr, post_process_sort, FALSE},
    {nullptr, nullptr, nullptr, nullptr, FALSE},
};
static_assert(std::size(MapCollationOptionTable) == NUM_OPTIONS + 1);

// The values that the parser found, for as long as they are looked at.
class OptionValues {
public:
    OptionValues() : _has_memory(InitSizedStringParms(&_values, NUM_OPTIONS)) {}
    ~OptionValues() { FreeStringParms(&_values); }
    OptionValues(const OptionValues &) = delete;
    OptionValues & operator=(const OptionValues &) = delete;

    bool parse(const char * options)
    {
        return _has_memory && ParseKeyValueString(options, &_values, MapCollationOptionTable, FALSE, FALSE,
                                                  FALSE, nullptr) == PARSE_OK;
    }
    const a_string_parms & values() const { return _values; }

private:
    a_string_parms _values;
    bool _has_memory;
};

// A legacy collation's only option is whether case counts.
bool holds_for_legacy(const a_string_parms & options)
{
    for (const an_option other : {OPTION_LOCALE, OPTION_ACCENT, OPTION_PUNCT, OPTION_SORT}) {
        if (options.string[other] != nullptr) {
            return false;
        }
    }
    const char * value = options.string[OPTION_CASE];
    return value == nullptr || strcmp(value, RESPECT) == 0 || strcmp(value, IGNORE) == 0;
}

// ---- Texts

// The bytes that append_option adds at most, less the terminator.
size_t option_size(an_option option, const char * value)
{
    return value != nullptr ? strlen(";=") + strlen(MapCollationOptionTable[option].fullName) + strlen(value)
                            : 0;
}

// Appends key "=" value to `opts`, behind a ";" unless it is the first option; nothing for a null value. The
// key is the row's short form if it has one and no long one is wanted.
void append_option(char * opts, size_t maxsize, an_option option, const char * value, a_bool long_key)
{
    if (value == nullptr) {
        return;
    }
    const a_key_value_map & row = MapCollationOptionTable[option];
    const char * key = row.shortForm != nullptr && !long_key ? row.shortForm : row.fullName;
    const char * separator = opts[0] != '\0' ? ";" : "";
    for (const char * part : {separator, key, "=", value}) {
        (void)ut_strcat(opts, maxsize, part); // fits: the buffer is sized by option_size
    }
}

// The last character that is no blank; a zero byte if there is none.
char last_character(const char * text)
{
    size_t len = strlen(text);
    while (len > 0 && text[len - 1] == ' ') {
        len--;
    }
    return len > 0 ? text[len - 1] : '\0';
}

// Longest label of a collation in a spec, with its terminator.
constexpr size_t SPEC_LABEL_SIZE = 33;

// The row of a spec's label, and `*opts` the opening bracket, null for none or without a row.
const CollationInfo * row_of_spec(const char * spec, const char ** opts)
{
    char label[SPEC_LABEL_SIZE];
    if (spec == nullptr || !UTLocale::GetCollationLabel(spec, label, sizeof(label), opts)) {
        return nullptr;
    }
    return UTLocale::GetCollationInfoFromLabel(label);
}

bool is_japanese_system()
{
    const LanguageInfo * language = UTLocale::FindOSLanguage(TRUE);
    const CharsetInfo * charset = UTLocale::FindOSCharset(FALSE);
    return language->lid() == ORV_LID_JAPANESE || charset->match_label("sjis", CS_STD_ANY) ||
           charset->match_label("EUC-JP", CS_STD_ANY);
}

} // namespace

const char * GetCaseTypeName(a_case_sensitivity casesens, a_bool is_legacy)
{
    switch (casesens) {
    case CASE_SENSITIVE_CAPS_FIRST:
        return is_legacy ? RESPECT : UPPER_FIRST;
    case CASE_SENSITIVE_LOWER_FIRST:
        return is_legacy ? RESPECT : LOWER_FIRST;
    default:
        return IGNORE;
    }
}

const char * GetAccentTypeName(an_accent_sensitivity accentsens)
{
    switch (accentsens) {
    case ACCENT_SENSITIVE_FRENCH:
        return FRENCH;
    case ACCENT_SENSITIVE:
        return RESPECT;
    default:
        return IGNORE;
    }
}

const char * GetPunctuationTypeName(a_punctuation_sensitivity punctsens)
{
    switch (punctsens) {
    case PUNCTUATION_SENSITIVE_PRIMARY:
        return PRIMARY;
    case PUNCTUATION_SENSITIVE_QUATERNARY:
        return QUATERNARY;
    default:
        return IGNORE;
    }
}

const char * GetSortTypeName(a_sort_type sorttype)
{
    const a_sort_type_name * row = SortTypes;
    while (row->type_name != nullptr && row->type != sorttype) {
        row++;
    }
    return row->type_name;
}

// ---- UTCollationTailoring

UTCollationTailoring::UTCollationTailoring(a_case_sensitivity case_sensitivity,
                                           an_accent_sensitivity accent_sensitivity,
                                           a_punctuation_sensitivity punctuation_sensitivity)
{
    initialize();
    _case_sensitivity = case_sensitivity;
    _accent_sensitivity = accent_sensitivity;
    _punctuation_sensitivity = punctuation_sensitivity;
}

UTCollationTailoring::UTCollationTailoring(a_case_sensitivity case_sensitivity)
    : UTCollationTailoring(case_sensitivity,
                           case_sensitivity == CASE_INSENSITIVE ? ACCENT_INSENSITIVE : ACCENT_SENSITIVE,
                           PUNCTUATION_SENSITIVE_PRIMARY)
{
}

UTCollationTailoring::UTCollationTailoring(const char * str)
{
    initialize();
    (void)Set(str, FALSE); // IsValid() tells
}

UTCollationTailoring::~UTCollationTailoring()
{
    for (char * text : {_locale, _icu_locale, _tailoring_options, _complete_options}) {
        ut_free(text);
    }
}

void UTCollationTailoring::initialize()
{
    _case_sensitivity = CASE_INSENSITIVE;
    _accent_sensitivity = ACCENT_INSENSITIVE;
    _punctuation_sensitivity = PUNCTUATION_SENSITIVE_PRIMARY;
    _sorttype = SORTTYPE_UNKNOWN;
    _was_set = FALSE;
    _settings_valid = FALSE;
    _is_for_legacy_collation = FALSE;
    _locale = nullptr;
    _icu_locale = nullptr;
    _tailoring_options = nullptr;
    _complete_options = nullptr;
}

a_bool UTCollationTailoring::Set(const char * orv_locale_specification, a_bool is_for_legacy_collation)
{
    _was_set = TRUE;
    _settings_valid = FALSE;
    if (is_for_legacy_collation) {
        _is_for_legacy_collation = TRUE;
    }
    if (orv_locale_specification != nullptr && *orv_locale_specification != '\0') {
        OptionValues options;
        if (!options.parse(orv_locale_specification) || !store_options(options.values())) {
            return FALSE;
        }
    }
    _settings_valid = rebuild_locale_strings() != FALSE;
    return _settings_valid;
}

a_bool UTCollationTailoring::store_options(const a_string_parms & options)
{
    if (_is_for_legacy_collation && !holds_for_legacy(options)) {
        return FALSE;
    }
    if (char * locale = options.string[OPTION_LOCALE]; locale != nullptr) {
        auto * copy = static_cast<char *>(ut_memdup(locale, strlen(locale) + 1));
        if (copy == nullptr) {
            return FALSE;
        }
        ut_free(_locale);
        _locale = copy;
    }
    if (const char * value = options.string[OPTION_CASE]; value != nullptr) {
        _case_sensitivity = case_of(value);
    }
    if (const char * value = options.string[OPTION_ACCENT]; value != nullptr) {
        _accent_sensitivity = accent_of(value);
    }
    if (const char * value = options.string[OPTION_PUNCT]; value != nullptr) {
        _punctuation_sensitivity = punctuation_of(value);
        // The fourth level breaks ties of the levels for accents and case, so it needs both.
        if (_punctuation_sensitivity == PUNCTUATION_SENSITIVE_QUATERNARY &&
            (_case_sensitivity == CASE_INSENSITIVE || _accent_sensitivity == ACCENT_INSENSITIVE)) {
            return FALSE;
        }
    }
    if (const char * value = options.string[OPTION_SORT]; value != nullptr) {
        _sorttype = sort_type_row(value).type;
    }
    return TRUE;
}

void UTCollationTailoring::SetSortType(a_sort_type value)
{
    _sorttype = value;
    (void)rebuild_locale_strings(); // what has found no memory reads as empty
}

a_bool UTCollationTailoring::rebuild_locale_strings()
{
    for (char ** text : {&_icu_locale, &_tailoring_options, &_complete_options}) {
        ut_free(*text);
        *text = nullptr;
    }
    return rebuild_icu_locale() && rebuild_tailoring_options() && rebuild_complete_options();
}

a_bool UTCollationTailoring::rebuild_icu_locale()
{
    if (_locale == nullptr && _sorttype == SORTTYPE_UNKNOWN) {
        return TRUE;
    }
    const char * sort = GetSortTypeName(_sorttype);
    const char * parts[] = {text_of(_locale), sort != nullptr ? "@collation=" : "", text_of(sort)};
    size_t size = 1;
    for (const char * part : parts) {
        size += strlen(part);
    }
    _icu_locale = static_cast<char *>(ut_calloc(size));
    if (_icu_locale == nullptr) {
        return FALSE;
    }
    for (const char * part : parts) {
        (void)ut_strcat(_icu_locale, size, part); // fits: the size counts every part
    }
    return TRUE;
}

a_bool UTCollationTailoring::rebuild_tailoring_options()
{
    if (_locale == nullptr) {
        return TRUE;
    }
    const size_t size = option_size(OPTION_LOCALE, _locale); // no ";" before the only option
    _tailoring_options = static_cast<char *>(ut_calloc(size));
    if (_tailoring_options == nullptr) {
        return FALSE;
    }
    append_option(_tailoring_options, size, OPTION_LOCALE, _locale, TRUE);
    return TRUE;
}

a_bool UTCollationTailoring::rebuild_complete_options()
{
    const struct {
        an_option option;
        const char * value;
    } parts[] = {
        {OPTION_LOCALE, _locale},
        {OPTION_CASE, GetCaseTypeName(_case_sensitivity, _is_for_legacy_collation)},
        {OPTION_ACCENT, GetAccentTypeName(_accent_sensitivity)},
        {OPTION_PUNCT, GetPunctuationTypeName(_punctuation_sensitivity)},
        {OPTION_SORT, GetSortTypeName(_sorttype)},
    };
    size_t size = 0; // the first option's ";", which isn't written, leaves room for the terminator
    for (const auto & part : parts) {
        size += option_size(part.option, part.value);
    }
    _complete_options = static_cast<char *>(ut_calloc(size));
    if (_complete_options == nullptr) {
        return FALSE;
    }
    for (const auto & part : parts) {
        append_option(_complete_options, size, part.option, part.value, TRUE);
    }
    return TRUE;
}

// ---- Look-ups by spec

const CollationInfo * UTLocale::GetCollationInfoAndTailoring(const char * spec,
                                                             UTCollationTailoring * tailoring)
{
    const char * opts = nullptr;
    const CollationInfo * row = row_of_spec(spec, &opts);
    if (row == nullptr || opts == nullptr) {
        return row;
    }
    const char closing = *opts == '{' ? '}' : ')';
    const char * text = opts + 1;
    if (last_character(text) != closing) {
        (void)tailoring->Set("", FALSE); // a spec was there, but it says nothing
        return nullptr;
    }
    const auto len = static_cast<size_t>(strrchr(text, closing) - text);
    auto * options = static_cast<char *>(ut_malloc(len + 1));
    if (options == nullptr) {
        return nullptr;
    }
    memcpy(options, text, len);
    options[len] = '\0';
    const a_bool holds = tailoring->Set(options, row->IsLegacyCollation());
    ut_free(options);
    return holds ? row : nullptr;
}

const CollationInfo * UTLocale::GetCollationTailoringDefaults(const char * spec,
                                                              UTCollationTailoring * tailoring)
{
    const char * opts = nullptr;
    const CollationInfo * row = row_of_spec(spec, &opts);
    // Japanese text is told apart by case and by voicing marks, which sort as accents.
    if (row != nullptr && row->IsICUCollation() && is_japanese_system()) {
        tailoring->SetCaseSensitivity(CASE_SENSITIVE);
        tailoring->SetAccentSensitivity(ACCENT_SENSITIVE);
    }
    return row;
}
