// Whether the process can have threads, which chooses between two builds of a companion.
//
// Threads: any.
#pragma once

#include "utils/etc/uttypes.h"

// TRUE if the thread library is among what the process has loaded, and at work. The first answer stays.
a_bool IsThreaded();
