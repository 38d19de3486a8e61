#include "remote/socks.h"

#include <arpa/inet.h>
#include <emmintrin.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <iterator>

#include "remote/sigpipe.h"
#include "remote/unixdll.h"
#include "utils/dbtutils/message.h"
#include "utils/etc/critsect.h"
#include "utils/etc/posixio.h"
#include "utils/etc/utstrfcn.h"
#include "utils/utmem/utmem.h"

constexpr int NO_HANDLE = -1;
constexpr size_t TRACE_LINE_SIZE = 256;
constexpr size_t HOST_NAME_SIZE =
    256; // the longest name of a host in the DNS has 253 characters (RFC 1035, 2.3.4)
constexpr size_t PORT_DIGITS_SIZE = 6; // "65535"
constexpr int BIND_ATTEMPTS = 10;
constexpr int LISTEN_BACKLOG = 2;
constexpr uint32 MSG_UNKNOWN_SOCKET_ERROR = 6691; // takes the code
constexpr uint32 MSG_WAITING_TO_RETRY = 9345;     // takes the seconds

// The texts are the host's users' own by now, misspellings included. Row 8 can't be reached: EINTR stands in
// row 6.
const an_error_table_entry SocketError[SOCKET_ERROR_ROWS] = {
    // errno, text
    {EBADF, "Error: Bad file number."},
    {ECONNABORTED, "Error: Software caused connection abort."},
    {ENOTSOCK, "Error: Socket operation on non-socket."},
    {EOPNOTSUPP, "Error: Operation not supported on socket."},
    {EAGAIN, "Error: Resource temporarily unavailable."},
    {EINTR, "Error: interrupted system call."},
    {ENOSR, "Error: out of streams resources."},
    {EINTR, "Error: Valid name, no data record of requested type."},
    {EINVAL, "Error: Invalid argument."},
    {EMFILE, "Error: Too many open files."},
    {ENFILE, "Error: File table overflow."},
    {ENOMEM, "Error: Not enough core."},
    {ENOBUFS, "Error: No buffer space available."},
    {EPROTO, "Error: Protocol error."},
    {EADDRNOTAVAIL, "Error: Can't assign requested address."},
    {EADDRINUSE, "Error: Address already in use."},
    {EACCES, "Error: Permission denied."},
    {EAFNOSUPPORT, "Error: Address family not supported by protocol family."},
    {EALREADY, "Error: operation already in progress."},
    {ECONNREFUSED, "Error: Connection refused."},
    {EINPROGRESS, "Error: operation now in progress."},
    {EISCONN, "Error: Socket is already connected."},
    {ENETUNREACH, "Error: Network is unreachable."},
    {EPROTOTYPE, "Error: Protocol wrong type for socket."},
    {ETIMEDOUT, "Error: Connection timed out."},
    {HOST_NOT_FOUND, "Error: Authoritive Answer Host not found."},
    {TRY_AGAIN, "Error: Non-Authoritive Host not found, or SERVERFAIL."},
    {NO_RECOVERY, "Error: Non recoverable errors, FORMERR, REFUSED, NOTIMP."},
    {EDESTADDRREQ, "Error: Destination address required."},
    {ECONNRESET, "Error: Connection reset by peer."},
    {ENOTCONN, "Error: Socket is not connecte."},
    {EIO, "Error: I/O error."},
    {EMSGSIZE, "Error: Message too long."},
    {EPIPE, "Error: Broken pipe."},
    {ENETDOWN, "Error: Network is down."},
    {EPROTONOSUPPORT, "Error: Protocol not supported."},
    {0, nullptr},
};
static_assert(std::size(SocketError) == SOCKET_ERROR_ROWS);

namespace {

// gethostbyname and getprotobyname answer in memory that all threads share, so the links of two threads take
// turns until each has copied its answer: otherwise one could log in to the other's server. The C library
// lets only one thread at a time look up a host anyway, so this costs hardly a wait.
constinit pthread_mutex_t lookup_mutex = PTHREAD_MUTEX_INITIALIZER;
constinit const a_critical_sect lookup_lock{&lookup_mutex};

// Gives an object of this layer back at the end of a function, unless it has been released to the caller by
// then.
template<class T> class owned {
public:
    owned() : _object(static_cast<T *>(ut_calloc(sizeof(T)))) {}
    ~owned() { ut_free(_object); }
    owned(const owned &) = delete;
    owned & operator=(const owned &) = delete;

    T * get() const { return _object; }
    T * operator->() const { return _object; }
    T * release()
    {
        T * object = _object;
        _object = nullptr;
        return object;
    }

private:
    T * _object;
};

// Ends a search at the end of a function.
class search_guard {
public:
    explicit search_guard(a_search_context * context) : _context(context) {}
    ~search_guard() { search_end(_context); }
    search_guard(const search_guard &) = delete;
    search_guard & operator=(const search_guard &) = delete;

private:
    a_search_context * _context;
};

} // namespace

// --- Reports and trace

// Reports language string `id`, which takes one number.
static void report_string(a_sock_info * sock_info, uint32 id, int number)
{
    const SigpipeHostMask mask;
    (void)MessageByID(OSLangString, sock_info->msgcb, id,
                      number); // the host's result says nothing to this layer
}

// The text of SocketError for an error code; null if it has none.
static const char * error_text(int code)
{
    const an_error_table_entry * row = SocketError;
    while (row->msg != nullptr && row->error != code) {
        ++row;
    }
    return row->msg;
}

// Leaves the code in errno, whatever the host's code has done to it.
static void report_code(a_sock_info * sock_info, int code)
{
    if (const char * text = error_text(code); text != nullptr) {
        pass_to_host(sock_info->msgcb, text);
    } else {
        report_string(sock_info, MSG_UNKNOWN_SOCKET_ERROR, code);
    }
    errno = code;
}

static void report_tcp_error(a_sock_info * sock_info)
{
    report_code(sock_info, sock_info->sock_func.TCPErrno());
}

static void trace(a_sock_info * sock_info, const char * text)
{
    if (sock_info->debug) {
        pass_to_host(sock_info->msgcb, text);
    }
}

void debug_message_string(a_sock_info * sock_info, const char * msg, const char * str)
{
    if (!sock_info->debug) {
        return;
    }
    char line[TRACE_LINE_SIZE];
    (void)ut_snprintf(line, sizeof(line), "%s %s", msg, str); // a long name is cut in the trace
    pass_to_host(sock_info->msgcb, line);
}

static void trace_port(a_sock_info * sock_info, uint16 port)
{
    char digits[PORT_DIGITS_SIZE];
    (void)ut_snprintf(digits, sizeof(digits), "%u", unsigned{port}); // every port fits
    debug_message_string(sock_info, "port", digits);
}

// --- Context

static int GetLastError()
{
    return errno;
}

uint16 UNIX_htons(uint16 value)
{
    return static_cast<uint16>(value << 8 | value >> 8);
}

static_assert(std::endian::native == std::endian::little, "UNIX_htons swaps always");

static void fill_sock_func(a_sock_func * table)
{
    table->closesocket = ::close;
    table->_connect = ::connect;
    table->listen = ::listen;
    table->accept = ::accept;
    table->bind = ::bind;
    table->getsockname = ::getsockname;
    table->getsockopt = ::getsockopt;
    table->unix_htons = UNIX_htons;
    table->recv = ::recv;
    table->send = ::send;
    table->setsockopt = ::setsockopt;
    table->socket = ::socket;
    table->gethostbyaddr = nullptr;
    table->gethostbyname = ::gethostbyname;
    table->inet_addr = ::inet_addr;
    table->getprotobyname = ::getprotobyname;
    table->gethostname = ::gethostname;
    table->GetLastError = GetLastError;
    table->TCPErrno = GetLastError;
}

a_sock_info * socket_startup(MSG_CALLBACK msgcb, a_bool debug)
{
    owned<a_sock_info> info;
    if (info.get() == nullptr) {
        return nullptr;
    }
    info->msgcb = msgcb;
    info->debug = debug;
    info->local_addr.sin_addr.s_addr = 0;
    fill_sock_func(&info->sock_func);
    return info.release();
}

int socket_cleanup(a_sock_info * sock_info)
{
    ut_free(sock_info);
    return 0;
}

// Replaces the name in `local_host` by the official one. False: it isn't known.
static bool look_up_official_name(const a_sock_func & os, char * local_host, size_t local_host_len)
{
    const CritSectGuard guard(lookup_lock);
    const hostent * entry = os.gethostbyname(local_host);
    if (entry == nullptr) {
        return false;
    }
    (void)ut_strcpy(local_host, local_host_len, entry->h_name, nullptr, nullptr); // a long name is cut
    return true;
}

static bool find_local_host(a_sock_info * sock_info, char * local_host, size_t local_host_len)
{
    trace(sock_info, "gethostname");
    if (sock_info->sock_func.gethostname(local_host, HOST_NAME_SIZE) != 0) {
        return false;
    }
    local_host[HOST_NAME_SIZE - 1] = '\0'; // POSIX leaves it open whether a cut name is terminated
    debug_message_string(sock_info, "gethostbyname", local_host);
    return look_up_official_name(sock_info->sock_func, local_host, local_host_len);
}

void GetLocalHost(a_sock_info * sock_info, char * local_host, size_t local_host_len)
{
    if (find_local_host(sock_info, local_host, local_host_len)) {
        return;
    }
    const int code = sock_info->sock_func.TCPErrno();
    local_host[0] = '\0';
    report_code(sock_info, code);
}

// --- Connection

// Digits and points only, and so also an empty name.
static bool is_numeric(const char * host_name)
{
    return host_name[std::strspn(host_name, "0123456789.")] == '\0';
}

static bool look_up_address(const a_sock_func & os, const char * host_name, in_addr * address)
{
    const CritSectGuard guard(lookup_lock);
    const hostent * entry = os.gethostbyname(host_name);
    if (entry == nullptr || entry->h_addr_list[0] == nullptr) {
        return false;
    }
    std::memcpy(address, entry->h_addr_list[0], sizeof(*address));
    return true;
}

static bool resolve(a_sock_info * sock_info, const char * host_name, in_addr * address)
{
    if (is_numeric(host_name)) {
        address->s_addr = sock_info->sock_func.inet_addr(host_name);
        return address->s_addr != INADDR_NONE;
    }
    debug_message_string(sock_info, "gethostbyname", host_name);
    return look_up_address(sock_info->sock_func, host_name, address);
}

a_sock * SocketInit(a_sock_info * sock_info, const char * host_name)
{
    owned<a_sock> sock;
    if (sock.get() == nullptr) {
        return nullptr;
    }
    if (!resolve(sock_info, host_name, &sock->sin_addr)) {
        report_tcp_error(sock_info);
        return nullptr;
    }
    sock->closed = TRUE;
    sock->sock = NO_HANDLE;
    sock->sock_info = sock_info;
    return sock.release();
}

// A new descriptor from the table, or a negative result.
static int open_handle(a_sock_info * sock_info)
{
    const int handle = sock_info->sock_func.socket(AF_INET, SOCK_STREAM, 0);
    if (handle >= 0) {
        set_close_on_exec(handle);
    }
    return handle;
}

static bool has_text(const char * text)
{
    return text != nullptr && text[0] != '\0';
}

// A system whose protocol database knows the service by name overrides the caller's port.
static void look_up_port(a_sock_info * sock_info, const char * name, uint16 * port)
{
    if (!has_text(name)) {
        return;
    }
    const CritSectGuard guard(lookup_lock);
    if (const protoent * entry = sock_info->sock_func.getprotobyname(name); entry != nullptr) {
        *port = static_cast<uint16>(entry->p_proto);
    }
}

static sockaddr_in server_address(const a_sock * sock, uint16 port)
{
    sockaddr_in server = {};
    server.sin_family = AF_INET;
    server.sin_port = sock->sock_info->sock_func.unix_htons(port);
    server.sin_addr = sock->sin_addr;
    return server;
}

static bool local_addr_known(const a_sock_info * sock_info)
{
    return sock_info->local_addr.sin_addr.s_addr != 0;
}

// The first connection of a context tells which of the machine's addresses leads to the servers.
static void note_local_addr(a_sock * sock)
{
    a_sock_info * info = sock->sock_info;
    if (local_addr_known(info)) {
        return;
    }
    socklen_t length = sizeof(info->local_addr);
    // Without an answer the address stays unknown, and the next connection asks again.
    (void)info->sock_func.getsockname(sock->sock, reinterpret_cast<sockaddr *>(&info->local_addr), &length);
}

// The steps of SocketOpen, without the report; a failure gives the code to report.
static bool open_connection(a_sock * sock, const char * name, uint16 * port, int * code)
{
    a_sock_info * info = sock->sock_info;
    trace(info, "socket");
    const int handle = open_handle(info);
    if (handle < 0) {
        *code = info->sock_func.TCPErrno();
        return false;
    }
    sock->sock = handle;
    sock->closed = FALSE;
    look_up_port(info, name, port);
    const sockaddr_in server = server_address(sock, *port);
    sock->pending_data = 0;
    sock->extra_data = 0;
    debug_message_string(info, "connect", name == nullptr ? "" : name);
    trace_port(info, *port);
    if (info->sock_func._connect(handle, reinterpret_cast<const sockaddr *>(&server), sizeof(server)) != 0) {
        *code = info->sock_func.TCPErrno();
        SocketClose(sock);
        return false;
    }
    note_local_addr(sock);
    return true;
}

a_bool SocketOpen(a_sock * sock, const char * name, uint16 * port, a_bool suppress_errors)
{
    int code = 0;
    if (open_connection(sock, name, port, &code)) {
        return TRUE;
    }
    if (!suppress_errors) {
        report_code(sock->sock_info, code);
    }
    return FALSE;
}

static bool is_shorter(const timespec & a, const timespec & b)
{
    return a.tv_sec < b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec < b.tv_nsec);
}

// Sleeps on for the time left when a signal interrupts it. A time left that doesn't shrink ends it: signals
// that come faster than the clock ticks must not hold the caller for ever.
static void sleep_seconds_through_signals(int seconds)
{
    timespec left = {seconds, 0};
    timespec before;
    do {
        before = left;
    } while (nanosleep(&before, &left) != 0 && is_shorter(left, before));
}

a_bool SocketOpenWithRetries(a_sock * sock, const char * name, uint16 * port, int max_retries,
                             int sleep_seconds)
{
    for (int attempt = 0; attempt <= max_retries; ++attempt) {
        if (attempt > 0 && sleep_seconds > 0) {
            report_string(sock->sock_info, MSG_WAITING_TO_RETRY, sleep_seconds);
            sleep_seconds_through_signals(sleep_seconds);
        }
        if (SocketOpen(sock, name, port, FALSE)) {
            return TRUE;
        }
        if (attempt == max_retries) {
            break; // before the count runs over its type
        }
    }
    return FALSE;
}

void SocketClose(a_sock * sock)
{
    trace(sock->sock_info, "closesocket");
    if (!sock->closed) {
        // Linux gives the descriptor free whatever close says, and a second call could hit somebody else's.
        (void)sock->sock_info->sock_func.closesocket(sock->sock);
        sock->sock = NO_HANDLE;
    }
    sock->closed = TRUE;
}

void SocketFini(a_sock * sock)
{
    ut_free(sock);
}

a_bool SocketIsClosed(a_sock * sock)
{
    return sock->closed;
}

// --- Sending

void SocketString(a_sock * sock, const char * str)
{
    const size_t left = sizeof(sock->send) - sock->pending_data;
    const size_t length = std::strlen(str);
    if (length >= left) {
        pass_to_host(sock->sock_info->msgcb, "Line is too long to send");
        return;
    }
    std::memcpy(sock->send + sock->pending_data, str, length + 1);
    sock->pending_data += length;
}

a_bool SocketFlush(a_sock * sock)
{
    const a_bool sent = SocketSend(sock, sock->send, sock->pending_data);
    sock->pending_data = 0;
    return sent;
}

// Sends all of it, or gives the code of the failure.
static bool send_all(a_sock * sock, const char * buf, unsigned int len, int * code)
{
    const a_sock_func & os = sock->sock_info->sock_func;
    const SigpipeGuard guard;
    for (unsigned int sent = 0; sent < len;) {
        const ssize_t count = os.send(sock->sock, buf + sent, len - sent, 0);
        if (count < 0) {
            *code = os.GetLastError();
            if (*code == EPIPE) {
                guard.ConsumeSignal();
            }
            return false;
        }
        sent += count;
    }
    return true;
}

a_bool SocketSend(a_sock * sock, const char * buf, unsigned int len)
{
    if (len == 0) {
        return TRUE;
    }
    int code = 0;
    if (send_all(sock, buf, len, &code)) {
        return TRUE;
    }
    report_code(sock->sock_info, code);
    return FALSE;
}

void SocketPurgePending(a_sock * sock)
{
    sock->pending_data = 0;
}

void debug_outgoing(a_sock * sock)
{
    trace(sock->sock_info, sock->send);
}

// --- Receiving

int SocketReceive(a_sock * sock, char * buf, unsigned int len)
{
    a_sock_info * info = sock->sock_info;
    const int count = static_cast<int>(info->sock_func.recv(sock->sock, buf, len, 0));
    if (count < 0) {
        report_code(info, info->sock_func.GetLastError());
    } else if (count == 0) {
        trace(info, "0 byte read...socket is closed");
        errno = 0;
    }
    return count;
}

static void report_line_too_long(a_sock * sock)
{
    pass_to_host(sock->sock_info->msgcb, "Line is too long, buffer overflow");
    errno = EMSGSIZE;
}

// Moves the carried bytes to `buf`, which has room for `capacity`. *held: their number. False when they don't
// fit, which has been reported.
static bool take_extra_data(a_sock * sock, char * buf, unsigned int capacity, unsigned int * held)
{
    *held = sock->extra_data;
    sock->extra_data = 0;
    if (*held > capacity) {
        report_line_too_long(sock);
        return false;
    }
    std::copy_n(sock->recv, *held, buf);
    return true;
}

// Reads until the search has come upon CR LF. *held: bytes in `buf`; the result: the offset behind CR LF, 0
// on failure.
static unsigned int read_to_line_end(a_sock * sock, a_search_context * search, char * buf,
                                     unsigned int capacity, unsigned int * held)
{
    for (;;) {
        const int end = search_go(search, *held);
        if (end != 0) {
            return end;
        }
        if (*held == capacity) {
            report_line_too_long(sock);
            return 0;
        }
        const int count = SocketReceive(sock, buf + *held, capacity - *held);
        if (count <= 0) {
            return 0;
        }
        *held += count;
    }
}

// Terminates the line in front of the run of CR and LF that ends at `end`; its length.
static unsigned int strip_line_end(char * buf, unsigned int end)
{
    while (end > 0 && (buf[end - 1] == '\r' || buf[end - 1] == '\n')) {
        --end;
    }
    buf[end] = '\0';
    return end;
}

a_bool SocketReadLine(a_sock * sock, char * buf, unsigned int * buf_len)
{
    char line_end[] = {'\r', '\n'};
    a_search_context * search = nullptr;
    search_init(&search, &buf, line_end, sizeof(line_end));
    if (search == nullptr) {
        pass_to_host(sock->sock_info->msgcb, "Could not allocate search context");
        errno = ENOMEM;
        return FALSE;
    }
    const search_guard guard(search);
    const unsigned int capacity = std::min(*buf_len, SOCK_BUFFER_SIZE);
    unsigned int held = 0;
    if (!take_extra_data(sock, buf, capacity, &held)) {
        return FALSE;
    }
    const unsigned int end = read_to_line_end(sock, search, buf, capacity, &held);
    if (end == 0) {
        return FALSE;
    }
    sock->extra_data = held - end;
    std::memcpy(sock->recv, buf + end, sock->extra_data);
    *buf_len = strip_line_end(buf, end);
    return TRUE;
}

char * SocketPeekBuff(a_sock * sock)
{
    return sock->recv;
}

unsigned int SocketBuffSize(a_sock * sock)
{
    return sock->extra_data;
}

void SocketEmptyBuff(a_sock * sock)
{
    sock->extra_data = 0;
}

// --- Search

void search_init(a_search_context ** pcontext, char ** text_buf, const char * target, unsigned int len)
{
    auto * context = static_cast<a_search_context *>(ut_calloc(sizeof(a_search_context)));
    if (context != nullptr) {
        context->text_buffer = text_buf;
        context->search_target = target;
        context->target_length = len;
    }
    *pcontext = context;
}

void search_end(a_search_context * context)
{
    ut_free(context);
}

// Bytes that one comparison of vectors looks at.
constexpr size_t VECTOR_SIZE = sizeof(__m128i);

// One bit for each of the 16 offsets from `at` where both the target's first and its last byte would stand in
// place. Two bytes at once, since the first alone is no rare one: CR stands at the end of every line.
static inline unsigned int candidates(const char * at, size_t last, __m128i first_byte, __m128i last_byte)
{
    const __m128i firsts = _mm_loadu_si128(reinterpret_cast<const __m128i *>(at));
    const __m128i lasts = _mm_loadu_si128(reinterpret_cast<const __m128i *>(at + last));
    return _mm_movemask_epi8(
        _mm_and_si128(_mm_cmpeq_epi8(firsts, first_byte), _mm_cmpeq_epi8(lasts, last_byte)));
}

// The first offset from `from` on at which an attempt need not fail at once, or else the first one at which
// the target would reach behind `len`: attempts in front of the result are sure to fail.
static size_t skip_failing_attempts(const char * text, size_t from, size_t len, const char * target,
                                    size_t target_length)
{
    const size_t last = target_length - 1;
    if (len < VECTOR_SIZE + last || from + last >= len) {
        return from;
    }
    const __m128i first_byte = _mm_set1_epi8(target[0]);
    const __m128i last_byte = _mm_set1_epi8(target[last]);
    const size_t final_block = len - last - VECTOR_SIZE;
    for (; from < final_block; from += VECTOR_SIZE) {
        const unsigned int found = candidates(text + from, last, first_byte, last_byte);
        if (found != 0) {
            return from + std::countr_zero(found);
        }
    }
    // The final block ends where the target's last byte would be the last of the text, so it may begin in
    // front of `from`; the offsets there are done with.
    const unsigned int found =
        candidates(text + final_block, last, first_byte, last_byte) >> (from - final_block);
    return found != 0 ? from + std::countr_zero(found) : final_block + VECTOR_SIZE;
}

int search_go(a_search_context * context, unsigned int len)
{
    if (context == nullptr || context->text_offset >= len) {
        return 0;
    }
    const char * text = *context->text_buffer;
    const char * target = context->search_target;
    const size_t target_length = context->target_length;
    size_t at = context->text_offset;
    size_t matched = context->target_offset;
    size_t end = 0;
    while (at < len && end == 0) {
        if (matched == 0) {
            at = skip_failing_attempts(text, at, len, target, target_length);
            if (at == len) {
                break; // a target of one byte leaves nothing to try
            }
        }
        if (text[at] != target[matched]) {
            // The attempt failed: on with the next one, one byte behind its beginning.
            at = at + 1 - matched;
            matched = 0;
            continue;
        }
        ++at;
        if (++matched == target_length) {
            matched = 0;
            end = at;
        }
    }
    context->text_offset = static_cast<unsigned int>(at);
    context->target_offset = static_cast<unsigned int>(matched);
    return static_cast<int>(end);
}

// --- Listening

static bool bind_to_any_port(a_sock_info * sock_info, int handle)
{
    sockaddr_in any = {};
    any.sin_family = AF_INET;
    any.sin_addr.s_addr = INADDR_ANY;
    for (int attempt = 0; attempt < BIND_ATTEMPTS; ++attempt) {
        if (sock_info->sock_func.bind(handle, reinterpret_cast<const sockaddr *>(&any), sizeof(any)) == 0) {
            return true;
        }
    }
    return false;
}

static bool start_listening(a_listen_sock * listen_sock)
{
    const a_sock_func & os = listen_sock->sock_info->sock_func;
    const int handle = listen_sock->listen_socket;
    socklen_t length = sizeof(listen_sock->port_info);
    return bind_to_any_port(listen_sock->sock_info, handle) && os.listen(handle, LISTEN_BACKLOG) == 0 &&
           os.getsockname(handle, reinterpret_cast<sockaddr *>(&listen_sock->port_info), &length) == 0;
}

// An endpoint bound to any address can't tell one that a peer could use: an earlier connection has to have
// done it.
static bool local_addr_told(a_listen_sock * listen_sock)
{
    a_sock_info * info = listen_sock->sock_info;
    if (!local_addr_known(info)) {
        info->local_addr.sin_addr = listen_sock->port_info.sin_addr;
    }
    if (local_addr_known(info)) {
        return true;
    }
    pass_to_host(info->msgcb, "unable to determine local ip address!");
    return false;
}

a_listen_sock * ListenSockInit(a_sock_info * sock_info)
{
    owned<a_listen_sock> listen_sock;
    if (listen_sock.get() == nullptr) {
        return nullptr;
    }
    listen_sock->sock_info = sock_info;
    listen_sock->listen_socket = open_handle(sock_info);
    if (listen_sock->listen_socket < 0) {
        report_tcp_error(sock_info);
        return nullptr;
    }
    const bool listening = start_listening(listen_sock.get());
    if (!listening) {
        report_tcp_error(sock_info);
    }
    if (!listening || !local_addr_told(listen_sock.get())) {
        (void)sock_info->sock_func.closesocket(listen_sock->listen_socket); // nothing was sent over it
        return nullptr;
    }
    listen_sock->closed = FALSE;
    return listen_sock.release();
}

a_sock * ListenSockAccept(a_listen_sock * listen_sock)
{
    a_sock_info * info = listen_sock->sock_info;
    owned<a_sock> sock;
    if (sock.get() == nullptr) {
        return nullptr;
    }
    sock->sock_info = info;
    sock->sock = info->sock_func.accept(listen_sock->listen_socket, nullptr, nullptr);
    if (sock->sock < 0) {
        report_tcp_error(info);
        return nullptr;
    }
    set_close_on_exec(sock->sock);
    sock->closed = FALSE;
    return sock.release();
}

void ListenSockPortCmd(a_listen_sock * listen_sock, char * port_cmd)
{
    a_byte host[sizeof(in_addr)];
    a_byte port[sizeof(in_port_t)];
    std::memcpy(host, &listen_sock->sock_info->local_addr.sin_addr, sizeof(host));
    std::memcpy(port, &listen_sock->port_info.sin_port, sizeof(port));
    (void)ut_snprintf(port_cmd, PORT_CMD_SIZE, "PORT %d,%d,%d,%d,%d,%d", host[0], host[1], host[2], host[3],
                      port[0], port[1]); // six bytes always fit
}

void ListenSockFini(a_listen_sock * listen_sock)
{
    (void)listen_sock->sock_info->sock_func.closesocket(
        listen_sock->listen_socket); // what could fail is over
    listen_sock->closed = TRUE;
    ut_free(listen_sock);
}
