// A TCP client without a protocol, for tests of servers. All waits are bounded by ten seconds.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace support {

class PlainClient {
public:
    explicit PlainClient(uint16_t port); // to 127.0.0.1; throws std::runtime_error when nobody listens
    ~PlainClient();
    PlainClient(const PlainClient &) = delete;
    PlainClient & operator=(const PlainClient &) = delete;

    bool send(std::string_view bytes); // false when the server has broken off
    std::string line();  // the next line without CR LF; "(end)", "(reset)" or "(silence)" if none comes
    std::string block(); // all up to and with the next CR LF . CR LF, or as line()
    std::string ask(std::string_view command); // sends it with CR LF, gives line()
    std::string rest();    // all bytes until the connection ends; how_it_ended() tells how
    std::string receive(); // the bytes of one recv, at most 64 KiB; "" at the end
    std::string how_it_ended() const { return _ending; } // "" while it is open
    void close();

private:
    bool fill();
    std::string until(std::string_view mark, size_t kept);

    int _handle;
    std::string _buffer;
    std::string _ending;
};

} // namespace support
