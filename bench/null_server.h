// A mail server that takes everything and does nothing: the smallest share of a measured time that a server
// can have. Replies are written beforehand, and one process serves each connection, on a core of its own if
// there are two.
//
// It acknowledges what it has read at once (TCP_QUICKACK), unless told otherwise: with the delayed
// acknowledgements of a default server every client that writes twice without a reply in between is measured
// as 40 ms, whatever it does (see docs/limits.md).
//
// SMTP takes a mail up to a read that ends in the end mark, POP3 serves a mailbox that never changes; both
// expect clients that wait for each reply. Loopback, unless told otherwise. Failure: std::system_error from
// the constructor; a connection that can't go on is closed. Ownership: the destructor ends the process that
// accepts; one that serves a connection ends with it. Threads: make it before the program has any.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <system_error>

namespace bench {

// Ties the calling process to the first or the last of the cores it may use.
enum a_core { FIRST_CORE, LAST_CORE };

inline void pin_to(a_core core)
{
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    if (sched_getaffinity(0, sizeof(allowed), &allowed) != 0) {
        return; // the figures are less steady then, and still right
    }
    int chosen = -1;
    for (int cpu = 0; cpu < CPU_SETSIZE && (core == LAST_CORE || chosen < 0); ++cpu) {
        chosen = CPU_ISSET(cpu, &allowed) ? cpu : chosen;
    }
    CPU_ZERO(&allowed);
    CPU_SET(chosen, &allowed);
    (void)sched_setaffinity(0, sizeof(allowed), &allowed);
}

// The server's end of a connection.
class Channel {
public:
    Channel(int handle, bool quickack) : _handle(handle), _quickack(quickack)
    {
        const int on = 1;
        (void)setsockopt(handle, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on)); // each reply is one write
    }

    // All of it; false when the client has gone.
    bool say(std::string_view text) const
    {
        while (!text.empty()) {
            const ssize_t count = send(_handle, text.data(), text.size(), MSG_NOSIGNAL);
            if (count <= 0) {
                return false;
            }
            text.remove_prefix(static_cast<size_t>(count));
        }
        return true;
    }

    // From now on looks for data for about 0.1 ms before it sleeps. Where each command is answered at once,
    // waking the server would be half of what is measured.
    void stay_awake() { _looks = 300; }

    // What has arrived, good until the next call; empty when the client has gone.
    std::string_view hear() { return {_buffer, read(_buffer, sizeof(_buffer))}; }

    // A command without its line end; empty when the client has gone.
    std::string_view command()
    {
        size_t held = 0;
        while (held < 2 || std::memcmp(_buffer + held - 2, "\r\n", 2) != 0) {
            const size_t count = read(_buffer + held, sizeof(_buffer) - held);
            if (count == 0) {
                return {};
            }
            held += count;
        }
        return {_buffer, held - 2};
    }

private:
    size_t read(char * buf, size_t size) const
    {
        ssize_t count = -1;
        for (int look = 0; look < _looks && count < 0; ++look) {
            count = recv(_handle, buf, size, MSG_DONTWAIT);
        }
        if (count < 0) {
            count = recv(_handle, buf, size, 0);
        }
        if (_quickack) {
            const int on = 1; // lasts until the kernel takes the session for an interactive one again
            (void)setsockopt(_handle, IPPROTO_TCP, TCP_QUICKACK, &on, sizeof(on));
        }
        return count > 0 ? static_cast<size_t>(count) : 0;
    }

    int _handle;
    bool _quickack;
    int _looks = 0;
    char _buffer[65536];
};

// Hears a mail up to its end mark; false when the client has gone.
inline bool hear_mail(Channel & channel)
{
    static constexpr std::string_view MARK = "\r\n.\r\n";
    std::string tail;
    while (!tail.ends_with(MARK)) {
        const std::string_view piece = channel.hear();
        if (piece.empty()) {
            return false;
        }
        if (piece.size() >= MARK.size()) {
            tail = piece.substr(piece.size() - MARK.size());
        } else {
            tail += piece;
            tail.erase(0, tail.size() - std::min(tail.size(), MARK.size()));
        }
    }
    return true;
}

inline void serve_smtp(Channel & channel)
{
    bool going = channel.say("220 null\r\n");
    while (going) {
        const std::string_view command = channel.command();
        if (command.empty() || command == "QUIT") {
            (void)channel.say("221 bye\r\n"); // the session is over, whoever hears it
            return;
        }
        going = command == "DATA" ? channel.say("354 go on\r\n") && hear_mail(channel) : true;
        going = going && channel.say("250 ok\r\n");
    }
}

// `count` mails that differ in their Message-ID only, with `header_lines` lines of header, at least 5.
class NullMailbox {
public:
    NullMailbox(unsigned count, unsigned header_lines, size_t body_bytes)
        : _count(count), _headers(make_headers(header_lines)), _body(make_body(body_bytes))
    {
        _top = "+OK\r\n" + _headers + "\r\n.\r\n";
        _mail = "+OK\r\n" + _headers + "\r\n" + _body + ".\r\n";
        _number_at = _top.find("00000000");
    }

    [[nodiscard]] std::string_view top(unsigned mail) { return with_number(_top, mail); }
    [[nodiscard]] std::string_view retr(unsigned mail) { return with_number(_mail, mail); }
    [[nodiscard]] std::string stat() const
    {
        return "+OK " + std::to_string(_count) + " " + std::to_string(_count * _mail.size()) + "\r\n";
    }

    // The lines of LIST and UIDL for the whole mailbox.
    [[nodiscard]] std::string listing(bool unique_ids) const
    {
        std::string text = "+OK\r\n";
        for (unsigned mail = 1; mail <= _count; ++mail) {
            text += std::to_string(mail) + (unique_ids ? " uid-" : " ") +
                    std::to_string(unique_ids ? mail : _mail.size()) + "\r\n";
        }
        return text + ".\r\n";
    }

private:
    static std::string make_headers(unsigned lines)
    {
        std::string text = "Date: Wed, 18 Nov 2026 17:33:17 UT\r\n"
                           "From: sender@example.com\r\n"
                           "Subject: -Orv-Relays-\r\n"
                           "To: receiver@example.com\r\n"
                           "Message-ID: <322202617331700000000@host.example.com>\r\n";
        for (unsigned line = 5; line < lines; ++line) {
            text += "X-Line-" + std::to_string(100 + line) + ": a header line of others\r\n";
        }
        return text;
    }

    static std::string make_body(size_t bytes)
    {
        static constexpr size_t LINE_LENGTH = 72;
        std::string text;
        while (text.size() < bytes) {
            text += std::string(LINE_LENGTH, 'A') + "\r\n";
        }
        return text;
    }

    std::string_view with_number(std::string & text, unsigned mail) const
    {
        for (size_t at = _number_at + 8; at > _number_at; mail /= 10) {
            text[--at] = static_cast<char>('0' + mail % 10);
        }
        return text;
    }

    unsigned _count;
    std::string _headers;
    std::string _body;
    std::string _top;
    std::string _mail;
    size_t _number_at; // the same in both
};

// The reply to one command.
inline bool answer_pop3(Channel & channel, NullMailbox & mailbox, std::string_view command)
{
    const size_t blank = command.find(' ');
    const std::string verb(command.substr(0, blank));
    const unsigned mail =
        blank == std::string_view::npos ? 0 : std::strtoul(command.data() + blank, nullptr, 10);
    if (verb == "TOP") {
        return channel.say(mailbox.top(mail));
    }
    if (verb == "RETR") {
        return channel.say(mailbox.retr(mail));
    }
    if (verb == "STAT") {
        return channel.say(mailbox.stat());
    }
    if (verb == "LIST" || verb == "UIDL") {
        return channel.say(mailbox.listing(verb == "UIDL"));
    }
    return channel.say("+OK\r\n");
}

inline void serve_pop3(Channel & channel, NullMailbox mailbox)
{
    channel.stay_awake();
    bool going = channel.say("+OK null\r\n");
    while (going) {
        const std::string_view command = channel.command();
        going = !command.empty() && answer_pop3(channel, mailbox, command) && command != "QUIT";
    }
}

class NullServer {
public:
    explicit NullServer(std::function<void(Channel &)> serve, const char * address = "127.0.0.1",
                        uint16_t port = 0, bool quickack = true)
    {
        const int listener = listen_at(address, port);
        _process = fork();
        check(_process >= 0, "fork");
        if (_process == 0) {
            accept_all(listener, serve, quickack);
        }
        close(listener);
    }
    ~NullServer()
    {
        (void)kill(_process, SIGKILL);
        (void)waitpid(_process, nullptr, 0);
    }
    NullServer(const NullServer &) = delete;
    NullServer & operator=(const NullServer &) = delete;

    [[nodiscard]] uint16_t port() const { return _port; }

    // Until the process ends, which it doesn't by itself.
    void wait() const { (void)waitpid(_process, nullptr, 0); }

private:
    static void check(bool good, const char * what)
    {
        if (!good) {
            throw std::system_error(errno, std::generic_category(), what);
        }
    }

    int listen_at(const char * address, uint16_t port)
    {
        static constexpr int BACKLOG = 16;
        const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        check(listener >= 0, "socket");
        sockaddr_in at = {};
        at.sin_family = AF_INET;
        at.sin_addr.s_addr = inet_addr(address);
        at.sin_port = htons(port);
        socklen_t size = sizeof(at);
        check(bind(listener, reinterpret_cast<sockaddr *>(&at), size) == 0, "bind");
        check(listen(listener, BACKLOG) == 0, "listen");
        check(getsockname(listener, reinterpret_cast<sockaddr *>(&at), &size) == 0, "getsockname");
        _port = ntohs(at.sin_port);
        return listener;
    }

    [[noreturn]] static void accept_all(int listener, const std::function<void(Channel &)> & serve,
                                        bool quickack)
    {
        prctl(PR_SET_PDEATHSIG, SIGKILL); // no server outlives a benchmark that crashed
        pin_to(LAST_CORE);
        (void)std::signal(SIGCHLD, SIG_IGN); // nobody asks for the results of the processes below
        for (;;) {
            const int handle = accept(listener, nullptr, nullptr);
            if (handle < 0) {
                _exit(1);
            }
            if (fork() == 0) {
                close(listener);
                Channel channel(handle, quickack);
                serve(channel);
                _exit(0);
            }
            close(handle);
        }
    }

    pid_t _process = -1;
    uint16_t _port = 0;
};

} // namespace bench
