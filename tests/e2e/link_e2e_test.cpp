// The built library against Postfix, Dovecot and stunnel. What the servers themselves make of a text is part
// of what is looked at here; that each byte is framed as it should be is shown by the tests of src/remote.
#include "e2e/loaded_link.h"
#include "e2e/mail_servers.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using e2e::LoadedLink;
using e2e::MailServers;
using e2e::Settings;

std::string address_of(const std::string & box)
{
    return box + "@example.test";
}

// The settings of a link that lives in `box`, with nobody at the console and the conversation shown.
Settings settings_for(const MailServers & servers, const std::string & box)
{
    return {{"smtp_host", "127.0.0.1"},
            {"smtp_port", servers.smtp_port},
            {"pop3_host", "127.0.0.1"},
            {"pop3_port", servers.pop3_port},
            {"pop3_userid", box},
            {"pop3_password", "secret-" + box},
            {"local_host", "host.example.test"},
            {"suppress_dialogs", "yes"},
            {"Debug", "yes"}};
}

// Servers of one variant. A test has the boxes to itself that it names: tests run side by side.
class RealServers : public testing::Test {
protected:
    explicit RealServers(const char * variant) : _variant(variant) {}

    void SetUp() override
    {
        const auto found = e2e::find_servers(_variant);
        if (!found) {
            GTEST_SKIP() << "no mail servers: run through ctest, as root";
        }
        servers = *found;
    }

    void clean(const std::string & box) { e2e::empty_box(servers, box); }

    // Opens a link, or says why it can't be.
    testing::AssertionResult opens(LoadedLink & link, const std::string & box)
    {
        if (link.open(address_of(box))) {
            return testing::AssertionSuccess();
        }
        testing::AssertionResult result = testing::AssertionFailure() << "no link:";
        for (const std::string & report : link.reports()) {
            result << "\n  " << report;
        }
        return result;
    }

    // Sends `text` from `box` to itself, takes it back and deletes it. Nothing: some step failed, and has
    // said so.
    std::optional<std::string> round_trip(LoadedLink & link, const std::string & box, std::string_view text)
    {
        HMSG msg = nullptr;
        EXPECT_EQ(link.send(address_of(box), text), MSG_SUCCESS);
        EXPECT_TRUE(e2e::await_mails(servers, box, 1));
        EXPECT_EQ(link.receive(&msg), MSG_SUCCESS);
        if (msg == nullptr) {
            return std::nullopt;
        }
        const std::optional<std::string> back = link.content(msg);
        EXPECT_TRUE(back);
        EXPECT_EQ(link.remove(msg), MSG_SUCCESS);
        return back;
    }

    MailServers servers;

private:
    const char * _variant;
};

class PlainServers : public RealServers {
protected:
    PlainServers() : RealServers("plain") {}
};

class ServersThatWantALogin : public RealServers {
protected:
    ServersThatWantALogin() : RealServers("login") {}
};

class ServersWithLoginOnly : public RealServers {
protected:
    ServersWithLoginOnly() : RealServers("loginmech") {}
};

class ServersBehindTls : public RealServers {
protected:
    ServersBehindTls() : RealServers("tls") {}
};

TEST_F(ServersThatWantALogin, MessageComesBackOverCramMd5AndApop)
{
    const std::string box = "box01";
    clean(box);
    LoadedLink link(settings_for(servers, box));
    ASSERT_TRUE(opens(link, box));
    EXPECT_EQ(round_trip(link, box, "one\r\ntwo"), "\r\none\r\ntwo\r\n");
    EXPECT_EQ(link.count_reports("AUTH CRAM-MD5"), 2); // the login that is only proved, and the send's own
    EXPECT_EQ(link.count_reports("AUTH LOGIN"), 0);
    EXPECT_EQ(link.count_reports("APOP " + box + " "), 2);
    EXPECT_EQ(link.count_reports("USER"), 0);
    link.close();
    EXPECT_EQ(e2e::mails_in(servers, box), 0);
}

TEST_F(ServersWithLoginOnly, MessageComesBackOverLoginAndUserPass)
{
    const std::string box = "box02";
    clean(box);
    Settings settings = settings_for(servers, box);
    settings["APOP_supported"] = "no";
    LoadedLink link(settings);
    ASSERT_TRUE(opens(link, box));
    EXPECT_EQ(round_trip(link, box, "text"), "\r\ntext\r\n");
    EXPECT_EQ(link.count_reports("AUTH CRAM-MD5"), 0);
    EXPECT_EQ(link.count_reports("AUTH LOGIN"), 2);
    EXPECT_EQ(link.count_reports("PASS secret-" + box), 2);
    EXPECT_EQ(link.count_reports("APOP"), 0);
}

TEST_F(ServersBehindTls, MessageComesBackThroughTlsInFrontOfTheLink)
{
    const std::string box = "box03";
    clean(box);
    LoadedLink link(settings_for(servers, box));
    ASSERT_TRUE(opens(link, box));
    const std::string text(20000, 't'); // several TLS records
    const std::optional<std::string> back = round_trip(link, box, text);
    ASSERT_TRUE(back);
    EXPECT_EQ(std::count(back->begin(), back->end(), 't'), 20000);
}

TEST_F(ServersThatWantALogin, WrongSmtpPasswordShowsWhenTheServerWantsALogin)
{
    const std::string box = "box04";
    clean(box);
    Settings settings = settings_for(servers, box);
    settings["smtp_password"] = "wrong";
    LoadedLink link(settings);
    ASSERT_TRUE(opens(link, box)); // a refused authentication doesn't fail the session
    EXPECT_EQ(link.count_reports("AUTH CRAM-MD5"), 1);
    EXPECT_EQ(link.count_reports("AUTH LOGIN"), 1);
    EXPECT_EQ(link.count_reports("Unable to authenticate."), 1);
    EXPECT_EQ(link.send(address_of(box), "text"), MSG_FAILURE);
    EXPECT_EQ(link.count_reports("RCPT TO:"), 5);
    EXPECT_EQ(e2e::mails_in(servers, box), 0);
}

TEST_F(PlainServers, WrongPop3PasswordMakesNoLink)
{
    const std::string box = "box05";
    for (const char * apop : {"yes", "no"}) {
        SCOPED_TRACE(apop);
        Settings settings = settings_for(servers, box);
        settings["pop3_password"] = "wrong";
        settings["smtp_password"] = "secret-" + box;
        settings["APOP_supported"] = apop;
        LoadedLink link(settings);
        EXPECT_FALSE(link.open(address_of(box)));
        EXPECT_EQ(link.count_reports("+OK Dovecot"), 5);
        EXPECT_EQ(link.count_reports("-ERR"), 5);
        EXPECT_EQ(link.count_reports("EHLO"), 1);
    }
}

TEST_F(PlainServers, TextThatLooksLikeMailSyntaxComesBackAsText)
{
    const std::string box = "box07";
    clean(box);
    const std::string x598(598, 'x');
    const std::string x600(600, 'x');
    const struct {
        const char * name;
        std::string text;
        std::string back;
    } rows[] = {
        {"end mark", "a\r\n.\r\nb", "\r\na\r\n .\r\nb\r\n"},
        {"commands", "QUIT\r\n.\r\nRSET\r\nMAIL FROM:<a@b>", "\r\nQUIT\r\n .\r\nRSET\r\nMAIL FROM:<a@b>\r\n"},
        {"header lines", "Subject: other\r\n\r\nFrom here", "\r\nSubject: other\r\n\r\nFrom here\r\n"},
        {"mbox line", "From somebody\r\n>From", "\r\nFrom somebody\r\n>From\r\n"},
        {"line ends at the end", "a\r\n\r\n\r\n", "\r\na\r\n\r\n\r\n"},
        {"quoted-printable look", "=41=\r\n=3D", "\r\n=41=\r\n=3D\r\n"},
        {"period at a break", x600 + "." + x598 + "\r\n", "\r\n" + x600 + "\r\n ." + x598 + "\r\n"},
    };
    LoadedLink link(settings_for(servers, box));
    ASSERT_TRUE(opens(link, box));
    for (const auto & row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(round_trip(link, box, row.text), row.back);
    }
}

TEST_F(PlainServers, LargestReadableMessageArrivesAndALargerOneStaysDeletable)
{
    const std::string box = "box08";
    clean(box);
    // 61440 bytes hold two in front, the body and the five of the end mark; a row of 72 is 74 on the wire.
    std::string text;
    while (text.size() + 74 <= 61440 - 2 - 5) {
        text += std::string(72, 'm') + "\r\n";
    }
    text += std::string(61440 - 2 - 5 - 2 - text.size(), 'e') + "\r\n";
    LoadedLink link(settings_for(servers, box));
    ASSERT_TRUE(opens(link, box));
    EXPECT_EQ(round_trip(link, box, text), "\r\n" + text);

    HMSG msg = nullptr;
    ASSERT_EQ(link.send(address_of(box), "1" + text), MSG_SUCCESS);
    ASSERT_TRUE(e2e::await_mails(servers, box, 1)); // the send has made the deletion of the first one final
    ASSERT_EQ(link.receive(&msg), MSG_SUCCESS);
    EXPECT_FALSE(link.content(msg));
    EXPECT_GE(link.count_reports("Message body is too long, buffer overflow"), 1);
    EXPECT_EQ(link.remove(msg), MSG_SUCCESS);
    link.close();
    EXPECT_EQ(e2e::mails_in(servers, box), 0);
}

// What a host does that dies between DELE and the end of the session: exit code 0 when all went well up to
// there.
int die_after_delete(const MailServers & servers, const std::string & box)
{
    LoadedLink link(settings_for(servers, box));
    HMSG msg = nullptr;
    const bool deleted = link.open(address_of(box)) && link.receive(&msg) == MSG_SUCCESS &&
                         link.content(msg) && link.remove(msg) == MSG_SUCCESS;
    _exit(deleted ? 0 : 1);
}

TEST_F(PlainServers, MessageOfADeadHostIsDeliveredAgain)
{
    const std::string box = "box10";
    clean(box);
    {
        LoadedLink link(settings_for(servers, box));
        ASSERT_TRUE(opens(link, box));
        ASSERT_EQ(link.send(address_of(box), "text"), MSG_SUCCESS);
        ASSERT_TRUE(e2e::await_mails(servers, box, 1));
    }
    const pid_t child = fork();
    if (child == 0) {
        die_after_delete(servers, box);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);

    LoadedLink link(settings_for(servers, box));
    ASSERT_TRUE(opens(link, box));
    HMSG msg = nullptr;
    ASSERT_EQ(link.receive(&msg), MSG_SUCCESS);
    EXPECT_EQ(link.content(msg), "\r\ntext\r\n");
    // A deletion is final with the QUIT in front of the next look, and not before.
    EXPECT_EQ(link.remove(msg), MSG_SUCCESS);
    EXPECT_EQ(e2e::mails_in(servers, box), 1) << "DELE alone took the mail away";
    EXPECT_EQ(link.receive(&msg), MSG_NO_MESSAGE);
    EXPECT_EQ(e2e::mails_in(servers, box), 0);
}

TEST_F(PlainServers, OrdinaryMailIsLeftAlone)
{
    const std::string box = "box11";
    clean(box);
    const char * const ordinary[] = {
        "Subject: lunch\n\nAt noon?\n",
        "Subject: Re: -Orv-Relays-\nMessage-ID: <a@b>\n\nAn answer\n",
        "From: a@b\n\nSubject: -Orv-Relays-\n",
    };
    for (const char * mail : ordinary) {
        ASSERT_TRUE(e2e::put_mail(servers, box, mail));
    }
    for (const char * top : {"yes", "no"}) {
        SCOPED_TRACE(top);
        Settings settings = settings_for(servers, box);
        settings["TOP_supported"] = top;
        LoadedLink link(settings);
        ASSERT_TRUE(opens(link, box));
        HMSG msg = nullptr;
        EXPECT_EQ(link.receive(&msg), MSG_NO_MESSAGE);
        link.close();
        EXPECT_EQ(e2e::mails_in(servers, box), 3);
    }
}

} // namespace
