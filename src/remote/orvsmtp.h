// The message link: the object behind an HLINK, the one place where sessions are opened and ended, and the
// exchange of commands with the servers.
//
// A link, its sockets and its lists belong to one thread at a time. Failures of the network are reported by
// the socket layer; a server's refusal shows in the trace only. Results say TRUE for "accepted", FALSE for a
// refusal and for a lost connection alike. Standards: RFC 5321 (SMTP), RFC 1939 (POP3).
#pragma once

#include <optional>

#include "orvlink.h"
#include "remote/linkmessage.h"
#include "remote/sigpipe.h"
#include "remote/socks.h"
#include "utils/etc/skplst.h"
#include "utils/etc/uttypes.h"

// Bytes of a line of a server's reply with its terminator, and so the longest reply line that the link reads
// (RFC 5321, section 4.5.3.1.5).
constexpr unsigned int REPLY_SIZE = 512;

// Which sessions a Connect opens.
enum smtp_pop_mode {
    MODE_POP = 0,
    MODE_SMTP = 1,
    MODE_BOTH = 2,
};

// The login values. In rising order of precedence a value is what stands here, what the profile held when a
// session was last begun, and what the user typed.
struct a_login_parms {
    char smtp_host[256] = "";
    char smtp_port[10] = "25";
    char pop3_host[256] = "";
    char pop3_port[10] = "110";
    char pop3_userid[64] = "";
    char pop3_passwd[64] = "";
    a_bool smtp_port_in_db = FALSE; // the profile has given a value during this link's life
    a_bool pop3_port_in_db = FALSE;
};

// What an HLINK points to.
class a_link_info {
public:
    a_link_info() = default;
    virtual ~a_link_info() = default;
    a_link_info(const a_link_info &) = delete;
    a_link_info & operator=(const a_link_info &) = delete;
};

// A link. It owns `body`, `sock_info`, both sockets and all entries of the lists; the destructor gives back
// the entries, MsgFiniLink the rest. A session slot whose socket is closed counts as an empty one.
class a_smtp_link_info : public a_link_info {
public:
    a_smtp_link_info();
    ~a_smtp_link_info() override;

    char senders_address[257] = ""; // this link's own e-mail address
    SkipList receivedMsgLst;        // messages handed to the host and not yet deleted
    SkipList unreceivedMsgLst;      // found by the latest scan and not yet handed to the host
    char * body = nullptr;          // the mail read last
    unsigned int body_len = 0;
    unsigned int body_max_size = 0;
    a_bool top_supported = FALSE;  // the scan reads headers with TOP
    a_bool apop_supported = FALSE; // the POP3 login may use APOP
    a_sock * smtp = nullptr;       // the SMTP session
    a_sock * pop = nullptr;        // the POP3 session
    a_bool debug = FALSE;          // trace the traffic to msgcb
    MSG_CALLBACK msgcb = nullptr;
    a_sock_info * sock_info = nullptr;
    char local_host[256] = "";        // what this machine calls itself in EHLO, HELO and Message-ID
    a_bool smtp_authenticate = FALSE; // use EHLO and SMTP authentication
    char smtp_authenticate_mechanism[50] = "";
    char smtp_userid[64] = "";
    char smtp_passwd[64] = "";
    a_profile_rw_access * profile_access = nullptr; // the host's
    a_bool passwd_from_dialog = FALSE;              // parms.pop3_passwd was typed and not yet saved
    a_bool pop_from_dialog = FALSE;                 // the POP3 values of parms were typed
    a_bool smtp_from_dialog = FALSE;                // the SMTP values of parms were typed
    a_login_parms parms;
};

// Ends both sessions and opens those of `mode`. MODE_BOTH follows send_only and receive_only; with neither it
// proves the SMTP login, ends that session and leaves a POP3 session. Asks at the console for login values
// when opening fails, unless suppress_dialogs is on. MSG_SUCCESS, or another value with both slots null.
[[nodiscard]] MSGRET Connect(a_smtp_link_info * lnk, smtp_pop_mode mode);

// Keeps SIGPIPE away from the host for a whole operation, at two system calls, however often it sends. In
// debug mode each write is guarded by itself instead: the trace then reaches the host's callback under the
// host's own mask.
class OperationGuard {
public:
    explicit OperationGuard(a_bool debug)
    {
        if (!debug) {
            _guard.emplace();
        }
    }

private:
    std::optional<SigpipeGuard> _guard;
};

// Passes a line of the trace to the host if the link is in debug mode.
void trace(const a_smtp_link_info * lnk, const char * line);

// Sends what stands in the socket's `send` buffer as a command: traces it, ends it with CR LF and flushes.
// FALSE: the socket layer has reported why, or the line end doesn't fit any more; then nothing is sent, since
// a server would wait for the end of a command that never comes. Nothing happens on a closed socket. What
// wasn't sent stays pending: every way back to a command purges it.
[[nodiscard]] a_bool send_command(a_sock * sock);

// Closes an SMTP session after a failed read or write that has left it open but out of step: part of a reply
// is still to come (an interrupted read, an overlong line), or a text has been sent in part. The next command
// would take the remainder for its reply, and in the end a message would count as accepted that wasn't. A
// connection that has ended can't do that and is left as it is. `code` is errno as SocketReadLine or
// SocketSend has left it.
void close_if_out_of_step(a_sock * smtp, int code);

// Takes a line of a reply, which it may change in place. `line_len` is its length.
using a_grab_func = void(void * grab_data, char * line_buf, unsigned int line_len);

// Reads an SMTP reply: lines up to one that is shorter than four characters or has no hyphen as fourth
// character. Each line is traced; lines of four or more characters go to `grab`, as long as all lines so far
// were good. TRUE when every line began with 2 or 3; FALSE on a closed socket, too. A failed read that leaves
// the session out of step closes it.
[[nodiscard]] a_bool smtp_reply(a_smtp_link_info * lnk, a_grab_func * grab = nullptr,
                                void * grab_data = nullptr);

// The same where a reply that isn't good ends the session anyway: leaves it open for its QUIT, whatever is
// still to come from the server.
[[nodiscard]] a_bool smtp_reply_keep_open(a_smtp_link_info * lnk);

// Reads a POP3 reply, one line, into `buffer` of REPLY_SIZE bytes, and traces it. TRUE when it begins with
// "+". After FALSE `buffer` holds the refusal, or nothing of use when the read failed.
[[nodiscard]] a_bool pop_reply(a_smtp_link_info * lnk, char * buffer);

// Sends the command in the `send` buffer of the link's SMTP or POP3 session and judges the reply.
[[nodiscard]] a_bool smtp_command(a_smtp_link_info * link);
[[nodiscard]] a_bool pop_command(a_smtp_link_info * link);

// As smtp_command, for a command whose failure ends the session.
[[nodiscard]] a_bool smtp_command_keep_open(a_smtp_link_info * link);

// As pop_command, and leaves the reply line in `buffer`, of REPLY_SIZE bytes.
[[nodiscard]] a_bool pop_command_response(a_smtp_link_info * link, char * buffer);

// Ends the open session in `slot`, which is the link's `smtp` or `pop`: QUIT by `command`, close, free, null.
// A POP3 server carries out the deletions of the session at this QUIT.
void end_session(a_smtp_link_info * lnk, a_sock *& slot, a_bool (*command)(a_smtp_link_info *));
