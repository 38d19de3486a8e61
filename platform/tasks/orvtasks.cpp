#include "tasks/orvtasks.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <new>

namespace {

#ifdef NDEBUG
constexpr bool checking = false;
#else
constexpr bool checking = true;
#endif

constinit pthread_mutex_t use_lock = PTHREAD_MUTEX_INITIALIZER;
constinit unsigned use_count = 0; // guarded by use_lock

// A broken rule of a caller: goes on in a release build, where the callers' own care is all there is.
void broken_rule(const char * what)
{
    if (checking) {
        (void)std::fprintf(stderr, "orvtasks: %s\n", what); // nothing better to do than to stop anyway
        std::abort();
    }
}

} // namespace

struct an_os_thread {
    char unused;
};

extern "C" {

void OS_Init()
{
    pthread_mutex_lock(&use_lock);
    ++use_count;
    pthread_mutex_unlock(&use_lock);
}

void OS_Fini()
{
    pthread_mutex_lock(&use_lock);
    const bool in_use = use_count != 0;
    if (in_use) {
        --use_count;
    }
    pthread_mutex_unlock(&use_lock);
    if (!in_use) {
        broken_rule("OS_Fini without its OS_Init");
    }
}

p_os_thread OS_Me()
{
    // The address of a variable that each thread has for itself: nothing to make, to register or to free.
    static thread_local constinit an_os_thread me{0};
    return &me;
}

int ut_safe_pthread_mutex_init(a_critical_sect * cs, const pthread_mutexattr_t * attr)
{
    cs->p_mutex = nullptr;
    auto * mutex = new (std::nothrow) pthread_mutex_t;
    if (mutex == nullptr) {
        return ENOMEM;
    }
    // Never error-checking by itself: such a mutex can't be unlocked in the child of a fork, whose thread has
    // another id than the one that locked it.
    const int result = pthread_mutex_init(mutex, attr);
    if (result != 0) {
        delete mutex;
        return result;
    }
    cs->p_mutex = mutex;
    return 0;
}

int ut_safe_pthread_mutex_destroy(a_critical_sect * cs)
{
    if (cs->p_mutex == nullptr) {
        return 0;
    }
    // POSIX leaves destroying a held mutex undefined, so it is tried first. The try also makes this thread
    // wait for nobody: a critical section is unmade when no one else uses it any more.
    if (pthread_mutex_trylock(cs->p_mutex) != 0) {
        broken_rule("a critical section was unmade while it was held");
        return EBUSY;
    }
    pthread_mutex_unlock(cs->p_mutex);
    const int result = pthread_mutex_destroy(cs->p_mutex);
    if (result == 0) {
        delete cs->p_mutex;
        cs->p_mutex = nullptr;
    }
    return result;
}
}
