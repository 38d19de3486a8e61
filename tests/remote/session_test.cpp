#include "remote/orvsmtp_session.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "orvlink.h"
#include "remote/fake_sock.h"
#include "remote/unixdll.h"
#include "support/link_fixture.h"

namespace {

using namespace support;
using lines = std::vector<std::string>;
using rows_of = std::vector<Row>;
using accesses = std::vector<ProfileAccess>;
using Kind = ProfileAccess::Kind;

const char user_refused[] = "The POP3 server did not accept the user name.";
const char password_refused[] = "The POP3 server did not accept the password.";
const char no_socket[] =
    "Unable to use the mail server. Check its host name in the settings of the message link.";

struct Connection {
    Port port;
    rows_of rows;
};

struct Case {
    const char * what;
    std::vector<std::pair<const char *, const char *>> settings;
    std::vector<Connection> connections;
    lines reports = {};
};

void prepare(LinkStage & stage, const Case & row)
{
    for (const auto & [name, value] : row.settings)
        stage.profile.set(name, value);
    for (const Connection & connection : row.connections)
        stage.server.expect(connection.port, connection.rows);
}

template<typename T> std::vector<T> times(int count, const T & element)
{
    return std::vector<T>(static_cast<size_t>(count), element);
}

std::vector<Connection> operator+(std::vector<Connection> first, const std::vector<Connection> & second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

const Connection smtp_proof = {Port::Smtp, smtp_opening() + smtp_quit()};
const Connection smtp_session = smtp_proof; // the QUIT comes with the end of the link
const Connection pop_session = {Port::Pop3, pop_opening() + pop_quit()};

// --- Making a link

TEST(SessionModes, LinkHoldsTheSessionsThatItsSettingsAskFor)
{
    const struct {
        Case row;
        bool smtp;
        bool pop;
    } rows[] = {
        {{"both logins, POP3 stays", {}, {smtp_proof, pop_session}}, false, true},
        {{"sending wins over receiving", {{"send_only", "yes"}, {"receive_only", "yes"}}, {smtp_session}},
         true,
         false},
        {{"receiving", {{"receive_only", "Y"}}, {pop_session}}, false, true},
        {{"a second attempt that works",
          {{"send_only", "y"}},
          {{Port::Smtp, rows_of{say("421 busy")} + smtp_quit()}, smtp_session}},
         true,
         false},
    };
    for (const auto & [row, smtp, pop] : rows) {
        LinkStage stage;
        prepare(stage, row);
        ASSERT_TRUE(stage.make_link()) << row.what;
        EXPECT_EQ(stage.link->smtp != nullptr, smtp) << row.what;
        EXPECT_EQ(stage.link->pop != nullptr, pop) << row.what;
        EXPECT_EQ(stage.take_lines(), row.reports) << row.what;
        stage.end_link();
        EXPECT_TRUE(stage.server.verdict()) << row.what;
    }
}

TEST(SessionModes, NoLinkIsMadeWithoutItsSessionsAndNothingIsAskedMoreThanFiveTimes)
{
    const rows_of bad_greeting = rows_of{say("220-come"), say("554 no")} + smtp_quit();
    const rows_of helo_refused =
        rows_of{say("220 ready"), hear("HELO link.example"), say("501 no")} + smtp_quit();
    const Row overlong = say("220 " + std::string(507, 'x'));
    const rows_of user = {say("+OK ready"), hear("USER bob"), say("-ERR who")};
    const rows_of pass = {say("+OK ready"), hear("USER bob"), say("+OK"), hear("PASS secret"),
                          say("-ERR wrong")};
    const rows_of apop = {say("+OK <1896.697170952@dbc.mtview.ca.us>"), hear_like("APOP bob [0-9a-f]{32}"),
                          say("-ERR wrong")};
    const Case rows[] = {
        {"a wrong password, behind one SMTP login",
         {},
         std::vector{smtp_proof} + times(5, Connection{Port::Pop3, pass + pop_quit()}),
         times(5, std::string(password_refused))},
        {"an unknown user",
         {{"receive_only", "y"}},
         times(5, Connection{Port::Pop3, user + pop_quit()}),
         times(5, std::string(user_refused))},
        {"APOP doesn't fall back",
         {{"receive_only", "y"}},
         times(5, Connection{Port::Pop3, apop + pop_quit()}),
         times(5, std::string(password_refused))},
        {"a POP3 greeting with a blank in front",
         {{"receive_only", "y"}},
         times(5, Connection{Port::Pop3, rows_of{say(" +OK")} + pop_quit()})},
        {"a failing SMTP login never touches POP3", {}, times(5, Connection{Port::Smtp, bad_greeting})},
        {"a refused HELO", {{"send_only", "y"}}, times(5, Connection{Port::Smtp, helo_refused})},
        {"an overlong greeting still gets its QUIT",
         {{"send_only", "y"}},
         times(5, Connection{Port::Smtp, rows_of{overlong} + smtp_quit()}),
         times(5, std::string("Line is too long, buffer overflow"))},
        {"and so does an overlong reply to HELO",
         {{"send_only", "y"}},
         times(5, Connection{Port::Smtp,
                             rows_of{say("220 ready"), hear("HELO link.example"), overlong} + smtp_quit()}),
         times(5, std::string("Line is too long, buffer overflow"))},
        {"no SMTP host", {{"smtp_host", ""}}, {}},
        {"no POP3 host", {{"pop3_host", ""}}, {smtp_proof}},
        {"no password", {{"receive_only", "y"}, {"pop3_password", ""}}, {}},
    };
    for (const Case & row : rows) {
        LinkStage stage;
        prepare(stage, row);
        EXPECT_FALSE(stage.make_link()) << row.what;
        EXPECT_EQ(stage.take_lines(), row.reports) << row.what;
        EXPECT_TRUE(stage.server.verdict()) << row.what;
    }
}

TEST(SessionModes, ServerThatCannotBeReachedIsReportedByEachAttempt)
{
    ScriptedServer gone;
    ASSERT_TRUE(gone.verdict());
    LinkStage stage;
    stage.profile.set("receive_only", "yes");
    stage.profile.set("pop3_port", std::to_string(gone.port(Port::Pop3)));
    EXPECT_FALSE(stage.make_link());
    EXPECT_EQ(stage.take_lines(), times(5, std::string("Error: Connection refused.")));
    stage.profile.set("pop3_host", "1.2.3.4.5");
    EXPECT_FALSE(stage.make_link());
    const lines reports = stage.take_lines();
    EXPECT_EQ(std::count(reports.begin(), reports.end(), no_socket), 5);
}

TEST(SessionModes, ServerBehindAnUnknownNameIsReportedAndTheLocalHostIsNeeded)
{
    ASSERT_EQ(OSLangString.Init(), LS_INIT_OKAY); // each test may be the first of its process
    fake_sock fake;
    HostProfile profile{{"smtp_host", "mail.example"}, {"smtp_port", "25"}};
    const std::unique_ptr<a_smtp_link_info> link(new a_smtp_link_info);
    link->profile_access = profile.access();
    link->sock_info = fake.info;
    link->msgcb = fake.info->msgcb;
    SMTP_POPSessionOpen session(link.get(), MODE_SMTP);
    fake.gethostname_code = EINVAL;
    EXPECT_EQ(session.AttemptAction(0), COM_RETRY);
    EXPECT_EQ(fake.take_log(),
              (lines{"gethostname 256", "> Error: Invalid argument.", "> Unable to determine local host"}));
    fake.gethostname_code = 0;
    fake.official_name = "";
    EXPECT_EQ(session.AttemptAction(0), COM_RETRY);
    EXPECT_EQ(fake.take_log().back(), "> Unable to determine local host");
    fake.official_name = "found.example";
    fake.connect_codes = {ECONNREFUSED};
    EXPECT_EQ(session.AttemptAction(0), COM_RETRY);
    EXPECT_STREQ(link->local_host, "found.example");
    EXPECT_EQ(fake.take_log().back(), "> Error: Connection refused.");
    // From now on the name isn't looked for, but the server's is.
    fake.host_known = false;
    EXPECT_EQ(session.AttemptAction(0), COM_RETRY);
    EXPECT_EQ(fake.take_log(), (lines{"gethostbyname mail.example", "> Error: Network is unreachable.",
                                      std::string("> ").append(no_socket)}));
    EXPECT_EQ(link->smtp, nullptr);
    // The next session wipes it.
    EXPECT_EQ(SMTP_POPSessionOpen(link.get(), MODE_SMTP).AttemptAction(0), COM_RETRY);
    EXPECT_EQ(fake.take_log().front(), "gethostname 256");
}

// The accesses of a profile in their order, with the sizes of the reader's buffers.
lines keys_of(const HostProfile & profile)
{
    lines keys;
    for (const ProfileAccess & access : profile.accesses())
        keys.push_back(access.name + " " + std::to_string(access.size));
    return keys;
}

const lines link_keys = {"Debug 20",
                         "TOP_supported 20",
                         "APOP_supported 20",
                         "smtp_authenticate 20",
                         "smtp_authenticate_mechanism 50",
                         "smtp_userid 64",
                         "smtp_password 64"};
const lines session_keys = {"local_host 256", "smtp_host 256",  "smtp_port 10",    "pop3_host 256",
                            "pop3_port 10",   "pop3_userid 64", "pop3_password 64"};

TEST(SessionProfile, IsReadInOrderAndNotWritten)
{
    const struct {
        Case row;
        std::vector<lines> keys;
    } rows[] = {
        {{"both", {}, {smtp_proof, pop_session}},
         {link_keys,
          {"send_only 20", "receive_only 20"},
          session_keys,
          session_keys,
          {"suppress_dialogs 20"}}},
        {{"sending", {{"send_only", "y"}}, {smtp_session}}, {link_keys, {"send_only 20"}, session_keys}},
        {{"no session", {{"receive_only", "y"}, {"pop3_password", ""}}, {}},
         {link_keys, {"send_only 20", "receive_only 20"}, session_keys, {"suppress_dialogs 20"}}},
    };
    for (const auto & [row, keys] : rows) {
        LinkStage stage;
        prepare(stage, row);
        (void)stage.make_link();
        lines expected;
        for (const lines & part : keys)
            expected.insert(expected.end(), part.begin(), part.end());
        EXPECT_EQ(keys_of(stage.profile), expected) << row.what;
        EXPECT_EQ(stage.profile.writes(), accesses()) << row.what;
    }
}

TEST(SessionProfile, SettingsOfALinkAreOnUnlessTheySayNo)
{
    const struct {
        const char * value;
        a_bool on;
    } rows[] = {{"", TRUE}, {"OFF", FALSE}, {"nonsense", TRUE}};
    for (const auto & row : rows) {
        LinkStage stage;
        for (const char * key : {"TOP_supported", "APOP_supported", "smtp_authenticate"})
            stage.profile.set(key, row.value);
        stage.profile.set("receive_only", "y");
        stage.server.expect(Port::Pop3, pop_session.rows);
        ASSERT_TRUE(stage.make_link());
        EXPECT_EQ(stage.link->top_supported, row.on) << row.value;
        EXPECT_EQ(stage.link->apop_supported, row.on) << row.value;
        EXPECT_EQ(stage.link->smtp_authenticate, row.on) << row.value;
        EXPECT_EQ(stage.link->debug, FALSE) << row.value;
    }
}

TEST(SessionProfile, EmptyPortLeavesTheOneAtHandAndTypedValuesAreNotReadOver)
{
    HostProfile profile{{"smtp_host", "s"}, {"pop3_host", "p"}, {"pop3_userid", "u"}, {"pop3_password", "w"}};
    const std::unique_ptr<a_smtp_link_info> link(new a_smtp_link_info);
    link->profile_access = profile.access();
    const a_login_parms & parms = link->parms;
    const SMTP_POPSessionOpen first(link.get(), MODE_SMTP);
    EXPECT_STREQ(parms.smtp_port, "25");
    EXPECT_STREQ(parms.pop3_port, "110");
    EXPECT_FALSE(parms.smtp_port_in_db || parms.pop3_port_in_db);
    profile.set("smtp_port", "2525");
    profile.set("pop3_port", "1234567890"); // cut to nine characters
    const SMTP_POPSessionOpen second(link.get(), MODE_POP);
    EXPECT_STREQ(parms.smtp_port, "2525");
    EXPECT_STREQ(parms.pop3_port, "123456789");
    profile.set("smtp_port", "");
    profile.set("smtp_host", "");
    const SMTP_POPSessionOpen third(link.get(), MODE_SMTP);
    EXPECT_STREQ(parms.smtp_port, "2525");
    EXPECT_STREQ(parms.smtp_host, "");
    EXPECT_TRUE(parms.smtp_port_in_db && parms.pop3_port_in_db);

    // Each flag keeps the profile from its own values only.
    const struct {
        a_bool a_smtp_link_info::*flag;
        lines keys;
    } rows[] = {
        {&a_smtp_link_info::smtp_from_dialog,
         {"local_host 256", "pop3_host 256", "pop3_port 10", "pop3_userid 64", "pop3_password 64"}},
        {&a_smtp_link_info::pop_from_dialog,
         {"local_host 256", "smtp_host 256", "smtp_port 10", "pop3_password 64"}},
        {&a_smtp_link_info::passwd_from_dialog, lines(session_keys.begin(), session_keys.end() - 1)},
    };
    for (const auto & row : rows) {
        link.get()->*row.flag = TRUE;
        profile.clear_accesses();
        const SMTP_POPSessionOpen session(link.get(), MODE_SMTP);
        EXPECT_EQ(keys_of(profile), row.keys);
        link.get()->*row.flag = FALSE;
    }
}

// --- Saving what was typed

const rows_of typed_login = {say("+OK"), hear("USER bob"), say("+OK"), hear("PASS typed"), say("+OK")};

// A link that has logged in to the mailbox, and as if the user had then typed the password "typed" and all
// other values anew.
class SessionSaving : public LinkFixture {
protected:
    void SetUp() override
    {
        profile.set("receive_only", "yes");
        server.expect(Port::Pop3, pop_session.rows);
        ASSERT_TRUE(make_link());
        type_all();
    }
    void type_all()
    {
        type(link->parms.pop3_passwd, "typed");
        link->smtp_from_dialog = link->pop_from_dialog = link->passwd_from_dialog = TRUE;
        profile.clear_accesses();
    }
    template<size_t size> static void type(char (&field)[size], const std::string & value)
    {
        ASSERT_LT(value.size(), size);
        std::memcpy(field, value.c_str(), value.size() + 1);
    }
    MSGRET log_in(smtp_pop_mode mode, const rows_of & login = typed_login + pop_quit())
    {
        server.expect(mode == MODE_SMTP ? Port::Smtp : Port::Pop3,
                      mode == MODE_SMTP ? smtp_session.rows : login);
        profile.clear_accesses();
        return Connect(link, mode);
    }
    // Which flags are up: s, p, w.
    std::string flags() const
    {
        return std::string(link->smtp_from_dialog ? "s" : "") + (link->pop_from_dialog ? "p" : "") +
               (link->passwd_from_dialog ? "w" : "");
    }
};

TEST_F(SessionSaving, EachLoginClearsItsOwnFlagAndSavesItsOwnValuesOnce)
{
    profile.set("smtp_host", "old.example");
    profile.set("pop3_host", "old.example");
    profile.set("pop3_userid", "BOB"); // the same but for the case
    EXPECT_EQ(log_in(MODE_POP), MSG_SUCCESS);
    EXPECT_EQ(flags(), "sw"); // nobody has said what to do with passwords
    EXPECT_EQ(profile.writes(), (accesses{{Kind::Write, "pop3_host", "127.0.0.1", 0}}));
    EXPECT_EQ(log_in(MODE_SMTP), MSG_SUCCESS);
    EXPECT_EQ(flags(), "w");
    EXPECT_EQ(profile.writes(), (accesses{{Kind::Write, "smtp_host", "127.0.0.1", 0}}));
    profile.set("pop3_userid", "bob"); // which is read again from here on
    EXPECT_EQ(log_in(MODE_POP), MSG_SUCCESS);
    EXPECT_EQ(profile.writes(), accesses());
}

TEST_F(SessionSaving, FailedLoginKeepsTheTypedValuesAndSavesNothing)
{
    const rows_of refused = {say("+OK"), hear("USER bob"), say("+OK"), hear("PASS typed"), say("-ERR")};
    for (int attempt = 1; attempt < 5; ++attempt)
        server.expect(Port::Pop3, refused + pop_quit());
    EXPECT_EQ(log_in(MODE_POP, refused + pop_quit()), MSG_FAILURE);
    EXPECT_EQ(flags(), "spw");
    EXPECT_STREQ(link->parms.pop3_passwd, "typed");
    EXPECT_EQ(profile.writes(), accesses());
}

TEST_F(SessionSaving, PasswordGoesWhereTheProfileSaysAndTheReadsComeInOrder)
{
    const struct {
        const char * save;
        accesses writes; // of the password
        const char * flags;
    } rows[] = {
        {"yes", {{Kind::Write, "pop3_password", "typed", 0}}, "s"},
        {"no", {{Kind::VolatileWrite, "pop3_password", "typed", 0}}, "s"},
        {"", {}, "sw"},
        {"perhaps", {}, "sw"},
    };
    for (const auto & row : rows) {
        profile.set("save_remote_passwords", row.save);
        profile.set("pop3_password", "secret");
        type_all();
        EXPECT_EQ(log_in(MODE_POP), MSG_SUCCESS);
        EXPECT_EQ(profile.writes(), row.writes) << row.save;
        EXPECT_EQ(flags(), row.flags) << row.save;
        lines expected = {"local_host 256", "pop3_host 256", "pop3_userid 256", "save_remote_passwords 20"};
        if (!row.writes.empty())
            expected.insert(expected.end(), {"pop3_password 256", "pop3_password 0"});
        expected.emplace_back("pop3_port 256");
        EXPECT_EQ(keys_of(profile), expected) << row.save;
        // Wherever it went, the next login has it.
        EXPECT_EQ(log_in(MODE_POP), MSG_SUCCESS);
    }
}

// The text of a number that begins with `digits`, fits its field and leads to `port` in its low 16 bits.
std::string port_that_begins_with(const std::string & digits, uint16 port)
{
    unsigned long number = std::stoul(digits + std::string(9 - digits.size(), '0'));
    number += (port - number) & 0xFFFF;
    return std::to_string(number);
}

TEST_F(SessionSaving, PortThatBeginsLikeTheDefaultIsSavedOnlyIfTheProfileHadOne)
{
    const struct {
        smtp_pop_mode mode;
        const char * begins;
        a_bool in_profile;
        bool saved;
    } rows[] = {
        {MODE_SMTP, "25", FALSE, false}, {MODE_SMTP, "25", TRUE, true}, {MODE_SMTP, "26", FALSE, true},
        {MODE_POP, "110", FALSE, false}, {MODE_POP, "110", TRUE, true}, {MODE_POP, "111", FALSE, true},
    };
    for (const auto & row : rows) {
        const bool smtp = row.mode == MODE_SMTP;
        const std::string typed =
            port_that_begins_with(row.begins, server.port(smtp ? Port::Smtp : Port::Pop3));
        type_all();
        type(smtp ? link->parms.smtp_port : link->parms.pop3_port, typed);
        link->parms.smtp_port_in_db = link->parms.pop3_port_in_db = row.in_profile;
        EXPECT_EQ(log_in(row.mode), MSG_SUCCESS) << typed;
        const accesses expected = {{Kind::Write, smtp ? "smtp_port" : "pop3_port", typed, 0}};
        EXPECT_EQ(profile.writes(), row.saved ? expected : accesses()) << typed;
    }
}

// --- Ending sessions

class SessionEnd : public LinkFixture {
protected:
    // Both sessions open, which no operation leaves behind today.
    void open_both()
    {
        profile.set("receive_only", "yes");
        profile.set("Debug", "yes");
        server.expect(Port::Pop3, pop_session.rows);
        server.expect(Port::Smtp, smtp_session.rows);
        ASSERT_TRUE(make_link());
        a_sock * const pop = link->pop;
        link->pop = nullptr;
        ASSERT_EQ(Connect(link, MODE_SMTP), MSG_SUCCESS);
        link->pop = pop;
        (void)take_lines();
    }
};

TEST_F(SessionEnd, LinkQuitsPop3BeforeSmtp)
{
    open_both();
    end_link();
    EXPECT_EQ(take_lines(), (lines{"QUIT", "+OK bye", "closesocket", "QUIT", "221 bye", "closesocket"}));
}

TEST_F(SessionEnd, ConnectQuitsSmtpBeforePop3WhateverItOpens)
{
    open_both();
    server.expect(Port::Pop3, pop_session.rows);
    EXPECT_EQ(Connect(link, MODE_POP), MSG_SUCCESS);
    lines trace = take_lines();
    trace.resize(7);
    EXPECT_EQ(trace, (lines{"QUIT", "221 bye", "closesocket", "QUIT", "+OK bye", "closesocket", "socket"}));
}

TEST_F(SessionEnd, QuitIsSentAloneAndItsRefusalEndsTheSessionAllTheSame)
{
    profile.set("receive_only", "yes");
    server.expect(Port::Pop3, pop_opening() + rows_of{hear("QUIT"), say("-ERR busy")});
    ASSERT_TRUE(make_link());
    SocketString(link->pop, "DELE 1");
    end_link();
    EXPECT_EQ(take_lines(), lines());
}

TEST_F(SessionEnd, ClosedSessionSendsNothing)
{
    profile.set("receive_only", "yes");
    server.expect(Port::Pop3, pop_opening());
    server.expect(Port::Pop3, pop_opening());
    ASSERT_TRUE(make_link());
    SocketClose(link->pop);
    EXPECT_EQ(Connect(link, MODE_POP), MSG_SUCCESS);
    SocketClose(link->pop);
    end_link();
    EXPECT_EQ(take_lines(), lines());
}

} // namespace
