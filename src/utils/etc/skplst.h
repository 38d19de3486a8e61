// SkipList: entries of the caller in the order of their keys. SkipListFinger: a position in a list, which
// makes insertion and removal there cost no search. After W. Pugh, "Skip Lists: A Probabilistic Alternative
// to Balanced Trees", CACM 33 (1990).
//
// Order. The list never looks at keys itself, it asks the entries. Equal keys are kept, the newest in front.
// Ownership. Entries belong to the caller, only deleteEntries destroys them. Nodes live in chunks of memory
// that the list gets and gives back through the two functions of its owner. Failure. Only memory can fail,
// and that isn't reported: a list that can't grow gives up all its chunks, and error() is TRUE from then on.
// It has forgotten its entries, and every operation on it or on its fingers treats it as an empty list that
// takes nothing in. An owner that mustn't lose entries asks error() after adding. Threads. A list and its
// fingers belong to one thread at a time. There is no process-wide state: each list draws from a generator of
// its own.
#pragma once

#include "utils/etc/uttypes.h"

// Opaque: only entries interpret it.
using SkipListKey = void **;

// How a key compares with an entry, said of the key.
enum CompareResult {
    KeyIsBefore = 0, // the key sorts in front of the entry
    KeyIsEqual = 1,  // the key is the entry's key
    KeyIsAfter = 2   // the key sorts behind the entry
};

// What a list stores.
class SkipListEntry {
public:
    SkipListEntry() = default;
    SkipListEntry(const SkipListEntry &) = delete;
    SkipListEntry & operator=(const SkipListEntry &) = delete;
    virtual ~SkipListEntry() = default;

    // The key of this entry, good until freeKey is called with it. SkipList::add asks for it.
    virtual SkipListKey * getKey() = 0;
    virtual void freeKey(SkipListKey * key) = 0;

    // A strict total order over the keys in use.
    virtual CompareResult compare(SkipListKey * key) = 0;
};

static_assert(sizeof(SkipListEntry) == sizeof(void *), "a virtual table and nothing else");

// Levels of a list and greatest height of a node: at a quarter of the nodes on level 2 and half of each level
// on the next, enough for 2^30 entries. Level n, counted from 1, has index n - 1 in all arrays.
constexpr unsigned int SKIPLIST_LEVELS = 30;

// A node, with as many forward pointers as its height. In a free chain _entry links the free nodes.
struct SkipListNode {
    SkipListEntry * _entry;
    SkipListNode * _forward_ptr[]; // the next node of each level; null at its end
};

static_assert(sizeof(SkipListNode) == sizeof(void *), "forward pointers follow the entry without a gap");

// Bytes of a node.
[[nodiscard]] constexpr unsigned int skip_list_node_size(unsigned int height)
{
    return static_cast<unsigned int>(sizeof(SkipListNode) + height * sizeof(void *));
}

// A block that nodes are carved from.
struct MemoryChunk {
    MemoryChunk * _next_chunk; // the older one
    a_byte * _mem;
    unsigned int _mem_len;   // usable bytes
    unsigned int _next_free; // offset of the first byte not handed out yet
};

static_assert(sizeof(MemoryChunk) == 24);
static_assert(offsetof(MemoryChunk, _mem_len) == 16);

// Where the nodes of one list come from. Nothing goes back to the allocator before the end.
class SkipListNodePool {
public:
    SkipListNodePool(void * (*alloc_func)(size_t), void (*free_func)(void *), size_t max_chunk_size);
    ~SkipListNodePool();
    SkipListNodePool(const SkipListNodePool &) = delete;
    SkipListNodePool & operator=(const SkipListNodePool &) = delete;

    // A node of `height` (1 to 30), fields not set. Null in the error state, and when growing fails, which is
    // then the error state: all nodes handed out so far are gone.
    [[nodiscard]] SkipListNode * allocNode(unsigned int height);

    // Keeps `node`, of that height, for the next allocNode of the same height.
    void freeNode(SkipListNode * node, unsigned int height);

    // 1 with probability 3/4, and each height from 2 on half as likely as the one below it, at most 30.
    [[nodiscard]] unsigned int generateRandomLevel();

    // Opens a new chunk; without memory the error state.
    void addMemChunk();

    // Gives back the newest chunk, which must exist.
    void freeFrontMemChunk();

    void clearFreeNodeChains();

    // TRUE after a failure, forever.
    [[nodiscard]] a_bool error() const { return _mem_chain == nullptr ? TRUE : FALSE; }

private:
    [[nodiscard]] size_t next_chunk_size() const;
    [[nodiscard]] MemoryChunk * new_chunk(size_t size) const;
    [[nodiscard]] uint32 draw();

    MemoryChunk * _mem_chain; // newest first; null is the error state
    a_byte * _free_node_chains[SKIPLIST_LEVELS];
    size_t _max_chunk_size;
    void * (*_alloc_func)(size_t);
    void (*_free_func)(void *);
    uint64 _random; // state of the generator
};

class SkipList {
public:
    // `alloc_func` gives memory, aligned as malloc's, or null, and `free_func` takes it back. No chunk is
    // larger than `max_alloc_size` (but for rounding up to the next multiple of 16), which must be at least
    // 248, the size of the largest node: with less, or without memory, error() is TRUE from the start.
    SkipList(void * (*alloc_func)(size_t), void (*free_func)(void *), size_t max_alloc_size);

    // Gives back all chunks. Entries aren't destroyed: the owner calls deleteEntries before.
    ~SkipList() = default;
    SkipList(const SkipList &) = delete;
    SkipList & operator=(const SkipList &) = delete;

    // TRUE when the constructor or a later growth failed: all positions are lost and stay so.
    [[nodiscard]] a_bool error() const { return _node_pool.error(); }
    [[nodiscard]] a_bool isEmpty() const;

    // Inserts by the entry's key, in front of its equals. Without memory the entry isn't in the list; error()
    // tells.
    void add(SkipListEntry * entry);

    // The newest entry with that key, or null.
    [[nodiscard]] SkipListEntry * get(SkipListKey * key);

    // Takes the newest entry with that key out and returns it, not destroyed; null if there is none.
    SkipListEntry * remove(SkipListKey * key);

    // Takes every entry out and destroys it. The memory of the nodes stays with the list, which can be used
    // again.
    void deleteEntries();

private:
    friend class SkipListFinger;

    SkipListNodePool _node_pool;
    SkipListNode *
        _root_node; // height 30, without an entry, in front of everything; null: there never was one
};

// The target of a finger is the entry it stands in front of; behind the last entry there is none. A finger is
// valid until another finger or the list removes a node that it remembers or adds one in the gap in front of
// its target; a list that has come into its error state makes all fingers stand in an empty list.
class SkipListFinger {
public:
    // Stands at the front; with a key, then moves to it. The list must outlive the finger.
    explicit SkipListFinger(SkipList * list);
    SkipListFinger(SkipList * list, SkipListKey * key);
    ~SkipListFinger() = default;

    // The target becomes the first entry, which is returned; null in an empty list.
    SkipListEntry * moveToFront();

    // The target becomes the first entry not in front of `key`, which is returned; null when there is none. A
    // finger in front of the key goes on from where it stands. On each level it compares with entries in
    // front of the key and the first that isn't, and with no entry twice but for the look at where it stands.
    SkipListEntry * moveTo(SkipListKey * key);

    // Goes on by one and returns the entry stepped over, not the new target; null, without a step, behind the
    // last.
    SkipListEntry * moveForward();

    // The target's entry; null behind the last.
    [[nodiscard]] SkipListEntry * getEntry();

    // Inserts in front of the target; the caller sees to the order. The new entry becomes the target. Without
    // memory the entry isn't in the list; the list's error() tells.
    void insert(SkipListEntry * entry);

    // Takes the target out and returns its entry; the next one becomes the target. Null behind the last.
    SkipListEntry * remove();

    // 1 to 30, or 0 without a target.
    [[nodiscard]] unsigned int getNodeHeightOfTarget();

private:
    [[nodiscard]] SkipListNode * getNode();
    [[nodiscard]] static SkipListNode * findNodeBeforeTarget(SkipListNode * start_node, unsigned int level,
                                                             SkipListKey * key);

    SkipList * _list;
    SkipListNode * _node_before_target[SKIPLIST_LEVELS]; // on each level the last node in front of the target
};

static_assert(sizeof(SkipListFinger) == (1 + SKIPLIST_LEVELS) * sizeof(void *));
