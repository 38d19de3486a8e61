// POP3, RFC 1939, with all its optional commands.
#include <charconv>
#include <exception>
#include <optional>

#include "mailserver/digest.h"
#include "mailserver/mail_text.h"
#include "mailserver/session.h"

namespace mailserver {

namespace {

class Pop3Session : public Session {
public:
    Pop3Session(const Config & config, Store & store, unsigned serial)
        : _config(config), _store(store), _timestamp(config.apop_timestamp)
    {
        if (_timestamp.empty())
            _timestamp = new_timestamp(config, serial);
    }
    Reply greeting() override { return {"+OK POP3 ready" + (_config.apop ? " " + _timestamp : "") + "\r\n"}; }
    std::string verb(std::string_view line) const override { return split_command(line).verb; }
    Reply run(std::string_view line) override;
    void pass_over(std::string_view) override {}
    Reply line_too_long() override { return {"-ERR line too long\r\n"}; }
    std::string masked(std::string_view line) const override;

private:
    using Handler = Reply (Pop3Session::*)(std::string_view argument);
    struct Row {
        std::string_view verb;
        bool logged_in; // in which of the two states it is known
        Handler handler;
    };

    Reply user(std::string_view argument);
    Reply pass(std::string_view argument);
    Reply apop(std::string_view argument);
    Reply stat(std::string_view argument);
    Reply list(std::string_view argument);
    Reply uidl(std::string_view argument);
    Reply top(std::string_view argument);
    Reply retr(std::string_view argument);
    Reply dele(std::string_view argument);
    Reply noop(std::string_view) { return {"+OK\r\n"}; }
    Reply rset(std::string_view argument);
    Reply quit();

    Reply login(const std::string & user, bool proved);
    Reply table(std::string_view argument, std::string (Pop3Session::*row)(size_t) const);
    std::string size_row(size_t mail) const { return std::to_string(_box->size(mail)); }
    std::string id_row(size_t mail) const { return _box->unique_id(mail); }
    std::optional<size_t> mail_number(std::string_view argument) const;
    Reply mail_reply(size_t mail, std::optional<size_t> body_lines) const;
    std::string password_of(const std::string & user) const;

    const Config & _config;
    Store & _store;
    std::string _timestamp;
    std::string _user;
    std::unique_ptr<Mailbox> _box; // from the login on
    std::vector<bool> _deleted;
};

const char * const no_such_mail = "-ERR no such message\r\n";

template<class Number> std::optional<Number> parse_number(std::string_view text)
{
    Number number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc{} && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

Reply Pop3Session::run(std::string_view line)
{
    static constexpr Row rows[] = {
        {"USER", false, &Pop3Session::user}, {"PASS", false, &Pop3Session::pass},
        {"APOP", false, &Pop3Session::apop}, {"STAT", true, &Pop3Session::stat},
        {"LIST", true, &Pop3Session::list},  {"UIDL", true, &Pop3Session::uidl},
        {"TOP", true, &Pop3Session::top},    {"RETR", true, &Pop3Session::retr},
        {"DELE", true, &Pop3Session::dele},  {"NOOP", true, &Pop3Session::noop},
        {"RSET", true, &Pop3Session::rset},
    };
    const Command command = split_command(line);
    try {
        if (command.verb == "QUIT")
            return quit();
        for (const Row & row : rows) {
            if (row.verb == command.verb && row.logged_in == (_box != nullptr))
                return (this->*row.handler)(command.argument);
        }
    } catch (const std::exception & error) {
        return {std::string("-ERR ") + error.what() + "\r\n"};
    }
    return {"-ERR command not known here\r\n"};
}

std::string Pop3Session::masked(std::string_view line) const
{
    const Command command = split_command(line);
    if (command.verb == "PASS")
        return "PASS ****";
    if (command.verb == "APOP")
        return "APOP " + std::string(command.argument.substr(0, command.argument.find(' '))) + " ****";
    return std::string(line);
}

Reply Pop3Session::user(std::string_view argument)
{
    // Whether the mailbox exists is told by PASS only, so that names can't be tried.
    _user = argument;
    return {"+OK\r\n"};
}

Reply Pop3Session::pass(std::string_view argument)
{
    if (_user.empty())
        return {"-ERR USER comes first\r\n"};
    const std::string user = std::move(_user);
    _user.clear();
    return login(user, argument == password_of(user));
}

Reply Pop3Session::apop(std::string_view argument)
{
    const size_t blank = argument.rfind(' ');
    if (!_config.apop || blank == argument.npos)
        return {"-ERR command not known here\r\n"};
    const std::string user(argument.substr(0, blank));
    return login(user, argument.substr(blank + 1) == apop_digest(_timestamp, password_of(user)));
}

Reply Pop3Session::login(const std::string & user, bool proved)
{
    if (!proved || !_config.users.contains(user))
        return {"-ERR [AUTH] user or password is wrong\r\n"};
    _box = _store.open(user, _config.lock_wait);
    if (_box == nullptr)
        return {"-ERR [IN-USE] another session has this mailbox\r\n"};
    _deleted.assign(_box->count(), false);
    return {"+OK " + std::to_string(_box->count()) + " messages\r\n"};
}

std::string Pop3Session::password_of(const std::string & user) const
{
    const auto found = _config.users.find(user);
    return found == _config.users.end() ? "" : found->second;
}

Reply Pop3Session::stat(std::string_view)
{
    size_t count = 0;
    uint64_t size = 0;
    for (size_t i = 0; i < _deleted.size(); ++i) {
        count += _deleted[i] ? 0 : 1;
        size += _deleted[i] ? 0 : _box->size(i);
    }
    return {"+OK " + std::to_string(count) + " " + std::to_string(size) + "\r\n"};
}

// LIST and UIDL: one row, or all that aren't deleted.
Reply Pop3Session::table(std::string_view argument, std::string (Pop3Session::*row)(size_t) const)
{
    if (!argument.empty()) {
        const std::optional<size_t> mail = mail_number(argument);
        return {mail ? "+OK " + std::to_string(*mail + 1) + " " + (this->*row)(*mail) + "\r\n"
                     : no_such_mail};
    }
    std::string text = "+OK\r\n";
    for (size_t i = 0; i < _deleted.size(); ++i) {
        if (!_deleted[i])
            text += std::to_string(i + 1) + " " + (this->*row)(i) + "\r\n";
    }
    return {text + ".\r\n"};
}

Reply Pop3Session::list(std::string_view argument)
{
    return table(argument, &Pop3Session::size_row);
}

Reply Pop3Session::uidl(std::string_view argument)
{
    return table(argument, &Pop3Session::id_row);
}

Reply Pop3Session::top(std::string_view argument)
{
    const size_t blank = argument.find(' ');
    if (!_config.top || blank == argument.npos)
        return {"-ERR command not known here\r\n"};
    const std::optional<size_t> mail = mail_number(argument.substr(0, blank));
    const std::optional<size_t> lines = parse_number<size_t>(argument.substr(blank + 1));
    return mail && lines ? mail_reply(*mail, lines) : Reply{no_such_mail};
}

Reply Pop3Session::retr(std::string_view argument)
{
    const std::optional<size_t> mail = mail_number(argument);
    return mail ? mail_reply(*mail, std::nullopt) : Reply{no_such_mail};
}

Reply Pop3Session::mail_reply(size_t mail, std::optional<size_t> body_lines) const
{
    const std::string text = _box->read(mail, body_lines);
    Reply reply{"+OK " + std::to_string(_box->size(mail)) + " octets\r\n"};
    reply.mail_at = reply.text.size();
    append_stuffed(reply.text, text);
    return reply;
}

Reply Pop3Session::dele(std::string_view argument)
{
    const std::optional<size_t> mail = mail_number(argument);
    if (!mail)
        return {no_such_mail};
    _deleted[*mail] = true;
    return {"+OK\r\n"};
}

Reply Pop3Session::rset(std::string_view)
{
    _deleted.assign(_deleted.size(), false);
    return {"+OK\r\n"};
}

// The UPDATE state. The mailbox is free again before the client reads the reply and may come back.
Reply Pop3Session::quit()
{
    const std::unique_ptr<Mailbox> box = std::move(_box);
    if (box != nullptr) {
        try {
            box->remove(_deleted);
        } catch (const std::exception & error) {
            return {std::string("-ERR not all is deleted: ") + error.what() + "\r\n", true};
        }
    }
    return {"+OK bye\r\n", true};
}

// Messages count from 1 for the client; those marked as deleted are no messages any more.
std::optional<size_t> Pop3Session::mail_number(std::string_view argument) const
{
    const std::optional<size_t> number = parse_number<size_t>(argument);
    if (!number || *number == 0 || *number > _deleted.size() || _deleted[*number - 1])
        return std::nullopt;
    return *number - 1;
}

} // namespace

std::unique_ptr<Session> make_pop3_session(const Config & config, Store & store, unsigned serial)
{
    return std::make_unique<Pop3Session>(config, store, serial);
}

} // namespace mailserver
