// What a text looks like on the wire, line by line and with a copy for each: the slow twin of the scan that
// sends from the host's buffer.
#pragma once

#include <string>
#include <string_view>

namespace reference {

// The framed text of a mail: what stands between the empty line behind the headers and the end mark. A line
// is cut behind 600 characters when its line end doesn't lie within the next 602; what is left of a text when
// it has no more than 602 goes out as one line.
inline std::string framed(std::string_view text)
{
    std::string wire;
    while (!text.empty()) {
        std::string_view line = text.substr(0, 602);
        size_t taken = line.size();
        if (const size_t end = line.find("\r\n"); end != std::string_view::npos) {
            taken = end + 2;
            line = line.substr(0, end);
        } else if (line.size() < text.size()) {
            taken = 600;
            line = line.substr(0, 600);
        }
        if (line.starts_with('.'))
            wire += ' ';
        wire.append(line).append("\r\n");
        text.remove_prefix(taken);
    }
    return wire;
}

} // namespace reference
