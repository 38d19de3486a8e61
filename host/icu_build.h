// icu_build.h - which ICU build the link library has found and loaded, for who asks why texts look as they
// do.
//
// The link library searches when it is loaded; look afterwards. Nothing is loaded here.
#pragma once

#include <string>

namespace orvhost {

struct IcuBuild {
    std::string path;  // of liborvicu16_r.so or liborvicu16.so; empty if none is loaded
    std::string below; // of the ICU library that it stands on; empty if it has ICU inside
    int dataset = 0;   // what it says of its data: 0 none, to 4 all; -1 if it lacks the entry point
};

[[nodiscard]] IcuBuild find_icu_build();

// "all data", "the root collation, and not all converters", ...
[[nodiscard]] const char * dataset_text(int dataset);

} // namespace orvhost
