#include "support/plain_client.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <utility>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace support {

namespace {

int connected(uint16_t port)
{
    const int handle = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    name.sin_port = htons(port);
    if (::connect(handle, reinterpret_cast<const sockaddr *>(&name), sizeof name) != 0) {
        ::close(handle);
        throw std::runtime_error("no connection to port " + std::to_string(port));
    }
    return handle;
}

} // namespace

PlainConnection::PlainConnection(int handle, std::chrono::milliseconds patience) : _handle(handle)
{
    const timeval wait{patience.count() / 1000, patience.count() % 1000 * 1000};
    const int on = 1; // what is sent in pieces leaves in pieces
    if (::setsockopt(_handle, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait) != 0 ||
        ::setsockopt(_handle, SOL_SOCKET, SO_SNDTIMEO, &wait, sizeof wait) != 0 ||
        ::setsockopt(_handle, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) != 0)
        throw std::runtime_error("no option can be set");
}

void PlainConnection::close()
{
    if (_handle >= 0)
        ::close(std::exchange(_handle, -1));
}

void PlainConnection::hang_up()
{
    (void)::shutdown(_handle, SHUT_WR); // the peer may have gone
}

void PlainConnection::reset_at_close()
{
    const linger at_once{1, 0};
    (void)::setsockopt(_handle, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once); // a FIN at worst
    _ending = "(reset)";
}

void PlainConnection::abort() const
{
    (void)::shutdown(_handle, SHUT_RDWR); // the peer may have gone
}

bool PlainConnection::send(std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t done = ::send(_handle, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (done < 0)
            return false;
        bytes.remove_prefix(static_cast<size_t>(done));
    }
    return true;
}

std::string PlainConnection::receive()
{
    std::string bytes(64U << 10, '\0');
    const ssize_t got = ::recv(_handle, bytes.data(), bytes.size(), 0);
    if (got == 0)
        _ending = "(end)";
    else if (got < 0)
        _ending = errno == EAGAIN ? "(silence)" : "(reset)";
    bytes.resize(got > 0 ? static_cast<size_t>(got) : 0);
    return bytes;
}

bool PlainConnection::fill()
{
    if (_ending.empty())
        _buffer += receive();
    return _ending.empty();
}

std::string PlainConnection::until(std::string_view mark, size_t kept)
{
    size_t at = _buffer.find(mark);
    while (at == std::string::npos) {
        const size_t from = _buffer.size() - std::min(_buffer.size(), mark.size());
        if (!fill())
            return _ending;
        at = _buffer.find(mark, from);
    }
    std::string text = _buffer.substr(0, at + kept);
    _buffer.erase(0, at + mark.size());
    return text;
}

std::string PlainConnection::line()
{
    return until("\r\n", 0);
}

std::string PlainConnection::block()
{
    return until("\r\n.\r\n", 5);
}

std::string PlainConnection::rest()
{
    while (fill()) {
    }
    return std::exchange(_buffer, "");
}

PlainClient::PlainClient(uint16_t port) : PlainConnection(connected(port), std::chrono::seconds(10)) {}

std::string PlainClient::ask(std::string_view command)
{
    return send(std::string(command) + "\r\n") ? line() : "(reset)";
}

} // namespace support
