// What exists once in a process: the locale and the language strings that serve all links.
//
// Both are made when the library is loaded, OSLocale first, and unmade in the opposite order. The language
// files aren't touched before the first OSLangString.Init().
#pragma once

#include "utils/etc/uttypes.h"
#include "utils/lang/utlanginit.h"
#include "utils/locale/utlocale.h"

// The language strings of the link: initialised on first use, and once only.
class RMTLangString : public UTLangString {
public:
    explicit RMTLangString(UTLocale * locale);

    // The first call loads the language files; every later one gives the same result again, a failed one too.
    // Not guarded: the first call must not run on two threads at once.
    ls_init_return Init();

private:
    a_bool _initialized;
    ls_init_return _ls_ret;
};

extern UTLocale OSLocale;
extern RMTLangString OSLangString;

// Raise and lower a count of the library's uses in this process; run at load and at unload.
void LibInit_dbfile();
void LibFini_dbfile();
