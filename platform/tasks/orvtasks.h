// The thread library that every library of the agent's process shares: start and end of its use, the identity
// of a thread, and the making and unmaking of the mutex behind a critical section.
//
// Threads: all operations may be called from any thread at any time; making and unmaking one critical section
// belongs to one thread. Failure: none of them throws; making a mutex without memory leaves a critical
// section whose p_mutex is null. A debug build (NDEBUG not set) stops the program where a caller breaks the
// rules told here.
#pragma once

#include <pthread.h>

#include "utils/etc/thread_annotations.h"

#define ORVTASKS_EXPORT __attribute__((visibility("default")))

// What OS_Me gives: an opaque identity. Two calls on one thread give the same pointer for as long as the
// thread lives, calls on two living threads give different ones, and it is never null. An identity may come
// back on a new thread once its old thread has ended. The thread that a fork leaves in the child keeps its
// identity.
struct an_os_thread;
using p_os_thread = an_os_thread *;

// A lock. `p_mutex` is owned by the critical section, from ut_safe_pthread_mutex_init until
// ut_safe_pthread_mutex_destroy; pthread_mutex_lock and pthread_mutex_unlock work on it directly.
struct ORV_CAPABILITY("critical section") a_critical_sect {
    pthread_mutex_t * p_mutex;
};

extern "C" {

// Counted: the n-th OS_Fini that matches the n-th OS_Init ends the use of the library. An OS_Fini without its
// OS_Init stops the program in a debug build, with a line on standard error, and is ignored otherwise.
ORVTASKS_EXPORT void OS_Init();
ORVTASKS_EXPORT void OS_Fini();

// The calling thread.
ORVTASKS_EXPORT p_os_thread OS_Me();

// Makes the mutex of `cs` with the attributes of `attr`, or default ones for null. What `cs` held before
// isn't looked at. Result 0, or the error number (ENOMEM and what pthread_mutex_init gives), with p_mutex
// null.
ORVTASKS_EXPORT int ut_safe_pthread_mutex_init(a_critical_sect * cs, const pthread_mutexattr_t * attr);

// Unmakes the mutex and sets p_mutex to null. A mutex that is still held stops the program in a debug build,
// with a line on standard error; otherwise it is left in place and EBUSY is the result. A null p_mutex gives
// 0.
ORVTASKS_EXPORT int ut_safe_pthread_mutex_destroy(a_critical_sect * cs);
}
