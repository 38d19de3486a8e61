#include "utils/lang/utlanginit.h"

#include <iterator>

#include "utils/etc/lschrfns.h"
#include "utils/lang/langtext.h"
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

// The files that an opening looks for. English is the only language that there are texts for.
const char * file_list(a_bool vx)
{
    return vx != FALSE ? "orvlgen_vx16.res" : "orvlgen16.res";
}

} // namespace

char * UTLangStringBase::GetInitErrorStr(ls_init_return ls_ret, char * buffer, size_t buflen,
                                         const char * /*language*/, a_bool vx)
{
    if (ls_ret == LS_INIT_CANT_FIND_VX_FILE || ls_ret == LS_INIT_VX_ERROR) {
        vx = TRUE;
    }
    (void)FormatMiscStr(buffer, buflen, InitError_EN[ls_ret], file_list(vx)); // cut to the buffer
    return buffer;
}

ls_init_return UTLangString::Init(const char * /*language*/, const CharsetInfo * dest_csinfo, a_bool vx)
{
    if (_initialized != 0) {
        return LS_INIT_OKAY;
    }
    // File names and labels are taken apart by characters, whatever comes of the opening.
    LSCharFunctions.init();
    // There are no texts of the vx family.
    if (vx != FALSE) {
        return LS_INIT_CANT_FIND_VX_FILE;
    }
    set_texts(english_lang_texts());
    _dest_csinfo = dest_csinfo != nullptr ? dest_csinfo : _locale->OSCharset();
    _initialized = 1;
    return LS_INIT_OKAY;
}

void UTLangString::Fini()
{
    set_texts({});
    _initialized = 0;
}
