#include "utils/etc/skplst.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

constexpr size_t NO_LIMIT = 0xFFFFFFFF;

// What the entries below have been asked; reset by the fixture.
struct a_log {
    std::vector<int> compared; // numbers of the entries, in the order of the questions
    int living = 0;
    int keys_given = 0;
    int keys_freed = 0;
} said;

class Entry : public SkipListEntry {
public:
    explicit Entry(int key) : _key(key) { ++said.living; }
    ~Entry() override { --said.living; }

    SkipListKey * getKey() override
    {
        ++said.keys_given;
        return key_of(_key);
    }
    void freeKey(SkipListKey * key) override { said.keys_freed += key == key_of(_key) ? 1 : 100; }
    CompareResult compare(SkipListKey * key) override
    {
        said.compared.push_back(_key);
        const int wanted = *reinterpret_cast<const int *>(key);
        return wanted < _key ? KeyIsBefore : wanted == _key ? KeyIsEqual : KeyIsAfter;
    }

    static SkipListKey * key_of(const int & key)
    {
        return reinterpret_cast<SkipListKey *>(const_cast<int *>(&key));
    }

    int _key;
};

int key_in(SkipListEntry * entry)
{
    return entry == nullptr ? -1 : static_cast<Entry *>(entry)->_key;
}

// The allocator under the list: counts, remembers sizes, and fails from the n-th call on.
struct an_allocator {
    long calls_until_failure = -1;
    std::vector<size_t> sizes;
    std::set<void *> blocks;
} memory;

void * counted_alloc(size_t size)
{
    if (memory.calls_until_failure == 0) {
        return nullptr;
    }
    if (memory.calls_until_failure > 0) {
        --memory.calls_until_failure;
    }
    void * block = std::malloc(size);
    memory.sizes.push_back(size);
    memory.blocks.insert(block);
    return block;
}

void counted_free(void * block)
{
    ASSERT_EQ(memory.blocks.erase(block), 1u) << "freed twice, or never allocated";
    std::free(block);
}

class SkipListTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        said = {};
        memory = {};
    }
    void TearDown() override
    {
        EXPECT_EQ(memory.blocks.size(), 0U) << "blocks of the list are left";
        EXPECT_EQ(said.keys_given, said.keys_freed);
    }

    // Adds new entries with these keys; the list of the test owns them, and deleteEntries destroys them.
    static void fill(SkipList & list, const std::vector<int> & keys)
    {
        for (const int key : keys) {
            list.add(new Entry(key));
        }
    }
};

TEST_F(SkipListTest, FingerInFrontOfTheKeyIsNotSentBack)
{
    SkipList list(counted_alloc, counted_free, NO_LIMIT);
    fill(list, {10, 20, 30, 40});
    const int key = 35;
    SkipListFinger finger(&list);
    finger.moveForward();
    finger.moveForward();
    said.compared.clear();
    EXPECT_EQ(key_in(finger.moveTo(Entry::key_of(key))), 40);
    ASSERT_FALSE(said.compared.empty());
    EXPECT_EQ(said.compared.front(), 20) << "the look at where the finger stands comes first";
    list.deleteEntries();
}

TEST_F(SkipListTest, HeightsComeWithTheirProbabilities)
{
    constexpr unsigned int draws = 1U << 20;
    SkipListNodePool pool(counted_alloc, counted_free, NO_LIMIT);
    std::array<unsigned int, SKIPLIST_LEVELS + 1> seen = {};
    for (unsigned int i = 0; i < draws; ++i) {
        const unsigned int height = pool.generateRandomLevel();
        ASSERT_GE(height, 1U);
        ASSERT_LE(height, SKIPLIST_LEVELS);
        ++seen[height];
    }
    // Expected 3/4, 1/8, 1/16, ...; a tenth aside is more than twenty standard deviations for these heights.
    EXPECT_NEAR(seen[1], draws * 3.0 / 4, draws / 100.0);
    for (unsigned int height = 2; height <= 6; ++height) {
        const double expected = draws / static_cast<double>(1U << (height + 1));
        EXPECT_NEAR(seen[height], expected, expected / 10) << height;
    }
}

TEST_F(SkipListTest, ChunksGrowByHalfRoundedBlocksUpToTheLimit)
{
    const std::pair<size_t, std::vector<size_t>> rows[] = {
        {NO_LIMIT, {1008, 1504, 2256, 3376, 5072}}, // for 1000, 1500, 2250, 3375 and 5062 usable bytes
        {2000, {1008, 1504, 2016, 2016}},
        {248, {256, 256, 256}},
    };
    for (const auto & [limit, blocks] : rows) {
        memory = {};
        SkipListNodePool pool(counted_alloc, counted_free, limit);
        while (memory.sizes.size() < 2 * blocks.size()) {
            ASSERT_NE(pool.allocNode(SKIPLIST_LEVELS), nullptr);
        }
        for (size_t i = 0; i < blocks.size(); ++i) {
            EXPECT_EQ(memory.sizes[2 * i], sizeof(MemoryChunk)) << limit;
            EXPECT_EQ(memory.sizes[2 * i + 1], blocks[i]) << limit;
        }
    }
}

TEST_F(SkipListTest, DeletedEntriesLeaveTheirNodesForReuse)
{
    SkipList list(counted_alloc, counted_free, NO_LIMIT);
    for (int round = 0; round < 50; ++round) {
        fill(list, {3, 1, 2, 5, 4});
        list.deleteEntries();
        ASSERT_TRUE(list.isEmpty());
        ASSERT_EQ(said.living, 0);
    }
    // 250 nodes take more than 4000 bytes, which are four chunks at least; with reuse, at most five of each
    // height are ever made.
    EXPECT_LE(memory.sizes.size(), 2U * 2) << "new chunks in spite of free nodes";
}

// The fuzz target lets growth fail at any call; here, what a finger of before does on the lost list.
TEST_F(SkipListTest, AFailedGrowthLeavesAnEmptyHarmlessList)
{
    memory.calls_until_failure = 4; // two chunks
    SkipList list(counted_alloc, counted_free, NO_LIMIT);
    std::vector<std::unique_ptr<Entry>> entries;
    SkipListFinger finger(&list);
    while (!list.error()) {
        ASSERT_LT(entries.size(), 2000u) << "the failure was never met";
        entries.push_back(std::make_unique<Entry>(static_cast<int>(entries.size())));
        list.add(entries.back().get());
        finger.moveToFront();
    }
    EXPECT_TRUE(memory.blocks.empty()) << "all chunks go back at once";
    memory.calls_until_failure = -1; // memory would be there again, the list stays lost
    list.add(entries[0].get());
    finger.insert(entries[0].get());
    EXPECT_TRUE(list.isEmpty());
    EXPECT_EQ(list.get(Entry::key_of(0)), nullptr);
    EXPECT_EQ(list.remove(Entry::key_of(0)), nullptr);
    EXPECT_EQ(finger.moveForward(), nullptr);
    EXPECT_EQ(finger.moveTo(Entry::key_of(0)), nullptr);
    EXPECT_EQ(finger.remove(), nullptr);
    EXPECT_EQ(finger.getNodeHeightOfTarget(), 0U);
    list.deleteEntries();
    EXPECT_EQ(said.living, static_cast<int>(entries.size()));
}

TEST_F(SkipListTest, LimitBelowTheLargestNodeIsAnErrorFromTheStart)
{
    SkipList list(counted_alloc, counted_free, skip_list_node_size(SKIPLIST_LEVELS) - 1);
    EXPECT_TRUE(list.error());
    EXPECT_TRUE(list.isEmpty());
}

} // namespace
