#include "remote/socks.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <future>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "remote/fake_sock.h"
#include "remote/unixdll.h"

namespace {

using lines = std::vector<std::string>;

struct sock_ender {
    void operator()(a_sock * sock) const
    {
        SocketClose(sock);
        SocketFini(sock);
    }
};
using sock_ptr = std::unique_ptr<a_sock, sock_ender>;

struct listen_ender {
    void operator()(a_listen_sock * sock) const { ListenSockFini(sock); }
};
using listen_ptr = std::unique_ptr<a_listen_sock, listen_ender>;

char service[] = "SMTP";

sock_ptr open_sock(fake_sock & fake)
{
    sock_ptr sock(SocketInit(fake.info, "10.0.0.1"));
    uint16 port = 25;
    EXPECT_EQ(SocketOpen(sock.get(), service, &port, FALSE), TRUE);
    fake.log.clear();
    return sock;
}

// --- Reports

TEST(SockErrors, EveryCodeIsReportedByTheFirstRowThatHasIt)
{
    ASSERT_EQ(OSLangString.Init(), LS_INIT_OKAY);
    std::map<int, std::string> texts = {{EINTR, "> Error: interrupted system call."},
                                        {ENETDOWN, "> Error: Network is down."},
                                        {133, "> Socket error 133."}}; // no row: the language string 6691
    for (const an_error_table_entry * row = SocketError; row->msg != nullptr; ++row) {
        texts.emplace(row->error, std::string("> ") + row->msg);
    }
    EXPECT_EQ(texts.size(), 36U);
    fake_sock fake;
    const sock_ptr sock = open_sock(fake);
    char buf[4];
    for (const auto & [code, text] : texts) {
        fake.incoming = {{"", code}};
        EXPECT_LT(SocketReceive(sock.get(), buf, sizeof(buf)), 0) << code;
        EXPECT_EQ(errno, code); // the link asks for it
        EXPECT_EQ(fake.take_log(), (lines{"recv 4", text})) << code;
    }
}

// --- Resolving

TEST(SockInit, NameDecidesBetweenAddressAndLookUp)
{
    const struct {
        const char * name;
        const char * address; // null: no object
        lines log;
    } rows[] = {
        {"10.1.2.4", "10.1.2.4", {"inet_addr 10.1.2.4"}},
        {"", nullptr, {"inet_addr ", "> Error: Invalid argument."}},
        {"255.255.255.255", nullptr, {"inet_addr 255.255.255.255", "> Error: Invalid argument."}},
        {"10.1.2.4a", "10.1.2.3", {"> gethostbyname 10.1.2.4a", "gethostbyname 10.1.2.4a"}},
        {"mail", "10.1.2.3", {"> gethostbyname mail", "gethostbyname mail"}},
    };
    for (const auto & row : rows) {
        fake_sock fake(TRUE);
        a_sock * sock = SocketInit(fake.info, row.name);
        EXPECT_EQ(fake.log, row.log) << row.name;
        ASSERT_EQ(sock != nullptr, row.address != nullptr) << row.name;
        if (sock != nullptr) {
            EXPECT_STREQ(inet_ntoa(sock->sin_addr), row.address);
            EXPECT_EQ(SocketIsClosed(sock), TRUE);
            EXPECT_EQ(sock->pending_data + sock->extra_data, 0U);
            SocketFini(sock);
        }
    }
}

TEST(SockInit, UnknownHostIsReportedByErrnoAndTraceIsCutAt255)
{
    fake_sock fake(TRUE);
    fake.host_known = false;
    const std::string name(300, 'h');
    EXPECT_EQ(SocketInit(fake.info, name.c_str()), nullptr);
    EXPECT_EQ(fake.log, (lines{("> gethostbyname " + name).substr(0, 2 + 255), "gethostbyname " + name,
                               "> Error: Network is unreachable."}));
}

// One answer for the process, as the C library has. A look-up that another one can overtake is overtaken.
hostent * shared_answer(const char * name)
{
    static std::atomic<int> asked = 0;
    static char address[] = {10, 0, 0, 0};
    static char * addresses[] = {address, nullptr};
    static hostent entry = {};
    entry.h_addr_list = addresses;
    address[3] = static_cast<char>(name[0] - 'a');
    const int place = ++asked;
    for (int i = 0; place == 1 && asked == 1 && i < 100; ++i) {
        usleep(1000);
    }
    return &entry;
}

TEST(SockInit, LinksOfTwoThreadsDoNotGetEachOthersServer)
{
    fake_sock fake;
    fake.info->sock_func.gethostbyname = shared_answer;
    const auto last_byte_of = [&](const char * name) {
        const sock_ptr sock(SocketInit(fake.info, name));
        return ntohl(sock->sin_addr.s_addr) & 0xFF;
    };
    auto other = std::async(std::launch::async, [&] { return last_byte_of("b"); });
    EXPECT_EQ(last_byte_of("c"), 2U);
    EXPECT_EQ(other.get(), 1U);
}

TEST(LocalHost, OfficialNameOrReport)
{
    fake_sock fake;
    char name[256];
    GetLocalHost(fake.info, name, 5);
    EXPECT_STREQ(name, "host"); // host.example, cut
    EXPECT_EQ(fake.take_log(), (lines{"gethostname 256", "gethostbyname " + std::string(255, 'n')}));
    fake.host_known = false;
    GetLocalHost(fake.info, name, sizeof(name));
    EXPECT_STREQ(name, "");
    EXPECT_EQ(fake.take_log().back(), "> Error: Network is unreachable.");
    fake.gethostname_code = EINVAL;
    GetLocalHost(fake.info, name, sizeof(name));
    EXPECT_STREQ(name, "");
    EXPECT_EQ(fake.take_log(), (lines{"gethostname 256", "> Error: Invalid argument."}));
}

// --- Opening and closing

TEST(SockOpen, CallsAndTraceInTheirOrder)
{
    fake_sock fake(TRUE);
    const sock_ptr sock(SocketInit(fake.info, "10.0.0.1"));
    SocketString(sock.get(), "QUIT");
    sock->extra_data = 4;
    fake.log.clear();
    uint16 port = 25;
    ASSERT_EQ(SocketOpen(sock.get(), service, &port, FALSE), TRUE);
    EXPECT_EQ(fake.take_log(), (lines{"> socket", "socket 2 1 0", "getprotobyname SMTP", "> connect SMTP",
                                      "> port 25", "connect 2 10.0.0.1:25 16", "getsockname 1001 16"}));
    EXPECT_EQ(SocketIsClosed(sock.get()), FALSE);
    EXPECT_EQ(sock->pending_data + sock->extra_data, 0U);
    SocketString(sock.get(), "kept");
    SocketClose(sock.get());
    SocketClose(sock.get());
    EXPECT_EQ(fake.take_log(), (lines{"> closesocket", "close 1001", "> closesocket"}));
    EXPECT_EQ(sock->pending_data, 4U);

    // The address of the first connection stays; a service without a name isn't looked up.
    ASSERT_EQ(SocketOpen(sock.get(), "", &port, FALSE), TRUE);
    EXPECT_EQ(fake.take_log(),
              (lines{"> socket", "socket 2 1 0", "> connect ", "> port 25", "connect 2 10.0.0.1:25 16"}));
    // The protocol database overrides the port, for the caller too.
    SocketClose(sock.get());
    fake.protocol = service;
    ASSERT_EQ(SocketOpen(sock.get(), service, &port, FALSE), TRUE);
    EXPECT_EQ(port, 99);
    EXPECT_EQ(fake.log.back(), "connect 2 10.0.0.1:99 16");
}

TEST(SockOpen, FailureLeavesNoDescriptorAndReportsTheCodeOfTheFailedCall)
{
    fake_sock fake(TRUE);
    const sock_ptr sock(SocketInit(fake.info, "10.0.0.1"));
    uint16 port = 25;
    for (const a_bool quiet : {FALSE, TRUE}) {
        fake.log.clear();
        fake.connect_codes = {ECONNREFUSED};
        EXPECT_EQ(SocketOpen(sock.get(), service, &port, quiet), FALSE);
        EXPECT_EQ(SocketIsClosed(sock.get()), TRUE);
        lines expected = {"> socket",       "socket 2 1 0", "getprotobyname SMTP",
                          "> connect SMTP", "> port 25",    "connect 2 10.0.0.1:25 16",
                          "> closesocket",  "close 1001",   "> Error: Connection refused."};
        expected.resize(expected.size() - quiet);
        EXPECT_EQ(fake.take_log(), expected);

        fake.socket_code = EMFILE;
        EXPECT_EQ(SocketOpen(sock.get(), service, &port, quiet), FALSE);
        fake.socket_code = 0;
        expected = {"> socket", "socket 2 1 0", "> Error: Too many open files."};
        expected.resize(expected.size() - quiet);
        EXPECT_EQ(fake.take_log(), expected);
        EXPECT_EQ(SocketIsClosed(sock.get()), TRUE);
    }
    EXPECT_EQ(fake.info->local_addr.sin_addr.s_addr, 0U);
}

TEST(SockRetries, AttemptsAndWaits)
{
    ASSERT_EQ(OSLangString.Init(), LS_INIT_OKAY);
    const struct {
        int max_retries;
        int failures;
        a_bool result;
        size_t attempts;
    } rows[] = {{-1, 0, FALSE, 0}, {0, 1, FALSE, 1}, {0, 0, TRUE, 1}, {3, 9, FALSE, 4}, {3, 2, TRUE, 3}};
    for (const auto & row : rows) {
        fake_sock fake;
        const sock_ptr sock(SocketInit(fake.info, "10.0.0.1"));
        fake.connect_codes = std::deque<int>(row.failures, ETIMEDOUT);
        uint16 port = 25;
        fake.log.clear();
        EXPECT_EQ(SocketOpenWithRetries(sock.get(), service, &port, row.max_retries, 0), row.result);
        EXPECT_EQ(static_cast<size_t>(std::count(fake.log.begin(), fake.log.end(), "socket 2 1 0")),
                  row.attempts);
    }
}

volatile sig_atomic_t alarms = 0;

TEST(SockRetries, SignalsDoNotShortenTheSleep)
{
    ASSERT_EQ(OSLangString.Init(), LS_INIT_OKAY);
    fake_sock fake;
    const sock_ptr sock(SocketInit(fake.info, "10.0.0.1"));
    fake.connect_codes = {ETIMEDOUT};
    struct sigaction action = {};
    struct sigaction before = {};
    action.sa_handler = [](int) { alarms = alarms + 1; };
    sigaction(SIGALRM, &action, &before);
    const itimerval every_70_ms = {{0, 70000}, {0, 70000}};
    setitimer(ITIMER_REAL, &every_70_ms, nullptr);

    fake.log.clear();
    uint16 port = 25;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(SocketOpenWithRetries(sock.get(), service, &port, 1, 1), TRUE);
    const auto slept = std::chrono::steady_clock::now() - start;

    const itimerval never = {};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before, nullptr);
    EXPECT_GT(alarms, 2);
    EXPECT_GE(slept, std::chrono::seconds(1));
    EXPECT_LT(slept, std::chrono::seconds(10));
    // The failure, then the message about the wait, then the next attempt.
    EXPECT_EQ(fake.log[4], "> Error: Connection timed out.");
    EXPECT_EQ(fake.log[5], "> Waiting 1 seconds before the next attempt to connect.");
    EXPECT_EQ(fake.log[6], "socket 2 1 0");
}

// --- Sending

TEST(SockString, LastByteOfTheBufferBelongsToTheTerminator)
{
    fake_sock fake;
    const sock_ptr sock = open_sock(fake);
    SocketString(sock.get(), std::string(500, 'a').c_str());
    SocketString(sock.get(), "bbbbbbbbbbbb"); // 12: with its terminator one too many
    EXPECT_EQ(fake.take_log(), lines{"> Line is too long to send"});
    SocketString(sock.get(), "ccccccccccc");
    SocketString(sock.get(), "");
    EXPECT_EQ(sock->pending_data, 511U);
    EXPECT_EQ(sock->send[511], '\0');
    EXPECT_EQ(SocketFlush(sock.get()), TRUE);
    EXPECT_EQ(fake.sent, std::string(500, 'a') + "ccccccccccc");
    EXPECT_EQ(fake.take_log(), lines{"send 511"});
}

TEST(SockSend, GoesOnBehindAPartialSendAndNothingStaysPending)
{
    fake_sock fake(TRUE);
    fake.send_at_once = 3;
    fake.send_limit = 10;
    const sock_ptr sock = open_sock(fake);
    EXPECT_EQ(SocketSend(sock.get(), "abcdefgh", 8), TRUE);
    EXPECT_EQ(fake.take_log(), (lines{"send 8", "send 5", "send 2"}));
    SocketString(sock.get(), "QU");
    SocketString(sock.get(), "IT");
    debug_outgoing(sock.get());
    EXPECT_EQ(SocketFlush(sock.get()), FALSE);
    EXPECT_EQ(fake.sent, "abcdefghQU");
    EXPECT_EQ(fake.take_log(), (lines{"> QUIT", "send 4", "send 2", "> Error: Broken pipe."}));
    EXPECT_EQ(SocketIsClosed(sock.get()), FALSE);
    EXPECT_EQ(SocketFlush(sock.get()), TRUE);
    SocketString(sock.get(), "purged");
    SocketPurgePending(sock.get());
    EXPECT_EQ(SocketFlush(sock.get()), TRUE);
    EXPECT_EQ(SocketSend(sock.get(), "x", 0), TRUE);
    EXPECT_EQ(fake.take_log(), lines());
}

// --- Receiving

struct a_line_row {
    std::string input;
    unsigned int capacity;
    lines results; // lines, "!" and the report for a failure
};

const std::string nul(1, '\0');
const std::string too_long = "!> Line is too long, buffer overflow";

const a_line_row line_rows[] = {
    {"one\r\ntwo\r\n", 512, {"one", "two"}},
    {"a\rb\nc\n\rd\r\r\n", 512, {"a\rb\nc\n\rd"}},
    {"\r\r\n\n\r\n", 512, {"", ""}},
    {nul + "a" + nul + "\r\n" + nul + "\r\n", 512, {nul + "a" + nul, nul}},
    {std::string(510, 'x') + "\r\n", 512, {std::string(510, 'x')}},
    {std::string(511, 'x') + "\r\n", 512, {too_long}},
    {"abc\r\n", 4, {too_long}}, // CR LF torn by the capacity
    {"\r\n", 0, {too_long}},
    {"abc\r\ndef\r", 512, {"abc", "!"}}, // the peer closes
};

// The reports among the lines of a log.
lines reports_of(const lines & log)
{
    lines reports;
    std::copy_if(log.begin(), log.end(), std::back_inserter(reports),
                 [](const std::string & line) { return line[0] == '>'; });
    return reports;
}

void check_lines(const a_line_row & row, fake_sock & fake)
{
    const sock_ptr sock = open_sock(fake);
    for (const std::string & expected : row.results) {
        // A block without a byte to spare.
        std::vector<char> buf(row.capacity, '#');
        unsigned int length = row.capacity;
        fake.log.clear();
        if (SocketReadLine(sock.get(), buf.data(), &length)) {
            EXPECT_EQ(std::string(buf.data(), length), expected);
            EXPECT_EQ(buf.at(length), '\0');
            continue;
        }
        const lines reports = reports_of(fake.log);
        EXPECT_EQ("!" + (reports.empty() ? "" : reports.front()), expected);
        EXPECT_EQ(length, row.capacity);
        EXPECT_EQ(SocketBuffSize(sock.get()), 0U);
    }
    EXPECT_EQ(SocketIsClosed(sock.get()), FALSE);
}

TEST(SockReadLine, AnyCutOfTheInputGivesTheSameLines)
{
    for (const a_line_row & row : line_rows) {
        SCOPED_TRACE(row.input);
        for (size_t cut = 0; cut <= row.input.size(); ++cut) {
            fake_sock fake;
            fake.incoming = {{row.input.substr(0, cut)}, {row.input.substr(cut)}};
            std::erase_if(fake.incoming, [](const auto & piece) { return piece.bytes.empty(); });
            check_lines(row, fake);
        }
        fake_sock fake;
        for (const char byte : row.input) {
            fake.incoming.push_back({std::string(1, byte)});
        }
        check_lines(row, fake);
    }
}

TEST(SockReadLine, CarriedLineNeedsNoRecvAndReadsTakeAllTheRoom)
{
    fake_sock fake;
    const sock_ptr sock = open_sock(fake);
    fake.incoming = {{"one\r\ntwo\r\nthr"}, {"ee\r\n"}, {"ab"}, {"", EINTR}, {"c\r\nbody"}};
    const struct {
        const char * line; // null: a failure
        lines log;
    } rows[] = {{"one", {"recv 512"}},
                {"two", {}},
                {"three", {"recv 509"}},
                {nullptr, {"recv 512", "recv 510", "> Error: interrupted system call."}}, // not tried again
                {"c", {"recv 512"}}};
    for (const auto & row : rows) {
        char buf[512];
        unsigned int length = sizeof(buf);
        ASSERT_EQ(SocketReadLine(sock.get(), buf, &length) != FALSE, row.line != nullptr);
        EXPECT_EQ(row.line != nullptr ? buf : "", std::string(row.line != nullptr ? row.line : ""));
        EXPECT_EQ(fake.take_log(), row.log);
    }
    EXPECT_EQ(std::string(SocketPeekBuff(sock.get()), SocketBuffSize(sock.get())), "body");
    SocketEmptyBuff(sock.get());
    EXPECT_EQ(SocketBuffSize(sock.get()), 0U);
}

TEST(SockReadLine, CallerOfAnotherCapacityCannotMakeItOverrun)
{
    fake_sock fake;
    const sock_ptr sock = open_sock(fake);
    // More than 512: what lies behind the line must still fit in the socket.
    std::vector<char> large(2000);
    unsigned int length = large.size();
    fake.incoming = {{"a\r\n" + std::string(1500, 'x')}};
    ASSERT_EQ(SocketReadLine(sock.get(), large.data(), &length), TRUE);
    EXPECT_EQ(SocketBuffSize(sock.get()), 509U);
    // Less than what is carried over.
    std::vector<char> small(508);
    length = small.size();
    EXPECT_EQ(SocketReadLine(sock.get(), small.data(), &length), FALSE);
    EXPECT_EQ(length, 508U);
    EXPECT_EQ(SocketBuffSize(sock.get()), 0U);
    EXPECT_EQ(reports_of(fake.log), lines{"> Line is too long, buffer overflow"});
}

TEST(SockReceive, ClosedPeerShowsInTheTraceAndInErrno)
{
    for (const a_bool debug : {FALSE, TRUE}) { // a callback may change errno by itself
        fake_sock fake(debug);
        const sock_ptr sock = open_sock(fake);
        char buf[8];
        errno = EINTR;
        EXPECT_EQ(SocketReceive(sock.get(), buf, sizeof(buf)), 0);
        EXPECT_EQ(errno, 0);
        EXPECT_EQ(reports_of(fake.log), debug ? lines{"> 0 byte read...socket is closed"} : lines{});
    }
}

// --- Listening

TEST(ListenSock, NeedsTheLocalAddressOfAnEarlierConnection)
{
    fake_sock fake;
    fake.local = 0;
    EXPECT_EQ(ListenSockInit(fake.info), nullptr);
    EXPECT_EQ(fake.take_log(),
              (lines{"socket 2 1 0", "bind 2 0.0.0.0:0 16", "listen 2", "getsockname 1001 16",
                     "> unable to determine local ip address!", "close 1001"}));
    fake.info->local_addr.sin_addr.s_addr = htonl(0x0a0b0cff);
    fake.bind_codes = std::deque<int>(9, EADDRINUSE);
    const listen_ptr endpoint(ListenSockInit(fake.info));
    ASSERT_NE(endpoint, nullptr);
    EXPECT_EQ(std::count(fake.log.begin(), fake.log.end(), "bind 2 0.0.0.0:0 16"), 10);
    EXPECT_EQ(endpoint->closed, FALSE);
    char command[PORT_CMD_SIZE];
    ListenSockPortCmd(endpoint.get(), command);
    EXPECT_STREQ(command, "PORT 10,11,12,255,18,52");
    std::memset(&fake.info->local_addr, 0xff, sizeof(fake.info->local_addr));
    std::memset(&endpoint->port_info, 0xff, sizeof(endpoint->port_info));
    std::vector<char> longest(29);
    ListenSockPortCmd(endpoint.get(), longest.data());
    EXPECT_STREQ(longest.data(), "PORT 255,255,255,255,255,255");
}

TEST(ListenSock, FailedCallIsReportedBeforeTheDescriptorIsClosed)
{
    const char * const report = "> Error: No buffer space available.";
    const struct {
        int fake_sock::*code;
        lines log;
    } rows[] = {
        {&fake_sock::socket_code, {"socket 2 1 0", report}},
        {&fake_sock::listen_code, {"socket 2 1 0", "bind 2 0.0.0.0:0 16", "listen 2", report, "close 1001"}},
    };
    for (const auto & row : rows) {
        fake_sock fake;
        fake.*row.code = ENOBUFS;
        EXPECT_EQ(ListenSockInit(fake.info), nullptr);
        EXPECT_EQ(fake.log, row.log);
    }
    fake_sock fake;
    fake.bind_codes = std::deque<int>(10, EADDRINUSE);
    EXPECT_EQ(ListenSockInit(fake.info), nullptr);
    EXPECT_EQ(fake.log.size(), 13U); // socket, ten attempts, report, close
    EXPECT_EQ(fake.log[11], "> Error: Address already in use.");
}

TEST(ListenSock, AcceptedSocketIsOpenWithEmptyBuffers)
{
    fake_sock fake;
    const listen_ptr endpoint(ListenSockInit(fake.info));
    ASSERT_NE(endpoint, nullptr);
    const sock_ptr sock(ListenSockAccept(endpoint.get()));
    ASSERT_NE(sock, nullptr);
    EXPECT_EQ(SocketIsClosed(sock.get()), FALSE);
    EXPECT_EQ(sock->sin_addr.s_addr + sock->pending_data + sock->extra_data, 0U);
    fake.log.clear();
    fake.accept_code = ECONNABORTED;
    EXPECT_EQ(ListenSockAccept(endpoint.get()), nullptr);
    EXPECT_EQ(fake.take_log(), (lines{"accept 1001", "> Error: Software caused connection abort."}));
}

// --- The operating system's own table

short ignore_report(const char *)
{
    return 0;
}

bool closes_on_exec(int handle)
{
    return (fcntl(handle, F_GETFD) & FD_CLOEXEC) != 0;
}

TEST(SockTable, LineGoesOverLoopbackAndNoDescriptorOutlivesExec)
{
    a_sock_info * info = socket_startup(ignore_report, FALSE);
    info->local_addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    {
        const listen_ptr endpoint(ListenSockInit(info));
        ASSERT_NE(endpoint, nullptr);
        const sock_ptr client(SocketInit(info, "127.0.0.1"));
        uint16 port = UNIX_htons(endpoint->port_info.sin_port);
        ASSERT_EQ(SocketOpen(client.get(), nullptr, &port, FALSE), TRUE);
        const sock_ptr server(ListenSockAccept(endpoint.get()));
        ASSERT_NE(server, nullptr);
        EXPECT_TRUE(closes_on_exec(endpoint->listen_socket));
        EXPECT_TRUE(closes_on_exec(client->sock));
        EXPECT_TRUE(closes_on_exec(server->sock));

        SocketString(client.get(), "over the wire\r\n");
        ASSERT_EQ(SocketFlush(client.get()), TRUE);
        char buf[512];
        unsigned int length = sizeof(buf);
        ASSERT_EQ(SocketReadLine(server.get(), buf, &length), TRUE);
        EXPECT_STREQ(buf, "over the wire");
    }
    EXPECT_EQ(socket_cleanup(info), 0);
}

} // namespace
