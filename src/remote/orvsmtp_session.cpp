#include "remote/orvsmtp_session.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <termios.h>
#include <unistd.h>

#include "remote/orvsmtp_auth.h"
#include "remote/query.h"
#include "remote/unixdll.h"
#include "utils/dbtutils/message.h"
#include "utils/etc/utstrfcn.h"

namespace {

constexpr uint32 STR_NO_SOCKET = 6693;

// The longest value that a prompt or the profile can give, with its terminator.
constexpr unsigned int VALUE_SIZE = 256;

// The terminal in a plain line-by-line state, whatever the host has made of it, for as long as the object
// lives.
class CookedTerminal {
public:
    CookedTerminal();
    ~CookedTerminal();
    CookedTerminal(const CookedTerminal &) = delete;
    CookedTerminal & operator=(const CookedTerminal &) = delete;

    // False: standard input is a terminal that can't be set.
    [[nodiscard]] bool is_usable() const { return _usable; }

private:
    termios _kept;
    bool _changed;
    bool _usable;
};

CookedTerminal::CookedTerminal() : _kept{}, _changed(false), _usable(true)
{
    if (isatty(STDIN_FILENO) == 0 || tcgetattr(STDIN_FILENO, &_kept) != 0) {
        return;
    }
    termios cooked = _kept;
    cooked.c_iflag = BRKINT | IGNPAR | ICRNL | IXON | IXOFF | IMAXBEL;
    cooked.c_oflag = OPOST | ONLCR;
    cooked.c_lflag = ISIG | ICANON | ECHO | ECHOE | ECHOK | ECHOCTL | ECHOKE | IEXTEN;
    _changed = tcsetattr(STDIN_FILENO, TCSANOW, &cooked) == 0;
    _usable = _changed;
}

CookedTerminal::~CookedTerminal()
{
    if (_changed) {
        (void)tcsetattr(STDIN_FILENO, TCSANOW, &_kept); // there is nobody to tell
    }
}

// The next byte of standard input; EOF at its end. A signal of the host's doesn't end the input.
int next_input_byte()
{
    for (;;) {
        errno = 0;
        const int c = std::getc(stdin);
        if (c != EOF || std::ferror(stdin) == 0 || errno != EINTR) {
            return c;
        }
        std::clearerr(stdin);
    }
}

// Reads a line into `line` without its line end, and cuts what doesn't fit. False at the end of the input.
bool read_input_line(char * line, size_t size)
{
    size_t len = 0;
    int c = next_input_byte();
    if (c == EOF) {
        std::clearerr(stdin); // a terminal goes on after its end-of-file key
        return false;
    }
    for (; c != EOF && c != '\n'; c = next_input_byte()) {
        if (len + 1 < size) {
            line[len++] = static_cast<char>(c);
        }
    }
    if (len > 0 && line[len - 1] == '\r') {
        --len; // the line end of a file from another system
    }
    line[len] = '\0';
    return true;
}

// Asks for one value; an empty answer keeps it. False at the end of the input.
bool ask(MSG_CALLBACK msgcb, uint32 prompt, char * field, size_t field_size)
{
    char answer[VALUE_SIZE];
    MessageByID(OSLangString, msgcb, prompt, field);
    if (!read_input_line(answer, sizeof(answer))) {
        return false;
    }
    if (answer[0] != '\0') {
        (void)ut_strcpy(field, field_size, answer); // cut to the field
    }
    return true;
}

uint16 port_number(const char * text)
{
    return static_cast<uint16>(std::strtol(text, nullptr, 10));
}

// Reads a port; an empty value in the profile leaves the one at hand.
template<size_t size>
void read_port(a_profile_rw_access * profile, const char * name, char (&port)[size], a_bool * in_db)
{
    char value[size];
    ProfileRead(profile, name, value);
    if (value[0] != '\0') {
        *in_db = TRUE;
        (void)ut_strcpy(port, size, value); // same size
    }
}

COM_RESULT abandon_smtp(a_smtp_link_info * lnk)
{
    end_session(lnk, lnk->smtp, smtp_command_keep_open);
    return COM_RETRY;
}

COM_RESULT abandon_pop(a_smtp_link_info * lnk)
{
    end_session(lnk, lnk->pop, pop_command);
    return COM_RETRY;
}

// Connects a new socket into `slot`; false leaves it null.
bool open_socket(a_smtp_link_info * lnk, a_sock *& slot, const char * host, const char * port_text,
                 const char * service)
{
    uint16 port = port_number(port_text);
    slot = SocketInit(lnk->sock_info, host);
    if (slot == nullptr) {
        MessageByID(OSLangString, lnk->msgcb, STR_NO_SOCKET);
        return false;
    }
    if (!SocketOpen(slot, service, &port, FALSE)) {
        SocketFini(slot);
        slot = nullptr;
        return false;
    }
    return true;
}

} // namespace

SMTP_POPSessionOpen::SMTP_POPSessionOpen(a_smtp_link_info * lnk, smtp_pop_mode mode) : _lnk(lnk), _mode(mode)
{
    ProfileRead(_lnk->profile_access, "local_host", _lnk->local_host);
    if (!_lnk->smtp_from_dialog) {
        read_smtp_values();
    }
    if (!_lnk->pop_from_dialog) {
        read_pop_values();
    }
    if (!_lnk->passwd_from_dialog) {
        ProfileRead(_lnk->profile_access, "pop3_password", _lnk->parms.pop3_passwd);
    }
}

void SMTP_POPSessionOpen::read_smtp_values()
{
    a_login_parms & parms = _lnk->parms;
    ProfileRead(_lnk->profile_access, "smtp_host", parms.smtp_host);
    read_port(_lnk->profile_access, "smtp_port", parms.smtp_port, &parms.smtp_port_in_db);
}

void SMTP_POPSessionOpen::read_pop_values()
{
    a_login_parms & parms = _lnk->parms;
    ProfileRead(_lnk->profile_access, "pop3_host", parms.pop3_host);
    read_port(_lnk->profile_access, "pop3_port", parms.pop3_port, &parms.pop3_port_in_db);
    ProfileRead(_lnk->profile_access, "pop3_userid", parms.pop3_userid);
}

COM_RESULT SMTP_POPSessionOpen::AttemptAction(int /*retry_count*/)
{
    if (!has_values() || !find_local_host()) {
        return COM_RETRY;
    }
    return _mode == MODE_POP ? OpenPOP() : OpenSMTP();
}

MSGRET SMTP_POPSessionOpen::ReInit()
{
    return MSG_SUCCESS;
}

bool SMTP_POPSessionOpen::has_values() const
{
    const a_login_parms & parms = _lnk->parms;
    if (_mode == MODE_POP) {
        return parms.pop3_host[0] != '\0' && parms.pop3_port[0] != '\0' && parms.pop3_userid[0] != '\0' &&
               parms.pop3_passwd[0] != '\0';
    }
    return parms.smtp_host[0] != '\0' && parms.smtp_port[0] != '\0';
}

bool SMTP_POPSessionOpen::find_local_host()
{
    if (_lnk->local_host[0] != '\0') {
        return true;
    }
    GetLocalHost(_lnk->sock_info, _lnk->local_host, sizeof(_lnk->local_host));
    if (_lnk->local_host[0] != '\0') {
        return true;
    }
    Message(_lnk->msgcb, "Unable to determine local host");
    return false;
}

COM_RESULT SMTP_POPSessionOpen::OpenSMTP()
{
    if (!open_socket(_lnk, _lnk->smtp, _lnk->parms.smtp_host, _lnk->parms.smtp_port, "SMTP")) {
        return COM_RETRY;
    }
    if (!smtp_reply_keep_open(_lnk) || !smtp_hello_and_authenticate(_lnk)) {
        return abandon_smtp(_lnk);
    }
    if (_lnk->smtp_from_dialog) {
        save_typed_smtp_values();
    }
    return COM_SUCCESS;
}

COM_RESULT SMTP_POPSessionOpen::OpenPOP()
{
    if (!open_socket(_lnk, _lnk->pop, _lnk->parms.pop3_host, _lnk->parms.pop3_port, "POP3")) {
        return COM_RETRY;
    }
    char greeting[REPLY_SIZE];
    if (!pop_reply(_lnk, greeting) || !pop_login(_lnk, greeting)) {
        return abandon_pop(_lnk);
    }
    if (_lnk->pop_from_dialog) {
        save_typed_pop_values();
    }
    return COM_SUCCESS;
}

void SMTP_POPSessionOpen::write_if_new(const char * name, const char * value, a_bool use_volatile)
{
    char old_value[VALUE_SIZE];
    ProfileWriteIfNew(_lnk->profile_access, name, value, old_value, sizeof(old_value), use_volatile);
}

void SMTP_POPSessionOpen::save_typed_smtp_values()
{
    const a_login_parms & parms = _lnk->parms;
    _lnk->smtp_from_dialog = FALSE;
    write_if_new("smtp_host", parms.smtp_host);
    // The default isn't worth writing, and only its two digits are looked at.
    if (parms.smtp_port_in_db || std::strncmp(parms.smtp_port, "25", 2) != 0) {
        write_if_new("smtp_port", parms.smtp_port);
    }
}

void SMTP_POPSessionOpen::save_typed_pop_values()
{
    const a_login_parms & parms = _lnk->parms;
    _lnk->pop_from_dialog = FALSE;
    write_if_new("pop3_host", parms.pop3_host);
    write_if_new("pop3_userid", parms.pop3_userid);
    save_typed_password();
    if (parms.pop3_port_in_db || std::strncmp(parms.pop3_port, "110", 3) != 0) {
        write_if_new("pop3_port", parms.pop3_port);
    }
}

// Unless the profile says what to do with passwords, a typed one lives in the link only.
void SMTP_POPSessionOpen::save_typed_password()
{
    const tri_bool save = GetBooleanFromProfile(_lnk->profile_access, "save_remote_passwords", NOT_SET);
    if (save == NOT_SET) {
        return;
    }
    _lnk->passwd_from_dialog = FALSE;
    write_if_new("pop3_password", _lnk->parms.pop3_passwd, save == ON ? FALSE : TRUE);
}

a_bool SMTP_POPSessionOpen::DisplayDialog()
{
    a_login_parms & parms = _lnk->parms;
    const struct {
        uint32 prompt;
        char * field;
        size_t size;
    } questions[] = {
        {8747, parms.smtp_host, sizeof(parms.smtp_host)},
        {26753, parms.smtp_port, sizeof(parms.smtp_port)},
        {8748, parms.pop3_host, sizeof(parms.pop3_host)},
        {26754, parms.pop3_port, sizeof(parms.pop3_port)},
        {8749, parms.pop3_userid, sizeof(parms.pop3_userid)},
        {8750, parms.pop3_passwd, sizeof(parms.pop3_passwd)},
    };
    {
        const CookedTerminal terminal;
        if (!terminal.is_usable()) {
            return FALSE;
        }
        for (const auto & question : questions) {
            if (!ask(_lnk->msgcb, question.prompt, question.field, question.size)) {
                return FALSE;
            }
        }
    }
    _lnk->passwd_from_dialog = TRUE;
    _lnk->smtp_from_dialog = TRUE;
    _lnk->pop_from_dialog = TRUE;
    return TRUE;
}
