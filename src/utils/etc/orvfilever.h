// The version of a file: four numbers, as text "16.0.0.428".
//
// Units: bytes. Ownership: the object's own. Failure: the result, and the numbers stay as they were; nothing
// is reported. Threads: one at a time for each object.
#pragma once

#include "utils/etc/uttypes.h"

class ORVFileVersion {
public:
    void set(int major, int minor, int patch, int build);
    // From text in the form of as_string. FALSE: not all four numbers are there.
    a_bool set(const char * text);
    // From the version record of a file. FALSE: it has none, or one without all four numbers.
    a_bool set_from_file(const char * filename);

    // The text, in the object, until the next call; cut to its 31 bytes, which only numbers of no real
    // version exceed.
    const char * as_string();

    [[nodiscard]] int major_version() const { return _major; }
    [[nodiscard]] int minor_version() const { return _minor; }
    [[nodiscard]] int patch() const { return _patch; }
    [[nodiscard]] int build() const { return _build; }

private:
    int _major = 0;
    int _minor = 0;
    int _patch = 0;
    int _build = 0;
    char _buf[32] = {};
};
