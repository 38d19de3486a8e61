#include "support/scripted_server.h"

#include <algorithm>
#include <cerrno>
#include <regex>
#include <stdexcept>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace support {

namespace {

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
    return hear_like(".*");
}

Row collect_data()
{
    return {Row::Kind::CollectData};
}

Row say(const std::string & line)
{
    return say_bytes(line + "\r\n");
}

Row say_bytes(std::string bytes, size_t piece)
{
    return {Row::Kind::Say, std::move(bytes), piece};
}

Row hang_up()
{
    return {Row::Kind::HangUp};
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

ScriptedServer::ScriptedServer(std::chrono::milliseconds patience) : _patience(patience)
{
    for (size_t i = 0; i < _listeners.size(); ++i)
        _listeners[i] = listen_on_loopback(_ports[i]);
    _acceptor = std::thread([this] { accept_all(); });
}

void ScriptedServer::expect(Port port, std::vector<Row> rows)
{
    const std::lock_guard lock(_mutex);
    std::string name = std::string(name_of(port)) + "#" + std::to_string(_conversations.size() + 1);
    _conversations.push_back({port, std::move(rows), std::move(name)});
}

void ScriptedServer::accept_all()
{
    std::array<pollfd, 2> handles{{{_listeners[0], POLLIN, 0}, {_listeners[1], POLLIN, 0}}};
    while (::poll(handles.data(), handles.size(), -1) >= 0 || errno == EINTR) {
        const std::lock_guard lock(_mutex);
        if (_over)
            return;
        accept_one(Port::Smtp);
        accept_one(Port::Pop3);
    }
}

void ScriptedServer::accept_one(Port port)
{
    const int handle = ::accept4(_listeners[static_cast<size_t>(port)], nullptr, nullptr, SOCK_CLOEXEC);
    if (handle < 0)
        return;
    const auto next = std::find_if(_conversations.begin(), _conversations.end(),
                                   [](const Conversation & other) { return other.client == nullptr; });
    if (next == _conversations.end() || next->port != port) {
        ::close(handle);
        fail(std::string(name_of(port)) + (next == _conversations.end()
                                               ? ": a connection too many"
                                               : ": a connection in the other port's turn"));
        return;
    }
    next->client = std::make_unique<PlainConnection>(handle, _patience);
    next->thread = std::thread([this, &conversation = *next] { play(conversation); });
}

void ScriptedServer::play(Conversation & conversation)
{
    std::string wrong;
    const std::string & ending = conversation.client->how_it_ended();
    for (auto row = conversation.rows.begin(); row != conversation.rows.end() && ending.empty(); ++row) {
        if (wrong = play(conversation, *row); !wrong.empty())
            break;
    }
    if (wrong.empty() && ending.empty())
        wrong = wait_for_end(*conversation.client);
    const std::lock_guard lock(_mutex);
    conversation.client->close();
    conversation.ended = true;
    if (!wrong.empty())
        fail(conversation.name + ": " + wrong);
    _changed.notify_all();
}

// What is wrong, or nothing.
std::string ScriptedServer::play(Conversation & conversation, const Row & row)
{
    PlainConnection & client = *conversation.client;
    if (row.kind == Row::Kind::Say) {
        if (client.has_unread())
            return "bytes came before the server had answered";
        log(conversation.name + " > " + testing::PrintToString(row.text));
        const size_t piece = row.piece == 0 ? std::max<size_t>(row.text.size(), 1) : row.piece;
        for (size_t sent = 0; sent < row.text.size(); sent += piece) {
            if (!client.send(std::string_view(row.text).substr(sent, piece)))
                return "the client took no more bytes";
        }
        return "";
    }
    if (row.kind == Row::Kind::HangUp) {
        client.hang_up(); // closing over unread bytes would send an RST
        while (!client.receive().empty()) {
        }
        return client.how_it_ended() == "(silence)" ? "the client did not end after a hang-up" : "";
    }
    if (row.kind == Row::Kind::Reset) {
        client.reset_at_close();
        return "";
    }
    const std::string heard = row.kind == Row::Kind::CollectData ? client.block() : client.line();
    log(conversation.name + " < " + testing::PrintToString(heard));
    if (row.kind != Row::Kind::Hear)
        conversation.collected.push_back(heard);
    const bool fits =
        row.kind == Row::Kind::CollectData ||
        (row.kind == Row::Kind::Hear ? heard == row.text : std::regex_match(heard, std::regex(row.text)));
    return client.how_it_ended().empty() && fits ? "" : "wanted: " + testing::PrintToString(row.text);
}

std::string ScriptedServer::wait_for_end(PlainConnection & client)
{
    if (client.has_unread() || !client.receive().empty())
        return "bytes too many: the script is over";
    return client.how_it_ended() == "(silence)" ? "the client did not end in time" : "";
}

void ScriptedServer::log(const std::string & line)
{
    const std::lock_guard lock(_mutex);
    _transcript += line + "\n";
}

// Only the first failure counts: others follow from it, or from the end of the server.
void ScriptedServer::fail(const std::string & why)
{
    if (_failure.empty() && !_over) {
        _failure = why;
        stop();
    }
}

// Wakes all threads. A client that tries again is refused at once.
void ScriptedServer::stop()
{
    _over = true;
    for (const int listener : _listeners)
        (void)::shutdown(listener, SHUT_RDWR); // a second time does nothing
    for (const Conversation & conversation : _conversations) {
        if (conversation.client != nullptr && !conversation.ended)
            conversation.client->abort();
    }
    _changed.notify_all();
}

testing::AssertionResult ScriptedServer::verdict()
{
    {
        std::unique_lock lock(_mutex);
        const auto all_ended = [this] {
            return std::all_of(_conversations.begin(), _conversations.end(),
                               [](const Conversation & conversation) { return conversation.ended; });
        };
        (void)_changed.wait_for(lock, _patience, [&] { return _over || all_ended(); });
        if (!_over) {
            accept_one(Port::Smtp); // one that has just come is one too many as well
            accept_one(Port::Pop3);
        }
        if (!all_ended())
            fail("a connection never came, or did not end");
    }
    end();
    if (_failure.empty())
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << _failure << "\n" << _transcript;
}

void ScriptedServer::end()
{
    if (!_acceptor.joinable())
        return;
    {
        const std::lock_guard lock(_mutex);
        stop();
    }
    _acceptor.join();
    for (Conversation & conversation : _conversations) {
        if (conversation.thread.joinable())
            conversation.thread.join();
    }
    for (const int listener : _listeners)
        ::close(listener);
}

std::vector<std::string> ScriptedServer::collected() const
{
    std::vector<std::string> all;
    for (const Conversation & conversation : _conversations)
        all.insert(all.end(), conversation.collected.begin(), conversation.collected.end());
    return all;
}

} // namespace support
