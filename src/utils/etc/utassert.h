// A broken promise inside the library: a text to standard error, and the program stops; under a debugger it
// traps instead and may go on. The text goes by a function that a program can replace.
//
// Units: bytes. Ownership: nothing is kept. Failure: a standard error that takes nothing is ignored. Threads:
// a failed assertion may come from any; UT_AssertSetMessageFn belongs to the start of the program, and
// questions to one thread.
#pragma once

#include "utils/etc/uttypes.h"

// Shows `msg` under `title`. With ask_question it waits for yes (TRUE) or no (FALSE), which goes into
// *answer.
using ut_assert_message_fn_ptr = void (*)(const char * msg, const char * title, a_bool ask_question,
                                          a_bool * answer);

// A failed assertion. `msg` is a printf format for the remaining arguments and may be null; `filename` is the
// source's path without extension. The text is this, cut to 255 bytes at the end of the message, so that the
// place stays:
//   message
//   File 'utils/locale/utlocale' at line #12
//   Aborting execution...
// Returns only behind the trap, with a debugger; otherwise the process ends by abort().
void UT_AssertStrFn(const char * msg, const char * filename, const unsigned int linenum, ...)
    __attribute__((format(printf, 1, 4)));

// Calls the function that is set: show_assert_message at first. Neither text may be null.
void ut_assert_message(const char * msg, const char * title, a_bool ask_question, a_bool * answer);

// Sets the function, which may not be null.
void UT_AssertSetMessageFn(ut_assert_message_fn_ptr inAssertFn);

// Writes title and text to descriptor 2. A question is answered by the first byte of descriptor 0 that isn't
// a blank or a line end, in either case:
//   Y       TRUE
//   N       FALSE; so do the end of input and a failing read
//   Q       FALSE, and all later messages stay silent, with FALSE as answer
//   B       FALSE, once the process, which stops itself by SIGSTOP, has been continued: time for a debugger
//   other   the question comes again
// A message without a question has the answer TRUE.
void show_assert_message(const char * msg, const char * title, a_bool ask_question, a_bool * answer);
