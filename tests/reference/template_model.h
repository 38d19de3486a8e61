// The slow twin of the template formatter: whole texts as std::string, no buffer, no cut.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <regex>
#include <string>

// The arguments as the formatter reads them: every number has a string and the 64 bits of its slot.
struct a_model_argument {
    std::string text;
    std::uint64_t bits;
};
using a_model_arguments = std::array<a_model_argument, 9>;

inline std::string model_printf(const char * format, auto value)
{
    char text[64];
    (void)std::snprintf(text, sizeof(text), format, value); // 20 digits at most
    return text;
}

inline std::string model_argument(const std::string & tag, const a_model_argument & argument)
{
    const auto low = static_cast<std::uint32_t>(argument.bits);
    if (tag == "!d!" || tag == "!ld!") {
        return model_printf("%d", static_cast<std::int32_t>(low));
    }
    if (tag == "!u!" || tag == "!lu!") {
        return model_printf("%u", low);
    }
    if (tag == "!lld!") {
        return model_printf("%lld", static_cast<long long>(argument.bits));
    }
    if (tag == "!llu!") {
        return model_printf("%llu", static_cast<unsigned long long>(argument.bits));
    }
    if (tag == "!4x!") {
        return model_printf("%04x", low & 0xFFFF);
    }
    if (tag == "!8x!") {
        return model_printf("%08x", low);
    }
    if (tag == "!c!") {
        return std::string(static_cast<char>(low) != 0 ? 1 : 0, static_cast<char>(low));
    }
    return argument.text;
}

// The whole text of `format`, whose last placeholder of each number counts.
inline std::string model_format(const std::string & format, const a_model_arguments & arguments)
{
    static const std::regex placeholder("%([1-9])(!(?:s|d|c|u|ld|lu|lld|llu|4x|8x|at)!)?");
    std::string text;
    for (std::size_t pos = 0; pos < format.size();) {
        const std::string rest = format.substr(pos);
        std::smatch match;
        const bool here = std::regex_search(rest, match, placeholder, std::regex_constants::match_continuous);
        if (here && format.rfind("%" + match.str(1)) == pos) {
            text += model_argument(match.str(2), arguments[match.str(1)[0] - '1']);
            pos += match.length();
        } else {
            text += format[pos];
            pos += rest.starts_with("%%") ? 2 : 1;
        }
    }
    return text;
}
