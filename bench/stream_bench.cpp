// Streams over memory beside a bare bounded copy: writing and reading pieces of 1 to 16 bytes through put()
// and get(), as sort keys and case mappings do, and through a loop that checks the room and calls memcpy.
//
// Goal: at least 0.8 of the loop. Result 1 when it is missed.

#include "utils/etc/utstream.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include "ratio.h"

namespace {

constexpr int TIMES = 15;
constexpr int ROUNDS = 40; // over the same memory, for a time that can be measured
constexpr size_t PIECES = 100000;
constexpr size_t MAX_PIECE = 16;
constexpr double LEAST = 0.8;

using Sizes = std::vector<size_t>;

Sizes make_sizes(bool mixed, size_t size)
{
    std::mt19937 random(1);
    Sizes sizes(PIECES, size);
    for (size_t & each : sizes) {
        each = mixed ? 1 + random() % MAX_PIECE : size;
    }
    return sizes;
}

// Moves on in memory as far as it goes, as a stream does.
template<typename Byte> struct a_bounded {
    Byte * ptr;
    Byte * lim;
};

size_t bare_put(a_bounded<a_byte> & to, const a_byte * src, size_t size)
{
    if (size > static_cast<size_t>(to.lim - to.ptr)) {
        return 0;
    }
    std::memcpy(to.ptr, src, size);
    to.ptr += size;
    return size;
}

size_t bare_get(a_bounded<const a_byte> & from, a_byte * dest, size_t size)
{
    if (size > static_cast<size_t>(from.lim - from.ptr)) {
        return 0;
    }
    std::memcpy(dest, from.ptr, size);
    from.ptr += size;
    return size;
}

class Memory {
public:
    explicit Memory(const Sizes & sizes) : _sizes(sizes), _bytes(PIECES * MAX_PIECE + 1, 'x') {}

    void stream_put()
    {
        repeat([this] {
            UTBufOStream o(_bytes.data(), _bytes.size());
            return move([&](size_t size) { return o.put(_piece, size); });
        });
    }
    void plain_put()
    {
        repeat([this] {
            a_bounded<a_byte> o{_bytes.data(), _bytes.data() + _bytes.size()};
            return move([&](size_t size) { return bare_put(o, _piece, size); });
        });
    }
    void stream_get()
    {
        repeat([this] {
            UTBufIStream i(_bytes.data(), _bytes.size());
            return move([&](size_t size) { return i.get(_piece, size); });
        });
    }
    void plain_get()
    {
        repeat([this] {
            a_bounded<const a_byte> i{_bytes.data(), _bytes.data() + _bytes.size()};
            return move([&](size_t size) { return bare_get(i, _piece, size); });
        });
    }

private:
    template<typename Move> size_t move(Move && move_piece)
    {
        size_t moved = 0;
        for (const size_t size : _sizes) {
            moved += move_piece(size);
            benchmark::ClobberMemory(); // the pieces are used
        }
        return moved;
    }

    template<typename Round> void repeat(Round && round)
    {
        size_t expected = 0;
        for (const size_t size : _sizes) {
            expected += size;
        }
        for (int i = 0; i < ROUNDS; ++i) {
            if (round() != expected) {
                std::fputs("a piece is missing\n", stderr);
                std::exit(1);
            }
        }
    }

    const Sizes & _sizes;
    std::vector<a_byte> _bytes;
    a_byte _piece[MAX_PIECE] = {};
};

bool measure(const char * name, const Sizes & sizes)
{
    Memory memory(sizes);
    const ratio::a_result put = ratio::compare(
        TIMES, [&] { memory.stream_put(); }, [&] { memory.plain_put(); });
    const ratio::a_result get = ratio::compare(
        TIMES, [&] { memory.stream_get(); }, [&] { memory.plain_get(); });
    char line[64];
    std::snprintf(line, sizeof(line), "put, %s", name);
    ratio::print(line, put);
    std::snprintf(line, sizeof(line), "get, %s", name);
    ratio::print(line, get);
    return put.value() >= LEAST && get.value() >= LEAST;
}

} // namespace

int main()
{
    bool reached = measure("1 to 16 bytes", make_sizes(true, 0));
    for (const size_t size : {1u, 4u, 16u}) {
        char name[32];
        std::snprintf(name, sizeof(name), "%zu bytes", size);
        reached = measure(name, make_sizes(false, size)) && reached;
    }
    return reached ? 0 : 1;
}
