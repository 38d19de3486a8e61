// Is somebody debugging this process? The assertions ask, and nothing else.
//
// Failure: what can't be told counts as a debugger. Threads: any, there is no state.
#pragma once

#include "utils/etc/uttypes.h"

// FALSE only if the kernel says that no process traces this one (TracerPid in /proc/self/status). It can't
// say so to a process without a free descriptor or without /proc.
[[nodiscard]] a_bool ut_debugger_present();

// With a debugger: a breakpoint trap, and TRUE when that returns. A trap without a debugger, see above, ends
// the process by SIGTRAP. `msg` has no effect.
[[nodiscard]] a_bool ut_enter_debugger(const char * msg);
