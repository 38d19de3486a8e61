#include "remote/orvsmtp_send.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

#include "remote/query.h"
#include "remote/sigpipe.h"
#include "utils/etc/fileutil.h"
#include "utils/etc/native32.h"
#include "utils/etc/utstrfcn.h"

namespace {

// A line of the mail holds at most 600 characters: a command line of SMTP may be 512 and a text line 1,000
// long, and gateways have been seen that cut earlier than that.
constexpr uint32 LINE_MAX_CHARS = 600;

// How far a line end is looked for: a line of the longest length with its line end passes whole.
constexpr uint32 SEARCH_REACH = LINE_MAX_CHARS + 2;

// Short lines are gathered until they are worth a send of their own.
constexpr uint32 GATHER_BYTES = 1024;

constexpr size_t DATE_SIZE = 296;
constexpr size_t ID_SIZE = 497;

// Room for 32 bits in decimal with a terminator.
constexpr size_t NUMBER_SIZE = 12;

constexpr char crlf[] = "\r\n";
constexpr uint32 CRLF_LEN = 2;

// The Message-ID's part in front of the "@": date and time, the sender's local part, the number of the
// message. It is one token, and differs from message to message as long as a sender doesn't use a number
// twice in one second.
void build_id(const a_smtp_link_info * lnk, const tm & now, uint32 count, char (&id)[ID_SIZE])
{
    if (std::strftime(id, sizeof(id), "%j%Y%H%M%S", &now) == 0) {
        id[0] = '\0';
    }
    char * end = nullptr;
    size_t room = 0;
    // All of these fit: 13 digits, an address of 256 characters at most, "o" and ten digits.
    (void)ut_strcat(id, sizeof(id), lnk->senders_address);
    if (char * at = std::strchr(id, '@'); at != nullptr) {
        *at = '\0';
    }
    uint32 number = count;
    (void)ut_strcat(id, sizeof(id), "", &end, &room);
    if (count == OUT_OF_BAND_COUNT) {
        const SigpipeHostMask host_code;
        number = getNextOOBSerial(lnk->profile_access);
        (void)ut_strcpy(end, room, "o", &end, &room);
    }
    char digits[NUMBER_SIZE];
    (void)ut_strcpy(end, room, u32toa(number, digits, 10), &end, &room);
}

// Sends the bytes of the text that haven't gone yet, up to `end`.
bool send_up_to(a_sock * sock, const char * txt, uint32 * sent, uint32 end)
{
    const uint32 from = *sent;
    *sent = end;
    return SocketSend(sock, txt + from, end - from) != FALSE;
}

// A line must not begin with a period, which alone on a line ends a mail (RFC 5321, section 4.5.2). A blank
// goes in front of it instead of the second period of the RFC, since the reading side undoes nothing.
bool keep_period_from_line_start(a_sock * sock, const char * txt, uint32 len, uint32 line_start)
{
    return line_start >= len || txt[line_start] != '.' || SocketSend(sock, " ", 1) != FALSE;
}

// Owns a search context for as long as the text is scanned.
class LineEndSearch {
public:
    explicit LineEndSearch(char ** text) { search_init(&_context, text, crlf, CRLF_LEN); }
    ~LineEndSearch()
    {
        if (_context != nullptr) {
            search_end(_context);
        }
    }
    LineEndSearch(const LineEndSearch &) = delete;
    LineEndSearch & operator=(const LineEndSearch &) = delete;

    [[nodiscard]] bool is_usable() const { return _context != nullptr; }

    // The offset behind the next line end in the first `len` bytes, or 0.
    [[nodiscard]] uint32 go(uint32 len) { return static_cast<uint32>(search_go(_context, len)); }

private:
    a_search_context * _context = nullptr;
};

} // namespace

SMTPMessageWrite::SMTPMessageWrite(a_smtp_link_info * lnk, const char * address, const char * txt, uint32 len,
                                   uint32 count)
    : _lnk(lnk), _address(address), _txt(txt), _len(len), _count(count)
{
}

COM_RESULT SMTPMessageWrite::AttemptAction(int /*retry_count*/)
{
    if (_lnk->smtp == nullptr || SocketIsClosed(_lnk->smtp)) {
        return COM_RETRY;
    }
    const OperationGuard guard(_lnk->debug);
    return envelope() && mail() && smtp_reply(_lnk) ? COM_SUCCESS : COM_RETRY;
}

MSGRET SMTPMessageWrite::ReInit()
{
    if (_lnk->smtp != nullptr && !SocketIsClosed(_lnk->smtp)) {
        SocketPurgePending(_lnk->smtp); // what a failed attempt has left
        SocketString(_lnk->smtp, "RSET");
        if (smtp_command_keep_open(_lnk)) {
            return MSG_SUCCESS;
        }
    }
    return Connect(_lnk, MODE_SMTP);
}

bool SMTPMessageWrite::envelope()
{
    a_sock * smtp = _lnk->smtp;
    SocketString(smtp, "MAIL FROM:<");
    SocketString(smtp, _lnk->senders_address);
    SocketString(smtp, ">");
    if (!smtp_command(_lnk)) {
        return false;
    }
    SocketString(smtp, "RCPT TO:<");
    SocketString(smtp, _address);
    SocketString(smtp, ">");
    if (!smtp_command(_lnk)) {
        return false;
    }
    SocketString(smtp, "DATA");
    return smtp_command(_lnk) != FALSE;
}

// Everything from the server's consent to take the mail up to its end mark. A mail that stays without its end
// can't be taken back on the same session, where the server would read on.
bool SMTPMessageWrite::mail()
{
    if (header_block() && send_framed_text(_lnk->smtp, _txt, _len) && end_mark()) {
        return true;
    }
    close_if_out_of_step(_lnk->smtp, errno);
    return false;
}

bool SMTPMessageWrite::header_block()
{
    tm now{};
    FindCurrentTime(&now, TL_GLOBAL);
    char date[DATE_SIZE];
    if (std::strftime(date, sizeof(date), "%a, %d %b %Y %H:%M:%S UT", &now) == 0) {
        date[0] = '\0';
    }
    char id[ID_SIZE];
    build_id(_lnk, now, _count, id);
    const char * const pieces[] = {
        "Date: ",
        date,
        crlf,
        "From: ",
        _lnk->senders_address,
        crlf,
        "Subject: -Orv-Relays-",
        crlf,
        "To: ",
        _address,
        crlf,
        "Message-ID: <",
        id,
        "@",
        _lnk->local_host,
        ">",
        crlf,
        crlf,
    };
    for (const char * piece : pieces) {
        SocketString(_lnk->smtp, piece);
    }
    return SocketFlush(_lnk->smtp) != FALSE;
}

bool SMTPMessageWrite::end_mark()
{
    static constexpr char mark[] = "\r\n.\r\n";
    return SocketSend(_lnk->smtp, mark, sizeof(mark) - 1) && SocketFlush(_lnk->smtp);
}

a_bool send_framed_text(a_sock * sock, const char * txt, uint32 len)
{
    char * text = const_cast<char *>(txt); // the search only reads
    LineEndSearch search(&text);
    if (!search.is_usable()) {
        pass_to_host(sock->sock_info->msgcb, "Could not allocate search context");
        errno = ENOMEM;
        return FALSE;
    }
    if (!keep_period_from_line_start(sock, txt, len, 0)) {
        return FALSE;
    }
    uint32 sent = 0;          // the first byte not yet handed to the socket
    uint32 end_of_search = 0; // how far the text has been looked at
    while (end_of_search < len) {
        end_of_search += std::min(SEARCH_REACH, len - end_of_search);
        bool line_begins = true;
        if (const uint32 after_crlf = search.go(end_of_search); after_crlf != 0) {
            end_of_search = after_crlf;
            const bool before_period = after_crlf < len && txt[after_crlf] == '.';
            if (!before_period && after_crlf - sent <= GATHER_BYTES) {
                continue;
            }
            if (!send_up_to(sock, txt, &sent, after_crlf)) {
                return FALSE;
            }
        } else {
            // A line end that begins at the end of the reach must not be torn.
            end_of_search -= end_of_search == len ? 0 : CRLF_LEN;
            line_begins = send_up_to(sock, txt, &sent, end_of_search) && SocketSend(sock, crlf, CRLF_LEN);
        }
        if (!line_begins || !keep_period_from_line_start(sock, txt, len, end_of_search)) {
            return FALSE;
        }
    }
    return send_up_to(sock, txt, &sent, len) ? TRUE : FALSE;
}

MSGRET MsgSendV3(HLINK baseLink, const char * /*user*/, const char * address, const char * txt, uint32 len,
                 uint32 count, uint16 /*flags*/)
{
    auto * lnk = static_cast<a_smtp_link_info *>(baseLink);
    if (lnk->smtp == nullptr || SocketIsClosed(lnk->smtp)) {
        const MSGRET ret = Connect(lnk, MODE_SMTP);
        if (ret != MSG_SUCCESS) {
            return ret;
        }
    }
    return SMTPMessageWrite(lnk, address, txt, len, count).DoActionWithRetries();
}
