#include "utils/etc/skplst.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace {

constexpr size_t FIRST_CHUNK_SIZE =
    1000;                            // the root and about fifty nodes: most mailboxes need no second chunk
constexpr float CHUNK_GROWTH = 1.5F; // keeps the number of chunks logarithmic
constexpr size_t BLOCK_GRAIN = 16;   // blocks are asked for in multiples of it

// Draws run from 0 to 0x7FFFFFFF.
constexpr uint32 HIGHEST_FLAT_DRAW = 0x1FFFFFFF;   // one in four nodes rises above level 1
constexpr uint32 HIGHEST_RISING_DRAW = 0x3FFFFFFF; // one in two rises from each further level

// The linear congruential generator of D. E. Knuth, MMIX; its upper bits are the good ones.
constexpr uint64 RANDOM_FACTOR = 6364136223846793005U;
constexpr uint64 RANDOM_STEP = 1442695040888963407U;

// The next question of a search is about the node behind `next` or about the one below it, behind `node`:
// both come into the cache while the entry of `next` compares. Long lists gain about a tenth.
void fetch_ahead(const SkipListNode * node, const SkipListNode * next, unsigned int level)
{
    __builtin_prefetch(next->_forward_ptr[level - 1]);
    if (level > 1) {
        __builtin_prefetch(node->_forward_ptr[level - 2]);
    }
}

} // namespace

SkipListNodePool::SkipListNodePool(void * (*alloc_func)(size_t), void (*free_func)(void *),
                                   size_t max_chunk_size)
    : _mem_chain(nullptr), _free_node_chains(), _max_chunk_size(max_chunk_size), _alloc_func(alloc_func),
      _free_func(free_func), _random(static_cast<uint32>(reinterpret_cast<uintptr_t>(this)))
{
    static_assert(offsetof(SkipListNodePool, _free_node_chains) == 8);
    static_assert(offsetof(SkipListNodePool, _max_chunk_size) == 248);
    static_assert(offsetof(SkipListNodePool, _alloc_func) == 256);
    static_assert(offsetof(SkipListNodePool, _free_func) == 264);
    addMemChunk();
}

SkipListNodePool::~SkipListNodePool()
{
    while (_mem_chain != nullptr) {
        freeFrontMemChunk();
    }
}

SkipListNode * SkipListNodePool::allocNode(unsigned int height)
{
    if (error()) {
        return nullptr;
    }
    a_byte *& free_chain = _free_node_chains[height - 1];
    if (free_chain != nullptr) {
        SkipListNode * node = reinterpret_cast<SkipListNode *>(free_chain);
        free_chain = reinterpret_cast<a_byte *>(node->_entry);
        return node;
    }
    const unsigned int need = skip_list_node_size(height);
    if (need > _mem_chain->_mem_len - _mem_chain->_next_free) {
        addMemChunk();
        if (error()) {
            return nullptr;
        }
    }
    a_byte * mem = _mem_chain->_mem + _mem_chain->_next_free;
    _mem_chain->_next_free += need;
    return reinterpret_cast<SkipListNode *>(mem);
}

void SkipListNodePool::freeNode(SkipListNode * node, unsigned int height)
{
    a_byte *& free_chain = _free_node_chains[height - 1];
    node->_entry = reinterpret_cast<SkipListEntry *>(free_chain);
    free_chain = reinterpret_cast<a_byte *>(node);
}

unsigned int SkipListNodePool::generateRandomLevel()
{
    if (draw() > HIGHEST_FLAT_DRAW) {
        return 1;
    }
    unsigned int height = 2;
    while (height < SKIPLIST_LEVELS && draw() <= HIGHEST_RISING_DRAW) {
        ++height;
    }
    return height;
}

uint32 SkipListNodePool::draw()
{
    _random = _random * RANDOM_FACTOR + RANDOM_STEP;
    return static_cast<uint32>(_random >> 33);
}

void SkipListNodePool::addMemChunk()
{
    MemoryChunk * chunk = new_chunk(next_chunk_size());
    if (chunk != nullptr) {
        chunk->_next_chunk = _mem_chain;
        _mem_chain = chunk;
        return;
    }
    while (_mem_chain != nullptr) {
        freeFrontMemChunk();
    }
    clearFreeNodeChains();
}

size_t SkipListNodePool::next_chunk_size() const
{
    const size_t size = _mem_chain == nullptr
                            ? FIRST_CHUNK_SIZE
                            : static_cast<size_t>(CHUNK_GROWTH * static_cast<float>(_mem_chain->_mem_len));
    return std::min({size, _max_chunk_size, size_t{std::numeric_limits<unsigned int>::max()}});
}

MemoryChunk * SkipListNodePool::new_chunk(size_t size) const
{
    if (size < skip_list_node_size(SKIPLIST_LEVELS)) {
        return nullptr; // the owner's limit: no chunk would ever hold every node
    }
    MemoryChunk * chunk = static_cast<MemoryChunk *>(_alloc_func(sizeof(MemoryChunk)));
    if (chunk == nullptr) {
        return nullptr;
    }
    a_byte * mem = static_cast<a_byte *>(_alloc_func(size / BLOCK_GRAIN * BLOCK_GRAIN + BLOCK_GRAIN));
    if (mem == nullptr) {
        _free_func(chunk);
        return nullptr;
    }
    *chunk = {nullptr, mem, static_cast<unsigned int>(size), 0};
    return chunk;
}

void SkipListNodePool::freeFrontMemChunk()
{
    MemoryChunk * chunk = _mem_chain;
    _mem_chain = chunk->_next_chunk;
    _free_func(chunk->_mem);
    _free_func(chunk);
}

void SkipListNodePool::clearFreeNodeChains()
{
    std::fill_n(_free_node_chains, SKIPLIST_LEVELS, nullptr);
}

SkipList::SkipList(void * (*alloc_func)(size_t), void (*free_func)(void *), size_t max_alloc_size)
    : _node_pool(alloc_func, free_func, max_alloc_size), _root_node(_node_pool.allocNode(SKIPLIST_LEVELS))
{
    static_assert(offsetof(SkipList, _node_pool) == 0);
    static_assert(offsetof(SkipList, _root_node) == sizeof(SkipListNodePool));
    if (_root_node != nullptr) {
        _root_node->_entry = nullptr;
        std::fill_n(_root_node->_forward_ptr, SKIPLIST_LEVELS, nullptr);
    }
}

a_bool SkipList::isEmpty() const
{
    return error() || _root_node->_forward_ptr[0] == nullptr ? TRUE : FALSE;
}

void SkipList::add(SkipListEntry * entry)
{
    SkipListKey * key = entry->getKey();
    SkipListFinger finger(this, key);
    finger.insert(entry);
    entry->freeKey(key);
}

SkipListEntry * SkipList::get(SkipListKey * key)
{
    SkipListFinger finger(this, key);
    SkipListEntry * entry = finger.getEntry();
    return entry != nullptr && entry->compare(key) == KeyIsEqual ? entry : nullptr;
}

SkipListEntry * SkipList::remove(SkipListKey * key)
{
    SkipListFinger finger(this, key);
    SkipListEntry * entry = finger.getEntry();
    return entry != nullptr && entry->compare(key) == KeyIsEqual ? finger.remove() : nullptr;
}

void SkipList::deleteEntries()
{
    SkipListFinger finger(this);
    while (SkipListEntry * entry = finger.remove()) {
        delete entry;
    }
}

SkipListFinger::SkipListFinger(SkipList * list) : _list(list), _node_before_target()
{
    moveToFront();
}

SkipListFinger::SkipListFinger(SkipList * list, SkipListKey * key) : SkipListFinger(list)
{
    moveTo(key);
}

SkipListEntry * SkipListFinger::moveToFront()
{
    if (_list->error()) {
        return nullptr;
    }
    std::fill_n(_node_before_target, SKIPLIST_LEVELS, _list->_root_node);
    return getEntry();
}

SkipListEntry * SkipListFinger::moveTo(SkipListKey * key)
{
    if (_list->error()) {
        return nullptr;
    }
    const SkipListNode * before = _node_before_target[0];
    if (before != _list->_root_node && before->_entry->compare(key) != KeyIsAfter) {
        moveToFront();
    }
    SkipListNode * node = _node_before_target[SKIPLIST_LEVELS - 1];
    for (unsigned int level = SKIPLIST_LEVELS; level >= 1; --level) {
        node = findNodeBeforeTarget(node, level, key);
        _node_before_target[level - 1] = node;
    }
    return getEntry();
}

// The last node of `level` in front of `key`, from `start_node` on, where the search one level up has ended.
// So the node behind it up there is known not to be in front of the key: met again here, it ends the walk
// without asking.
SkipListNode * SkipListFinger::findNodeBeforeTarget(SkipListNode * start_node, unsigned int level,
                                                    SkipListKey * key)
{
    const SkipListNode * known_end = level < SKIPLIST_LEVELS ? start_node->_forward_ptr[level] : nullptr;
    SkipListNode * node = start_node;
    SkipListNode * next = node->_forward_ptr[level - 1];
    while (next != known_end && next != nullptr) {
        fetch_ahead(node, next, level);
        if (next->_entry->compare(key) != KeyIsAfter) {
            break;
        }
        node = next;
        next = node->_forward_ptr[level - 1];
    }
    return node;
}

SkipListEntry * SkipListFinger::moveForward()
{
    SkipListNode * target = getNode();
    if (target == nullptr) {
        return nullptr;
    }
    const unsigned int height = getNodeHeightOfTarget();
    std::fill_n(_node_before_target, height, target);
    return target->_entry;
}

SkipListEntry * SkipListFinger::getEntry()
{
    const SkipListNode * target = getNode();
    return target == nullptr ? nullptr : target->_entry;
}

void SkipListFinger::insert(SkipListEntry * entry)
{
    const unsigned int height = _list->_node_pool.generateRandomLevel();
    SkipListNode * node = _list->_node_pool.allocNode(height);
    if (node == nullptr) {
        return;
    }
    node->_entry = entry;
    for (unsigned int i = 0; i < height; ++i) {
        node->_forward_ptr[i] = _node_before_target[i]->_forward_ptr[i];
        _node_before_target[i]->_forward_ptr[i] = node;
    }
}

SkipListEntry * SkipListFinger::remove()
{
    SkipListNode * target = getNode();
    if (target == nullptr) {
        return nullptr;
    }
    const unsigned int height = getNodeHeightOfTarget();
    for (unsigned int i = 0; i < height; ++i) {
        _node_before_target[i]->_forward_ptr[i] = target->_forward_ptr[i];
    }
    SkipListEntry * entry = target->_entry;
    _list->_node_pool.freeNode(target, height);
    return entry;
}

unsigned int SkipListFinger::getNodeHeightOfTarget()
{
    const SkipListNode * target = getNode();
    if (target == nullptr) {
        return 0;
    }
    unsigned int height = 1;
    while (height < SKIPLIST_LEVELS && _node_before_target[height]->_forward_ptr[height] == target) {
        ++height;
    }
    return height;
}

SkipListNode * SkipListFinger::getNode()
{
    return _list->error() ? nullptr : _node_before_target[0]->_forward_ptr[0];
}
