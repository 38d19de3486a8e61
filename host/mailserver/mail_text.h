// Byte work on the text of mails that both protocols and all stores share.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace mailserver {

// How much of `mail` TOP gives: its headers, the empty line and at most `body_lines` lines.
size_t top_length(std::string_view mail, size_t body_lines);

// Appends `mail` as RFC 1939 sends several lines: a period more in front of each line that begins with one,
// and the end mark. A mail whose last line has no CR LF gets one.
void append_stuffed(std::string & out, std::string_view mail);

std::string upper_case(std::string_view text); // of ASCII letters

} // namespace mailserver
