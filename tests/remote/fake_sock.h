// A socket layer of the operating system that does what a test tells it, behind the table of a context, and
// notes in `log` every call and every report in their order. One at a time; not for two threads.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "remote/socks.h"

class fake_sock {
public:
    // One recv: these bytes (what the caller has no room for stays for the next), or the code of a failure.
    // Behind the last one the peer has closed.
    struct a_recv {
        std::string bytes;
        int code = 0;
    };

    std::vector<std::string> log;
    std::deque<a_recv> incoming;
    std::string sent;
    size_t send_at_once = 1 << 20; // bytes that one send takes
    size_t send_limit = 1 << 20;   // bytes after which send fails
    int send_code = EPIPE;
    std::deque<int> connect_codes; // of the next calls; 0 and no more: success
    std::deque<int> bind_codes;
    int socket_code = 0;
    int listen_code = 0;
    int accept_code = 0;
    int gethostname_code = 0;
    bool host_known = true;
    const char * official_name = "host.example";
    const char * protocol = nullptr; // name in the protocol database, with the number 99
    in_addr_t local = htonl(0x7f000001);

    explicit fake_sock(a_bool debug = FALSE)
    {
        current = this;
        info = socket_startup(report, debug);
        fill(&info->sock_func);
    }
    ~fake_sock()
    {
        socket_cleanup(info);
        current = nullptr;
    }
    fake_sock(const fake_sock &) = delete;
    fake_sock & operator=(const fake_sock &) = delete;

    a_sock_info * info;

    // The log since the last call.
    std::vector<std::string> take_log()
    {
        std::vector<std::string> taken;
        taken.swap(log);
        return taken;
    }

private:
    static inline fake_sock * current = nullptr;

    static int result(int code, int success)
    {
        errno = code;
        return code == 0 ? success : -1;
    }
    static void note(const std::string & text) { current->log.push_back(text); }
    static int next(std::deque<int> & codes)
    {
        if (codes.empty()) {
            return 0;
        }
        const int code = codes.front();
        codes.pop_front();
        return code;
    }
    static std::string text_of(const sockaddr * address)
    {
        const auto * in = reinterpret_cast<const sockaddr_in *>(address);
        return std::to_string(in->sin_family) + " " + inet_ntoa(in->sin_addr) + ":" +
               std::to_string(ntohs(in->sin_port));
    }

    static short report(const char * text)
    {
        note(text == nullptr ? "> (none)" : std::string("> ") + text);
        errno = 0; // a host's callback may well do that
        return -1;
    }
    static int fake_close(int handle)
    {
        note("close " + std::to_string(handle));
        return 0;
    }
    static int fake_connect(int, const sockaddr * address, socklen_t length)
    {
        note("connect " + text_of(address) + " " + std::to_string(length));
        return result(next(current->connect_codes), 0);
    }
    static int fake_listen(int, int backlog)
    {
        note("listen " + std::to_string(backlog));
        return result(current->listen_code, 0);
    }
    static int fake_accept(int handle, sockaddr * address, socklen_t * length)
    {
        note("accept " + std::to_string(handle) +
             (address == nullptr && length == nullptr ? "" : " address"));
        return result(current->accept_code, 1002);
    }
    static int fake_bind(int, const sockaddr * address, socklen_t length)
    {
        note("bind " + text_of(address) + " " + std::to_string(length));
        return result(next(current->bind_codes), 0);
    }
    static int fake_getsockname(int handle, sockaddr * address, socklen_t * length)
    {
        note("getsockname " + std::to_string(handle) + " " + std::to_string(*length));
        auto * in = reinterpret_cast<sockaddr_in *>(address);
        in->sin_addr.s_addr = current->local;
        in->sin_port = htons(0x1234);
        return 0;
    }
    static ssize_t fake_recv(int, void * buf, size_t len, int flags)
    {
        note("recv " + std::to_string(len) + (flags == 0 ? "" : " flags"));
        if (current->incoming.empty()) {
            return 0;
        }
        a_recv & front = current->incoming.front();
        if (front.code != 0) {
            const int code = front.code;
            current->incoming.pop_front();
            return result(code, 0);
        }
        const size_t count = std::min(len, front.bytes.size());
        std::memcpy(buf, front.bytes.data(), count);
        front.bytes.erase(0, count);
        if (front.bytes.empty()) {
            current->incoming.pop_front();
        }
        return static_cast<ssize_t>(count);
    }
    static ssize_t fake_send(int, const void * buf, size_t len, int flags)
    {
        note("send " + std::to_string(len) + (flags == 0 ? "" : " flags"));
        const size_t count =
            std::min({len, current->send_at_once, current->send_limit - current->sent.size()});
        if (count == 0) {
            return result(current->send_code, 0);
        }
        current->sent.append(static_cast<const char *>(buf), count);
        return static_cast<ssize_t>(count);
    }
    static int fake_socket(int family, int type, int protocol)
    {
        note("socket " + std::to_string(family) + " " + std::to_string(type) + " " +
             std::to_string(protocol));
        return result(current->socket_code, 1001);
    }
    static hostent * fake_gethostbyname(const char * name)
    {
        note(std::string("gethostbyname ") + name);
        static char first[] = {10, 1, 2, 3};
        static char second[] = {10, 9, 9, 9};
        static char * addresses[] = {first, second, nullptr};
        static hostent entry = {};
        entry.h_name = const_cast<char *>(current->official_name);
        entry.h_addr_list = addresses;
        errno = current->host_known ? 0 : ENETUNREACH;
        return current->host_known ? &entry : nullptr;
    }
    static in_addr_t fake_inet_addr(const char * text)
    {
        note(std::string("inet_addr ") + text);
        errno = EINVAL;
        return ::inet_addr(text);
    }
    static protoent * fake_getprotobyname(const char * name)
    {
        note(std::string("getprotobyname ") + name);
        static protoent entry = {};
        entry.p_proto = 99;
        return current->protocol != nullptr && std::strcmp(name, current->protocol) == 0 ? &entry : nullptr;
    }
    static int fake_gethostname(char * name, size_t len)
    {
        note("gethostname " + std::to_string(len));
        std::memset(name, 'n', len); // cut without a terminator, as is allowed
        return result(current->gethostname_code, 0);
    }
    static int fake_error() { return errno; }

    static void fill(a_sock_func * table)
    {
        *table = {fake_close,       fake_connect,       fake_listen,    fake_accept,
                  fake_bind,        fake_getsockname,   nullptr,        UNIX_htons,
                  fake_recv,        fake_send,          nullptr,        fake_socket,
                  nullptr,          fake_gethostbyname, fake_inet_addr, fake_getprotobyname,
                  fake_gethostname, fake_error,         fake_error};
    }
};
