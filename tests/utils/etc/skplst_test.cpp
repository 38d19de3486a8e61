#include "utils/etc/skplst.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <map>
#include <memory>
#include <random>
#include <string>
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
    explicit Entry(int key, int serial = 0) : _key(key), _serial(serial) { ++said.living; }
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
    int _serial;
};

int key_in(SkipListEntry * entry)
{
    return entry == nullptr ? -1 : static_cast<Entry *>(entry)->_key;
}

// The allocator under the list: counts, remembers sizes, and fails from the n-th call on.
struct an_allocator {
    long calls_until_failure = -1;
    std::vector<size_t> sizes;
    std::map<void *, bool> blocks; // true for a chunk's record
    std::vector<bool> freed;       // in order, true for a record
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
    memory.blocks[block] = size == sizeof(MemoryChunk);
    return block;
}

void counted_free(void * block)
{
    const auto found = memory.blocks.find(block);
    ASSERT_NE(found, memory.blocks.end()) << "freed twice, or never allocated";
    memory.freed.push_back(found->second);
    memory.blocks.erase(found);
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

    static std::vector<int> keys_of(SkipList & list)
    {
        std::vector<int> keys;
        SkipListFinger finger(&list);
        while (SkipListEntry * entry = finger.moveForward()) {
            keys.push_back(key_in(entry));
        }
        return keys;
    }
};

TEST_F(SkipListTest, EmptyListHasNoTargetAnywhere)
{
    SkipList list(counted_alloc, counted_free, NO_LIMIT);
    const int key = 1;
    SkipListFinger finger(&list);
    EXPECT_FALSE(list.error());
    EXPECT_TRUE(list.isEmpty());
    EXPECT_EQ(list.get(Entry::key_of(key)), nullptr);
    EXPECT_EQ(list.remove(Entry::key_of(key)), nullptr);
    EXPECT_EQ(finger.getEntry(), nullptr);
    EXPECT_EQ(finger.moveForward(), nullptr);
    EXPECT_EQ(finger.moveTo(Entry::key_of(key)), nullptr);
    EXPECT_EQ(finger.remove(), nullptr);
    EXPECT_EQ(finger.getNodeHeightOfTarget(), 0U);
    list.deleteEntries();
    EXPECT_TRUE(said.compared.empty());
}

TEST_F(SkipListTest, MoveForwardGivesTheEntrySteppedOverAndStaysAtTheEnd)
{
    SkipList list(counted_alloc, counted_free, NO_LIMIT);
    fill(list, {2, 1});
    SkipListFinger finger(&list);
    EXPECT_EQ(key_in(finger.moveForward()), 1);
    EXPECT_EQ(key_in(finger.getEntry()), 2);
    EXPECT_EQ(key_in(finger.moveForward()), 2);
    EXPECT_EQ(finger.moveForward(), nullptr);
    EXPECT_EQ(finger.moveForward(), nullptr);
    EXPECT_EQ(key_in(finger.moveToFront()), 1);
    list.deleteEntries();
}

TEST_F(SkipListTest, FingerGoesBackForAKeyInFrontOfItAndAppendsBehindTheLast)
{
    SkipList list(counted_alloc, counted_free, NO_LIMIT);
    fill(list, {10, 20, 30});
    const int behind = 40;
    const int middle = 20;
    const int front = 5;
    SkipListFinger finger(&list, Entry::key_of(behind));
    EXPECT_EQ(finger.getEntry(), nullptr);
    finger.insert(new Entry(behind));
    EXPECT_EQ(key_in(finger.getEntry()), behind) << "the new entry is the target";
    EXPECT_EQ(key_in(finger.moveTo(Entry::key_of(middle))), middle);
    EXPECT_EQ(key_in(finger.moveTo(Entry::key_of(front))), 10);
    EXPECT_EQ(key_in(finger.moveTo(Entry::key_of(behind))), behind);
    EXPECT_EQ(keys_of(list), (std::vector<int>{10, 20, 30, 40}));
    list.deleteEntries();
}

TEST_F(SkipListTest, RemovingAtAFingerLeavesItOnTheNextEntry)
{
    SkipList list(counted_alloc, counted_free, NO_LIMIT);
    std::vector<int> keys(500);
    for (size_t i = 0; i < keys.size(); ++i) {
        keys[i] = static_cast<int>(i);
    }
    fill(list, keys);
    const int start = 100;
    SkipListFinger finger(&list, Entry::key_of(start));
    for (int key = start; key < 500; ++key) {
        const std::unique_ptr<SkipListEntry> taken(finger.remove());
        ASSERT_EQ(key_in(taken.get()), key);
        ASSERT_EQ(key_in(finger.getEntry()), key < 499 ? key + 1 : -1);
    }
    keys.resize(start);
    EXPECT_EQ(keys_of(list), keys);
    list.deleteEntries();
    EXPECT_EQ(said.living, 0);
}

// A finger that asks an entry twice, or asks entries behind the first one on a level that isn't in front of
// the key, gives right answers slowly.
TEST_F(SkipListTest, SearchAsksNoEntryTwiceAndStopsOnEachLevelAtTheFirstNotInFront)
{
    SkipList list(counted_alloc, counted_free, NO_LIMIT);
    std::vector<int> keys(1000);
    for (size_t i = 0; i < keys.size(); ++i) {
        keys[i] = static_cast<int>(2 * i);
    }
    fill(list, keys);
    for (int key = -1; key < 2001; key += 7) {
        SkipListFinger finger(&list);
        said.compared.clear();
        finger.moveTo(Entry::key_of(key));
        std::vector<int> asked = said.compared;
        // From level to level the entries not in front of the key come nearer, those in front of it too.
        std::vector<int> not_in_front;
        std::vector<int> in_front;
        for (const int entry : asked) {
            (entry < key ? in_front : not_in_front).push_back(entry);
        }
        EXPECT_TRUE(std::is_sorted(in_front.begin(), in_front.end())) << key;
        EXPECT_TRUE(std::is_sorted(not_in_front.rbegin(), not_in_front.rend())) << key;
        std::sort(asked.begin(), asked.end());
        EXPECT_EQ(std::adjacent_find(asked.begin(), asked.end()), asked.end()) << key;
        EXPECT_LE(asked.size(), 90U) << key;
    }
    list.deleteEntries();
}

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

TEST_F(SkipListTest, AllLevelsOfTheHighestNodeAreLinkedAndUnlinked)
{
    SkipListNodePool pool(counted_alloc, counted_free, NO_LIMIT);
    SkipListNode * highest = pool.allocNode(SKIPLIST_LEVELS);
    ASSERT_NE(highest, nullptr);
    std::fill_n(highest->_forward_ptr, SKIPLIST_LEVELS,
                highest); // within its bytes, says the address sanitizer
    pool.freeNode(highest, SKIPLIST_LEVELS);
    EXPECT_NE(pool.allocNode(SKIPLIST_LEVELS - 1), highest) << "chains of different heights are mixed up";
    EXPECT_EQ(pool.allocNode(SKIPLIST_LEVELS), highest);
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

TEST_F(SkipListTest, ListsLeaveTheProcessWideGeneratorAlone)
{
    std::srand(7);
    const int expected = std::rand();
    std::srand(7);
    {
        SkipList list(counted_alloc, counted_free, NO_LIMIT);
        fill(list, {1, 2, 3});
        list.deleteEntries();
    }
    EXPECT_EQ(std::rand(), expected);
}

TEST_F(SkipListTest, ChunksGrowByHalfRoundedBlocksUpToTheLimit)
{
    struct a_row {
        size_t limit;
        std::vector<size_t> blocks;
    };
    const a_row rows[] = {
        {NO_LIMIT, {1008, 1504, 2256, 3376, 5072}}, // for 1000, 1500, 2250, 3375 and 5062 usable bytes
        {2000, {1008, 1504, 2016, 2016}},
        {248, {256, 256, 256}},
    };
    for (const a_row & row : rows) {
        memory = {};
        {
            SkipListNodePool pool(counted_alloc, counted_free, row.limit);
            while (memory.sizes.size() < 2 * row.blocks.size()) {
                ASSERT_NE(pool.allocNode(SKIPLIST_LEVELS), nullptr);
            }
        }
        for (size_t i = 0; i < row.blocks.size(); ++i) {
            EXPECT_EQ(memory.sizes[2 * i], sizeof(MemoryChunk)) << row.limit;
            EXPECT_EQ(memory.sizes[2 * i + 1], row.blocks[i]) << row.limit;
        }
        for (size_t i = 0; i < memory.freed.size(); ++i) {
            EXPECT_EQ(memory.freed[i], i % 2 == 1) << "each block goes back before its record";
        }
        EXPECT_EQ(memory.blocks.size(), 0U);
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

// Growth fails at every call in turn: the list must be empty and harmless from then on, with nothing leaked
// but the entries, which are the test's.
TEST_F(SkipListTest, EveryFailedGrowthLeavesAnEmptyHarmlessList)
{
    constexpr int count = 2000; // more than the chunks of ten calls hold
    std::vector<std::unique_ptr<Entry>> entries;
    for (int key = 0; key < count; ++key) {
        entries.push_back(std::make_unique<Entry>(key));
    }
    for (long calls = 0; calls < 10; ++calls) {
        SCOPED_TRACE(calls);
        memory = {};
        memory.calls_until_failure = calls;
        SkipList list(counted_alloc, counted_free, NO_LIMIT);
        ASSERT_EQ(list.error(), calls < 2 ? TRUE : FALSE);
        const int first = 0;
        SkipListFinger early(&list);
        SkipListFinger late(&list, Entry::key_of(first));
        int added = 0;
        while (!list.error() && added < count) {
            list.add(entries[static_cast<size_t>(added)].get());
            early.moveToFront();
            late.moveForward();
            ++added;
        }
        ASSERT_TRUE(list.error()) << "the failure was never met";
        EXPECT_TRUE(memory.blocks.empty()) << "all chunks go back at once";

        said.compared.clear();
        memory.calls_until_failure = -1; // memory would be there again, the list stays lost
        list.add(entries[0].get());
        early.insert(entries[0].get());
        EXPECT_TRUE(list.isEmpty());
        EXPECT_EQ(list.get(Entry::key_of(first)), nullptr);
        EXPECT_EQ(list.remove(Entry::key_of(first)), nullptr);
        list.deleteEntries();
        for (SkipListFinger * finger : {&early, &late}) {
            EXPECT_EQ(finger->getEntry(), nullptr);
            EXPECT_EQ(finger->moveForward(), nullptr);
            EXPECT_EQ(finger->moveToFront(), nullptr);
            EXPECT_EQ(finger->moveTo(Entry::key_of(first)), nullptr);
            EXPECT_EQ(finger->remove(), nullptr);
            EXPECT_EQ(finger->getNodeHeightOfTarget(), 0U);
        }
        EXPECT_TRUE(list.error());
        EXPECT_TRUE(said.compared.empty());
        EXPECT_EQ(said.living, count);
    }
}

TEST_F(SkipListTest, LimitBelowTheLargestNodeIsAnErrorFromTheStart)
{
    SkipList list(counted_alloc, counted_free, skip_list_node_size(SKIPLIST_LEVELS) - 1);
    EXPECT_TRUE(list.error());
    EXPECT_TRUE(list.isEmpty());
}

// Random operations beside a std::multimap. Equal keys stand there in the order of arrival, newest last, so
// the list's order is that of the map with each run of equals reversed.
class Twin {
public:
    explicit Twin(unsigned int seed) : _random(seed), _list(counted_alloc, counted_free, NO_LIMIT) {}
    ~Twin() { _list.deleteEntries(); }

    void step()
    {
        const int key = pick(40);
        switch (pick(4)) {
        case 0:
        case 1:
            add(key);
            break;
        case 2:
            remove(key);
            break;
        default:
            walk(key);
            break;
        }
        ASSERT_EQ(_list.isEmpty() != FALSE, _twin.empty());
    }

    void expect_same()
    {
        std::vector<const SkipListEntry *> expected;
        for (auto run = _twin.begin(); run != _twin.end();) {
            const auto end = _twin.upper_bound(run->first);
            for (auto it = end; it != run;) {
                expected.push_back((--it)->second);
            }
            run = end;
        }
        std::vector<const SkipListEntry *> found;
        SkipListFinger finger(&_list);
        while (const SkipListEntry * entry = finger.moveForward()) {
            found.push_back(entry);
        }
        ASSERT_EQ(found, expected);
    }

private:
    int pick(int count) { return static_cast<int>(_random() % static_cast<unsigned int>(count)); }

    Entry * newest(int key)
    {
        const auto end = _twin.upper_bound(key);
        return end != _twin.begin() && std::prev(end)->first == key ? std::prev(end)->second : nullptr;
    }

    void add(int key)
    {
        Entry * entry = new Entry(key);
        _list.add(entry);
        _twin.emplace(key, entry);
    }

    void remove(int key)
    {
        Entry * expected = newest(key);
        ASSERT_EQ(_list.get(Entry::key_of(key)), expected);
        ASSERT_EQ(_list.remove(Entry::key_of(key)), expected);
        if (expected != nullptr) {
            _twin.erase(std::prev(_twin.upper_bound(key)));
            delete expected;
        }
    }

    // A finger that wanders before it takes one out and puts it back in the same place.
    void walk(int key)
    {
        SkipListFinger finger(&_list);
        for (int moves = pick(6); moves > 0; --moves) {
            const int to = pick(42) - 1;
            const auto at = _twin.lower_bound(to);
            SkipListEntry * expected = at == _twin.end() ? nullptr : newest(at->first);
            ASSERT_EQ(finger.moveTo(Entry::key_of(to)), expected);
            if (pick(2) == 0) {
                ASSERT_EQ(finger.moveForward(), expected);
            }
        }
        finger.moveTo(Entry::key_of(key));
        if (SkipListEntry * taken = finger.remove()) {
            finger.insert(taken);
            ASSERT_EQ(finger.getEntry(), taken);
            ASSERT_GE(finger.getNodeHeightOfTarget(), 1U);
        }
    }

    std::mt19937 _random;
    SkipList _list;
    std::multimap<int, Entry *> _twin;
};

TEST_F(SkipListTest, RandomOperationsAgreeWithAMultimap)
{
    for (unsigned int seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Twin twin(seed);
        for (int i = 0; i < 2000 && !HasFatalFailure(); ++i) {
            twin.step();
            if (i % 50 == 0) {
                twin.expect_same();
            }
        }
        twin.expect_same();
        ASSERT_FALSE(HasFatalFailure());
    }
}

} // namespace
