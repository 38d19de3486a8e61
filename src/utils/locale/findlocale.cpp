#include "utils/locale/findlocale.h"

#include <cstdlib>
#include <cstring>
#include <strings.h>

#include "utils/etc/utstrfcn.h"
#include "utils/locale/utlocale.h"
#include "utils/unix/localias.h"

namespace {

// No name in the catalogue comes near it; the terminator counts.
constexpr size_t OVERRIDE_SIZE = 150;

constexpr char DEFAULT_LANGUAGE[] = "english";
constexpr char DEFAULT_CHARSET[] = "ISO_8859-1:1987";
constexpr char LAST_RESORT_COLLATION[] = "1252LATIN1";

const LanguageInfo * language_or_default(const char * label)
{
    const LanguageInfo * row = UTLocale::GetLanguageInfoFromLabel(label);
    return row != nullptr ? row : UTLocale::GetLanguageInfoFromLabel(DEFAULT_LANGUAGE);
}

const CharsetInfo * default_charset()
{
    return UTLocale::GetCharsetInfoFromLabel(DEFAULT_CHARSET, CS_STD_ANY);
}

const CharsetInfo * charset_or_default(const char * label)
{
    const CharsetInfo * row = UTLocale::GetCharsetInfoFromLabel(label, CS_STD_ANY);
    return row != nullptr ? row : default_charset();
}

// Taiwan and Hong Kong write traditional Chinese, which has a code of its own in the catalogue. `name` begins
// with "zh".
bool is_traditional_chinese(const char * name)
{
    constexpr size_t TERRITORY = 3; // behind the language and '_'
    if (ut_strnlen(name, TERRITORY) < TERRITORY) {
        return false;
    }
    return strncasecmp(name + TERRITORY, "tw", 2) == 0 || strncasecmp(name + TERRITORY, "hk", 2) == 0;
}

// The language of a locale name; English if it has none that the catalogue knows.
const LanguageInfo * language_of_locale(const char * name)
{
    if (strncasecmp(name, "zh", 2) == 0) {
        return language_or_default(is_traditional_chinese(name) ? "tw" : "zh");
    }
    if (strcasecmp(name, "C") == 0) {
        return language_or_default("en");
    }
    char code[3];
    (void)ut_strncpy(code, sizeof code, name, 2); // as much of two letters as there is
    return language_or_default(code);
}

// What the environment overrides the system with, never null if it is set; null if it isn't.
const LanguageInfo * language_override()
{
    char wanted[OVERRIDE_SIZE];
    return ut_getenv("VXLANG", wanted, sizeof wanted) != nullptr ? language_or_default(wanted) : nullptr;
}

const CharsetInfo * charset_override()
{
    char wanted[OVERRIDE_SIZE];
    return ut_getenv("VXCHARSET", wanted, sizeof wanted) != nullptr ? charset_or_default(wanted) : nullptr;
}

// What the system's locale, in its normal form and null if there is none, stands for. Never null.
const LanguageInfo * language_of_system(const char * name)
{
    return name != nullptr ? language_of_locale(name) : language_or_default(DEFAULT_LANGUAGE);
}

const CharsetInfo * charset_of_system(const char * name)
{
    const char * point = name != nullptr ? strchr(name, '.') : nullptr;
    return point != nullptr ? charset_or_default(point + 1) : default_charset();
}

} // namespace

const char * ut_getenv(const char * name, char * buffer, size_t size)
{
    const char * value = getenv(name);
    if (value == nullptr || size == 0) {
        return nullptr;
    }
    (void)ut_strcpy(buffer, size, value); // the cut is intended
    return buffer;
}

const LanguageInfo * UTLocale::FindOSLanguage(a_bool allow_env_override)
{
    const LanguageInfo * row = allow_env_override ? language_override() : nullptr;
    return row != nullptr ? row : language_of_system(get_alias(get_unix_locale()));
}

const CharsetInfo * UTLocale::FindOSCharset(a_bool allow_env_override)
{
    const CharsetInfo * row = allow_env_override ? charset_override() : nullptr;
    return row != nullptr ? row : charset_of_system(get_alias(get_unix_locale()));
}

const CollationInfo * UTLocale::FindCollation(const CharsetInfo * csinfo, const LanguageInfo * langinfo)
{
    if (csinfo == nullptr) {
        csinfo = FindOSCharset(TRUE);
    }
    if (langinfo == nullptr) {
        langinfo = FindOSLanguage(TRUE);
    }
    const CollationInfo * row = GetCollationInfoFromCharsetLang(csinfo, langinfo);
    return row != nullptr ? row : GetCollationInfoFromCharsetLang(csinfo, nullptr);
}

const CollationInfo * UTLocale::FindOSCollation()
{
    const char * name = get_alias(get_unix_locale()); // once for both: it is a long way through the table
    const CharsetInfo * charset = charset_override();
    charset = charset != nullptr ? charset : charset_of_system(name);
    const LanguageInfo * language = language_override();
    language = language != nullptr ? language : language_of_system(name);
    const LanguageInfo * english = GetLanguageInfoFromLabel(DEFAULT_LANGUAGE);
    const CollationInfo * row = FindCollation(charset, language);
    if (row == nullptr) {
        row = FindCollation(charset, english);
    }
    if (row == nullptr) {
        row = FindCollation(default_charset(), english);
    }
    return row != nullptr ? row : GetCollationInfoFromLabel(LAST_RESORT_COLLATION);
}
