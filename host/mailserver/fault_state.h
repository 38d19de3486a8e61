// A fault script at work: counts what has happened since it was set, and says what strikes now.
//
// Threads: shared by all connections made under the script; every member locks.
#pragma once

#include <array>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "mailserver/faults.h"
#include "mailserver/server.h"

namespace mailserver {

class FaultState {
public:
    explicit FaultState(FaultScript script);

    unsigned new_connection(Protocol protocol); // its number, from 1
    std::optional<CommandFault> at_command(Protocol protocol, unsigned connection, unsigned command,
                                           const std::string & verb);

    // How many of `wanted` bytes may pass, and what happens behind them. What may pass is counted as passed.
    struct Passage {
        size_t bytes = 0;
        bool hang_up = false;
        bool reset = false;
        Edge edge = Edge::AfterByte;
    };
    Passage pass(Protocol protocol, unsigned connection, Direction direction, size_t wanted);

    Counters counters(Protocol protocol) const;
    size_t hits() const;

private:
    struct CommandRule {
        CommandFault fault;
        unsigned fitted = 0;
    };
    struct ByteRule {
        ByteFault fault;
        uint64_t passed = 0;
        bool struck = false;
    };

    mutable std::mutex _mutex;
    std::vector<CommandRule> _commands;
    std::vector<ByteRule> _bytes;
    std::array<Counters, 2> _counters; // by Protocol
    size_t _hits = 0;
};

} // namespace mailserver
