#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <random>
#include <string>
#include <vector>

#include "reference/framing_model.h"
#include "remote/fake_sock.h"
#include "remote/orvsmtp_send.h"

namespace {

// A socket over the fake layer that is open from the start.
class Wire {
public:
    Wire() : sock(SocketInit(layer.info, "10.0.0.1"))
    {
        uint16 port = 25;
        EXPECT_TRUE(SocketOpen(sock, nullptr, &port, FALSE));
        layer.log.clear();
    }
    ~Wire()
    {
        SocketClose(sock);
        SocketFini(sock);
    }
    Wire(const Wire &) = delete;
    Wire & operator=(const Wire &) = delete;

    a_bool send(const std::string & text)
    {
        const std::vector<char> exact(text.begin(), text.end()); // no byte behind it
        return send_framed_text(sock, exact.data(), static_cast<uint32>(exact.size()));
    }
    // Sizes of the sends since the last call.
    std::vector<size_t> take_sizes()
    {
        std::vector<size_t> sizes;
        for (const std::string & line : layer.take_log())
            sizes.push_back(std::stoul(line.substr(line.find(' '))));
        return sizes;
    }

    fake_sock layer;
    a_sock * sock;
};

std::string on_wire(const std::string & text)
{
    Wire wire;
    EXPECT_TRUE(wire.send(text));
    return wire.layer.sent;
}

std::string as(size_t count, char c = 'a')
{
    std::string text(count, c);
    return text;
}

const std::string crlf = "\r\n";

// Rules read by a person; the model below has to agree with them, too.
TEST(Framing, LinesAreCutEndedAndKeptFromPeriods)
{
    const std::string lone_lf = as(49) + "\n" + as(560);
    const struct {
        const char * what;
        std::string text;
        std::string wire;
    } rows[] = {
        {"an empty text", "", ""},
        {"no line end at the end", "ABC", "ABC\r\n"},
        {"601 characters", as(601) + crlf, as(600) + crlf + "a\r\n"},
        {"1300 characters without a line end", as(1300), as(600) + crlf + as(600) + crlf + as(100) + crlf},
        {"a last stretch of 602", as(602), as(602) + crlf},
        {"a last stretch of 603", as(603), as(600) + crlf + "aaa\r\n"},
        {"a period at a line's start", "a\r\n.b\r\n", "a\r\n .b\r\n"},
        {"an end mark in the text", "a\r\n.\r\nb", "a\r\n .\r\nb\r\n"},
        {"a period at a forced break", as(600) + "." + as(9), as(600) + crlf + " ." + as(9) + crlf},
        {"the blank isn't counted", "." + as(599) + crlf, " ." + as(599) + crlf},
        {"a lone LF ends nothing", lone_lf, lone_lf.substr(0, 600) + crlf + lone_lf.substr(600) + crlf},
        {"a lone CR ends nothing", as(599) + "\r" + as(10), as(599) + "\r\r\n" + as(10) + crlf},
        {"a period behind a lone LF", "a\n.\r\n", "a\n.\r\n"},
        {"CR last and LF first of two reaches", as(601) + crlf + "b", as(600) + crlf + "a\r\nb\r\n"},
        {"CR at the very end", "ABC\r", "ABC\r\r\n"},
        {"zero bytes", std::string("a\0\r\n.\0", 6), std::string("a\0\r\n .\0\r\n", 9)},
    };
    for (const auto & row : rows) {
        EXPECT_EQ(on_wire(row.text), row.wire) << row.what;
        EXPECT_EQ(reference::framed(row.text), row.wire) << "the model: " << row.what;
    }
}

// A line with a length near those where the scan changes its way, made of what it looks for.
std::string random_line(std::mt19937 & random)
{
    static constexpr size_t lengths[] = {0,   1,   2,   597,  598,  599,  600,  601,
                                         602, 603, 604, 1022, 1023, 1024, 1025, 1200};
    std::string line(random() % 3 == 0 ? random() % 40 : lengths[random() % std::size(lengths)], 'a');
    for (size_t i = 0; i < line.size(); i += 1 + random() % 300)
        line[i] = ".\r\n\n\r x"[random() % 7];
    // Around the places where a reach or a forced line ends.
    for (const size_t at : {0, 598, 599, 600, 601, 602, 603, 1199, 1200, 1201}) {
        if (at < line.size() && random() % 3 == 0)
            line[at] = ".\r\n"[random() % 3];
    }
    return line;
}

std::string random_text(std::mt19937 & random)
{
    std::string text;
    const size_t count = random() % 6;
    for (size_t i = 0; i < count; ++i)
        text += random_line(random) + (random() % 8 != 0 ? "\r\n" : "");
    return text;
}

TEST(Framing, AgreesWithItsModelOnTextsAroundItsLimits)
{
    const unsigned seed = 20261122;
    std::mt19937 random(seed);
    Wire wire;
    for (int round = 0; round < 20000; ++round) {
        const std::string text = random_text(random);
        wire.layer.sent.clear();
        wire.layer.send_at_once = round % 4 == 0 ? 1 + random() % 700 : size_t{1} << 20;
        ASSERT_TRUE(wire.send(text));
        ASSERT_EQ(wire.layer.sent, reference::framed(text)) << "seed " << seed << ", round " << round;
        // Whatever the model says, the mail must not end early.
        ASSERT_EQ(("\r\n" + wire.layer.sent).find("\r\n."), std::string::npos) << round;
        wire.layer.log.clear();
    }
}

TEST(Framing, PiecesAreTheBytesOfTheTextAndWhatTheLinkAdds)
{
    using sizes = std::vector<size_t>;
    const struct {
        std::string text;
        sizes pieces;
    } rows[] = {
        {"", {}},
        {"ABC", {3, 2}},
        {"ABC\r\n", {5}},
        {".", {1, 1, 2}},
        {"a\r\nb\r\n.c\r\n", {6, 1, 4}},
        {"a\r\n" + as(1300), {603, 2, 600, 2, 100, 2}}, // gathered lines go with the first forced one
        {as(600) + ".\r\n", {600, 2, 1, 3}},
        // 1024 bytes wait for the next line, 1025 don't.
        {as(510) + crlf + as(510) + crlf + "c\r\n", {1027}},
        {as(510) + crlf + as(511) + crlf + "c\r\n", {1025, 3}},
    };
    for (const auto & row : rows) {
        Wire wire;
        ASSERT_TRUE(wire.send(row.text));
        EXPECT_EQ(wire.take_sizes(), row.pieces) << row.text;
    }
}

TEST(Framing, NothingGoesOutBehindAFailedSend)
{
    const std::string text = ".a\r\n.b\r\n" + as(700) + "\r\n" + as(598) + crlf + as(598) + "\r\nend";
    const std::string whole = reference::framed(text);
    for (size_t limit = 0; limit < whole.size(); ++limit) {
        Wire wire;
        wire.layer.send_limit = limit;
        wire.layer.send_code = ENOBUFS;
        errno = 0;
        ASSERT_FALSE(wire.send(text)) << limit;
        EXPECT_EQ(errno, ENOBUFS) << limit;
        EXPECT_EQ(wire.layer.sent, whole.substr(0, limit));
        EXPECT_EQ(
            std::count(wire.layer.log.begin(), wire.layer.log.end(), "> Error: No buffer space available."),
            1);
        EXPECT_EQ(wire.layer.log.back(), "> Error: No buffer space available.") << limit;
    }
}

} // namespace
