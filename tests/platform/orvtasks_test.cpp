#include "tasks/orvtasks.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <barrier>
#include <cerrno>
#include <set>
#include <thread>
#include <vector>

#ifdef NDEBUG
constexpr bool release_build = true;
#else
constexpr bool release_build = false;
#endif

TEST(Threads, IdentityIsTheSameOnOneThreadAndDiffersBetweenLivingThreads)
{
    constexpr size_t count = 8;
    std::array<p_os_thread, count> first{};
    std::array<p_os_thread, count> second{};
    std::barrier all_alive(count);
    {
        std::vector<std::jthread> threads;
        for (size_t i = 0; i < count; ++i) {
            threads.emplace_back([&, i] {
                first[i] = OS_Me();
                all_alive.arrive_and_wait();
                second[i] = OS_Me();
                all_alive.arrive_and_wait();
            });
        }
    }
    EXPECT_EQ(first, second);
    const std::set<p_os_thread> distinct(first.begin(), first.end());
    EXPECT_EQ(distinct.size(), count);
    EXPECT_EQ(distinct.count(nullptr), 0u);
}

TEST(Threads, ForkedThreadKeepsItsIdentity)
{
    const p_os_thread me = OS_Me();
    const pid_t child = fork();
    if (child == 0) {
        _exit(OS_Me() == me ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST(UseCount, FiniBeyondInitIsCaught)
{
    OS_Init();
    OS_Init();
    OS_Fini();
    OS_Fini();
    if (release_build) {
        OS_Fini(); // ignored, and the count doesn't wrap: the next pair is in step again
        OS_Init();
        OS_Fini();
    } else {
        EXPECT_DEATH(OS_Fini(), "OS_Fini without its OS_Init");
    }
}

TEST(CriticalSection, HasItsAttributesAndCanBeUnmadeTwice)
{
    pthread_mutexattr_t attr;
    ASSERT_EQ(pthread_mutexattr_init(&attr), 0);
    ASSERT_EQ(pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_ERRORCHECK), 0);
    a_critical_sect cs{reinterpret_cast<pthread_mutex_t *>(1)}; // what was there before isn't looked at
    ASSERT_EQ(ut_safe_pthread_mutex_init(&cs, &attr), 0);
    EXPECT_EQ(pthread_mutex_lock(cs.p_mutex), 0);
    EXPECT_EQ(pthread_mutex_lock(cs.p_mutex), EDEADLK);
    EXPECT_EQ(pthread_mutex_unlock(cs.p_mutex), 0);
    EXPECT_EQ(ut_safe_pthread_mutex_destroy(&cs), 0);
    EXPECT_EQ(cs.p_mutex, nullptr);
    EXPECT_EQ(ut_safe_pthread_mutex_destroy(&cs), 0);
    EXPECT_EQ(pthread_mutexattr_destroy(&attr), 0);
}

TEST(CriticalSection, UnmakingAHeldOneIsCaught)
{
    a_critical_sect cs{nullptr};
    ASSERT_EQ(ut_safe_pthread_mutex_init(&cs, nullptr), 0);
    ASSERT_EQ(pthread_mutex_lock(cs.p_mutex), 0);
    if (release_build) {
        EXPECT_EQ(ut_safe_pthread_mutex_destroy(&cs), EBUSY);
        EXPECT_NE(cs.p_mutex, nullptr); // whoever holds it can still give it back
    } else {
        EXPECT_DEATH((void)ut_safe_pthread_mutex_destroy(&cs), "unmade while it was held");
    }
    EXPECT_EQ(pthread_mutex_unlock(cs.p_mutex), 0);
    EXPECT_EQ(ut_safe_pthread_mutex_destroy(&cs), 0);
}
