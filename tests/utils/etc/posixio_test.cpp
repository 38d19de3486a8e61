#include "utils/etc/posixio.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

TEST(CloseOnExec, DescriptorIsMarkedAndErrnoStays)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(fcntl(ends[0], F_GETFD), 0);
    errno = ENOENT;
    set_close_on_exec(ends[0]);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(fcntl(ends[0], F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fcntl(ends[1], F_GETFD), 0);
    close(ends[0]);
    close(ends[1]);
}

TEST(CloseOnExec, FailureToMarkDoesNotShow)
{
    errno = ENOENT;
    set_close_on_exec(-1);
    EXPECT_EQ(errno, ENOENT);
}

} // namespace
