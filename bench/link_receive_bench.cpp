// Receiving from a server that does nothing: the scan of a mailbox by TOP, and the reading of bodies by RETR;
// the link beside "the same calls", a loop of send and recv with exactly the calls that the link makes, which
// looks for nothing but the end of a reply, and beside libetpan. Sessions are open beforehand.
//
// The link's scan picks its own mail out by the headers and files it under its id. libetpan is asked to do as
// much of that as it does: mailpop3_top, with its lists of numbers and ids already there.
//
// Ends with a table; result 1 when a target is missed.

#include <cstring>
#include <memory>
#include <vector>

#ifdef ORV_HAVE_LIBETPAN
#include <libetpan/libetpan.h>
#endif

#include "link_host.h"
#include "null_server.h"
#include "ratio.h"
#include "remote/orvsmtp_inbox.h"
#include "syscalls.h"

namespace {

using bench::require;

constexpr unsigned HEADER_LINES = 20;
constexpr size_t SCANNED_BODY = 1024; // TOP n 0 leaves it out
constexpr size_t READ_BODY = 48 * 1024;
constexpr unsigned READ_MAILS = 1000;
constexpr unsigned READ_ROUNDS = 20; // turns that they are read in

// What a reply with several lines ends in.
constexpr std::string_view END_MARK = "\r\n.\r\n";

class Link {
public:
    explicit Link(uint16_t port) : _host("receive_only", port), _link(_host.make_link()) {}
    ~Link() { MsgFiniLink(_link); }
    Link(const Link &) = delete;
    Link & operator=(const Link &) = delete;

    void scan(unsigned)
    {
        POPInboxRead inbox(_link);
        require(inbox.AttemptAction(0) == COM_SUCCESS, "scan");
    }

    // Takes the next message of the last scan; the link keeps it.
    HMSG take()
    {
        HMSG msg = nullptr;
        require(MsgReceive(_link, &msg) == MSG_SUCCESS, "MsgReceive");
        return msg;
    }

    void read(HMSG msg)
    {
        char * text = nullptr;
        uint32 len = 0;
        require(MsgContent(_link, msg, &text, &len) == MSG_SUCCESS && len > READ_BODY, "MsgContent");
    }

    // Messages in the order of the ids, which is that of the numbers here.
    void read_all(unsigned first, unsigned count)
    {
        while (_messages.size() < first + count) {
            _messages.push_back(take());
        }
        for (unsigned mail = first; mail < first + count; ++mail) {
            read(_messages[mail]);
        }
    }

private:
    bench::Host _host;
    a_smtp_link_info * _link;
    std::vector<HMSG> _messages;
};

class SameCalls {
public:
    explicit SameCalls(uint16_t port) : _handle(socket(AF_INET, SOCK_STREAM, 0))
    {
        sockaddr_in at = {};
        at.sin_family = AF_INET;
        at.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        at.sin_port = htons(port);
        require(connect(_handle, reinterpret_cast<sockaddr *>(&at), sizeof(at)) == 0, "connect");
        require(recv(_handle, _reply, REPLY_SIZE, 0) > 0, "greeting");
    }
    ~SameCalls() { close(_handle); }
    SameCalls(const SameCalls &) = delete;
    SameCalls & operator=(const SameCalls &) = delete;

    void scan(unsigned count)
    {
        for (unsigned mail = 1; mail <= count; ++mail) {
            ask("TOP %u 0\r\n", mail);
        }
    }

    void read_all(unsigned first, unsigned count)
    {
        for (unsigned mail = first + 1; mail <= first + count; ++mail) {
            ask("RETR %u\r\n", mail);
        }
    }

private:
    // The link reads the reply's first line and the headers through buffers of a line, of which the first is
    // filled, and what follows the headers into its body.
    [[gnu::format(printf, 2, 0)]] void ask(const char * format, unsigned mail)
    {
        char command[32];
        const int len = std::snprintf(command, sizeof(command), format, mail);
        require(send(_handle, command, static_cast<size_t>(len), 0) == len, "send");
        size_t held = 0;
        for (int reads = 0; held < END_MARK.size() || std::memcmp(_reply + held - END_MARK.size(),
                                                                  END_MARK.data(), END_MARK.size()) != 0;
             ++reads) {
            const size_t room = reads < 2 ? REPLY_SIZE : sizeof(_reply) - held;
            const ssize_t count = recv(_handle, _reply + held, room, 0);
            require(count > 0, "recv");
            held += static_cast<size_t>(count);
        }
    }

    int _handle;
    char _reply[65536];
};

#ifdef ORV_HAVE_LIBETPAN
class Libetpan {
public:
    explicit Libetpan(uint16_t port) : _pop(mailpop3_new(0, nullptr))
    {
        carray * list = nullptr;
        require(mailpop3_socket_connect(_pop, "127.0.0.1", port) == MAILPOP3_NO_ERROR &&
                    mailpop3_login(_pop, "receiver", "secret") == MAILPOP3_NO_ERROR &&
                    mailpop3_list(_pop, &list) == MAILPOP3_NO_ERROR,
                "libetpan's session");
    }
    ~Libetpan()
    {
        (void)mailpop3_quit(_pop);
        mailpop3_free(_pop);
    }
    Libetpan(const Libetpan &) = delete;
    Libetpan & operator=(const Libetpan &) = delete;

    void scan(unsigned count)
    {
        char * text = nullptr;
        size_t len = 0;
        for (unsigned mail = 1; mail <= count; ++mail) {
            require(mailpop3_top(_pop, mail, 0, &text, &len) == MAILPOP3_NO_ERROR, "mailpop3_top");
            mailpop3_top_free(text);
        }
    }

    void read_all(unsigned first, unsigned count)
    {
        char * text = nullptr;
        size_t len = 0;
        for (unsigned mail = first + 1; mail <= first + count; ++mail) {
            require(mailpop3_retr(_pop, mail, &text, &len) == MAILPOP3_NO_ERROR, "mailpop3_retr");
            mailpop3_retr_free(text);
        }
    }

private:
    mailpop3 * _pop;
};
#endif

template<class Driver> ratio::a_side scanner(const char * name, uint16_t port, unsigned mails)
{
    auto driver = std::make_shared<Driver>(port);
    return {name, [driver, mails] { driver->scan(mails); }};
}

// All drivers with sessions of their own, `mails` by each in a turn.
std::vector<ratio::a_side> scanners(uint16_t port, unsigned mails)
{
    std::vector<ratio::a_side> sides;
    sides.push_back(scanner<Link>("the link", port, mails));
    sides.push_back(scanner<SameCalls>("the same calls", port, mails));
#ifdef ORV_HAVE_LIBETPAN
    sides.push_back(scanner<Libetpan>("libetpan", port, mails));
#endif
    return sides;
}

double scan_calls_per_mail(uint16_t port, unsigned mails)
{
    Link link(port);
    const long calls = bench::count_syscalls([&] { link.scan(mails); });
    return static_cast<double>(calls) / mails;
}

void compare_scans(unsigned mails, int rounds, std::vector<ratio::a_figure> & figures)
{
    const bench::NullMailbox mailbox(mails, HEADER_LINES, SCANNED_BODY);
    const bench::NullServer server([&](bench::Channel & channel) { serve_pop3(channel, mailbox); },
                                   "127.0.0.1", 0, false);
    std::vector<ratio::a_side> sides = scanners(server.port(), mails);
    ratio::take_turns(rounds, sides);
    const std::string title = "scanning " + std::to_string(mails) + " mails";
    ratio::print_sides(title, sides, mails);
    if (sides.size() > 2) {
        figures.push_back({title + ": times as fast as libetpan", ratio::AT_LEAST, 1.15,
                           ratio::median_ratio(sides[0].wall, sides[2].wall)});
    }
    if (const double calls = scan_calls_per_mail(server.port(), mails); calls >= 0) {
        // The rest: STAT, the SIGPIPE guard, and what the lists get from the system.
        figures.push_back({title + ": system calls of a mail", ratio::AT_MOST, 3.1, calls});
    }
}

// The cost of a mail in a large mailbox by that in a small one, with as many mails in each turn. CPU time:
// the server has nothing to do with it.
void compare_sizes(unsigned small, unsigned large, std::vector<ratio::a_figure> & figures)
{
    static constexpr int ROUNDS = 5;
    const bench::NullMailbox small_box(small, HEADER_LINES, SCANNED_BODY);
    const bench::NullMailbox large_box(large, HEADER_LINES, SCANNED_BODY);
    const bench::NullServer few([&](bench::Channel & channel) { serve_pop3(channel, small_box); },
                                "127.0.0.1", 0, false);
    const bench::NullServer many([&](bench::Channel & channel) { serve_pop3(channel, large_box); },
                                 "127.0.0.1", 0, false);
    Link few_link(few.port());
    Link many_link(many.port());
    std::vector<ratio::a_side> sides;
    sides.push_back({"small mailbox", [&] {
                         for (unsigned i = 0; i < large / small; ++i) {
                             few_link.scan(small);
                         }
                     }});
    sides.push_back({"large mailbox", [&] { many_link.scan(large); }});
    ratio::take_turns(ROUNDS, sides);
    ratio::print_sides(std::to_string(small) + " and " + std::to_string(large) + " mails", sides, large);
    figures.push_back({"scanning: a mail of " + std::to_string(large) + " by one of " + std::to_string(small),
                       ratio::AT_MOST, 1.1, ratio::median_ratio(sides[0].wall, sides[1].wall)});
    figures.push_back(
        {"the same, CPU", ratio::AT_MOST, 1.1, ratio::median_ratio(sides[0].cpu, sides[1].cpu)});
}

// Each turn reads the next mails, and starts over at the end.
template<class Driver> ratio::a_side reader(const char * name, const std::shared_ptr<Driver> & driver)
{
    static constexpr unsigned MAILS = READ_MAILS / READ_ROUNDS;
    return {name, [driver, first = 0U]() mutable {
                driver->read_all(first, MAILS);
                first = (first + MAILS) % READ_MAILS;
            }};
}

void compare_reads(std::vector<ratio::a_figure> & figures)
{
    const bench::NullMailbox mailbox(READ_MAILS, HEADER_LINES, READ_BODY);
    const bench::NullServer server([&](bench::Channel & channel) { serve_pop3(channel, mailbox); },
                                   "127.0.0.1", 0, false);
    const auto link = std::make_shared<Link>(server.port());
    link->read_all(0, READ_MAILS); // the scan, and a message for each mail
    std::vector<ratio::a_side> sides;
    sides.push_back(reader("the link", link));
    sides.push_back(reader("the same calls", std::make_shared<SameCalls>(server.port())));
#ifdef ORV_HAVE_LIBETPAN
    sides.push_back(reader("libetpan", std::make_shared<Libetpan>(server.port())));
#endif
    ratio::take_turns(READ_ROUNDS, sides);
    ratio::print_sides("reading 48 KiB", sides, READ_MAILS / READ_ROUNDS);
    if (sides.size() > 2) {
        figures.push_back({"reading 48 KiB: times as fast as libetpan", ratio::AT_LEAST, 3.4,
                           ratio::median_ratio(sides[0].wall, sides[2].wall)});
    }
    static constexpr unsigned COUNTED = 20;
    const long calls = bench::count_syscalls([&] { link->read_all(0, COUNTED); });
    if (calls >= 0) {
        figures.push_back({"reading 48 KiB: system calls of a mail, 2 for SIGPIPE", ratio::AT_MOST, 6.1,
                           static_cast<double>(calls) / COUNTED});
    }
}

} // namespace

int main()
{
    bench::pin_to(bench::FIRST_CORE);
    std::vector<ratio::a_figure> figures;
    compare_scans(200, 101, figures);
    compare_scans(2000, 21, figures);
    compare_scans(20000, 5, figures);
    compare_sizes(200, 20000, figures);
    compare_reads(figures);
    return ratio::print_table(figures);
}
