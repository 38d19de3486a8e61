#include "utils/etc/utassert.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <string>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "utils/etc/utdebug.h"

namespace {

struct ChildResult {
    std::string err; // what it has written to descriptor 2
    int status;      // of waitpid
};

// Runs `work` in a child that ends with its result, with `input` as descriptor 0. Each stop of the child goes
// to `on_stop`.
ChildResult in_child(
    int input, const std::function<int()> & work,
    const std::function<void(pid_t, int)> & on_stop = [](pid_t, int) {})
{
    int err[2];
    EXPECT_EQ(pipe(err), 0);
    const pid_t child = fork();
    if (child == 0) {
        dup2(input, STDIN_FILENO);
        dup2(err[1], STDERR_FILENO);
        _exit(work());
    }
    close(err[1]);
    ChildResult result{};
    while (waitpid(child, &result.status, WUNTRACED) == child && WIFSTOPPED(result.status)) {
        on_stop(child, WSTOPSIG(result.status));
    }
    char buffer[4096];
    for (ssize_t count; (count = read(err[0], buffer, sizeof buffer)) > 0;) {
        result.err.append(buffer, static_cast<size_t>(count));
    }
    close(err[0]);
    return result;
}

// A descriptor that gives `text`, then the end.
int input_of(const std::string & text)
{
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    EXPECT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    close(ends[1]);
    return ends[0];
}

bool was_aborted(const ChildResult & result)
{
    return WIFSIGNALED(result.status) && WTERMSIG(result.status) == SIGABRT;
}

ChildResult failed_assertion(const char * message, const char * file)
{
    return in_child(STDIN_FILENO, [&] {
        UT_AssertStrFn(message, file, 12, "strcoll", 7);
        return 0;
    });
}

TEST(Assertion, TextIsWholeOnStandardErrorAndTheProcessAborts)
{
    const std::string place = "File 'utils/x' at line #12\nAborting execution...";
    const struct {
        const char * message;
        std::string text;
    } rows[] = {
        {"%s failed with %d", "strcoll failed with 7\n" + place},
        {"", place},
        {nullptr, place},
    };
    for (const auto & row : rows) {
        const ChildResult result = failed_assertion(row.message, "utils/x");
        EXPECT_EQ(result.err, "*** Assertion Failure ***\n" + row.text + "\n");
        EXPECT_TRUE(was_aborted(result)) << result.status;
    }
}

// The buffer has 256 bytes. Each length at which something is cut first, on both sides of it.
TEST(Assertion, LongTextIsCutInsideItsBufferAndKeepsThePlace)
{
    const std::string tail = "' at line #12\nAborting execution...";
    for (const size_t length : {size_t{203}, size_t{204}, size_t{1000}}) {
        const ChildResult result = failed_assertion(std::string(length, 'm').c_str(), "f");
        const std::string place = "File 'f" + tail;
        EXPECT_EQ(result.err, "*** Assertion Failure ***\n" +
                                  std::string(std::min(length, 255 - 1 - place.size()), 'm') + "\n" + place +
                                  "\n");
    }
    for (const size_t length : {size_t{214}, size_t{215}, size_t{400}}) {
        const ChildResult result = failed_assertion("message", std::string(length, 'f').c_str());
        EXPECT_TRUE(was_aborted(result));
        EXPECT_LE(result.err.size(), strlen("*** Assertion Failure ***\n") + 255 + 1) << length;
        EXPECT_NE(result.err.find("File 'fff"), std::string::npos) << length;
    }
}

TEST(Assertion, GoesByTheFunctionThatIsSet)
{
    const ChildResult result = in_child(STDIN_FILENO, [] {
        UT_AssertSetMessageFn([](const char * msg, const char * title, a_bool ask, a_bool *) {
            _exit(strcmp(title, "Assertion Failure") == 0 && strncmp(msg, "gone\nFile", 9) == 0 && !ask ? 5
                                                                                                        : 6);
        });
        UT_AssertStrFn("gone", "f", 1);
        return 0;
    });
    EXPECT_TRUE(WIFEXITED(result.status) && WEXITSTATUS(result.status) == 5) << result.status;
}

TEST(Assertion, DebuggerGetsATrapBehindWhichTheProgramGoesOn)
{
    std::string stops;
    const ChildResult result = in_child(
        STDIN_FILENO,
        [] {
            if (ut_debugger_present() || ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
                return 77;
            }
            UT_AssertStrFn("trapped", "f", 1);
            return 5;
        },
        [&stops](pid_t child, int signal) {
            stops += signal == SIGTRAP ? "trap " : "other ";
            ptrace(PTRACE_CONT, child, nullptr, nullptr); // without the signal, as a debugger does
        });
    ASSERT_TRUE(WIFEXITED(result.status)) << result.status;
    if (WEXITSTATUS(result.status) == 77) {
        GTEST_SKIP() << "is traced itself, or may not be traced";
    }
    EXPECT_EQ(WEXITSTATUS(result.status), 5);
    EXPECT_EQ(stops, "trap ");
    EXPECT_EQ(result.err, "");
}

TEST(Assertion, ProcessThatCannotAskTrapsToo)
{
    const ChildResult result = in_child(STDIN_FILENO, [] {
        const rlimit none = {0, 0};
        setrlimit(RLIMIT_NOFILE, &none);
        UT_AssertStrFn("unasked", "f", 1);
        return 0;
    });
    EXPECT_TRUE(WIFSIGNALED(result.status) && WTERMSIG(result.status) == SIGTRAP) << result.status;
}

a_bool question()
{
    a_bool answer = TRUE + 1;
    ut_assert_message("Go on?", "T", TRUE, &answer);
    return answer;
}

const std::string asked = "*** T ***\nGo on? [Y|N|B] ";
const std::string again = "Huh? Please try again; answer one of Y or N ...\n" + asked;

TEST(AssertionQuestion, AnswersFromAPipe)
{
    const struct {
        const char * input;
        a_bool answer;
        std::string output;
    } rows[] = {
        {"y", TRUE, asked + "Y\n"},
        {"\n \t\r\ny\n", TRUE, asked + "Y\n"},
        {"", FALSE, asked + "N\n"},
        {"xNY", FALSE, asked + again + "N\n"},
        {"\xF9\xD9", FALSE, asked + again + again + "N\n"},
    };
    for (const auto & row : rows) {
        const int input = input_of(row.input);
        const ChildResult result = in_child(input, [] { return static_cast<int>(question()); });
        close(input);
        EXPECT_TRUE(WIFEXITED(result.status)) << row.input;
        EXPECT_EQ(WEXITSTATUS(result.status), static_cast<int>(row.answer)) << row.input;
        EXPECT_EQ(result.err, row.output) << row.input;
    }
}

TEST(AssertionQuestion, QuitSilencesAllLaterMessages)
{
    const int input = input_of("qy");
    const ChildResult result = in_child(input, [] {
        a_bool told = FALSE;
        ut_assert_message("Told.", "T", FALSE, &told); // asks nothing and reads nothing
        const a_bool first = question();
        const a_bool second = question();
        a_bool shown = TRUE;
        ut_assert_message("Told.", "T", FALSE, &shown);
        return static_cast<int>(first + second + shown + 2 * told);
    });
    close(input);
    EXPECT_EQ(WEXITSTATUS(result.status), 2);
    EXPECT_EQ(result.err, "*** T ***\nTold.\n" + asked + "Q\n");
}

TEST(AssertionQuestion, BreakStopsTheProcessUntilItIsContinued)
{
    const int input = input_of("b");
    int stopped_by = 0;
    const ChildResult result = in_child(
        input, [] { return static_cast<int>(question()); },
        [&stopped_by](pid_t child, int signal) {
            stopped_by = signal;
            kill(child, SIGCONT);
        });
    close(input);
    EXPECT_EQ(stopped_by, SIGSTOP);
    EXPECT_TRUE(WIFEXITED(result.status) && WEXITSTATUS(result.status) == 0) << result.status;
    EXPECT_EQ(result.err, asked + "B\n");
}

// A terminal gives lines, blank ones among them, and its end of input is a key.
TEST(AssertionQuestion, AnswersFromATerminal)
{
    for (const std::string & typed : {std::string("\n\ny\n"), std::string("\n\x04")}) {
        const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
        ASSERT_TRUE(terminal != -1 && grantpt(terminal) == 0 && unlockpt(terminal) == 0);
        const int input = open(ptsname(terminal), O_RDWR | O_NOCTTY);
        ASSERT_NE(input, -1);
        ASSERT_EQ(write(terminal, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
        const ChildResult result = in_child(input, [] { return static_cast<int>(question()); });
        const bool yes = typed.find('y') != std::string::npos;
        EXPECT_EQ(WEXITSTATUS(result.status), yes ? 1 : 0);
        EXPECT_EQ(result.err, asked + (yes ? "Y\n" : "N\n"));
        close(input);
        close(terminal);
    }
}

} // namespace
