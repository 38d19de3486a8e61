#include "utils/unix/unixmmap.h"

#include <cerrno>
#include <fcntl.h>
#include <string_view>
#include <sys/mman.h>

#include <gtest/gtest.h>

#include "support/temporary_folder.h"
#include "utils/etc/posixio.h"

namespace {

TEST(FileMapping, FailureIsNullAndNotTheSystemsValue)
{
    const TemporaryFolder folder;
    const int handle = _posix_open(folder.write("file", "content").c_str(), O_RDONLY, 0);
    ASSERT_GE(handle, 0);
    void * const mapped = unix_mmap(nullptr, 7, PROT_READ, MAP_PRIVATE, handle, 0, nullptr);
    ASSERT_NE(mapped, nullptr);
    EXPECT_EQ(std::string_view(static_cast<char *>(mapped), 7), "content");
    EXPECT_EQ(unix_munmap(mapped, 7), 0);
    EXPECT_EQ(unix_mmap(nullptr, 0, PROT_READ, MAP_PRIVATE, handle, 0, nullptr), nullptr);
    EXPECT_EQ(errno, EINVAL);
    _posix_close(handle);
    EXPECT_EQ(unix_mmap(nullptr, 7, PROT_READ, MAP_PRIVATE, handle, 0, nullptr), nullptr);
    EXPECT_EQ(errno, EBADF);
}

} // namespace
