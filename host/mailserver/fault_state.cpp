#include "mailserver/fault_state.h"

namespace mailserver {

namespace {

template<class T> bool fits(const std::optional<T> & wanted, const T & value)
{
    return !wanted || *wanted == value;
}

bool fits(const ByteFault & fault, Protocol protocol, unsigned connection, Direction direction)
{
    return fits(fault.protocol, protocol) && fits(fault.connection, connection) &&
           fault.direction == direction;
}

} // namespace

FaultState::FaultState(FaultScript script)
{
    for (CommandFault & fault : script.commands)
        _commands.push_back({std::move(fault)});
    for (const ByteFault & fault : script.bytes)
        _bytes.push_back({fault});
}

unsigned FaultState::new_connection(Protocol protocol)
{
    const std::lock_guard lock(_mutex);
    return ++_counters[static_cast<size_t>(protocol)].connections;
}

std::optional<CommandFault> FaultState::at_command(Protocol protocol, unsigned connection, unsigned command,
                                                   const std::string & verb)
{
    const std::lock_guard lock(_mutex);
    for (CommandRule & rule : _commands) {
        const CommandFault & fault = rule.fault;
        if (!fits(fault.protocol, protocol) || !fits(fault.connection, connection) ||
            !fits(fault.command, command) || (!fault.verb.empty() && fault.verb != verb))
            continue;
        ++rule.fitted;
        if (rule.fitted <= fault.skip || (fault.times && rule.fitted - fault.skip > *fault.times))
            continue;
        ++_hits;
        return fault;
    }
    return std::nullopt;
}

FaultState::Passage FaultState::pass(Protocol protocol, unsigned connection, Direction direction,
                                     size_t wanted)
{
    const std::lock_guard lock(_mutex);
    Passage passage{.bytes = wanted};
    ByteRule * striking = nullptr;
    for (ByteRule & rule : _bytes) {
        const ByteFault & fault = rule.fault;
        if (rule.struck || !fits(fault, protocol, connection, direction))
            continue;
        const bool after = fault.edge == Edge::AfterByte;
        const uint64_t room = fault.byte - (after ? 0 : 1) - rule.passed; // until the rule strikes
        if (room < passage.bytes || (after && striking == nullptr && room == wanted)) {
            passage.bytes = room;
            striking = &rule;
        }
    }
    for (ByteRule & rule : _bytes) {
        if (fits(rule.fault, protocol, connection, direction))
            rule.passed += passage.bytes;
    }
    if (striking != nullptr) {
        striking->struck = true;
        ++_hits;
        passage.hang_up = true;
        passage.reset = striking->fault.reset;
        passage.edge = striking->fault.edge;
    }
    Counters & counters = _counters[static_cast<size_t>(protocol)];
    (direction == Direction::FromClient ? counters.from_client : counters.from_server) += passage.bytes;
    return passage;
}

Counters FaultState::counters(Protocol protocol) const
{
    const std::lock_guard lock(_mutex);
    return _counters[static_cast<size_t>(protocol)];
}

size_t FaultState::hits() const
{
    const std::lock_guard lock(_mutex);
    return _hits;
}

} // namespace mailserver
