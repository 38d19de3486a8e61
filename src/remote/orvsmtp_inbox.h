// Receiving: finds the link's messages in a mailbox that holds other mail too, reads them one at a time, and
// deletes them when the host says so.
//
// Everything runs on the thread of the link. A server's refusal shows in the trace only; the socket layer
// reports its own failures. Standards: RFC 1939 (POP3), RFC 5322 (mail headers), RFC 2045 (quoted-printable,
// in a reduced form).
#pragma once

#include "remote/linkmessage.h"
#include "remote/orvsmtp.h"
#include "remote/stubborncommand.h"
#include "utils/etc/uttypes.h"

// Fetches mail `msgNum` of the POP3 session: its headers only, or headers and body, through the link's body
// buffer, which afterwards holds the text in `body` and its length in `body_len`, with a line end in front.
//   id         out: the value of the Message-ID header, cut to MESSAGE_ID_SIZE - 1; unchanged without one
//   ignore_me  out: FALSE if the mail is one of the link's; unchanged if the command was refused
// FALSE: the command was refused, the connection is gone, a header line is too long, the mail doesn't fit in
// the body buffer, or there is no memory for the search; all but the first two have been reported.
[[nodiscard]] a_bool pop_fill_msg(a_smtp_link_info * link, char * id, unsigned long msgNum,
                                  a_bool * ignore_me, a_bool header_only);

// What the headers of a mail have said so far.
struct a_mail_header {
    char * id; // receives the Message-ID, MESSAGE_ID_SIZE bytes
    a_bool ignore_me;
    bool quoted_printable_encoding;
};

// Takes in one header line, terminated, which it may change.
void read_header_line(a_mail_header * header, char * line);

// Undoes quoted-printable in place, in the reduced form that gateways on the way need: "=" and two
// hexadecimal digits become a byte, any other "=" is dropped, and a text with "==" anywhere isn't encoded at
// all. `text` is terminated at text[len] before and at the new length, which is the result, afterwards.
[[nodiscard]] unsigned int decode_quoted_printable(char * text, unsigned int len);

// One look through the whole mailbox.
class POPInboxRead : public StubbornCommand {
public:
    explicit POPInboxRead(a_smtp_link_info * lnk) : _lnk(lnk) {}

    // Fills unreceivedMsgLst anew and brings the numbers in receivedMsgLst up to date. After a retry or a
    // lack of memory the lists hold what was found until then; the next scan starts over.
    [[nodiscard]] COM_RESULT AttemptAction(int retry_count) override;
    [[nodiscard]] MSGRET ReInit() override;

    // Takes the first message out of unreceivedMsgLst; the caller owns it. Null when there is none.
    [[nodiscard]] SMTPLinkMessage * GetNextNewMessage();

    // Puts a message into receivedMsgLst, which owns it from then on, unless that list is in its error state
    // afterwards: then it holds no message any more, this one and those before it belong to nobody, and all
    // commands on the inbox end in COM_OUT_OF_MEMORY.
    void FlagAsReceived(SMTPLinkMessage * smtpLnkMsg);

private:
    void forget_last_scan();
    [[nodiscard]] bool count_messages(unsigned long * numMessages);
    [[nodiscard]] bool read_unique_id(unsigned long msgNum, char * id);
    [[nodiscard]] COM_RESULT scan_message(unsigned long msgNum);
    [[nodiscard]] COM_RESULT file_message(const char * id, unsigned long msgNum);

    a_smtp_link_info * _lnk;
};

// Reads one message into the link's body buffer.
class POPMessageRead : public StubbornPOPCommand {
public:
    POPMessageRead(a_smtp_link_info * lnk, SMTPLinkMessage * msg) : StubbornPOPCommand(lnk), _msg(msg) {}
    [[nodiscard]] COM_RESULT AttemptAction(int retry_count) override;

private:
    SMTPLinkMessage * _msg;
};

// Deletes one message in the mailbox, if the latest scan found it there, and forgets it. After COM_SUCCESS
// the message is gone.
class POPMessageDelete : public StubbornPOPCommand {
public:
    POPMessageDelete(a_smtp_link_info * lnk, SMTPLinkMessage * msg) : StubbornPOPCommand(lnk), _msg(msg) {}
    [[nodiscard]] COM_RESULT AttemptAction(int retry_count) override;

private:
    void forget_message();

    SMTPLinkMessage * _msg;
};
