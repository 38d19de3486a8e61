#include "mailserver/server.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <list>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include "mailserver/connection.h"

namespace mailserver {

namespace {

constexpr size_t most_connections = 256; // each has a thread

class Handle {
public:
    Handle() = default;
    explicit Handle(int handle) : _handle(handle)
    {
        if (handle < 0)
            throw std::system_error(errno, std::generic_category(), "mail server");
    }
    ~Handle() { close(); }
    Handle(Handle && other) noexcept : _handle(std::exchange(other._handle, -1)) {}
    Handle & operator=(Handle && other) noexcept
    {
        std::swap(_handle, other._handle);
        return *this;
    }
    void close()
    {
        if (_handle >= 0)
            ::close(std::exchange(_handle, -1));
    }
    int get() const { return _handle; }
    int release() { return std::exchange(_handle, -1); }

private:
    int _handle = -1;
};

in_addr loopback_address(const std::string & text)
{
    in_addr address{};
    if (::inet_pton(AF_INET, text.c_str(), &address) != 1 || (ntohl(address.s_addr) >> 24) != IN_LOOPBACKNET)
        throw std::invalid_argument(text + " is no loopback address, and this server takes no other");
    return address;
}

Handle listen_on(const std::string & address, uint16_t port)
{
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_addr = loopback_address(address);
    name.sin_port = htons(port);
    Handle handle(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int on = 1; // a port of a server that has just ended can be taken again
    (void)::setsockopt(handle.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (::bind(handle.get(), reinterpret_cast<const sockaddr *>(&name), sizeof name) != 0 ||
        ::listen(handle.get(), SOMAXCONN) != 0)
        throw std::system_error(errno, std::generic_category(), address + ":" + std::to_string(port));
    return handle;
}

uint16_t port_of(const Handle & handle)
{
    sockaddr_in name{};
    socklen_t size = sizeof name;
    if (handle.get() < 0 || ::getsockname(handle.get(), reinterpret_cast<sockaddr *>(&name), &size) != 0)
        return 0;
    return ntohs(name.sin_port);
}

} // namespace

class Server::Impl {
public:
    Impl(Config config, std::shared_ptr<Store> store) : _config(std::move(config)), _store(std::move(store))
    {
    }
    ~Impl() { stop(); }
    Impl(const Impl &) = delete;
    Impl & operator=(const Impl &) = delete;

    void start();
    void stop();
    uint16_t port(Protocol protocol) const { return _ports[static_cast<size_t>(protocol)]; }
    void set_faults(FaultScript script);
    std::shared_ptr<FaultState> faults() const;
    bool wait_idle(std::chrono::milliseconds at_most) const;

private:
    struct Worker {
        std::thread thread;
        std::atomic<bool> done = false;
    };
    void accept_loop();
    void accept_one(Protocol protocol);
    void serve(Protocol protocol, Handle handle, std::shared_ptr<FaultState> faults, unsigned number,
               unsigned serial);
    void reap();
    bool idle() const;
    TraceFunction tracer(Protocol protocol, unsigned number);

    const Config _config;
    const std::shared_ptr<Store> _store;
    std::array<Handle, 2> _listeners; // by Protocol
    std::array<std::atomic<uint16_t>, 2> _ports{};
    Handle _stop;
    std::thread _acceptor;
    std::list<Worker> _workers; // under _mutex, as the next two
    mutable std::mutex _mutex;
    std::shared_ptr<FaultState> _faults = std::make_shared<FaultState>(FaultScript{});
    unsigned _serial = 0;
    std::mutex _trace_mutex;
};

void Server::Impl::start()
{
    _listeners[0] = listen_on(_config.address, _config.smtp_port);
    _listeners[1] = listen_on(_config.address, _config.pop3_port);
    _ports[0] = port_of(_listeners[0]);
    _ports[1] = port_of(_listeners[1]);
    _stop = Handle(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    _acceptor = std::thread([this] { accept_loop(); });
}

void Server::Impl::stop()
{
    if (!_acceptor.joinable())
        return;
    const uint64_t one = 1;
    (void)!::write(_stop.get(), &one, sizeof one); // can't fail below 2^64 calls; the handle stays readable
    _acceptor.join();
    for (Worker & worker : _workers)
        worker.thread.join();
    {
        const std::lock_guard lock(_mutex);
        _workers.clear();
    }
    for (Handle & listener : _listeners)
        listener.close();
}

void Server::Impl::accept_loop()
{
    std::array<pollfd, 3> handles{
        {{_stop.get(), POLLIN, 0}, {_listeners[0].get(), POLLIN, 0}, {_listeners[1].get(), POLLIN, 0}}};
    while (::poll(handles.data(), handles.size(), -1) >= 0 || errno == EINTR) {
        if (handles[0].revents != 0)
            return;
        if (handles[1].revents != 0)
            accept_one(Protocol::Smtp);
        if (handles[2].revents != 0)
            accept_one(Protocol::Pop3);
    }
}

// Under the lock from accept on, so that for wait_idle a connection is either still to be accepted or already
// counted.
void Server::Impl::accept_one(Protocol protocol)
{
    const std::lock_guard lock(_mutex);
    reap();
    const int accepted =
        ::accept4(_listeners[static_cast<size_t>(protocol)].get(), nullptr, nullptr, SOCK_CLOEXEC);
    if (accepted < 0)
        return; // the client has gone already
    Handle handle(accepted);
    if (_workers.size() >= most_connections)
        return;
    const unsigned number = _faults->new_connection(protocol);
    Worker & worker = _workers.emplace_back();
    try {
        worker.thread = std::thread([this, protocol, handle = std::move(handle), faults = _faults, number,
                                     serial = ++_serial, &worker]() mutable {
            serve(protocol, std::move(handle), std::move(faults), number, serial);
            worker.done = true;
        });
    } catch (const std::system_error &) {
        _workers.pop_back(); // no more threads: the client finds its connection closed
    }
}

void Server::Impl::serve(Protocol protocol, Handle handle, std::shared_ptr<FaultState> faults,
                         unsigned number, unsigned serial)
{
    auto channel =
        std::make_unique<Channel>(handle.release(), _stop.get(), _config.idle, faults, protocol, number);
    auto session = protocol == Protocol::Smtp ? make_smtp_session(_config, *_store, serial)
                                              : make_pop3_session(_config, *_store, serial);
    Connection({_config, protocol, number, std::move(faults), tracer(protocol, number)}, std::move(channel),
               std::move(session))
        .serve();
}

void Server::Impl::reap()
{
    _workers.remove_if([](Worker & worker) {
        if (!worker.done)
            return false;
        worker.thread.join();
        return true;
    });
}

TraceFunction Server::Impl::tracer(Protocol protocol, unsigned number)
{
    if (!_config.trace)
        return {};
    return [this, protocol, number](Side side, std::string_view text) {
        const std::lock_guard lock(_trace_mutex);
        _config.trace({protocol, number, side, text});
    };
}

void Server::Impl::set_faults(FaultScript script)
{
    auto faults = std::make_shared<FaultState>(std::move(script));
    const std::lock_guard lock(_mutex);
    _faults = std::move(faults);
}

std::shared_ptr<FaultState> Server::Impl::faults() const
{
    const std::lock_guard lock(_mutex);
    return _faults;
}

bool Server::Impl::idle() const
{
    const std::lock_guard lock(_mutex);
    std::array<pollfd, 2> waiting{{{_listeners[0].get(), POLLIN, 0}, {_listeners[1].get(), POLLIN, 0}}};
    return ::poll(waiting.data(), waiting.size(), 0) == 0 &&
           std::all_of(_workers.begin(), _workers.end(),
                       [](const Worker & worker) { return worker.done.load(); });
}

bool Server::Impl::wait_idle(std::chrono::milliseconds at_most) const
{
    const auto end = std::chrono::steady_clock::now() + at_most;
    while (!idle()) {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

Server::Server(Config config, std::shared_ptr<Store> store)
    : _impl(std::make_unique<Impl>(std::move(config), std::move(store)))
{
}

Server::~Server() = default;

void Server::start()
{
    _impl->start();
}

void Server::stop()
{
    _impl->stop();
}

uint16_t Server::smtp_port() const
{
    return _impl->port(Protocol::Smtp);
}

uint16_t Server::pop3_port() const
{
    return _impl->port(Protocol::Pop3);
}

void Server::set_faults(FaultScript script)
{
    _impl->set_faults(std::move(script));
}

size_t Server::fault_hits() const
{
    return _impl->faults()->hits();
}

Counters Server::counters(Protocol protocol) const
{
    return _impl->faults()->counters(protocol);
}

bool Server::wait_idle(std::chrono::milliseconds at_most) const
{
    return _impl->wait_idle(at_most);
}

} // namespace mailserver
