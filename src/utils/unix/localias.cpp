#include "utils/unix/localias.h"

#include <cstdlib>
#include <cstring>
#include <span>
#include <strings.h>

namespace {

// Looks for one name in the table, whose rows mostly part with it in the first two bytes already. These are
// compared at once, without the bit in which letters of both cases differ, in ASCII as in ISO 8859-1. The
// table has no empty name.
class AliasSearch {
public:
    explicit AliasSearch(const char * name) : _name(name)
    {
        const char start[] = {name[0], name[0] != '\0' ? name[1] : '\0'};
        _start = start_of(start);
    }

    // Is `known` the name, case ignored?
    [[nodiscard]] bool matches(const char * known) const
    {
        return start_of(known) == _start && strcasecmp(known, _name) == 0;
    }

private:
    static uint16 start_of(const char * text)
    {
        uint16 start = 0;
        memcpy(&start, text, sizeof(start));
        return start & 0xDFDF;
    }

    const char * _name;
    uint16 _start;
};

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
    // Some names differ in case alone and lead to different aliases, so an exact match of any row goes before
    // the first other one.
    const AliasSearch search(name);
    const char * caseless = nullptr;
    const char * last_alias = nullptr; // of the rows before, which often share theirs
    for (const LocaleTable & row : std::span(known_locales, NUM_KNOWN_LOCALES)) {
        for (const char * known : {row.locale, row.alias}) {
            if (known == last_alias || !search.matches(known)) {
                continue;
            }
            if (strcmp(known, name) == 0) {
                return row.alias;
            }
            caseless = caseless != nullptr ? caseless : row.alias;
        }
        last_alias = row.alias;
    }
    return caseless != nullptr ? caseless : name;
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
