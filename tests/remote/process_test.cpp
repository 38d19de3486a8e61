// The built library as a guest in a host's process: what it leaves alone, what it gives back, and what forks,
// threads and unloading do to it.
#include <dirent.h>
#include <fcntl.h>
#include <malloc.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

#include "support/loaded_library.h"
#include "support/mail_stage.h"
#include "support/sanitized.h"

namespace {

using namespace mailserver;
using support::CallbackRecorder;
using support::HostProfile;
using support::LoadedLibrary;
using support::PATIENCE;
using support::SANITIZED; // what is unloaded leaves something behind then

constexpr std::chrono::milliseconds QUIET_AFTER_REPORT{700}; // far longer than a fork takes

short ignore_report(const char *)
{
    return 0;
}

// The archive of the library's objects that this program holds isn't used here.
class Process : public testing::Test, public support::MailStage {
protected:
    Process() { put("<1@h>", "kept\r\n"); }

    // Makes a link, reads the message of "bob" and ends it; false when anything fails.
    static bool read_once(const LoadedLibrary & library, HostProfile & profile)
    {
        HLINK link = library.init("bob@here", ignore_report, profile.access(), nullptr);
        if (link == nullptr) {
            return false;
        }
        HMSG msg = nullptr;
        char * txt = nullptr;
        uint32 len = 0;
        const bool read = library.receive(link, &msg) == MSG_SUCCESS &&
                          library.content(link, msg, &txt, &len) == MSG_SUCCESS &&
                          std::string_view(txt, len) == "\r\nkept\r\n";
        library.fini(link);
        return read;
    }

    // Runs `work` in a child and wants it to be true there. The child is ended if it hangs.
    template<class Work> static void expect_in_child(Work work)
    {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            alarm(30);
            _exit(work() ? 0 : 1);
        }
        int status = -1;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0) << "signal " << WTERMSIG(status);
    }
};

std::vector<int> open_descriptors()
{
    std::vector<int> open;
    DIR * folder = opendir("/proc/self/fd");
    while (const dirent * entry = readdir(folder)) {
        const int handle = std::atoi(entry->d_name);
        if (entry->d_name[0] != '.' && handle != dirfd(folder)) {
            open.push_back(handle);
        }
    }
    closedir(folder);
    return open;
}

// --- Several links

// Sends to a neighbour and takes what comes from it until all has come.
void exchange(const LoadedLibrary & library, HostProfile & profile, const std::string & user,
              const std::string & neighbour, int count)
{
    const CallbackRecorder recorder;
    HLINK link =
        library.init((user + "@here").c_str(), CallbackRecorder::callback(), profile.access(), nullptr);
    ASSERT_NE(link, nullptr) << recorder.text();
    for (int i = 0; i < count; ++i) {
        const auto len = static_cast<uint32>(user.size());
        EXPECT_EQ(library.send(link, nullptr, (neighbour + "@there").c_str(), user.data(), len,
                               static_cast<uint32>(i), 0),
                  MSG_SUCCESS);
    }
    int received = 0;
    for (int look = 0; received < count && look < 10000; ++look) {
        HMSG msg = nullptr;
        if (library.receive(link, &msg) != MSG_SUCCESS) {
            std::this_thread::yield();
            continue;
        }
        char * txt = nullptr;
        uint32 len = 0;
        EXPECT_EQ(library.content(link, msg, &txt, &len), MSG_SUCCESS);
        EXPECT_EQ(std::string(txt, len), "\r\n" + neighbour + "\r\n");
        EXPECT_EQ(library.remove(link, msg), MSG_SUCCESS);
        ++received;
    }
    EXPECT_EQ(received, count);
    library.fini(link);
    EXPECT_EQ(recorder.text(), "");
}

TEST_F(Process, LinksOnTwoThreadsDoNotMeet)
{
    const LoadedLibrary library;
    HostProfile profile_of_ann;
    profile_of_ann.point_at(server.smtp_port(), server.pop3_port());
    profile_of_ann.set("pop3_userid", "ann");
    ASSERT_TRUE(
        read_once(library, profile)); // the first link loads the language texts, before a second thread
    store->open("bob", PATIENCE)->remove({true});
    std::thread other([&] { exchange(library, profile_of_ann, "ann", "bob", 5); });
    exchange(library, profile, "bob", "ann", 5);
    other.join();
    ASSERT_TRUE(server.wait_idle(PATIENCE));
    EXPECT_TRUE(store->mails("bob").empty());
    EXPECT_TRUE(store->mails("ann").empty());
}

TEST_F(Process, LinksOneAfterTheOtherGiveEverythingBack)
{
    if (SANITIZED) {
        GTEST_SKIP() << "the sanitizer looks for leaks by itself";
    }
    const LoadedLibrary library;
    // The server's own memory stays in this process.
    expect_in_child([&] {
        size_t memory = 0;
        size_t descriptors = 0;
        for (int i = 0; i < 1050; ++i) {
            if (i == 50) { // the C library's own caches are filled
                memory = mallinfo2().uordblks;
                descriptors = open_descriptors().size();
            }
            if (!read_once(library, profile)) {
                return false;
            }
            profile.clear_accesses();
        }
        return mallinfo2().uordblks <= memory && open_descriptors().size() == descriptors;
    });
}

// --- Forks and unloading

std::counting_semaphore<> * in_report = nullptr;

// Holds the library's lock on messages until a fork on another thread has most likely begun.
short linger_in_report(const char *)
{
    in_report->release();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return 0;
}

TEST_F(Process, ChildOfAForkCanMakeItsOwnLink)
{
    const LoadedLibrary library;
    HostProfile wrong;
    wrong.point_at(server.smtp_port(), server.pop3_port());
    wrong.set("pop3_password", "wrong");
    wrong.set("receive_only", "yes");
    // Locks of the C library, such as that of getprotobyname, are free in a child only if no thread holds
    // them at the fork. So no session of the server is at work then, and the one of the report waits for a
    // reply.
    ASSERT_TRUE(read_once(library, profile));
    ASSERT_TRUE(server.wait_idle(PATIENCE));
    expect_in_child([&] { return read_once(library, profile); });

    // Now while another thread reports a refused login, which holds the lock: the child must not inherit it.
    ASSERT_TRUE(server.wait_idle(PATIENCE));
    server.set_faults(
        {.commands = {
             {.protocol = Protocol::Pop3, .verb = "QUIT", .times = 1, .delay = QUIET_AFTER_REPORT}}});
    std::counting_semaphore<> reached(0);
    in_report = &reached;
    std::thread reporting(
        [&] { EXPECT_EQ(library.init("bob@here", linger_in_report, wrong.access(), nullptr), nullptr); });
    reached.acquire();
    expect_in_child([&] {
        return read_once(library, profile) &&
               library.init("bob@here", ignore_report, wrong.access(), nullptr) == nullptr;
    });
    reporting.join();
    EXPECT_TRUE(read_once(library, profile)) << "the parent goes on as before";
}

TEST_F(Process, UnloadedLibraryLeavesNothingThatAForkOrALoadMeets)
{
    const size_t before = open_descriptors().size();
    for (int cycle = 0; cycle < 20; ++cycle) {
        {
            const LoadedLibrary library;
            ASSERT_TRUE(read_once(library, profile));
        }
        if (!SANITIZED) {
            ASSERT_EQ(dlopen(LoadedLibrary::path(), RTLD_NOW | RTLD_NOLOAD), nullptr)
                << "still loaded, so this shows nothing";
        }
        expect_in_child([] { return true; });
    }
    ASSERT_TRUE(server.wait_idle(PATIENCE));
    EXPECT_EQ(open_descriptors().size(), before);
}

// --- The host's own

std::vector<std::string> environment()
{
    std::vector<std::string> all;
    for (char ** variable = environ; *variable != nullptr; ++variable) {
        all.emplace_back(*variable);
    }
    return all;
}

TEST_F(Process, HostsRandomNumbersLocaleAndEnvironmentAreLeftAlone)
{
    const LoadedLibrary library;
    ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
    const std::string locale = std::setlocale(LC_ALL, nullptr);
    const locale_t thread_locale = uselocale(nullptr);
    const std::vector<std::string> variables = environment();
    std::srand(4711);
    const int first = std::rand();
    const int second = std::rand();
    std::srand(4711);
    EXPECT_EQ(std::rand(), first);

    EXPECT_TRUE(read_once(library, profile));

    EXPECT_EQ(std::rand(), second);
    EXPECT_EQ(std::setlocale(LC_ALL, nullptr), locale);
    EXPECT_EQ(uselocale(nullptr), thread_locale);
    EXPECT_EQ(environment(), variables);
    std::setlocale(LC_ALL, "C");
}

TEST_F(Process, ServerThatHangsUpRaisesNoSignalAndChangesNoMask)
{
    const LoadedLibrary library;
    profile.set("send_only", "yes");
    ASSERT_NE(std::signal(SIGPIPE, SIG_DFL), SIG_ERR); // a signal would end this program
    HLINK link = library.init("bob@here", ignore_report, profile.access(), nullptr);
    ASSERT_NE(link, nullptr);
    sigset_t before{}; // the system fills in its own part only
    sigset_t after{};
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    server.stop();
    EXPECT_EQ(library.send(link, nullptr, "bob@there", "x", 1, 1, 0), MSG_FAILURE);
    library.fini(link);
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    EXPECT_EQ(std::memcmp(&before, &after, sizeof(before)), 0);
    struct sigaction action;
    sigaction(SIGPIPE, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_DFL);
}

uint16_t peer_port(int handle)
{
    sockaddr_in peer{};
    socklen_t len = sizeof(peer);
    const bool connected = getpeername(handle, reinterpret_cast<sockaddr *>(&peer), &len) == 0;
    return connected && peer.sin_family == AF_INET ? ntohs(peer.sin_port) : 0;
}

TEST_F(Process, ConnectionsDoNotReachProgramsThatTheHostStarts)
{
    const LoadedLibrary library;
    for (const char * only : {"receive_only", "send_only"}) { // the second one wins
        profile.set(only, "yes");
        HLINK link = library.init("bob@here", ignore_report, profile.access(), nullptr);
        ASSERT_NE(link, nullptr);
        int connections = 0;
        for (const int handle : open_descriptors()) {
            const uint16_t port = peer_port(handle);
            if (port == server.smtp_port() || port == server.pop3_port()) {
                ++connections;
                EXPECT_NE(fcntl(handle, F_GETFD) & FD_CLOEXEC, 0);
            }
        }
        EXPECT_EQ(connections, 1) << only;
        library.fini(link);
    }
}

} // namespace
