#include "utils/etc/queue.h"

#include <gtest/gtest.h>

namespace {

TEST(Queue, ElementsComeOutInTheOrderOfInsertion)
{
    a_queue anchor = {nullptr, nullptr};
    EXPECT_EQ(Q_element(&anchor), nullptr) << "never set up";
    anchor = {&anchor, &anchor};
    EXPECT_EQ(Q_element(&anchor), nullptr);
    a_queue a = {};
    a_queue b = {};
    Q_insert(&anchor, &a);
    Q_insert(&anchor, &b);
    EXPECT_EQ(Q_element(&anchor), &a);
    EXPECT_EQ(Q_element(&anchor), &b);
    EXPECT_EQ(anchor.after_me, &anchor);
    EXPECT_EQ(anchor.before_me, &anchor);
}

TEST(Queue, RemovedElementKeepsItsPointersAndTheRestStaysClosed)
{
    a_queue anchor = {&anchor, &anchor};
    a_queue a = {};
    a_queue b = {};
    a_queue c = {};
    Q_insert(&anchor, &a);
    Q_insert(&anchor, &c);
    Q_insert(&c, &b); // before c, not at the end
    Q_remove(&b);
    EXPECT_EQ(b.before_me, &a);
    EXPECT_EQ(b.after_me, &c);
    EXPECT_EQ(a.after_me, &c);
    EXPECT_EQ(c.before_me, &a);
    EXPECT_EQ(anchor.before_me, &c);
}

} // namespace
