#include "utils/etc/posixio.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

static_assert(sizeof(off_t) == sizeof(int64), "file offsets have 64 bits");

namespace {

bool has_failed(int result)
{
    return result == -1;
}

bool has_failed(ssize_t result)
{
    return result == -1;
}

bool has_failed(const FILE * result)
{
    return result == nullptr;
}

// Makes the call until it isn't interrupted.
template<typename Call> auto retried(Call && call)
{
    for (;;) {
        errno = 0;
        const auto result = call();
        if (!has_failed(result) || errno != EINTR) {
            return result;
        }
    }
}

// Ends and begins the change of errno by clean-up.
class ErrnoKeeper {
public:
    ErrnoKeeper() : _saved(errno) {}
    ~ErrnoKeeper() { errno = _saved; }
    ErrnoKeeper(const ErrnoKeeper &) = delete;
    ErrnoKeeper & operator=(const ErrnoKeeper &) = delete;

private:
    int _saved;
};

// Moves `count` bytes by calls of `move(done, rest)`.
template<typename Move> int move_all(size_t count, Move && move)
{
    const size_t wanted = std::min<size_t>(count, INT_MAX);
    size_t done = 0;
    while (done < wanted) {
        const ssize_t moved = retried([&] { return move(done, wanted - done); });
        if (moved < 0) {
            return -1;
        }
        if (moved == 0) {
            break;
        }
        done += static_cast<size_t>(moved);
    }
    return static_cast<int>(done);
}

template<typename Stat> int fill_statbuf(a_posix_statbuf * buf, Stat && call)
{
    struct stat found = {};
    const int result = retried([&] { return call(&found); });
    if (result == 0) {
        buf->pst_dev = found.st_dev;
        buf->pst_ino = found.st_ino;
        buf->pst_mode = found.st_mode;
        buf->pst_uid = found.st_uid;
        buf->pst_gid = found.st_gid;
        buf->pst_size = static_cast<uint64>(found.st_size);
        buf->pst_atime = found.st_atime;
        buf->pst_mtime = found.st_mtime;
        buf->pst_ctime = found.st_ctime;
    }
    return result;
}

// A lock of the whole file, to its end wherever that moves.
struct flock whole_file(short type)
{
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    return lock;
}

int take_lock(int handle, short type)
{
    struct flock lock = whole_file(type);
    return retried([&] { return fcntl(handle, F_SETLK, &lock); });
}

// Does another process hold a lock against reading?
int look_for_lock(int handle)
{
    struct flock lock = whole_file(F_RDLCK);
    const int result = retried([&] { return fcntl(handle, F_GETLK, &lock); });
    if (result == 0 && lock.l_type != F_UNLCK) {
        errno = EAGAIN;
        return -1;
    }
    return result;
}

int lock_for_sharing(int handle, int open_mode, int share_flags)
{
    if ((open_mode & O_ACCMODE) != O_RDONLY) {
        return take_lock(handle, F_WRLCK);
    }
    switch (share_flags) {
    case POSIX_SHARE_DENY_NONE:
        return 0;
    case POSIX_SHARE_DENY_READ:
        return look_for_lock(handle);
    default:
        return take_lock(handle, F_RDLCK);
    }
}

} // namespace

void set_close_on_exec(int handle)
{
    const ErrnoKeeper keep;
    (void)retried([&] { return fcntl(handle, F_SETFD, FD_CLOEXEC); }); // unmarked it still serves
}

int _posix_open(const char * fname, int open_mode, int create_flags)
{
    const int handle = retried([&] { return open(fname, open_mode, create_flags); });
    if (handle != -1) {
        set_close_on_exec(handle);
    }
    return handle;
}

FILE * _posix_fopen(const char * path, const char * mode)
{
    FILE * const file = retried([&] { return fopen(path, mode); });
    if (file != nullptr) {
        set_close_on_exec(fileno(file));
    }
    return file;
}

int _posix_sopen(const char * fname, int open_mode, int share_flags, int create_flags)
{
    const int handle = _posix_open(fname, open_mode, create_flags);
    if (handle != -1 && lock_for_sharing(handle, open_mode, share_flags) == -1) {
        const ErrnoKeeper keep;
        (void)_posix_close(handle); // why locking failed is what the caller learns
        return -1;
    }
    return handle;
}

int _posix_creat(const char * path, int mode)
{
    return retried([&] { return creat(path, static_cast<mode_t>(mode)); });
}

int _posix_read(int handle, void * buffer, size_t count)
{
    char * const dest = static_cast<char *>(buffer);
    return move_all(count, [&](size_t done, size_t rest) { return read(handle, dest + done, rest); });
}

int _posix_write(int handle, const void * buffer, size_t count)
{
    const char * const src = static_cast<const char *>(buffer);
    return move_all(count, [&](size_t done, size_t rest) { return write(handle, src + done, rest); });
}

ssize_t _posix_pread(int handle, void * buf, size_t nbytes, int64 pos)
{
    return retried([&] { return pread(handle, buf, nbytes, pos); });
}

ssize_t _posix_pwrite(int handle, const void * buf, size_t nbytes, int64 pos)
{
    return retried([&] { return pwrite(handle, buf, nbytes, pos); });
}

// Linux has closed the descriptor even where it says EINTR; the try behind that then says EBADF.
int _posix_close(int handle)
{
    return retried([&] { return close(handle); });
}

int _posix_unlink(const char * path)
{
    return retried([&] { return unlink(path); });
}

int _posix_rename(const char * from, const char * to)
{
    return retried([&] { return rename(from, to); });
}

int _posix_mkdir(const char * path, int mode)
{
    return retried([&] { return mkdir(path, static_cast<mode_t>(mode)); });
}

int _posix_access(const char * path, int mode)
{
    return retried([&] { return access(path, mode); });
}

int _posix_chdir(const char * path)
{
    return retried([&] { return chdir(path); });
}

int _posix_chmod(const char * path, int mode)
{
    return retried([&] { return chmod(path, static_cast<mode_t>(mode)); });
}

int _posix_utime(const char * path, const struct utimbuf * times)
{
    return retried([&] { return utime(path, times); });
}

int _posix_truncate(const char * path, int64 length)
{
    return retried([&] { return truncate(path, length); });
}

int _posix_ftruncate(int handle, int64 length)
{
    return retried([&] { return ftruncate(handle, length); });
}

int _posix_lockf(int handle, int cmd, int64 length)
{
    return retried([&] { return lockf(handle, cmd, length); });
}

int _posix_fdatasync(int handle)
{
    return retried([&] { return fdatasync(handle); });
}

int _posix_stat(const char * fname, a_posix_statbuf * buf)
{
    return fill_statbuf(buf, [&](struct stat * found) { return stat(fname, found); });
}

int _posix_lstat(const char * fname, a_posix_statbuf * buf)
{
    return fill_statbuf(buf, [&](struct stat * found) { return lstat(fname, found); });
}

int _posix_fstat(int handle, a_posix_statbuf * buf)
{
    return fill_statbuf(buf, [&](struct stat * found) { return fstat(handle, found); });
}

int64 _posix_lseek(int handle, int64 offset, int whence)
{
    return lseek(handle, offset, whence);
}

int _posix_fsync(int handle)
{
    return fsync(handle);
}

int _posix_umask(int mask)
{
    return static_cast<int>(umask(static_cast<mode_t>(mask)));
}

int64 _posix_filelength(int handle)
{
    const int64 position = _posix_tell(handle);
    if (position == -1) {
        return -1;
    }
    const int64 length = _posix_lseek(handle, 0, SEEK_END);
    (void)_posix_lseek(handle, position, SEEK_SET); // where it already has been
    return length;
}

int64 _posix_tell(int handle)
{
    return _posix_lseek(handle, 0, SEEK_CUR);
}

a_bool _posix_64bit_io_available()
{
    return TRUE;
}

a_ptrint _posix_os_handle(int handle)
{
    return handle;
}

void _posix_io_init() {}

void _posix_io_fini() {}
