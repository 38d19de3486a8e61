#include "utils/etc/queue.h"

#include <gtest/gtest.h>

namespace {

TEST(Queue, ElementsComeOutInOrderAndARemovedOneKeepsItsPointers)
{
    a_queue anchor = {nullptr, nullptr};
    EXPECT_EQ(Q_element(&anchor), nullptr) << "never set up";
    anchor = {&anchor, &anchor};
    EXPECT_EQ(Q_element(&anchor), nullptr);
    a_queue a = {};
    a_queue b = {};
    a_queue c = {};
    Q_insert(&anchor, &a);
    Q_insert(&anchor, &c);
    Q_insert(&c, &b); // before c, not at the end
    Q_remove(&b);
    EXPECT_TRUE(b.before_me == &a && b.after_me == &c);
    EXPECT_TRUE(a.after_me == &c && c.before_me == &a && anchor.before_me == &c);
    EXPECT_EQ(Q_element(&anchor), &a);
    EXPECT_EQ(Q_element(&anchor), &c);
    EXPECT_TRUE(anchor.after_me == &anchor && anchor.before_me == &anchor);
}

} // namespace
