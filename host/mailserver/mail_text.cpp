#include "mailserver/mail_text.h"

namespace mailserver {

size_t top_length(std::string_view mail, size_t body_lines)
{
    const size_t end = mail.starts_with("\r\n") ? 0 : mail.find("\r\n\r\n");
    if (end == mail.npos)
        return mail.size();
    size_t length = end == 0 ? 2 : end + 4;
    for (; body_lines > 0 && length < mail.size(); --body_lines) {
        const size_t line_end = mail.find("\r\n", length);
        length = line_end == mail.npos ? mail.size() : line_end + 2;
    }
    return length;
}

void append_stuffed(std::string & out, std::string_view mail)
{
    out.reserve(out.size() + mail.size() + 16);
    if (mail.starts_with('.'))
        out += '.';
    size_t from = 0;
    for (size_t at = mail.find("\r\n."); at != mail.npos; at = mail.find("\r\n.", from)) {
        out.append(mail, from, at + 3 - from).append(".");
        from = at + 3;
    }
    out.append(mail, from);
    if (!mail.empty() && !mail.ends_with("\r\n"))
        out += "\r\n";
    out += ".\r\n";
}

std::string upper_case(std::string_view text)
{
    std::string upper(text);
    for (char & c : upper) {
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    }
    return upper;
}

} // namespace mailserver
