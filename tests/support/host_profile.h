// Stand-ins for the host: a profile of settings in memory, and a recorder behind the message callback.
//
// Threads: both may be used from any thread; the record of accesses is in the order in which they came.
#pragma once

#include <map>
#include <mutex>
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

// Names are compared as they are. A volatile value hides the kept one until forget_volatile().
class HostProfile {
public:
    HostProfile() = default;
    HostProfile(std::initializer_list<std::pair<const std::string, std::string>> values);
    HostProfile(const HostProfile &) = delete;
    HostProfile & operator=(const HostProfile &) = delete;

    a_profile_rw_access * access(); // valid as long as this object

    // What a test does behind the link's back; not recorded.
    void set(const std::string & name, const std::string & value);
    std::string get(const std::string & name) const; // "" without a value
    bool has(const std::string & name) const;
    bool is_volatile(const std::string & name) const;
    void forget_volatile(); // a new run of the host

    std::vector<ProfileAccess> accesses() const;
    std::vector<ProfileAccess> writes() const; // of both kinds
    void clear_accesses();

private:
    struct Value {
        std::string kept;
        std::string this_run;
        bool has_kept = false;
        bool has_this_run = false;
    };
    static void read(void * handle, const char * name, char * buffer, unsigned int size);
    static void write(void * handle, const char * name, const char * value);
    static void write_volatile(void * handle, const char * name, const char * value);
    const Value * find(const std::string & name) const;

    mutable std::mutex _mutex;
    std::map<std::string, Value> _values;
    std::vector<ProfileAccess> _accesses;
    a_profile_rw_access _access{this, read, write, write_volatile};
};

// Collects what reaches the message callback, which has no argument to tell one test from another: the lines
// go to the latest recorder made on the calling thread, else to the latest one made for all threads, else
// nowhere. A null text is recorded as "(null)". Recorders end in the reverse order of their making.
class CallbackRecorder {
public:
    enum class For { ThisThread, AllThreads };
    explicit CallbackRecorder(For whom = For::ThisThread);
    ~CallbackRecorder();
    CallbackRecorder(const CallbackRecorder &) = delete;
    CallbackRecorder & operator=(const CallbackRecorder &) = delete;

    static MSG_CALLBACK callback();
    std::vector<std::string> lines() const;
    std::string text() const; // all lines, each ended by LF
    void clear();

private:
    static short receive(const char * text);

    For _whom;
    CallbackRecorder * _before;
    mutable std::mutex _mutex;
    std::vector<std::string> _lines;
};

} // namespace support
