#include "utils/etc/getbanner.h"

#include <cstring>

#include "utils/etc/utstrfcn.h"

namespace {

// Appends a language string; what doesn't fit is cut.
void append_lang_str(UTLangStringBase & langstring, uint32 id, char * buff)
{
    const size_t length = ut_strnlen(buff, banner_size - 1);
    (void)langstring.FormatMiscLangStr(id, buff + length, banner_size - length);
}

} // namespace

char * GetBanner_str(UTLangStringBase & langstring, int32 id, char * buff)
{
    (void)langstring.FormatMiscLangStr(static_cast<uint32>(id), buff, banner_size); // empty if missing
    return buff;
}

char * GetBanner_ver(UTLangStringBase & langstring, const char * ver, a_bool debug, a_bool beta, char * buff)
{
    (void)ut_strcat(buff, banner_size, ver); // cut to the line
    if (debug != FALSE) {
        append_lang_str(langstring, LS_BANNER_DEBUG, buff);
    }
    if (beta != FALSE) {
        append_lang_str(langstring, LS_BANNER_BETA, buff);
    }
    return buff;
}

char * AppendAppBanner(UTLangStringBase & langstring, int32 app_name, const char * ver, a_bool debug,
                       a_bool beta, char * buff)
{
    append_lang_str(langstring, static_cast<uint32>(app_name), buff);
    append_lang_str(langstring, LS_BANNER_VERSION, buff);
    return GetBanner_ver(langstring, ver, debug, beta, buff);
}

char * GetBanner(UTLangStringBase & langstring, int32 app_name, const char * ver, a_bool debug, a_bool beta,
                 char * buff)
{
    *buff = '\0';
    return AppendAppBanner(langstring, app_name, ver, debug, beta, buff);
}

char * GetBanner_p(UTLangStringBase & langstring, int32 product_name, int32 app_name, const char * ver,
                   a_bool debug, a_bool beta, char * buff)
{
    (void)GetBanner_str(langstring, product_name, buff); // returns buff
    return AppendAppBanner(langstring, app_name, ver, debug, beta, buff);
}
