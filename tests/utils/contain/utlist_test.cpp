#include "utils/contain/utlist.h"

#include <cstring>
#include <new>

#include <gtest/gtest.h>

namespace {

void link_before(c_utils_link & at, c_utils_link & node)
{
    node.next = &at;
    node.prev = at.prev;
    at.prev->next = &node;
    at.prev = &node;
}

// The storage outlives the node here, so what the destructor leaves behind can be seen.
TEST(SelfUnlinkingNode, DestructionClosesTheListAndTheNodePointsToItself)
{
    c_utils_link anchor;
    c_utils_link first;
    c_utils_link last;
    EXPECT_EQ(anchor.next, &anchor);
    EXPECT_EQ(anchor.prev, &anchor);
    alignas(c_utils_link) unsigned char storage[sizeof(c_utils_link)];
    auto * node = new (storage) c_utils_link;
    link_before(anchor, first);
    link_before(anchor, *node);
    link_before(anchor, last);
    node->~c_utils_link();
    EXPECT_EQ(first.next, &last);
    EXPECT_EQ(last.prev, &first);
    c_utils_link * left[2];
    std::memcpy(left, storage + sizeof(void *), sizeof(left));
    EXPECT_EQ(left[0], node);
    EXPECT_EQ(left[1], node);
}

} // namespace
