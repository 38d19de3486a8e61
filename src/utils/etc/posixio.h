// The file layer: POSIX calls that survive interrupts and keep descriptors out of child processes.
//
// Results are those of the call of the same name, -1 or null and errno included, unless told otherwise. Calls
// told as retried clear errno before each try and are made again as long as they fail with EINTR. File
// offsets have 64 bits.
//
// Units: bytes. Ownership: the caller closes what it opens. Failure: see above; nothing is reported. Threads:
// any, there is no state.
#pragma once

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <sys/types.h>
#include <utime.h>

#include "utils/etc/uttypes.h"

using a_ptrint = std::intptr_t; // an integer that holds a pointer

// What is known of a file, the same on every system. Times are whole seconds.
struct a_posix_statbuf {
    uint64 pst_dev;
    uint64 pst_ino;
    uint32 pst_mode;
    uint32 pst_uid;
    uint32 pst_gid;
    uint64 pst_size;
    time_t pst_atime;
    time_t pst_mtime;
    time_t pst_ctime;
};
static_assert(sizeof(a_posix_statbuf) == 64);

// Marks `handle` close-on-exec, again after EINTR. A failure is ignored and errno stays as it was: a
// descriptor that can't be marked still serves. Between opening and marking, a fork on another thread can
// pass the descriptor on.
void set_close_on_exec(int handle);

// Retried; the descriptor is close-on-exec.
[[nodiscard]] int _posix_open(const char * fname, int open_mode, int create_flags);
[[nodiscard]] FILE * _posix_fopen(const char * path, const char * mode);

// The values of _posix_sopen's share_flags that have a meaning of their own.
enum {
    POSIX_SHARE_DENY_READ = 48, // look for a writer's lock, take none
    POSIX_SHARE_DENY_NONE = 64  // neither look nor take
};

// Opens as _posix_open, then locks the whole file, advisory and without waiting: for writing if open_mode
// allows that, otherwise as share_flags tell, and for reading with any other value. A conflicting lock that
// is only looked for gives -1 with EAGAIN. Where locking fails the file is closed and errno is that of the
// lock. Locks of a file go when the process closes any of its descriptors of it.
[[nodiscard]] int _posix_sopen(const char * fname, int open_mode, int share_flags, int create_flags);

// As creat, retried. The descriptor is passed on to child processes.
[[nodiscard]] int _posix_creat(const char * path, int mode);

// Read or write all of `count` bytes, retried, in as many calls as it takes. The result is their number, less
// than `count` only at the end of the file. -1: an error, though bytes may have moved before. A `count` of 0
// calls nothing. Of a `count` beyond INT_MAX, which the result can't tell, the first INT_MAX bytes count.
[[nodiscard]] int _posix_read(int handle, void * buffer, size_t count);
[[nodiscard]] int _posix_write(int handle, const void * buffer, size_t count);

// One call each, retried: a short count means nothing.
[[nodiscard]] ssize_t _posix_pread(int handle, void * buf, size_t nbytes, int64 pos);
[[nodiscard]] ssize_t _posix_pwrite(int handle, const void * buf, size_t nbytes, int64 pos);

// Retried.
int _posix_close(int handle);
int _posix_unlink(const char * path);
[[nodiscard]] int _posix_rename(const char * from, const char * to);
[[nodiscard]] int _posix_mkdir(const char * path, int mode);
[[nodiscard]] int _posix_access(const char * path, int mode);
[[nodiscard]] int _posix_chdir(const char * path);
[[nodiscard]] int _posix_chmod(const char * path, int mode);
[[nodiscard]] int _posix_utime(const char * path, const struct utimbuf * times);
[[nodiscard]] int _posix_truncate(const char * path, int64 length);
[[nodiscard]] int _posix_ftruncate(int handle, int64 length);
[[nodiscard]] int _posix_lockf(int handle, int cmd, int64 length);
[[nodiscard]] int _posix_fdatasync(int handle);

// Retried. After failure *buf is as it was.
[[nodiscard]] int _posix_stat(const char * fname, a_posix_statbuf * buf);
[[nodiscard]] int _posix_lstat(const char * fname, a_posix_statbuf * buf);
[[nodiscard]] int _posix_fstat(int handle, a_posix_statbuf * buf);

// Not retried.
int64 _posix_lseek(int handle, int64 offset, int whence);
[[nodiscard]] int _posix_fsync(int handle);
int _posix_umask(int mask);

// The length of an open file, whose position stays. -1 if it has none.
[[nodiscard]] int64 _posix_filelength(int handle);
[[nodiscard]] int64 _posix_tell(int handle);

a_bool _posix_64bit_io_available();
// The system's own handle: the descriptor itself.
a_ptrint _posix_os_handle(int handle);

// Nothing to do on this system.
void _posix_io_init();
void _posix_io_fini();
