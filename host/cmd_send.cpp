#include "commands.h"
#include "exit_codes.h"
#include "file_io.h"
#include "message_text.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <strings.h>

namespace orvhost {
namespace {

constexpr uint32_t out_of_band = 0xFFFFFFFF; // a message without a number of its own

[[nodiscard]] int read_text(const std::string & file, std::string & text)
{
    std::string error;
    const bool read =
        file == "-" ? read_all(STDIN_FILENO, "standard input", text, error) : read_file(file, text, error);
    if (!read) {
        complain(error);
    }
    return read ? exit_ok : EX_NOINPUT;
}

// The link takes whatever it is given; it is the host that has to see to it that the text arrives.
[[nodiscard]] int check_text(const LinkApi & api, const std::string & text)
{
    char property[] = "Accepts Binary";
    const char * binary = api.query_value(property);
    const bool accepts_binary = binary != nullptr && ::strcasecmp(binary, "Yes") == 0;
    if (!accepts_binary && text.find('\0') != std::string::npos) {
        complain("the text has binary bytes, which this link can't carry: encode it");
        return EX_DATAERR;
    }
    if (framed_size(text) > max_framed_size) {
        complain("the text is too long: with its line ends it needs " + std::to_string(framed_size(text)) +
                 " bytes, and the reader takes " + std::to_string(max_framed_size));
        return EX_DATAERR;
    }
    if (ends_mail_early(text)) {
        complain("the text has a period alone on a line that begins behind a lone LF: a server may end the "
                 "mail there");
        return EX_DATAERR;
    }
    if (has_lone_line_feed(text)) {
        complain("warning: lines that end with LF alone aren't line ends of mail; a server may refuse them");
    }
    if (std::any_of(text.begin(), text.end(),
                    [](char c) { return (static_cast<unsigned char>(c) & 0x80) != 0; })) {
        complain("warning: characters outside ASCII arrive only if every server on the way passes them");
    }
    return exit_ok;
}

[[nodiscard]] int check_recipient(const LinkApi & api, std::string to)
{
    char setting[] = "address";
    char reason[256] = "";
    // The link puts the address into its commands as it is, so a line end in it would be a command of its
    // own.
    if (!is_address_text(to) || api.verify_setting(setting, to.data(), reason) != 0) {
        complain("--to needs an e-mail address" + std::string(reason[0] != '\0' ? ": " : "") + reason);
        return EX_USAGE;
    }
    return exit_ok;
}

} // namespace

int run_send(const Options & options, const SendOptions & send)
{
    Session session(options);
    std::string text;
    int code = session.load_profile(true);
    if (code == exit_ok) {
        code = session.load_library();
    }
    if (code == exit_ok) {
        code = check_recipient(session.api(), send.to);
    }
    if (code == exit_ok) {
        code = read_text(send.file, text);
    }
    if (code == exit_ok) {
        code = check_text(session.api(), text);
    }
    if (code == exit_ok) {
        code = session.open_link(nullptr);
    }
    if (code != exit_ok) {
        return code;
    }
    const MSGRET result =
        session.api().send(session.link(), "", send.to.c_str(), text.data(), static_cast<uint32>(text.size()),
                           send.count.value_or(out_of_band), 0);
    if (result != MSG_SUCCESS) {
        // A lost final reply looks like a refusal: the message may have arrived.
        complain("not sent, or not known to be: " + std::string(result_text(result)));
    }
    return exit_code_of(result);
}

} // namespace orvhost
