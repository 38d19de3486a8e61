#include "utils/etc/utdll.h"

#include <dlfcn.h>

#include "utils/etc/orvfilever.h"
#include "utils/etc/utstrfcn.h"

namespace {

dll_dump_fn_t g_DLL_print_fn = nullptr;

// A path of 4,096 bytes and the words around it.
constexpr size_t LOAD_LINE_SIZE = 4178;

void print_load_line(const char * filename)
{
    char line[LOAD_LINE_SIZE];
    ORVFileVersion version;
    const char * const text =
        version.set_from_file(filename) ? version.as_string() : "(Version info not available)";
    // A longer name is cut: the line only informs.
    (void)ut_snprintf(line, sizeof line, "Loading DLL \"%s\", %s", filename, text);
    g_DLL_print_fn(line);
}

} // namespace

a_dll_handle UTLoadLibrary(const char * filename)
{
    a_dll_handle const dll = dlopen(filename, RTLD_NOW);
    if (dll != nullptr && g_DLL_print_fn != nullptr) {
        print_load_line(filename);
    }
    return dll;
}

void * UTGetProcAddress(a_dll_handle dll, const char * symbol)
{
    return dlsym(dll == nullptr ? RTLD_DEFAULT : dll, symbol);
}

void UTUnloadLibrary(a_dll_handle dll)
{
    if (dll != nullptr) {
        (void)dlclose(dll); // nothing can be done about a library that stays
    }
}

a_bool UTGetLoadError(char * dst, size_t size)
{
    const char * const text = dlerror();
    (void)ut_strcpy(dst, size, text == nullptr ? "" : text); // cut to what the caller has room for
    return text == nullptr ? FALSE : TRUE;
}

void UTDumpDllNames(dll_dump_fn_t print)
{
    g_DLL_print_fn = print;
}

a_bool DLLLoadingMonitor::init()
{
    const CritSectGuard guard(_mutex);
    ++_count;
    if (_count == 1 && !_do_load()) {
        --_count;
        return FALSE;
    }
    return TRUE;
}

void DLLLoadingMonitor::fini()
{
    const CritSectGuard guard(_mutex);
    --_count;
    if (_count == 0) {
        _do_unload();
        _clear();
        _dll = nullptr;
    }
}
