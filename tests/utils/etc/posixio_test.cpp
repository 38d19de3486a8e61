#include "utils/etc/posixio.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <functional>
#include <pthread.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <tuple>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "support/temporary_folder.h"

namespace {

TEST(CloseOnExec, OpenedFilesAreMarked)
{
    const TemporaryFolder folder;
    const std::string name = folder.write("a", "text");
    const int handle = _posix_open(name.c_str(), O_RDONLY, 0);
    ASSERT_GE(handle, 0);
    EXPECT_EQ(fcntl(handle, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(_posix_close(handle), 0);
    FILE * const file = _posix_fopen(name.c_str(), "r");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(fcntl(fileno(file), F_GETFD), FD_CLOEXEC);
    fclose(file);
}

// ---- Interrupted calls

std::atomic<int> interruptions{0};

void count_interruption(int)
{
    interruptions.fetch_add(1);
}

// Signals without SA_RESTART at one thread until the end of the scope, so that blocking calls fail with
// EINTR.
class SignalStorm {
public:
    explicit SignalStorm(pthread_t target) : _target(target)
    {
        struct sigaction action = {};
        action.sa_handler = count_interruption;
        sigaction(SIGUSR1, &action, &_before);
        interruptions = 0;
        _thread = std::thread([this] {
            while (!_over) {
                pthread_kill(_target, SIGUSR1);
                std::this_thread::yield();
            }
        });
    }
    ~SignalStorm()
    {
        _over = true;
        _thread.join();
        sigaction(SIGUSR1, &_before, nullptr);
    }
    SignalStorm(const SignalStorm &) = delete;
    SignalStorm & operator=(const SignalStorm &) = delete;

private:
    pthread_t _target;
    struct sigaction _before = {};
    std::atomic<bool> _over{false};
    std::thread _thread;
};

class PipeTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        interruptions = 0;
        ASSERT_EQ(pipe(_ends), 0);
    }
    void TearDown() override
    {
        for (const int end : _ends) {
            close(end);
        }
    }
    void drain()
    {
        char piece[4096];
        while (read(_ends[0], piece, sizeof(piece)) > 0) {
        }
    }
    void close_writer()
    {
        close(_ends[1]);
        _ends[1] = -1;
    }

    int _ends[2] = {-1, -1};
};

// A pipe holds 64 KiB, so both sides block again and again.
constexpr size_t STORM_SIZE = 1 << 20;

std::string long_text()
{
    std::string text(STORM_SIZE, '\0');
    for (size_t i = 0; i < text.size(); ++i) {
        text[i] = static_cast<char>(i * 31 + (i >> 8));
    }
    return text;
}

// The other side of the pipe holds still until the storm has begun, so that it meets a call that waits.
void await_interruption()
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (interruptions.load() == 0 && std::chrono::steady_clock::now() < end) {
        std::this_thread::yield();
    }
}

TEST_F(PipeTest, ReadUnderASignalStormLosesNothing)
{
    const std::string sent = long_text();
    std::string received(sent.size(), '\0');
    std::thread writer([&] {
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, SIGUSR1);
        pthread_sigmask(SIG_BLOCK, &set, nullptr);
        for (size_t done = 0; done < sent.size(); done += 4096) { // so that the reader waits in between
            EXPECT_EQ(write(_ends[1], sent.data() + done, 4096), 4096);
            await_interruption();
        }
        close_writer();
    });
    {
        const SignalStorm storm(pthread_self());
        EXPECT_EQ(_posix_read(_ends[0], received.data(), received.size()), static_cast<int>(sent.size()));
        EXPECT_EQ(_posix_read(_ends[0], received.data(), 0), 0);
    }
    drain(); // the writer gets through even if the read has stopped early
    writer.join();
    EXPECT_EQ(received, sent);
    EXPECT_GT(interruptions.load(), 0);
}

TEST_F(PipeTest, WriteUnderASignalStormLosesNothing)
{
    const std::string sent = long_text();
    std::string received;
    std::thread reader([&] {
        char piece[1000];
        await_interruption();
        for (ssize_t got = 1; got > 0 && received.size() < sent.size();) {
            got = read(_ends[0], piece, sizeof(piece));
            if (got > 0) {
                received.append(piece, static_cast<size_t>(got));
            }
            std::this_thread::yield();
        }
    });
    {
        const SignalStorm storm(pthread_self());
        EXPECT_EQ(_posix_write(_ends[1], sent.data(), sent.size()), static_cast<int>(sent.size()));
    }
    close_writer(); // the reader gets through even if the write has stopped early
    reader.join();
    EXPECT_EQ(received, sent);
    EXPECT_GT(interruptions.load(), 0);
}

TEST_F(PipeTest, ErrorBehindBytesThatCameIsAnError)
{
    ASSERT_EQ(fcntl(_ends[0], F_SETFL, O_NONBLOCK), 0);
    ASSERT_EQ(write(_ends[1], "abc", 3), 3);
    char buffer[10];
    EXPECT_EQ(_posix_read(_ends[0], buffer, sizeof(buffer)), -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(_posix_read(-1, nullptr, 0), 0) << "nothing to move calls nothing";
    EXPECT_EQ(_posix_write(-1, nullptr, 0), 0);
}

auto fields(const a_posix_statbuf & b)
{
    return std::tie(b.pst_dev, b.pst_ino, b.pst_mode, b.pst_uid, b.pst_gid, b.pst_size, b.pst_atime,
                    b.pst_mtime, b.pst_ctime);
}

TEST(FileLayer, StatFillsAllFieldsOrNone)
{
    const TemporaryFolder folder;
    const std::string name = folder.write("file", "12345");
    const struct utimbuf times = {1000, 2000};
    ASSERT_EQ(_posix_utime(name.c_str(), &times), 0);
    ASSERT_EQ(_posix_chmod(name.c_str(), 0640), 0);
    struct stat real = {};
    ASSERT_EQ(stat(name.c_str(), &real), 0);
    const a_posix_statbuf expected = {real.st_dev, real.st_ino, S_IFREG | 0640u, real.st_uid, real.st_gid, 5,
                                      1000,        2000,        real.st_ctime};
    a_posix_statbuf found = {};
    ASSERT_EQ(_posix_stat(name.c_str(), &found), 0);
    EXPECT_EQ(fields(found), fields(expected));
    const int handle = _posix_open(name.c_str(), O_RDONLY, 0);
    found = {};
    ASSERT_EQ(_posix_fstat(handle, &found), 0);
    EXPECT_EQ(fields(found), fields(expected));
    _posix_close(handle);
    EXPECT_EQ(_posix_stat(folder.path("none").c_str(), &found), -1);
    EXPECT_EQ(fields(found), fields(expected));
    ASSERT_EQ(symlink("file", folder.path("link").c_str()), 0);
    ASSERT_EQ(_posix_lstat(folder.path("link").c_str(), &found), 0);
    EXPECT_TRUE(S_ISLNK(found.pst_mode));
}

TEST(FileLayer, PositionSurvivesTheLengthAndPositionedCalls)
{
    const TemporaryFolder folder;
    const std::string name = folder.path("file");
    const int handle = _posix_open(name.c_str(), O_RDWR | O_CREAT, 0600);
    ASSERT_GE(handle, 0);
    EXPECT_EQ(_posix_write(handle, "0123456789", 10), 10);
    EXPECT_EQ(_posix_lseek(handle, 3, SEEK_SET), 3);
    EXPECT_EQ(_posix_filelength(handle), 10);
    char text[10];
    EXPECT_EQ(_posix_pread(handle, text, 2, 8), 2);
    EXPECT_EQ(_posix_pwrite(handle, "ab", 2, 12), 2);
    EXPECT_EQ(_posix_tell(handle), 3);
    EXPECT_EQ(_posix_read(handle, text + 2, 8), 8);
    EXPECT_EQ(std::string(text, 9), "893456789") << "a hole of zero bytes follows";
    const int64 far = int64{1} << 33; // beyond 32 bits
    EXPECT_EQ(_posix_ftruncate(handle, far), 0);
    EXPECT_EQ(_posix_filelength(handle), far);
    EXPECT_EQ(_posix_truncate(name.c_str(), 4), 0);
    EXPECT_EQ(_posix_filelength(handle), 4);
    EXPECT_EQ(_posix_close(handle), 0);
    EXPECT_EQ(_posix_filelength(-1), -1);
    EXPECT_EQ(errno, EBADF);
}

// ---- Locks, which are between processes

// Runs `body` in another process; the result is its verdict.
bool elsewhere(const std::function<bool()> & body)
{
    const pid_t child = fork();
    if (child == 0) {
        _exit(body() ? 0 : 1);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

struct a_share_case {
    int held_mode; // what this process has opened
    int held_share;
    int mode; // what another one tries
    int share;
    bool opens;
};

TEST(SharedOpen, LocksOfAnotherProcessCountAsTheFlagsTell)
{
    constexpr int read_lock = 0;
    const a_share_case cases[] = {
        {O_RDWR, 0, O_RDONLY, read_lock, false},
        {O_RDWR, 0, O_RDONLY, POSIX_SHARE_DENY_READ, false},
        {O_RDWR, 0, O_RDONLY, POSIX_SHARE_DENY_NONE, true},
        {O_RDWR, 0, O_RDWR, POSIX_SHARE_DENY_NONE, false},
        {O_RDONLY, read_lock, O_RDONLY, read_lock, true},
        {O_RDONLY, read_lock, O_RDWR, read_lock, false},
        {O_RDONLY, POSIX_SHARE_DENY_READ, O_RDWR, read_lock, true},
    };
    const TemporaryFolder folder;
    const std::string name = folder.write("file", "text");
    for (const a_share_case & row : cases) {
        SCOPED_TRACE(&row - cases);
        const int held = _posix_sopen(name.c_str(), row.held_mode, row.held_share, 0);
        ASSERT_GE(held, 0);
        EXPECT_EQ(fcntl(held, F_GETFD), FD_CLOEXEC);
        EXPECT_TRUE(elsewhere([&] {
            const int next = open("/dev/null", O_RDONLY);
            close(next);
            const int handle = _posix_sopen(name.c_str(), row.mode, row.share, 0);
            if (handle == -1) {
                const bool is_lock = errno == EAGAIN || errno == EACCES;
                return !row.opens && is_lock && open("/dev/null", O_RDONLY) == next; // closed again
            }
            return row.opens;
        }));
        _posix_close(held);
    }
    EXPECT_EQ(_posix_sopen(folder.path("none").c_str(), O_RDONLY, 0, 0), -1);
    EXPECT_EQ(errno, ENOENT);
}

} // namespace
