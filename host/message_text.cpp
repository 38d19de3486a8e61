#include "message_text.h"

#include <algorithm>

namespace orvhost {
namespace {

constexpr std::string_view line_end = "\r\n";

[[nodiscard]] size_t framed_line_size(std::string_view line)
{
    constexpr size_t longest = 600;
    size_t size = 0;
    do {
        const std::string_view piece = line.substr(0, longest);
        size += (piece.starts_with('.') ? 1 : 0) + piece.size() + line_end.size();
        line.remove_prefix(piece.size());
    } while (!line.empty());
    return size;
}

} // namespace

size_t framed_size(std::string_view text)
{
    size_t size = 0;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find(line_end));
        size += framed_line_size(line);
        text.remove_prefix(std::min(text.size(), line.size() + line_end.size()));
    }
    return size;
}

std::string_view unframed(std::string_view text)
{
    if (text.starts_with(line_end)) {
        text.remove_prefix(line_end.size());
    }
    if (text.ends_with(line_end)) {
        text.remove_suffix(line_end.size());
    }
    return text;
}

bool has_lone_line_feed(std::string_view text)
{
    for (size_t at = text.find('\n'); at != std::string_view::npos; at = text.find('\n', at + 1)) {
        if (at == 0 || text[at - 1] != '\r') {
            return true;
        }
    }
    return false;
}

bool ends_mail_early(std::string_view text)
{
    for (size_t at = text.find("\n."); at != std::string_view::npos; at = text.find("\n.", at + 1)) {
        const bool lone = at == 0 || text[at - 1] != '\r';
        const std::string_view rest = text.substr(at + 2);
        if (lone && (rest.empty() || rest.starts_with('\n') || rest.starts_with(line_end))) {
            return true;
        }
    }
    return false;
}

} // namespace orvhost
