// Paths, files as a whole, and the time of day.
//
// Failure: results and errno; nothing is reported. Threads: any, there is no state, and time zones are read
// by the reentrant calls.
#pragma once

#include <ctime>

// What FindCurrentTime breaks the time down as.
enum {
    TL_LOCAL = 0, // in the process's time zone
    TL_GLOBAL = 1 // UTC
};

// Stores the current time in *time_buff, all fields of struct tm with those of the zone. `locale` is TL_LOCAL
// or TL_GLOBAL; any other value, or a time that can't be broken down, leaves *time_buff alone.
void FindCurrentTime(struct tm * time_buff, int locale);
