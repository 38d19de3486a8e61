// Words of protocols and names of settings, compared ignoring the case of ASCII letters, as the mail formats
// do (RFC 5234, section 2.3). Not by the C library, which follows the host's locale: a Turkish one takes "I"
// and "i" for two letters.
//
// Ownership, errors: none. Threads: any.
#pragma once

#include <algorithm>
#include <string_view>

[[nodiscard]] inline bool equals_caseless(std::string_view text, std::string_view word)
{
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; };
    return std::equal(text.begin(), text.end(), word.begin(), word.end(),
                      [lower](char a, char b) { return lower(a) == lower(b); });
}
