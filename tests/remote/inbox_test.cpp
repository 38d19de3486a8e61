// Whole conversations of looking into a mailbox, reading and deleting, and servers that answer them badly.
#include "remote/orvsmtp_inbox.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "support/link_fixture.h"

namespace {

using namespace support;
using lines = std::vector<std::string>;
using rows = std::vector<Row>;

constexpr size_t BODY_LIMIT = 61440; // the mail's body with a line end in front and its end mark

const std::string marker = "Subject: -Orv-Relays-\r\n";

std::string headers_of(const std::string & id)
{
    return marker + "Message-ID: " + id + "\r\n";
}

rows stat(const std::string & reply)
{
    return {hear("STAT"), say(reply)};
}

rows top(unsigned num, const std::string & headers)
{
    return {hear("TOP " + std::to_string(num) + " 0"), say_bytes("+OK\r\n" + headers + "\r\n.\r\n")};
}

rows retr(unsigned num, const std::string & mail)
{
    return {hear("RETR " + std::to_string(num)), say_bytes("+OK\r\n" + mail + ".\r\n")};
}

rows dele(unsigned num)
{
    return {hear("DELE " + std::to_string(num)), say("+OK")};
}

// A link that only receives, whose first session ends with the first look into the mailbox.
class Inbox : public LinkFixture {
protected:
    Inbox() { profile.set("receive_only", "yes"); }

    void SetUp() override { session({}); }

    // The next session, logged in before and ended with QUIT behind the rows.
    void session(const rows & inner) { server.expect(Port::Pop3, pop_opening() + inner + pop_quit()); }

    // The id of the next message, or the result in brackets.
    std::string receive(HMSG * msg = nullptr)
    {
        HMSG received = nullptr;
        const MSGRET ret = MsgReceive(link, &received);
        if (msg != nullptr) {
            *msg = received;
        }
        if (ret == MSG_SUCCESS) {
            return static_cast<SMTPLinkMessage *>(received)->GetValue();
        }
        EXPECT_EQ(received, nullptr) << "written without a message";
        return "(" + std::to_string(ret) + ")";
    }

    std::string content(HMSG msg)
    {
        char * txt = nullptr;
        uint32 len = 0;
        const MSGRET ret = MsgContent(link, msg, &txt, &len);
        EXPECT_EQ(txt, link->body);
        EXPECT_EQ(len, link->body_len);
        EXPECT_EQ(ret != MSG_SUCCESS || txt[len] == '\0', true);
        return ret == MSG_SUCCESS ? std::string(txt, len) : "(" + std::to_string(ret) + ")";
    }

    // A scan that fails in each of its five attempts; the last reconnection stays.
    void expect_failing_scan(const rows & inner)
    {
        for (int attempt = 0; attempt < 5; ++attempt) {
            session(inner);
        }
        session({});
        ASSERT_TRUE(make_link());
        EXPECT_EQ(receive(), "(1)");
    }
};

const std::string no_message = "(3)";

// --- The look into the mailbox

TEST_F(Inbox, CompleteReceiveKeepsToTheWireAndIsTraced)
{
    profile.set("Debug", "yes");
    const Dialogue look = {"< STAT", "> +OK 1 120", "< TOP 1 0", "> +OK headers"};
    const Dialogue read = {"< RETR 1", "> +OK whole"};
    const Dialogue remove = {"< DELE 1", "> +OK gone"};
    const std::string headers = headers_of("<a@h>") + "\r\n";
    session(look.rows + rows{say_bytes(headers + ".\r\n")} + read.rows +
            rows{say_bytes(headers + "text\r\n\r\n.\r\n")} + remove.rows);
    ASSERT_TRUE(make_link());
    (void)take_lines();
    HMSG msg = nullptr;
    EXPECT_EQ(receive(&msg), "<a@h>");
    lines traced = take_lines();
    ASSERT_GT(traced.size(), look.traced.size());
    EXPECT_EQ(lines(traced.end() - static_cast<std::ptrdiff_t>(look.traced.size()), traced.end()),
              look.traced)
        << "header lines aren't traced";
    EXPECT_EQ(lines(traced.begin(), traced.begin() + 2), (lines{"QUIT", "+OK bye"}));
    EXPECT_EQ(content(msg), "\r\ntext\r\n");
    EXPECT_EQ(take_lines(), read.traced);
    EXPECT_EQ(MsgDelete(link, msg), MSG_SUCCESS);
    EXPECT_EQ(take_lines(), remove.traced);
}

TEST_F(Inbox, EmptyMailboxAndMailOfOthersGiveNoMessage)
{
    session(stat("+OK 0 0"));
    // A server sends no empty line for a mail that has none, having no body.
    const rows bare = {hear("TOP 1 0"), say_bytes("+OK\r\nSubject: lunch\r\nMessage-ID: <x@h>\r\n.\r\n")};
    session(stat("+OK 2 500") + bare + top(2, "From: me\r\n"));
    ASSERT_TRUE(make_link());
    EXPECT_EQ(receive(), no_message);
    EXPECT_EQ(receive(), no_message);
    EXPECT_EQ(take_lines(), lines());
}

TEST_F(Inbox, OneLookFeedsAllMessagesInTheOrderOfTheirIds)
{
    session(stat("+OK 4 500") + top(1, headers_of("<b9@h>")) + top(2, headers_of("<C@h>")) +
            top(3, "Subject: Re: -Orv-Relays-\r\nMessage-ID: <a@h>\r\n") + top(4, headers_of("<b10@h>")));
    session(stat("+OK 0 0"));
    ASSERT_TRUE(make_link());
    for (const char * id : {"<b10@h>", "<b9@h>", "<C@h>"}) {
        EXPECT_EQ(receive(), id);
    }
    EXPECT_EQ(receive(), no_message);
}

TEST_F(Inbox, MailWithoutMessageIdIsKnownByTheServersIdAndTheNextByItsOwn)
{
    const std::string long_id(200, 'u');
    session(stat("+OK 3 500") + top(1, marker) + rows{hear("UIDL 1"), say("+OK 1 uid1 more")} +
            top(2, headers_of("<own@h>")) +
            // A folded id has its value on a line of its own.
            top(3, marker + "Message-ID:\r\n <folded@h>\r\n") +
            rows{hear("UIDL 3"), say("+OK 3  " + long_id)});
    ASSERT_TRUE(make_link());
    EXPECT_EQ(receive(), "<own@h>");
    EXPECT_EQ(receive(), "uid1");
    EXPECT_EQ(receive(), long_id.substr(0, 160));
}

TEST_F(Inbox, HeldMessageGetsItsNewNumberAndIsNotDeliveredAgain)
{
    session(stat("+OK 2 500") + top(1, "Subject: x\r\n") + top(2, headers_of("<a@h>")));
    // Another case of letters is the same id, and of two mails with it the later number wins.
    session(stat("+OK 3 500") + top(1, headers_of("<A@H>")) + top(2, headers_of("<b@h>")) +
            top(3, headers_of("<a@h>")) + dele(3));
    ASSERT_TRUE(make_link());
    HMSG first = nullptr;
    EXPECT_EQ(receive(&first), "<a@h>");
    EXPECT_EQ(receive(), "<b@h>");
    EXPECT_EQ(MsgDelete(link, first), MSG_SUCCESS);
}

TEST_F(Inbox, OfTwoMailsWithOneIdExactlyTheDeletedOneGoes)
{
    for (const unsigned gone : {2U, 1U}) { // the later number is delivered first
        const unsigned kept = 3 - gone;
        session(stat("+OK 2 500") + top(1, headers_of("<a@h>")) + top(2, headers_of("<a@h>")) + dele(gone) +
                retr(kept, marker + "\r\nkept\r\n\r\n") + dele(kept));
        ASSERT_TRUE(make_link());
        HMSG msgs[3] = {}; // by number
        EXPECT_EQ(receive(&msgs[2]), "<a@h>");
        EXPECT_EQ(receive(&msgs[1]), "<a@h>");
        EXPECT_EQ(MsgDelete(link, msgs[gone]), MSG_SUCCESS);
        EXPECT_EQ(content(msgs[kept]), "\r\nkept\r\n");
        EXPECT_EQ(MsgDelete(link, msgs[kept]), MSG_SUCCESS);
        end_link();
        if (gone == 2) {
            session({}); // of the next link
        }
    }
}

TEST_F(Inbox, MessagesThatTheHostHasNotTakenAreFoundAnew)
{
    session(stat("+OK 2 500") + top(1, headers_of("<a@h>")) + top(2, headers_of("<b@h>")) +
            rows{hear("RETR 1"), hang_up()});
    // The new session finds <b@h> under another number, and <a@h> too, for the second attempt.
    server.expect(Port::Pop3, pop_opening() + stat("+OK 2 500") + top(1, headers_of("<b@h>")) +
                                  top(2, headers_of("<a@h>")) + retr(2, marker + "\r\nA\r\n") +
                                  retr(1, marker + "\r\nB\r\n") + pop_quit());
    ASSERT_TRUE(make_link());
    HMSG a = nullptr;
    HMSG b = nullptr;
    EXPECT_EQ(receive(&a), "<a@h>");
    EXPECT_EQ(content(a), "\r\nA");
    EXPECT_EQ(receive(&b), "<b@h>");
    EXPECT_EQ(content(b), "\r\nB");
}

TEST_F(Inbox, DeletionOfAVanishedMailSendsNoCommand)
{
    session(stat("+OK 1 500") + top(1, headers_of("<a@h>")));
    session(stat("+OK 0 0"));
    ASSERT_TRUE(make_link());
    HMSG msg = nullptr;
    EXPECT_EQ(receive(&msg), "<a@h>");
    EXPECT_EQ(receive(), no_message);
    EXPECT_FALSE(msg->Exists());
    EXPECT_EQ(MsgDelete(link, msg), MSG_SUCCESS);
}

TEST_F(Inbox, RefusedDeletionKeepsTheMessageForTheHost)
{
    const rows look = stat("+OK 1 500") + top(1, headers_of("<a@h>"));
    for (int attempt = 0; attempt < 5; ++attempt) {
        session(look + rows{hear("DELE 1"), say("-ERR locked")});
    }
    session(look + retr(1, marker + "\r\nstill here\r\n"));
    ASSERT_TRUE(make_link());
    HMSG msg = nullptr;
    EXPECT_EQ(receive(&msg), "<a@h>");
    EXPECT_EQ(MsgDelete(link, msg), MSG_FAILURE);
    EXPECT_EQ(content(msg), "\r\nstill here");
}

// --- Headers

struct HeaderRow {
    const char * line;
    bool ours;
    const char * id;
    bool encoded;
};

TEST(MailHeader, LineCountsByItsNameAndFirstWord)
{
    bool was_ours = false; // what an earlier line has said holds until the next Subject
    const HeaderRow table[] = {
        {"Subject: -Orv-Relays-", true, "", false},
        {"SUBJECT:-Orv-Relays-behind", true, "", false},
        {"  subject\t:\t -Orv-Relays- and more", true, "", false},
        {"Subject line: -Orv-Relays-", true, "", false}, // the first word of the name
        {"Subject: Re: -Orv-Relays-", false, "", false},
        {"Subject: -orv-relays-", false, "", false},
        {"Subject", false, "", false},
        {":-Orv-Relays-", false, "", false},
        {" -Orv-Relays-", false, "", false}, // folded
        {"message-id: <a b@h>", false, "<a", false},
        {"Message-ID:<a:b@h>", false, "<a:b@h>", false},
        {"Message-ID: \t ", false, "", false},
        {"content-transfer-encoding: QUOTED-printable", false, "", true},
        {"Content-Transfer-Encoding: quoted-printable;", false, "", false},
    };
    for (const HeaderRow & row : table) {
        // A block of the exact size, so that a sanitizer sees a byte read behind it.
        const size_t size = std::strlen(row.line) + 1;
        const auto line = std::make_unique<char[]>(size);
        std::memcpy(line.get(), row.line, size);
        char id[MESSAGE_ID_SIZE] = "";
        a_mail_header header{id, was_ours ? FALSE : TRUE, false};
        read_header_line(&header, line.get());
        EXPECT_EQ(header.ignore_me == FALSE, row.ours) << row.line;
        was_ours = row.ours;
        EXPECT_STREQ(id, row.id) << row.line;
        EXPECT_EQ(header.quoted_printable_encoding, row.encoded) << row.line;
    }
}

// --- The body

// Reads one mail as RETR gives it.
class Body : public Inbox {
protected:
    // What the host gets; `reply` is all that the server says to RETR.
    std::string text_of(const Row & reply)
    {
        session(stat("+OK 1 9") + top(1, headers_of("<a@h>")) + rows{hear("RETR 1"), reply});
        EXPECT_TRUE(make_link());
        HMSG msg = nullptr;
        EXPECT_EQ(receive(&msg), "<a@h>");
        std::string text = content(msg);
        end_link();
        return text;
    }
};

TEST_F(Body, EndsAtItsMarkAndNowhereElse)
{
    const std::string longest(BODY_LIMIT - 2 - 5, 'b');
    const struct {
        std::string body; // with its mark
        std::string text;
        size_t piece = 0;
    } rows[] = {
        {".\r\n", ""}, // the same mark
        // Nothing is unstuffed, and a line end alone ends nothing.
        {".\r.\n\r\n..\r\nend\r\n.\r\n", "\r\n.\r.\n\r\n..\r\nend", 1},
        {longest + "\r\n.\r\n", "\r\n" + longest},
    };
    for (const auto & row : rows) {
        EXPECT_EQ(text_of(say_bytes("+OK\r\nX: y\r\n\r\n" + row.body, row.piece)), row.text);
        EXPECT_EQ(take_lines(), lines());
        session({}); // of the next link
    }
    EXPECT_TRUE(make_link());
}

TEST_F(Body, OneByteMoreIsReportedAndNeverRead)
{
    const std::string body(BODY_LIMIT - 2 - 5 + 1, 'b');
    const rows look = stat("+OK 1 9") + top(1, headers_of("<a@h>"));
    for (int attempt = 0; attempt < 5; ++attempt) {
        session(look + rows{hear("RETR 1"), say_bytes("+OK\r\nX: y\r\n\r\n" + body + "\r\n.\r\n")});
    }
    session(look + dele(1));
    ASSERT_TRUE(make_link());
    HMSG msg = nullptr;
    EXPECT_EQ(receive(&msg), "<a@h>");
    EXPECT_EQ(content(msg), "(1)");
    EXPECT_EQ(take_lines(), lines(5, "Message body is too long, buffer overflow"));
    EXPECT_EQ(MsgDelete(link, msg), MSG_SUCCESS);
}

TEST_F(Body, EncodedMailIsDecodedWhenReadAlsoAfterALookWithoutTop)
{
    profile.set("TOP_supported", "no");
    profile.set("Debug", "yes");
    const std::string mail =
        headers_of("<a@h>") + "Content-Transfer-Encoding: quoted-printable\r\n\r\n=41b=\r\nc\r\n";
    session(stat("+OK 1 9") + retr(1, mail) + retr(1, mail));
    ASSERT_TRUE(make_link());
    HMSG msg = nullptr;
    EXPECT_EQ(receive(&msg), "<a@h>");
    (void)take_lines();
    EXPECT_EQ(content(msg), "\r\nAb\r\nc");
    EXPECT_EQ(take_lines(), (lines{"RETR 1", "+OK", "quotable_printable encoded msg found."}));
}

TEST(QuotedPrintable, OnlyWholeEscapesAreDecoded)
{
    using namespace std::string_literals;
    const struct {
        std::string text;
        std::string decoded;
    } table[] = {
        {"=41=4a=4A", "AJJ"},
        {"a=\r\nb", "a\r\nb"},
        {"=g4", "g4"},
        {"a=4", "a4"},
        {"=4=41", "4A"},
        {"=00=ff=FF", "\0\xff\xff"s},
        {"=3D=41", "=A"}, // what came out isn't looked at again
        {"=41==", "=41=="},
        {"=41\0=="s, "A\0"s}, // the look for "==" ends at the first zero byte
        {"=/0=:0=@0=`0=0G", "/0:0@0`00G"},
    };
    for (const auto & row : table) {
        const auto text = std::make_unique<char[]>(row.text.size() + 1);
        std::memcpy(text.get(), row.text.c_str(), row.text.size() + 1);
        const unsigned int len =
            decode_quoted_printable(text.get(), static_cast<unsigned int>(row.text.size()));
        EXPECT_EQ(std::string(text.get(), len), row.decoded) << row.text;
        EXPECT_EQ(text[len], '\0') << row.text;
    }
}

// --- Hostile servers

TEST_F(Inbox, RefusedOrSenselessRepliesFailTheLookAndNothingElse)
{
    const std::string full_line = "+OK " + std::string(506, '1'); // 512 bytes with its line end
    const std::vector<rows> table = {
        stat("-ERR no"),
        stat(" +OK 1 1"),
        stat("+OK"),
        stat("+OK 1 1") + rows{hear("TOP 1 0"), say("-ERR what")},
        stat("+OK 1 1") + top(1, marker) + rows{hear("UIDL 1"), say("-ERR what")},
        stat("+OK 1 1") + top(1, marker) + rows{hear("UIDL 1"), say("+OK 1")},
        stat("+OK 4294967295 1") + rows{hear("TOP 1 0"), say("-ERR empty")},
        stat(full_line) + rows{hear("TOP 1 0"), say("-ERR empty")},
    };
    for (const rows & inner : table) {
        expect_failing_scan(inner);
        end_link();
        EXPECT_EQ(take_lines(), lines());
        session({}); // of the next link
    }
    ASSERT_TRUE(make_link());
}

TEST_F(Inbox, OverlongLinesAreReportedOnceForEachAttempt)
{
    const std::string too_long = "X: " + std::string(507, 'x'); // 512 bytes with its line end, one too many
    expect_failing_scan(stat("+OK 1 1") +
                        rows{hear("TOP 1 0"), say_bytes("+OK\r\n" + too_long + "\r\n\r\n.\r\n")});
    EXPECT_EQ(take_lines(), lines(5, "Line is too long, buffer overflow"));
}

TEST_F(Inbox, CountThatIsNoNumberIsNone)
{
    for (const char * reply : {"+OK many", "+OK 0x10 1", "+OK 4294967296 1", "+OK \x01\xff"}) {
        session(stat(reply));
    }
    ASSERT_TRUE(make_link());
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(receive(), no_message);
    }
}

TEST_F(Inbox, OddBytesInHeadersHurtNoOtherLine)
{
    using namespace std::string_literals;
    const std::string odd = "Subject: \0-Orv-Relays-\r\n"s + "Sub\0ject: x\r\n"s + "X: a\rb\nc\r\n" +
                            std::string(509, ' ') + "\r\n" + std::string(400, ':') + "\r\n\t\r\n";
    session(stat("+OK 2 1") + top(1, odd) + top(2, odd + headers_of("<a\rb\nc@h>")));
    ASSERT_TRUE(make_link());
    EXPECT_EQ(receive(), "<a\rb\nc@h>");
    EXPECT_EQ(take_lines(), lines());
}

TEST_F(Inbox, NumbersAndIdsFarTooLongAreCutNotBelieved)
{
    const std::string digits(480, '9');
    const std::string id(470, 'i');
    session(stat("+OK 1 " + digits) + top(1, marker + "Message-ID: " + id + "\r\n"));
    session(stat("+OK 1 1") + top(1, headers_of(id + "other")) + dele(1));
    ASSERT_TRUE(make_link());
    HMSG msg = nullptr;
    EXPECT_EQ(receive(&msg), id.substr(0, 160));
    EXPECT_EQ(receive(), no_message) << "ids are told apart by 160 characters";
    EXPECT_EQ(MsgDelete(link, msg), MSG_SUCCESS);
}

} // namespace
