#include "utils/utmem/utmem.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <sys/resource.h>

#include <gtest/gtest.h>

// A sanitizer's allocator ends the program for a size that no machine has, unless told to fail as malloc
// does. Its runtime is a library that looks these functions up, hence their visibility.
extern "C" __attribute__((visibility("default"))) const char * __asan_default_options()
{
    return "allocator_may_return_null=1";
}
extern "C" __attribute__((visibility("default"))) const char * __tsan_default_options()
{
    return "allocator_may_return_null=1";
}

namespace {

struct a_hook {
    int calls = 0;
    void (*make_room)() = nullptr; // null: there is no memory to free
} hook;

} // namespace

// The test program's own hook, in place of the library's.
a_bool ut_out_of_memory()
{
    ++hook.calls;
    if (hook.make_room == nullptr) {
        return FALSE;
    }
    hook.make_room();
    return TRUE;
}

namespace {

volatile size_t impossible = SIZE_MAX / 2;
constexpr size_t LARGE = size_t{256} << 20; // more than the allocator keeps at hand

rlimit saved_limit;

// Lets the process have no further address space, until the hook gives it back.
void take_address_space()
{
    ASSERT_EQ(getrlimit(RLIMIT_AS, &saved_limit), 0);
    rlimit none = saved_limit;
    none.rlim_cur = 1;
    ASSERT_EQ(setrlimit(RLIMIT_AS, &none), 0);
}

void give_address_space()
{
    setrlimit(RLIMIT_AS, &saved_limit);
}

class AllocationTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        hook = {};
        testing::internal::CaptureStdout();
    }
    void TearDown() override
    {
        if (!_taken) {
            EXPECT_EQ(report(), "");
        }
    }
    std::string report()
    {
        _taken = true;
        return testing::internal::GetCapturedStdout();
    }

private:
    bool _taken = false;
};

TEST_F(AllocationTest, SizeZeroIsNoFailure)
{
    char text[] = "x";
    EXPECT_EQ(ut_malloc(0), nullptr);
    EXPECT_EQ(ut_alloc(0), nullptr);
    EXPECT_EQ(ut_calloc(0), nullptr);
    EXPECT_EQ(ut_realloc(nullptr, 0), nullptr);
    EXPECT_EQ(ut_memdup(text, 0), nullptr);
    EXPECT_EQ(uimalloc(0), nullptr);
    EXPECT_EQ(uicalloc(0, 8), nullptr);
    EXPECT_EQ(uicalloc(8, 0), nullptr);
    EXPECT_EQ(uirealloc(nullptr, 0), nullptr);
    ut_free(nullptr);
    uifree(nullptr);
    EXPECT_EQ(hook.calls, 0);
}

TEST_F(AllocationTest, OnlyTheAllocatorForCallersThatCantGoOnReports)
{
    char text[] = "x";
    EXPECT_EQ(ut_malloc(impossible), nullptr);
    EXPECT_EQ(ut_calloc(impossible), nullptr);
    EXPECT_EQ(ut_realloc(nullptr, impossible), nullptr);
    EXPECT_EQ(ut_memdup(text, impossible), nullptr);
    EXPECT_EQ(uimalloc(impossible), nullptr);
    EXPECT_EQ(uicalloc(impossible, 1), nullptr);
    EXPECT_EQ(uirealloc(nullptr, impossible), nullptr);
    EXPECT_EQ(hook.calls, 7) << "each failure asks the hook once";
    EXPECT_EQ(ut_alloc(impossible), nullptr);
    EXPECT_EQ(report(), "Out of memory (ut_alloc)\n");
}

TEST_F(AllocationTest, BlockThatCantGrowStaysValidAndIsReported)
{
    char * block = static_cast<char *>(ut_alloc(4));
    ASSERT_NE(block, nullptr);
    std::memcpy(block, "abc", 4);
    EXPECT_EQ(ut_realloc(block, impossible), nullptr);
    EXPECT_STREQ(block, "abc");
    EXPECT_EQ(hook.calls, 1);
    block = static_cast<char *>(ut_realloc(block, 5000));
    ASSERT_NE(block, nullptr);
    EXPECT_STREQ(block, "abc");
    EXPECT_EQ(ut_realloc(block, 0), nullptr); // a leak if it doesn't free
    EXPECT_EQ(report(), "Out of memory\n");
}

TEST_F(AllocationTest, AllocationIsTriedAgainWhenTheHookHasFreedMemory)
{
    hook.make_room = give_address_space;
    take_address_space();
    void * block = ut_malloc(LARGE);
    EXPECT_EQ(hook.calls, 1);
    ASSERT_NE(block, nullptr);
    take_address_space();
    block = ut_realloc(block, 2 * LARGE);
    EXPECT_EQ(hook.calls, 2);
    EXPECT_NE(block, nullptr);
    ut_free(block);
}

TEST_F(AllocationTest, CountTimesSizeBeyondTheAddressSpaceIsNotASmallBlock)
{
    volatile size_t half = (SIZE_MAX >> 1) + 2;
    EXPECT_EQ(uicalloc(half, 2), nullptr);
    EXPECT_EQ(uicalloc(2, half), nullptr);
}

TEST_F(AllocationTest, ZeroedMeansEveryByteAndACopyIsASeparateBlock)
{
    constexpr size_t size = 3 * 37;
    for (const bool counted : {false, true}) {
        ut_free(std::memset(ut_malloc(size), 0xAA, size)); // so that the next block has something to clear
        a_byte * block = static_cast<a_byte *>(counted ? uicalloc(3, 37) : ut_calloc(size));
        ASSERT_NE(block, nullptr);
        EXPECT_TRUE(std::all_of(block, block + size, [](a_byte b) { return b == 0; }));
        ut_free(block);
    }
    char text[] = "abc";
    char * copy = static_cast<char *>(ut_memdup(text, sizeof(text)));
    ASSERT_NE(copy, nullptr);
    text[0] = 'x';
    EXPECT_STREQ(copy, "abc");
    ut_free(copy);
    EXPECT_EQ(ut_memdup(nullptr, 3), nullptr);
}

} // namespace
