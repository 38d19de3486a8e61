// Operations on a skip list, decoded from bytes and held against a std::multimap. The first byte is the
// number of allocations until memory runs out (0: never); then each operation takes two bytes, its kind and a
// key.

#include "require.h"
#include "utils/etc/skplst.h"

#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <map>

namespace {

long allocations_left;

void * limited_alloc(size_t size)
{
    return allocations_left != 0 && --allocations_left == 0 ? nullptr : std::malloc(size);
}

class Entry : public SkipListEntry {
public:
    explicit Entry(uint8 key) : _key(key) {}
    SkipListKey * getKey() override { return key_of(_key); }
    void freeKey(SkipListKey * key) override { require(key == key_of(_key)); }
    CompareResult compare(SkipListKey * key) override
    {
        const uint8 wanted = *reinterpret_cast<const uint8 *>(key);
        return wanted < _key ? KeyIsBefore : wanted == _key ? KeyIsEqual : KeyIsAfter;
    }

    static SkipListKey * key_of(const uint8 & key)
    {
        return reinterpret_cast<SkipListKey *>(const_cast<uint8 *>(&key));
    }

private:
    uint8 _key;
};

// Equal keys stand in the map in the order of arrival, so the newest, which the list has in front, is the
// last one.
class Pair {
public:
    Pair() : _list(limited_alloc, std::free, 0xFFFFFFFF), _finger(&_list) {}
    ~Pair()
    {
        _list.deleteEntries();
        require(_list.isEmpty());
    }

    void step(uint8 kind, uint8 key)
    {
        switch (kind % 8) {
        case 0:
        case 1:
        case 2:
            add(key);
            break;
        case 3:
            check_and_delete(_list.remove(Entry::key_of(key)), newest(key));
            _finger.moveToFront(); // it may have remembered the node
            break;
        case 4:
            require(_list.get(Entry::key_of(key)) == newest(key));
            break;
        case 5:
            require(_finger.moveTo(Entry::key_of(key)) == front_of(_twin.lower_bound(key)));
            break;
        case 6:
            step_over();
            break;
        default:
            remove_at_finger(key);
            break;
        }
        forget_lost();
        require((_list.isEmpty() != FALSE) == _twin.empty());
    }

    // All entries in order.
    void compare_all()
    {
        SkipListFinger finger(&_list);
        for (auto run = _twin.begin(); run != _twin.end();) {
            const auto end = _twin.upper_bound(run->first);
            for (auto it = end; it != run;) {
                require(finger.moveForward() == (--it)->second);
            }
            run = end;
        }
        require(finger.moveForward() == nullptr);
    }

private:
    using Twin = std::multimap<uint8, Entry *>;

    Entry * newest(uint8 key)
    {
        const auto range = _twin.equal_range(key);
        return range.first == range.second ? nullptr : std::prev(range.second)->second;
    }

    Entry * front_of(Twin::iterator run) { return run == _twin.end() ? nullptr : newest(run->first); }

    void add(uint8 key)
    {
        Entry * entry = new Entry(key);
        _list.add(entry);
        _twin.emplace(key, entry);
        _finger.moveToFront(); // the entry may stand in front of its target
    }

    void step_over()
    {
        SkipListEntry * target = _finger.getEntry();
        require(_finger.moveForward() == target);
        require(target == nullptr || _finger.getEntry() != target);
    }

    // The target goes out, and back to the same place if the key is odd.
    void remove_at_finger(uint8 key)
    {
        _finger.moveTo(Entry::key_of(key));
        Entry * expected = front_of(_twin.lower_bound(key));
        const unsigned int height = _finger.getNodeHeightOfTarget();
        require(expected == nullptr ? height == 0 : height >= 1 && height <= SKIPLIST_LEVELS);
        SkipListEntry * taken = _finger.remove();
        if (taken != nullptr && key % 2 != 0) {
            require(taken == expected);
            _finger.insert(taken);
            return;
        }
        check_and_delete(taken, expected);
        if (taken != nullptr) {
            require(_finger.getEntry() == front_of(_twin.lower_bound(key))); // it stands on the next one
        }
    }

    void check_and_delete(SkipListEntry * taken, Entry * expected)
    {
        require(taken == expected);
        for (auto it = _twin.begin(); taken != nullptr && it != _twin.end(); ++it) {
            if (it->second == taken) {
                _twin.erase(it);
                delete taken;
                return;
            }
        }
        require(taken == nullptr);
    }

    // A list without memory has lost its entries; they are the owner's to destroy.
    void forget_lost()
    {
        if (_list.error()) {
            for (const auto & row : _twin) {
                delete row.second;
            }
            _twin.clear();
        }
    }

    SkipList _list;
    SkipListFinger _finger;
    Twin _twin;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * data, std::size_t size)
{
    if (size == 0) {
        return 0;
    }
    allocations_left = data[0];
    Pair pair;
    for (std::size_t i = 1; i + 1 < size; i += 2) {
        pair.step(data[i], data[i + 1]);
    }
    pair.compare_all();
    return 0;
}
