#include "remote/orvsmtp_send.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <ctime>
#include <regex>
#include <string>
#include <vector>

#include "remote/fake_sock.h"
#include "support/link_fixture.h"

namespace {

using namespace support;
using lines = std::vector<std::string>;

const std::vector<Row> envelope = {hear("MAIL FROM:<sales@a.example>"),
                                   say("250 ok"),
                                   hear("RCPT TO:<bob@b.example>"),
                                   say("250 ok"),
                                   hear("DATA"),
                                   say("354 go")};
const std::vector<Row> good_mail = envelope + std::vector<Row>{collect_data(), say("250 kept")};
const std::vector<Row> rset = {hear("RSET"), say("250 ok")};

// A mail of the fixture's link whose text ends the connection in place of its end mark.
const std::vector<Row> headers = {hear_like("Date: .*"),
                                  hear("From: sales@a.example"),
                                  hear("Subject: -Orv-Relays-"),
                                  hear("To: bob@b.example"),
                                  hear_like("Message-ID: <\\d{13}sales7@link.example>"),
                                  hear("")};

class Send : public LinkFixture {
protected:
    // A link with an open SMTP session.
    void SetUp() override { profile.set("send_only", "yes"); }

    MSGRET send(const std::string & text = "hello", uint32 count = 7,
                const std::string & to = "bob@b.example")
    {
        const std::vector<char> exact(text.begin(), text.end()); // no terminator
        return MsgSendV3(link, nullptr, to.c_str(), exact.data(), static_cast<uint32>(exact.size()), count,
                         0);
    }

    // The ids of the mails collected, without the time in front of them.
    lines ids()
    {
        EXPECT_TRUE(server.verdict());
        lines found;
        for (const std::string & block : server.collected()) {
            std::smatch match;
            if (std::regex_search(block, match, std::regex("\r\nMessage-ID: <\\d{13}(.*)>\r\n")))
                found.push_back(match[1]);
        }
        return found;
    }
};

TEST_F(Send, MailIsWrittenToTheLastByte)
{
    server.expect(Port::Smtp, smtp_opening() + good_mail + smtp_quit());
    ASSERT_TRUE(make_link());
    const time_t before = time(nullptr);
    EXPECT_EQ(send("first line\r\n.second\r\nno end", 42), MSG_SUCCESS);
    const time_t after = time(nullptr);
    EXPECT_EQ(take_lines(), lines());
    end_link();
    ASSERT_TRUE(server.verdict());
    const std::string block = server.collected().at(0);
    bool seen = false;
    for (time_t now = before; now <= after; ++now) {
        char date[64];
        char id[64];
        tm parts{};
        gmtime_r(&now, &parts);
        (void)strftime(date, sizeof(date), "%a, %d %b %Y %H:%M:%S UT", &parts);
        (void)strftime(id, sizeof(id), "%j%Y%H%M%S", &parts);
        seen =
            seen || block == std::string("Date: ") + date +
                                 "\r\nFrom: sales@a.example\r\nSubject: -Orv-Relays-\r\nTo: bob@b.example\r\n"
                                 "Message-ID: <" +
                                 id +
                                 "sales42@link.example>\r\n\r\n"
                                 "first line\r\n .second\r\nno end\r\n\r\n.\r\n";
    }
    EXPECT_TRUE(seen) << block;
}

TEST_F(Send, EmptyTextHasTheEndMarkBehindTheEmptyLine)
{
    server.expect(Port::Smtp, smtp_opening() + good_mail + smtp_quit());
    ASSERT_TRUE(make_link());
    EXPECT_EQ(MsgSendV3(link, nullptr, "bob@b.example", nullptr, 0, 0, 0), MSG_SUCCESS);
    end_link();
    EXPECT_EQ(ids(), lines{"sales0@link.example"}); // a count of 0 draws no serial
    EXPECT_NE(server.collected().at(0).find(".example>\r\n\r\n\r\n.\r\n"), std::string::npos);
    EXPECT_EQ(profile.writes(), std::vector<ProfileAccess>());
}

TEST_F(Send, NothingIsSaidBetweenTwoMessagesAndSerialsGoOn)
{
    server.expect(Port::Smtp, smtp_opening() + good_mail + good_mail + good_mail + smtp_quit());
    ASSERT_TRUE(make_link());
    EXPECT_EQ(send("a", OUT_OF_BAND_COUNT), MSG_SUCCESS);
    EXPECT_EQ(profile.get("oob_serial"), "1");
    EXPECT_EQ(send("b", 0xFFFFFFFE), MSG_SUCCESS);
    EXPECT_EQ(send("c", OUT_OF_BAND_COUNT), MSG_SUCCESS);
    end_link();
    EXPECT_EQ(ids(), (lines{"saleso0@link.example", "sales4294967294@link.example", "saleso1@link.example"}));
}

TEST_F(Send, IdHoldsTheLocalPartUpToTheFirstAt)
{
    const struct {
        const char * address;
        const char * id;
    } rows[] = {{"a@b@c", "a7@link.example"}, {"@c", "7@link.example"}, {"nobody", "nobody7@link.example"}};
    for (const auto & row : rows) {
        LinkStage stage;
        stage.profile.set("send_only", "yes");
        stage.server.expect(Port::Smtp,
                            smtp_opening() +
                                std::vector<Row>{hear(std::string("MAIL FROM:<") + row.address + ">"),
                                                 say("250"), hear_anything(), say("250"), hear("DATA"),
                                                 say("354"), collect_data(), say("250")} +
                                smtp_quit());
        ASSERT_TRUE(stage.make_link(row.address));
        EXPECT_EQ(MsgSendV3(stage.link, nullptr, "bob", "x", 1, 7, 0), MSG_SUCCESS);
        stage.end_link();
        ASSERT_TRUE(stage.server.verdict());
        EXPECT_TRUE(std::regex_search(stage.server.collected().at(1),
                                      std::regex(std::string("\r\nMessage-ID: <\\d{13}") + row.id + ">\r\n")))
            << stage.server.collected().at(1);
    }
}

// --- What doesn't fit

TEST_F(Send, HeaderBlockThatDoesNotFitByOneByteLosesAPieceAndIsReported)
{
    // 105 bytes are fixed; "sales@..." counts with its local part, and link.example and the digit count too.
    const size_t rest = 511 - 105 - std::string("sales@a.example").size() - std::string("sales").size() -
                        std::string("link.example").size() - 1;
    const struct {
        size_t recipient;
        const char * end;
        lines reports;
    } rows[] = {
        {rest, "7@link.example>\r\n\r\nhello\r\n\r\n.\r\n", {}},
        {rest + 1, "7@link.example>\r\nhello\r\n\r\n.\r\n", {"Line is too long to send"}},
    };
    for (const auto & row : rows) {
        LinkStage stage;
        stage.profile.set("send_only", "yes");
        const std::string to(row.recipient, 'r');
        stage.server.expect(Port::Smtp,
                            smtp_opening() +
                                std::vector<Row>{hear("MAIL FROM:<sales@a.example>"), say("250"),
                                                 hear("RCPT TO:<" + to + ">"), say("250"), hear("DATA"),
                                                 say("354"), collect_data(), say("250")} +
                                smtp_quit());
        ASSERT_TRUE(stage.make_link());
        EXPECT_EQ(MsgSendV3(stage.link, nullptr, to.c_str(), "hello", 5, 7, 0), MSG_SUCCESS);
        EXPECT_EQ(stage.take_lines(), row.reports);
        stage.end_link();
        ASSERT_TRUE(stage.server.verdict());
        EXPECT_TRUE(stage.server.collected().at(0).ends_with(row.end)) << stage.server.collected().at(0);
    }
}

TEST_F(Send, CommandWithoutRoomForItsLineEndIsNotSent)
{
    std::vector<Row> rows = smtp_opening();
    lines reports;
    for (int attempt = 0; attempt < 5; ++attempt) {
        rows = rows + std::vector<Row>{hear("MAIL FROM:<sales@a.example>"), say("250")} + rset;
        reports.emplace_back("Line is too long to send");
    }
    server.expect(Port::Smtp, rows + smtp_quit());
    ASSERT_TRUE(make_link());
    // 511 characters fit in the buffer, the line end behind 510 doesn't.
    EXPECT_EQ(send("hello", 7, std::string(510 - 10, 'r')), MSG_FAILURE);
    EXPECT_EQ(take_lines(), reports);
}

TEST_F(Send, AddressOfTheLinkIsCutTo256Characters)
{
    const std::string cut = "s@" + std::string(254, 'x');
    server.expect(Port::Smtp, smtp_opening() +
                                  std::vector<Row>{hear("MAIL FROM:<" + cut + ">"), say("250"),
                                                   hear("RCPT TO:<bob@b.example>"), say("250"), hear("DATA"),
                                                   say("354"), collect_data(), say("250")} +
                                  smtp_quit());
    ASSERT_TRUE(make_link((cut + "yz").c_str()));
    EXPECT_EQ(send(), MSG_SUCCESS);
}

// --- Attempts

TEST_F(Send, EachRefusalIsFollowedByResetAndFiveOfThemAreAFailure)
{
    const std::vector<Row> mail = {hear("MAIL FROM:<sales@a.example>"), say("250 ok")};
    const std::vector<Row> rcpt = mail + std::vector<Row>{hear("RCPT TO:<bob@b.example>"), say("250 ok")};
    const struct {
        const char * what;
        std::vector<Row> refused;
        size_t mails;
    } rows[] = {
        {"MAIL", {hear("MAIL FROM:<sales@a.example>"), say("550 no")}, 0},
        {"RCPT", mail + std::vector<Row>{hear("RCPT TO:<bob@b.example>"), say("550-no"), say("250 and no")},
         0},
        {"DATA", rcpt + std::vector<Row>{hear("DATA"), say("451 no")}, 0},
        {"the end mark", envelope + std::vector<Row>{collect_data(), say("552 no")}, 5},
    };
    for (const auto & row : rows) {
        LinkStage stage;
        stage.profile.set("send_only", "yes");
        std::vector<Row> script = smtp_opening();
        for (int attempt = 0; attempt < 5; ++attempt)
            script = script + row.refused + rset;
        stage.server.expect(Port::Smtp, script + good_mail + smtp_quit());
        ASSERT_TRUE(stage.make_link());
        EXPECT_EQ(MsgSendV3(stage.link, nullptr, "bob@b.example", "x", 1, 7, 0), MSG_FAILURE) << row.what;
        // The session is ready for the next message.
        EXPECT_EQ(MsgSendV3(stage.link, nullptr, "bob@b.example", "x", 1, 7, 0), MSG_SUCCESS) << row.what;
        EXPECT_EQ(stage.take_lines(), lines()) << row.what;
        stage.end_link();
        EXPECT_TRUE(stage.server.verdict()) << row.what;
        EXPECT_EQ(stage.server.collected().size(), row.mails + 1) << row.what;
    }
}

TEST_F(Send, EveryAttemptHasAnIdOfItsOwn)
{
    profile.set("oob_serial", "41");
    server.expect(Port::Smtp, smtp_opening() + envelope + std::vector<Row>{collect_data(), say("451 later")} +
                                  rset + good_mail + smtp_quit());
    ASSERT_TRUE(make_link());
    EXPECT_EQ(send("x", OUT_OF_BAND_COUNT), MSG_SUCCESS);
    EXPECT_EQ(profile.get("oob_serial"), "43");
    end_link();
    EXPECT_EQ(ids(), (lines{"saleso41@link.example", "saleso42@link.example"}));
}

TEST_F(Send, RefusedResetAndLostConnectionsLeadToANewSession)
{
    const struct {
        const char * what;
        std::vector<Row> first; // behind the opening of the first session
        lines reports;
    } rows[] = {
        {"RSET is refused",
         {hear("MAIL FROM:<sales@a.example>"), say("421 tired"), hear("RSET"), say("421 tired"), hear("QUIT"),
          say("221 bye")},
         {}},
        {"the server hangs up", {hear("MAIL FROM:<sales@a.example>"), hang_up()}, {}},
        {"the final reply is lost", envelope + std::vector<Row>{collect_data(), hang_up()}, {}},
    };
    for (const auto & row : rows) {
        LinkStage stage;
        stage.profile.set("send_only", "yes");
        stage.server.expect(Port::Smtp, smtp_opening() + row.first);
        stage.server.expect(Port::Smtp, smtp_opening() + good_mail + smtp_quit());
        ASSERT_TRUE(stage.make_link());
        EXPECT_EQ(MsgSendV3(stage.link, nullptr, "bob@b.example", "x", 1, 7, 0), MSG_SUCCESS) << row.what;
        EXPECT_EQ(stage.take_lines(), row.reports) << row.what;
        stage.end_link();
        EXPECT_TRUE(stage.server.verdict()) << row.what;
    }
}

TEST_F(Send, SessionThatCannotBeOpenedAgainEndsTheSendAtOnce)
{
    server.expect(Port::Smtp,
                  smtp_opening() + std::vector<Row>{hear("MAIL FROM:<sales@a.example>"), hang_up()});
    for (int attempt = 0; attempt < 5; ++attempt)
        server.expect(Port::Smtp, std::vector<Row>{say("554 not now")} + smtp_quit());
    ASSERT_TRUE(make_link());
    EXPECT_EQ(send(), MSG_FAILURE);
    EXPECT_EQ(link->smtp, nullptr);
    // The next send opens a session before its first attempt.
    server.expect(Port::Smtp, smtp_opening() + good_mail + smtp_quit());
    EXPECT_EQ(send(), MSG_SUCCESS);
}

TEST_F(Send, AttemptWithoutAnOpenSessionSaysNothing)
{
    server.expect(Port::Smtp, smtp_opening() + std::vector<Row>{hear_end()});
    ASSERT_TRUE(make_link());
    SocketClose(link->smtp);
    EXPECT_EQ(SMTPMessageWrite(link, "bob@b.example", "x", 1, 7).AttemptAction(0), COM_RETRY);
    SocketString(link->smtp, "NOOP");
    EXPECT_FALSE(smtp_command(link));
    SocketFini(link->smtp);
    link->smtp = nullptr;
    EXPECT_EQ(SMTPMessageWrite(link, "bob@b.example", "x", 1, 7).AttemptAction(0), COM_RETRY);
    EXPECT_EQ(take_lines(), lines());
}

TEST_F(Send, OpensASessionWhenThereIsNoneAndEndsThatOfTheInboxFirst)
{
    profile.set("send_only", "no");
    profile.set("receive_only", "yes");
    server.expect(Port::Pop3, pop_opening() + pop_quit());
    server.expect(Port::Smtp, smtp_opening() + good_mail + smtp_quit());
    ASSERT_TRUE(make_link());
    EXPECT_EQ(send(), MSG_SUCCESS);
    EXPECT_EQ(link->pop, nullptr);
    const std::string transcript = server.transcript();
    EXPECT_LT(transcript.find("pop3#1 < QUIT"), transcript.find("smtp#2 > 220"));
}

TEST_F(Send, SessionThatCannotBeOpenedSendsNothingAndTellsSo)
{
    profile.set("send_only", "no");
    profile.set("receive_only", "yes");
    server.expect(Port::Pop3, pop_opening() + pop_quit());
    ASSERT_TRUE(make_link());
    profile.set("smtp_host", "");
    EXPECT_EQ(send(), MSG_FAILURE);
    EXPECT_EQ(SMTPMessageWrite(link, "bob@b.example", "x", 1, 7).ReInit(),
              MSG_FAILURE); // there is no session
    EXPECT_EQ(take_lines(), lines());
}

TEST_F(Send, TraceShowsTheEnvelopeAndNothingOfTheMail)
{
    profile.set("Debug", "yes");
    server.expect(Port::Smtp, smtp_opening() + good_mail + smtp_quit());
    ASSERT_TRUE(make_link());
    (void)take_lines();
    EXPECT_EQ(send("secret text"), MSG_SUCCESS);
    EXPECT_EQ(take_lines(), (lines{"MAIL FROM:<sales@a.example>", "250 ok", "RCPT TO:<bob@b.example>",
                                   "250 ok", "DATA", "354 go", "250 kept"}));
}

// --- Sessions that are out of step

// Calls of the system that fail at a certain point, behind the table of the link's sockets.
int good_calls;    // before the one that fails
int failing_code;  // of that call
size_t last_bytes; // of a failing send that still go out

ssize_t failing_send(int handle, const void * buf, size_t len, int flags)
{
    if (good_calls-- == 0) {
        if (last_bytes != 0)
            (void)!::send(handle, buf, std::min(len, last_bytes), flags);
        errno = failing_code;
        return -1;
    }
    return ::send(handle, buf, len, flags);
}

ssize_t failing_recv(int handle, void * buf, size_t len, int flags)
{
    if (good_calls-- == 0) {
        errno = failing_code;
        return -1;
    }
    return ::recv(handle, buf, len, flags);
}

TEST(SendOutOfStep, SessionIsClosedUnlessItsConnectionHasEnded)
{
    const struct {
        int code;
        bool closed;
    } rows[] = {
        {0, false},         {ECONNRESET, false}, {EPIPE, false},   {ENOTCONN, false},
        {ETIMEDOUT, false}, {EINTR, true},       {ENOMEM, true},   {EMSGSIZE, true},
        {ENOBUFS, true},    {EAGAIN, true},      {ENETDOWN, true},
    };
    for (const auto & row : rows) {
        fake_sock fake;
        a_sock * sock = SocketInit(fake.info, "10.0.0.1");
        uint16 port = 25;
        ASSERT_TRUE(SocketOpen(sock, nullptr, &port, FALSE));
        close_if_out_of_step(sock, row.code);
        EXPECT_EQ(SocketIsClosed(sock) != FALSE, row.closed) << row.code;
        SocketClose(sock);
        SocketFini(sock);
    }
}

TEST_F(Send, MailSentInPartIsNeverFollowedByAReset)
{
    // MAIL, RCPT, DATA, the headers, then text, line end, and end mark.
    const struct {
        int good;
        size_t bytes; // of the failing send that still go out
        std::vector<Row> heard;
    } rows[] = {
        {3, 0, {}},
        {4, 0, headers},
        {5, 2, headers + std::vector<Row>{hear("hello")}},
        {6, 0, headers + std::vector<Row>{hear("hello")}},
    };
    for (const auto & row : rows) {
        LinkStage stage;
        stage.profile.set("send_only", "yes");
        stage.server.expect(Port::Smtp, smtp_opening() + envelope + row.heard + std::vector<Row>{hear_end()});
        good_calls = row.good;
        last_bytes = row.bytes;
        failing_code = EINTR;
        last_bytes = row.good == 5 ? 2 : 0;
        stage.server.expect(Port::Smtp, smtp_opening() + good_mail + smtp_quit());
        ASSERT_TRUE(stage.make_link());
        stage.link->sock_info->sock_func.send = failing_send;
        EXPECT_EQ(MsgSendV3(stage.link, nullptr, "bob@b.example", "hello", 5, 7, 0), MSG_SUCCESS) << row.good;
        EXPECT_EQ(stage.take_lines(), lines{"Error: interrupted system call."}) << row.good;
        stage.end_link();
        EXPECT_TRUE(stage.server.verdict()) << row.good;
    }
}

TEST_F(Send, ReplyThatCouldNotBeReadIsNotTakenForTheNextOne)
{
    // Replies to MAIL, RCPT, DATA and the end mark; a whole reply comes with one read.
    for (int good = 0; good < 4; ++good) {
        LinkStage stage;
        stage.profile.set("send_only", "yes");
        std::vector<Row> first = good_mail;
        first.resize(good == 3 ? good_mail.size() : static_cast<size_t>(good) * 2 + 2);
        stage.server.expect(Port::Smtp, smtp_opening() + first + std::vector<Row>{hear_end()});
        stage.server.expect(Port::Smtp, smtp_opening() + good_mail + smtp_quit());
        ASSERT_TRUE(stage.make_link());
        good_calls = good;
        failing_code = EINTR;
        stage.link->sock_info->sock_func.recv = failing_recv;
        EXPECT_EQ(MsgSendV3(stage.link, nullptr, "bob@b.example", "hello", 5, 7, 0), MSG_SUCCESS) << good;
        EXPECT_EQ(stage.take_lines(), lines{"Error: interrupted system call."}) << good;
        stage.end_link();
        EXPECT_TRUE(stage.server.verdict()) << good;
    }
}

TEST_F(Send, OverlongFinalReplyIsNotFollowedByAReset)
{
    const std::vector<Row> overlong =
        envelope + std::vector<Row>{collect_data(), say("250 " + std::string(507, 'x')), hear_end()};
    server.expect(Port::Smtp, smtp_opening() + overlong);
    server.expect(Port::Smtp, smtp_opening() + envelope +
                                  std::vector<Row>{collect_data(), say("250 " + std::string(506, 'x'))} +
                                  smtp_quit());
    ASSERT_TRUE(make_link());
    EXPECT_EQ(send(), MSG_SUCCESS);
    EXPECT_EQ(take_lines(), lines{"Line is too long, buffer overflow"});
}

} // namespace
