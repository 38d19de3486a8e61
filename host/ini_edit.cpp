#include "ini_edit.h"

#include <algorithm>
#include <strings.h>

namespace orvhost {
namespace {

constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

[[nodiscard]] std::string_view trimmed(std::string_view text)
{
    const size_t first = text.find_first_not_of(" \t\r\n");
    return first == std::string_view::npos ? text.substr(0, 0)
                                           : text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

// Offsets into the text. A line is `start` up to `end` without its line end, up to `next` with it.
struct Line {
    size_t start = 0;
    size_t end = 0;
    size_t next = 0;
};

[[nodiscard]] Line line_at(std::string_view text, size_t start)
{
    const size_t feed = text.find('\n', start);
    Line line{start, std::min(feed, text.size()), feed == std::string_view::npos ? text.size() : feed + 1};
    if (line.end > start && text[line.end - 1] == '\r') {
        --line.end;
    }
    return line;
}

// Where the value goes: into the line of the key, or as a line of its own behind `insert_at`.
struct Place {
    bool key_found = false;
    bool section_found = false;
    Line key;
    size_t insert_at = 0;
};

[[nodiscard]] Place find_place(std::string_view text, std::string_view section, std::string_view name)
{
    Place place;
    bool inside = section.empty();
    place.section_found = inside;
    place.insert_at = text.starts_with(byte_order_mark) ? byte_order_mark.size() : 0;
    Line line;
    for (size_t start = place.insert_at; start < text.size(); start = line.next) {
        line = line_at(text, start);
        const std::string_view content = trimmed(text.substr(line.start, line.end - line.start));
        const size_t sign = content.find('=');
        if (content.starts_with('[')) {
            if (content.find(']') == std::string_view::npos) {
                continue; // readers pass over it
            }
            inside = same_name(trimmed(content.substr(1, content.find(']') - 1)), section);
            place.section_found = place.section_found || inside;
            place.insert_at = inside ? line.next : place.insert_at;
        } else if (inside && sign != std::string_view::npos && !content.starts_with(';') &&
                   !content.starts_with('#')) {
            place.insert_at = line.next;
            if (same_name(trimmed(content.substr(0, sign)), name)) {
                place.key_found = true;
                place.key = line;
            }
        }
    }
    return place;
}

} // namespace

bool same_name(std::string_view a, std::string_view b)
{
    return a.size() == b.size() && ::strncasecmp(a.data(), b.data(), a.size()) == 0;
}

std::string with_ini_value(const std::string & text, std::string_view section, std::string_view name,
                           std::string_view value)
{
    const Place place = find_place(text, section, name);
    std::string changed = text;
    if (place.key_found) {
        const size_t behind_sign = text.find('=', place.key.start) + 1;
        changed.erase(behind_sign, place.key.end - behind_sign);
        changed.insert(behind_sign, value);
        changed.insert(behind_sign, 1, ' ');
    } else if (place.section_found) {
        const bool after_a_line = place.insert_at > 0 && text[place.insert_at - 1] == '\n';
        const bool carriage_return = after_a_line && place.insert_at > 1 && text[place.insert_at - 2] == '\r';
        const bool unended = place.insert_at == text.size() && !text.empty() && !after_a_line;
        std::string line(unended ? 1 : 0, '\n');
        line += name;
        line += " = ";
        line += value;
        line += carriage_return ? "\r\n" : "\n";
        changed.insert(place.insert_at, line);
    }
    return changed;
}

} // namespace orvhost
