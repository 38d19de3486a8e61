// No single fault loses a mail: the connection is ended at every byte of whole conversations, in both
// directions, and replies are interrupted, overlong or torn. What is in the mailbox, and what the host was
// told and given, must agree afterwards.
#include <gtest/gtest.h>

#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "support/mail_stage.h"
#include "support/sanitized.h"

namespace {

using namespace mailserver;
using support::PATIENCE;

constexpr uint64_t STEP = support::SANITIZED ? 7 : 1; // bytes from one fault to the next

// The ways in which a connection ends at a byte.
struct Cut {
    const char * name;
    Direction direction;
    Edge edge;
    bool reset = false;
};

void PrintTo(const Cut & cut, std::ostream * out)
{
    *out << cut.name;
}

constexpr Cut cuts[] = {
    {"BeforeByteOfClient", Direction::FromClient, Edge::BeforeByte},
    {"AfterByteOfClient", Direction::FromClient, Edge::AfterByte},
    {"BeforeByteOfServer", Direction::FromServer, Edge::BeforeByte},
    {"AfterByteOfServer", Direction::FromServer, Edge::AfterByte},
    {"ResetAtByteOfClient", Direction::FromClient, Edge::BeforeByte, true},
    {"ResetAtByteOfServer", Direction::FromServer, Edge::AfterByte, true},
};

bool holds_text(const std::vector<std::string> & mails, const std::string & text)
{
    return std::any_of(mails.begin(), mails.end(),
                       [&](const std::string & mail) { return mail.ends_with("\r\n\r\n" + text + "\r\n"); });
}

// The system's connect, without its wait for more to send: the server delays its acknowledgements by 40 ms,
// which a link in use spends once for a mail, and these tests some ten thousand times.
int connect_without_delay(int handle, const sockaddr * address, socklen_t length)
{
    const int on = 1;
    (void)setsockopt(handle, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on)); // without it the tests are slow
    return connect(handle, address, length);
}

class HangUp : public testing::TestWithParam<Cut>, public support::MailStage {
protected:
    HangUp() { profile.set("receive_only", "yes"); }

    void script(FaultScript faults)
    {
        ASSERT_TRUE(server.wait_idle(PATIENCE)) << "a session never ends";
        server.set_faults(std::move(faults));
    }

    // A whole run of a host without a fault, then one with a fault at each byte of the protocol in turn.
    void at_every_byte(Protocol protocol, const std::function<void()> & run)
    {
        const Cut cut = GetParam();
        script({});
        run();
        ASSERT_TRUE(server.wait_idle(PATIENCE));
        const Counters counters = server.counters(protocol);
        const uint64_t last =
            cut.direction == Direction::FromClient ? counters.from_client : counters.from_server;
        ASSERT_GT(last, 200U);
        for (uint64_t byte = 1; byte <= last; byte += STEP) {
            SCOPED_TRACE("byte " + std::to_string(byte));
            script({.bytes = {{.protocol = protocol,
                               .direction = cut.direction,
                               .byte = byte,
                               .edge = cut.edge,
                               .reset = cut.reset}}});
            run();
            ASSERT_EQ(server.fault_hits(), 1U);
            ASSERT_FALSE(HasFailure());
        }
    }

    HLINK make_link()
    {
        HLINK link = MailStage::make_link();
        if (link != nullptr) {
            table_of(link)._connect = connect_without_delay;
        }
        return link;
    }

    static a_sock_func & table_of(HLINK link)
    {
        return static_cast<a_smtp_link_info *>(link)->sock_info->sock_func;
    }

    static MSGRET send(HLINK link, const std::string & text)
    {
        return MsgSendV3(link, nullptr, "bob@there", text.data(), static_cast<uint32>(text.size()), 1, 0);
    }
};

INSTANTIATE_TEST_SUITE_P(Cuts, HangUp, testing::ValuesIn(cuts),
                         [](const testing::TestParamInfo<Cut> & info) { return info.param.name; });

TEST_P(HangUp, NoMailIsLostAtAnyByteOfASend)
{
    unsigned runs = 10000; // the text differs from run to run, its length doesn't
    at_every_byte(Protocol::Smtp, [&] {
        const std::string first = "text " + std::to_string(++runs) + "\r\n";
        HLINK link = make_link();
        ASSERT_NE(link, nullptr);
        EXPECT_EQ(send(link, first + ".second line\r\n"), MSG_SUCCESS)
            << "one fault is made up for by the next attempt";
        EXPECT_TRUE(holds_text(store->mails("bob"), first + " .second line\r\n")) << "told as sent, and lost";
        MsgFiniLink(link);
    });
}

// --- Receiving

struct KnownMail {
    std::string headers;
    std::string text; // between the empty line and the last line end
    bool of_link;
};

const KnownMail known_mails[] = {
    {"Subject: -Orv-Relays-\r\nMessage-ID: <a@h>\r\n", "first\r\n .period\r\n", true},
    {"Subject: lunch\r\nMessage-ID: <b@h>\r\n", "at noon\r\n", false},
    {"Subject: -Orv-Relays-\r\nMessage-ID: <c@h>\r\n", "second\r\n", true},
    {"Subject: -Orv-Relays-\r\n", "third, known by the server's id\r\n", true},
};

class ReceiveHangUp : public HangUp {
protected:
    void fill_mailbox()
    {
        ASSERT_TRUE(server.wait_idle(PATIENCE));
        auto mailbox = store->open("bob", PATIENCE);
        ASSERT_NE(mailbox, nullptr);
        mailbox->remove(std::vector<bool>(mailbox->count(), true));
        for (const KnownMail & mail : known_mails) {
            store->put("bob", mail.headers + "\r\n" + mail.text + "\r\n", "id " + mail.text.substr(0, 3));
        }
    }

    // A host that stores a text before it deletes the message, and stops when there is none. A message may
    // come twice, as a deletion is undone by a lost QUIT.
    void receive_all(HLINK link)
    {
        HMSG msg = nullptr;
        MSGRET ret = MSG_SUCCESS;
        for (int i = 0; (ret = MsgReceive(link, &msg)) == MSG_SUCCESS; ++i) {
            ASSERT_LT(i, 20) << "messages come again and again";
            _stored.insert(content(link, msg, &ret).value_or("not read"));
            EXPECT_EQ(MsgDelete(link, msg), MSG_SUCCESS);
        }
        EXPECT_EQ(ret, MSG_NO_MESSAGE);
    }

    void expect_nothing_lost()
    {
        const std::vector<std::string> left = store->mails("bob");
        for (const KnownMail & mail : known_mails) {
            const bool handed_over = _stored.erase("\r\n" + mail.text) != 0;
            EXPECT_TRUE(handed_over || holds_text(left, mail.text)) << mail.text << " is lost";
            EXPECT_EQ(handed_over, mail.of_link) << mail.text;
            EXPECT_TRUE(mail.of_link || holds_text(left, mail.text)) << "somebody else's mail is gone";
        }
        EXPECT_EQ(_stored, std::set<std::string>()) << "handed over, but no whole text";
    }

    std::set<std::string> _stored;
};

INSTANTIATE_TEST_SUITE_P(Cuts, ReceiveHangUp, testing::ValuesIn(cuts),
                         [](const testing::TestParamInfo<Cut> & info) { return info.param.name; });

TEST_P(ReceiveHangUp, NoMailIsLostAtAnyByteOfScanReadDeleteAndQuit)
{
    size_t left = 0; // by the first run, which has no fault
    at_every_byte(Protocol::Pop3, [&] {
        fill_mailbox();
        _stored.clear();
        HLINK link = make_link();
        ASSERT_NE(link, nullptr);
        receive_all(link);
        MsgFiniLink(link);
        ASSERT_TRUE(server.wait_idle(PATIENCE));
        expect_nothing_lost();
        left = left == 0 ? store->mails("bob").size() : left;
    });
    EXPECT_EQ(left, 1U);
}

// --- Replies out of step

// No mail is ever taken: whatever tells otherwise has taken a reply for that of another command.
const CommandFault refuse_every_mail = {
    .protocol = Protocol::Smtp, .verb = end_of_data_verb, .reply = "554 no\r\n"};

// Every command of a sending session, the greeting included, up to the end of the mail.
constexpr unsigned COMMANDS_OF_A_SEND = 7;

class OutOfStep : public HangUp {};

TEST_F(OutOfStep, OverlongReplyIsNotReadOnByTheNextCommand)
{
    const std::string overlong = std::string(600, '2') + "\r\n250 OK\r\n250 OK\r\n";
    for (unsigned command = 0; command <= COMMANDS_OF_A_SEND; ++command) {
        SCOPED_TRACE("command " + std::to_string(command));
        script({.commands = {{.protocol = Protocol::Smtp,
                              .connection = 1,
                              .command = command,
                              .reply = overlong,
                              .carry_out = command != COMMANDS_OF_A_SEND},
                             refuse_every_mail}});
        HLINK link = make_link();
        ASSERT_NE(link, nullptr);
        EXPECT_EQ(send(link, "never taken\r\n"), MSG_FAILURE);
        MsgFiniLink(link);
        EXPECT_TRUE(store->mails("bob").empty());
        EXPECT_GT(server.fault_hits(), 4U);
    }
}

// Lets the link's n-th call of the operating system on its sockets fail by a signal.
int calls_until_signal = 0;

bool interrupted()
{
    errno = EINTR;
    return --calls_until_signal == 0;
}

ssize_t recv_with_signal(int handle, void * buf, size_t len, int flags)
{
    return interrupted() ? -1 : recv(handle, buf, len, flags);
}

ssize_t send_with_signal(int handle, const void * text, size_t len, int flags)
{
    return interrupted() ? -1 : ::send(handle, text, len, flags);
}

TEST_F(OutOfStep, SignalAtAnyCallNeitherLosesASendNorTakesAReplyForTheNextOne)
{
    for (const bool refused : {false, true}) {
        int n = 1;
        for (calls_until_signal = 0; calls_until_signal <= 0; ++n) {
            SCOPED_TRACE("call " + std::to_string(n) + (refused ? ", every mail is refused" : ""));
            ASSERT_LT(n, 300);
            const std::string first = "text " + std::to_string(n) + "\r\n";
            script(refused ? FaultScript{.commands = {refuse_every_mail}} : FaultScript{});
            const size_t before = store->mails("bob").size();
            HLINK link = make_link();
            ASSERT_NE(link, nullptr);
            table_of(link).recv = recv_with_signal;
            table_of(link).send = send_with_signal;
            calls_until_signal = n;
            EXPECT_EQ(send(link, first + ".\r\n" + std::string(600, 'x')),
                      refused ? MSG_FAILURE : MSG_SUCCESS);
            MsgFiniLink(link);
            EXPECT_EQ(store->mails("bob").size() > before, !refused);
            EXPECT_TRUE(refused ||
                        holds_text(store->mails("bob"), first + " .\r\n" + std::string(600, 'x') + "\r\n"));
        }
        EXPECT_GT(n, refused ? 40 : 8) << "it takes more calls";
    }
}

TEST_F(OutOfStep, RepliesTornIntoSingleBytesAreReadWhole)
{
    script({.commands = {{.piece = 1}}});
    HLINK link = make_link();
    ASSERT_NE(link, nullptr);
    EXPECT_EQ(send(link, "torn\r\n"), MSG_SUCCESS);
    HMSG msg = nullptr;
    MSGRET ret = MSG_FAILURE;
    ASSERT_EQ(MsgReceive(link, &msg), MSG_SUCCESS);
    EXPECT_EQ(content(link, msg, &ret), "\r\ntorn\r\n");
    EXPECT_EQ(MsgDelete(link, msg), MSG_SUCCESS);
    MsgFiniLink(link);
    ASSERT_TRUE(server.wait_idle(PATIENCE));
    EXPECT_TRUE(store->mails("bob").empty());
}

} // namespace
