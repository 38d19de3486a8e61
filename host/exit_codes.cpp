#include "exit_codes.h"

#include <cstdio>

namespace orvhost {
namespace {

struct CodeText {
    int code;
    const char * name;
    const char * text;
};

constexpr CodeText code_texts[] = {
    {exit_ok, "", "done; for receive also: no message was waiting"},
    {exit_failed, "",
     "failed: sending, reading or deleting a message, a refused value, a fault that doctor found"},
    {EX_USAGE, "EX_USAGE", "wrong command line"},
    {EX_DATAERR, "EX_DATAERR",
     "send: the text can't travel as a message (binary bytes, too long, a lone LF and a period)"},
    {EX_NOINPUT, "EX_NOINPUT", "the profile or the text to send can't be read"},
    {EX_UNAVAILABLE, "EX_UNAVAILABLE", "the link library is missing, can't be loaded or lacks a function"},
    {EX_CANTCREAT, "EX_CANTCREAT", "receive: a text can't be stored; its message stays in the mailbox"},
    {EX_TEMPFAIL, "EX_TEMPFAIL", "no link could be made, or memory ran out: try again later"},
    {EX_CONFIG, "EX_CONFIG", "the profile has no usable address or is damaged"},
};

} // namespace

std::string exit_code_help()
{
    std::string help = "Exit codes:\n";
    for (const CodeText & row : code_texts) {
        char line[160];
        // Cut only if a row above grows beyond a terminal's line.
        (void)std::snprintf(line, sizeof line, "  %2d %-15s %s\n", row.code, row.name, row.text);
        help += line;
    }
    return help;
}

} // namespace orvhost
