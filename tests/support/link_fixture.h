// A link of the code under test between a scripted server and the stand-ins for the host, and the exchanges
// that most scripts begin and end with.
//
//     class Send : public support::LinkFixture {};
//     TEST_F(Send, ...)
//     {
//         profile.set("send_only", "yes");
//         server.expect(Port::Smtp, smtp_opening() + {hear("MAIL FROM:<sales@a.example>"), ...} +
//         smtp_quit()); ASSERT_TRUE(make_link()); EXPECT_EQ(MsgSendV3(link, ...), MSG_SUCCESS);
//     } // ends the link, then asks the server for its verdict
//
// The profile holds what a working link needs, without prompts and without SMTP authentication; a test sets
// what it is about before it makes the link. All calls on the test's thread.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "remote/orvsmtp.h"
#include "support/host_profile.h"
#include "support/scripted_server.h"

namespace support {

inline std::vector<Row> smtp_opening()
{
    return {say("220 ready"), hear("HELO link.example"), say("250 hi")};
}

inline std::vector<Row> smtp_quit()
{
    return {hear("QUIT"), say("221 bye")};
}

inline std::vector<Row> pop_opening()
{
    return {say("+OK ready"), hear("USER bob"), say("+OK"), hear("PASS secret"), say("+OK")};
}

inline std::vector<Row> pop_quit()
{
    return {hear("QUIT"), say("+OK bye")};
}

// A dialogue of one connection and what reaches the callback of a link in debug mode meanwhile, in order:
// "< QUIT" is heard from the link, "> 221 bye" said to it, "! text" is some other line for the callback.
struct Dialogue {
    std::vector<Row> rows;
    std::vector<std::string> traced;

    Dialogue(std::initializer_list<std::string> script)
    {
        for (const std::string & line : script) {
            traced.push_back(line.substr(2));
            if (line[0] == '<')
                rows.push_back(hear(traced.back()));
            if (line[0] == '>')
                rows.push_back(say(traced.back()));
        }
    }
};

// A link and all that is around it; apart from LinkFixture for tests that need it in a child process.
class LinkStage {
public:
    LinkStage()
    {
        profile.point_at(server.port(Port::Smtp), server.port(Port::Pop3));
        profile.set("smtp_authenticate", "no");
    }
    ~LinkStage() { end_link(); }
    LinkStage(const LinkStage &) = delete;
    LinkStage & operator=(const LinkStage &) = delete;

    // False: there is no link; `link` is null then.
    [[nodiscard]] bool make_link(const char * address = "sales@a.example")
    {
        link = static_cast<a_smtp_link_info *>(
            MsgInitLinkV3(address, CallbackRecorder::callback(), profile.access(), nullptr));
        return link != nullptr;
    }

    void end_link()
    {
        if (link != nullptr)
            MsgFiniLink(link);
        link = nullptr;
    }

    // What has reached the callback since the last call, with the server's two ports as words: "port smtp",
    // "port pop3".
    std::vector<std::string> take_lines()
    {
        std::vector<std::string> lines = callback.lines();
        callback.clear();
        for (std::string & line : lines) {
            if (line == "port " + std::to_string(server.port(Port::Smtp)))
                line = "port smtp";
            if (line == "port " + std::to_string(server.port(Port::Pop3)))
                line = "port pop3";
        }
        return lines;
    }

    ScriptedServer server;
    HostProfile profile;
    CallbackRecorder callback;
    a_smtp_link_info * link = nullptr;
};

class LinkFixture : public testing::Test, public LinkStage {
protected:
    // The test's last look: the link ends, if the test hasn't ended it, and the script must have been kept
    // to.
    void TearDown() override
    {
        end_link();
        EXPECT_TRUE(server.verdict());
    }
};

} // namespace support
