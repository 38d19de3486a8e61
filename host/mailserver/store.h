// Where mail is kept: what the SMTP side delivers into and the POP3 side serves from. Three kinds: a Maildir
// on disk (the daemon), one in memory (tests that look at what arrived), and one without content
// (benchmarks).
//
// Units: bytes. A mail is kept as it crossed the wire, without dot-stuffing, each line with its CR LF;
// nothing is converted, so a CR or LF that stood alone still stands alone. Failure: std::runtime_error or
// std::system_error with the path; the sessions answer 451 or -ERR then. Threads: a store serves all sessions
// at once. A mailbox belongs to one session, and at most one session has the mailbox of a user open (RFC
// 1939, chapter 4: exclusive access); deliveries go on meanwhile.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace mailserver {

// One mailbox as it stood when the session opened it; mail that arrives later is for the next session. Mails
// are counted from 0 here.
class Mailbox {
public:
    virtual ~Mailbox() = default;
    virtual size_t count() const = 0;
    virtual uint64_t size(size_t mail) const = 0;
    virtual std::string
    unique_id(size_t mail) const = 0; // 1 to 70 characters from ! to ~, the same in all sessions
    // The mail, or with `body_lines` its headers, the empty line and at most that many lines of its body.
    virtual std::string read(size_t mail, std::optional<size_t> body_lines) const = 0;
    virtual void remove(const std::vector<bool> & deleted) = 0; // one flag for each mail
};

class Store {
public:
    virtual ~Store() = default;
    virtual void deliver(const std::string & user,
                         std::string_view mail) = 0; // returns when it can't be lost any more
    // Waits up to `wait` until no other session has this mailbox open; null if one still has.
    std::unique_ptr<Mailbox> open(const std::string & user, std::chrono::milliseconds wait);

protected:
    virtual std::unique_ptr<Mailbox> open_unlocked(const std::string & user) = 0;

private:
    class Locked;
    std::mutex _mutex;
    std::condition_variable _released;
    std::set<std::string> _open;
};

// A Maildir for each user: ROOT/USER/{tmp,new,cur}. Delivery writes to tmp, syncs, renames into new and syncs
// that folder. Mail stays in new: a POP3 server keeps no flags that cur would be for. The size stands in the
// file name
// (",S="), so that a session costs one reading of the folder, whatever the number of mails.
class MaildirStore : public Store {
public:
    // Makes ROOT. With `sync` off a crash of the machine can lose mail; for tests.
    explicit MaildirStore(std::string root, bool sync = true);
    void deliver(const std::string & user, std::string_view mail) override;

protected:
    std::unique_ptr<Mailbox> open_unlocked(const std::string & user) override;

private:
    std::string folder_of(const std::string & user);

    std::string _root;
    bool _sync;
    std::mutex _made_mutex;
    std::set<std::string> _made; // users whose folders exist
};

// Keeps mail in memory, and lets a test look at it and put more there.
class MemoryStore : public Store {
public:
    void deliver(const std::string & user, std::string_view mail) override;
    // As deliver, with an id of the test's choice.
    void put(const std::string & user, std::string_view mail, std::string unique_id);
    std::vector<std::string> mails(const std::string & user) const; // in order of arrival

    struct Mail {
        std::string unique_id;
        std::shared_ptr<const std::string> text;
    };

protected:
    std::unique_ptr<Mailbox> open_unlocked(const std::string & user) override;

private:
    class Box;
    mutable std::mutex _mutex;
    std::map<std::string, std::vector<Mail>> _mails;
    uint64_t _serial = 0;
};

// Takes mail and throws it away; serves to everyone the same `count` made-up mails, of which every session
// finds all: deletions are taken and forgotten. Nothing touches the disk, so a benchmark measures the client.
struct SyntheticMail {
    size_t count = 0;
    size_t header_lines = 5; // at least 5: Date, From, Subject, To, Message-ID; the rest "X-Line-N"
    size_t body_bytes = 0;   // lines of at most 72 characters, CR LF counted
    std::string subject = "-Orv-Relays-";
};

class NullStore : public Store {
public:
    explicit NullStore(SyntheticMail mail = {});
    void deliver(const std::string & user, std::string_view mail) override;

protected:
    std::unique_ptr<Mailbox> open_unlocked(const std::string & user) override;

private:
    class Box;
    SyntheticMail _mail;
    std::string _body;
};

} // namespace mailserver
