// Planted faults: a client that departs from the script in any way must not get a good verdict.
#include "support/scripted_server.h"

#include <gtest/gtest.h>

namespace {

using namespace support;
using std::chrono::milliseconds;

TEST(ScriptedServer, TellsADialogueThatKeepsToTheScriptFromNone)
{
    const struct {
        std::vector<const char *> said; // by the client, each when it has the reply to the one before
        const char * verdict;           // part of the failure's text; null: none
    } rows[] = {
        {{"STAT", "RSET", "x\r\n.", "QUIT"}, nullptr},
        {{"STAt"}, "wanted: \"STAT\""},
        {{"STAT "}, "wanted: \"STAT\""},
        {{}, "wanted: \"STAT\""},
        {{"STAT\r\nNOOP"}, "before the server had answered"},
        {{"STAT", "DELE 1"}, "wanted: \"NOOP|RSET\""},
        {{"STAT", "RSETS"}, "wanted: \"NOOP|RSET\""},
        {{"STAT", "NOOP", "x\r\n."}, "wanted: \"QUIT\""},
        {{"STAT", "NOOP", "x\r\n.", "QUIT", "QUIT"}, "bytes too many"},
    };
    for (const auto & row : rows) {
        ScriptedServer server;
        server.expect(Port::Pop3,
                      {say("+OK"), hear("STAT"), say("+OK 0 0"), hear_like("NOOP|RSET"),
                       say_bytes("+OK\r\n", 1), collect_data(), say("+OK"), hear("QUIT"), say("+OK")});
        PlainClient client(server.port(Port::Pop3));
        EXPECT_EQ(client.line(), "+OK");
        for (const char * command : row.said)
            (void)client.ask(command); // the reply after a deviation is the end
        client.close();
        const testing::AssertionResult verdict = server.verdict();
        EXPECT_EQ(verdict, row.verdict == nullptr) << verdict.message();
        EXPECT_NE(std::string(verdict.message()).find(row.verdict == nullptr ? "" : row.verdict),
                  std::string::npos)
            << verdict.message();
        if (verdict) {
            EXPECT_EQ(server.collected(), (std::vector<std::string>{"RSET", "x\r\n.\r\n"}));
        }
        EXPECT_THROW(PlainClient(server.port(Port::Pop3)), std::runtime_error) << "a second try is refused";
    }
}

TEST(ScriptedServer, SeesConnectionsThatAreMissingTooManySilentOrOnTheWrongPort)
{
    const struct {
        std::vector<Port> expected;
        std::vector<Port> made;
        const char * verdict;
    } rows[] = {
        {{Port::Smtp}, {}, "never came"},
        {{Port::Smtp}, {Port::Smtp}, "did not end"}, // in time
        {{}, {Port::Smtp}, "a connection too many"},
        {{Port::Smtp, Port::Pop3}, {Port::Pop3}, "the other port's turn"},
    };
    for (const auto & row : rows) {
        ScriptedServer server(milliseconds(100));
        for (const Port port : row.expected)
            server.expect(port, {hear("QUIT")});
        std::list<PlainClient> clients;
        for (const Port port : row.made)
            clients.emplace_back(server.port(port));
        const testing::AssertionResult verdict = server.verdict();
        EXPECT_NE(std::string(verdict.message()).find(row.verdict), std::string::npos) << verdict.message();
    }
}

TEST(ScriptedServer, EndsConnectionsByFinOrByResetAsItWasTold)
{
    ScriptedServer server;
    server.expect(Port::Smtp, {say_bytes("22"), hang_up()});
    server.expect(Port::Smtp, {hear("X"), reset()});
    PlainClient first(server.port(Port::Smtp));
    (void)first.send("thrown away");
    EXPECT_EQ(first.rest() + first.how_it_ended(), "22(end)");
    first.close();
    PlainClient second(server.port(Port::Smtp));
    EXPECT_EQ(second.ask("X"), "(reset)");
    EXPECT_TRUE(server.verdict());
}

} // namespace
