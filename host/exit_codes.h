// exit_codes.h - how orvhost ends. The values above 2 are those of <sysexits.h>, which mail programs and the
// schedulers that run them understand; the table for people is exit_code_help().
#pragma once

#include <sysexits.h>

#include <string>

namespace orvhost {

inline constexpr int exit_ok = 0;
inline constexpr int exit_failed = 1;

// The table of exit codes as --help prints it.
[[nodiscard]] std::string exit_code_help();

} // namespace orvhost
