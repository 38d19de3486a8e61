// One entry in the system log (POSIX syslog).
//
// Failure: none is noticed. Threads: any at any time; but opening the log sets ident and options for the
// whole process, and closing it leaves the host's own openlog undone, as the host's log has to know.
#pragma once

// Writes `log_msg`, as it is, with facility LOG_USER and priority LOG_ERR under the ident `engine_name`. Both
// belong to the caller and are needed during the call only.
void GenerateErrorLog(const char * log_msg, const char * engine_name);
