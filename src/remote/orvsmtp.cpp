#include "remote/orvsmtp.h"

#include <cerrno>
#include <new>

#include "remote/link_version.h"
#include "remote/orvsmtp_session.h"
#include "remote/query.h"
#include "remote/unixdll.h"
#include "tasks/orvtasks.h"
#include "utils/etc/getbanner.h"
#include "utils/etc/utstrfcn.h"
#include "utils/utmem/utmem.h"

namespace {

// The longest mail that the link can read: a line end in front, the body and its end mark. It is part of what
// hosts rely on when they cut their messages, so it doesn't grow.
constexpr unsigned int BODY_MAX_SIZE = 61440;

// The lists may grow without a practical limit.
constexpr size_t LIST_CHUNK_MAX = 0xFFFFFFFF;

constexpr uint32 STR_LINK_NAME = 9427;
constexpr size_t INIT_ERROR_SIZE = 256;

// A good SMTP reply is a positive completion or intermediate one (RFC 5321, section 4.2.1).
bool is_positive(const char * line)
{
    return line[0] == '2' || line[0] == '3';
}

// Is this the last line of an SMTP reply? Lines before it have a hyphen behind the code.
bool ends_reply(const char * line, unsigned int line_len)
{
    return line_len < 4 || line[3] != '-';
}

bool read_reply_line(a_smtp_link_info * lnk, a_sock * sock, char * line, unsigned int * line_len)
{
    *line_len = REPLY_SIZE;
    if (!SocketReadLine(sock, line, line_len)) {
        return false;
    }
    trace(lnk, line);
    return true;
}

enum a_reply {
    REPLY_GOOD,
    REPLY_BAD,
    REPLY_UNREAD, // errno tells why
};

a_reply read_smtp_reply(a_smtp_link_info * lnk, a_grab_func * grab, void * grab_data)
{
    char line[REPLY_SIZE];
    unsigned int line_len = 0;
    bool good = true;
    bool last = false;
    if (SocketIsClosed(lnk->smtp)) {
        return REPLY_BAD;
    }
    while (!last) {
        if (!read_reply_line(lnk, lnk->smtp, line, &line_len)) {
            return REPLY_UNREAD;
        }
        last = ends_reply(line, line_len);
        good = good && is_positive(line);
        if (grab != nullptr && good && line_len >= 4) {
            grab(grab_data, line, line_len);
        }
    }
    return good ? REPLY_GOOD : REPLY_BAD;
}

// Ends the session in `slot`, if there is one. A socket that was closed before gets no QUIT.
void quit(a_smtp_link_info * lnk, a_sock *& slot, a_bool (*command)(a_smtp_link_info *))
{
    if (slot == nullptr) {
        return;
    }
    if (!SocketIsClosed(slot)) {
        end_session(lnk, slot, command);
        return;
    }
    SocketFini(slot);
    slot = nullptr;
}

bool profile_says(const a_smtp_link_info * lnk, const char * key, tri_bool value, tri_bool otherwise)
{
    return GetBooleanFromProfile(lnk->profile_access, key, otherwise) == value;
}

bool dialogs_are_suppressed(const a_smtp_link_info * lnk)
{
    return profile_says(lnk, "suppress_dialogs", ON, OFF);
}

// Resolves MODE_BOTH by the profile. With send_only on, receive_only isn't looked at.
smtp_pop_mode wanted_sessions(const a_smtp_link_info * lnk)
{
    if (profile_says(lnk, "send_only", ON, OFF)) {
        return MODE_SMTP;
    }
    if (profile_says(lnk, "receive_only", ON, OFF)) {
        return MODE_POP;
    }
    return MODE_BOTH;
}

MSGRET open_one_session(a_smtp_link_info * lnk, smtp_pop_mode mode)
{
    SMTP_POPSessionOpen session(lnk, mode);
    MSGRET ret = session.DoActionWithRetries();
    if (ret != MSG_FAILURE || dialogs_are_suppressed(lnk)) {
        return ret;
    }
    do {
        if (!session.DisplayDialog()) {
            return MSG_FAILURE;
        }
        ret = session.DoActionWithRetries();
    } while (ret == MSG_FAILURE);
    return ret;
}

// Proves the SMTP login, whose session then ends, since the first send opens its own; then opens a POP3
// session.
MSGRET open_both_sessions(a_smtp_link_info * lnk)
{
    SMTP_POPSessionOpen smtp_open(lnk, MODE_SMTP);
    SMTP_POPSessionOpen pop_open(lnk, MODE_POP);
    const bool no_dialogs = dialogs_are_suppressed(lnk);
    for (;;) {
        MSGRET ret = smtp_open.DoActionWithRetries();
        if (ret == MSG_SUCCESS) {
            end_session(lnk, lnk->smtp, smtp_command_keep_open);
            ret = pop_open.DoActionWithRetries();
            if (ret == MSG_SUCCESS) {
                return MSG_SUCCESS;
            }
        }
        if (ret == MSG_OUT_OF_MEMORY) {
            return MSG_OUT_OF_MEMORY;
        }
        if (no_dialogs || !smtp_open.DisplayDialog()) {
            return MSG_FAILURE;
        }
    }
}

bool load_language_strings(MSG_CALLBACK msgcb)
{
    const ls_init_return ls_ret = OSLangString.Init();
    if (ls_ret == LS_INIT_OKAY) {
        return true;
    }
    char text[INIT_ERROR_SIZE];
    msgcb(UTLangStringBase::GetInitErrorStr(ls_ret, text, sizeof(text), nullptr, 0));
    return false;
}

void show_banner(const a_smtp_link_info * lnk)
{
    char banner[banner_size];
    (void)GetBanner(OSLangString, STR_LINK_NAME, LINK_VERSION, FALSE, FALSE, banner);
    trace(lnk, banner);
}

// The settings that hold for the life of a link; the others are read again by each session.
void read_link_settings(a_smtp_link_info * lnk)
{
    a_profile_rw_access * profile = lnk->profile_access;
    lnk->top_supported = profile_says(lnk, "TOP_supported", OFF, ON) ? FALSE : TRUE;
    lnk->apop_supported = profile_says(lnk, "APOP_supported", OFF, ON) ? FALSE : TRUE;
    lnk->smtp_authenticate = profile_says(lnk, "smtp_authenticate", OFF, ON) ? FALSE : TRUE;
    ProfileRead(profile, "smtp_authenticate_mechanism", lnk->smtp_authenticate_mechanism);
    ProfileRead(profile, "smtp_userid", lnk->smtp_userid);
    ProfileRead(profile, "smtp_password", lnk->smtp_passwd);
}

// Everything between the allocation of the body and the open sessions. FALSE leaves no socket context behind.
bool start_link(a_smtp_link_info * lnk, const char * address, a_profile_rw_access * profile_access)
{
    if (!load_language_strings(lnk->msgcb)) {
        return false;
    }
    // A longer address is meant to be cut.
    (void)ut_strcpy(lnk->senders_address, sizeof(lnk->senders_address), address);
    lnk->profile_access = profile_access;
    lnk->debug = profile_says(lnk, "Debug", ON, OFF) ? TRUE : FALSE;
    show_banner(lnk);
    read_link_settings(lnk);
    lnk->sock_info = socket_startup(lnk->msgcb, lnk->debug);
    if (lnk->sock_info == nullptr) {
        return false;
    }
    if (Connect(lnk, MODE_BOTH) == MSG_SUCCESS) {
        return true;
    }
    socket_cleanup(lnk->sock_info);
    return false;
}

} // namespace

a_smtp_link_info::a_smtp_link_info()
    : receivedMsgLst(ut_malloc, ut_free, LIST_CHUNK_MAX), unreceivedMsgLst(ut_malloc, ut_free, LIST_CHUNK_MAX)
{
}

a_smtp_link_info::~a_smtp_link_info()
{
    receivedMsgLst.deleteEntries();
    unreceivedMsgLst.deleteEntries();
}

HLINK MsgInitLinkV3(const char * address, MSG_CALLBACK msgcb, a_profile_rw_access * profile_access,
                    void * /*user_data*/)
{
    auto * lnk = new (std::nothrow) a_smtp_link_info;
    if (lnk == nullptr) {
        return nullptr;
    }
    OS_Init();
    lnk->body = static_cast<char *>(ut_alloc(BODY_MAX_SIZE));
    if (lnk->body != nullptr) {
        lnk->msgcb = msgcb;
        lnk->body_max_size = BODY_MAX_SIZE;
        if (start_link(lnk, address, profile_access)) {
            return lnk;
        }
        ut_free(lnk->body);
    }
    delete lnk;
    OS_Fini();
    return nullptr;
}

void MsgFiniLink(HLINK baseLink)
{
    auto * lnk = static_cast<a_smtp_link_info *>(baseLink);
    quit(lnk, lnk->pop, pop_command);
    quit(lnk, lnk->smtp, smtp_command_keep_open);
    if (lnk->sock_info != nullptr) {
        socket_cleanup(lnk->sock_info);
    }
    ut_free(lnk->body);
    delete lnk;
    OS_Fini();
}

MSGRET Connect(a_smtp_link_info * lnk, smtp_pop_mode mode)
{
    quit(lnk, lnk->smtp, smtp_command_keep_open);
    quit(lnk, lnk->pop, pop_command);
    if (mode == MODE_BOTH) {
        mode = wanted_sessions(lnk);
    }
    return mode == MODE_BOTH ? open_both_sessions(lnk) : open_one_session(lnk, mode);
}

void trace(const a_smtp_link_info * lnk, const char * line)
{
    if (lnk->debug) {
        pass_to_host(lnk->msgcb, line);
    }
}

a_bool send_command(a_sock * sock)
{
    if (SocketIsClosed(sock)) {
        return FALSE;
    }
    debug_outgoing(sock);
    const unsigned int text_len = sock->pending_data;
    SocketString(sock, "\r\n");
    if (sock->pending_data == text_len) {
        return FALSE;
    }
    return SocketFlush(sock);
}

void close_if_out_of_step(a_sock * smtp, int code)
{
    const bool ended =
        code == 0 || code == ECONNRESET || code == EPIPE || code == ENOTCONN || code == ETIMEDOUT;
    if (!ended) {
        SocketClose(smtp);
    }
}

a_bool smtp_reply(a_smtp_link_info * lnk, a_grab_func * grab, void * grab_data)
{
    const a_reply reply = read_smtp_reply(lnk, grab, grab_data);
    if (reply == REPLY_UNREAD) {
        close_if_out_of_step(lnk->smtp, errno);
    }
    return reply == REPLY_GOOD ? TRUE : FALSE;
}

a_bool smtp_reply_keep_open(a_smtp_link_info * lnk)
{
    return read_smtp_reply(lnk, nullptr, nullptr) == REPLY_GOOD ? TRUE : FALSE;
}

a_bool pop_reply(a_smtp_link_info * lnk, char * buffer)
{
    unsigned int line_len = 0;
    if (!read_reply_line(lnk, lnk->pop, buffer, &line_len)) {
        return FALSE;
    }
    return buffer[0] == '+' ? TRUE : FALSE;
}

a_bool smtp_command(a_smtp_link_info * link)
{
    return send_command(link->smtp) && smtp_reply(link) ? TRUE : FALSE;
}

a_bool smtp_command_keep_open(a_smtp_link_info * link)
{
    return send_command(link->smtp) && smtp_reply_keep_open(link) ? TRUE : FALSE;
}

a_bool pop_command(a_smtp_link_info * link)
{
    char reply[REPLY_SIZE];
    return pop_command_response(link, reply);
}

a_bool pop_command_response(a_smtp_link_info * link, char * buffer)
{
    return send_command(link->pop) && pop_reply(link, buffer) ? TRUE : FALSE;
}

void end_session(a_smtp_link_info * lnk, a_sock *& slot, a_bool (*command)(a_smtp_link_info *))
{
    SocketPurgePending(slot);
    SocketString(slot, "QUIT");
    (void)command(lnk); // the session is over whatever the server says
    SocketClose(slot);
    SocketFini(slot);
    slot = nullptr;
}
