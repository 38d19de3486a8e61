#include "remote/unixdll.h"

namespace {

int init_fini_call_count_dbfile = 0;

struct a_library_use {
    a_library_use() { LibInit_dbfile(); }
    ~a_library_use() { LibFini_dbfile(); }
};

a_library_use library_use;

} // namespace

// In this order, in one file: the strings stand on the locale, and both are unmade the other way round.
UTLocale OSLocale;
RMTLangString OSLangString(&OSLocale);

void LibInit_dbfile()
{
    ++init_fini_call_count_dbfile;
}

void LibFini_dbfile()
{
    --init_fini_call_count_dbfile;
}

RMTLangString::RMTLangString(UTLocale * locale)
    : UTLangString(locale), _initialized(FALSE), _ls_ret(LS_INIT_OKAY)
{
}

ls_init_return RMTLangString::Init()
{
    if (!_initialized) {
        _ls_ret = UTLangString::Init(nullptr, nullptr, FALSE);
        _initialized = TRUE;
    }
    return _ls_ret;
}
