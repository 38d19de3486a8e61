#include "host/trace_mask.h"

#include <gtest/gtest.h>

using namespace orvhost;

namespace {

const std::string same = "=";   // in a row: shown as it came
const std::string star(masked); // in a row: masked whole

struct Line {
    std::string said;
    std::string shown;
};

struct Exchange {
    const char * fault; // what a wrong mask would do
    std::vector<Line> lines;
};

const Exchange exchanges[] = {
    {"PASS leaks or hides too much",
     {{"+OK <1.2@host>", same},
      {"USER sales", same},
      {"+OK", same},
      {"PASS top secret", "PASS " + star},
      {"+OK", same},
      {"STAT", same},
      {"+OK 0 0", same}}},
    {"the digest of APOP leaks, or the user name goes",
     {{"APOP sales c4c9334bac560ecc979e58001b3e22fb", "APOP sales " + star},
      {"APOP sales force c4c9", "APOP sales force " + star},
      {"APOP x", "APOP " + star}}},
    {"LOGIN leaks one of its two lines",
     {{"250-AUTH LOGIN", same},
      {"AUTH LOGIN", same},
      {"334 VXNlcm5hbWU6", same},
      {"c2FsZXM=", star},
      {"334 UGFzc3dvcmQ6", same},
      {"c2VjcmV0", star},
      {"235 ok", same},
      {"QUIT", same},
      {"221 bye", same},
      {"closesocket", same}}},
    {"CRAM-MD5 leaks its line, or QUIT behind it is hidden",
     {{"AUTH CRAM-MD5", same},
      {"334 PDEyMzQ+", same},
      {"dGltIGI5MTNhNjAyYzdlZGE3YTQ5NWI0ZTZlNzMzNGQzODkw", star},
      {"235 ok", same},
      {"QUIT", same}}},
    {"a credential that looks like a good reply leaks",
     {{"AUTH LOGIN", same},
      {"334 x", same},
      {"235abcd=", star},
      {"334 y", same},
      {"334+abc=", star},
      {"235 ok", same}}},
    {"an odd but good reply switches the mask off",
     {{"AUTH LOGIN", same},
      {"250-first", same},
      {"250 go on", same},
      {"c2FsZXM=", star},
      {"25", same},
      {"c2VjcmV0", star},
      {"2", same},
      {"MAIL FROM:<a@b>", same}}},
    {"a refused CRAM-MD5 hides the trace, or LOGIN after it leaks",
     {{"AUTH CRAM-MD5", same},
      {"334 not base64 at all", same},
      {"Authentication mech found: LOGIN", same},
      {"AUTH LOGIN", same},
      {"334 x", same},
      {"c2FsZXM=", star},
      {"535 no", same},
      {"Unable to authenticate.", same},
      {"QUIT", same}}},
    {"a broken connection hides the commands of the next",
     {{"AUTH LOGIN", same},
      {"0 byte read...socket is closed", same},
      {"Unable to authenticate.", same},
      {"QUIT", same},
      {"connect POP3", same},
      {"+OK", same},
      {"STAT", same}}},
    {"an initial response leaks", {{"AUTH PLAIN AHNhbGVzAHNlY3JldA==", "AUTH PLAIN " + star}}},
};

} // namespace

TEST(TraceMask, FollowsTheExchange)
{
    for (const Exchange & exchange : exchanges) {
        TraceMask mask;
        for (const Line & line : exchange.lines) {
            EXPECT_EQ(line.shown == same ? line.said : line.shown, mask.apply(line.said, {}))
                << exchange.fault;
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
