// Opening and closing of a store of numbered strings: which texts it finds and in which order. English texts
// are compiled into the library.
//
// Failure is the result of Init; the caller words it with UTLangStringBase::GetInitErrorStr. Threads: Init
// and Fini take no lock and must not run beside look-ups or each other.
#pragma once

#include "utils/lang/utlangstring.h"

class UTLangString : public UTLangStringBase {
public:
    // Not yet opened: every number gives 0.
    explicit UTLangString(UTLocale * locale) : UTLangStringBase(locale) {}
    ~UTLangString() { Fini(); }

    // Opens the store for a language by its label (null: the system's) and hands strings out in `dest_csinfo`
    // (null: the system's). LS_INIT_OKAY also for a store that is open already, which stays as it is. Any
    // other result leaves nothing open.
    ls_init_return Init(const char * language, const CharsetInfo * dest_csinfo, a_bool vx);
    void Fini();

protected:
    uint32 _initialized = 0;
};
