#include "utils/unix/unixmmap.h"

#include <sys/mman.h>

void * unix_mmap(void * addr, size_t len, int prot, int flags, int fildes, off_t off, char *)
{
    void * const mapped = mmap(addr, len, prot, flags, fildes, off);
    return mapped == MAP_FAILED ? nullptr : mapped;
}

int unix_munmap(void * addr, size_t len)
{
    return munmap(addr, len);
}
