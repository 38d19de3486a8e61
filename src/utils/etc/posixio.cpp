#include "utils/etc/posixio.h"

#include <cerrno>
#include <fcntl.h>

void set_close_on_exec(int handle)
{
    const int saved_errno = errno;
    int result;
    do {
        errno = 0;
        result = fcntl(handle, F_SETFD, FD_CLOEXEC);
    } while (result == -1 && errno == EINTR);
    errno = saved_errno;
}
