// Loading and unloading the link library beside a library without any content that needs the same libraries.
// No ICU build is found from here: this program lies in a folder that no installation is near.
//
// Result 1 when the target is missed: twice the time of the empty library.

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>

#include "ratio.h"

namespace {

constexpr int TIMES = 41;
constexpr int LOADS = 50; // of a turn

void load(const char * path)
{
    for (int i = 0; i < LOADS; ++i) {
        void * const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
        if (library == nullptr) {
            std::fprintf(stderr, "%s\n", dlerror());
            std::exit(2);
        }
        dlclose(library);
    }
}

} // namespace

int main(int argc, char **)
{
    for (const char * name : {"VXDIR16", "VX16", "LD_LIBRARY_PATH"}) {
        unsetenv(name);
    }
    setenv("PATH", "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", 1);
    if (chdir("/") != 0) { // names are tried from the current directory, too
        return 2;
    }
    if (argc > 1) { // for a trace of the system calls
        void * const library = dlopen(ORV_LINK_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        return library != nullptr && dlclose(library) == 0 ? 0 : 2;
    }
    const ratio::a_result result = ratio::compare(
        TIMES, [] { load(ORV_LINK_LIBRARY); }, [] { load(ORV_EMPTY_LIBRARY); });
    std::printf("load and unload: ours %.1f us, empty %.1f us\n", result.ours / LOADS * 1e6,
                result.peers / LOADS * 1e6);
    return ratio::print_table({{"time of an empty library, times", ratio::AT_MOST, 2, 1 / result.value()}});
}
