// Pieces of work side by side: run in turn, so that what the machine does meanwhile falls on all of them, and
// compared by their medians; and the table of what was reached with which a benchmark ends.
//
// Units: seconds. The time of two pieces of work is the process's own (CPU time of all threads); sides that
// wait for a server are measured by the clock on the wall, too. Ownership: none. Threads: one.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

namespace ratio {

struct a_result {
    double ours;                                                // median
    double peers;                                               // median
    [[nodiscard]] double value() const { return peers / ours; } // above 1: ours is the faster one
};

[[nodiscard]] inline double now(clockid_t clock = CLOCK_PROCESS_CPUTIME_ID)
{
    timespec at = {};
    clock_gettime(clock, &at);
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

// One of several drivers that do the same work, and what its turns have taken.
struct a_side {
    std::string name;
    std::function<void()> turn;
    std::vector<double> wall = {};
    std::vector<double> cpu = {};
};

// Each side once to warm up, then `times` times in turn.
inline void take_turns(int times, std::vector<a_side> & sides)
{
    for (a_side & side : sides) {
        side.turn();
    }
    for (int i = 0; i < times; ++i) {
        for (a_side & side : sides) {
            const double wall = now(CLOCK_MONOTONIC);
            const double cpu = now();
            side.turn();
            side.cpu.push_back(now() - cpu);
            side.wall.push_back(now(CLOCK_MONOTONIC) - wall);
        }
    }
}

// The median of peers / ours, turn by turn: above 1 ours is the faster one. What slows the machine for longer
// than a turn slows both halves of a pair.
[[nodiscard]] inline double median_ratio(const std::vector<double> & ours, const std::vector<double> & peers)
{
    std::vector<double> ratios;
    for (size_t i = 0; i < ours.size(); ++i) {
        ratios.push_back(peers[i] / ours[i]);
    }
    return median(ratios);
}

// What the sides took for one of the `items` of a turn, in microseconds.
inline void print_sides(const std::string & title, const std::vector<a_side> & sides, double items)
{
    for (const a_side & side : sides) {
        std::printf("%-28s %-16s wall %9.2f us   CPU %9.2f us\n", title.c_str(), side.name.c_str(),
                    median(side.wall) / items * 1e6, median(side.cpu) / items * 1e6);
    }
}

enum a_direction { AT_LEAST, AT_MOST };

// A line of the table.
struct a_figure {
    std::string name;
    a_direction direction;
    double target;
    double reached;
    [[nodiscard]] bool ok() const { return direction == AT_LEAST ? reached >= target : reached <= target; }
};

// The table, and the result of the program: 1 when a target is missed.
inline int print_table(const std::vector<a_figure> & figures)
{
    std::printf("\n%-60s %14s %10s\n", "figure", "target", "reached");
    bool all = true;
    for (const a_figure & figure : figures) {
        const int digits = std::floor(figure.target) == figure.target && figure.target > 9 ? 0 : 2;
        std::printf("%-60s %2s %11.*f %10.*f  %s\n", figure.name.c_str(),
                    figure.direction == AT_LEAST ? ">=" : "<=", digits, figure.target, digits, figure.reached,
                    figure.ok() ? "ok" : "missed");
        all = all && figure.ok();
    }
    return all ? 0 : 1;
}

} // namespace ratio
