#include "trace_mask.h"

#include <algorithm>
#include <cctype>

namespace orvhost {
namespace {

// What the link sends or says only when no AUTH exchange is going on.
constexpr std::string_view exchange_enders[] = {
    "EHLO ", "HELO ", "MAIL FROM:", "RSET", "QUIT", "USER ", "Unable to authenticate.",
};

[[nodiscard]] bool ends_exchange(std::string_view line)
{
    return std::any_of(std::begin(exchange_enders), std::end(exchange_enders),
                       [&](std::string_view ender) { return line.starts_with(ender); });
}

[[nodiscard]] bool is_word_character(char c)
{
    return std::isalnum(static_cast<unsigned char>(c)) != 0;
}

[[nodiscard]] bool stands_alone(const std::string & text, size_t at, size_t length)
{
    const size_t behind = at + length;
    return (at == 0 || !is_word_character(text[at - 1])) &&
           (behind == text.size() || !is_word_character(text[behind]));
}

void hide(std::string & text, const std::string & secret)
{
    constexpr size_t short_secret = 4; // shorter ones occur within ordinary words
    for (size_t at = text.find(secret); at != std::string::npos; at = text.find(secret, at)) {
        if (secret.size() >= short_secret || stands_alone(text, at, secret.size())) {
            text.replace(at, secret.size(), masked);
            at += masked.size();
        } else {
            ++at;
        }
    }
}

} // namespace

bool is_base64_line(std::string_view line)
{
    return std::all_of(line.begin(), line.end(),
                       [](char c) { return is_word_character(c) || c == '+' || c == '/' || c == '='; });
}

std::string printable(std::string_view line)
{
    std::string shown(line);
    for (char & c : shown) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte < 0x20 && c != '\t') || byte == 0x7F) {
            c = '?';
        }
    }
    return shown;
}

std::string hide_secrets(std::string text, std::vector<std::string> secrets)
{
    // A secret within a longer one must not leave the rest of that one.
    std::sort(secrets.begin(), secrets.end(),
              [](const std::string & a, const std::string & b) { return a.size() > b.size(); });
    for (const std::string & secret : secrets) {
        hide(text, secret);
    }
    return text;
}

std::string TraceMask::apply(std::string_view line, const std::vector<std::string> & secrets)
{
    return hide_secrets(by_command(line), secrets);
}

std::string TraceMask::by_command(std::string_view line)
{
    const auto up_to = [&](size_t length) {
        return std::string(line.substr(0, length)) + std::string(masked);
    };
    if (line.starts_with("PASS ")) {
        return up_to(5);
    }
    if (line.starts_with("APOP ")) {
        return up_to(line.rfind(' ') + 1); // a user name may hold blanks, the digest doesn't
    }
    if (line.starts_with("AUTH ")) {
        // LOGIN sends two credentials, CRAM-MD5 one. An initial response (RFC 4954) stands behind the
        // mechanism.
        _state = State::reply_due;
        _credentials_left = line.starts_with("AUTH CRAM-MD5") ? 1 : 2;
        const size_t behind_mechanism = line.find(' ', 5);
        return behind_mechanism == std::string_view::npos ? std::string(line) : up_to(behind_mechanism + 1);
    }
    if (_state == State::credential_due && is_base64_line(line)) {
        --_credentials_left;
        _state = _credentials_left > 0 ? State::reply_due : State::outside;
        return std::string(masked);
    }
    if (ends_exchange(line)) {
        _state = State::outside;
    } else if (_state == State::reply_due) {
        follow_reply(line);
    }
    return std::string(line);
}

// A reply is good when its lines begin with 2 or 3, and its last line has no hyphen behind the code. Lines of
// the link's own, which begin with no digit, change nothing.
void TraceMask::follow_reply(std::string_view line)
{
    const char first = line.empty() ? '\0' : line.front();
    if (first == '2' || first == '3') {
        const bool goes_on = line.size() >= 4 && line[3] == '-';
        _state = goes_on ? State::reply_due : State::credential_due;
    } else if (first == '4' || first == '5') {
        _state = State::outside;
    }
}

} // namespace orvhost
