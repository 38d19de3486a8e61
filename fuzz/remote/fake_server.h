// A link whose server is the fuzz input: what it says, and how its answers are cut. What the link sends goes
// nowhere. The input always ends, so every read does.
#pragma once

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>

#include "remote/orvsmtp.h"
#include "require.h"

namespace fuzz {

// Takes the first byte of the input, 0 at its end.
inline std::uint8_t take_byte(std::span<const std::uint8_t> & input)
{
    if (input.empty()) {
        return 0;
    }
    const std::uint8_t byte = input.front();
    input = input.subspan(1);
    return byte;
}

struct FakeServer {
    std::string_view text;                  // what it still says
    std::span<const std::uint8_t> schedule; // the most that one recv gives, in turn; 0 is a failed call
    size_t step = 0;
    size_t sent = 0; // bytes that the link has sent
};
inline FakeServer server;

inline ssize_t fake_recv(int, void * buf, size_t len, int)
{
    const size_t most =
        server.schedule.empty() ? len : server.schedule[server.step++ % server.schedule.size()];
    if (most == 0) {
        errno = EINTR;
        return -1;
    }
    const size_t count = std::min({len, most, server.text.size()});
    std::memcpy(buf, server.text.data(), count);
    server.text.remove_prefix(count);
    return static_cast<ssize_t>(count);
}

inline ssize_t fake_send(int, const void *, size_t len, int)
{
    server.sent += len;
    return static_cast<ssize_t>(len);
}

inline short ignore_report(const char *)
{
    return 0;
}

inline void read_nothing(void *, const char *, char * buffer, unsigned int)
{
    buffer[0] = '\0';
}

inline void write_nowhere(void *, const char *, const char *) {}

// Owns a link with one open session, which is both its SMTP and its POP3 one, in turn.
class FakeLink {
public:
    // The input: bytes of the schedule, their number in the first byte, and what the server says behind them.
    explicit FakeLink(std::span<const std::uint8_t> input)
    {
        const size_t schedule = std::min<size_t>(take_byte(input) % 16, input.size());
        server = {{reinterpret_cast<const char *>(input.data()) + schedule, input.size() - schedule},
                  input.first(schedule)};
        lnk->msgcb = ignore_report;
        lnk->profile_access = &_profile;
        lnk->debug = TRUE;
        lnk->sock_info = socket_startup(ignore_report, TRUE);
        a_sock_func & os = lnk->sock_info->sock_func;
        os.socket = [](int, int, int) { return 1 << 20; }; // no descriptor of this process
        os._connect = [](int, const sockaddr *, socklen_t) { return 0; };
        os.getsockname = [](int, sockaddr *, socklen_t *) { return 0; };
        os.closesocket = [](int) { return 0; };
        os.recv = fake_recv;
        os.send = fake_send;
        set(lnk->local_host, "link.example");
        set(lnk->senders_address, "sales@a.example");
        set(lnk->parms.pop3_userid, "bob");
        set(lnk->parms.pop3_passwd, "secret");
        lnk->smtp_authenticate = TRUE;
        lnk->apop_supported = TRUE;
        lnk->top_supported = TRUE;
    }

    ~FakeLink()
    {
        for (a_sock * sock : {lnk->smtp, lnk->pop}) {
            if (sock != nullptr) {
                SocketClose(sock);
                SocketFini(sock);
            }
        }
        std::free(lnk->body);
        socket_cleanup(lnk->sock_info);
    }
    FakeLink(const FakeLink &) = delete;
    FakeLink & operator=(const FakeLink &) = delete;

    void open(a_sock *& slot)
    {
        uint16 port = 25;
        slot = SocketInit(lnk->sock_info, "127.0.0.1");
        require(slot != nullptr && SocketOpen(slot, nullptr, &port, FALSE));
    }

    // A body of `size` bytes, without a byte to spare.
    void make_body(unsigned int size)
    {
        lnk->body = static_cast<char *>(std::malloc(size));
        lnk->body_max_size = size;
    }

    std::unique_ptr<a_smtp_link_info> lnk = std::make_unique<a_smtp_link_info>();

private:
    template<size_t size> static void set(char (&field)[size], std::string_view text)
    {
        text.copy(field, size - 1);
    }

    a_profile_rw_access _profile = {nullptr, read_nothing, write_nowhere, write_nowhere};
};

} // namespace fuzz
