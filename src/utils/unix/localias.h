// The locale name that the environment gives, and its normal form.
//
// The operating system's own locale functions aren't asked: the names of many systems are led to one form,
// language, '_', territory, '.' and codeset, by one constant table.
//
// Units: zero-terminated bytes in no particular character set. Failure: none; what isn't known stands for
// itself. Threads: free on any thread, as long as none changes the environment.
#pragma once

#include <cstddef>

#include "utils/etc/uttypes.h"

struct LocaleTable {
    const char * locale; // a name as some system spells it
    const char * alias;  // the normal form, or "C"
};

// The names, first match first, and an ending row of nulls. Generated into known_locales.cpp; français and
// bokmål are there in ISO-8859-1, one byte for the accented letter.
constexpr size_t NUM_KNOWN_LOCALES = 691;
extern const LocaleTable known_locales[NUM_KNOWN_LOCALES + 1];

// The value of the first of LC_ALL, LC_MESSAGES, LC_CTYPE and LANG that is set, an empty one included; null
// if none is. It lives until the environment is changed.
const char * get_unix_locale();

// The normal form of `name`: exact matches of all rows go before matches with case ignored. A name of no row
// is its own alias, so the result may be `name` itself. Null for null.
const char * get_alias(const char * name);

// Is `name` an English locale in ISO 8859-1, whatever the territory?
a_bool is_locale_supported(const char * name);
