// SMTP replies of a server that says and cuts whatever it likes: one reply against a model, then a whole
// hello with authentication and a whole message.

#include <string>
#include <vector>

#include "fake_server.h"
#include "remote/orvsmtp_auth.h"
#include "remote/orvsmtp_send.h"

namespace {

using fuzz::server;

using Lines = std::vector<std::string>;

void grab_lines(void * data, char * line_buf, unsigned int line_len)
{
    static_cast<Lines *>(data)->emplace_back(line_buf, line_len);
}

// What a reply at the start of `text` means, and the lines of it that are handed on. No recv fails here.
bool model_reply(std::string_view text, Lines * lines)
{
    for (bool good = true;;) {
        const size_t end = text.find("\r\n");
        if (end == std::string_view::npos || end + 2 > REPLY_SIZE) {
            return false;
        }
        std::string line(text.substr(0, end));
        text.remove_prefix(end + 2);
        line.erase(line.find_last_not_of("\r\n") + 1);
        good = good && !line.empty() && (line[0] == '2' || line[0] == '3');
        if (good && line.size() >= 4) {
            lines->push_back(line);
        }
        if (line.size() < 4 || line[3] != '-') {
            return good;
        }
    }
}

void read_one_reply(std::span<const std::uint8_t> input)
{
    fuzz::FakeLink link(input);
    if (std::find(server.schedule.begin(), server.schedule.end(), 0) != server.schedule.end()) {
        server.schedule = {}; // cuts, but no failures
    }
    link.open(link.lnk->smtp);
    Lines expected;
    const bool good = model_reply(server.text, &expected);
    Lines lines;
    require((smtp_reply(link.lnk.get(), grab_lines, &lines) != FALSE) == good);
    require(lines == expected);
    // Only a reply that went wrong half-way ends the session, and then it is out of step for sure.
    require(!SocketIsClosed(link.lnk->smtp) || !good);
}

void say_hello_and_send(std::span<const std::uint8_t> input, bool debug)
{
    fuzz::FakeLink link(input);
    link.lnk->debug = debug ? TRUE : FALSE;
    link.open(link.lnk->smtp);
    if (!smtp_hello_and_authenticate(link.lnk.get())) {
        return;
    }
    const std::string text = ".\r\ntext\r\n";
    SMTPMessageWrite write(link.lnk.get(), "office@b.example", text.data(), 9, OUT_OF_BAND_COUNT);
    if (write.AttemptAction(0) == COM_SUCCESS) {
        require(server.sent > text.size());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * data, std::size_t size)
{
    std::span<const std::uint8_t> input(data, size);
    const std::uint8_t mode = fuzz::take_byte(input);
    if (mode % 3 == 0) {
        read_one_reply(input);
    } else {
        say_hello_and_send(input, mode % 3 == 1);
    }
    return 0;
}
