#include "utils/lang/utlanginit.h"

#include <strings.h>

#include <iterator>

#include "utils/etc/lschrfns.h"
#include "utils/etc/utstrfcn.h"
#include "utils/locale/utlocale.h"

namespace {

// By ls_init_return. In the code, since these are needed exactly when the language files are missing; %1
// stands for the file names.
constexpr const char * InitError_EN[] = {
    "An error occurred loading the language resource file (%1).",
    "Language resource file (%1) version mismatch.",
    "", // a success has no text
    "Cannot find the language resource file (%1).",
    "An error occurred parsing the ORVLOCALE environment variable.",
    "Cannot find the language resource file (%1).",
    "An error occurred loading the language resource file (%1).",
};
static_assert(std::size(InitError_EN) == LS_INIT_VX_ERROR + 1);

struct an_error_map_row {
    char langCode[2];
    const char * const * errorMapTable; // null ends the rows
};

constexpr an_error_map_row ErrorMapTableMap[] = {
    {{'e', 'n'}, InitError_EN},
    {{'\0', '\0'}, nullptr},
};

constexpr size_t FILE_LIST_SIZE = 80; // of two names, the longest with 23 characters

// The oldest strings with all numbers and arguments that the library uses.
constexpr uint32 OLDEST_VERSION = 160;

const char * const * error_table(const LanguageInfo * langinfo)
{
    const an_error_map_row * row = ErrorMapTableMap;
    while (row->errorMapTable != nullptr &&
           strncasecmp(row->langCode, langinfo->iso_label(), sizeof(row->langCode)) != 0) {
        ++row;
    }
    return row->errorMapTable != nullptr ? row->errorMapTable : InitError_EN;
}

// The names of the files that an opening looks for.
void list_files(char (&list)[FILE_LIST_SIZE], const LanguageInfo * langinfo, const LanguageInfo * english,
                a_bool vx)
{
    UTORVResFile::GetResourceFileBaseName(list, sizeof(list), langinfo->iso_label(), vx);
    if (langinfo != english) {
        char * rest = list;
        size_t room = sizeof(list);
        (void)ut_strcat(list, sizeof(list), ", ", &rest, &room); // there is room for both names
        UTORVResFile::GetResourceFileBaseName(rest, room, english->iso_label(), vx);
    }
}

} // namespace

char * UTLangStringBase::GetInitErrorStr(ls_init_return ls_ret, char * buffer, size_t buflen,
                                         const char * language, a_bool vx)
{
    const LanguageInfo * const english = UTLocale::GetLanguageInfoFromOrvLID(ORV_LID_ENGLISH);
    const LanguageInfo * langinfo =
        language != nullptr ? UTLocale::GetLanguageInfoFromLabel(language) : UTLocale::FindOSLanguage(TRUE);
    langinfo = langinfo != nullptr ? langinfo : english;
    if (ls_ret == LS_INIT_CANT_FIND_VX_FILE || ls_ret == LS_INIT_VX_ERROR) {
        vx = TRUE;
    }
    char files[FILE_LIST_SIZE];
    list_files(files, langinfo, english, vx);
    const char * const * const table = error_table(langinfo);
    const size_t length = FormatMiscStr(buffer, buflen, table[ls_ret], files); // cut to the buffer
    // Words in another language have the English ones behind them, for whoever is asked for help.
    if (table != InitError_EN && length + 1 < buflen) {
        buffer[length] = '\n';
        (void)FormatMiscStr(buffer + length + 1, buflen - length - 1, InitError_EN[ls_ret], files);
    }
    return buffer;
}

a_bool UTLangString::version_mismatch(uint32 version)
{
    return version != 0 && version < OLDEST_VERSION;
}

ls_init_return UTLangString::OpenAndCheck(UTResFile & res, const LanguageInfo * langinfo, a_bool vx)
{
    if (!res.Open(langinfo->iso_label(), vx)) {
        return vx != FALSE ? LS_INIT_CANT_FIND_VX_FILE : LS_INIT_CANT_FIND_FILE;
    }
    if (version_mismatch(res.GetVersion())) {
        res.Close();
        return LS_INIT_BAD_VERSION;
    }
    return LS_INIT_OKAY;
}

ls_init_return UTLangString::do_open(UTResFile & res, const LanguageInfo * langinfo, a_bool vx)
{
    const ls_init_return result = OpenAndCheck(res, langinfo, vx);
    if (result == LS_INIT_OKAY) {
        (void)AppendResFile(&res); // of four files the last one, which is English, finds no place
    }
    return result;
}

// The files of a family: that of the language, and the English one behind it. The language is that of the
// first file in the list, once there is one: when only English has files of the first family, it has the
// second one for itself. LS_INIT_OKAY if one was opened, otherwise the result for the language.
ls_init_return UTLangString::open_both(UTResFile & res, UTResFile & default_res, a_bool vx)
{
    const LanguageInfo * const english = UTLocale::GetLanguageInfoFromLabel("en");
    const ls_init_return result = do_open(res, _langinfo, vx);
    const bool english_too = _langinfo != english && do_open(default_res, english, vx) == LS_INIT_OKAY;
    return english_too ? LS_INIT_OKAY : result;
}

ls_init_return UTLangString::Init(const char * language, const CharsetInfo * dest_csinfo, a_bool vx)
{
    if (_initialized != 0) {
        return LS_INIT_OKAY;
    }
    // File names and labels are taken apart by characters, whatever comes of the opening.
    LSCharFunctions.init();
    if (language != nullptr) {
        _langinfo = UTLocale::GetLanguageInfoFromLabel(language);
    }
    if (_langinfo == nullptr) {
        _langinfo = _locale->OSLanguage();
    }
    ls_init_return result = LS_INIT_OKAY;
    if (vx != FALSE) {
        result = open_both(_vx_res_file, _default_vx_res_file, TRUE);
    }
    if (result == LS_INIT_OKAY) {
        result = open_both(_res_file, _default_res_file, FALSE);
    }
    if (result != LS_INIT_OKAY) {
        Fini();
        return result;
    }
    SetDestCharset(dest_csinfo != nullptr ? dest_csinfo : _locale->OSCharset());
    _initialized = 1;
    return LS_INIT_OKAY;
}

void UTLangString::Fini()
{
    _vx_res_file.Close();
    _default_vx_res_file.Close();
    _res_file.Close();
    _default_res_file.Close();
    SetResFiles(nullptr, 0);
    _initialized = 0;
}
