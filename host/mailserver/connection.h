// One client from its greeting to its end: takes lines from the channel to the session and replies back, and
// lets the faults of the script strike in between.
//
// Threads: one thread per connection.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "mailserver/channel.h"
#include "mailserver/session.h"

namespace mailserver {

using TraceFunction = std::function<void(Side side, std::string_view text)>;

class Connection {
public:
    struct Setup {
        const Config & config;
        Protocol protocol;
        unsigned number;
        std::shared_ptr<FaultState> faults;
        TraceFunction trace; // empty: no trace
    };
    Connection(Setup setup, std::unique_ptr<Channel> channel, std::unique_ptr<Session> session);
    void serve();

private:
    [[nodiscard]] bool next_line();
    [[nodiscard]] bool mail_line(const Channel::Line & line);
    [[nodiscard]] bool too_long();
    [[nodiscard]] bool exchange(const std::string & verb, std::string_view line);
    [[nodiscard]] bool answer(Reply reply, const CommandFault & fault);
    void trace_client(std::string_view line) const;
    void trace_reply(const Reply & reply) const;

    Setup _setup;
    std::unique_ptr<Channel> _channel;
    std::unique_ptr<Session> _session;
    unsigned _commands = 0;
    bool _line_begin = true;
};

} // namespace mailserver
