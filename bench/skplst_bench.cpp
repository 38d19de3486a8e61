// The skip list beside std::map, std::set and libcds' skip list: 100,000 ids of 40 characters, compared
// without regard to case. All containers hold the same entries, made beforehand, so that only the containers
// differ.
//
// Ends with a table; result 1 when a target is missed.

#include "utils/etc/skplst.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <strings.h>
#include <vector>

#include <benchmark/benchmark.h>

#ifdef ORV_HAVE_LIBCDS
#include <cds/container/skip_list_set_hp.h>
#include <cds/gc/hp.h>
#include <cds/init.h>
#endif

#include "ratio.h"
#include "utils/utmem/utmem.h"

namespace {

constexpr size_t ID_LENGTH = 40;
constexpr size_t ID_COUNT = 100000;
constexpr int TIMES = 9;

// As a message in the link's lists: the id stands in the entry.
class Entry : public SkipListEntry {
public:
    SkipListKey * getKey() override { return key_of(_id); }
    void freeKey(SkipListKey *) override {}
    CompareResult compare(SkipListKey * key) override
    {
        const int order = strcasecmp(reinterpret_cast<const char *>(key), _id);
        return order < 0 ? KeyIsBefore : order == 0 ? KeyIsEqual : KeyIsAfter;
    }

    static SkipListKey * key_of(const char * id)
    {
        return reinterpret_cast<SkipListKey *>(const_cast<char *>(id));
    }

    char _id[ID_LENGTH + 1] = "";
};

struct a_caseless_order {
    bool operator()(const char * a, const char * b) const { return strcasecmp(a, b) < 0; }
};

using Entries = std::vector<std::unique_ptr<Entry>>;

Entries make_entries(std::mt19937_64 & random)
{
    Entries entries;
    for (size_t i = 0; i < ID_COUNT; ++i) {
        entries.push_back(std::make_unique<Entry>());
        const unsigned long long half[2] = {random(), random()};
        std::snprintf(entries.back()->_id, sizeof(entries.back()->_id), "%016llX%06llx@relay.example.org",
                      half[0], half[1] & 0xFFFFFF);
    }
    return entries;
}

// The ids to look up, as texts of their own and in another order than that of insertion.
std::vector<std::unique_ptr<char[]>> make_keys(const Entries & entries, std::mt19937_64 & random)
{
    std::vector<std::unique_ptr<char[]>> keys;
    for (const auto & entry : entries) {
        keys.push_back(std::make_unique<char[]>(ID_LENGTH + 1));
        std::memcpy(keys.back().get(), entry->_id, ID_LENGTH + 1);
    }
    std::shuffle(keys.begin(), keys.end(), random);
    return keys;
}

// Seconds to fill a container by `insert`, and, for a filled one, to find all keys by `find`.
template<typename Insert> double fill(const Entries & entries, Insert && insert)
{
    return ratio::seconds_of([&] {
        for (const auto & entry : entries) {
            insert(entry.get());
        }
    });
}

template<typename Find> void find_all(const std::vector<std::unique_ptr<char[]>> & keys, Find && find)
{
    size_t found = 0;
    for (const auto & key : keys) {
        found += find(key.get()) ? 1 : 0;
    }
    benchmark::DoNotOptimize(found);
    if (found != keys.size()) {
        std::fprintf(stderr, "only %zu of %zu found\n", found, keys.size());
        std::exit(1);
    }
}

struct a_goal {
    const char * name;
    double least;
    ratio::a_result result;
};

double fill_ours(const Entries & entries)
{
    SkipList list(ut_malloc, ut_free, 0xFFFFFFFF);
    return fill(entries, [&](Entry * entry) { list.add(entry); });
}

double fill_map(const Entries & entries)
{
    std::map<const char *, Entry *, a_caseless_order> map;
    return fill(entries, [&](Entry * entry) { map.emplace(entry->_id, entry); });
}

#ifdef ORV_HAVE_LIBCDS
struct a_cds_traits : cds::container::skip_list::traits {
    using less = a_caseless_order;
};
// With hazard pointers, since the kind without collection can't take anything out again, as our list can.
using CdsList = cds::container::SkipListSet<cds::gc::HP, const char *, a_cds_traits>;

// What libcds wants of a program and of each of its threads.
class CdsThread {
public:
    CdsThread() : _collector(CdsList::c_nHazardPtrCount) { cds::threading::Manager::attachThread(); }
    ~CdsThread() { cds::threading::Manager::detachThread(); }
    CdsThread(const CdsThread &) = delete;
    CdsThread & operator=(const CdsThread &) = delete;

private:
    cds::gc::HP _collector;
};

double fill_cds(const Entries & entries)
{
    CdsList list;
    return fill(entries, [&](Entry * entry) { list.insert(entry->_id); });
}
#endif

std::vector<a_goal> run()
{
    std::mt19937_64 random(1);
    const Entries entries = make_entries(random);
    const auto keys = make_keys(entries, random);

    SkipList list(ut_malloc, ut_free, 0xFFFFFFFF);
    fill(entries, [&](Entry * entry) { list.add(entry); });
    std::set<const char *, a_caseless_order> set;
    fill(entries, [&](Entry * entry) { set.insert(entry->_id); });
    const auto find_ours = [&] {
        find_all(keys, [&](const char * key) { return list.get(Entry::key_of(key)) != nullptr; });
    };

    std::vector<a_goal> goals;
    goals.push_back({"insert, std::map", 0.8,
                     ratio::compare_timed(
                         TIMES, [&] { return fill_ours(entries); }, [&] { return fill_map(entries); })});
    goals.push_back({"look-up, std::set", 0.7, ratio::compare(TIMES, find_ours, [&] {
                         find_all(keys, [&](const char * key) { return set.find(key) != set.end(); });
                     })});
#ifdef ORV_HAVE_LIBCDS
    CdsList cds_list;
    fill(entries, [&](Entry * entry) { cds_list.insert(entry->_id); });
    goals.push_back({"insert, libcds", 1.5,
                     ratio::compare_timed(
                         TIMES, [&] { return fill_ours(entries); }, [&] { return fill_cds(entries); })});
    goals.push_back({"look-up, libcds", 1.2, ratio::compare(TIMES, find_ours, [&] {
                         find_all(keys, [&](const char * key) { return cds_list.contains(key); });
                     })});
#endif
    return goals;
}

} // namespace

int main()
{
#ifdef ORV_HAVE_LIBCDS
    cds::Initialize();
    const CdsThread thread;
#else
    std::puts("libcds not found: its side is left out");
#endif
    std::vector<ratio::a_figure> figures;
    for (const a_goal & goal : run()) {
        ratio::print(goal.name, goal.result);
        figures.push_back({std::string("skip list, ") + goal.name + ": times as fast", ratio::AT_LEAST,
                           goal.least, goal.result.value()});
    }
    return ratio::print_table(figures);
}
