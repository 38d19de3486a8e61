// Blocking IPv4 TCP connections to one server each, with a buffer for outgoing commands and one for bytes
// that arrived behind a line; a byte search that resumes as a buffer fills; and a passive socket for one
// incoming connection. No protocol is known here: SMTP and POP3 are spoken by the link.
//
// Units: all lengths and offsets are bytes; buffer sizes count the terminator, lengths of strings don't.
//
// Ownership: whoever made an object gives it back with the matching function; a context isn't owned by its
// sockets, and freeing an object closes nothing unless its function says so.
//
// Failure: FALSE, null or a negative count. A failed call of the operating system has been reported to
// `msgcb` by then, with the text of SocketError for its errno, or else the language string 6691. Nothing is
// retried, so a signal that interrupts a call is reported like any other failure. There is no time-out: a
// read waits as long as the peer is silent.
//
// Threads: a socket belongs to one thread at a time, and so does its context, which all sockets of a link
// share; neither has a lock. Contexts of two threads look names up one at a time, since the system's answer
// is the process's; a host that calls gethostbyname itself meanwhile is beyond that. `msgcb` runs on the
// calling thread with the host's own signal mask, and never under a lock of this layer.
//
// Descriptors are closed across exec. No socket option is set.
#pragma once

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "utils/etc/uttypes.h"

using HDLL = void *; // handle of a library loaded at run time, as dlopen gives it

using closesocket_func = int(int handle);
using connect_func = int(int handle, const sockaddr * address, socklen_t length);
using listen_func = int(int handle, int backlog);
using accept_func = int(int handle, sockaddr * address, socklen_t * length);
using bind_func = int(int handle, const sockaddr * address, socklen_t length);
using getsockname_func = int(int handle, sockaddr * address, socklen_t * length);
using getsockopt_func = int(int handle, int level, int option, void * value, socklen_t * length);
using htons_func = uint16(uint16 value);
using recv_func = ssize_t(int handle, void * buf, size_t len, int flags);
using send_func = ssize_t(int handle, const void * buf, size_t len, int flags);
using setsockopt_func = int(int handle, int level, int option, const void * value, socklen_t length);
using socket_func = int(int family, int type, int protocol);
using gethostbyaddr_func = hostent *(const void * address, socklen_t length, int family);
using gethostbyname_func = hostent *(const char * name);
using inet_addr_func = in_addr_t(const char * text);
using getprotobyname_func = protoent *(const char * name);
using gethostname_func = int(char * name, size_t len);
using GetLastError_func = int();
using TCPErrno_func = int();

// The operating system's entry points. Every socket call of this layer goes through the table of its context,
// so that another source of them, or a fault, can be put in its place.
struct a_sock_func {
    closesocket_func * closesocket;
    connect_func * _connect;
    listen_func * listen;
    accept_func * accept;
    bind_func * bind;
    getsockname_func * getsockname;
    getsockopt_func * getsockopt; // never called
    htons_func * unix_htons;
    recv_func * recv;
    send_func * send;
    setsockopt_func * setsockopt; // never called
    socket_func * socket;
    gethostbyaddr_func * gethostbyaddr; // empty on Linux
    gethostbyname_func * gethostbyname;
    inet_addr_func * inet_addr;
    getprotobyname_func * getprotobyname;
    gethostname_func * gethostname;
    GetLastError_func * GetLastError; // the code of a failed send or recv
    TCPErrno_func * TCPErrno;         // the code of every other failed call
};
static_assert(sizeof(a_sock_func) == 19 * sizeof(void *));

// The context that all sockets of a link share.
struct a_sock_info {
    a_sock_func sock_func;
    sockaddr_in local_addr; // of the first connection made; only its address is read, zero while not known
    MSG_CALLBACK msgcb;     // receives reports and trace lines
    HDLL sock_dll;          // library of the entry points; empty on Linux
    a_bool debug;           // TRUE: trace lines go to msgcb
};

// A command line of SMTP has at most 512 bytes with its CR LF (RFC 5321, 4.5.3.1.4), a reply line too
// (4.5.3.1.5); POP3 replies are within it (RFC 1939, 3).
constexpr unsigned int SOCK_BUFFER_SIZE = 512;

// A connection to one server. Closed after SocketInit, SocketClose and a failed SocketOpen, open otherwise:
// that the peer has gone shows in results only.
struct a_sock {
    a_sock_info * sock_info;
    a_bool closed;               // TRUE while no open descriptor belongs to this object
    int sock;                    // descriptor; -1 while `closed`
    in_addr sin_addr;            // the server, network byte order
    char send[SOCK_BUFFER_SIZE]; // outgoing text, terminated at send[pending_data] after an append
    unsigned int pending_data;   // bytes of `send` waiting to go out
    char recv[SOCK_BUFFER_SIZE]; // bytes that arrived behind the line last returned
    unsigned int extra_data;     // bytes held in `recv`
};

// A row of SocketError.
struct an_error_table_entry {
    int error;        // errno
    const char * msg; // plain English, ends the table when null
};

constexpr unsigned int SOCKET_ERROR_ROWS = 37;

// Texts for the errno of a failed call; the first row with the code counts, the last row ends the table.
extern const an_error_table_entry SocketError[SOCKET_ERROR_ROWS];

// State of one search. The fields say where the next byte is looked at, whoever reads them.
struct a_search_context {
    char ** text_buffer;        // the caller's pointer to the buffer, which it may move between two steps
    unsigned int text_offset;   // the next byte to look at
    const char * search_target; // the bytes searched for; the caller's
    unsigned int target_length; // their number, at least 1
    unsigned int target_offset; // bytes of the target that those in front of text_offset have matched
};

// A listening endpoint.
struct a_listen_sock {
    a_sock_info * sock_info;
    a_bool closed;
    int listen_socket;
    sockaddr_in port_info; // the endpoint's address, given by the operating system
};

// --- Context

// Makes a context with the operating system's table. Null without memory, which isn't reported.
[[nodiscard]] a_sock_info * socket_startup(MSG_CALLBACK msgcb, a_bool debug);

// Frees the context; 0. Open sockets are not touched.
int socket_cleanup(a_sock_info * sock_info);

// Swaps the bytes of a 16-bit value: host order to network order.
uint16 UNIX_htons(uint16 value);

// Trace line "msg str", cut to 255 characters, to msgcb; nothing when `debug` is clear.
void debug_message_string(a_sock_info * sock_info, const char * msg, const char * str);

// Name of the local host as gethostbyname gives it, cut to local_host_len - 1 characters. `local_host` holds
// at least 256 bytes, whatever local_host_len says. After a failure, which has been reported, it is an empty
// string.
void GetLocalHost(a_sock_info * sock_info, char * local_host, size_t local_host_len);

// --- Connection

// Makes a closed socket for the server `host_name`, a name or four numbers with points. Null without memory
// (not reported), or when the name can't be resolved.
[[nodiscard]] a_sock * SocketInit(a_sock_info * sock_info, const char * host_name);

// Connects a closed socket and empties both its buffers.
//   name             label of the service, for the trace; may be null
//   *port            host byte order; becomes the protocol's number if the system's protocol database knows
//                    `name`
//   suppress_errors  TRUE: a failure isn't reported
// FALSE leaves the socket closed with no descriptor open.
[[nodiscard]] a_bool SocketOpen(a_sock * sock, const char * name, uint16 * port, a_bool suppress_errors);

// Up to max_retries + 1 attempts of SocketOpen, each failure reported; before each retry says so (language
// string 9345) and sleeps, unless sleep_seconds is 0 or less. FALSE after the last failure, or at once when
// max_retries is negative.
[[nodiscard]] a_bool SocketOpenWithRetries(a_sock * sock, const char * name, uint16 * port, int max_retries,
                                           int sleep_seconds);

// Closes the descriptor if one is open; the buffers stay as they are.
void SocketClose(a_sock * sock);

// Frees the socket. Closes nothing: SocketClose comes first.
void SocketFini(a_sock * sock);

a_bool SocketIsClosed(a_sock * sock);

// --- Sending

// Appends a string to `send`. One that doesn't fit with its terminator is dropped whole: "Line is too long to
// send" goes to msgcb, and the buffer stays as it is.
void SocketString(a_sock * sock, const char * str);

// Sends what is pending in `send`. Nothing is pending afterwards, whatever the result; with nothing pending
// TRUE.
a_bool SocketFlush(a_sock * sock);

// Sends `len` bytes from `buf`, all of them or FALSE with an unknown part gone. A peer that has closed gives
// "Error: Broken pipe.", never a signal to the host (see remote/sigpipe.h). After FALSE errno is the code.
[[nodiscard]] a_bool SocketSend(a_sock * sock, const char * buf, unsigned int len);

// Forgets what is pending in `send`.
void SocketPurgePending(a_sock * sock);

// Passes `send` to msgcb when `debug` is set. Whatever it holds: passwords too.
void debug_outgoing(a_sock * sock);

// --- Receiving

// One recv of at most `len` bytes: the count, 0 when the peer has closed (a trace line), negative after a
// failure, which has been reported. Bytes carried over in the socket's `recv` are not looked at. The socket
// stays open.
[[nodiscard]] int SocketReceive(a_sock * sock, char * buf, unsigned int len);

// Reads one line that ends with CR LF into `buf` and terminates it, without the whole run of CR and LF at its
// end. A CR or an LF alone ends nothing; a zero byte is a byte like others.
//   *buf_len   in: capacity in bytes, at least what the socket carries over; more than 512 count as 512,
//              because what lies behind the line has to fit in the socket's `recv`. It must hold the CR LF
//              too. Out: length of the line; unchanged on failure.
// FALSE: no memory for the search (nothing is lost then), the peer has closed, the read failed, or the
// capacity holds no CR LF; what was read is lost, and nothing is carried over. Each reason but a closing
// peer, which shows in the trace only, has been passed to msgcb. errno tells them apart: ENOMEM, 0 for a peer
// that has closed, the code of the failed read, EMSGSIZE.
[[nodiscard]] a_bool SocketReadLine(a_sock * sock, char * buf, unsigned int * buf_len);

// The bytes carried over, their number, and forgetting them, for a caller that takes them over itself.
char * SocketPeekBuff(a_sock * sock);
unsigned int SocketBuffSize(a_sock * sock);
void SocketEmptyBuff(a_sock * sock);

// --- Search

// Starts a search for the `len` bytes of `target` in the buffer that *text_buf points to. *pcontext is null
// without memory; nothing is reported. Target and text_buf stay alive until search_end.
void search_init(a_search_context ** pcontext, char ** text_buf, const char * target, unsigned int len);

// Goes on with the search up to the first `len` bytes of the buffer. The offset just behind the match, or 0
// as long as there is none; a further call goes on behind the match. Reads nothing at or behind offset `len`,
// and does nothing when it has been there already. A null context gives 0.
[[nodiscard]] int search_go(a_search_context * context, unsigned int len);

// Frees the context, which may be null.
void search_end(a_search_context * context);

// --- Listening

// Makes an endpoint on a port of the operating system's choice. Null without memory (not reported) or after a
// failure; also when the context doesn't know the local address yet, which a SocketOpen of the same context
// finds out.
[[nodiscard]] a_listen_sock * ListenSockInit(a_sock_info * sock_info);

// Waits for a connection: a new open socket, with empty buffers and no server address of its own, or null.
[[nodiscard]] a_sock * ListenSockAccept(a_listen_sock * listen_sock);

// The bytes of the longest port command, terminator included: "PORT 255,255,255,255,255,255".
constexpr size_t PORT_CMD_SIZE = 29;

// Writes the endpoint's address as a port command of RFC 959 without line end to `port_cmd`, of PORT_CMD_SIZE
// bytes.
void ListenSockPortCmd(a_listen_sock * listen_sock, char * port_cmd);

// Closes the endpoint and frees it.
void ListenSockFini(a_listen_sock * listen_sock);
