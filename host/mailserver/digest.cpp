#include "mailserver/digest.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include <openssl/evp.h>
#include <openssl/hmac.h>

namespace mailserver {

namespace {

const unsigned char * bytes_of(std::string_view text)
{
    return reinterpret_cast<const unsigned char *>(text.data());
}

std::string hexadecimal(const unsigned char * bytes, size_t count)
{
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (size_t i = 0; i < count; ++i) {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 15];
    }
    return text;
}

} // namespace

std::string base64_encode(std::string_view bytes)
{
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0'); // libcrypto writes a terminator
    const int len = EVP_EncodeBlock(reinterpret_cast<unsigned char *>(text.data()), bytes_of(bytes),
                                    static_cast<int>(bytes.size()));
    text.resize(static_cast<size_t>(len));
    return text;
}

std::optional<std::string> base64_decode(std::string_view text)
{
    // libcrypto's decoder trims blanks and doesn't count the padding, so both are looked at here.
    const size_t data = std::min(text.find_last_not_of('=') + 1, text.size());
    const size_t padding = text.size() - data;
    static constexpr std::string_view alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    if (text.size() % 4 != 0 || padding > 2 || text.substr(0, data).find_first_not_of(alphabet) != text.npos)
        return std::nullopt;
    std::string bytes(text.size() / 4 * 3, '\0');
    const int len = EVP_DecodeBlock(reinterpret_cast<unsigned char *>(bytes.data()), bytes_of(text),
                                    static_cast<int>(text.size()));
    if (len < 0)
        return std::nullopt;
    bytes.resize(static_cast<size_t>(len) - padding);
    return bytes;
}

std::string apop_digest(std::string_view timestamp, std::string_view password)
{
    const std::string text = std::string(timestamp).append(password);
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int len = 0;
    if (EVP_Digest(text.data(), text.size(), digest.data(), &len, EVP_md5(), nullptr) != 1)
        throw std::runtime_error("libcrypto has no MD5");
    return hexadecimal(digest.data(), len);
}

std::string cram_md5_digest(std::string_view challenge, std::string_view password)
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int len = 0;
    if (HMAC(EVP_md5(), password.data(), static_cast<int>(password.size()), bytes_of(challenge),
             challenge.size(), digest.data(), &len) == nullptr)
        throw std::runtime_error("libcrypto has no HMAC-MD5");
    return hexadecimal(digest.data(), len);
}

} // namespace mailserver
