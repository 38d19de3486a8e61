#include "remote/sigpipe.h"

#include <cerrno>
#include <ctime>

// The thread's outermost guard, or null. Initial-exec storage needs no allocation on a thread's first use of
// it, which couldn't fail other than by ending the process.
[[gnu::tls_model("initial-exec")]] static thread_local SigpipeGuard * outermost_guard = nullptr;

static sigset_t only_sigpipe()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    return set;
}

SigpipeGuard::SigpipeGuard()
{
    if (outermost_guard != nullptr) {
        return;
    }
    Block();
    outermost_guard = this;
}

SigpipeGuard::~SigpipeGuard()
{
    if (outermost_guard != this) {
        return;
    }
    outermost_guard = nullptr;
    Restore();
}

void SigpipeGuard::Block()
{
    const sigset_t set = only_sigpipe();
    pthread_sigmask(SIG_BLOCK, &set, &_host_mask);
    // Only a blocked signal can wait, so the common case needs no third call.
    _host_pending = false;
    if (sigismember(&_host_mask, SIGPIPE) == 1) {
        sigset_t pending;
        sigpending(&pending);
        _host_pending = sigismember(&pending, SIGPIPE) == 1;
    }
}

void SigpipeGuard::Restore() const
{
    pthread_sigmask(SIG_SETMASK, &_host_mask, nullptr);
}

void SigpipeGuard::ConsumeSignal() const
{
    if (outermost_guard->_host_pending) {
        return;
    }
    const int saved_errno = errno;
    const sigset_t set = only_sigpipe();
    const timespec no_wait = {0, 0};
    while (sigtimedwait(&set, nullptr, &no_wait) < 0 && errno == EINTR) {
    }
    errno = saved_errno;
}

SigpipeHostMask::SigpipeHostMask() : _guard(outermost_guard)
{
    if (_guard == nullptr) {
        return;
    }
    // A guard that the host's code comes to need, in another operation of the library, is an outermost one
    // again.
    outermost_guard = nullptr;
    _guard->Restore();
}

SigpipeHostMask::~SigpipeHostMask()
{
    if (_guard == nullptr) {
        return;
    }
    _guard->Block();
    outermost_guard = _guard;
}

void pass_to_host(MSG_CALLBACK msgcb, const char * text)
{
    const SigpipeHostMask mask;
    (void)msgcb(text); // the host's result says nothing to this layer
}
