#include "support/scripted_server.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <condition_variable>
#include <list>
#include <mutex>
#include <optional>
#include <regex>
#include <stdexcept>
#include <thread>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace support {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr std::string_view end_mark = "\r\n.\r\n";
constexpr size_t most_unheard = 16U << 20; // bytes without the line end or end mark that is waited for

std::string visible(std::string_view bytes)
{
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\r')
            text += "\\r";
        else if (c == '\n')
            text += "\\n";
        else if (byte < ' ' || byte == 127)
            text.append("\\x").append(1, digits[byte >> 4]).append(1, digits[byte & 15]);
        else
            text += c;
    }
    return text;
}

// Where two texts part, for long ones that differ in one byte.
std::string difference(std::string_view expected, std::string_view heard)
{
    const auto at = std::mismatch(expected.begin(), expected.end(), heard.begin(), heard.end()).first;
    return " (first difference at byte " + std::to_string(at - expected.begin()) + ")";
}

milliseconds until(Clock::time_point end)
{
    return std::max(milliseconds(0), std::chrono::ceil<milliseconds>(end - Clock::now()));
}

int listen_on_loopback(uint16_t & port)
{
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof name;
    auto * address = reinterpret_cast<sockaddr *>(&name);
    const int handle = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (handle < 0 || ::bind(handle, address, size) != 0 || ::listen(handle, SOMAXCONN) != 0 ||
        ::getsockname(handle, address, &size) != 0)
        throw std::runtime_error("no port for the scripted server");
    port = ntohs(name.sin_port);
    return handle;
}

const char * name_of(Port port)
{
    return port == Port::Smtp ? "smtp" : "pop3";
}

} // namespace

Row hear(std::string line)
{
    return {Row::Kind::Hear, std::move(line)};
}

Row hear_like(std::string regex)
{
    return {Row::Kind::HearLike, std::move(regex)};
}

Row hear_anything()
{
    return {Row::Kind::HearAnything};
}

Row collect_data()
{
    return {Row::Kind::CollectData};
}

Row hear_end()
{
    return {Row::Kind::HearEnd};
}

Row say(std::string line)
{
    return {Row::Kind::Say, line + "\r\n"};
}

Row say_bytes(std::string bytes)
{
    return {Row::Kind::Say, std::move(bytes)};
}

Row in_pieces(Row row, size_t piece)
{
    row.piece = piece;
    return row;
}

Row hang_up()
{
    return {Row::Kind::Close};
}

Row reset()
{
    return {Row::Kind::Reset};
}

std::vector<Row> operator+(std::vector<Row> first, const std::vector<Row> & second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

class ScriptedServer::Impl {
public:
    explicit Impl(milliseconds patience);
    ~Impl() { end(); }
    Impl(const Impl &) = delete;
    Impl & operator=(const Impl &) = delete;

    uint16_t port(Port port) const { return _ports[static_cast<size_t>(port)]; }
    void expect(Port port, std::vector<Row> rows);
    testing::AssertionResult verdict();
    std::vector<std::string> collected();
    std::string transcript() const;

private:
    struct Conversation {
        Port port;
        std::vector<Row> rows;
        unsigned number;
        bool ended = false; // under _mutex
        std::vector<std::string> collected = {};
        std::thread thread = {};
    };
    class Player;

    void accept_loop();
    void accept_one(Port port);
    bool all_ended() const;
    void end();
    void log(const std::string & who, char mark, std::string_view text);
    void fail(const std::string & who, const std::string & why);

    const milliseconds _patience;
    std::array<int, 2> _listeners{};
    std::array<uint16_t, 2> _ports{};
    int _stop; // readable from the end on, and from the first failure on
    std::thread _acceptor;
    mutable std::mutex _mutex; // all below
    std::condition_variable _changed;
    std::list<Conversation> _conversations;
    unsigned _accepted = 0;
    std::string _transcript;
    std::string _failure; // the first one
};

// Plays the rows of one connection.
class ScriptedServer::Impl::Player {
public:
    Player(Impl & server, Conversation & conversation, int handle)
        : _server(server), _conversation(conversation), _handle(handle),
          _who(std::string(name_of(conversation.port)) + "#" + std::to_string(conversation.number))
    {
        const int on = 1;
        (void)::setsockopt(handle, IPPROTO_TCP, TCP_NODELAY, &on,
                           sizeof on); // pieces may stick together without
    }
    ~Player() { ::close(_handle); }
    Player(const Player &) = delete;
    Player & operator=(const Player &) = delete;

    void play();

private:
    bool play_row(const Row & row);
    bool play_line(const Row & row);
    bool play_data();
    bool say(const Row & row);
    bool hear_end(const char * wrong);
    bool drain();
    bool ready(short events, Clock::time_point end) const;
    std::optional<std::string> take(size_t length);
    std::optional<size_t> find(std::string_view mark, const std::string & wanted);
    bool fill(const std::string & wanted);
    bool wrong(const std::string & why);

    Impl & _server;
    Conversation & _conversation;
    int _handle;
    std::string _who;
    std::string _heard; // and not yet compared
};

void ScriptedServer::Impl::Player::play()
{
    for (const Row & row : _conversation.rows) {
        if (!play_row(row))
            return;
        if (row.kind == Row::Kind::Close || row.kind == Row::Kind::Reset || row.kind == Row::Kind::HearEnd)
            return;
    }
    (void)hear_end("the script is over"); // told by the verdict
}

bool ScriptedServer::Impl::Player::play_row(const Row & row)
{
    switch (row.kind) {
    case Row::Kind::Hear:
    case Row::Kind::HearLike:
    case Row::Kind::HearAnything:
        return play_line(row);
    case Row::Kind::CollectData:
        return play_data();
    case Row::Kind::HearEnd:
        return hear_end("the client should end here");
    case Row::Kind::Say:
        return say(row);
    case Row::Kind::Close:
        return drain();
    case Row::Kind::Reset:
        const linger at_once{1, 0};
        (void)::setsockopt(_handle, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once); // a FIN at worst
        _server.log(_who, '>', "(reset)");
        return true;
    }
    return false;
}

bool ScriptedServer::Impl::Player::wrong(const std::string & why)
{
    if (!_heard.empty())
        _server.log(_who, '<', _heard);
    _server.fail(_who, why);
    return false;
}

bool ScriptedServer::Impl::Player::ready(short events, Clock::time_point end) const
{
    std::array<pollfd, 2> handles{{{_server._stop, POLLIN, 0}, {_handle, events, 0}}};
    int count = 0;
    do
        count = ::poll(handles.data(), handles.size(), static_cast<int>(until(end).count()));
    while (count < 0 && errno == EINTR);
    return count > 0 && handles[0].revents == 0;
}

// More bytes of the client; a failure when there are none, told together with what was wanted.
bool ScriptedServer::Impl::Player::fill(const std::string & wanted)
{
    std::array<char, 16384> bytes{};
    if (!ready(POLLIN, Clock::now() + _server._patience))
        return wrong("nothing was heard in time; wanted: " + wanted);
    const ssize_t got = ::recv(_handle, bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (got <= 0)
        return wrong(std::string(got == 0 ? "the client ended" : "the client broke off") +
                     "; wanted: " + wanted);
    _heard.append(bytes.data(), static_cast<size_t>(got));
    return _heard.size() <= most_unheard || wrong("too many bytes; wanted: " + wanted);
}

std::optional<size_t> ScriptedServer::Impl::Player::find(std::string_view mark, const std::string & wanted)
{
    size_t from = 0;
    for (;;) {
        const size_t at = _heard.find(mark, from);
        if (at != _heard.npos)
            return at;
        from = _heard.size() - std::min(_heard.size(), mark.size() - 1);
        if (!fill(wanted))
            return std::nullopt;
    }
}

bool ScriptedServer::Impl::Player::play_line(const Row & row)
{
    const std::string wanted =
        row.kind == Row::Kind::HearAnything ? "any line" : "\"" + visible(row.text) + "\"";
    const std::optional<size_t> end = find("\r\n", wanted);
    if (!end)
        return false;
    const std::string line = _heard.substr(0, *end);
    _heard.erase(0, *end + 2);
    _server.log(_who, '<', line);
    if (row.kind == Row::Kind::Hear)
        return line == row.text || wrong("wanted: " + wanted + difference(row.text, line));
    _conversation.collected.push_back(line);
    return row.kind == Row::Kind::HearAnything || std::regex_match(line, std::regex(row.text)) ||
           wrong("wanted a line like: " + wanted);
}

bool ScriptedServer::Impl::Player::play_data()
{
    const std::string wanted = "a block with its end mark";
    while (_heard.size() < 3) { // an empty block is its end mark without the first CR LF
        if (!fill(wanted))
            return false;
    }
    size_t length = 3;
    if (!_heard.starts_with(".\r\n")) {
        const std::optional<size_t> end = find(end_mark, wanted);
        if (!end)
            return false;
        length = *end + end_mark.size();
    }
    const std::string block = _heard.substr(0, length);
    _heard.erase(0, length);
    _server.log(_who, '<', block);
    _conversation.collected.push_back(block);
    return true;
}

bool ScriptedServer::Impl::Player::say(const Row & row)
{
    if (!_heard.empty())
        return wrong("bytes came before the server had answered");
    _server.log(_who, '>',
                std::string_view(row.text).substr(0, row.text.size() - (row.text.ends_with("\r\n") ? 2 : 0)));
    const size_t piece = row.piece == 0 ? row.text.size() : row.piece;
    const Clock::time_point end = Clock::now() + _server._patience;
    for (size_t sent = 0; sent < row.text.size();) {
        const ssize_t done = ::send(_handle, row.text.data() + sent, std::min(piece, row.text.size() - sent),
                                    MSG_NOSIGNAL | MSG_DONTWAIT);
        if (done < 0 && !(errno == EAGAIN && ready(POLLOUT, end)))
            return wrong("the client took no more bytes");
        sent += done < 0 ? 0 : static_cast<size_t>(done);
    }
    return true;
}

bool ScriptedServer::Impl::Player::hear_end(const char * reason)
{
    std::array<char, 4096> bytes{};
    if (!_heard.empty())
        return wrong(std::string("bytes too many: ") + reason);
    if (!ready(POLLIN, Clock::now() + _server._patience))
        return wrong(std::string("the client did not end in time: ") + reason);
    const ssize_t got = ::recv(_handle, bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (got > 0) {
        _heard.assign(bytes.data(), static_cast<size_t>(got));
        return wrong(std::string("bytes too many: ") + reason);
    }
    _server.log(_who, '<', "(end)");
    return true;
}

// FIN, and then silence until the client has ended, too: closing over unread bytes would send an RST.
bool ScriptedServer::Impl::Player::drain()
{
    _server.log(_who, '>', "(hang up)");
    (void)::shutdown(_handle, SHUT_WR); // the client may have gone
    std::array<char, 4096> ignored{};
    const Clock::time_point end = Clock::now() + _server._patience;
    ssize_t got = 1;
    while (got > 0) {
        if (!ready(POLLIN, end))
            return wrong("the client did not end in time after a hang-up");
        got = ::recv(_handle, ignored.data(), ignored.size(), MSG_DONTWAIT);
    }
    return true;
}

ScriptedServer::Impl::Impl(milliseconds patience)
    : _patience(patience), _stop(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    for (size_t i = 0; i < _listeners.size(); ++i)
        _listeners[i] = listen_on_loopback(_ports[i]);
    _acceptor = std::thread([this] { accept_loop(); });
}

void ScriptedServer::Impl::expect(Port port, std::vector<Row> rows)
{
    const std::lock_guard lock(_mutex);
    const auto number = static_cast<unsigned>(_conversations.size() + 1);
    _conversations.push_back({port, std::move(rows), number});
}

void ScriptedServer::Impl::accept_loop()
{
    std::array<pollfd, 3> handles{
        {{_stop, POLLIN, 0}, {_listeners[0], POLLIN, 0}, {_listeners[1], POLLIN, 0}}};
    while (::poll(handles.data(), handles.size(), -1) >= 0 || errno == EINTR) {
        if (handles[0].revents != 0)
            break;
        if (handles[1].revents != 0)
            accept_one(Port::Smtp);
        if (handles[2].revents != 0)
            accept_one(Port::Pop3);
    }
    // A connection that nobody has accepted yet is one too many as well. From then on a client that tries
    // again is refused at once.
    accept_one(Port::Smtp);
    accept_one(Port::Pop3);
    for (const int listener : _listeners)
        ::close(listener);
}

void ScriptedServer::Impl::accept_one(Port port)
{
    std::unique_lock lock(_mutex);
    const int handle = ::accept4(_listeners[static_cast<size_t>(port)], nullptr, nullptr, SOCK_CLOEXEC);
    if (handle < 0)
        return;
    const auto next =
        std::find_if(_conversations.begin(), _conversations.end(),
                     [this](const Conversation & other) { return other.number == _accepted + 1; });
    if (next == _conversations.end() || next->port != port) {
        lock.unlock();
        ::close(handle);
        fail(name_of(port), next == _conversations.end()
                                ? "a connection too many"
                                : "a connection to this port when the other port's turn is");
        return;
    }
    ++_accepted;
    next->thread = std::thread([this, &conversation = *next, handle] {
        Player(*this, conversation, handle).play();
        const std::lock_guard ending(_mutex);
        conversation.ended = true;
        _changed.notify_all();
    });
}

void ScriptedServer::Impl::log(const std::string & who, char mark, std::string_view text)
{
    const std::lock_guard lock(_mutex);
    _transcript.append(who).append(" ").append(1, mark).append(" ").append(visible(text)).append("\n");
}

void ScriptedServer::Impl::fail(const std::string & who, const std::string & why)
{
    {
        const std::lock_guard lock(_mutex);
        if (!_failure.empty())
            return; // what follows from the first one, or the end of the server
        _failure = who + ": " + why;
        _transcript.append(who).append(" ! ").append(why).append("\n");
    }
    const uint64_t one = 1;
    (void)!::write(_stop, &one, sizeof one); // can't fail below 2^64 calls
    _changed.notify_all();
}

bool ScriptedServer::Impl::all_ended() const
{
    return std::all_of(_conversations.begin(), _conversations.end(),
                       [](const Conversation & conversation) { return conversation.ended; });
}

testing::AssertionResult ScriptedServer::Impl::verdict()
{
    {
        std::unique_lock lock(_mutex);
        (void)_changed.wait_for(lock, _patience, [this] { return !_failure.empty() || all_ended(); });
        if (_failure.empty() && !all_ended())
            _failure = _accepted < _conversations.size()
                           ? "connection " + std::to_string(_accepted + 1) + " never came"
                           : "a connection did not end in time";
    }
    end();
    const std::lock_guard lock(_mutex);
    if (_failure.empty())
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << _failure << "\n" << _transcript;
}

void ScriptedServer::Impl::end()
{
    if (!_acceptor.joinable())
        return;
    const uint64_t one = 1;
    (void)!::write(_stop, &one, sizeof one); // can't fail below 2^64 calls
    _acceptor.join();
    for (Conversation & conversation : _conversations) {
        if (conversation.thread.joinable())
            conversation.thread.join();
    }
    ::close(_stop);
}

std::vector<std::string> ScriptedServer::Impl::collected()
{
    std::vector<std::string> all;
    const std::lock_guard lock(_mutex);
    for (const Conversation & conversation : _conversations)
        all.insert(all.end(), conversation.collected.begin(), conversation.collected.end());
    return all;
}

std::string ScriptedServer::Impl::transcript() const
{
    const std::lock_guard lock(_mutex);
    return _transcript;
}

ScriptedServer::ScriptedServer(milliseconds patience) : _impl(std::make_unique<Impl>(patience)) {}

ScriptedServer::~ScriptedServer() = default;

uint16_t ScriptedServer::port(Port port) const
{
    return _impl->port(port);
}

void ScriptedServer::expect(Port port, std::vector<Row> rows)
{
    _impl->expect(port, std::move(rows));
}

testing::AssertionResult ScriptedServer::verdict()
{
    return _impl->verdict();
}

std::vector<std::string> ScriptedServer::collected()
{
    return _impl->collected();
}

std::string ScriptedServer::transcript() const
{
    return _impl->transcript();
}

} // namespace support
