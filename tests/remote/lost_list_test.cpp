// What the link does once the list of the messages that the host holds has lost its memory: the numbers of
// these messages can't be brought up to date any more, so nothing may be handed out, read or deleted by them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "remote/orvsmtp.h"
#include "remote/orvsmtp_inbox.h"
#include "support/host_profile.h"

namespace {

bool memory_is_left = true;

void * scarce_alloc(size_t size)
{
    return memory_is_left ? std::malloc(size) : nullptr;
}

// A link without servers, whose list of received messages gets its memory from scarce_alloc. The first mail
// stands in that list, others can be found.
class LostListTest : public testing::Test {
protected:
    LostListTest()
    {
        memory_is_left = true;
        std::destroy_at(&lnk.receivedMsgLst);
        new (&lnk.receivedMsgLst) SkipList(scarce_alloc, std::free, 0xFFFFFFFF);
        lnk.msgcb = support::CallbackRecorder::callback();
        lnk.profile_access = profile.access();
        lnk.receivedMsgLst.add(held.get());
    }
    ~LostListTest() override
    {
        if (!lnk.receivedMsgLst.error()) {
            (void)lnk.receivedMsgLst.remove(held->getKey());
        }
    }

    // Takes messages as a host does until the list can't grow; the result that told so.
    MSGRET receive_until_memory_runs_out()
    {
        memory_is_left = false;
        MSGRET ret = MSG_SUCCESS;
        for (int i = 0; i < 10000 && ret == MSG_SUCCESS; ++i) {
            const std::string id = std::to_string(i);
            lnk.unreceivedMsgLst.add(new SMTPLinkMessage(id.c_str(), static_cast<unsigned long>(i) + 2));
            HMSG msg = nullptr;
            ret = MsgReceive(&lnk, &msg);
            if (msg != nullptr) {
                received.emplace_back(static_cast<SMTPLinkMessage *>(msg));
            }
        }
        if (!lnk.receivedMsgLst.error()) {
            std::abort(); // the list would delete what this test owns
        }
        return ret;
    }

    support::HostProfile profile{{"suppress_dialogs", "yes"}};
    support::CallbackRecorder recorder;
    std::unique_ptr<SMTPLinkMessage> held = std::make_unique<SMTPLinkMessage>("<held@h>", 1);
    std::vector<std::unique_ptr<SMTPLinkMessage>> received;
    a_smtp_link_info lnk;
};

TEST_F(LostListTest, NothingIsHandedOutReadOrDeletedByANumberOfAnEarlierSession)
{
    EXPECT_EQ(receive_until_memory_runs_out(), MSG_OUT_OF_MEMORY);
    EXPECT_GT(received.size(), 0u); // all those before it were in the list, and so were handed out
    char * txt = nullptr;
    uint32 len = 0;
    EXPECT_EQ(MsgContent(&lnk, held.get(), &txt, &len), MSG_OUT_OF_MEMORY);
    EXPECT_EQ(MsgDelete(&lnk, held.get()), MSG_OUT_OF_MEMORY);
    EXPECT_STREQ(held->GetValue(), "<held@h>"); // still the host's
    EXPECT_EQ(POPInboxRead(&lnk).AttemptAction(0), COM_OUT_OF_MEMORY);
}

} // namespace
