#include "support/plain_client.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <utility>
#include <vector>

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace support {

PlainClient::PlainClient(uint16_t port) : _handle(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    name.sin_port = htons(port);
    const timeval patience{10, 0};
    if (_handle < 0 || ::setsockopt(_handle, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience) != 0 ||
        ::setsockopt(_handle, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience) != 0 ||
        ::connect(_handle, reinterpret_cast<const sockaddr *>(&name), sizeof name) != 0) {
        close();
        throw std::runtime_error("no connection to port " + std::to_string(port));
    }
}

PlainClient::~PlainClient()
{
    close();
}

void PlainClient::close()
{
    if (_handle >= 0)
        ::close(std::exchange(_handle, -1));
}

bool PlainClient::send(std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t done = ::send(_handle, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (done < 0)
            return false;
        bytes.remove_prefix(static_cast<size_t>(done));
    }
    return true;
}

std::string PlainClient::receive()
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

bool PlainClient::fill()
{
    if (_ending.empty())
        _buffer += receive();
    return _ending.empty();
}

std::string PlainClient::until(std::string_view mark, size_t kept)
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

std::string PlainClient::line()
{
    return until("\r\n", 0);
}

std::string PlainClient::block()
{
    return until("\r\n.\r\n", 5);
}

std::string PlainClient::ask(std::string_view command)
{
    return send(std::string(command) + "\r\n") ? line() : "(reset)";
}

std::string PlainClient::rest()
{
    while (fill()) {
    }
    return std::exchange(_buffer, "");
}

} // namespace support
