#include "mailserver/connection.h"

#include <algorithm>

namespace mailserver {

Connection::Connection(Setup setup, std::unique_ptr<Channel> channel, std::unique_ptr<Session> session)
    : _setup(std::move(setup)), _channel(std::move(channel)), _session(std::move(session))
{
}

void Connection::serve()
{
    bool go_on = exchange(greeting_verb, "");
    while (go_on)
        go_on = next_line();
    _session.reset(); // the mailbox is free before the client can learn of the end
    _channel->hang_up();
}

bool Connection::next_line()
{
    Channel::Line line;
    if (!_channel->read_line(line, _setup.config.max_line - 2))
        return false;
    if (_session->in_mail())
        return mail_line(line);
    if (!line.complete)
        return too_long();
    trace_client(line.text);
    ++_commands;
    return exchange(_session->verb(line.text), line.text);
}

bool Connection::mail_line(const Channel::Line & line)
{
    if (_line_begin && line.complete && line.text == ".") {
        if (_setup.trace && !_setup.config.trace_mail)
            _setup.trace(Side::Client, "(mail of " + std::to_string(_session->mail_bytes()) + " bytes)");
        if (_setup.trace)
            _setup.trace(Side::Client, ".");
        ++_commands;
        return exchange(end_of_data_verb, line.text);
    }
    if (_setup.trace && _setup.config.trace_mail)
        _setup.trace(Side::Client, line.text);
    _session->mail_text(line.text, _line_begin, line.complete);
    _line_begin = line.complete;
    return true;
}

bool Connection::too_long()
{
    Channel::Line rest;
    do {
        if (!_channel->read_line(rest, _setup.config.max_line - 2))
            return false;
    } while (!rest.complete);
    ++_commands;
    return answer(_session->line_too_long(), {});
}

// One command and its reply. `verb` is what faults call it.
bool Connection::exchange(const std::string & verb, std::string_view line)
{
    const CommandFault fault =
        _setup.faults->at_command(_setup.protocol, _setup.number, _commands, verb).value_or(CommandFault{});
    if (fault.reset)
        _channel->want_reset();
    if (fault.hang_up == HangUp::BeforeAction)
        return false;
    const bool refused = fault.reply && !fault.reply->empty() &&
                         std::string_view("45-").find((*fault.reply)[0]) != std::string_view::npos;
    Reply reply;
    if (!fault.carry_out.value_or(!refused))
        _session->pass_over(line);
    else
        reply = verb == greeting_verb ? _session->greeting() : _session->run(line);
    if (fault.reply)
        reply = {*fault.reply, reply.close};
    return answer(std::move(reply), fault);
}

bool Connection::answer(Reply reply, const CommandFault & fault)
{
    if (!_channel->pause(fault.delay) || fault.hang_up == HangUp::BeforeReply)
        return false;
    if (fault.cut && *fault.cut < reply.text.size())
        reply.text.resize(*fault.cut);
    trace_reply(reply);
    return _channel->send(reply.text, fault.piece, fault.piece_delay) && !reply.close && !fault.cut &&
           fault.hang_up == HangUp::No;
}

void Connection::trace_client(std::string_view line) const
{
    if (_setup.trace)
        _setup.trace(Side::Client, _setup.config.trace_secrets ? std::string(line) : _session->masked(line));
}

void Connection::trace_reply(const Reply & reply) const
{
    if (!_setup.trace)
        return;
    const bool hide = reply.mail_at < reply.text.size() && !_setup.config.trace_mail;
    std::string_view text(reply.text);
    if (hide)
        text = text.substr(0, reply.mail_at);
    while (!text.empty()) {
        const size_t end = std::min(text.find("\r\n"), text.size());
        _setup.trace(Side::Server, text.substr(0, end));
        text.remove_prefix(std::min(end + 2, text.size()));
    }
    if (hide)
        _setup.trace(Side::Server,
                     "(mail of " + std::to_string(reply.text.size() - reply.mail_at) + " bytes)");
}

} // namespace mailserver
