// The line of a CRAM-MD5 challenge and its Base64, against a model that looks at one group of four after the
// other.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "remote/orvsmtp_auth.h"
#include "require.h"

namespace {

std::string model_challenge(std::string_view line)
{
    constexpr const char * white = " \t\n\v\f\r";
    line = line.substr(0, line.find_last_not_of(white) + 1);
    const size_t begin = line.size() <= 3 ? std::string_view::npos : line.find_first_not_of(white, 3);
    if (begin == std::string_view::npos) {
        return "";
    }
    line.remove_prefix(begin);
    return std::string(line.substr(0, line.find('\0')));
}

std::optional<std::string> model_decode(std::string_view text)
{
    static constexpr std::string_view alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (; !text.empty(); text.remove_prefix(4)) {
        if (text.size() < 4) {
            return std::nullopt;
        }
        const std::string_view group = text.substr(0, 4);
        const std::string_view digits = group.substr(0, group.find('='));
        if (group.find_first_not_of('=', digits.size()) != std::string_view::npos ||
            digits.find_first_not_of(alphabet) != std::string_view::npos) {
            return std::nullopt;
        }
        unsigned int value = 0;
        for (size_t i = 0; i < 4; ++i) {
            value =
                value * 64 + (i < digits.size() ? static_cast<unsigned int>(alphabet.find(digits[i])) : 0);
        }
        const char bytes[] = {static_cast<char>(value >> 16), static_cast<char>(value >> 8),
                              static_cast<char>(value)};
        out.append(bytes, digits.size() < 2 ? 0 : digits.size() - 1);
    }
    return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * data, std::size_t size)
{
    // A line of a reply, as the reply reader gives it.
    std::vector<char> line(data, data + std::min<size_t>(size, REPLY_SIZE - 2));
    const std::string_view text(line.data(), line.size());
    std::vector<char> challenge(CHALLENGE_SIZE, 'x');
    std::string before(text);
    line.push_back('\0');
    grab_challenge(challenge.data(), line.data(), static_cast<unsigned int>(before.size()));
    require(model_challenge(before) == challenge.data());

    const size_t len = std::strlen(challenge.data());
    std::vector<unsigned char> decoded(len / 4 * 3);
    size_t decoded_len = 1;
    const bool good = base64_decode(challenge.data(), len, decoded.data(), &decoded_len);
    const std::optional<std::string> expected = model_decode(challenge.data());
    require(good == expected.has_value());
    const std::string_view got(reinterpret_cast<const char *>(decoded.data()), decoded_len);
    require(good ? got == *expected : got.empty());

    uint32 mechanisms = 0;
    grab_supported_auth(&mechanisms, line.data(), static_cast<unsigned int>(before.size()));
    require(mechanisms <= (AUTH_CRAM_MD5 | AUTH_LOGIN));

    std::vector<char> encoded(base64_size(size));
    base64_encode(data, size, encoded.data());
    std::vector<unsigned char> back(encoded.size() / 4 * 3);
    require(base64_decode(encoded.data(), encoded.size() - 1, back.data(), &decoded_len));
    require(decoded_len == size && std::equal(data, data + size, back.begin()));
    return 0;
}
