#include "remote/sigpipe.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "mailserver/server.h"
#include "remote/socks.h"

namespace {

std::atomic<int> mask_calls = 0;

} // namespace

// Counts the calls of the whole program on their way to the system.
extern "C" int pthread_sigmask(int how, const sigset_t * set, sigset_t * old) noexcept
{
    using function = int(int, const sigset_t *, sigset_t *);
    static auto * const next = reinterpret_cast<function *>(dlsym(RTLD_NEXT, "pthread_sigmask"));
    ++mask_calls;
    return next(how, set, old);
}

namespace {

std::vector<std::string> reports;
bool blocked_in_callback = false;
void (*in_callback)() = nullptr;

bool is_blocked(int signal)
{
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    return sigismember(&mask, signal) == 1;
}

bool is_pending()
{
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
}

void set_blocked(int how, int signal)
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signal);
    pthread_sigmask(how, &set, nullptr);
}

short report(const char * text)
{
    reports.emplace_back(text);
    blocked_in_callback = is_blocked(SIGPIPE);
    if (in_callback != nullptr) {
        in_callback();
    }
    return 0;
}

volatile sig_atomic_t handled = 0;

void count_signal(int)
{
    handled = handled + 1;
}

// The host's state that no operation may change: SIGPIPE's disposition and the thread's mask. Puts SIGPIPE
// back to how the test program had it.
class host_state {
public:
    explicit host_state(void (*handler)(int))
    {
        reports.clear();
        handled = 0;
        in_callback = nullptr;
        blocked_in_callback = false;
        sigaction(SIGPIPE, nullptr, &_program);
        struct sigaction action = {};
        action.sa_handler = handler;
        sigaction(SIGPIPE, &action, nullptr);
    }
    ~host_state()
    {
        struct sigaction ignore = {};
        ignore.sa_handler = SIG_IGN;
        sigaction(SIGPIPE, &ignore, nullptr); // discards one that waits
        set_blocked(SIG_UNBLOCK, SIGPIPE);
        sigaction(SIGPIPE, &_program, nullptr);
    }
    host_state(const host_state &) = delete;
    host_state & operator=(const host_state &) = delete;

    static void (*handler())(int)
    {
        struct sigaction action = {};
        sigaction(SIGPIPE, nullptr, &action);
        return action.sa_handler;
    }

private:
    struct sigaction _program = {};
};

// An open socket to a loopback peer that has closed, so that the next send ends with EPIPE.
class broken_connection {
public:
    broken_connection()
    {
        mailserver::Server server({}, std::make_shared<mailserver::MemoryStore>());
        server.start();
        info = socket_startup(report, FALSE);
        sock = SocketInit(info, "127.0.0.1");
        uint16 port = server.smtp_port();
        EXPECT_EQ(SocketOpen(sock, nullptr, &port, FALSE), TRUE);
        server.stop();
        // The first bytes make the peer's system refuse the connection; from then on nothing can be sent.
        for (int i = 0; i < 1000 && ::send(sock->sock, "x", 1, MSG_NOSIGNAL) > 0; ++i) {
            usleep(1000);
        }
        EXPECT_LT(::send(sock->sock, "x", 1, MSG_NOSIGNAL), 0);
    }
    ~broken_connection()
    {
        SocketClose(sock);
        SocketFini(sock);
        socket_cleanup(info);
    }
    broken_connection(const broken_connection &) = delete;
    broken_connection & operator=(const broken_connection &) = delete;

    void send_fails() const
    {
        reports.clear();
        EXPECT_EQ(SocketSend(sock, "QUIT\r\n", 6), FALSE);
        EXPECT_EQ(reports, std::vector<std::string>{"Error: Broken pipe."});
    }

    a_sock_info * info;
    a_sock * sock;
};

TEST(Sigpipe, ClosedPeerIsAReportAndNoSignalWhateverTheHostDoesWithSignals)
{
    const broken_connection connection;
    for (void (*handler)(int) : {SIG_DFL, SIG_IGN, &count_signal}) {
        for (const bool blocked : {false, true}) {
            const host_state host(handler);
            set_blocked(blocked ? SIG_BLOCK : SIG_UNBLOCK, SIGPIPE);
            connection.send_fails();
            EXPECT_EQ(blocked_in_callback, blocked);
            EXPECT_EQ(is_blocked(SIGPIPE), blocked);
            EXPECT_FALSE(is_pending());
            EXPECT_EQ(host_state::handler(), handler);
            EXPECT_EQ(handled, 0);
        }
    }
}

TEST(Sigpipe, SignalThatTheHostHasWaitingStaysTheHosts)
{
    const broken_connection connection;
    const host_state host(count_signal);
    set_blocked(SIG_BLOCK, SIGPIPE);
    pthread_kill(pthread_self(), SIGPIPE);
    ASSERT_TRUE(is_pending());
    connection.send_fails();
    EXPECT_TRUE(is_pending());
    EXPECT_EQ(handled, 0);
    set_blocked(SIG_UNBLOCK, SIGPIPE);
    EXPECT_EQ(handled, 1);
}

TEST(Sigpipe, OperationWithAGuardCostsTwoCallsForAllItsSends)
{
    const host_state host(SIG_DFL);
    a_sock_info * info = socket_startup(report, FALSE);
    info->sock_func.send = [](int, const void *, size_t len, int) { return static_cast<ssize_t>(len); };
    a_sock sock = {};
    sock.sock_info = info;
    const int before = mask_calls;
    {
        const SigpipeGuard guard;
        for (int i = 0; i < 10; ++i) {
            EXPECT_EQ(SocketSend(&sock, "x", 1), TRUE);
        }
    }
    EXPECT_EQ(mask_calls - before, 2);
    EXPECT_EQ(SocketSend(&sock, "x", 1), TRUE);
    EXPECT_EQ(mask_calls - before, 4);
    EXPECT_EQ(SocketSend(&sock, "x", 0), TRUE);
    pass_to_host([](const char *) -> short { return 0; }, "outside a guard nothing is changed");
    EXPECT_EQ(mask_calls - before, 4);
    (void)socket_cleanup(info);
}

// A callback may send over another link of the host's, and it may change its own mask for good.
TEST(Sigpipe, CallbackMayUseAnotherConnectionAndChangeItsMask)
{
    static const broken_connection * other = nullptr;
    const broken_connection connection;
    other = &connection;
    const host_state host(SIG_DFL);
    {
        const SigpipeGuard guard;
        const SigpipeGuard inner;
        EXPECT_TRUE(is_blocked(SIGPIPE));
        in_callback = [] {
            in_callback = nullptr;
            EXPECT_EQ(SocketSend(other->sock, "x", 1), FALSE);
            EXPECT_FALSE(is_blocked(SIGPIPE));
            set_blocked(SIG_BLOCK, SIGUSR1);
        };
        pass_to_host(report, "text");
        EXPECT_FALSE(blocked_in_callback);
        EXPECT_TRUE(is_blocked(SIGPIPE));
        connection.send_fails();
        errno = EPIPE;
        inner.ConsumeSignal(); // none is there, which the call for it says in errno
        EXPECT_EQ(errno, EPIPE);
    }
    EXPECT_FALSE(is_blocked(SIGPIPE));
    EXPECT_FALSE(is_pending());
    EXPECT_TRUE(is_blocked(SIGUSR1));
    set_blocked(SIG_UNBLOCK, SIGUSR1);
}

TEST(Sigpipe, GuardOfOneThreadLeavesTheOthersAlone)
{
    const broken_connection connection;
    const host_state host(SIG_DFL);
    const SigpipeGuard guard;
    std::thread other([&] {
        set_blocked(SIG_UNBLOCK, SIGPIPE); // inherited from the thread that made this one
        connection.send_fails();
        EXPECT_FALSE(is_blocked(SIGPIPE));
    });
    other.join();
    EXPECT_TRUE(is_blocked(SIGPIPE));
}

} // namespace
