#include "remote/unixdll.h"
#include "utils/dbtutils/message.h"

#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "support/sanitized.h"
#include "utils/lang/utlanginit.h"

namespace {

// What the callback has seen. Reports of one test at a time.
struct a_seen_report {
    std::optional<std::string> text; // nothing for a null
    uint32 id;
    size_t buffer_size; // at least this much is allocated behind the text
};
std::vector<a_seen_report> seen;

short note(const char * text)
{
    a_seen_report report{std::nullopt, GetLastMessageId(), 0};
    if (text != nullptr) {
        report.text = text;
        report.buffer_size = malloc_usable_size(const_cast<char *>(text));
    }
    seen.push_back(report);
    return -2;
}

// Reports from two threads as soon as the program starts: this file stands before the library in the link, so
// that only a priority gets the library's lock made first. Each callback waits a moment for the other one to
// break in.
std::atomic<int> early_inside{0};
std::atomic<int> early_most_inside{0};
std::atomic<int> early_reports{0};

short early_callback(const char *)
{
    const int inside = ++early_inside;
    early_most_inside = std::max(early_most_inside.load(), inside);
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(5);
    while (early_inside < 2 && std::chrono::steady_clock::now() < end) {
        std::this_thread::yield();
    }
    --early_inside;
    ++early_reports;
    return 0;
}

struct AnEarlyReporter {
    AnEarlyReporter()
    {
        std::thread other([] { Message(early_callback, "other"); });
        Message(early_callback, "main");
        other.join();
    }
} early_reporter;

class Report : public testing::Test {
protected:
    void SetUp() override
    {
        seen.clear();
        SetLastMessageId(0);
    }
    void TearDown() override
    {
        SetAllowRecursiveMessages(FALSE);
        SetLastMessageId(0);
    }
};

class ReportByNumber : public Report {
protected:
    void SetUp() override
    {
        Report::SetUp();
        ASSERT_EQ(_store.Init(nullptr, nullptr, FALSE), LS_INIT_OKAY);
    }
    UTLangString _store{&OSLocale};
};

int16 report_list(MSG_CALLBACK rtn, const char * fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    const int16 result = MessageArgList(rtn, fmt, args);
    va_end(args);
    return result;
}

} // namespace

TEST_F(Report, StaticObjectsFindTheLockMade)
{
    EXPECT_EQ(early_reports, 2);
    EXPECT_EQ(early_most_inside, 1);
}

TEST_F(Report, TextThatFillsTheBufferCountsAsCut)
{
    const struct {
        size_t length;
        size_t buffer_size;
    } rows[] = {{0, 1024},    {1021, 1024},         {1022, 1024},  {1023, 2048},
                {2046, 2048}, {2047, 2 * 2047 + 1}, {20000, 20002}};
    for (const auto & row : rows) {
        FreeMessageMem();
        seen.clear();
        const std::string text(row.length, 'x');
        EXPECT_EQ(Message(note, "%1", text.c_str()), -2);
        ASSERT_EQ(seen.size(), 1u) << row.length;
        EXPECT_EQ(seen[0].text, text);
        EXPECT_GE(seen[0].buffer_size, row.buffer_size) << row.length;
        if (row.buffer_size <= 2048) {
            EXPECT_LT(seen[0].buffer_size, row.buffer_size + 64) << row.length;
        }
    }
}

TEST_F(Report, NothingToCallAndNothingToSay)
{
    SetLastMessageId(7);
    EXPECT_EQ(Message(nullptr, "%1"), 0);
    EXPECT_EQ(GetLastMessageId(), 7u); // nothing was reported
    EXPECT_EQ(Message(note, nullptr), -2);
    EXPECT_EQ(report_list(nullptr, "%1"), 0);
    EXPECT_EQ(report_list(note, nullptr), -2);
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0].text, std::nullopt);
    EXPECT_EQ(seen[0].id, 7u);
    EXPECT_EQ(seen[1].text, std::nullopt);
    EXPECT_EQ(seen[1].id, 0u);
}

TEST_F(ReportByNumber, NumberIsThatOfTheReportAndGoneBehindIt)
{
    EXPECT_EQ(MessageByID(_store, note, 9345, 30), -2);
    EXPECT_EQ(GetLastMessageId(), 0u);
    SetLastMessageId(77);
    Message(note, "%1!d!", 5);
    EXPECT_EQ(GetLastMessageId(), 0u);
    SetLastMessageId(78);
    report_list(note, "%1!lld!", int64{1} << 40);
    EXPECT_EQ(GetLastMessageId(), 0u);
    ASSERT_EQ(seen.size(), 3u);
    EXPECT_EQ(seen[0].id, 9345u);
    EXPECT_NE(seen[0].text.value_or("").find("30"), std::string::npos);
    EXPECT_EQ(seen[1].id, 77u);
    EXPECT_EQ(seen[1].text, "5");
    EXPECT_EQ(seen[2].id, 0u);
    EXPECT_EQ(seen[2].text, "1099511627776");
}

TEST_F(ReportByNumber, UnknownNumberIsOneCallbackWithNothing)
{
    SetLastMessageId(7);
    EXPECT_EQ(MessageByID(_store, note, 1), -2);
    EXPECT_EQ(GetLastMessageId(), 7u);
    _store.Fini();
    EXPECT_EQ(MessageByID(_store, note, 9345, 30), -2); // not opened: no number is known
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0].text, std::nullopt);
    EXPECT_EQ(seen[1].text, std::nullopt);
}

TEST_F(Report, CallbackMayReportAgainInRecursiveMode)
{
    static constexpr size_t inner_length = 4000; // moves the buffer under the outer callback
    SetAllowRecursiveMessages(TRUE);
    FreeMessageMem();
    const int16 result = Message(
        [](const char * text) -> short {
            note(text);
            return Message(note, "%1", std::string(inner_length, 'i').c_str());
        },
        "outer %1!d!", 1);
    EXPECT_EQ(result, -2);
    // The lock is free again, for another thread and in the other mode.
    std::thread([] { Message(note, "other"); }).join();
    SetAllowRecursiveMessages(FALSE);
    Message(note, "last");
    ASSERT_EQ(seen.size(), 4u);
    EXPECT_EQ(seen[0].text, "outer 1");
    EXPECT_EQ(seen[1].text, std::string(inner_length, 'i'));
    EXPECT_EQ(seen[2].text, "other");
    EXPECT_EQ(seen[3].text, "last");
}

namespace {

// Written by callbacks alone and under no lock of their own: a sanitizer sees it if two run at a time.
struct a_tally {
    int reports;
    int broken;
} tally;

short count_text(const char * text)
{
    int thread = -1;
    int number = -1;
    char filler[2001] = "";
    const bool whole = std::sscanf(text, "<%d %d %2000[x]>", &thread, &number, filler) == 3 &&
                       std::char_traits<char>::length(filler) == static_cast<size_t>(1 + number % 2000);
    ++tally.reports;
    tally.broken += whole ? 0 : 1;
    return static_cast<short>(number);
}

void report_from_many_threads()
{
    constexpr int thread_count = 8;
    constexpr int report_count = 300;
    tally = {0, 0};
    std::atomic<int> wrong_results{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < thread_count; ++t) {
        threads.emplace_back([t, &wrong_results] {
            for (int i = 0; i < report_count; ++i) {
                const int number = i * 7 + t;
                const std::string filler(1 + number % 2000, 'x');
                if (Message(count_text, "<%1!d! %2!d! %3>", t, number, filler.c_str()) != number) {
                    ++wrong_results;
                }
                if (i % 50 == 0) {
                    FreeMessageMem();
                }
            }
        });
    }
    for (std::thread & thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong_results.load(), 0);
    EXPECT_EQ(tally.reports, thread_count * report_count);
    EXPECT_EQ(tally.broken, 0);
}

} // namespace

TEST_F(Report, ThreadsReachTheCallbackOneAtATimeWithTheirOwnTextsInEitherMode)
{
    report_from_many_threads();
    SetAllowRecursiveMessages(TRUE);
    report_from_many_threads();
}

namespace {

std::atomic<bool> callback_runs{false};
std::atomic<bool> callback_over{false};

short slow_callback(const char *)
{
    callback_runs = true;
    std::this_thread::sleep_for(std::chrono::milliseconds(50)); // longer than a fork that doesn't wait
    callback_over = true;
    return 0;
}

} // namespace

TEST_F(Report, ForkWaitsForTheReportOfAnotherThreadAndLeavesTheLockFree)
{
    callback_runs = false;
    callback_over = false;
    std::thread reporter([] { Message(slow_callback, "slow"); });
    while (!callback_runs) {
        std::this_thread::yield();
    }
    const pid_t child = fork();
    if (child == 0) {
        alarm(30); // a lock that isn't free ends the child, not the test run
        const bool waited = callback_over;
        const bool reported = Message([](const char *) -> short { return 5; }, "%1!d!", 1) == 5;
        // Not _exit: the thread sanitizer would miss the thread that only the parent can join.
        syscall(SYS_exit_group, waited && reported ? 0 : 1);
    }
    reporter.join();
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(Message(note, "parent"), -2);
}

TEST_F(Report, WithoutMemoryTheTemplateGoesOutBareAndLaterReportsRecover)
{
    if (support::SANITIZED) {
        GTEST_SKIP() << "sanitizers need the address space that this test takes away";
    }
    const pid_t child = fork();
    if (child == 0) {
        const std::string huge(size_t{64} << 20, 'x');
        const rlimit limit{size_t{160} << 20, size_t{160} << 20};
        bool good = setrlimit(RLIMIT_AS, &limit) == 0;
        good = Message(note, "template %1", huge.c_str()) == 0 && good;
        good = Message(note, "later %1!d!", 1) == -2 && good;
        good = good && seen.size() == 2 && seen[0].text == "template %1" && seen[1].text == "later 1";
        _exit(good ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}
