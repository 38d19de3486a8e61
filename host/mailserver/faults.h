// The ways in which a test makes the mail server misbehave: replies replaced, delayed, cut or torn into
// pieces, and connections hung up at a given command or a given byte.
//
// A script is plain data. Commands and connections are counted from 1, connections separately for each
// protocol, all counts since Server::set_faults. A connection's command 0 is its greeting.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace mailserver {

enum class Protocol { Smtp, Pop3 };

// What a rule's `verb` is compared with, in upper case: the first word of a command, or one of these.
constexpr const char * greeting_verb = "GREETING";           // the server's first words
constexpr const char * auth_response_verb = "AUTH-RESPONSE"; // a line of the client inside an AUTH exchange
constexpr const char * end_of_data_verb = ".";               // the end mark of a mail

enum class HangUp {
    No,
    BeforeAction, // the command was read, and nothing is done about it
    BeforeReply,  // the command is carried out, and its reply never leaves: the classical lost answer
    AfterReply
};

// What happens at the commands that fit. Of several rules that fit the first one counts.
struct CommandFault {
    // Which commands: an empty field fits all.
    std::optional<Protocol> protocol = {};
    std::optional<unsigned> connection = {};
    std::optional<unsigned> command = {};
    std::string verb = {};
    unsigned skip = 0;                  // leave out the first so many that fit
    std::optional<unsigned> times = {}; // no more than so many
    // What happens, in this order.
    std::chrono::milliseconds delay{0};
    std::optional<std::string> reply =
        {}; // the bytes to send in place of the reply, line ends included; may be ""
    std::optional<bool> carry_out = {}; // whether the command takes effect; if not said: unless `reply`
                                        // begins with 4, 5 or -
    std::optional<size_t> cut = {};     // send only so many bytes of the reply, then hang up
    size_t piece = 0;                   // send in pieces of so many bytes; 0: whole
    std::chrono::milliseconds piece_delay{0};
    HangUp hang_up = HangUp::No;
    bool reset = false; // hang up with RST in place of FIN
};

enum class Direction { FromClient, FromServer };
enum class Edge { BeforeByte, AfterByte };

// Hangs up at one byte. BeforeByte: all bytes in front of it have passed, and this one doesn't; a server's
// byte is then held back after its command has been carried out. AfterByte: it is the last one that passes,
// and what it completes isn't acted upon any more.
struct ByteFault {
    std::optional<Protocol> protocol = {};
    std::optional<unsigned> connection = {}; // a byte of this connection; empty: counted over all that fit,
                                             // and the one that carries the byte is hung up
    Direction direction = Direction::FromServer;
    uint64_t byte = 1; // counted from 1
    Edge edge = Edge::AfterByte;
    bool reset = false;
};

struct FaultScript {
    std::vector<CommandFault> commands = {};
    std::vector<ByteFault> bytes = {};
};

} // namespace mailserver
