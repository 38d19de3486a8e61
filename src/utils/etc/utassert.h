// A broken promise inside the library: text to standard error, and the program stops.
//
// Threads: any thread.
#pragma once

// `msg` is a printf format for the remaining arguments and may be null; `filename` is the source's path
// without extension. The text is cut at 255 bytes.
void UT_AssertStrFn(const char * msg, const char * filename, const unsigned int linenum, ...)
    __attribute__((format(printf, 1, 4)));
