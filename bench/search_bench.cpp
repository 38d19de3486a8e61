// The resumable search beside a search driven by memchr, one driven by memmem, and the byte loop: line ends
// in lines of 60 characters, and a mail's end mark in a body that arrives in pieces of 1,448 bytes, what a
// TCP segment over Ethernet carries. Each peer keeps its place between two pieces, as the search does.
//
// Ends with a table; result 1 when a target is missed.

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include <benchmark/benchmark.h>

#include "ratio.h"
#include "remote/socks.h"

namespace {

constexpr size_t BODY_SIZE = 4U << 20;
constexpr size_t SEGMENT = 1448;
constexpr size_t LINE_LENGTH = 60;
constexpr int TIMES = 15;

std::string make_body()
{
    std::string body;
    while (body.size() < BODY_SIZE) {
        for (size_t i = 0; i < LINE_LENGTH; ++i) {
            body += static_cast<char>('A' + body.size() % 57);
        }
        body += "\r\n";
    }
    return body + ".\r\n";
}

std::string body = make_body();
std::string line_end = "\r\n";
std::string end_mark = "\r\n.\r\n";

// A peer: where to go on, the same for all of them. Peers aren't inlined: a caller reaches the search in
// another file, too, and the place lies in memory between two calls. An attempt that meets the end is made
// again with more bytes.
struct a_place {
    const char * text;
    std::string_view target;
    size_t offset = 0;
};

[[gnu::noinline]] size_t memchr_go(a_place & place, size_t len)
{
    while (place.offset + place.target.size() <= len) {
        const size_t room = len - place.target.size() + 1 - place.offset;
        const void * found = std::memchr(place.text + place.offset, place.target[0], room);
        if (found == nullptr) {
            place.offset += room;
            return 0;
        }
        place.offset = static_cast<const char *>(found) - place.text;
        if (std::memcmp(found, place.target.data(), place.target.size()) == 0) {
            return place.offset += place.target.size();
        }
        ++place.offset;
    }
    return 0;
}

[[gnu::noinline]] size_t memmem_go(a_place & place, size_t len)
{
    const void * found =
        memmem(place.text + place.offset, len - place.offset, place.target.data(), place.target.size());
    if (found == nullptr) {
        place.offset = std::max(place.offset, len - std::min(len, place.target.size() - 1));
        return 0;
    }
    return place.offset = static_cast<const char *>(found) - place.text + place.target.size();
}

[[gnu::noinline]] size_t byte_go(a_search_context & context, size_t len)
{
    const char * text = *context.text_buffer;
    while (context.text_offset < len) {
        if (text[context.text_offset] != context.search_target[context.target_offset]) {
            context.text_offset = context.text_offset + 1 - context.target_offset;
            context.target_offset = 0;
            continue;
        }
        ++context.text_offset;
        if (++context.target_offset == context.target_length) {
            context.target_offset = 0;
            return context.text_offset;
        }
    }
    return 0;
}

// All matches in a text that is all there.
template<class Go> size_t count_lines(Go go)
{
    size_t lines = 0;
    while (go(body.size()) != 0) {
        ++lines;
    }
    return lines;
}

// The first match in a text that grows by segments.
template<class Go> size_t find_mark(Go go)
{
    for (size_t len = SEGMENT;; len += SEGMENT) {
        len = std::min(len, body.size());
        const size_t end = go(len);
        if (end != 0 || len == body.size()) {
            return end;
        }
    }
}

// Hands `work` a step function over the searcher of that kind.
template<class Work> size_t with_search(std::string & target, Work work)
{
    char * text = body.data();
    a_search_context * context = nullptr;
    search_init(&context, &text, target.data(), target.size());
    const size_t result = work([&](size_t len) { return static_cast<size_t>(search_go(context, len)); });
    search_end(context);
    return result;
}

template<class Work> size_t with_bytes(std::string & target, Work work)
{
    char * text = body.data();
    a_search_context context = {&text, 0, target.data(), static_cast<unsigned int>(target.size()), 0};
    return work([&](size_t len) { return byte_go(context, len); });
}

template<class Work> size_t with_memchr(std::string & target, Work work)
{
    a_place place = {body.data(), target};
    return work([&](size_t len) { return memchr_go(place, len); });
}

template<class Work> size_t with_memmem(std::string & target, Work work)
{
    a_place place = {body.data(), target};
    return work([&](size_t len) { return memmem_go(place, len); });
}

const auto lines_work = [](auto go) { return count_lines(go); };
const auto mark_work = [](auto go) { return find_mark(go); };

// Compares the search with the three peers, their results, too; `goal` is for memchr, and 0 is reached when
// they find different things.
template<class Work>
ratio::a_figure compare_all(const char * name, std::string & target, Work work, double goal)
{
    const size_t expected = with_bytes(target, work);
    if (with_search(target, work) != expected || with_memchr(target, work) != expected ||
        with_memmem(target, work) != expected) {
        std::printf("%s: different results\n", name);
        return {name, ratio::AT_LEAST, goal, 0};
    }
    const auto ours = [&] { benchmark::DoNotOptimize(with_search(target, work)); };
    const auto print = [&](const char * peer, const ratio::a_result & result) {
        ratio::print((std::string(name) + ", " + peer).c_str(), result);
        return result.value();
    };
    const double reached = print(
        "memchr", ratio::compare(TIMES, ours, [&] { benchmark::DoNotOptimize(with_memchr(target, work)); }));
    print("memmem",
          ratio::compare(TIMES, ours, [&] { benchmark::DoNotOptimize(with_memmem(target, work)); }));
    print("byte loop",
          ratio::compare(TIMES, ours, [&] { benchmark::DoNotOptimize(with_bytes(target, work)); }));
    return {std::string(name) + ": times as fast as memchr", ratio::AT_LEAST, goal, reached};
}

void set_bytes(benchmark::State & state)
{
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * body.size()));
}

void line_ends(benchmark::State & state)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(with_search(line_end, lines_work));
    }
    set_bytes(state);
}
BENCHMARK(line_ends);

void end_mark_in_segments(benchmark::State & state)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(with_search(end_mark, mark_work));
    }
    set_bytes(state);
}
BENCHMARK(end_mark_in_segments);

} // namespace

int main(int argc, char ** argv)
{
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return ratio::print_table({compare_all("line ends, lines of 60", line_end, lines_work, 1.0),
                               compare_all("end mark, pieces of 1,448", end_mark, mark_work, 1.4)});
}
