// Loading of shared libraries at run time (dlopen and its companions).
//
// Units: bytes; a size counts the terminator. Ownership: the caller unloads what it loads. Failure: null, and
// the reason by UTGetLoadError; nothing is reported. Threads: any, but for UTDumpDllNames, which belongs to
// the start of the program; the text of UTGetLoadError is that of the calling thread.
#pragma once

#include "utils/etc/critsect.h"
#include "utils/etc/uttypes.h"

using a_dll_handle = void *; // of dlopen

// Takes one line, without its end, about each library that is loaded.
using dll_dump_fn_t = void (*)(const char * line);

// Loads `filename` with all its symbols bound at once. A name without a slash is searched for as the system
// does. With a function of UTDumpDllNames, that gets the line
//   Loading DLL "filename", 16.0.0.428
// with the file's version, or "(Version info not available)" in its place.
[[nodiscard]] a_dll_handle UTLoadLibrary(const char * filename);

// The address of `symbol`, null if absent. A null handle searches what is loaded already.
[[nodiscard]] void * UTGetProcAddress(a_dll_handle dll, const char * symbol);

// Null is allowed.
void UTUnloadLibrary(a_dll_handle dll);

// Copies the text of the calling thread's last failed operation on libraries into `dst` of `size` bytes, cut
// if need be, and terminated for any size above 0. The text is given once. FALSE, with an empty `dst`: none
// has failed since the last call.
a_bool UTGetLoadError(char * dst, size_t size);

// From now on `print` gets the lines of UTLoadLibrary; null ends that.
void UTDumpDllNames(dll_dump_fn_t print);

// Loads a library for its first user and unloads it behind its last. Derived classes bring the work, which
// runs with the mutex held: it must not use the same monitor.
class DLLLoadingMonitor {
public:
    DLLLoadingMonitor() = default;
    virtual ~DLLLoadingMonitor() = default;
    DLLLoadingMonitor(const DLLLoadingMonitor &) = delete;
    DLLLoadingMonitor & operator=(const DLLLoadingMonitor &) = delete;

    // One more user. FALSE: it would have been the first, and loading failed; then it doesn't count.
    [[nodiscard]] virtual a_bool init();
    // One user less: one for each init that has given TRUE.
    virtual void fini();

protected:
    // Forgets what _do_load has found; behind _do_unload.
    virtual void _clear() {}
    [[nodiscard]] virtual a_bool _do_load() { return TRUE; }
    virtual void _do_unload() {}

    a_dll_handle _dll = nullptr; // set by _do_load
    uint32 _count ORV_GUARDED_BY(_mutex) = 0;
    a_critical_sect_mutex _mutex;
};
