#include "utils/etc/utfatal.h"

#include <cstdarg>
#include <cstdio>
#include <string>
#include <syslog.h>
#include <vector>

#include <gtest/gtest.h>

namespace {

std::vector<std::string> calls;

} // namespace

// The system log of the test program: what the library says to it is kept in the order of the calls.
extern "C" void openlog(const char * ident, int option, int facility)
{
    calls.push_back("openlog " + std::string(ident) + " " + std::to_string(option) + " " +
                    (facility == LOG_USER ? "user" : "other"));
}

extern "C" void syslog(int priority, const char * format, ...)
{
    char text[100];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    calls.push_back(std::string(priority == LOG_ERR ? "err " : "other ") + text);
}

extern "C" void closelog()
{
    calls.emplace_back("closelog");
}

namespace {

std::string printed(const char * text)
{
    calls.clear();
    testing::internal::CaptureStdout();
    ut_fatal(text);
    return testing::internal::GetCapturedStdout();
}

TEST(FatalReport, ReachesLogAndStandardOutputAndIsNoFormat)
{
    EXPECT_EQ(printed("100%s %n"), "100%s %n\n");
    EXPECT_EQ(calls, (std::vector<std::string>{"openlog Orvane 0 user", "err 100%s %n", "closelog"}));
    EXPECT_EQ(printed(nullptr), "Unknown error\n");
    EXPECT_EQ(calls[1], "err Unknown error");
}

} // namespace
