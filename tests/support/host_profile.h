// Stand-ins for the host: a profile of settings in memory, and a recorder behind the message callback.
//
// Threads: each belongs to the thread that made it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "orvlink.h"

namespace support {

struct ProfileAccess {
    enum class Kind { Read, Write, VolatileWrite };
    Kind kind;
    std::string name;
    std::string value; // what was written, or given back (cut to the size)
    unsigned size;     // of the reader's buffer; 0 for writes

    bool operator==(const ProfileAccess &) const = default;
};

// For a failure's output: "read smtp_port (10) -> 25", "write oob_serial = 1", "volatile pop3_password = x".
std::ostream & operator<<(std::ostream & out, const ProfileAccess & access);

// Names are compared as they are. Volatile values are like others, but for the record.
class HostProfile {
public:
    HostProfile(std::initializer_list<std::pair<const std::string, std::string>> values = {})
        : _values(values)
    {
    }
    HostProfile(const HostProfile &) = delete;
    HostProfile & operator=(const HostProfile &) = delete;

    a_profile_rw_access * access() { return &_access; } // valid as long as this object

    // What a test does behind the link's back; not recorded.
    void set(const std::string & name, const std::string & value) { _values[name] = value; }
    std::string get(const std::string & name) const; // "" without a value

    // All that a link to servers of this machine needs as user "bob", without prompts.
    void point_at(uint16_t smtp_port, uint16_t pop3_port);

    const std::vector<ProfileAccess> & accesses() const { return _accesses; }
    std::vector<ProfileAccess> writes() const; // of both kinds
    void clear_accesses() { _accesses.clear(); }

private:
    static void read(void * handle, const char * name, char * buffer, unsigned int size);
    template<ProfileAccess::Kind kind>
    static void write(void * handle, const char * name, const char * value);

    std::map<std::string, std::string> _values;
    std::vector<ProfileAccess> _accesses;
    a_profile_rw_access _access{this, read, write<ProfileAccess::Kind::Write>,
                                write<ProfileAccess::Kind::VolatileWrite>};
};

// Collects what reaches the message callback, which has no argument to tell one test from another: the lines
// go to the latest recorder made on the calling thread, else nowhere. A null text is recorded as "(null)".
// Recorders end in the reverse order of their making.
class CallbackRecorder {
public:
    CallbackRecorder();
    ~CallbackRecorder();
    CallbackRecorder(const CallbackRecorder &) = delete;
    CallbackRecorder & operator=(const CallbackRecorder &) = delete;

    static MSG_CALLBACK callback() { return receive; }
    const std::vector<std::string> & lines() const { return _lines; }
    std::string text() const; // all lines, each ended by LF
    void clear() { _lines.clear(); }

private:
    static short receive(const char * text);

    CallbackRecorder * _before;
    std::vector<std::string> _lines;
};

} // namespace support
