// trace_mask.h - takes the credentials out of what the link tells its host.
//
// The debug trace shows every command as sent: PASS with the password, APOP with a digest that a dictionary
// opens, and Base64 lines after AUTH. Only one line at a time is seen, without a mark of direction, so the
// mask follows the exchange: a Base64 line counts as a credential where the link may send one, after a good
// reply to AUTH. Where that is in doubt the line is masked. Commands follow RFC 5321 and RFC 4954 (SMTP), RFC
// 1939 (POP3).
//
// One object for each link; one thread at a time.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orvhost {

inline constexpr std::string_view masked = "********";

// True if every character is one of the Base64 alphabet (RFC 4648); so also for an empty line.
[[nodiscard]] bool is_base64_line(std::string_view line);

// Replaces control characters, which a server could use to write to the user's terminal, by question marks.
[[nodiscard]] std::string printable(std::string_view line);

// Masks the passwords known to the host wherever they stand in a text, as in a prompt that shows the current
// value; one of less than four characters only where it stands as a word.
[[nodiscard]] std::string hide_secrets(std::string text, std::vector<std::string> secrets);

class TraceMask {
public:
    // Gives the line as it may be shown, also without `secrets`. Must see every line, in order.
    [[nodiscard]] std::string apply(std::string_view line, const std::vector<std::string> & secrets);

private:
    enum class State { outside, reply_due, credential_due };
    [[nodiscard]] std::string by_command(std::string_view line);
    void follow_reply(std::string_view line);

    State _state = State::outside;
    int _credentials_left = 0;
};

} // namespace orvhost
