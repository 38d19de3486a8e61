#include "host/message_text.h"

#include <gtest/gtest.h>

#include <string>

using namespace orvhost;

TEST(MessageText, SizeOnTheWireCountsWhatFramingAdds)
{
    const std::string line600(600, 'x');
    const std::pair<std::string, size_t> rows[] = {
        {"", 0},
        {"ABC", 5},
        {"ABC\r\n", 5},
        {"\r\n", 2},
        {"\r\n\r\n", 4},
        {".\r\n..\r\na.b", 4 + 5 + 5},
        {line600 + "\r\n", 602},
        {line600 + ".\r\n", 602 + 4},
        {line600 + line600 + std::string(100, 'x'), 602 + 602 + 102},
        {"a\nb\rc", 7},
    };
    for (const auto & [text, size] : rows) {
        EXPECT_EQ(size, framed_size(text)) << text;
    }
}

TEST(MessageText, UnframingTakesOnePairAtEachEndAndNoMore)
{
    const std::pair<std::string, std::string> rows[] = {
        {"\r\nABC\r\n", "ABC"}, {"\r\n\r\nABC\r\n\r\n", "\r\nABC\r\n"},
        {"ABC", "ABC"},         {"", ""},
        {"\r\n", ""},           {"\r\n\r\n", ""},
        {"\nABC\n", "\nABC\n"},
    };
    for (const auto & [text, wanted] : rows) {
        EXPECT_EQ(wanted, unframed(text));
    }
}

TEST(MessageText, LoneLineFeedsAreFoundWhereverTheyStand)
{
    for (const char * text : {"\n", "a\r\nb\n", "\r\n\n", "a\nb\r\n"}) {
        EXPECT_TRUE(has_lone_line_feed(text)) << text;
    }
    for (const char * text : {"", "a", "a\r\nb\r\n", "\r", "\r\r\n"}) {
        EXPECT_FALSE(has_lone_line_feed(text)) << text;
    }
}

TEST(MessageText, APeriodAloneBehindALoneLineFeedWouldEndTheMailEarly)
{
    for (const char * text : {"a\n.\nb", "a\n.\r\nb", "\n.\n", "a\n.", "a\r\n.\n.\n"}) {
        EXPECT_TRUE(ends_mail_early(text)) << text;
    }
    for (const char * text : {"a\r\n.\r\nb", "a\r\n.\nb", "a\n..\n", "a\n.b\n", "a\n. \n", "\n", "."}) {
        EXPECT_FALSE(ends_mail_early(text)) << text;
    }
}
