#include "host/trace_mask.h"

#include <gtest/gtest.h>

using namespace orvhost;

namespace {

const std::string star(masked);

struct Exchange {
    const char * fault;             // what a wrong mask would do
    std::vector<std::string> lines; // "= shown as it came", or "n characters shown, the rest masked"
};

const Exchange exchanges[] = {
    {"PASS leaks or hides too much",
     {"= +OK <1.2@host>", "= USER sales", "= +OK", "5 PASS top secret", "= +OK", "= STAT", "= +OK 0 0"}},
    {"the digest of APOP leaks, or the user name goes",
     {"11 APOP sales c4c9334bac560ecc979e58001b3e22fb", "17 APOP sales force c4c9", "5 APOP x"}},
    {"LOGIN leaks one of its two lines",
     {"= 250-AUTH LOGIN", "= AUTH LOGIN", "= 334 VXNlcm5hbWU6", "0 c2FsZXM=", "= 334 UGFzc3dvcmQ6",
      "0 c2VjcmV0", "= 235 ok", "= QUIT", "= 221 bye", "= closesocket"}},
    {"CRAM-MD5 leaks its line, or QUIT behind it is hidden",
     {"= AUTH CRAM-MD5", "= 334 PDEyMzQ+", "0 dGltIGI5MTNhNjAyYzdlZGE3YTQ5NWI0ZTZlNzMzNGQzODkw", "= 235 ok",
      "= QUIT"}},
    {"a credential that looks like a good reply leaks",
     {"= AUTH LOGIN", "= 334 x", "0 235abcd=", "= 334 y", "0 334+abc=", "= 235 ok"}},
    {"an odd but good reply switches the mask off",
     {"= AUTH LOGIN", "= 250-first", "= 250 go on", "0 c2FsZXM=", "= 25", "0 c2VjcmV0", "= 2",
      "= MAIL FROM:<a@b>"}},
    {"a refused CRAM-MD5 hides the trace, or LOGIN after it leaks",
     {"= AUTH CRAM-MD5", "= 334 not base64 at all", "= Authentication mech found: LOGIN", "= AUTH LOGIN",
      "= 334 x", "0 c2FsZXM=", "= 535 no", "= Unable to authenticate.", "= QUIT"}},
    {"a broken connection hides the commands of the next",
     {"= AUTH LOGIN", "= 0 byte read...socket is closed", "= Unable to authenticate.", "= QUIT",
      "= connect POP3", "= +OK", "= STAT"}},
    {"an initial response leaks", {"11 AUTH PLAIN AHNhbGVzAHNlY3JldA=="}},
};

} // namespace

TEST(TraceMask, FollowsTheExchange)
{
    for (const Exchange & exchange : exchanges) {
        TraceMask mask;
        for (const std::string & line : exchange.lines) {
            const size_t blank = line.find(' ');
            const std::string said = line.substr(blank + 1);
            const std::string shown = line[0] == '=' ? said : said.substr(0, std::stoul(line)) + star;
            EXPECT_EQ(shown, mask.apply(said, {})) << exchange.fault;
        }
    }
}

TEST(TraceMask, PasswordsOfTheProfileAreHiddenInPromptsToo)
{
    const std::vector<std::string> secrets = {"hunter", "hunter22", "is", "a$"};
    const std::pair<std::string, std::string> rows[] = {
        {"POP3 password [hunter22]: ", "POP3 password [" + star + "]: "},
        {"535 hunter and hunter22 refused", "535 " + star + " and " + star + " refused"},
        {"xhunterx", "x" + star + "x"},
        {"this is it", "this " + star + " it"},
        {"is", star},
        {"user a$ here", "user " + star + " here"},
        {"hunte", "hunte"},
    };
    for (const auto & [said, shown] : rows) {
        TraceMask mask;
        EXPECT_EQ(shown, mask.apply(said, secrets));
    }
}

TEST(TraceMask, AServerCannotWriteToTheTerminal)
{
    EXPECT_EQ("550 ?[2J?]0;x??\tgr\xC3\xBC\xC3\x9F",
              printable("550 \x1B[2J\x1B]0;x\x07\x7F\tgr\xC3\xBC\xC3\x9F"));
}
