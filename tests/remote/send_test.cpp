// Whole conversations of a send, and servers that answer it badly. Connections that break are in
// hangup_test.cpp, the text's framing is in framing_test.cpp.
#include "remote/orvsmtp_send.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <ctime>
#include <regex>
#include <string>
#include <vector>

#include "support/link_fixture.h"

namespace {

using namespace support;
using lines = std::vector<std::string>;
using rows_of = std::vector<Row>;

const rows_of mail_from = {hear("MAIL FROM:<sales@a.example>"), say("250 ok")};
const rows_of rcpt_to = {hear("RCPT TO:<bob@b.example>"), say("250 ok")};
const rows_of envelope = mail_from + rcpt_to + rows_of{hear("DATA"), say("354 go")};
const rows_of good_mail = envelope + rows_of{collect_data(), say("250 kept")};
const rows_of rset = {hear("RSET"), say("250 ok")};

// A mail with whatever envelope.
const rows_of any_mail = {hear_anything(), say("250"), hear_anything(), say("250"),
                          hear("DATA"),    say("354"), collect_data(),  say("250")};

class Send : public LinkFixture {
protected:
    // A link with an open SMTP session.
    void SetUp() override { profile.set("send_only", "yes"); }

    void session(const rows_of & rows) { server.expect(Port::Smtp, smtp_opening() + rows + smtp_quit()); }

    MSGRET send(const std::string & text = "hello", uint32 count = 7,
                const std::string & to = "bob@b.example")
    {
        const std::vector<char> exact(text.begin(), text.end()); // no terminator
        return MsgSendV3(link, nullptr, to.c_str(), exact.data(), static_cast<uint32>(exact.size()), count,
                         0);
    }

    // Ends the link; then the ids of the mails collected, without the time in front of them.
    lines ids()
    {
        end_link();
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
    session(good_mail);
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
        char headers[256];
        tm parts{};
        gmtime_r(&now, &parts);
        (void)strftime(headers, sizeof(headers),
                       "Date: %a, %d %b %Y %H:%M:%S UT\r\nFrom: sales@a.example\r\nSubject: -Orv-Relays-\r\n"
                       "To: bob@b.example\r\nMessage-ID: <%j%Y%H%M%Ssales42@link.example>\r\n\r\n",
                       &parts);
        seen = seen || block == std::string(headers) + "first line\r\n .second\r\nno end\r\n\r\n.\r\n";
    }
    EXPECT_TRUE(seen) << block;
}

TEST_F(Send, EmptyTextHasTheEndMarkBehindTheEmptyLine)
{
    session(good_mail);
    ASSERT_TRUE(make_link());
    EXPECT_EQ(MsgSendV3(link, nullptr, "bob@b.example", nullptr, 0, 0, 0), MSG_SUCCESS);
    EXPECT_EQ(ids(), lines{"sales0@link.example"}); // a count of 0 draws no serial
    EXPECT_TRUE(server.collected().at(0).ends_with(".example>\r\n\r\n\r\n.\r\n"));
    EXPECT_EQ(profile.writes(), std::vector<ProfileAccess>());
}

TEST_F(Send, NothingIsSaidBetweenTwoMessagesAndEveryAttemptHasAnIdOfItsOwn)
{
    profile.set("oob_serial", "41");
    session(good_mail + good_mail + envelope + rows_of{collect_data(), say("451 later")} + rset + good_mail);
    ASSERT_TRUE(make_link());
    EXPECT_EQ(send("a", OUT_OF_BAND_COUNT), MSG_SUCCESS);
    EXPECT_EQ(profile.get("oob_serial"), "42");
    EXPECT_EQ(send("b", 0xFFFFFFFE), MSG_SUCCESS);
    EXPECT_EQ(send("c", OUT_OF_BAND_COUNT), MSG_SUCCESS);
    EXPECT_EQ(profile.get("oob_serial"), "44");
    EXPECT_EQ(ids(), (lines{"saleso41@link.example", "sales4294967294@link.example", "saleso42@link.example",
                            "saleso43@link.example"}));
}

TEST_F(Send, IdHoldsTheLocalPartUpToTheFirstAt)
{
    const struct {
        const char * address;
        const char * id;
    } rows[] = {{"a@b@c", "a7@link.example"}, {"@c", "7@link.example"}, {"nobody", "nobody7@link.example"}};
    lines expected;
    for (const auto & row : rows) {
        session(any_mail);
        ASSERT_TRUE(make_link(row.address));
        EXPECT_EQ(send(), MSG_SUCCESS);
        end_link();
        expected.emplace_back(row.id);
    }
    EXPECT_EQ(ids(), expected);
}

// --- What doesn't fit

TEST_F(Send, HeaderBlockThatDoesNotFitByOneByteLosesAPieceAndIsReported)
{
    // 105 bytes are fixed; "sales@..." counts with its local part, and link.example and the digit count too.
    const size_t rest = 511 - 105 - std::string("sales@a.example").size() - std::string("sales").size() -
                        std::string("link.example").size() - 1;
    session(any_mail + any_mail);
    ASSERT_TRUE(make_link());
    EXPECT_EQ(send("hello", 7, std::string(rest, 'r')), MSG_SUCCESS);
    EXPECT_EQ(take_lines(), lines());
    EXPECT_EQ(send("hello", 7, std::string(rest + 1, 'r')), MSG_SUCCESS);
    EXPECT_EQ(take_lines(), lines{"Line is too long to send"});
    end_link();
    ASSERT_TRUE(server.verdict());
    const lines collected = server.collected(); // for each mail its envelope and itself
    EXPECT_EQ(collected.at(1), "RCPT TO:<" + std::string(rest, 'r') + ">");
    EXPECT_TRUE(collected.at(2).ends_with("7@link.example>\r\n\r\nhello\r\n\r\n.\r\n")) << collected.at(2);
    EXPECT_TRUE(collected.at(5).ends_with("7@link.example>\r\nhello\r\n\r\n.\r\n")) << collected.at(5);
}

TEST_F(Send, CommandWithoutRoomForItsLineEndIsNotSent)
{
    rows_of rows;
    for (int attempt = 0; attempt < 5; ++attempt)
        rows = rows + mail_from + rset;
    session(rows);
    ASSERT_TRUE(make_link());
    // 511 characters fit in the buffer, the line end behind 510 doesn't.
    EXPECT_EQ(send("hello", 7, std::string(510 - 10, 'r')), MSG_FAILURE);
    EXPECT_EQ(take_lines(), lines(5, "Line is too long to send"));
}

TEST_F(Send, AddressOfTheLinkIsCutTo256Characters)
{
    const std::string cut = "s@" + std::string(254, 'x');
    session(any_mail);
    ASSERT_TRUE(make_link((cut + "yz").c_str()));
    EXPECT_EQ(send(), MSG_SUCCESS);
    end_link();
    ASSERT_TRUE(server.verdict());
    EXPECT_EQ(server.collected().at(0), "MAIL FROM:<" + cut + ">");
}

// --- Attempts

TEST_F(Send, EachRefusalIsFollowedByResetAndFiveOfThemAreAFailure)
{
    const rows_of refusals[] = {
        {hear("MAIL FROM:<sales@a.example>"), say("550 no")},
        mail_from + rows_of{hear("RCPT TO:<bob@b.example>"), say("550-no"), say("250 and no")},
        mail_from + rcpt_to + rows_of{hear("DATA"), say("451 no")},
        envelope + rows_of{collect_data(), say("552 no")},
    };
    rows_of rows;
    for (const rows_of & refused : refusals) {
        for (int attempt = 0; attempt < 5; ++attempt)
            rows = rows + refused + rset;
        rows = rows + good_mail;
    }
    session(rows);
    ASSERT_TRUE(make_link());
    for (size_t i = 0; i < std::size(refusals); ++i) {
        EXPECT_EQ(send(), MSG_FAILURE) << i;
        EXPECT_EQ(send(), MSG_SUCCESS) << i << ": the session is ready for the next message";
    }
    EXPECT_EQ(take_lines(), lines());
}

TEST_F(Send, RefusedResetAndLostConnectionsLeadToANewSession)
{
    const rows_of first_sessions[] = {
        {hear("MAIL FROM:<sales@a.example>"), say("421 tired"), hear("RSET"), say("421 tired"), hear("QUIT"),
         say("221 bye")},
        {hear("MAIL FROM:<sales@a.example>"), hang_up()},
    };
    for (const rows_of & first : first_sessions) {
        server.expect(Port::Smtp, smtp_opening() + first);
        session(good_mail);
        ASSERT_TRUE(make_link());
        EXPECT_EQ(send(), MSG_SUCCESS);
        EXPECT_EQ(take_lines(), lines());
        end_link();
    }
}

TEST_F(Send, SessionThatCannotBeOpenedAgainEndsTheSendAtOnce)
{
    server.expect(Port::Smtp, smtp_opening() + rows_of{hear("MAIL FROM:<sales@a.example>"), hang_up()});
    for (int attempt = 0; attempt < 5; ++attempt)
        server.expect(Port::Smtp, rows_of{say("554 not now")} + smtp_quit());
    ASSERT_TRUE(make_link());
    EXPECT_EQ(send(), MSG_FAILURE);
    EXPECT_EQ(link->smtp, nullptr);
    // The next send opens a session before its first attempt.
    session(good_mail);
    EXPECT_EQ(send(), MSG_SUCCESS);
}

int good_sends = 0; // before one that a signal interrupts

TEST_F(Send, MailSentInPartIsNeverFollowedByAReset)
{
    server.expect(Port::Smtp, smtp_opening() + envelope); // and then the end
    session(good_mail);
    ASSERT_TRUE(make_link());
    good_sends = 3; // envelope
    link->sock_info->sock_func.send = [](int handle, const void * buf, size_t len, int flags) {
        errno = EINTR;
        return good_sends-- == 0 ? -1 : ::send(handle, buf, len, flags);
    };
    EXPECT_EQ(send(), MSG_SUCCESS);
    EXPECT_EQ(take_lines(), lines{"Error: interrupted system call."});
}

TEST_F(Send, AttemptWithoutAnOpenSessionSaysNothing)
{
    server.expect(Port::Smtp, smtp_opening());
    ASSERT_TRUE(make_link());
    SocketClose(link->smtp);
    EXPECT_EQ(SMTPMessageWrite(link, "bob@b.example", "x", 1, 7).AttemptAction(0), COM_RETRY);
    SocketString(link->smtp, "NOOP");
    EXPECT_FALSE(smtp_command(link));
    SocketFini(link->smtp);
    link->smtp = nullptr;
    EXPECT_EQ(SMTPMessageWrite(link, "bob@b.example", "x", 1, 7).AttemptAction(0), COM_RETRY);
    profile.set("smtp_host", "");
    EXPECT_EQ(send(), MSG_FAILURE);
    EXPECT_EQ(SMTPMessageWrite(link, "bob@b.example", "x", 1, 7).ReInit(), MSG_FAILURE);
    EXPECT_EQ(take_lines(), lines());
}

TEST_F(Send, InboxSessionEndsFirstAndTheTraceShowsTheEnvelopeButNothingOfTheMail)
{
    profile.set("send_only", "no");
    profile.set("receive_only", "yes");
    profile.set("Debug", "yes");
    server.expect(Port::Pop3, pop_opening() + pop_quit());
    session(good_mail);
    ASSERT_TRUE(make_link());
    (void)take_lines();
    EXPECT_EQ(send("secret text"), MSG_SUCCESS);
    EXPECT_EQ(link->pop, nullptr);
    EXPECT_EQ(take_lines(),
              (lines{"QUIT", "+OK bye", "closesocket", "socket", "connect SMTP", "port smtp", "220 ready",
                     "HELO link.example", "250 hi", "MAIL FROM:<sales@a.example>", "250 ok",
                     "RCPT TO:<bob@b.example>", "250 ok", "DATA", "354 go", "250 kept"}));
}

} // namespace
