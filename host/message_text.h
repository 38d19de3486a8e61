// message_text.h - what the mail format does to a text on its way, as far as a host has to know it.
#pragma once

#include <cstddef>
#include <string_view>

namespace orvhost {

// The reader at the other end keeps a mail in 61,440 bytes: a CR LF in front, the framed text, and the five
// bytes of the end mark.
inline constexpr size_t max_framed_size = 61440 - 2 - 5;

// Size in bytes of a text framed for the wire: lines ended with CR LF and broken behind 600 characters, a
// blank in front of each that begins with a period.
[[nodiscard]] size_t framed_size(std::string_view text);

// Takes off the CR LF in front of a received text and one behind it, each only if it is there. The rest of
// the framing can't be told from the sender's own bytes and stays: see the help of "receive".
[[nodiscard]] std::string_view unframed(std::string_view text);

// True if the text has an LF without a CR in front. Servers may refuse such a text (RFC 5321, 2.3.8).
[[nodiscard]] bool has_lone_line_feed(std::string_view text);

// True if the text has a period alone between a lone LF and a line end. A server that takes a lone LF for a
// line end, as Postfix does unless told otherwise, sees the end of the mail there and reads the rest as
// commands.
[[nodiscard]] bool ends_mail_early(std::string_view text);

} // namespace orvhost
