// Sending: one replication message as one e-mail over the open SMTP session. The format on the wire is told
// in docs/wire-format.md.
//
// The text goes out straight from the host's buffer. A server's refusal shows in the trace only; the socket
// layer reports its own failures. Runs on the thread of the link.
#pragma once

#include "remote/orvsmtp.h"
#include "remote/stubborncommand.h"
#include "utils/etc/uttypes.h"

// The host's number of a message that has none of its own.
constexpr uint32 OUT_OF_BAND_COUNT = 0xFFFFFFFF;

class SMTPMessageWrite : public StubbornCommand {
public:
    // `address` and the `len` bytes at `txt`, which need no terminator, must stay as they are while the
    // command runs.
    SMTPMessageWrite(a_smtp_link_info * lnk, const char * address, const char * txt, uint32 len,
                     uint32 count);

    // One transaction, from MAIL to the final reply. Each attempt has a Date and a Message-ID of its own, and
    // an out-of-band message draws a new serial: a message whose final reply is lost can arrive twice, under
    // two ids.
    [[nodiscard]] COM_RESULT AttemptAction(int retry_count) override;

    // RSET keeps the session for the next attempt; when that fails, a new one is opened.
    [[nodiscard]] MSGRET ReInit() override;

private:
    [[nodiscard]] bool envelope();
    [[nodiscard]] bool mail();
    [[nodiscard]] bool header_block();
    [[nodiscard]] bool end_mark();

    a_smtp_link_info * _lnk;
    const char * _address;
    const char * _txt;
    uint32 _len;
    uint32 _count;
};

// Sends a text cut into lines of at most 600 characters, none of which begins with a period, and a line end
// behind it. FALSE: a send has failed, which has been reported, or there is no memory for the search of line
// ends.
[[nodiscard]] a_bool send_framed_text(a_sock * sock, const char * txt, uint32 len);
