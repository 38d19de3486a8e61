// The report of a failure that its caller can't mend: to the system log and to standard output.
//
// Failure: none is noticed. Threads: any, but the log's ident is process-wide (see errorlog.h).
#pragma once

// Reports `str`, or "Unknown error" for null: as an entry of the system log under the ident "Orvane", then as
// a line on standard output. Returns: the caller decides what comes next.
void ut_fatal(const char * str);
