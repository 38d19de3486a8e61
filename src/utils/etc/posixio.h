// The file layer: POSIX calls that survive interrupts and keep descriptors out of child processes.
//
// Failure: the result of the underlying call and errno, unless told otherwise; nothing is reported. Threads:
// any, there is no state.
#pragma once

// Marks `handle` close-on-exec, again after EINTR. A failure is ignored and errno stays as it was: a
// descriptor that can't be marked still serves. Between opening and marking, a fork on another thread can
// pass the descriptor on.
void set_close_on_exec(int handle);
