#include "utils/etc/utassert.h"

#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <unistd.h>

#include "utils/etc/posixio.h"
#include "utils/etc/utdebug.h"
#include "utils/etc/utstrfcn.h"

namespace {

ut_assert_message_fn_ptr ut_assert_msg_fn = show_assert_message;
a_bool hit_q = FALSE; // the user wants no more messages

// The process is about to end, or asks a user who doesn't hear: there is nobody to tell of a failure.
void say(const char * text)
{
    (void)_posix_write(STDERR_FILENO, text, strlen(text));
}

bool is_blank(char c)
{
    return c == ' ' || c == '\n' || c == '\r' || c == '\t';
}

void say_message(const char * msg, const char * title, const char * end)
{
    say("*** ");
    say(title);
    say(" ***\n");
    say(msg);
    say(end);
}

// The first byte that says something, in upper case whatever the locale; `N` when there is none.
char read_answer()
{
    char c;
    do {
        if (_posix_read(STDIN_FILENO, &c, 1) != 1) {
            return 'N';
        }
    } while (is_blank(c));
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

char ask(const char * msg, const char * title)
{
    for (;;) {
        say_message(msg, title, " [Y|N|B] ");
        const char answer = read_answer();
        if (std::string_view("YNQB").find(answer) != std::string_view::npos) {
            const char echo[] = {answer, '\n', '\0'};
            say(echo);
            return answer;
        }
        say("Huh? Please try again; answer one of Y or N ...\n");
    }
}

} // namespace

void show_assert_message(const char * msg, const char * title, a_bool ask_question, a_bool * answer)
{
    *answer = FALSE;
    if (hit_q) {
        return;
    }
    if (!ask_question) {
        say_message(msg, title, "\n");
        *answer = TRUE;
        return;
    }
    switch (ask(msg, title)) {
    case 'Y':
        *answer = TRUE;
        break;
    case 'Q':
        hit_q = TRUE;
        break;
    case 'B':
        (void)raise(SIGSTOP); // the whole process, until a debugger or the shell continues it
        break;
    default:
        break;
    }
}

void ut_assert_message(const char * msg, const char * title, a_bool ask_question, a_bool * answer)
{
    ut_assert_msg_fn(msg, title, ask_question, answer);
}

void UT_AssertSetMessageFn(ut_assert_message_fn_ptr inAssertFn)
{
    ut_assert_msg_fn = inAssertFn;
}

void UT_AssertStrFn(const char * msg, const char * filename, const unsigned int linenum, ...)
{
    constexpr size_t TEXT_SIZE = 256;
    // A cut text is better than none: no result is looked at on this way out.
    char place[TEXT_SIZE];
    (void)ut_snprintf(place, sizeof place, "File '%s' at line #%u\nAborting execution...", filename, linenum);
    const size_t place_size = strlen(place) + 1;

    char text[TEXT_SIZE] = "";
    constexpr size_t LEAST_MESSAGE =
        2; // a terminator, whose place the line end takes, and something before it
    if (msg != nullptr && *msg != '\0' && sizeof text - place_size >= LEAST_MESSAGE) {
        va_list args;
        va_start(args, linenum);
        (void)ut_vsnprintf(text, sizeof text - place_size, msg, args);
        va_end(args);
        (void)ut_strcat(text, sizeof text, "\n");
    }
    (void)ut_strcat(text, sizeof text, place);

    if (ut_enter_debugger(text)) {
        return;
    }
    a_bool answer = FALSE; // not asked for
    ut_assert_message(text, "Assertion Failure", FALSE, &answer);
    abort();
}
