// Each kind of fault strikes where the script says, and nowhere else.
#include <chrono>

#include "host/mailserver_fixture.h"

namespace {

using namespace mailserver;
using namespace support;
using std::chrono::milliseconds;

class Faults : public MailServerTest {
protected:
    void SetUp() override { start(); }

    void faults(std::vector<CommandFault> commands) { script({.commands = std::move(commands)}); }
    void faults(ByteFault byte) { script({.bytes = {byte}}); }
};

TEST_F(Faults, ReplaceTheReplyOfTheCommandTheyNameAndOfNoOther)
{
    faults({{.protocol = Protocol::Smtp,
             .connection = 2,
             .verb = "NOOP",
             .skip = 1,
             .times = 1,
             .reply = "450 no\r\n"},
            {.connection = 2, .command = 4, .reply = "250-a\r\n250 b\r\n"}});
    auto first = greeted();
    auto second = greeted(); // HELO is its first command
    for (const char * reply : {"250 OK", "450 no", "250-a", "250 b", "250 OK"}) {
        EXPECT_EQ(first->ask("NOOP"), "250 OK");
        EXPECT_EQ(std::string(reply) == "250 b" ? second->line() : second->ask("NOOP"), reply);
    }
    EXPECT_EQ(server->fault_hits(), 2U);
}

TEST_F(Faults, LetARefusedCommandHaveNoEffectUnlessToldSo)
{
    faults({{.verb = "RCPT", .times = 1, .reply = "550 no\r\n"},
            {.verb = end_of_data_verb, .times = 1, .reply = "451 later\r\n"},
            {.verb = end_of_data_verb, .times = 1, .reply = "451 lie\r\n", .carry_out = true}});
    auto client = greeted();
    EXPECT_EQ(client->ask("MAIL FROM:<a@b>"), "250 OK");
    EXPECT_EQ(client->ask("RCPT TO:<alice@x>"), "550 no");
    EXPECT_EQ(client->ask("DATA").substr(0, 3), "503");
    EXPECT_EQ(client->ask("RSET"), "250 OK");
    envelope(*client);
    EXPECT_EQ(client->ask("lost\r\n."), "451 later");
    EXPECT_TRUE(memory->mails("alice").empty());
    envelope(*client);
    EXPECT_EQ(client->ask("kept\r\n."), "451 lie");
    EXPECT_EQ(memory->mails("alice"), std::vector<std::string>{"kept\r\n"});
}

TEST_F(Faults, ReplaceDelayOrDropTheGreeting)
{
    faults({{.protocol = Protocol::Smtp, .connection = 1, .verb = greeting_verb, .reply = "554 no\r\n"},
            {.protocol = Protocol::Smtp, .connection = 2, .command = 0, .hang_up = HangUp::BeforeReply},
            {.protocol = Protocol::Pop3, .verb = greeting_verb, .delay = milliseconds(80)}});
    EXPECT_EQ(smtp()->line(), "554 no");
    EXPECT_EQ(smtp()->line(), "(end)");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(pop3()->line().substr(0, 3), "+OK");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(80));
}

TEST_F(Faults, CutAReplyOrTearItIntoPieces)
{
    faults({{.verb = "NOOP", .times = 1, .piece = 3, .piece_delay = milliseconds(30)},
            {.verb = "NOOP", .cut = 5}});
    auto client = greeted();
    (void)client->send("NOOP\r\n");
    EXPECT_EQ(client->receive(), "250");
    EXPECT_EQ(client->line(), " OK");
    (void)client->send("NOOP\r\n");
    EXPECT_EQ(client->rest() + client->how_it_ended(), "250 O(end)");
}

TEST_F(Faults, HangUpBeforeOrAfterTheCommandTakesEffect)
{
    struct {
        HangUp when;
        bool reset;
        size_t kept;
        const char * heard;
    } rows[] = {{HangUp::BeforeAction, false, 0, "(end)"},
                {HangUp::BeforeReply, false, 1, "(end)"},
                {HangUp::AfterReply, false, 1, "250 OK"},
                {HangUp::BeforeAction, true, 0, "(reset)"},
                {HangUp::BeforeReply, true, 1, "(reset)"}};
    size_t kept = 0;
    for (const auto & row : rows) {
        faults({{.verb = end_of_data_verb, .hang_up = row.when, .reset = row.reset}});
        auto client = greeted();
        envelope(*client);
        EXPECT_EQ(client->ask("m\r\n."), row.heard);
        (void)client->rest();
        EXPECT_EQ(client->how_it_ended(), row.reset ? "(reset)" : "(end)");
        client->close();
        ASSERT_TRUE(server->wait_idle(std::chrono::seconds(10)));
        kept += row.kept;
        EXPECT_EQ(memory->mails("alice").size(), kept);
    }
}

// What a client of one mail hears, as far as it gets.
std::string send_one_mail(PlainClient & client)
{
    std::string heard = client.line() + "\r\n";
    for (const char * line : {"HELO me", "MAIL FROM:<a@b>", "RCPT TO:<alice@x>", "DATA", "m\r\n.", "QUIT"}) {
        const std::string reply = client.ask(line);
        if (reply.starts_with('('))
            break;
        heard += reply + "\r\n";
    }
    return heard + client.rest();
}

TEST_F(Faults, HangUpAtEachByte)
{
    faults(ByteFault{.byte = 10'000});
    const std::string whole = send_one_mail(*smtp());
    EXPECT_EQ(server->fault_hits(), 0U);
    const uint64_t all_heard = server->counters(Protocol::Smtp).from_client;
    size_t expected_mails = memory->mails("alice").size();
    EXPECT_EQ(expected_mails, 1U);
    for (const auto & [direction, edge, reset] : {std::tuple{Direction::FromServer, Edge::BeforeByte, false},
                                                  {Direction::FromServer, Edge::AfterByte, false},
                                                  {Direction::FromClient, Edge::AfterByte, true}}) {
        const bool by_server = direction == Direction::FromServer;
        // The mail is in the store as soon as the first byte of its reply has wanted to leave; a byte of the
        // client that completes it isn't acted upon.
        const uint64_t kept_from = by_server ? whole.size() - std::string("250 OK\r\n221 Bye\r\n").size()
                                             : all_heard - std::string("QUIT\r\n").size();
        for (uint64_t byte = 1; byte <= (by_server ? whole.size() : all_heard); ++byte) {
            faults(ByteFault{.direction = direction, .byte = byte, .edge = edge, .reset = reset});
            auto client = smtp();
            (void)send_one_mail(*client);
            EXPECT_EQ(client->how_it_ended(), reset ? "(reset)" : "(end)") << byte;
            client->close();
            ASSERT_TRUE(server->wait_idle(std::chrono::seconds(10)));
            EXPECT_EQ(server->fault_hits(), 1U) << byte;
            const Counters counters = server->counters(Protocol::Smtp);
            EXPECT_EQ(by_server ? counters.from_server : counters.from_client,
                      edge == Edge::BeforeByte ? byte - 1 : byte);
            expected_mails += byte > kept_from ? 1 : 0;
            EXPECT_EQ(memory->mails("alice").size(), expected_mails) << byte;
        }
    }
}

TEST_F(Faults, ActOnWhatCameInFrontOfTheByteThatMustNotPass)
{
    // NOOP as a whole stands in front of the 16th byte, though both came in one piece.
    faults(ByteFault{.direction = Direction::FromClient, .byte = 16, .edge = Edge::BeforeByte});
    auto client = smtp();
    (void)client->line();
    (void)client->send("HELO me\r\nNOOP\r\nQUIT\r\n");
    EXPECT_EQ(client->rest(), "250 localhost\r\n250 OK\r\n");
}

TEST_F(Faults, CountBytesOverAllConnectionsOrOverTheOneTheyName)
{
    const std::string greeting = "220 localhost ESMTP ready\r\n";
    script({.bytes = {{.protocol = Protocol::Smtp, .byte = greeting.size() + 4}}});
    EXPECT_EQ(smtp()->line() + "\r\n", greeting);
    (void)pop3()->line();
    EXPECT_EQ(smtp()->rest(), "220 ");
    EXPECT_EQ(smtp()->line() + "\r\n", greeting) << "it strikes once";
    script({.bytes = {{.protocol = Protocol::Smtp, .connection = 2, .byte = 3}}});
    EXPECT_EQ(smtp()->line() + "\r\n", greeting);
    EXPECT_EQ(smtp()->rest(), "220");
}

} // namespace
