// A link whose n-th allocation fails, or all from the n-th on, at every n of every operation: the told
// result, no mail lost, and a new link that finds all that was there. This program is linked so that the
// library's calls of malloc, calloc and realloc come here; those of the C++ library, and so of the test,
// don't.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "outofmem/allocations.h"
#include "support/mail_stage.h"

namespace {

bool must_fail()
{
    ++allocations_made;
    if (allocations_until_failure == 0) {
        return false;
    }
    if (allocations_until_failure > 1) {
        --allocations_until_failure;
        return false;
    }
    allocations_until_failure = shortage == Shortage::FromThenOn ? 1 : 0;
    return true;
}

} // namespace

extern "C" {
void * __real_malloc(size_t size);
void * __real_calloc(size_t count, size_t size);
void * __real_realloc(void * block, size_t size);

void * __wrap_malloc(size_t size)
{
    return must_fail() ? nullptr : __real_malloc(size);
}
void * __wrap_calloc(size_t count, size_t size)
{
    return must_fail() ? nullptr : __real_calloc(count, size);
}
void * __wrap_realloc(void * block, size_t size)
{
    return must_fail() ? nullptr : __real_realloc(block, size);
}
}

void * operator new(size_t size, const std::nothrow_t &) noexcept
{
    return must_fail() ? nullptr : ::operator new(size);
}

namespace {

class Memory : public testing::TestWithParam<Shortage>, public support::MailStage {
protected:
    Memory()
    {
        profile.set("receive_only", "yes");
        for (const char * id : {"<a@h>", "<b@h>", "<c@h>"}) {
            put(id, std::string(id) + "\r\n");
        }
    }

    // The operation with its n-th allocation failing, for n from 1 until it needs fewer. `operation` is
    // handed a new link.
    template<class Operation> void at_every_allocation(Operation operation)
    {
        int n = 1;
        for (bool failed = true; failed; ++n) {
            SCOPED_TRACE("allocation " + std::to_string(n));
            ASSERT_LT(n, 1000);
            HLINK link = make_link();
            ASSERT_NE(link, nullptr);
            shortage = GetParam();
            allocations_until_failure = n;
            operation(link);
            failed = allocations_until_failure <= (shortage == Shortage::FromThenOn ? 1 : 0);
            allocations_until_failure = 0;
            MsgFiniLink(link);
            ASSERT_FALSE(HasFailure());
        }
        EXPECT_GT(n, 2) << "nothing failed";
    }

    static void expect_told(MSGRET ret)
    {
        EXPECT_TRUE(ret == MSG_SUCCESS || ret == MSG_FAILURE || ret == MSG_OUT_OF_MEMORY) << ret;
    }

    // A new link, with memory, still finds all of them.
    void expect_messages(const std::vector<std::string> & ids)
    {
        HLINK link = make_link();
        ASSERT_NE(link, nullptr);
        for (const std::string & id : ids) {
            HMSG msg = nullptr;
            ASSERT_EQ(MsgReceive(link, &msg), MSG_SUCCESS);
            EXPECT_EQ(static_cast<SMTPLinkMessage *>(msg)->GetValue(), id);
        }
        MsgFiniLink(link);
    }
};

TEST_P(Memory, LinkIsMadeWholeOrNotAtAll)
{
    int n = 1;
    for (bool failed = true; failed; ++n) {
        ASSERT_LT(n, 1000);
        shortage = GetParam();
        allocations_until_failure = n;
        HLINK link = make_link();
        failed = allocations_until_failure <= (shortage == Shortage::FromThenOn ? 1 : 0);
        allocations_until_failure = 0;
        EXPECT_TRUE(failed || link != nullptr);
        if (link != nullptr) {
            MsgFiniLink(link);
        }
    }
    EXPECT_GT(n, 3);
    expect_messages({"<a@h>", "<b@h>", "<c@h>"});
}

TEST_P(Memory, LookThatFailsDeliversTheSameMessagesLater)
{
    at_every_allocation([&](HLINK link) {
        HMSG msg = nullptr;
        const MSGRET ret = MsgReceive(link, &msg);
        expect_told(ret);
        EXPECT_EQ(msg != nullptr, ret == MSG_SUCCESS);
        if (msg != nullptr) {
            EXPECT_STREQ(static_cast<SMTPLinkMessage *>(msg)->GetValue(), "<a@h>");
        }
    });
    expect_messages({"<a@h>", "<b@h>", "<c@h>"});
}

TEST_P(Memory, TextIsWholeOrNotGiven)
{
    at_every_allocation([&](HLINK link) {
        const int wanted = std::exchange(allocations_until_failure, 0);
        HMSG msg = nullptr;
        ASSERT_EQ(MsgReceive(link, &msg), MSG_SUCCESS);
        allocations_until_failure = wanted;
        MSGRET ret = MSG_SUCCESS;
        EXPECT_EQ(content(link, msg, &ret).value_or("\r\n<a@h>\r\n"), "\r\n<a@h>\r\n");
        expect_told(ret);
    });
}

// A deletion that is told as failed may have been done all the same, when only its reply couldn't be read.
TEST_P(Memory, DeletionTakesNoOtherMessage)
{
    bool deleted = false;
    for (int n = 1; !deleted && n < 1000; ++n) {
        SCOPED_TRACE("allocation " + std::to_string(n));
        if (store->mails("bob").size() == 2) {
            put("<a@h>", "<a@h>\r\n");
        }
        HLINK link = make_link();
        ASSERT_NE(link, nullptr);
        HMSG msg = nullptr;
        ASSERT_EQ(MsgReceive(link, &msg), MSG_SUCCESS);
        EXPECT_STREQ(static_cast<SMTPLinkMessage *>(msg)->GetValue(), "<a@h>");
        shortage = GetParam();
        allocations_until_failure = n;
        deleted = MsgDelete(link, msg) == MSG_SUCCESS;
        allocations_until_failure = 0;
        MsgFiniLink(link);
        ASSERT_TRUE(server.wait_idle(support::PATIENCE));
        const size_t left = store->mails("bob").size();
        EXPECT_TRUE(left == 2 || (left == 3 && !deleted)) << left;
    }
    EXPECT_TRUE(deleted);
    expect_messages({"<b@h>", "<c@h>"});
}

TEST_P(Memory, SendSucceedsOrIsToldAsFailed)
{
    int told = 0;
    at_every_allocation([&](HLINK link) {
        const size_t before = store->mails("ann").size();
        const MSGRET ret = MsgSendV3(link, nullptr, "ann@there", "text\r\n", 6, 1, 0);
        expect_told(ret);
        told += ret == MSG_SUCCESS ? 1 : 0;
        // A mail whose final reply couldn't be read goes again.
        EXPECT_GE(store->mails("ann").size(), before + (ret == MSG_SUCCESS ? 1 : 0));
    });
    EXPECT_GT(told, 0);
    for (const std::string & mail : store->mails("ann")) {
        EXPECT_TRUE(mail.ends_with("\r\n\r\ntext\r\n\r\n")) << "cut: " << mail;
    }
}

INSTANTIATE_TEST_SUITE_P(Shortages, Memory, testing::Values(Shortage::OneAllocation, Shortage::FromThenOn),
                         [](const auto & info) {
                             return info.param == Shortage::OneAllocation ? "OneAllocation" : "FromThenOn";
                         });

} // namespace
