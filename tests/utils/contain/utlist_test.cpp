#include "utils/contain/utlist.h"

#include <cstring>
#include <memory>

#include <gtest/gtest.h>

namespace {

void link_before(c_utils_link & at, c_utils_link & node)
{
    node.next = &at;
    node.prev = at.prev;
    at.prev->next = &node;
    at.prev = &node;
}

TEST(SelfUnlinkingNode, DestructionClosesTheListAroundTheNode)
{
    c_utils_link anchor;
    c_utils_link first;
    c_utils_link last;
    link_before(anchor, first);
    {
        const std::unique_ptr<c_utils_link> middle = std::make_unique<c_utils_link>();
        link_before(anchor, *middle);
        link_before(anchor, last);
        ASSERT_EQ(first.next, middle.get());
    }
    EXPECT_EQ(first.next, &last);
    EXPECT_EQ(last.prev, &first);
}

// The storage outlives the node here, so what the destructor leaves behind can be seen.
TEST(SelfUnlinkingNode, DestroyedNodePointsToItself)
{
    c_utils_link anchor;
    c_utils_link alone;
    EXPECT_EQ(alone.next, &alone);
    EXPECT_EQ(alone.prev, &alone);
    alignas(c_utils_link) unsigned char storage[sizeof(c_utils_link)];
    c_utils_link * node = new (storage) c_utils_link;
    link_before(anchor, *node);
    node->~c_utils_link();
    c_utils_link * left[2];
    std::memcpy(left, storage + sizeof(void *), sizeof(left));
    EXPECT_EQ(left[0], node);
    EXPECT_EQ(left[1], node);
    EXPECT_EQ(anchor.next, &anchor);
    EXPECT_EQ(anchor.prev, &anchor);
}

} // namespace
