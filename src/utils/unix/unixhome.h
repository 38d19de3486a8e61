// The user's home directory, and entries of the user database.
//
// Units: bytes, with terminator. Ownership: the caller's buffers. Failure: FALSE or null; nothing is
// reported. Threads: any, but the environment is read, so nobody may change it at the same time.
#pragma once

#include <pwd.h>
#include <sys/types.h>

#include "utils/etc/uttypes.h"

// The home directory, without one `/` at its end: HOME if it is set, or, without it or with ignoreEnv, that
// of the user database. `home` must hold all of it; nothing is cut. FALSE, with `home` empty: the database
// has no entry or no directory for the user.
[[nodiscard]] a_bool get_user_home_directory(char * home, a_bool ignoreEnv);

// The same from the user database alone.
[[nodiscard]] a_bool get_true_user_home_directory(char * home);

// The entry of `uid`, which is `pwd` with its texts in `buffer`; null if there is none, it can't be read, or
// it doesn't fit in `buflen` bytes. Both are then undefined.
[[nodiscard]] struct passwd * unix_getpwuid(uid_t uid, struct passwd * pwd, char * buffer, int buflen);
