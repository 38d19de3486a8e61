// SMTP, RFC 5321, with AUTH of RFC 4954.
#include <charconv>
#include <exception>
#include <optional>
#include <set>

#include "mailserver/digest.h"
#include "mailserver/mail_text.h"
#include "mailserver/session.h"

namespace mailserver {

namespace {

constexpr size_t max_recipients = 1000; // RFC 5321 4.5.3.1.8 wants at least 100

class SmtpSession : public Session {
public:
    SmtpSession(const Config & config, Store & store, unsigned serial)
        : _config(config), _store(store), _challenge(config.cram_challenge)
    {
        if (_challenge.empty())
            _challenge = new_timestamp(config, serial);
    }
    Reply greeting() override { return {"220 " + _config.host_name + " ESMTP ready\r\n"}; }
    std::string verb(std::string_view line) const override;
    Reply run(std::string_view line) override;
    void pass_over(std::string_view line) override;
    Reply line_too_long() override { return {"500 Line too long\r\n"}; }
    std::string masked(std::string_view line) const override;
    bool in_mail() const override { return _in_mail; }
    void mail_text(std::string_view text, bool line_begin, bool line_end) override;
    uint64_t mail_bytes() const override { return _mail_bytes; }

private:
    enum class Auth { No, CramResponse, LoginUser, LoginPassword };
    using Handler = Reply (SmtpSession::*)(std::string_view argument);
    struct Row {
        std::string_view verb;
        Handler handler;
    };

    Reply helo(std::string_view argument);
    Reply ehlo(std::string_view argument);
    Reply auth(std::string_view argument);
    Reply mail(std::string_view argument);
    Reply rcpt(std::string_view argument);
    Reply data(std::string_view argument);
    Reply rset(std::string_view argument);
    Reply noop(std::string_view) { return {"250 OK\r\n"}; }
    Reply vrfy(std::string_view) { return {"252 Send it and see\r\n"}; }
    Reply quit(std::string_view) { return {"221 Bye\r\n", true}; }

    Reply auth_response(std::string_view line);
    Reply login(const std::string & user, bool proved);
    Reply end_of_mail();
    void forget_mail();
    std::string password_of(const std::string & user) const;

    const Config & _config;
    Store & _store;
    std::string _challenge;
    bool _greeted = false;
    bool _logged_in = false;
    Auth _auth = Auth::No;
    std::string _auth_user;
    std::optional<std::string> _sender;
    std::set<std::string> _recipients; // mailbox users: one mail to two addresses of one user arrives once
    size_t _recipient_count = 0;
    bool _in_mail = false;
    std::string _mail;
    uint64_t _mail_bytes = 0; // also of what doesn't fit any more
};

// The path of MAIL and RCPT: "KEYWORD:<...>", and what stands behind it.
struct Path {
    std::string address;
    std::string parameters;
};

std::optional<Path> parse_path(std::string_view argument, std::string_view keyword)
{
    if (upper_case(argument.substr(0, keyword.size())) != keyword)
        return std::nullopt;
    argument.remove_prefix(keyword.size());
    if (argument.starts_with(' ')) // many clients put a blank here
        argument.remove_prefix(1);
    const size_t end = argument.find('>');
    if (!argument.starts_with('<') || end == argument.npos)
        return std::nullopt;
    return Path{std::string(argument.substr(1, end - 1)), upper_case(argument.substr(end + 1))};
}

// The value of SIZE= among the parameters of MAIL (RFC 1870), or 0.
uint64_t declared_size(const std::string & parameters)
{
    uint64_t size = 0;
    if (const size_t at = parameters.find(" SIZE="); at != parameters.npos)
        (void)std::from_chars(parameters.data() + at + 6, parameters.data() + parameters.size(),
                              size); // 0 if none
    return size;
}

std::string SmtpSession::verb(std::string_view line) const
{
    if (_in_mail)
        return end_of_data_verb;
    return _auth != Auth::No ? auth_response_verb : split_command(line).verb;
}

Reply SmtpSession::run(std::string_view line)
{
    static constexpr Row rows[] = {
        {"HELO", &SmtpSession::helo}, {"EHLO", &SmtpSession::ehlo}, {"AUTH", &SmtpSession::auth},
        {"MAIL", &SmtpSession::mail}, {"RCPT", &SmtpSession::rcpt}, {"DATA", &SmtpSession::data},
        {"RSET", &SmtpSession::rset}, {"NOOP", &SmtpSession::noop}, {"VRFY", &SmtpSession::vrfy},
        {"QUIT", &SmtpSession::quit},
    };
    if (_in_mail)
        return end_of_mail();
    if (_auth != Auth::No)
        return auth_response(line);
    const Command command = split_command(line);
    for (const Row & row : rows) {
        if (row.verb == command.verb)
            return (this->*row.handler)(command.argument);
    }
    return {"500 Command not known\r\n"};
}

void SmtpSession::pass_over(std::string_view)
{
    _auth = Auth::No;
    if (_in_mail)
        forget_mail();
}

std::string SmtpSession::masked(std::string_view line) const
{
    if (_auth != Auth::No)
        return "****";
    const Command command = split_command(line);
    const size_t initial = command.argument.find(' ');
    if (command.verb == "AUTH" && initial != command.argument.npos)
        return "AUTH " + std::string(command.argument.substr(0, initial)) + " ****";
    return std::string(line);
}

Reply SmtpSession::helo(std::string_view argument)
{
    if (argument.empty())
        return {"501 HELO wants a name\r\n"};
    forget_mail();
    _greeted = true;
    return {"250 " + _config.host_name + "\r\n"};
}

Reply SmtpSession::ehlo(std::string_view argument)
{
    if (!_config.ehlo)
        return {"500 Command not known\r\n"};
    if (argument.empty())
        return {"501 EHLO wants a name\r\n"};
    forget_mail();
    _greeted = true;
    std::string text = "250-" + _config.host_name + "\r\n250-8BITMIME\r\n";
    if (_config.auth_cram_md5 || _config.auth_login) {
        text += "250-AUTH";
        text += _config.auth_cram_md5 ? " CRAM-MD5" : "";
        text += _config.auth_login ? " LOGIN" : "";
        text += "\r\n";
    }
    return {text + "250 SIZE " + std::to_string(_config.max_mail) + "\r\n"};
}

Reply SmtpSession::auth(std::string_view argument)
{
    if (_logged_in || _sender)
        return {"503 Not now\r\n"}; // RFC 4954, chapter 4: once, and not inside a transaction
    const size_t blank = argument.find(' ');
    const std::string mechanism = upper_case(argument.substr(0, blank));
    if (mechanism == "CRAM-MD5" && _config.auth_cram_md5) {
        if (blank != argument.npos)
            return {"501 CRAM-MD5 begins with the challenge\r\n"};
        _auth = Auth::CramResponse;
        return {"334 " + base64_encode(_challenge) + "\r\n"};
    }
    if (mechanism == "LOGIN" && _config.auth_login) {
        _auth = Auth::LoginUser;
        return blank == argument.npos ? Reply{"334 " + base64_encode("Username:") + "\r\n"}
                                      : auth_response(argument.substr(blank + 1));
    }
    return {"504 Mechanism not known\r\n"};
}

Reply SmtpSession::auth_response(std::string_view line)
{
    const Auth step = _auth;
    _auth = Auth::No;
    const std::optional<std::string> answer = base64_decode(line);
    if (!answer) // also "*", by which the client gives up
        return {"501 Authentication cancelled\r\n"};
    if (step == Auth::LoginUser) {
        _auth_user = *answer;
        _auth = Auth::LoginPassword;
        return {"334 " + base64_encode("Password:") + "\r\n"};
    }
    if (step == Auth::LoginPassword)
        return login(_auth_user, *answer == password_of(_auth_user));
    const size_t blank = answer->rfind(' ');
    const std::string user = answer->substr(0, blank);
    return login(user, blank != answer->npos &&
                           answer->substr(blank + 1) == cram_md5_digest(_challenge, password_of(user)));
}

Reply SmtpSession::login(const std::string & user, bool proved)
{
    _logged_in = proved && _config.users.contains(user);
    return {_logged_in ? "235 Authenticated\r\n" : "535 Authentication failed\r\n"};
}

std::string SmtpSession::password_of(const std::string & user) const
{
    const auto found = _config.users.find(user);
    return found == _config.users.end() ? "" : found->second;
}

Reply SmtpSession::mail(std::string_view argument)
{
    const std::optional<Path> path = parse_path(argument, "FROM:");
    if (!_greeted || _sender)
        return {"503 Bad sequence of commands\r\n"};
    if (_config.require_auth && !_logged_in)
        return {"530 Authentication required\r\n"};
    if (!path)
        return {"501 MAIL wants FROM:<address>\r\n"};
    if (declared_size(path->parameters) > _config.max_mail)
        return {"552 Mail too big\r\n"};
    _sender = path->address;
    return {"250 OK\r\n"};
}

Reply SmtpSession::rcpt(std::string_view argument)
{
    const std::optional<Path> path = parse_path(argument, "TO:");
    if (!_sender)
        return {"503 Bad sequence of commands\r\n"};
    if (!path || path->address.empty())
        return {"501 RCPT wants TO:<address>\r\n"};
    const std::string user = path->address.substr(0, path->address.rfind('@'));
    if (!_config.users.contains(user))
        return {"550 No such mailbox\r\n"};
    if (_recipient_count == max_recipients)
        return {"452 Too many recipients\r\n"};
    ++_recipient_count;
    _recipients.insert(user);
    return {"250 OK\r\n"};
}

Reply SmtpSession::data(std::string_view)
{
    if (_recipients.empty())
        return {"503 Bad sequence of commands\r\n"};
    _in_mail = true;
    return {"354 End with CR LF . CR LF\r\n"};
}

Reply SmtpSession::rset(std::string_view)
{
    forget_mail();
    return {"250 OK\r\n"};
}

// Only the first of several periods at the start of a line goes (RFC 5321 4.5.2).
void SmtpSession::mail_text(std::string_view text, bool line_begin, bool line_end)
{
    if (line_begin && text.starts_with('.'))
        text.remove_prefix(1);
    _mail_bytes += text.size() + (line_end ? 2 : 0);
    if (_mail_bytes > _config.max_mail)
        return;
    _mail.append(text);
    if (line_end)
        _mail.append("\r\n");
}

Reply SmtpSession::end_of_mail()
{
    const std::string trace = "Return-Path: <" + _sender.value_or("") + ">\r\nReceived: from localhost by " +
                              _config.host_name + " with SMTP\r\n";
    const bool fits = _mail_bytes <= _config.max_mail;
    std::string mail = std::move(_mail);
    const std::set<std::string> recipients = std::move(_recipients);
    forget_mail();
    if (!fits)
        return {"552 Mail too big\r\n"};
    if (_config.received_header)
        mail.insert(0, trace);
    try {
        for (const std::string & user : recipients)
            _store.deliver(user, mail);
    } catch (const std::exception & error) {
        return {std::string("451 ") + error.what() + "\r\n"};
    }
    return {"250 OK\r\n"};
}

void SmtpSession::forget_mail()
{
    _sender.reset();
    _recipients.clear();
    _recipient_count = 0;
    _in_mail = false;
    _mail.clear();
    _mail_bytes = 0;
}

} // namespace

std::unique_ptr<Session> make_smtp_session(const Config & config, Store & store, unsigned serial)
{
    return std::make_unique<SmtpSession>(config, store, serial);
}

} // namespace mailserver
