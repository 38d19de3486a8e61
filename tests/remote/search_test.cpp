#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "remote/socks.h"

namespace {

struct search_ender {
    void operator()(a_search_context * context) const { search_end(context); }
};
using search_ptr = std::unique_ptr<a_search_context, search_ender>;

search_ptr make_search(char ** text, std::string & target)
{
    a_search_context * context = nullptr;
    search_init(&context, text, target.data(), static_cast<unsigned int>(target.size()));
    return search_ptr(context);
}

// The slow twin: one byte at a time, with its state in the same fields.
unsigned int search_by_bytes(a_search_context & context, const char * text, unsigned int len)
{
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

// A text whose last byte is the last one before a page that can't be read.
class fenced_text {
public:
    explicit fenced_text(size_t capacity) : _page(static_cast<size_t>(sysconf(_SC_PAGESIZE)))
    {
        _size = (capacity / _page + 1) * _page;
        _map = static_cast<char *>(
            mmap(nullptr, _size + _page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        mprotect(_map + _size, _page, PROT_NONE);
    }
    ~fenced_text() { munmap(_map, _size + _page); }
    fenced_text(const fenced_text &) = delete;
    fenced_text & operator=(const fenced_text &) = delete;

    char * hold(std::string_view text)
    {
        char * start = _map + _size - text.size();
        std::memcpy(start, text.data(), text.size());
        return start;
    }

private:
    size_t _page;
    size_t _size;
    char * _map;
};

// Feeds `text` in pieces that grow by what `next_piece` says, moving the buffer before every step, and holds
// result and state against the slow twin after each call.
template<class NextPiece> void compare_with_twin(std::string text, std::string target, NextPiece next_piece)
{
    fenced_text fence(text.size());
    char * buffer = nullptr;
    const search_ptr search = make_search(&buffer, target);
    ASSERT_NE(search, nullptr);
    a_search_context twin = *search;
    for (size_t len = 0;;) {
        buffer = fence.hold(std::string_view(text).substr(0, len));
        for (bool more = true; more;) {
            const unsigned int expected = search_by_bytes(twin, text.data(), len);
            ASSERT_EQ(static_cast<unsigned int>(search_go(search.get(), len)), expected) << "len " << len;
            ASSERT_EQ(search->text_offset, twin.text_offset) << "len " << len;
            ASSERT_EQ(search->target_offset, twin.target_offset) << "len " << len;
            more = expected != 0;
        }
        if (len == text.size()) {
            return;
        }
        len = std::min(text.size(), len + next_piece());
    }
}

const std::vector<std::string> targets = {
    "\r\n",
    "\r\n.\r\n",
    "a",
    "aa",
    "ab",
    "aab",
    "aaaaaaaaaaaaaaaaab",
    "abaababaab",
    std::string("\0\0a", 3),
    "a target that is longer than a pair of vectors of sixteen",
    "\xff\x80\xff",
};

TEST(Search, StateAfterEveryPieceIsThatOfTheByteLoop)
{
    const unsigned int seed = 20261;
    std::mt19937 random(seed);
    for (int round = 0; round < 6000; ++round) {
        const std::string & target = targets[random() % targets.size()];
        const unsigned int longest = round % 20 == 0 ? 700 : 90;
        std::string text;
        while (text.size() < random() % longest) {
            // Mostly prefixes of the target, so that attempts get far and overlap, with other bytes between
            // them.
            text += target.substr(0, random() % (target.size() + 1));
            text.append(random() % 4 == 0 ? random() % 40 : 0, random() % 2 == 0 ? target.back() : 'x');
        }
        const unsigned int step = 2 + random() % 60; // a piece may be empty, not all of them
        SCOPED_TRACE("seed " + std::to_string(seed) + " round " + std::to_string(round));
        compare_with_twin(text, target, [&] { return random() % step; });
        if (HasFatalFailure()) {
            return;
        }
    }
}

// A match, and what almost is one, at every offset to the vectors of the text and at every distance from its
// end.
TEST(Search, MatchIsFoundAtEveryOffsetAndDistanceFromTheEnd)
{
    for (const std::string & target : targets) {
        for (size_t before = 0; before < 50; ++before) {
            for (size_t behind = 0; behind < 36; ++behind) {
                const std::string near_miss =
                    target.front() + std::string(target.size(), 'x') + target.back();
                const std::string text = std::string(before, 'x') + target + std::string(behind, 'x');
                SCOPED_TRACE("before " + std::to_string(before) + " behind " + std::to_string(behind));
                compare_with_twin(text, target, [&] { return text.size(); });
                compare_with_twin(near_miss + text, target, [&] { return 37; });
                if (HasFatalFailure()) {
                    return;
                }
            }
        }
    }
}

TEST(Search, NoContextFindsNothingAndLessThanBeforeChangesNothing)
{
    std::string target = "\r\n";
    std::string text = "abc\r\ndef";
    char * buffer = text.data();
    const search_ptr search = make_search(&buffer, target);
    ASSERT_EQ(search_go(search.get(), 4), 0);
    EXPECT_EQ(search_go(search.get(), 2), 0);
    EXPECT_EQ(search_go(search.get(), 8), 5);
    EXPECT_EQ(search_go(nullptr, 10), 0);
    search_end(nullptr);
}

} // namespace
