// Keeps SIGPIPE away from the host while the link writes to a connection that the peer may have closed. The
// link is a guest in the host's process: it may neither change the disposition of a signal nor set options
// that others see, so the signal is blocked on the calling thread for the length of an operation, and taken
// back where a write caused it.
//
// Cost: two system calls for each outermost guard, none for the guards inside it. Code that sends more than
// once takes a guard around all its sends. Code of the host that runs inside (a callback, the profile) gets
// its own mask back for that time by a SigpipeHostMask, at two system calls more.
//
// Threads: all state belongs to the calling thread. Guards are local variables and end in the opposite order.
// Failure: none; what is called here can't fail with the arguments given.
// Standard: POSIX.1-2008, pthread_sigmask, sigpending, sigtimedwait; a SIGPIPE of a write is sent to the
// writing thread.
#pragma once

#include <csignal>

#include "utils/etc/uttypes.h"

class SigpipeGuard {
public:
    SigpipeGuard();
    ~SigpipeGuard();
    SigpipeGuard(const SigpipeGuard &) = delete;
    SigpipeGuard & operator=(const SigpipeGuard &) = delete;

    // Takes back the signal of a write that has just failed with EPIPE, unless the host had one waiting
    // already: both are one then, and it stays the host's. Leaves errno alone. Call it on any guard of the
    // thread, before code of the host runs.
    void ConsumeSignal() const;

private:
    friend class SigpipeHostMask;

    void Block();
    void Restore() const;

    sigset_t _host_mask;        // of the outermost guard only: the thread's mask as the host had it
    bool _host_pending = false; // of the outermost guard only: a SIGPIPE of the host's own was waiting
};

// For the time that code of the host runs inside a guard: puts the host's own mask back, and blocks SIGPIPE
// again at its end, on top of whatever mask that code has left. Does nothing outside a guard.
class SigpipeHostMask {
public:
    SigpipeHostMask();
    ~SigpipeHostMask();
    SigpipeHostMask(const SigpipeHostMask &) = delete;
    SigpipeHostMask & operator=(const SigpipeHostMask &) = delete;

private:
    SigpipeGuard * _guard;
};

// The one way to the host's callback for fixed texts and trace lines. The callback's result means nothing
// here.
void pass_to_host(MSG_CALLBACK msgcb, const char * text);
