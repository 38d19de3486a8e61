#include "remote/orvsmtp_inbox.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <string_view>

#include "remote/caseless.h"
#include "remote/sigpipe.h"
#include "utils/etc/native32.h"
#include "utils/etc/utstrfcn.h"

namespace {

// What the value of the Subject begins with in every mail that a link has sent.
constexpr std::string_view SUBJECT_MARKER = "-Orv-Relays-";

// Bytes of a header line that can be read, its line end included. A mail with a longer one can't be read.
constexpr unsigned int HEADER_LINE_SIZE = 511;

// The end of a mail (RFC 1939, section 3), with the end of the line before it.
constexpr char end_mark[] = "\r\n.\r\n";
constexpr unsigned int END_MARK_LEN = 5;

// The line end that the empty line behind the headers has used up stands in front of the body again, so that
// a mail with an empty body ends in the same mark.
constexpr unsigned int LINE_END_LEN = 2;

// Room for 32 bits in decimal with a terminator.
constexpr size_t NUMBER_SIZE = 12;

bool is_blank(char c)
{
    return c == ' ' || c == '\t';
}

// The first word of `text`, delimited by blanks and tabs; empty if there is none. Every header line of every
// mail comes here: the string_view's own searches for one of several characters take several times as long.
std::string_view first_word(std::string_view text)
{
    size_t begin = 0;
    while (begin < text.size() && is_blank(text[begin])) {
        ++begin;
    }
    size_t end = begin;
    while (end < text.size() && !is_blank(text[end])) {
        ++end;
    }
    return text.substr(begin, end - begin);
}

// The n-th word, counted from 0, of a reply that is split at blanks; null if there are fewer.
char * nth_word(char * reply, unsigned int n)
{
    char * rest = nullptr;
    char * word = strtok_r(reply, " ", &rest);
    for (; word != nullptr && n > 0; --n) {
        word = strtok_r(nullptr, " ", &rest);
    }
    return word;
}

// Puts a command on a message into the `send` buffer: a verb with a blank behind it, and the message's
// number.
void number_command(a_sock * sock, const char * verb, unsigned long msgNum)
{
    char number[NUMBER_SIZE];
    SocketString(sock, verb);
    SocketString(sock, u32toa(static_cast<uint32>(msgNum), number, 10));
}

bool has_session(const a_smtp_link_info * lnk)
{
    return lnk->pop != nullptr && !SocketIsClosed(lnk->pop);
}

// Has the list of the host's messages lost its memory? No scan can give these messages their numbers any
// more, and a number of an earlier session would read, or delete, another mail.
bool has_lost_track(const a_smtp_link_info * lnk)
{
    return lnk->receivedMsgLst.error() != FALSE;
}

// Owns a search for the end of the mail in the link's body.
class EndMarkSearch {
public:
    explicit EndMarkSearch(a_smtp_link_info * lnk)
    {
        search_init(&_context, &lnk->body, end_mark, END_MARK_LEN);
    }
    ~EndMarkSearch() { search_end(_context); }
    EndMarkSearch(const EndMarkSearch &) = delete;
    EndMarkSearch & operator=(const EndMarkSearch &) = delete;

    [[nodiscard]] bool is_usable() const { return _context != nullptr; }
    [[nodiscard]] bool finds(unsigned int len) { return search_go(_context, len) != 0; }

private:
    a_search_context * _context = nullptr;
};

bool request_mail(a_smtp_link_info * link, unsigned long msgNum, bool did_retr)
{
    number_command(link->pop, did_retr ? "RETR " : "TOP ", msgNum);
    if (!did_retr) {
        SocketString(link->pop, " 0");
    }
    return pop_command(link) != FALSE;
}

// Reads the headers up to the empty line that ends them. The result: how many bytes of the end mark stand in
// front of the body by then; 0 when the read failed.
unsigned int read_headers(a_smtp_link_info * link, a_mail_header * header)
{
    char line[HEADER_LINE_SIZE];
    for (;;) {
        unsigned int line_len = sizeof(line);
        if (!SocketReadLine(link->pop, line, &line_len)) {
            return 0;
        }
        if (line_len == 0) {
            return LINE_END_LEN;
        }
        // A mail without a body need not have the empty line (RFC 5322, section 3.5). Only the end mark is a
        // line of one period, since servers stuff all others: nothing comes behind it.
        if (line_len == 1 && line[0] == '.') {
            return END_MARK_LEN;
        }
        read_header_line(header, line);
    }
}

// Begins the body with the `mark_len` bytes of the end mark that the headers have used up, and takes what the
// socket has read already behind them; the result is the bytes there.
unsigned int begin_body(a_smtp_link_info * link, unsigned int mark_len)
{
    std::memcpy(link->body, end_mark, mark_len);
    const unsigned int held = SocketBuffSize(link->pop);
    std::memcpy(link->body + mark_len, SocketPeekBuff(link->pop), held);
    SocketEmptyBuff(link->pop);
    return mark_len + held;
}

// Reads the body up to its end mark, straight into the body buffer. The server has sent nothing behind the
// mark, since no further command is on its way.
bool read_body(a_smtp_link_info * link, unsigned int mark_len)
{
    EndMarkSearch search(link);
    if (!search.is_usable()) {
        pass_to_host(link->msgcb, "Could not allocate search context");
        return false;
    }
    unsigned int len = begin_body(link, mark_len);
    while (!search.finds(len)) {
        if (len == link->body_max_size) {
            pass_to_host(link->msgcb, "Message body is too long, buffer overflow");
            return false;
        }
        const int count = SocketReceive(link->pop, link->body + len, link->body_max_size - len);
        if (count <= 0) {
            return false;
        }
        len += static_cast<unsigned int>(count);
    }
    link->body_len = len - END_MARK_LEN;
    link->body[link->body_len] = '\0';
    return true;
}

// The value of a hexadecimal digit of either case, or -1.
int hex_value(char c)
{
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

} // namespace

void read_header_line(a_mail_header * header, char * line)
{
    const std::string_view text(line);
    const size_t colon = text.find(':');
    if (colon == std::string_view::npos) {
        return;
    }
    const std::string_view name = first_word(text.substr(0, colon));
    const std::string_view value = first_word(text.substr(colon + 1));
    if (name.empty() || value.empty()) {
        return;
    }
    if (equals_caseless(name, "Subject")) {
        header->ignore_me = value.starts_with(SUBJECT_MARKER) ? FALSE : TRUE;
    } else if (equals_caseless(name, "Message-ID")) {
        // A long id is meant to be cut.
        (void)ut_strncpy(header->id, MESSAGE_ID_SIZE, value.data(), value.size());
    } else if (equals_caseless(name, "Content-Transfer-Encoding") &&
               equals_caseless(value, "quoted-printable")) {
        header->quoted_printable_encoding = true;
    }
}

unsigned int decode_quoted_printable(char * text, unsigned int len)
{
    if (std::strstr(text, "==") != nullptr) {
        return len;
    }
    unsigned int out = 0;
    for (unsigned int in = 0; in < len; ++in) {
        if (text[in] != '=') {
            text[out++] = text[in];
            continue;
        }
        const int high = in + 2 < len ? hex_value(text[in + 1]) : -1;
        const int low = in + 2 < len ? hex_value(text[in + 2]) : -1;
        if (high >= 0 && low >= 0) {
            text[out++] = static_cast<char>(high * 16 + low);
            in += 2;
        }
    }
    text[out] = '\0';
    return out;
}

a_bool pop_fill_msg(a_smtp_link_info * link, char * id, unsigned long msgNum, a_bool * ignore_me,
                    a_bool header_only)
{
    const bool did_retr = !(header_only && link->top_supported);
    if (!request_mail(link, msgNum, did_retr)) {
        return FALSE;
    }
    a_mail_header header{id, TRUE, false};
    const unsigned int mark_len = read_headers(link, &header);
    *ignore_me = header.ignore_me;
    if (mark_len == 0) {
        return FALSE;
    }
    if (header.quoted_printable_encoding) {
        trace(link, "quotable_printable encoded msg found.");
    }
    if (!read_body(link, mark_len)) {
        return FALSE;
    }
    if (header.quoted_printable_encoding && did_retr) {
        link->body_len = decode_quoted_printable(link->body, link->body_len);
    }
    return TRUE;
}

COM_RESULT POPInboxRead::AttemptAction(int /*retry_count*/)
{
    if (has_lost_track(_lnk)) {
        return COM_OUT_OF_MEMORY;
    }
    if (!has_session(_lnk)) {
        return COM_RETRY;
    }
    const OperationGuard guard(_lnk->debug);
    forget_last_scan();
    unsigned long numMessages = 0;
    if (!count_messages(&numMessages)) {
        return COM_RETRY;
    }
    for (unsigned long curMsgNum = 1; curMsgNum <= numMessages; ++curMsgNum) {
        const COM_RESULT result = scan_message(curMsgNum);
        if (result != COM_SUCCESS) {
            return result;
        }
    }
    return COM_SUCCESS;
}

MSGRET POPInboxRead::ReInit()
{
    return Connect(_lnk, MODE_POP);
}

SMTPLinkMessage * POPInboxRead::GetNextNewMessage()
{
    SkipListFinger front(&_lnk->unreceivedMsgLst);
    return static_cast<SMTPLinkMessage *>(front.remove());
}

void POPInboxRead::FlagAsReceived(SMTPLinkMessage * smtpLnkMsg)
{
    _lnk->receivedMsgLst.add(smtpLnkMsg);
}

// What the host hasn't taken is found again if it is still there, and what it has taken has to be found anew.
void POPInboxRead::forget_last_scan()
{
    _lnk->unreceivedMsgLst.deleteEntries();
    SkipListFinger finger(&_lnk->receivedMsgLst);
    while (auto * msg = static_cast<SMTPLinkMessage *>(finger.moveForward())) {
        msg->SetExistence(FALSE);
    }
}

bool POPInboxRead::count_messages(unsigned long * numMessages)
{
    char reply[REPLY_SIZE];
    SocketString(_lnk->pop, "STAT");
    if (!pop_command_response(_lnk, reply)) {
        return false;
    }
    const char * count = nth_word(reply, 1);
    if (count == nullptr) {
        return false;
    }
    // Message numbers go out as 32 bits, and so does the count come in; a negative count ends at the first
    // message that the server doesn't have.
    *numMessages = static_cast<uint32>(std::strtoul(count, nullptr, 10));
    return true;
}

// The server's own id, for a mail without a usable Message-ID.
bool POPInboxRead::read_unique_id(unsigned long msgNum, char * id)
{
    char reply[REPLY_SIZE];
    number_command(_lnk->pop, "UIDL ", msgNum);
    if (!pop_command_response(_lnk, reply)) {
        return false;
    }
    const char * word = nth_word(reply, 2);
    if (word == nullptr) {
        return false;
    }
    (void)ut_strcpy(id, MESSAGE_ID_SIZE, word); // a long id is meant to be cut
    return true;
}

COM_RESULT POPInboxRead::scan_message(unsigned long msgNum)
{
    char id[MESSAGE_ID_SIZE] = "";
    a_bool ignore_me = TRUE;
    if (!pop_fill_msg(_lnk, id, msgNum, &ignore_me, TRUE)) {
        return COM_RETRY;
    }
    if (ignore_me) {
        return COM_SUCCESS; // somebody else's mail
    }
    if (id[0] == '\0' && !read_unique_id(msgNum, id)) {
        return COM_RETRY;
    }
    return file_message(id, msgNum);
}

COM_RESULT POPInboxRead::file_message(const char * id, unsigned long msgNum)
{
    SkipListKey * key = SMTPLinkMessage::key_of(id);
    if (auto * known = static_cast<SMTPLinkMessage *>(_lnk->receivedMsgLst.get(key))) {
        known->SetExistence(TRUE);
        known->SetMessageNum(msgNum);
        return COM_SUCCESS;
    }
    auto * found = new (std::nothrow) SMTPLinkMessage(id, msgNum);
    if (found == nullptr) {
        return COM_OUT_OF_MEMORY;
    }
    _lnk->unreceivedMsgLst.add(found);
    if (_lnk->unreceivedMsgLst.error()) {
        delete found; // the list has no node for it
        return COM_OUT_OF_MEMORY;
    }
    return COM_SUCCESS;
}

COM_RESULT POPMessageRead::AttemptAction(int /*retry_count*/)
{
    if (has_lost_track(_lnk)) {
        return COM_OUT_OF_MEMORY;
    }
    if (!has_session(_lnk)) {
        return COM_RETRY;
    }
    // The message has been chosen already: what its headers say of id and subject doesn't count any more.
    char scratch_id[MESSAGE_ID_SIZE];
    a_bool scratch_ignore_me = TRUE;
    return pop_fill_msg(_lnk, scratch_id, _msg->GetMessageNum(), &scratch_ignore_me, FALSE) ? COM_SUCCESS
                                                                                            : COM_RETRY;
}

COM_RESULT POPMessageDelete::AttemptAction(int /*retry_count*/)
{
    if (has_lost_track(_lnk)) {
        return COM_OUT_OF_MEMORY;
    }
    if (_msg->Exists()) {
        if (!has_session(_lnk)) {
            return COM_RETRY;
        }
        number_command(_lnk->pop, "DELE ", _msg->GetMessageNum());
        if (!pop_command(_lnk)) {
            return COM_RETRY;
        }
    }
    forget_message();
    return COM_SUCCESS;
}

// Two mails with one id can both be in the list: exactly this entry goes.
void POPMessageDelete::forget_message()
{
    SkipListFinger finger(&_lnk->receivedMsgLst, _msg->getKey());
    while (finger.getEntry() != nullptr && finger.getEntry() != _msg) {
        (void)finger.moveForward(); // an equal one, which stays
    }
    if (finger.getEntry() == _msg) {
        (void)finger.remove(); // it is _msg
    }
    delete _msg;
}

MSGRET MsgReceive(HLINK baseLink, HMSG * msg)
{
    auto * lnk = static_cast<a_smtp_link_info *>(baseLink);
    POPInboxRead inbox(lnk);
    SMTPLinkMessage * next = inbox.GetNextNewMessage();
    if (next == nullptr) {
        MSGRET ret = Connect(lnk, MODE_POP);
        if (ret == MSG_SUCCESS) {
            ret = inbox.DoActionWithRetries();
        }
        if (ret != MSG_SUCCESS) {
            return ret;
        }
        next = inbox.GetNextNewMessage();
    }
    if (next == nullptr) {
        return MSG_NO_MESSAGE;
    }
    inbox.FlagAsReceived(next);
    if (has_lost_track(lnk)) {
        delete next; // the mail itself is safe in the mailbox
        return MSG_OUT_OF_MEMORY;
    }
    *msg = next;
    return MSG_SUCCESS;
}

MSGRET MsgContent(HLINK baseLink, HMSG msg, char ** txt, uint32 * len)
{
    auto * lnk = static_cast<a_smtp_link_info *>(baseLink);
    const MSGRET ret = POPMessageRead(lnk, static_cast<SMTPLinkMessage *>(msg)).DoActionWithRetries();
    *txt = lnk->body;
    *len = lnk->body_len;
    return ret;
}

MSGRET MsgDelete(HLINK link, HMSG msg)
{
    auto * lnk = static_cast<a_smtp_link_info *>(link);
    return POPMessageDelete(lnk, static_cast<SMTPLinkMessage *>(msg)).DoActionWithRetries();
}
