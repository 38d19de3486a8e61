#include "remote/orvsmtp_auth.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "mailserver/digest.h"
#include "support/link_fixture.h"

namespace {

using namespace support;
using lines = std::vector<std::string>;

// --- Reply lines

TEST(SupportedAuth, OnlyWholeKeywordsAndMechanismsCount)
{
    const struct {
        const char * line;
        uint32 mechanisms;
    } rows[] = {
        {"250-AUTH CRAM-MD5 LOGIN PLAIN", 3},
        {"250-Auth=Login", 2},
        {"250-AUTH\tLOGIN\tCRAM-MD5", 3},
        {"250-AUTH  PLAIN   LOGIN  ", 2},
        {"250-AUTH==LOGIN", 0},
        {"250-AUTH= LOGIN", 2},
        {"250 CRAM-MD5 LOGIN", 0},
        {"250-AUTH LOGIN,CRAM-MD5", 0},
        {"250-AUTH LOGINS XLOGIN CRAM-MD CRAM-MD55", 0},
        {"250-AUTH", 0},
        {"250", 0},
    };
    for (const auto & row : rows) {
        std::vector<char> line(row.line, row.line + std::strlen(row.line)); // no byte behind it
        uint32 mechanisms = 0;
        grab_supported_auth(&mechanisms, line.data(), static_cast<unsigned int>(line.size()));
        EXPECT_EQ(mechanisms, row.mechanisms) << row.line;
    }
}

TEST(Apop, TimestampNeedsItsThreeCharactersInTheirOrder)
{
    const struct {
        const char * greeting;
        const char * timestamp; // null: none
    } rows[] = {
        {"+OK ready <1896.697170952@dbc.mtview.ca.us>", "<1896.697170952@dbc.mtview.ca.us>"},
        {"+OK <a@b> ready", "<a@b>"},
        {"+OK <a@b> <c@d> x", "<a@b> <c@d>"}, // from the first "<" to the last ">"
        {"+OK <@>", "<@>"},
        {"+OK me@host <a@b>", nullptr},
        {"+OK <a> b@c", nullptr},
        {"+OK >a@b<", nullptr},
        {"+OK a@b>", nullptr},
        {"+OK <a@b", nullptr},
    };
    for (const auto & row : rows) {
        const an_apop_timestamp found = apop_timestamp(row.greeting);
        if (row.timestamp == nullptr) {
            EXPECT_EQ(found.begin, nullptr) << row.greeting;
            EXPECT_EQ(found.end, nullptr) << row.greeting;
        } else
            EXPECT_EQ(std::string(found.begin, found.end), row.timestamp);
    }
}

// --- Base64 and HMAC

// Nothing for malformed input; the output block has no spare byte.
std::optional<std::string> decode(const std::string & text)
{
    std::vector<unsigned char> out(text.size() / 4 * 3);
    const std::vector<char> in(text.begin(), text.end());
    size_t len = 99;
    if (!base64_decode(in.data(), in.size(), out.data(), &len)) {
        EXPECT_EQ(len, 0u) << text;
        return std::nullopt;
    }
    return std::string(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(len));
}

TEST(Base64, GroupsArePaddedByTheirOwnRules)
{
    const struct {
        const char * text;
        std::optional<std::string> bytes;
    } rows[] = {
        {"", ""},
        {"Zg==", "f"},
        {"Zg==Zm8=Zm9v", "ffofoo"}, // goes on behind padding
        {"Z===", ""},
        {"====", ""},
        {"Zg=v", std::nullopt},
        {"=g==", std::nullopt},
        {"Z=9v", std::nullopt},
        {"Zm9", std::nullopt},
        {"Zm 9v", std::nullopt},
    };
    for (const auto & row : rows)
        EXPECT_EQ(decode(row.text), row.bytes) << row.text;
}

TEST(Base64, AgreesWithLibcryptoAtEveryLengthAndByte)
{
    std::mt19937 random(7);
    for (size_t len = 0; len <= 300; ++len) {
        std::string bytes(len, '\0');
        for (char & byte : bytes)
            byte = static_cast<char>(random());
        const std::vector<unsigned char> in(bytes.begin(), bytes.end());
        std::vector<char> out(base64_size(len), 'x');
        base64_encode(in.data(), in.size(), out.data());
        EXPECT_EQ(std::string(out.data(), out.size() - 1), mailserver::base64_encode(bytes)) << len;
        EXPECT_EQ(out.back(), '\0');
        EXPECT_EQ(decode(out.data()), bytes) << len;
    }
    for (int byte = 0; byte < 256; ++byte) {
        const std::string text = std::string("AAA") + static_cast<char>(byte);
        EXPECT_EQ(decode(text), mailserver::base64_decode(text)) << byte;
    }
}

std::string hmac(const std::string & key, const std::string & text)
{
    std::array<unsigned char, MD5_DIGEST_SIZE> digest{};
    hmac_md5(reinterpret_cast<const unsigned char *>(key.data()), key.size(),
             reinterpret_cast<const unsigned char *>(text.data()), text.size(), digest.data());
    std::string hex;
    for (const unsigned char byte : digest)
        hex.append(1, "0123456789abcdef"[byte >> 4]).append(1, "0123456789abcdef"[byte & 15]);
    return hex;
}

TEST(Hmac, AgreesWithLibcryptoAroundTheBlockSizeOfTheKey)
{
    for (size_t key = 0; key <= 130; ++key) {
        const std::string text(key * 3, static_cast<char>('a' + key % 26));
        const std::string password(key, static_cast<char>(key + 1));
        EXPECT_EQ(hmac(password, text), mailserver::cram_md5_digest(text, password)) << key;
    }
}

TEST(Md5, LengthCarriesIntoTheSecondWordAndNothingOfAPasswordStays)
{
    MD5_CTX context;
    MD5Init(&context);
    context.count[0] = 0xFFFFFE00; // one block short of 2^32 bits
    const std::vector<unsigned char> block(MD5_BLOCK_SIZE + 1, 'x');
    MD5Update(&context, block.data(), MD5_BLOCK_SIZE + 1);
    EXPECT_EQ(context.count[0], 8u);
    EXPECT_EQ(context.count[1], 1u);
    unsigned char digest[MD5_DIGEST_SIZE];
    MD5Final(digest, &context);
    const auto * bytes = reinterpret_cast<const unsigned char *>(&context);
    EXPECT_EQ(std::count(bytes, bytes + sizeof(context), 0), sizeof(context));
}

// --- Whole exchanges

struct Exchange {
    const char * what;
    std::vector<std::pair<const char *, const char *>> settings;
    Dialogue dialogue; // from the greeting on
};

void PrintTo(const Exchange & exchange, std::ostream * out)
{
    *out << exchange.what;
}

// The lines of a connection's opening in front of the greeting.
lines opening_lines(const char * service, const char * port)
{
    return {"socket", std::string("connect ") + service, std::string("port ") + port};
}

class AuthExchange : public LinkFixture, public testing::WithParamInterface<Exchange> {
protected:
    // The link with these settings keeps to the dialogue and traces it in its order.
    void run(Port port, const char * only, lines expected)
    {
        profile.set(only, "yes");
        profile.set("Debug", "yes");
        profile.set("smtp_authenticate", "yes");
        for (const auto & [name, value] : GetParam().settings)
            profile.set(name, value);
        server.expect(port, GetParam().dialogue.rows + (port == Port::Smtp ? smtp_quit() : pop_quit()));
        ASSERT_TRUE(make_link());
        lines traced = take_lines();
        ASSERT_FALSE(traced.empty());
        EXPECT_EQ(traced[0].find("Orvane SMTP Message Link"), 0u) << traced[0];
        traced.erase(traced.begin());
        const lines & dialogue = GetParam().dialogue.traced;
        expected.insert(expected.end(), dialogue.begin(), dialogue.end());
        EXPECT_EQ(traced, expected);
    }
};

class SmtpAuthExchange : public AuthExchange {};

TEST_P(SmtpAuthExchange, KeepsItsOrderOnTheWireAndInTheTrace)
{
    run(Port::Smtp, "send_only", opening_lines("SMTP", "smtp"));
}

const char cram_challenge[] = "> 334 PDE4OTYuNjk3MTcwOTUyQHBvc3RvZmZpY2UucmVzdG9uLm1jaS5uZXQ+";
const char cram_response[] = "< dGltIGI5MTNhNjAyYzdlZGE3YTQ5NWI0ZTZlNzMzNGQzODkw";
const std::vector<std::pair<const char *, const char *>> tim = {{"smtp_userid", "tim"},
                                                                {"smtp_password", "tanstaaftanstaaf"}};

// "Ym9i" is bob, "c2VjcmV0" is secret.
const Exchange smtp_exchanges[] = {
    {"CRAM-MD5 works, and LOGIN isn't run though it is announced",
     tim,
     {"> 220 ready", "< EHLO link.example", "> 250-hi", "> 250 AUTH LOGIN CRAM-MD5",
      "! Authentication mech found: CRAM-MD5", "< AUTH CRAM-MD5", cram_challenge, cram_response, "> 235 ok",
      "! Authentication mech found: LOGIN"}},
    {"the response is refused, LOGIN follows on the same connection",
     tim,
     {"> 220 ready", "< EHLO link.example", "> 250-AUTH LOGIN", "> 250 AUTH CRAM-MD5",
      "! Authentication mech found: CRAM-MD5", "< AUTH CRAM-MD5", cram_challenge, cram_response, "> 535 no",
      "! Authentication mech found: LOGIN", "< AUTH LOGIN", "> 334 VXNlcm5hbWU6", "< dGlt",
      "> 334 UGFzc3dvcmQ6", "< dGFuc3RhYWZ0YW5zdGFhZg==", "> 235 ok"}},
    {"an exchange that the challenge ends isn't cancelled",
     {},
     {"> 220 ready", "< EHLO link.example", "> 250 AUTH LOGIN CRAM-MD5",
      "! Authentication mech found: CRAM-MD5", "< AUTH CRAM-MD5", "> 334 not*Base64",
      "! Authentication mech found: LOGIN", "< AUTH LOGIN", "> 334 x", "< Ym9i", "> 334 y", "< c2VjcmV0",
      "> 235 ok"}},
    {"an empty challenge fails",
     {},
     {"> 220 ready", "< EHLO link.example", "> 250 AUTH CRAM-MD5", "! Authentication mech found: CRAM-MD5",
      "< AUTH CRAM-MD5", "> 334 ", "! Unable to authenticate."}},
    {"of several challenge lines the last wins",
     tim,
     {"> 220 ready", "< EHLO link.example", "> 250 AUTH CRAM-MD5", "! Authentication mech found: CRAM-MD5",
      "< AUTH CRAM-MD5", "> 334-AAAA", cram_challenge, cram_response, "> 235 ok"}},
    {"a refused AUTH and a refused LOGIN leave the session open",
     {},
     {"> 220 ready", "< EHLO link.example", "> 250 AUTH CRAM-MD5 LOGIN",
      "! Authentication mech found: CRAM-MD5", "< AUTH CRAM-MD5", "> 504 no",
      "! Authentication mech found: LOGIN", "< AUTH LOGIN", "> 334 x", "< Ym9i", "> 535 no",
      "! Unable to authenticate."}},
    {"the SMTP password goes with the POP3 user",
     {{"smtp_password", "tanstaaftanstaaf"}},
     {"> 220 ready", "< EHLO link.example", "> 250 AUTH LOGIN", "! Authentication mech found: LOGIN",
      "< AUTH LOGIN", "> 334 x", "< Ym9i", "> 334 y", "< dGFuc3RhYWZ0YW5zdGFhZg==", "> 235 ok"}},
    {"a refused EHLO gives HELO, and what it announced until then counts",
     {},
     {"> 220 ready", "< EHLO link.example", "> 250-AUTH LOGIN", "> 550 no", "< HELO link.example", "> 250 hi",
      "! Authentication mech found: LOGIN", "< AUTH LOGIN", "> 334 x", "< Ym9i", "> 334 y", "< c2VjcmV0",
      "> 235 ok"}},
    {"what stands behind a refusing line doesn't count, and a line may be empty",
     {},
     {"> 220-", "> 220 ready", "< EHLO link.example", "> 550-no", "> 250 AUTH LOGIN", "< HELO link.example",
      "> 250 hi", "! Unable to authenticate."}},
    {"a reply shorter than a code ends the reply, and is good",
     {},
     {"> 22", "< EHLO link.example", "> 2", "! Unable to authenticate."}},
    {"the setting names CRAM-MD5 to a server that announces nothing",
     {{"smtp_authenticate_mechanism", "Cram-Md5"},
      {"smtp_userid", "tim"},
      {"smtp_password", "tanstaaftanstaaf"}},
     {"> 220 ready", "< EHLO link.example", "> 250 hi", "! Authentication mech found: CRAM-MD5",
      "< AUTH CRAM-MD5", cram_challenge, cram_response, "> 235 ok"}},
    {"an unknown mechanism is told when nothing is announced, and before HELO",
     {{"smtp_authenticate_mechanism", "PLAIN"}},
     {"> 220 ready", "< EHLO link.example", "> 502 what", "! Unknown smtp authenticate mechanism specified!!",
      "< HELO link.example", "> 250 hi", "! Unable to authenticate."}},
    {"without authentication HELO is said and the setting's mechanism is used",
     {{"smtp_authenticate", "no"}, {"smtp_authenticate_mechanism", "LOGIN"}},
     {"> 220 ready", "< HELO link.example", "> 250 AUTH CRAM-MD5", "! Authentication mech found: LOGIN",
      "< AUTH LOGIN", "> 334 x", "< Ym9i", "> 334 y", "< c2VjcmV0", "> 235 ok"}},
    {"without authentication a failure isn't told",
     {{"smtp_authenticate", "off"}, {"smtp_authenticate_mechanism", "LOGIN"}},
     {"> 220 ready", "< HELO link.example", "> 250 hi", "! Authentication mech found: LOGIN", "< AUTH LOGIN",
      "> 503 no"}},
};
INSTANTIATE_TEST_SUITE_P(Rows, SmtpAuthExchange, testing::ValuesIn(smtp_exchanges));

class PopAuthExchange : public AuthExchange {};

TEST_P(PopAuthExchange, KeepsItsOrderOnTheWireAndInTheTrace)
{
    run(Port::Pop3, "receive_only", opening_lines("POP3", "pop3"));
}

const Exchange pop_exchanges[] = {
    {"APOP with the standard's digest",
     {{"pop3_userid", "mrose"}, {"pop3_password", "tanstaaf"}},
     {"> +OK POP3 server ready <1896.697170952@dbc.mtview.ca.us>",
      "< APOP mrose c4c9334bac560ecc979e58001b3e22fb", "> +OK maildrop has 1 message"}},
    {"the setting rules APOP out",
     {{"APOP_supported", "off"}},
     {"> +OK ready <1896.697170952@dbc.mtview.ca.us>", "< USER bob", "> +OK", "< PASS secret", "> +OK"}},
    {"an @ in front of the timestamp rules APOP out",
     {},
     {"> +OK me@host <1896.697170952@dbc.mtview.ca.us>", "< USER bob", "> +OK", "< PASS secret", "> +"}},
    {"a good reply is good whatever follows",
     {},
     {"> +", "< USER bob", "> +-ERR", "< PASS secret", "> +550"}},
};
INSTANTIATE_TEST_SUITE_P(Rows, PopAuthExchange, testing::ValuesIn(pop_exchanges));

} // namespace
