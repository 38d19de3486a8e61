// Two pieces of work side by side: run in turn, so that what the machine does meanwhile falls on both, and
// compared by their medians.
//
// Units: seconds of the process's own time (CPU time of all threads). Ownership: none. Threads: one.
#pragma once

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <vector>

namespace ratio {

struct a_result {
    double ours;                                                // median
    double peers;                                               // median
    [[nodiscard]] double value() const { return peers / ours; } // above 1: ours is the faster one
};

[[nodiscard]] inline double now()
{
    timespec at = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &at);
    return static_cast<double>(at.tv_sec) + static_cast<double>(at.tv_nsec) / 1e9;
}

template<typename Work> [[nodiscard]] double seconds_of(Work && work)
{
    const double start = now();
    work();
    return now() - start;
}

[[nodiscard]] inline double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    return values.size() % 2 != 0 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

// Compares two times that `ours` and `peers` measure themselves, for work with something to set up before;
// each is called once to warm up and `times` times in turn.
template<typename Ours, typename Peers>
[[nodiscard]] a_result compare_timed(int times, Ours && ours, Peers && peers)
{
    (void)ours(); // warm caches and allocator
    (void)peers();
    std::vector<double> our_times;
    std::vector<double> peer_times;
    for (int i = 0; i < times; ++i) {
        our_times.push_back(ours());
        peer_times.push_back(peers());
    }
    return {median(our_times), median(peer_times)};
}

// Compares the times of two whole calls.
template<typename Ours, typename Peers>
[[nodiscard]] a_result compare(int times, Ours && ours, Peers && peers)
{
    return compare_timed(
        times, [&] { return seconds_of(ours); }, [&] { return seconds_of(peers); });
}

// One line; the number behind "ratio" is how many times as fast as the peer we are.
inline void print(const char * name, const a_result & result)
{
    std::printf("%-44s ours %10.3f ms   peer %10.3f ms   ratio %6.2f\n", name, result.ours * 1e3,
                result.peers * 1e3, result.value());
}

} // namespace ratio
