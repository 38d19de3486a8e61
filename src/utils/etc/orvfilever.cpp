#include "utils/etc/orvfilever.h"

#include <cstdio>

#include "utils/etc/utstrfcn.h"
#include "utils/unix/unixver.h"

void ORVFileVersion::set(int major, int minor, int patch, int build)
{
    _major = major;
    _minor = minor;
    _patch = patch;
    _build = build;
}

a_bool ORVFileVersion::set(const char * text)
{
    int major;
    int minor;
    int patch;
    int build;
    if (sscanf(text, "%i.%i.%i.%i", &major, &minor, &patch, &build) != 4) {
        return FALSE;
    }
    set(major, minor, patch, build);
    return TRUE;
}

a_bool ORVFileVersion::set_from_file(const char * filename)
{
    return GetORVUnixVer(filename, &_major, &_minor, &_patch, &_build);
}

const char * ORVFileVersion::as_string()
{
    (void)ut_snprintf(_buf, sizeof _buf, "%i.%i.%i.%i", _major, _minor, _patch, _build);
    return _buf;
}
