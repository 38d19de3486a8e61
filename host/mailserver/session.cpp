#include "mailserver/session.h"

#include <ctime>

#include <unistd.h>

#include "mailserver/mail_text.h"

namespace mailserver {

std::string new_timestamp(const Config & config, unsigned serial)
{
    std::string timestamp = "<";
    timestamp += std::to_string(::getpid());
    timestamp.append(".")
        .append(std::to_string(serial))
        .append(".")
        .append(std::to_string(std::time(nullptr)));
    return timestamp.append("@").append(config.host_name).append(">");
}

Command split_command(std::string_view line)
{
    const size_t blank = line.find(' ');
    Command command{.verb = upper_case(line.substr(0, blank)), .argument = {}};
    if (blank != line.npos)
        command.argument = line.substr(blank + 1);
    return command;
}

} // namespace mailserver
