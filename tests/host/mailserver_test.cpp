// The protocols of the mail server, over sockets.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>

#include "host/mailserver_fixture.h"
#include "mailserver/digest.h"
#include "support/temporary_folder.h"

namespace {

using namespace mailserver;
using namespace support;
namespace fs = std::filesystem;

using Smtp = MailServerTest;
using Pop3 = MailServerTest;
using Dialogues = MailServerTest;
using Maildir = MailServerTest;
using ServerLife = MailServerTest;

// A reply of several lines: its first line, "|", the others with the end mark.
std::string ask_block(PlainClient & client, const char * command)
{
    std::string reply = client.ask(command);
    reply += "|";
    return reply.append(client.block());
}

TEST(Digest, TakesBase64OfEachPaddingAndNothingElse)
{
    for (const char * text : {"", "Zg==", "Zm8=", "Zm9v", "AAAA"}) {
        EXPECT_EQ(base64_encode(base64_decode(text).value_or("refused")), text);
    }
    for (const char * text : {"Zg=", "Zg", "Z===", "Zm9v\r", " Zm9v", "*", "AUTH LOGIN", "Z=9v"}) {
        EXPECT_EQ(base64_decode(text), std::nullopt) << text;
    }
}

TEST_F(Smtp, TakesOffOnlyThePeriodThatWasStuffed)
{
    struct {
        const char * sent;
        const char * kept;
    } rows[] = {
        {".\r\n", ""},
        {"..\r\n.\r\n", ".\r\n"},
        {"...a\r\n..b.\r\n.\r\n", "..a\r\n.b.\r\n"},
        {"a.\r\n.\n.\r\r\n.\r\n", "a.\r\n\n.\r\r\n"}, // CR and LF alone end nothing
    };
    start();
    auto client = greeted();
    for (const auto & row : rows) {
        envelope(*client);
        (void)client->send(row.sent);
        EXPECT_EQ(client->line(), "250 OK");
        EXPECT_EQ(memory->mails("alice").back(), row.kept);
    }
}

TEST_F(Smtp, FindsTheEndMarkInAnySplitOfTheInput)
{
    start();
    auto client = greeted();
    const std::string mail = "..\r\nlast\r\n.\r\n";
    for (size_t cut = 1; cut < mail.size(); ++cut) {
        envelope(*client);
        (void)client->send(mail.substr(0, cut));
        std::this_thread::yield();
        (void)client->send(mail.substr(cut));
        EXPECT_EQ(client->line(), "250 OK") << cut;
        EXPECT_EQ(memory->mails("alice").back(), ".\r\nlast\r\n");
    }
}

TEST_F(Smtp, RefusesMailAndLinesOverTheLimitAndGoesOn)
{
    Config config = config_of_tests();
    config.max_mail = 10;
    config.max_line = 512;
    start(config);
    auto client = greeted();
    EXPECT_EQ(client->ask("NOOP " + std::string(505, 'x')), "250 OK"); // 512 with CR LF
    EXPECT_EQ(client->ask("NOOP " + std::string(506, 'x')), "500 Line too long");
    EXPECT_EQ(client->ask("NOOP " + std::string(90000, 'x')), "500 Line too long");
    EXPECT_EQ(client->ask("MAIL FROM:<a@b> SIZE=11"), "552 Mail too big");
    for (const auto & [text, reply] : {std::pair{"12345678", "250 OK"}, {"123456789", "552 Mail too big"}}) {
        envelope(*client);
        EXPECT_EQ(client->ask(std::string(text) + "\r\n."), reply);
    }
    EXPECT_EQ(memory->mails("alice"), std::vector<std::string>{"12345678\r\n"});
}

TEST_F(Smtp, KeepsTheSecondPieceOfALongLineUnstuffed)
{
    start();
    auto client = greeted();
    envelope(*client);
    const std::string line = std::string(4094, 'x') + "." + std::string(9000, '.');
    EXPECT_EQ(client->ask(line + "\r\n."), "250 OK");
    EXPECT_EQ(memory->mails("alice").back(), line + "\r\n");
}

// A connection with the challenges that the standards print: "what the client says|how the reply begins".
struct Dialogue {
    Protocol protocol;
    std::vector<std::string> lines;
};

const char cram[] = "AUTH CRAM-MD5|334 PDE4OTYuNjk3MTcwOTUyQHBvc3RvZmZpY2UucmVzdG9uLm1jaS5uZXQ+";
const char cram_good[] = "dGltIGI5MTNhNjAyYzdlZGE3YTQ5NWI0ZTZlNzMzNGQzODkw|235 Authenticated";
const char mail[] = "MAIL FROM:<a@b>|250 OK";
const char rcpt[] = "RCPT TO:<alice@x>|250 OK";

const Dialogue dialogues[] = {
    {Protocol::Smtp,
     {"MAIL FROM:<a@b>|503", "TURN|500", "HELO me|250", "RCPT TO:<alice@x>|503", "MAIL FROM:<a@b>|530",
      "NOOP|250 OK"}},
    {Protocol::Smtp,
     {"HELO me|250", cram, "dGltIGI5MTNhNjAyYzdlZGE3YTQ5NWI0ZTZlNzMzNGQzODkx|535", cram, "dGlt|535", cram,
      "AUTH LOGIN|501", cram, "*|501", cram, cram_good, mail, "DATA|503"}},
    {Protocol::Smtp,
     {"HELO me|250", cram, cram_good, "MAIL FROM:a@b|501", mail, "AUTH LOGIN|503", "RCPT TO:<nobody@x>|550",
      rcpt, "RSET|250", "DATA|503", mail, rcpt, "HELO me|250", "DATA|503"}},
    // "alice" with "wonder", nobody with nothing, and "alice" with "wonder land"
    {Protocol::Smtp,
     {"HELO me|250", "AUTH LOGIN|334 VXNlcm5hbWU6", "YWxpY2U=|334 UGFzc3dvcmQ6", "d29uZGVy|535",
      "AUTH LOGIN|334", "bm9ib2R5|334", "|535", "AUTH LOGIN|334", "YWxpY2U=|334", "d29uZGVyIGxhbmQ=|235"}},
    {Protocol::Pop3,
     {"APOP mrose c4c9334bac560ecc979e58001b3e22fc|-ERR", "APOP nobody d41d8cd98f00b204e9800998ecf8427e|-ERR",
      "APOP mrose c4c9334bac560ecc979e58001b3e22fb|+OK 0 messages"}},
};

TEST_F(Dialogues, KeepToTheirOrderAndLetNobodyInWithoutHisPassword)
{
    Config config = config_of_tests();
    config.cram_challenge = "<1896.697170952@postoffice.reston.mci.net>";
    config.apop_timestamp = "<1896.697170952@dbc.mtview.ca.us>";
    config.require_auth = true;
    start(config);
    for (const Dialogue & dialogue : dialogues) {
        const auto client = dialogue.protocol == Protocol::Smtp ? smtp() : pop3();
        (void)client->line();
        for (const std::string & line : dialogue.lines) {
            const size_t bar = line.find('|');
            const std::string reply = client->ask(line.substr(0, bar));
            EXPECT_TRUE(reply.starts_with(line.substr(bar + 1))) << line << ": " << reply;
        }
    }
}

TEST_F(Pop3, KeepsASecondSessionOutOfAMailboxUntilTheFirstHasEnded)
{
    Config config = config_of_tests();
    config.lock_wait = std::chrono::milliseconds(20);
    start(config);
    auto first = inbox();
    auto second = pop3();
    (void)second->line();
    (void)second->ask("USER alice");
    EXPECT_EQ(second->ask("PASS wonder land").substr(0, 13), "-ERR [IN-USE]");
    first->close(); // without QUIT
    ASSERT_EQ(second->ask("USER alice"), "+OK");
    std::string reply;
    for (int i = 0; i < 100 && !reply.starts_with("+OK 0"); ++i, (void)second->ask("USER alice"))
        reply = second->ask("PASS wonder land");
    EXPECT_EQ(reply.substr(0, 5), "+OK 0");
}

TEST_F(Pop3, StuffsEveryLineThatBeginsWithAPeriodAndEndsTheLastLine)
{
    struct {
        const char * mail;
        const char * sent;
    } rows[] = {
        {"", ".\r\n"},
        {"a\r\n.\r\n..b\r\nc.\r\n", "a\r\n..\r\n...b\r\nc.\r\n.\r\n"},
        {"\r\n.\r\n.\r\n", "\r\n..\r\n..\r\n.\r\n"},
        {"no line end", "no line end\r\n.\r\n"},
    };
    start();
    for (const auto & row : rows)
        memory->put("alice", row.mail, "id");
    auto client = inbox();
    size_t number = 0;
    for (const auto & row : rows) {
        EXPECT_EQ(client->ask("RETR " + std::to_string(++number)),
                  "+OK " + std::to_string(std::string(row.mail).size()) + " octets");
        // block() wants CR LF in front of the end mark, which an empty mail lacks.
        EXPECT_EQ(*row.mail == '\0' ? client->line() + "\r\n" : client->block(), row.sent);
    }
    EXPECT_EQ(client->ask("NOOP"), "+OK");
}

TEST_F(Pop3, TopGivesTheHeadersAndAsManyLinesAsWereAsked)
{
    start();
    memory->put("alice", "A: 1\r\nB: 2\r\n\r\n.one\r\ntwo\r\n", "id");
    auto client = inbox();
    const std::string headers = "A: 1\r\nB: 2\r\n\r\n";
    for (const auto & [lines, text] :
         {std::pair{"0", ""}, {"1", "..one\r\n"}, {"2", "..one\r\ntwo\r\n"}, {"99", "..one\r\ntwo\r\n"}}) {
        EXPECT_EQ(client->ask(std::string("TOP 1 ") + lines), "+OK 25 octets");
        EXPECT_EQ(client->block(), headers + text + ".\r\n") << lines;
    }
    for (const char * wrong : {"TOP 1", "TOP 2 0", "TOP 0 0", "TOP 1 -1"})
        EXPECT_EQ(client->ask(wrong).substr(0, 4), "-ERR") << wrong;
}

TEST_F(Pop3, DeletesAtQuitOnlyAndNotWhatResetTookBack)
{
    start();
    for (const char * id : {"a", "b", "c"})
        memory->put("alice", std::string(id) + "\r\n", id);
    auto client = inbox();
    EXPECT_EQ(client->ask("DELE 2"), "+OK");
    for (const char * gone : {"DELE 2", "RETR 2", "LIST 2", "DELE 0", "DELE 4", "DELE 1x"})
        EXPECT_EQ(client->ask(gone).substr(0, 4), "-ERR") << gone;
    EXPECT_EQ(client->ask("STAT"), "+OK 2 6");
    EXPECT_EQ(ask_block(*client, "UIDL"), "+OK|1 a\r\n3 c\r\n.\r\n");
    EXPECT_EQ(client->ask("LIST 3"), "+OK 3 3");
    client->close(); // no QUIT
    ASSERT_TRUE(server->wait_idle(std::chrono::seconds(10)));
    EXPECT_EQ(memory->mails("alice").size(), 3U);

    client = inbox();
    (void)client->ask("DELE 1");
    EXPECT_EQ(client->ask("RSET"), "+OK");
    (void)client->ask("DELE 3");
    memory->put("alice", "d\r\n", "d"); // arrives during the session, and must outlive it
    EXPECT_EQ(client->ask("STAT"), "+OK 2 6");
    EXPECT_EQ(client->ask("QUIT"), "+OK bye");
    EXPECT_EQ(client->rest(), "");
    EXPECT_EQ(memory->mails("alice"), (std::vector<std::string>{"a\r\n", "b\r\n", "d\r\n"}));
}

size_t files_in(const fs::path & folder)
{
    return static_cast<size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

TEST_F(Maildir, LeavesNothingInTmpAndServesInTheOrderOfDelivery)
{
    const TemporaryFolder folder;
    auto store = std::make_shared<MaildirStore>(folder.path("root"));
    for (const char * mail : {"1\r\n", "22\r\n", "333\r\n"})
        store->deliver("alice", mail);
    EXPECT_EQ(files_in(folder.path("root/alice/tmp")), 0U);
    EXPECT_EQ(files_in(folder.path("root/alice/new")), 3U);
    start(config_of_tests(), store);
    auto client = inbox();
    EXPECT_EQ(ask_block(*client, "LIST"), "+OK|1 3\r\n2 4\r\n3 5\r\n.\r\n");
    const std::string id = client->ask("UIDL 2");
    EXPECT_LE(id.size(), 6U + 70U);
    (void)client->ask("DELE 1");
    (void)client->ask("QUIT");
    client = inbox();
    EXPECT_EQ(client->ask("UIDL 1").substr(6), id.substr(6)) << "an id must outlive its number";
    EXPECT_EQ(ask_block(*client, "RETR 1"), "+OK 4 octets|22\r\n.\r\n");
    EXPECT_EQ(files_in(folder.path("root/alice/new")), 2U);
    (void)client->ask("QUIT");
    std::ofstream(folder.path("root/alice/cur/0000000001.M1P1.elsewhere:2,S")) << "by another program\r\n";
    client = inbox();
    EXPECT_EQ(client->ask("UIDL 1"), "+OK 1 0000000001.M1P1.elsewhere");
    EXPECT_EQ(ask_block(*client, "RETR 1"), "+OK 20 octets|by another program\r\n.\r\n");
}

TEST_F(Maildir, ReadsHeadersThatAreLongerThanItsFirstPiece)
{
    const TemporaryFolder folder;
    auto store = std::make_shared<MaildirStore>(folder.path(), false);
    start(config_of_tests(), store);
    size_t number = 0;
    for (const size_t length : {4087U, 4088U, 4089U, 70000U}) {
        const std::string header = "X: " + std::string(length, 'h') + "\r\n\r\n";
        store->deliver("alice", header + "body\r\nmore\r\n");
        auto client = inbox();
        const std::string which = "TOP " + std::to_string(++number);
        EXPECT_EQ(client->ask(which + " 0").substr(0, 3), "+OK");
        EXPECT_EQ(client->block(), header + ".\r\n") << length;
        EXPECT_EQ(client->ask(which + " 1").substr(0, 3), "+OK");
        EXPECT_EQ(client->block(), header + "body\r\n.\r\n") << length;
        (void)client->ask("QUIT");
    }
}

TEST_F(Maildir, ThatCannotBeWrittenMakesTheServerRefuseTheMail)
{
    const TemporaryFolder folder;
    auto store = std::make_shared<MaildirStore>(folder.path(), false);
    std::ofstream(folder.path("alice")) << "a file where the folder should be";
    start(config_of_tests(), store);
    auto client = greeted();
    envelope(*client);
    EXPECT_EQ(client->ask("m\r\n.").substr(0, 4), "451 ");
    EXPECT_THROW(store->deliver("../up", "m\r\n"), std::runtime_error);
}

TEST_F(ServerLife, RefusesAddressesThatOthersCouldReach)
{
    for (const char * address : {"0.0.0.0", "localhost", "", "128.0.0.1"}) {
        Config config = config_of_tests();
        config.address = address;
        EXPECT_THROW(start(config), std::invalid_argument) << address;
    }
}

TEST_F(ServerLife, StopsWithClientsConnectedFreesItsPortsAndHangsUpOnASilentClient)
{
    start();
    auto idle = smtp();
    EXPECT_EQ(idle->line(), "220 localhost ESMTP ready");
    auto half = pop3();
    (void)half->send("US");
    const uint16_t port = server->smtp_port();
    server->stop();
    EXPECT_EQ(idle->rest(), "");
    EXPECT_EQ(idle->how_it_ended(), "(end)");
    EXPECT_THROW(PlainClient client(port), std::runtime_error);
    Config config = config_of_tests();
    config.smtp_port = port;
    config.idle = std::chrono::milliseconds(50);
    start(config);
    EXPECT_EQ(server->smtp_port(), port);
    auto silent = greeted();
    EXPECT_EQ(silent->rest() + silent->how_it_ended(), "(end)");
}

TEST_F(ServerLife, MasksEverySecretInTheTrace)
{
    for (const bool secrets : {false, true}) {
        std::string trace;
        Config config = config_of_tests();
        config.trace_secrets = secrets;
        config.trace = [&trace](const TraceLine & line) {
            trace.append(line.side == Side::Client ? "C: " : "S: ").append(line.text).append("\n");
        };
        start(config);
        {
            auto client = smtp();
            (void)client->line();
            (void)client->ask("AUTH LOGIN " + base64_encode("alice"));
            (void)client->ask(base64_encode("secret"));
            (void)client->ask("AUTH CRAM-MD5");
            (void)client->ask(base64_encode("alice secret"));
            auto other = pop3();
            (void)other->line();
            (void)other->ask("APOP alice secret");
            (void)other->ask("USER alice");
            (void)other->ask("pass secret");
        }
        ASSERT_TRUE(server->wait_idle(std::chrono::seconds(10)));
        for (const std::string & secret : {std::string("secret"), base64_encode("secret"),
                                           base64_encode("alice"), base64_encode("alice secret")})
            EXPECT_EQ(trace.find(secret) != std::string::npos, secrets) << secret << "\n" << trace;
        EXPECT_NE(trace.find("C: USER alice\nS: +OK\n"), std::string::npos) << trace;
    }
}

} // namespace
