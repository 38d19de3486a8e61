#include "host/message_text.h"

#include <gtest/gtest.h>

#include <string>

using namespace orvhost;

TEST(MessageText, SizeOnTheWireCountsWhatFramingAdds)
{
    const std::string line600(600, 'x');
    const std::pair<std::string, size_t> rows[] = {
        {"", 0},
        {"ABC\r\n", 5},
        {"\r\n", 2},
        {".\r\n..\r\na.b", 4 + 5 + 5},
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

TEST(MessageText, LoneLineFeedsAndWhatWouldEndTheMailEarlyAreFoundWhereverTheyStand)
{
    const struct {
        const char * text;
        bool lone;
        bool early; // a period alone behind a lone LF
    } rows[] = {
        {"a\r\n.\r\nb\r\r\n", false, false},
        {"a\r\n.\nb", true, false},
        {"a\n..\n", true, false},
        {"a\n.b\n", true, false},
        {".", false, false},
        {"\n", true, false},
        {"a\n.\nb", true, true},
        {"a\n.\r\nb", true, true},
        {"\n.\n", true, true},
        {"a\n.", true, true},
        {"a\r\n.\n.\n", true, true},
    };
    for (const auto & row : rows) {
        EXPECT_EQ(row.lone, has_lone_line_feed(row.text)) << row.text;
        EXPECT_EQ(row.early, ends_mail_early(row.text)) << row.text;
    }
}
