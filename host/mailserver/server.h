// A mail server in a few threads: SMTP (RFC 5321, AUTH CRAM-MD5 of RFC 2195 and AUTH LOGIN) and POP3 (RFC
// 1939) over one store, on loopback only. The daemon, the tests of the link and the benchmarks all run this
// one.
//
// Failure: start() throws std::invalid_argument for an address that isn't loopback, std::system_error when a
// port can't be had. Faults of a session stay in that session. Threads: one that accepts, one for each
// connection; start, stop and all others may be called from any thread, start and stop one at a time. The
// trace function is called on connection threads, one call at a time.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "mailserver/faults.h"
#include "mailserver/store.h"

namespace mailserver {

enum class Side { Client, Server };

// One line of a conversation, without its line end.
struct TraceLine {
    Protocol protocol;
    unsigned connection; // counted from 1 for each protocol
    Side side;
    std::string_view text;
};

struct Config {
    std::map<std::string, std::string> users =
        {};                    // mailbox user -> password. Mail for USER@any.domain goes there
    bool ehlo = true;          // off: EHLO isn't known, as to a server of RFC 821
    bool auth_cram_md5 = true; // announced and accepted
    bool auth_login = true;
    bool require_auth = false; // MAIL only after AUTH
    bool apop = true;          // timestamp in the POP3 greeting, and the command
    bool top = true;
    bool received_header = false;  // put trace headers in front of a mail; off: kept byte for byte
    uint64_t max_mail = 64U << 20; // bytes of a mail; told by EHLO as SIZE
    size_t max_line = 4096;        // bytes of a command with its line end. RFC 5321 wants 512, AUTH more
    std::chrono::milliseconds idle{600'000}; // RFC 1939 wants 10 minutes, RFC 5321 wants 5
    std::chrono::milliseconds lock_wait{
        2'000}; // a client that reconnects may be faster than the end of its old session
    std::string address = "127.0.0.1";
    uint16_t smtp_port = 0; // 0: the system picks one
    uint16_t pop3_port = 0;
    std::string host_name = "localhost";
    std::string apop_timestamp =
        {}; // a fixed one, with its brackets, in place of a new one for each connection
    std::string cram_challenge = {}; // the same, not yet in Base64
    std::function<void(const TraceLine &)> trace = {};
    bool trace_secrets = false; // passwords and answers to challenges in the trace; off: masked
    bool trace_mail = false;    // the lines of mails in the trace; off: their size only
};

struct Counters {
    unsigned connections = 0;
    uint64_t from_client = 0; // bytes
    uint64_t from_server = 0;
};

class Server {
public:
    Server(Config config, std::shared_ptr<Store> store);
    ~Server(); // stop()
    Server(const Server &) = delete;
    Server & operator=(const Server &) = delete;

    void start();
    void stop(); // hangs up on all clients and joins all threads; ports are free again. Can be called twice

    uint16_t smtp_port() const; // 0 before start
    uint16_t pop3_port() const;

    // Replaces the script and starts all counts, those of counters() too, anew. Open connections keep their
    // number and the old script, and their bytes are counted no more: wait_idle first where that matters.
    void set_faults(FaultScript script);
    size_t fault_hits() const;                               // how often a fault of the script struck
    Counters counters(Protocol protocol) const;              // since set_faults
    bool wait_idle(std::chrono::milliseconds at_most) const; // until no connection is open; false: time is up

private:
    class Impl;
    std::unique_ptr<Impl> _impl;
};

} // namespace mailserver
