// Holding a critical section for the length of a block.
//
// A critical section whose mutex couldn't be made (no memory while the library was loaded) guards nothing;
// the guard then does nothing, so that a process short of memory still gets its reports. No failure is
// reported.
#pragma once

#include "tasks/orvtasks.h"
#include "utils/etc/thread_annotations.h"

inline void lock_critical_sect(const a_critical_sect & cs) ORV_ACQUIRE(cs) ORV_NO_LOCK_ANALYSIS
{
    if (cs.p_mutex != nullptr) {
        pthread_mutex_lock(cs.p_mutex);
    }
}

inline void unlock_critical_sect(const a_critical_sect & cs) ORV_RELEASE(cs) ORV_NO_LOCK_ANALYSIS
{
    if (cs.p_mutex != nullptr) {
        pthread_mutex_unlock(cs.p_mutex);
    }
}

// A critical section that an object owns from its construction to its destruction.
struct ORV_CAPABILITY("critical section") a_critical_sect_mutex : a_critical_sect {
    a_critical_sect_mutex() : a_critical_sect()
    {
        (void)ut_safe_pthread_mutex_init(this, nullptr);
    }                                                                       // see above
    ~a_critical_sect_mutex() { (void)ut_safe_pthread_mutex_destroy(this); } // held by nobody any more
    a_critical_sect_mutex(const a_critical_sect_mutex &) = delete;
    a_critical_sect_mutex & operator=(const a_critical_sect_mutex &) = delete;
};

class ORV_SCOPED_CAPABILITY CritSectGuard {
public:
    explicit CritSectGuard(const a_critical_sect & cs) ORV_ACQUIRE(cs) : _cs(cs) { lock_critical_sect(cs); }
    ~CritSectGuard() ORV_RELEASE() { unlock_critical_sect(_cs); }
    CritSectGuard(const CritSectGuard &) = delete;
    CritSectGuard & operator=(const CritSectGuard &) = delete;

private:
    const a_critical_sect & _cs;
};
