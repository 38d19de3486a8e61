#include "utils/etc/utassert.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "utils/etc/utstrfcn.h"

namespace {

// Whole texts only: a caller can't do anything about a standard error that takes less.
void write_error(const char * text)
{
    size_t left = strlen(text);
    while (left > 0) {
        const ssize_t done = write(STDERR_FILENO, text, left);
        if (done <= 0) {
            return;
        }
        text += done;
        left -= static_cast<size_t>(done);
    }
}

} // namespace

void UT_AssertStrFn(const char * msg, const char * filename, const unsigned int linenum, ...)
{
    constexpr size_t TEXT_SIZE = 256;
    char text[TEXT_SIZE] = "";
    // A cut text is better than none: no result is looked at on this way out.
    if (msg != nullptr && *msg != '\0') {
        va_list args;
        va_start(args, linenum);
        (void)ut_vsnprintf(text, sizeof text, msg, args);
        va_end(args);
        (void)ut_strcat(text, sizeof text, "\n");
    }
    const size_t used = strlen(text);
    (void)ut_snprintf(text + used, sizeof text - used, "File '%s' at line #%u\nAborting execution...",
                      filename, linenum);
    write_error("*** Assertion Failure ***\n");
    write_error(text);
    write_error("\n");
    abort();
}
