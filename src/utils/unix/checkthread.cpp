#include "utils/unix/checkthread.h"

#include <atomic>

#include <pthread.h>

#include "utils/etc/utdll.h"

namespace {

std::atomic<a_bool> have_result = FALSE;
std::atomic<a_bool> fThreaded = FALSE;

} // namespace

// Two first calls at the same time find the same.
a_bool IsThreaded()
{
    if (!have_result.load(std::memory_order_acquire)) {
        using a_self_func = pthread_t (*)();
        const auto self = reinterpret_cast<a_self_func>(UTGetProcAddress(nullptr, "pthread_self"));
        fThreaded.store(self != nullptr && self() != 0, std::memory_order_relaxed);
        have_result.store(TRUE, std::memory_order_release);
    }
    return fThreaded.load(std::memory_order_relaxed);
}
