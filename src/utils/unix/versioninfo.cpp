#include "utils/unix/versioninfo.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// The fifteenth string, UNAME=...; the marker and the first entry are one.
const char * system_line()
{
    const char * text = __DBVersionInfo_orvsmtp16_r;
    for (int i = 1; i < 15; ++i) {
        text += strlen(text) + 1;
    }
    return text;
}

// Tells, when the library is loaded, where it was built, if the environment asks for it.
struct a_version_report {
    a_version_report()
    {
        if (getenv("ORVANE_VERSION_INFO") != nullptr) {
            (void)std::puts(system_line()); // there is no further place to report to
        }
    }
};

a_version_report dbversion_info;

} // namespace
