// Reports: formats a template with its arguments into one buffer of the process and hands the finished text
// to a callback. Templates are given as text, or by number and then taken from a language store.
//
// The text that the callback gets is whole, never cut, and lives until the callback returns. Results are the
// callback's, or 0 where no callback ran. There is nothing that these functions report on their own: if
// memory for a longer text runs out (which has gone to the system log by then), the callback gets the bare
// template and the result is 0. Templates and arguments: see the formatter in utils/lang/utlangstring.h;
// arguments aren't converted between character sets here.
//
// Threads: any thread may report at any time. One lock of the process is held while a text is formatted and
// while the callback runs, so callbacks run one at a time, and a callback must not report again, free the
// buffer or fork: the lock isn't recursive. With SetAllowRecursiveMessages(TRUE) a callback may report again
// on its own thread; the inner report uses the same buffer, so the outer callback must have finished with its
// text first.
//
// A fork waits for the report of another thread to end, and the child starts with the lock free.
#pragma once

#include <cstdarg>

#include "utils/etc/uttypes.h"

class UTLangStringBase;

// Reports `fmt`. A null `rtn` gives 0 and formats nothing; a null `fmt` is handed on as null. The number set
// with SetLastMessageId stays visible during the callback.
int16 Message(MSG_CALLBACK rtn, const char * fmt, ...);

// The same with an argument list, which the caller ends. The number during the callback is 0.
int16 MessageArgList(MSG_CALLBACK rtn, const char * fmt, va_list args);

// Reports the string `lsid` of `ls`, cut to 255 bytes before its arguments are filled in. A string that the
// store doesn't have is one callback with null. `rtn` must not be null.
int16 MessageByID(const UTLangStringBase & ls, MSG_CALLBACK rtn, uint32 lsid, ...);

// What the three have in common; leaves the number as it is until the report is over. `arglist` is left to
// the caller.
int16 DoMessage(MSG_CALLBACK rtn, const char * fmt, va_list arglist);

// The number of the template that is being reported; 0 outside a report, or for a template without a number.
// It is one value for the process: a thread that reports beside another one can see the other's.
uint32 GetLastMessageId();
void SetLastMessageId(uint32 msgId);

// Lets callbacks report again, or forbids it, which is how the library starts. To be set while nothing
// reports.
void SetAllowRecursiveMessages(a_bool val);

// Gives the buffer back; the next report makes a new one.
void FreeMessageMem();
