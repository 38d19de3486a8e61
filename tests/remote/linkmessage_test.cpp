// Identity and order of the inbox's messages, as the lists see them.
#include "remote/linkmessage.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "utils/utmem/utmem.h"

namespace {

TEST(LinkMessage, MessageWithoutAnIdIsNotInTheMailbox)
{
    for (const char * id : {static_cast<const char *>(nullptr), ""}) {
        SMTPLinkMessage message(id, 7);
        EXPECT_STREQ(message.GetValue(), "");
        EXPECT_FALSE(message.Exists());
        EXPECT_EQ(message.GetMessageNum(), 0U);
    }
    const SMTPLinkMessage named("x", 7);
    EXPECT_TRUE(named.Exists());
    EXPECT_EQ(named.GetMessageNum(), 7U);
}

TEST(LinkMessage, LongIdIsCutAndComparedByItsKeptPart)
{
    const std::string kept(160, 'k');
    SMTPLinkMessage message((kept + "more").c_str(), 1);
    EXPECT_EQ(message.GetValue(), kept);
    SMTPLinkMessage same_start((kept + "other").c_str(), 2);
    EXPECT_EQ(message.compare(same_start.getKey()), KeyIsEqual);
}

TEST(LinkMessage, IdsSortAsTextWithoutRegardToCase)
{
    struct {
        const char * key;
        const char * id;
        CompareResult result;
    } const rows[] = {
        {"<ABC@h>", "<abc@h>", KeyIsEqual},
        {"<a9@h>", "<a10@h>", KeyIsAfter}, // as text, not as numbers
        {"<a10@h>", "<a9@h>", KeyIsBefore},
        {"<B@h>", "<a@h>", KeyIsAfter}, // in the order of bytes B is in front of a
        {"<a>", "<a>1", KeyIsBefore},
        {"[", "a", KeyIsBefore}, // between the cases
        {"\xe9", "a", KeyIsAfter},
    };
    for (const auto & row : rows) {
        SMTPLinkMessage message(row.id, 1);
        EXPECT_EQ(message.compare(SMTPLinkMessage::key_of(row.key)), row.result)
            << row.key << " with " << row.id;
    }
}

TEST(LinkMessage, FingerAtTheFrontGivesTheSmallestId)
{
    SkipList list(ut_malloc, ut_free, 0xFFFFFFFF);
    for (const char * id : {"<c>", "<A>", "<b>"}) {
        list.add(new SMTPLinkMessage(id, 1));
    }
    std::string order;
    SkipListFinger front(&list);
    while (auto * message = static_cast<SMTPLinkMessage *>(front.remove())) {
        order += message->GetValue();
        delete message;
    }
    EXPECT_EQ(order, "<A><b><c>");
}

} // namespace
