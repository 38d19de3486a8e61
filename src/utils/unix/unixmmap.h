// Mapping files into memory.
//
// Units: bytes. Ownership: the caller unmaps. Failure: null or -1, and errno; nothing is reported. Threads:
// any, there is no state.
#pragma once

#include <cstddef>
#include <sys/types.h>

// As mmap, with null in place of MAP_FAILED. `path` names the file for systems that want it; here it has no
// effect and may be null.
[[nodiscard]] void * unix_mmap(void * addr, size_t len, int prot, int flags, int fildes, off_t off,
                               char * path);

// As munmap.
int unix_munmap(void * addr, size_t len);
