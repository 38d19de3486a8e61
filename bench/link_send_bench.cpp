// Sending over one session to a server that does nothing: the link beside "the same calls", a loop of send
// and recv with exactly the calls that the wire format fixes, all boundaries known beforehand; beside
// libetpan; and beside libcurl. Messages of 1, 16 and 48 KiB in lines of 72 characters.
//
// Ends with a table; result 1 when a target is missed. What a message costs over another network than
// loopback is measured by
//     link_send_bench --serve ADDRESS PORT
//     link_send_bench --send ADDRESS PORT
// at its two ends (see delayed_ack.sh).

#include <algorithm>
#include <cstring>
#include <memory>
#include <numeric>
#include <vector>

#ifdef ORV_HAVE_LIBETPAN
#include <libetpan/libetpan.h>
#endif
#ifdef ORV_HAVE_LIBCURL
#include <curl/curl.h>
#endif

#include "link_host.h"
#include "null_server.h"
#include "ratio.h"
#include "syscalls.h"

namespace {

using bench::require;

constexpr int MESSAGES = 2000; // by each driver
constexpr int ROUNDS = 40;     // turns that they are sent in
constexpr size_t LINE_SIZE = 74;
constexpr size_t GATHERED = 1024; // a piece is sent with the line end that makes it longer than this
constexpr int KIBIBYTES[] = {1, 16, 48};

constexpr const char * SENDER = "sender@example.com";
constexpr const char * RECEIVER = "receiver@example.com";

// What the link's header block looks like; libetpan and libcurl send it as part of their message.
constexpr const char * HEADERS = "Date: Wed, 18 Nov 2026 17:33:17 UT\r\n"
                                 "From: sender@example.com\r\n"
                                 "Subject: -Orv-Relays-\r\n"
                                 "To: receiver@example.com\r\n"
                                 "Message-ID: <3222026173317sender42@host.example.com>\r\n"
                                 "\r\n";

std::string make_text(size_t size)
{
    std::string text;
    for (size_t line = 0; text.size() < size; ++line) {
        for (size_t i = 0; i < LINE_SIZE - 2; ++i) {
            text += static_cast<char>('A' + (line + i) % 26);
        }
        text += "\r\n";
    }
    return text;
}

size_t piece_size()
{
    return (GATHERED / LINE_SIZE + 1) * LINE_SIZE;
}

size_t piece_count(const std::string & text)
{
    return (text.size() + piece_size() - 1) / piece_size();
}

class Link {
public:
    explicit Link(uint16_t port, const std::string & address = "127.0.0.1")
        : _host("send_only", port, address), _link(_host.make_link())
    {
    }
    ~Link() { MsgFiniLink(_link); }
    Link(const Link &) = delete;
    Link & operator=(const Link &) = delete;

    void send_message(const std::string & text)
    {
        require(MsgSendV3(_link, nullptr, RECEIVER, text.data(), static_cast<uint32>(text.size()), ++_count,
                          0) == MSG_SUCCESS,
                "MsgSendV3");
    }

private:
    bench::Host _host;
    a_smtp_link_info * _link;
    uint32 _count = 0;
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
        hear();
        command("HELO host.example.com\r\n");
    }
    ~SameCalls() { close(_handle); }
    SameCalls(const SameCalls &) = delete;
    SameCalls & operator=(const SameCalls &) = delete;

    void send_message(const std::string & text)
    {
        command("MAIL FROM:<sender@example.com>\r\n");
        command("RCPT TO:<receiver@example.com>\r\n");
        command("DATA\r\n");
        say(HEADERS);
        for (size_t at = 0; at < text.size(); at += piece_size()) {
            say(std::string_view(text).substr(at, piece_size()));
        }
        command("\r\n.\r\n");
    }

private:
    void say(std::string_view text)
    {
        require(::send(_handle, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()), "send");
    }
    void hear()
    {
        char reply[REPLY_SIZE];
        require(recv(_handle, reply, sizeof(reply), 0) > 0, "recv");
    }
    void command(std::string_view text)
    {
        say(text);
        hear();
    }

    int _handle;
};

#ifdef ORV_HAVE_LIBETPAN
class Libetpan {
public:
    explicit Libetpan(uint16_t port) : _smtp(mailsmtp_new(0, nullptr))
    {
        require(mailsmtp_socket_connect(_smtp, "127.0.0.1", port) == MAILSMTP_NO_ERROR &&
                    mailsmtp_helo(_smtp) == MAILSMTP_NO_ERROR,
                "libetpan's session");
    }
    ~Libetpan()
    {
        (void)mailsmtp_quit(_smtp);
        mailsmtp_free(_smtp);
    }
    Libetpan(const Libetpan &) = delete;
    Libetpan & operator=(const Libetpan &) = delete;

    void send_message(const std::string & mail)
    {
        require(mailsmtp_mail(_smtp, SENDER) == MAILSMTP_NO_ERROR &&
                    mailsmtp_rcpt(_smtp, RECEIVER) == MAILSMTP_NO_ERROR &&
                    mailsmtp_data(_smtp) == MAILSMTP_NO_ERROR &&
                    mailsmtp_data_message(_smtp, mail.data(), mail.size()) == MAILSMTP_NO_ERROR,
                "libetpan");
    }

private:
    mailsmtp * _smtp;
};
#endif

#ifdef ORV_HAVE_LIBCURL
class Libcurl {
public:
    explicit Libcurl(uint16_t port) : _curl(curl_easy_init()), _to(curl_slist_append(nullptr, RECEIVER))
    {
        const std::string url = "smtp://127.0.0.1:" + std::to_string(port) + "/host.example.com";
        curl_easy_setopt(_curl, CURLOPT_URL, url.c_str());
        curl_easy_setopt(_curl, CURLOPT_MAIL_FROM, SENDER);
        curl_easy_setopt(_curl, CURLOPT_MAIL_RCPT, _to);
        curl_easy_setopt(_curl, CURLOPT_UPLOAD, 1L);
        curl_easy_setopt(_curl, CURLOPT_READFUNCTION, read);
        curl_easy_setopt(_curl, CURLOPT_READDATA, &_rest);
    }
    ~Libcurl()
    {
        curl_easy_cleanup(_curl);
        curl_slist_free_all(_to);
    }
    Libcurl(const Libcurl &) = delete;
    Libcurl & operator=(const Libcurl &) = delete;

    void send_message(const std::string & mail)
    {
        _rest = mail;
        require(curl_easy_perform(_curl) == CURLE_OK, "libcurl");
    }

private:
    static size_t read(char * buffer, size_t size, size_t count, void * rest)
    {
        auto & text = *static_cast<std::string_view *>(rest);
        const size_t taken = text.copy(buffer, size * count);
        text.remove_prefix(taken);
        return taken;
    }

    CURL * _curl;
    curl_slist * _to;
    std::string_view _rest;
};
#endif

// One driver with its session, as a side.
template<class Driver> ratio::a_side side(const char * name, uint16_t port, const std::string & message)
{
    auto driver = std::make_shared<Driver>(port);
    return {name, [driver, &message] {
                for (int i = 0; i < MESSAGES / ROUNDS; ++i) {
                    driver->send_message(message);
                }
            }};
}

// All system calls for one message by a link with an open session, those for its SIGPIPE guard included.
double calls_per_message(uint16_t port, const std::string & text)
{
    static constexpr int COUNTED = 10;
    Link link(port);
    link.send_message(text);
    const long calls = bench::count_syscalls([&] {
        for (int i = 0; i < COUNTED; ++i) {
            link.send_message(text);
        }
    });
    return static_cast<double>(calls) / COUNTED;
}

void compare(uint16_t port, int kibibytes, double etpan_target, std::vector<ratio::a_figure> & figures)
{
    const std::string text = make_text(static_cast<size_t>(kibibytes) * 1024);
    const std::string mail = HEADERS + text;
    std::vector<ratio::a_side> sides;
    sides.push_back(side<Link>("the link", port, text));
    sides.push_back(side<SameCalls>("the same calls", port, text));
#ifdef ORV_HAVE_LIBETPAN
    sides.push_back(side<Libetpan>("libetpan", port, mail));
#endif
#ifdef ORV_HAVE_LIBCURL
    sides.push_back(side<Libcurl>("libcurl", port, mail));
#endif
    ratio::take_turns(ROUNDS, sides);
    const std::string title = "sending " + std::to_string(kibibytes) + " KiB";
    ratio::print_sides(title, sides, MESSAGES / ROUNDS);
    const ratio::a_side & ours = sides[0];
    const ratio::a_side & same = sides[1];
    figures.push_back({title + ": times as fast as the same calls", ratio::AT_LEAST, 0.95,
                       ratio::median_ratio(ours.wall, same.wall)});
    figures.push_back({title + ": CPU by that of the same calls", ratio::AT_MOST, 1.1,
                       ratio::median_ratio(same.cpu, ours.cpu)});
    for (size_t i = 2; i < sides.size(); ++i) {
        figures.push_back({title + ": times as fast as " + sides[i].name, ratio::AT_LEAST,
                           sides[i].name == "libetpan" ? etpan_target : 1.0,
                           ratio::median_ratio(ours.wall, sides[i].wall)});
    }
    const double calls = calls_per_message(port, text);
    if (calls >= 0) {
        figures.push_back({title + ": system calls of a message, 2 for SIGPIPE", ratio::AT_MOST,
                           static_cast<double>(9 + piece_count(text) + 2), calls});
    }
}

int compare_all()
{
    const bench::NullServer server(bench::serve_smtp);
    bench::pin_to(bench::FIRST_CORE);
    std::vector<ratio::a_figure> figures;
    static constexpr double ETPAN_TARGETS[] = {1.03, 1.2, 1.35};
    for (size_t i = 0; i < std::size(KIBIBYTES); ++i) {
        compare(server.port(), KIBIBYTES[i], ETPAN_TARGETS[i], figures);
    }
    return ratio::print_table(figures);
}

// What messages take over the way to that server, and how many of them wait for a delayed acknowledgement.
int send_to(const char * address, uint16_t port)
{
    static constexpr int SENT = 200;
    static constexpr double WAITED = 0.02; // seconds; Linux delays by 40 ms
    Link link(port, address);
    for (const int kibibytes : KIBIBYTES) {
        const std::string text = make_text(static_cast<size_t>(kibibytes) * 1024);
        std::vector<double> times;
        for (int i = 0; i < SENT; ++i) {
            const double start = ratio::now(CLOCK_MONOTONIC);
            link.send_message(text);
            times.push_back(ratio::now(CLOCK_MONOTONIC) - start);
        }
        const auto waited = std::count_if(times.begin(), times.end(), [](double t) { return t > WAITED; });
        const double mean = std::accumulate(times.begin(), times.end(), 0.0) / SENT;
        std::printf("%2d KiB: median %7.2f ms, mean %7.2f ms, %3ld of %d messages waited\n", kibibytes,
                    ratio::median(times) * 1e3, mean * 1e3, static_cast<long>(waited), SENT);
    }
    return 0;
}

} // namespace

int main(int argc, char ** argv)
{
    if (argc == 1) {
        return compare_all();
    }
    const std::string action = argv[1];
    const auto port = static_cast<uint16_t>(argc == 4 ? std::strtoul(argv[3], nullptr, 10) : 0);
    if (argc == 4 && action == "--serve") {
        bench::NullServer(bench::serve_smtp, argv[2], port, false).wait();
        return 0;
    }
    if (argc == 4 && action == "--send") {
        return send_to(argv[2], port);
    }
    std::puts("usage: link_send_bench [--serve|--send ADDRESS PORT]");
    return 2;
}
