// TCP connections without a protocol, for tests of servers and the servers of tests. All waits are bounded.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace support {

class PlainConnection {
public:
    PlainConnection(int handle, std::chrono::milliseconds patience); // owns the handle
    ~PlainConnection() { close(); }
    PlainConnection(const PlainConnection &) = delete;
    PlainConnection & operator=(const PlainConnection &) = delete;

    bool send(std::string_view bytes); // false when the peer has broken off
    std::string line();    // the next line without CR LF; "(end)", "(reset)" or "(silence)" if none comes
    std::string block();   // all up to and with the next CR LF . CR LF, or as line()
    std::string rest();    // all bytes until the connection ends; how_it_ended() tells how
    std::string receive(); // the bytes of one recv, at most 64 KiB; "" at the end
    const std::string & how_it_ended() const { return _ending; } // "" while it is open
    bool has_unread() const { return !_buffer.empty(); }
    void hang_up();        // FIN
    void reset_at_close(); // RST
    void abort() const;    // wakes whoever waits, on another thread, too
    void close();

private:
    bool fill();
    std::string until(std::string_view mark, size_t kept);

    int _handle;
    std::string _buffer;
    std::string _ending;
};

class PlainClient : public PlainConnection {
public:
    explicit PlainClient(uint16_t port);       // to 127.0.0.1; throws std::runtime_error when nobody listens
    std::string ask(std::string_view command); // sends it with CR LF, gives line()
};

} // namespace support
