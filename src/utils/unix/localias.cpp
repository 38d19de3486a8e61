#include "utils/unix/localias.h"

#include <cstdlib>
#include <cstring>
#include <span>
#include <strings.h>

namespace {

// The alias of the first row whose name or alias is `name` under `compare`; null if there is none.
const char * find_alias(const char * name, int (*compare)(const char *, const char *))
{
    for (const LocaleTable & row : std::span(known_locales, NUM_KNOWN_LOCALES)) {
        if (compare(row.locale, name) == 0 || compare(row.alias, name) == 0) {
            return row.alias;
        }
    }
    return nullptr;
}

} // namespace

const char * get_unix_locale()
{
    // POSIX lets LC_ALL win over the categories, and these over LANG; texts are what the link speaks.
    static constexpr const char * VARIABLES[] = {"LC_ALL", "LC_MESSAGES", "LC_CTYPE", "LANG"};
    for (const char * variable : VARIABLES) {
        if (const char * value = getenv(variable)) {
            return value;
        }
    }
    return nullptr;
}

const char * get_alias(const char * name)
{
    if (name == nullptr) {
        return nullptr;
    }
    // Some names differ in case alone and lead to different aliases, so the exact matches of all rows go
    // first.
    if (const char * alias = find_alias(name, strcmp)) {
        return alias;
    }
    const char * alias = find_alias(name, strcasecmp);
    return alias != nullptr ? alias : name;
}

a_bool is_locale_supported(const char * name)
{
    constexpr char LANGUAGE[] = "en_";
    constexpr char CODESET[] = ".ISO8859-1";
    constexpr size_t CODESET_AT = 5; // behind the language and the two letters of a territory
    const char * alias = get_alias(name);
    return alias != nullptr && strlen(alias) == CODESET_AT + sizeof CODESET - 1 &&
           strncasecmp(alias, LANGUAGE, sizeof LANGUAGE - 1) == 0 &&
           strcasecmp(alias + CODESET_AT, CODESET) == 0;
}
