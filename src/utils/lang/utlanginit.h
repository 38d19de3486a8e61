// Opening and closing of a store of numbered strings: which files it looks in and in which order. The user's
// language goes first, English behind it; one usable file is enough.
//
// Failure is the result of Init; the caller words it with UTLangStringBase::GetInitErrorStr. Ownership: the
// store owns its files. Threads: Init and Fini take no lock and must not run beside look-ups or each other.
#pragma once

#include "utils/lang/utlangstring.h"
#include "utils/lang/utresfile.h"

class UTLangString : public UTLangStringBase {
public:
    // Not yet opened: every number gives 0.
    explicit UTLangString(UTLocale * locale) : UTLangStringBase(locale) {}

    // Opens the store for a language by its label (null or unknown: the system's) and hands strings out in
    // `dest_csinfo` (null: the system's); `vx`: with the files of that family in front. LS_INIT_OKAY also for
    // a store that is open already, which stays as it is. Any other result tells what is wrong with the
    // language's own file and leaves nothing open.
    ls_init_return Init(const char * language, const CharsetInfo * dest_csinfo, a_bool vx);
    void Fini();

    // Opens a language's file. A file that is there but isn't valid counts as not found, and one whose
    // strings are too old for this library is closed again.
    [[nodiscard]] static ls_init_return OpenAndCheck(UTResFile & res, const LanguageInfo * langinfo,
                                                     a_bool vx);
    // Are strings of this version too old? Those without one, 0, aren't.
    [[nodiscard]] static a_bool version_mismatch(uint32 version);

protected:
    // OpenAndCheck, and what has been opened goes to the end of the list.
    ls_init_return do_open(UTResFile & res, const LanguageInfo * langinfo, a_bool vx);

    uint32 _initialized = 0;
    UTORVResFile _res_file;         // the user's language
    UTORVResFile _default_res_file; // English
    UTORVResFile _vx_res_file;
    UTORVResFile _default_vx_res_file;

private:
    [[nodiscard]] ls_init_return open_both(UTResFile & res, UTResFile & default_res, a_bool vx);
};
