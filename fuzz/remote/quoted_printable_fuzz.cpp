// The reduction of quoted-printable against a model that builds the result anew.

#include <cctype>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "remote/orvsmtp_inbox.h"
#include "require.h"

namespace {

std::string model(std::string_view text)
{
    const std::string_view up_to_zero = text.substr(0, text.find('\0'));
    if (up_to_zero.find("==") != std::string_view::npos) {
        return std::string(text);
    }
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        const bool escape = text[i] == '=' && i + 2 < text.size() &&
                            std::isxdigit(static_cast<unsigned char>(text[i + 1])) != 0 &&
                            std::isxdigit(static_cast<unsigned char>(text[i + 2])) != 0;
        if (escape) {
            out += static_cast<char>(std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16));
            i += 2;
        } else if (text[i] != '=') {
            out += text[i];
        }
    }
    return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    std::vector<char> body(text.begin(), text.end());
    body.push_back('\0'); // and no byte to spare
    const unsigned int len = decode_quoted_printable(body.data(), static_cast<unsigned int>(size));
    require(std::string_view(body.data(), len) == model(text) && body[len] == '\0');
    return 0;
}
