// One accepted connection: lines in, bytes out, both under the faults of the script. Every wait ends when the
// server stops or the connection has been idle for too long.
//
// Failure: false; the connection is of no use any more, and hang_up is what is left to do.
// Threads: one thread per channel.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "mailserver/fault_state.h"

namespace mailserver {

class Channel {
public:
    // Owns `handle` and closes it; `stop_handle` becomes readable when the server stops, and stays the
    // server's.
    Channel(int handle, int stop_handle, std::chrono::milliseconds idle, std::shared_ptr<FaultState> faults,
            Protocol protocol, unsigned connection);
    ~Channel();
    Channel(const Channel &) = delete;
    Channel & operator=(const Channel &) = delete;

    // The next line without its CR LF; good until the next call. A longer line than `limit` comes in pieces,
    // all but the last with `complete` false.
    struct Line {
        std::string_view text;
        bool complete = true;
    };
    [[nodiscard]] bool read_line(Line & line, size_t limit);

    [[nodiscard]] bool send(std::string_view bytes, size_t piece = 0,
                            std::chrono::milliseconds piece_delay = {});
    [[nodiscard]] bool pause(std::chrono::milliseconds time); // false: the server stops
    void want_reset() { _reset = true; }                      // hang_up with RST

    // Ends the connection. Without RST what the client still sends is read and thrown away until it ends its
    // side, a few seconds at most: closing over unread bytes would turn the FIN into an RST.
    void hang_up();

private:
    [[nodiscard]] bool wait(short events, std::chrono::milliseconds at_most) const;
    [[nodiscard]] bool fill();
    [[nodiscard]] bool send_all(std::string_view bytes);

    int _handle;
    int _stop_handle;
    std::chrono::milliseconds _idle;
    std::shared_ptr<FaultState> _faults;
    Protocol _protocol;
    unsigned _connection;
    std::vector<char> _incoming;
    std::string _buffer;
    size_t _start = 0;    // of what hasn't been given out
    size_t _searched = 0; // no line end begins in front of this
    bool _reset = false;
    bool _last_fill = false; // a fault lets through only what is in the buffer
};

} // namespace mailserver
