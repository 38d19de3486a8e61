#include "mailserver/channel.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace mailserver {

namespace {

constexpr size_t receive_size = 64U << 10;
constexpr std::chrono::milliseconds drain_time{10'000};

} // namespace

Channel::Channel(int handle, int stop_handle, std::chrono::milliseconds idle,
                 std::shared_ptr<FaultState> faults, Protocol protocol, unsigned connection)
    : _handle(handle), _stop_handle(stop_handle), _idle(idle), _faults(std::move(faults)),
      _protocol(protocol), _connection(connection), _incoming(receive_size)
{
    // Replies are written whole, so there is nothing to gather; and torn ones are meant to arrive torn.
    const int on = 1;
    (void)::setsockopt(_handle, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on); // works without, only slower
}

Channel::~Channel()
{
    if (_handle >= 0)
        ::close(_handle);
}

bool Channel::wait(short events, std::chrono::milliseconds at_most) const
{
    std::array<pollfd, 2> handles{{{_stop_handle, POLLIN, 0}, {events != 0 ? _handle : -1, events, 0}}};
    const auto end = std::chrono::steady_clock::now() + at_most;
    int ready = 0;
    do {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        ready = ::poll(handles.data(), handles.size(), static_cast<int>(std::max<long>(left.count(), 0)));
    } while (ready < 0 && errno == EINTR);
    return ready > 0 && handles[0].revents == 0;
}

bool Channel::pause(std::chrono::milliseconds time)
{
    if (time.count() > 0)
        (void)wait(0, time); // false either way; what counts is whether the server stops
    pollfd stop{_stop_handle, POLLIN, 0};
    return ::poll(&stop, 1, 0) == 0;
}

bool Channel::fill()
{
    if (_last_fill)
        return false;
    _buffer.erase(0, _start);
    _searched -= _start;
    _start = 0;
    ssize_t got = -1;
    do {
        got = ::recv(_handle, _incoming.data(), _incoming.size(), MSG_DONTWAIT);
    } while (got < 0 && (errno == EINTR || (errno == EAGAIN && wait(POLLIN, _idle))));
    if (got <= 0)
        return false;
    const FaultState::Passage passage =
        _faults->pass(_protocol, _connection, Direction::FromClient, static_cast<size_t>(got));
    _buffer.append(_incoming.data(), passage.bytes);
    _reset = _reset || passage.reset;
    _last_fill = passage.hang_up;
    return !passage.hang_up || (passage.edge == Edge::BeforeByte && passage.bytes > 0);
}

bool Channel::read_line(Line & line, size_t limit)
{
    for (;;) {
        const size_t end = _buffer.find("\r\n", _searched);
        if (end != _buffer.npos && end - _start <= limit) {
            line = {std::string_view(_buffer).substr(_start, end - _start), true};
            _start = _searched = end + 2;
            return true;
        }
        if (_buffer.size() - _start > limit) {
            line = {std::string_view(_buffer).substr(_start, limit), false};
            _start += limit;
            _searched = std::max(_searched, _start);
            return true;
        }
        _searched = std::max(_start, _buffer.size() - (_buffer.ends_with('\r') ? 1 : 0));
        if (!fill())
            return false;
    }
}

bool Channel::send_all(std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t done = ::send(_handle, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (done < 0 && errno != EINTR && !(errno == EAGAIN && wait(POLLOUT, _idle)))
            return false;
        bytes.remove_prefix(done < 0 ? 0 : static_cast<size_t>(done));
    }
    return true;
}

bool Channel::send(std::string_view bytes, size_t piece, std::chrono::milliseconds piece_delay)
{
    if (piece == 0)
        piece = std::max<size_t>(bytes.size(), 1);
    while (!bytes.empty()) {
        const FaultState::Passage passage =
            _faults->pass(_protocol, _connection, Direction::FromServer, std::min(piece, bytes.size()));
        if (!send_all(bytes.substr(0, passage.bytes)))
            return false;
        if (passage.hang_up) {
            _reset = _reset || passage.reset;
            return false;
        }
        bytes.remove_prefix(passage.bytes);
        if (!bytes.empty() && piece_delay.count() > 0 && !pause(piece_delay))
            return false;
    }
    return true;
}

void Channel::hang_up()
{
    if (_reset) {
        const linger at_once{1, 0};
        (void)::setsockopt(_handle, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once); // a FIN at worst
    } else if (::shutdown(_handle, SHUT_WR) == 0) {
        std::array<char, 4096> ignored{};
        const auto end = std::chrono::steady_clock::now() + drain_time;
        ssize_t got = 1;
        while (got > 0 && std::chrono::steady_clock::now() < end && wait(POLLIN, drain_time))
            got = ::recv(_handle, ignored.data(), ignored.size(), MSG_DONTWAIT);
    }
    ::close(_handle);
    _handle = -1;
}

} // namespace mailserver
