// Opens one SMTP or POP3 session: takes the login values from the host's profile or from a prompt at the
// console, and writes typed values back once they have proved good.
//
// Runs on the thread of the link. What fails on the network is reported by the socket layer, a refused POP3
// login by the login; a missing value is silent.
#pragma once

#include "remote/orvsmtp.h"
#include "remote/stubborncommand.h"
#include "utils/etc/uttypes.h"

class SMTP_POPSessionOpen : public StubbornCommand {
public:
    // Reads the login values from the profile, but for those that the user has typed and that haven't been
    // saved yet. `mode` is MODE_SMTP or MODE_POP.
    SMTP_POPSessionOpen(a_smtp_link_info * lnk, smtp_pop_mode mode);

    // COM_SUCCESS: the session stands in the link's slot, logged in; on SMTP also without a login that the
    // server refused, since it may take mail all the same, and then possibly with a socket that was closed
    // because the login left it out of step. COM_RETRY: the slot is null.
    [[nodiscard]] COM_RESULT AttemptAction(int retry_count) override;

    // Nothing: a failed attempt has closed its socket, and the next one starts from the beginning.
    [[nodiscard]] MSGRET ReInit() override;

    [[nodiscard]] COM_RESULT OpenSMTP();
    [[nodiscard]] COM_RESULT OpenPOP();

    // Asks for all login values at the console; an empty line keeps a value, a long one is cut to its field.
    // Changes the terminal of the whole process while it waits. FALSE: the terminal can't be set, or standard
    // input has ended; what was typed until then stays in the link, but isn't kept from the profile.
    [[nodiscard]] a_bool DisplayDialog();

private:
    void read_smtp_values();
    void read_pop_values();
    [[nodiscard]] bool has_values() const;
    [[nodiscard]] bool find_local_host();
    void save_typed_smtp_values();
    void save_typed_pop_values();
    void save_typed_password();
    void write_if_new(const char * name, const char * value, a_bool use_volatile = FALSE);

    a_smtp_link_info * _lnk;
    smtp_pop_mode _mode;
};
