#include "diagnosis.h"

#include <algorithm>
#include <cctype>

namespace orvhost {
namespace {

[[nodiscard]] std::string upper(std::string_view text)
{
    std::string result(text);
    for (char & c : result) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return result;
}

[[nodiscard]] std::string quoted(std::string_view text)
{
    std::string result(1, '"');
    result += text;
    result += '"';
    return result;
}

[[nodiscard]] bool is_good(std::string_view reply)
{
    return !reply.empty() && (reply.front() == '2' || reply.front() == '3' || reply.front() == '+');
}

[[nodiscard]] bool is_last_line(std::string_view reply)
{
    return reply.size() < 4 || reply[3] != '-';
}

// The challenge of APOP is the text between the last ">" and a "<" with an "@" behind it (RFC 1939).
[[nodiscard]] bool offers_apop(std::string_view greeting)
{
    const size_t open = greeting.find('<');
    const size_t at = greeting.find('@');
    const size_t close = greeting.rfind('>');
    return close != std::string_view::npos && open < at && at < close;
}

} // namespace

void Diagnosis::add(Verdict verdict, std::string text, std::string advice)
{
    if (std::find(_told.begin(), _told.end(), text) != _told.end()) {
        return;
    }
    _told.push_back(text);
    _has_fault = _has_fault || verdict == Verdict::fault;
    _sink({verdict, std::move(text), std::move(advice)});
}

// The first text is the version banner, but only if more follow: a link without its language files says one
// thing, that it has none, and gives up.
void Diagnosis::see(std::string_view line)
{
    ++_lines;
    if (_lines == 1) {
        _first_line = line;
        return;
    }
    if (_lines == 2) {
        add(Verdict::ok,
            "version: " + (_first_line.empty() ? "(no text: language files missing)" : _first_line));
    }
    see_step(line);
}

void Diagnosis::see_step(std::string_view line)
{
    if (_due == Due::credential) {
        _due = Due::auth_reply; // the line is a credential, or AUTH starts anew below
        if (!line.starts_with("AUTH ") && line.find(' ') == std::string_view::npos) {
            return;
        }
    }
    if (!see_connecting(line) && !see_command(line) && !see_report(line)) {
        see_reply(line);
    }
}

void Diagnosis::name_resolved()
{
    if (!_looking_up.empty()) {
        add(Verdict::ok, "name resolved: " + _looking_up);
        _looking_up.clear();
    }
}

bool Diagnosis::see_connecting(std::string_view line)
{
    constexpr std::string_view look_up = "gethostbyname ";
    constexpr std::string_view connect = "connect ";
    constexpr std::string_view port = "port ";
    if (line.starts_with(look_up)) {
        name_resolved();
        _looking_up = line.substr(look_up.size());
    } else if (line == "socket") {
        name_resolved();
    } else if (line.starts_with(connect)) {
        _service = line.substr(connect.size());
    } else if (line.starts_with(port)) {
        _port = line.substr(port.size());
        _due = Due::greeting;
    } else {
        return line == "gethostname" || line == "closesocket";
    }
    return true;
}

bool Diagnosis::see_command(std::string_view line)
{
    if (line.starts_with("EHLO ") || line.starts_with("HELO ")) {
        _due = Due::hello;
        _mechanism_offered = false;
    } else if (line.starts_with("AUTH ")) {
        _due = Due::auth_reply;
        _mechanism = line.substr(5);
    } else if (line.starts_with("USER ")) {
        _due = Due::user_reply;
        _mechanism = "USER and PASS";
    } else if (line.starts_with("PASS ")) {
        _due = Due::login_reply;
    } else if (line.starts_with("APOP ")) {
        _due = Due::login_reply;
        _mechanism = "APOP";
    } else if (line == "QUIT") {
        _due = Due::nothing;
    } else {
        return false;
    }
    return true;
}

// Texts that the link itself says, in the trace or as a report.
bool Diagnosis::see_report(std::string_view line)
{
    if (line == "Unable to authenticate.") {
        const bool offered = _mechanism_offered;
        add(offered ? Verdict::fault : Verdict::note, "no SMTP login; the link goes on without one",
            offered
                ? "check smtp_userid and smtp_password; empty ones stand for pop3_userid and pop3_password"
                : "if the server refuses mail then, give it a login by CRAM-MD5 or LOGIN");
    } else if (line == "Unknown smtp authenticate mechanism specified!!") {
        add(Verdict::note, "smtp_authenticate_mechanism names no mechanism that the link has",
            "set it to CRAM-MD5 or LOGIN, or leave it empty");
    } else if (line == "Unable to determine local host") {
        add(Verdict::fault, "the name of this machine isn't known", "set local_host in the profile");
    } else if (line.starts_with("0 byte read")) {
        add(Verdict::fault, "the " + _service + " server closed the connection",
            "look into the server's log; a plain-text connection may not be allowed on this port");
    } else if (!_looking_up.empty()) {
        add(Verdict::fault, "name not resolved: " + _looking_up + ": " + std::string(line),
            "check smtp_host, pop3_host and local_host, and the resolver of this machine (IPv4 is needed)");
        _looking_up.clear();
    } else {
        return line.starts_with("Authentication mech found: ");
    }
    return true;
}

void Diagnosis::see_reply(std::string_view line)
{
    switch (_due) {
    case Due::nothing:
    case Due::credential:
        break;
    case Due::greeting:
        see_greeting(line);
        break;
    case Due::hello:
        see_hello(line);
        break;
    case Due::auth_reply:
        see_auth_reply(line);
        break;
    case Due::user_reply:
    case Due::login_reply:
        see_login_reply(line);
        break;
    }
}

void Diagnosis::see_greeting(std::string_view line)
{
    const std::string server = "the " + _service + " server on port " + _port;
    const char first = line.empty() ? '\0' : line.front();
    if (is_good(line)) {
        add(Verdict::ok, "connected to " + server);
        if (first == '+') {
            const bool apop = offers_apop(line);
            add(Verdict::ok,
                apop ? "POP3 login offered: APOP, USER and PASS" : "POP3 login offered: USER and PASS");
        }
    } else if (first == '4' || first == '5' || first == '-') {
        add(Verdict::fault, server + " sends us away: " + quoted(line),
            "ask the administrator of that server");
    } else {
        add(Verdict::fault, "no connection to " + server + ": " + std::string(line),
            "check host and port in the profile, whether the server runs, and the firewalls in between");
    }
    if (is_last_line(line) || first == '+') {
        _due = Due::nothing;
    }
}

void Diagnosis::see_hello(std::string_view line)
{
    const std::string text = upper(line);
    if (!is_good(line)) {
        add(Verdict::note, "the SMTP server refuses the greeting: " + quoted(line),
            "the link tries HELO next; if that is refused too, check local_host");
    } else if (text.size() > 8 && text.compare(4, 4, "AUTH") == 0 && (text[8] == ' ' || text[8] == '=')) {
        add(Verdict::ok, "SMTP login offered: " + text.substr(9));
        _mechanism_offered = _mechanism_offered || text.find("CRAM-MD5") != std::string::npos ||
                             text.find("LOGIN") != std::string::npos;
    }
    if (is_last_line(line)) {
        _due = Due::nothing;
    }
}

void Diagnosis::see_auth_reply(std::string_view line)
{
    if (!is_last_line(line)) {
        return;
    }
    if (line.starts_with('3')) {
        _due = Due::credential;
        return;
    }
    _due = Due::nothing;
    if (is_good(line)) {
        add(Verdict::ok, "SMTP login done with " + _mechanism);
    } else {
        add(Verdict::note, "SMTP login with " + _mechanism + " refused: " + quoted(line));
    }
}

void Diagnosis::see_login_reply(std::string_view line)
{
    const bool user = _due == Due::user_reply;
    _due = Due::nothing;
    if (!is_good(line)) {
        const std::string what =
            user ? "POP3 user name refused: " : "POP3 login with " + _mechanism + " refused: ";
        std::string advice = user ? "check pop3_userid" : "check pop3_userid and pop3_password";
        if (_mechanism == "APOP") {
            advice += "; if they are right, the server may keep no plain password: set APOP_supported to no";
        }
        add(Verdict::fault, what + quoted(line), advice);
    } else if (!user) {
        add(Verdict::ok, "POP3 login done with " + _mechanism);
    }
}

void Diagnosis::finish(bool link_made)
{
    if (_lines == 1) {
        add(link_made ? Verdict::ok : Verdict::fault,
            (link_made ? "version: " : "the link says: ") + _first_line,
            link_made ? ""
                      : "check that the language files are installed in ../res of this program, "
                        "or name the installation in VXDIR16");
    }
    if (link_made) {
        add(Verdict::ok, "link made");
    } else {
        add(Verdict::fault, "no link could be made",
            _has_fault ? "" : "check that the profile names the hosts and has a POP3 user and password");
    }
}

} // namespace orvhost
