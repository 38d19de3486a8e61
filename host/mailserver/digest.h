// Digests and Base64 of the logins, over OpenSSL's libcrypto.
//
// Standards: RFC 4648 (Base64), RFC 1939 (APOP), RFC 2195 (CRAM-MD5).
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace mailserver {

std::string base64_encode(std::string_view bytes);
std::optional<std::string> base64_decode(std::string_view text); // nothing for malformed text

// Both as 32 lower-case hexadecimal digits.
std::string apop_digest(std::string_view timestamp, std::string_view password);
std::string cram_md5_digest(std::string_view challenge, std::string_view password);

} // namespace mailserver
