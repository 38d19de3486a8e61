#include "utils/etc/utfatal.h"

#include <cstdarg>
#include <cstdio>
#include <string>
#include <syslog.h>
#include <vector>

#include <gtest/gtest.h>

#include "utils/etc/errorlog.h"

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

TEST(FatalReport, ReachesLogAndStandardOutputAndReturns)
{
    calls.clear();
    testing::internal::CaptureStdout();
    ut_fatal("disk gone");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "disk gone\n");
    EXPECT_EQ(calls, (std::vector<std::string>{"openlog Orvane 0 user", "err disk gone", "closelog"}));
}

TEST(FatalReport, NullIsAnUnknownError)
{
    calls.clear();
    testing::internal::CaptureStdout();
    ut_fatal(nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Unknown error\n");
    ASSERT_EQ(calls.size(), 3U);
    EXPECT_EQ(calls[1], "err Unknown error");
}

TEST(FatalReport, PercentSignsInTheTextAreNoFormat)
{
    calls.clear();
    testing::internal::CaptureStdout();
    ut_fatal("100%s %n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "100%s %n\n");
    GenerateErrorLog("%d%%", "other ident");
    ASSERT_EQ(calls.size(), 6U);
    EXPECT_EQ(calls[1], "err 100%s %n");
    EXPECT_EQ(calls[3], "openlog other ident 0 user");
    EXPECT_EQ(calls[4], "err %d%%");
}

} // namespace
