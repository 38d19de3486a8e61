// Planted faults: a client that departs from the script in any way must not get a good verdict.
#include "support/scripted_server.h"

#include <gtest/gtest.h>

#include "support/plain_client.h"

namespace {

using namespace support;
using std::chrono::milliseconds;

const std::vector<Row> dialogue = {say("220 ready"), hear("HELO me"), say("250 hi"),
                                   hear("DATA"),     say("354 go"),   collect_data(),
                                   say("250 kept"),  hear("QUIT"),    say_bytes("221 bye\r\n")};

std::string all_of(std::initializer_list<const char *> commands, PlainClient & client)
{
    std::string replies = client.line();
    for (const char * command : commands)
        replies.append("|").append(client.ask(command));
    return replies;
}

TEST(ScriptedServer, TellsADialogueThatKeepsToTheScriptFromNone)
{
    ScriptedServer server;
    server.expect(Port::Smtp, dialogue);
    PlainClient client(server.port(Port::Smtp));
    EXPECT_EQ(all_of({"HELO me", "DATA", "a\r\n.", "QUIT"}, client),
              "220 ready|250 hi|354 go|250 kept|221 bye");
    client.close();
    EXPECT_TRUE(server.verdict());
    EXPECT_EQ(server.transcript(),
              "smtp#1 > 220 ready\nsmtp#1 < HELO me\nsmtp#1 > 250 hi\nsmtp#1 < DATA\n"
              "smtp#1 > 354 go\nsmtp#1 < a\\r\\n.\\r\\n\nsmtp#1 > 250 kept\nsmtp#1 < QUIT\n"
              "smtp#1 > 221 bye\nsmtp#1 < (end)\n");
}

struct Planted {
    const char * what;
    const char * bytes;   // all that the client sends, at once
    const char * verdict; // part of the failure's text
};

void PrintTo(const Planted & planted, std::ostream * out)
{
    *out << planted.what;
}

class ScriptedServerFault : public testing::TestWithParam<Planted> {};

TEST_P(ScriptedServerFault, IsSeen)
{
    ScriptedServer server(milliseconds(300));
    server.expect(Port::Pop3, {hear("STAT"), say("+OK 0 0"), hear_like("NOOP|RSET")});
    PlainClient client(server.port(Port::Pop3));
    (void)client.send(GetParam().bytes);
    client.close();
    const testing::AssertionResult verdict = server.verdict();
    EXPECT_FALSE(verdict);
    EXPECT_NE(std::string(verdict.message()).find(GetParam().verdict), std::string::npos)
        << verdict.message();
    EXPECT_EQ(server.verdict().message(), std::string(verdict.message())) << "a second call tells the same";
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ScriptedServerFault,
    testing::Values(Planted{"one letter", "STAt\r\n", "wanted: \"STAT\" (first difference at byte 3)"},
                    Planted{"a blank at the end", "STAT \r\n", "first difference at byte 4"},
                    Planted{"LF alone", "STAT\n", "the client ended; wanted: \"STAT\""},
                    Planted{"an end inside a command", "STA", "pop3#1 < STA"},
                    Planted{"a command ahead of the reply", "STAT\r\nNOOP\r\n",
                            "before the server had answered"},
                    Planted{"nothing at all", "", "the client ended; wanted: \"STAT\""}));

TEST(ScriptedServer, SeesADeviationBehindTheFirstReply)
{
    struct {
        std::vector<const char *> asked;
        const char * verdict;
    } rows[] = {
        {{"STAT", "DELE 1"}, "wanted a line like: \"NOOP|RSET\""},
        {{"STAT", "RSETS"}, "wanted a line like"},
        {{"STAT", "RSET", "x\r\n.", "QUIT"}, "bytes too many: the script is over"},
        {{"STAT", "RSET", ".\r\nx\r\n."}, "before the server had answered"}, // an empty block, and more
    };
    for (const auto & row : rows) {
        ScriptedServer server(milliseconds(300));
        server.expect(Port::Pop3, {hear("STAT"), say("+OK 0 0"), hear_like("NOOP|RSET"), say("+OK"),
                                   collect_data(), say("+OK")});
        PlainClient client(server.port(Port::Pop3));
        for (const char * command : row.asked)
            (void)client.ask(command); // the reply after a deviation is the end
        client.close();
        const testing::AssertionResult verdict = server.verdict();
        EXPECT_FALSE(verdict) << row.asked.back();
        EXPECT_NE(std::string(verdict.message()).find(row.verdict), std::string::npos) << verdict.message();
    }
}

TEST(ScriptedServer, SeesConnectionsThatAreMissingTooManyOrOnTheWrongPort)
{
    {
        ScriptedServer server(milliseconds(100));
        server.expect(Port::Smtp, {hear_end()});
        EXPECT_NE(std::string(server.verdict().message()).find("connection 1 never came"), std::string::npos);
    }
    {
        ScriptedServer server;
        const PlainClient client(server.port(Port::Smtp));
        EXPECT_NE(std::string(server.verdict().message()).find("a connection too many"), std::string::npos);
    }
    {
        ScriptedServer server;
        server.expect(Port::Smtp, {});
        server.expect(Port::Pop3, {});
        const PlainClient client(server.port(Port::Pop3));
        EXPECT_NE(std::string(server.verdict().message()).find("the other port's turn"), std::string::npos);
    }
}

TEST(ScriptedServer, RefusesAClientThatTriesAgainAfterAFailure)
{
    ScriptedServer server;
    server.expect(Port::Smtp, {hear("A")});
    PlainClient client(server.port(Port::Smtp));
    EXPECT_EQ(client.ask("B"), "(end)");
    EXPECT_FALSE(server.verdict());
    EXPECT_THROW(PlainClient(server.port(Port::Smtp)), std::runtime_error);
}

TEST(ScriptedServer, WaitsNoLongerThanItsPatienceForASilentClient)
{
    ScriptedServer server(milliseconds(100));
    server.expect(Port::Smtp, {say("220"), hear("QUIT")});
    const PlainClient client(server.port(Port::Smtp));
    const testing::AssertionResult verdict = server.verdict();
    EXPECT_FALSE(verdict);
}

TEST(ScriptedServer, CollectsFromInterleavedConnectionsInTheirOrder)
{
    ScriptedServer server;
    server.expect(Port::Smtp, {hear_anything(), say("250"), collect_data(), hear_like("[A-Z]+"), hear_end()});
    server.expect(Port::Pop3, {hear_anything(), say("+OK")});
    PlainClient smtp(server.port(Port::Smtp));
    EXPECT_EQ(smtp.ask("first"), "250");
    PlainClient pop3(server.port(Port::Pop3));
    EXPECT_EQ(pop3.ask("second"), "+OK");
    (void)smtp.send("Date: x\r\n\r\n..\r\n.\r\nQUIT\r\n");
    smtp.close();
    pop3.close();
    EXPECT_TRUE(server.verdict());
    EXPECT_EQ(server.collected(),
              (std::vector<std::string>{"first", "Date: x\r\n\r\n..\r\n.\r\n", "QUIT", "second"}));
}

TEST(ScriptedServer, EndsConnectionsByFinOrByResetAsItWasTold)
{
    ScriptedServer server;
    server.expect(Port::Smtp, {say_bytes("22"), hang_up()});
    server.expect(Port::Smtp, {hear("X"), reset()});
    PlainClient first(server.port(Port::Smtp));
    (void)first.send("thrown away");
    EXPECT_EQ(first.rest(), "22");
    EXPECT_EQ(first.how_it_ended(), "(end)");
    first.close();
    PlainClient second(server.port(Port::Smtp));
    EXPECT_EQ(second.ask("X"), "(reset)");
    second.close();
    EXPECT_TRUE(server.verdict());
}

TEST(ScriptedServer, TearsARowWithoutLosingAByte)
{
    ScriptedServer server;
    server.expect(Port::Smtp, {in_pieces(say("220 a long greeting")), say("250")});
    PlainClient client(server.port(Port::Smtp));
    EXPECT_EQ(client.line(), "220 a long greeting");
    EXPECT_EQ(client.line(), "250");
    client.close();
    EXPECT_TRUE(server.verdict());
}

} // namespace
