// No single fault loses a mail: the connection is ended at every byte of whole conversations, in both
// directions, and replies are interrupted, overlong or torn. What is in the mailbox, and what the host was
// told and given, must agree afterwards.
#include <gtest/gtest.h>

#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cerrno>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "mailserver/server.h"
#include "remote/orvsmtp.h"
#include "support/host_profile.h"

namespace {

using namespace mailserver;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr uint64_t STEP = 7; // bytes from one fault to the next; under a sanitizer each run takes longer
#else
constexpr uint64_t STEP = 1;
#endif

constexpr std::chrono::seconds PATIENCE{10};

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

std::string name_of(const testing::TestParamInfo<Cut> & info)
{
    return info.param.name;
}

bool holds_text(const std::vector<std::string> & mails, const std::string & text)
{
    for (const std::string & mail : mails) {
        if (mail.ends_with("\r\n\r\n" + text + "\r\n")) {
            return true;
        }
    }
    return false;
}

// The system's connect, without its wait for more to send: the server delays its acknowledgements by 40 ms,
// which a link in use spends once for a mail, and these tests some ten thousand times.
int connect_without_delay(int handle, const sockaddr * address, socklen_t length)
{
    const int on = 1;
    (void)setsockopt(handle, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on)); // without it the tests are slow
    return connect(handle, address, length);
}

// A mail server with the mailbox of "bob", and links to it.
class HangUp : public testing::TestWithParam<Cut> {
protected:
    HangUp()
    {
        server.start();
        profile.set("smtp_port", std::to_string(server.smtp_port()));
        profile.set("pop3_port", std::to_string(server.pop3_port()));
    }

    static Config config()
    {
        Config config;
        config.users = {{"bob", "secret"}};
        config.cram_challenge = "<1.2@localhost>"; // every run has the same bytes
        config.apop_timestamp = "<3.4@localhost>";
        return config;
    }

    void script(FaultScript faults)
    {
        ASSERT_TRUE(server.wait_idle(PATIENCE)) << "a session never ends";
        server.set_faults(std::move(faults));
    }

    // Where the conversation of the last script ended.
    [[nodiscard]] uint64_t bytes(Protocol protocol, Direction direction)
    {
        EXPECT_TRUE(server.wait_idle(PATIENCE));
        const Counters counters = server.counters(protocol);
        return direction == Direction::FromClient ? counters.from_client : counters.from_server;
    }

    // A link with an open POP3 session.
    HLINK make_link()
    {
        HLINK link =
            MsgInitLinkV3("bob@here", support::CallbackRecorder::callback(), profile.access(), nullptr);
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

    std::shared_ptr<MemoryStore> store = std::make_shared<MemoryStore>();
    Server server{config(), store};
    support::HostProfile profile{{"smtp_host", "127.0.0.1"},  {"pop3_host", "127.0.0.1"},
                                 {"pop3_userid", "bob"},      {"pop3_password", "secret"},
                                 {"local_host", "localhost"}, {"suppress_dialogs", "yes"},
                                 {"receive_only", "yes"}};
    support::CallbackRecorder recorder;
};

// --- Sending

class SendHangUp : public HangUp {
protected:
    // A whole run of a sending host. The text differs from run to run, its length doesn't.
    void send_one()
    {
        const std::string text = "text " + std::to_string(++_runs) + "\r\n.second line\r\n";
        const std::string on_the_wire = "text " + std::to_string(_runs) + "\r\n .second line\r\n";
        HLINK link = make_link();
        ASSERT_NE(link, nullptr);
        EXPECT_EQ(send(link, text), MSG_SUCCESS) << "one fault is made up for by the next attempt";
        EXPECT_TRUE(holds_text(store->mails("bob"), on_the_wire)) << "told as sent, and lost";
        MsgFiniLink(link);
    }

private:
    unsigned _runs = 10000;
};

TEST_P(SendHangUp, NoMailIsLostAtAnyByteOfASend)
{
    const Cut cut = GetParam();
    script({});
    send_one();
    const uint64_t last = bytes(Protocol::Smtp, cut.direction);
    ASSERT_GT(last, 200U);
    for (uint64_t byte = 1; byte <= last; byte += STEP) {
        SCOPED_TRACE("byte " + std::to_string(byte));
        script({.bytes = {{.protocol = Protocol::Smtp,
                           .direction = cut.direction,
                           .byte = byte,
                           .edge = cut.edge,
                           .reset = cut.reset}}});
        send_one();
        ASSERT_EQ(server.fault_hits(), 1U);
        ASSERT_FALSE(HasFailure());
    }
}

INSTANTIATE_TEST_SUITE_P(Cuts, SendHangUp, testing::ValuesIn(cuts), name_of);

// --- Receiving

struct KnownMail {
    const char * unique_id;
    const char * header;
    std::string text; // between the empty line and the last line end
};

const KnownMail known_mails[] = {
    {"one", "Subject: -Orv-Relays-\r\nMessage-ID: <a@h>\r\n", "first\r\n .period\r\n"},
    {"other", "Subject: lunch\r\nMessage-ID: <b@h>\r\n", "at noon\r\n"},
    {"two", "Subject: -Orv-Relays-\r\nMessage-ID: <c@h>\r\n", "second\r\n"},
    {"three", "Subject: -Orv-Relays-\r\n", "third, known by the server's id\r\n"},
};

bool is_of_link(const KnownMail & mail)
{
    return std::string(mail.header).find("-Orv-Relays-") != std::string::npos;
}

class ReceiveHangUp : public HangUp {
protected:
    void fill_mailbox()
    {
        ASSERT_TRUE(server.wait_idle(PATIENCE));
        auto mailbox = store->open("bob", PATIENCE);
        ASSERT_NE(mailbox, nullptr);
        mailbox->remove(std::vector<bool>(mailbox->count(), true));
        for (const KnownMail & mail : known_mails) {
            store->put("bob", mail.header + ("\r\n" + mail.text) + "\r\n", mail.unique_id);
        }
    }

    // A host that stores a text before it deletes the message, and stops when there is none. A message may
    // come twice, as a deletion is undone by a lost QUIT.
    void receive_all(HLINK link)
    {
        for (int i = 0; i < 20; ++i) {
            HMSG msg = nullptr;
            const MSGRET ret = MsgReceive(link, &msg);
            if (ret != MSG_SUCCESS) {
                EXPECT_EQ(ret, MSG_NO_MESSAGE);
                return;
            }
            char * txt = nullptr;
            uint32 len = 0;
            ASSERT_EQ(MsgContent(link, msg, &txt, &len), MSG_SUCCESS);
            _stored.insert(std::string(txt, len));
            EXPECT_EQ(MsgDelete(link, msg), MSG_SUCCESS);
        }
        ADD_FAILURE() << "messages come again and again";
    }

    void expect_nothing_lost()
    {
        const std::vector<std::string> left = store->mails("bob");
        std::set<std::string> known_texts;
        for (const KnownMail & mail : known_mails) {
            const std::string handed_over = "\r\n" + mail.text;
            known_texts.insert(handed_over);
            const bool in_mailbox = holds_text(left, mail.text);
            EXPECT_TRUE(in_mailbox || _stored.contains(handed_over)) << mail.unique_id << " is lost";
            EXPECT_EQ(_stored.contains(handed_over), is_of_link(mail)) << mail.unique_id;
            EXPECT_TRUE(in_mailbox || is_of_link(mail)) << "somebody else's mail is gone";
        }
        for (const std::string & text : _stored) {
            EXPECT_TRUE(known_texts.contains(text)) << "handed over, but no whole text: " << text;
        }
    }

    void receive_run()
    {
        _stored.clear();
        HLINK link = make_link();
        ASSERT_NE(link, nullptr);
        receive_all(link);
        MsgFiniLink(link);
        ASSERT_TRUE(server.wait_idle(PATIENCE));
        expect_nothing_lost();
    }

    std::set<std::string> _stored;
};

TEST_P(ReceiveHangUp, NoMailIsLostAtAnyByteOfScanReadDeleteAndQuit)
{
    const Cut cut = GetParam();
    fill_mailbox();
    script({});
    receive_run();
    ASSERT_EQ(store->mails("bob").size(), 1U);
    const uint64_t last = bytes(Protocol::Pop3, cut.direction);
    ASSERT_GT(last, 200U);
    for (uint64_t byte = 1; byte <= last; byte += STEP) {
        SCOPED_TRACE("byte " + std::to_string(byte));
        fill_mailbox();
        script({.bytes = {{.protocol = Protocol::Pop3,
                           .direction = cut.direction,
                           .byte = byte,
                           .edge = cut.edge,
                           .reset = cut.reset}}});
        receive_run();
        ASSERT_EQ(server.fault_hits(), 1U);
        ASSERT_FALSE(HasFailure());
    }
}

INSTANTIATE_TEST_SUITE_P(Cuts, ReceiveHangUp, testing::ValuesIn(cuts), name_of);

// --- Replies out of step

class OutOfStep : public HangUp {
protected:
    // No mail is ever taken: whatever tells otherwise has taken a reply for that of another command.
    static CommandFault refuse_every_mail()
    {
        return {.protocol = Protocol::Smtp, .verb = end_of_data_verb, .reply = "554 no\r\n"};
    }
};

// Every command of a sending session, the greeting included, up to the end of the mail.
constexpr unsigned COMMANDS_OF_A_SEND = 7;

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
                             refuse_every_mail()}});
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

ssize_t interrupted(ssize_t (*call)())
{
    if (--calls_until_signal == 0) {
        errno = EINTR;
        return -1;
    }
    return call();
}

struct {
    int handle;
    void * buf;
    const void * text;
    size_t len;
    int flags;
} arguments;

ssize_t recv_with_signal(int handle, void * buf, size_t len, int flags)
{
    arguments = {handle, buf, nullptr, len, flags};
    return interrupted([] { return recv(arguments.handle, arguments.buf, arguments.len, arguments.flags); });
}

ssize_t send_with_signal(int handle, const void * text, size_t len, int flags)
{
    arguments = {handle, nullptr, text, len, flags};
    return interrupted(
        [] { return ::send(arguments.handle, arguments.text, arguments.len, arguments.flags); });
}

TEST_F(OutOfStep, InterruptedReplyIsNotTakenForThatOfTheNextCommand)
{
    int n = 1;
    for (calls_until_signal = 0; calls_until_signal <= 0; ++n) {
        SCOPED_TRACE("call " + std::to_string(n));
        ASSERT_LT(n, 300);
        script({.commands = {refuse_every_mail()}});
        HLINK link = make_link();
        ASSERT_NE(link, nullptr);
        table_of(link).recv = recv_with_signal;
        table_of(link).send = send_with_signal;
        calls_until_signal = n;
        EXPECT_EQ(send(link, "never taken\r\n"), MSG_FAILURE);
        EXPECT_TRUE(store->mails("bob").empty());
        MsgFiniLink(link);
    }
    EXPECT_GT(n, 40) << "five attempts take more calls";
}

TEST_F(OutOfStep, SignalAtAnyCallDoesNotLoseASend)
{
    int n = 1;
    for (calls_until_signal = 0; calls_until_signal <= 0; ++n) {
        SCOPED_TRACE("call " + std::to_string(n));
        ASSERT_LT(n, 100);
        const std::string text = "text " + std::to_string(n) + "\r\n.\r\n" + std::string(3000, 'x');
        const std::string on_the_wire = "text " + std::to_string(n) + "\r\n .\r\n";
        script({});
        HLINK link = make_link();
        ASSERT_NE(link, nullptr);
        table_of(link).recv = recv_with_signal;
        table_of(link).send = send_with_signal;
        calls_until_signal = n;
        EXPECT_EQ(send(link, text), MSG_SUCCESS);
        const std::vector<std::string> mails = store->mails("bob");
        ASSERT_FALSE(mails.empty());
        EXPECT_NE(mails.back().find("\r\n\r\n" + on_the_wire), std::string::npos);
        // Whole: 3,000 characters in five lines, and the end mark's line end.
        EXPECT_TRUE(mails.back().ends_with("\r\n" + std::string(600, 'x') + "\r\n\r\n"));
        MsgFiniLink(link);
    }
}

TEST_F(OutOfStep, RepliesTornIntoSingleBytesAreReadWhole)
{
    script({.commands = {{.piece = 1}}});
    HLINK link = make_link();
    ASSERT_NE(link, nullptr);
    EXPECT_EQ(send(link, "torn\r\n"), MSG_SUCCESS);
    HMSG msg = nullptr;
    ASSERT_EQ(MsgReceive(link, &msg), MSG_SUCCESS);
    char * txt = nullptr;
    uint32 len = 0;
    ASSERT_EQ(MsgContent(link, msg, &txt, &len), MSG_SUCCESS);
    EXPECT_EQ(std::string(txt, len), "\r\ntorn\r\n");
    EXPECT_EQ(MsgDelete(link, msg), MSG_SUCCESS);
    MsgFiniLink(link);
    ASSERT_TRUE(server.wait_idle(PATIENCE));
    EXPECT_TRUE(store->mails("bob").empty());
}

} // namespace
