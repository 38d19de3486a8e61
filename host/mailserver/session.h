// The protocols without sockets: lines in, replies out. A session belongs to one connection and one thread.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "mailserver/server.h"

namespace mailserver {

struct Reply {
    std::string text;                   // with its line ends
    bool close = false;                 // the connection ends behind it
    size_t mail_at = std::string::npos; // where in the text a mail begins, for the trace
};

class Session {
public:
    virtual ~Session() = default;
    virtual Reply greeting() = 0;

    // What faults call the line: its first word in upper case, or one of the names of faults.h.
    virtual std::string verb(std::string_view line) const = 0;
    virtual Reply run(std::string_view line) = 0;
    // The line got its answer from a fault and takes no effect: an exchange it belongs to is over.
    virtual void pass_over(std::string_view line) = 0;
    virtual Reply line_too_long() = 0;
    // The line as the trace may show it.
    virtual std::string masked(std::string_view line) const = 0;

    // Inside a mail its lines come here, all but the end mark, which is a command. A long line comes in
    // several pieces; only the last has `line_end`, only the first has `line_begin`.
    virtual bool in_mail() const { return false; }
    virtual void mail_text(std::string_view /*text*/, bool /*line_begin*/, bool /*line_end*/) {}
    virtual uint64_t mail_bytes() const { return 0; }
};

// `serial` makes timestamps and challenges differ from connection to connection.
std::unique_ptr<Session> make_smtp_session(const Config & config, Store & store, unsigned serial);
std::unique_ptr<Session> make_pop3_session(const Config & config, Store & store, unsigned serial);

// "<PID.SERIAL.SECONDS@HOST>", as RFC 1939 and RFC 2195 suggest.
std::string new_timestamp(const Config & config, unsigned serial);

// Splits at the first blank: the first word in upper case, and what stands behind the blank.
struct Command {
    std::string verb;
    std::string_view argument;
};
Command split_command(std::string_view line);

} // namespace mailserver
