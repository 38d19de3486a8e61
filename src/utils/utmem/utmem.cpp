#include "utils/utmem/utmem.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "utils/etc/utfatal.h"

namespace {

// Kept for a debugger or a core file; no code reads it.
std::atomic<a_bool> memory_given_up{FALSE};

// malloc and realloc in one, since realloc of null is malloc: `size` isn't 0.
void * resize_once(void * ptr, size_t size)
{
    return std::realloc(ptr, size);
}

void * resize(void * ptr, size_t size)
{
    void * block = resize_once(ptr, size);
    if (block == nullptr && ut_out_of_memory()) {
        block = resize_once(ptr, size);
    }
    return block;
}

} // namespace

void * ut_malloc(size_t size)
{
    return size == 0 ? nullptr : resize(nullptr, size);
}

void * ut_alloc(size_t size)
{
    void * block = ut_malloc(size);
    if (block == nullptr && size != 0) {
        ut_fatal("Out of memory (ut_alloc)");
    }
    return block;
}

void * ut_calloc(size_t size)
{
    void * block = ut_malloc(size);
    if (block != nullptr) {
        std::memset(block, 0, size);
    }
    return block;
}

void * ut_realloc(void * ptr, size_t size)
{
    if (ptr == nullptr) {
        return ut_malloc(size);
    }
    if (size == 0) {
        std::free(ptr);
        return nullptr;
    }
    void * block = resize(ptr, size);
    if (block == nullptr) {
        ut_fatal("Out of memory");
    }
    return block;
}

void * ut_memdup(void * old, size_t size)
{
    void * copy = old == nullptr ? nullptr : ut_malloc(size);
    if (copy != nullptr) {
        std::memcpy(copy, old, size);
    }
    return copy;
}

void ut_free(void * ptr)
{
    std::free(ptr);
}

void * uimalloc(size_t size)
{
    return ut_malloc(size);
}

void * uicalloc(size_t n, size_t size)
{
    size_t bytes = 0;
    return __builtin_mul_overflow(n, size, &bytes) ? nullptr : ut_calloc(bytes);
}

void * uirealloc(void * ptr, size_t size)
{
    return ut_realloc(ptr, size);
}

void uifree(void * ptr)
{
    ut_free(ptr);
}

void ut_start_trackmem() {}

void ut_stop_trackmem() {}

int ut_trackmem(const char *)
{
    return 0;
}

void utmem_abort()
{
    memory_given_up = TRUE;
}
