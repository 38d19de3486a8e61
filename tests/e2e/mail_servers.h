// mail_servers.h - where the real mail servers of the end-to-end tests are (tests/e2e/mail_fixture.sh), and a
// view of their mailboxes that goes past both the servers and the link: a mailbox is a Maildir, a mail a
// file.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace e2e {

struct MailServers {
    std::string state; // the folder with everything
    std::string smtp_port;
    std::string pop3_port;
};

// The servers of a variant, or nothing when they haven't been started; the test is skipped then.
[[nodiscard]] std::optional<MailServers> find_servers(const char * variant);

// Mails in the Maildir of `box`, also those that a session holds as deleted.
[[nodiscard]] int mails_in(const MailServers & servers, const std::string & box);

// Waits until `box` holds `count` mails; Postfix takes up to a tenth of a second for one. False after ten
// seconds.
[[nodiscard]] bool await_mails(const MailServers & servers, const std::string & box, int count);

// Puts a mail into `box`, byte by byte as given, as a delivery by somebody else does.
[[nodiscard]] bool put_mail(const MailServers & servers, const std::string & box, std::string_view mail);

// Takes away what an earlier run has left in `box`.
void empty_box(const MailServers & servers, const std::string & box);

} // namespace e2e
