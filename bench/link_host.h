// What a link needs from its host, as small as a benchmark can do it: a profile of fixed values and a
// callback that shows what is reported.
//
// Failure: a link that can't be made ends the benchmark. Threads: one.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "remote/orvsmtp.h"

namespace bench {

class Host {
public:
    // `direction`: "send_only" or "receive_only".
    Host(const char * direction, uint16_t port, const std::string & address = "127.0.0.1")
        : _values({{direction, "yes"},
                   {"smtp_host", address},
                   {"smtp_port", std::to_string(port)},
                   {"pop3_host", address},
                   {"pop3_port", std::to_string(port)},
                   {"pop3_userid", "receiver"},
                   {"pop3_password", "secret"},
                   {"local_host", "host.example.com"},
                   {"smtp_authenticate", "no"},
                   {"suppress_dialogs", "yes"}})
    {
    }
    Host(const Host &) = delete;
    Host & operator=(const Host &) = delete;

    // A link with its session open; the host outlives it.
    [[nodiscard]] a_smtp_link_info * make_link()
    {
        HLINK link = MsgInitLinkV3("sender@example.com", show, &_access, nullptr);
        if (link == nullptr) {
            std::puts("no link");
            std::exit(2);
        }
        return static_cast<a_smtp_link_info *>(link);
    }

private:
    static short show(const char * text)
    {
        std::puts(text == nullptr ? "(no text)" : text);
        return 0;
    }
    static void read(void * handle, const char * name, char * buffer, unsigned int size)
    {
        const auto & values = static_cast<Host *>(handle)->_values;
        const auto found = values.find(name);
        std::snprintf(buffer, size, "%s", found == values.end() ? "" : found->second.c_str());
    }
    static void write(void *, const char *, const char *) {}

    std::map<std::string, std::string> _values;
    a_profile_rw_access _access{this, read, write, write};
};

// Ends the benchmark unless `good`: a figure of work that failed would say nothing.
inline void require(bool good, const char * what)
{
    if (!good) {
        std::printf("failed: %s\n", what);
        std::exit(2);
    }
}

} // namespace bench
