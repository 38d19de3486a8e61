#include "utils/etc/utstrfcn.h"

#include <climits>
#include <cstring>
#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace {

// What stands in buffers and outputs before a call.
constexpr char UNTOUCHED = '#';
constexpr size_t NO_VALUE = 777;

// A heap block of exactly `size` bytes, so that a sanitizer sees the first byte written behind it.
struct a_buffer {
    explicit a_buffer(size_t size_, const char * text = nullptr) : size(size_), bytes(new char[size_])
    {
        std::memset(bytes.get(), UNTOUCHED, size);
        if (text != nullptr) {
            std::memcpy(bytes.get(), text, std::strlen(text) + 1);
        }
    }
    std::string all() const { return std::string(bytes.get(), size); }

    size_t size;
    std::unique_ptr<char[]> bytes;
    char * next = nullptr;
    size_t remaining = NO_VALUE;
};

// A string of `len` bytes with no terminator behind it.
std::unique_ptr<char[]> unterminated(const char * text, size_t len)
{
    std::unique_ptr<char[]> bytes(new char[len]);
    std::memcpy(bytes.get(), text, len);
    return bytes;
}

TEST(BoundedCopy, CutsTerminatesAndTellsWhereToGoOn)
{
    struct a_row {
        size_t size;
        const char * text;
        a_bool result;
        std::string bytes; // with its terminator, as far as written
        size_t next;
        size_t remaining;
    };
    const a_row rows[] = {
        {5, "abc", TRUE, std::string("abc\0", 4), 3, 2}, {4, "abc", TRUE, std::string("abc\0", 4), 4, 0},
        {3, "abc", FALSE, std::string("ab\0", 3), 3, 0}, {1, "abc", FALSE, std::string("\0", 1), 1, 0},
        {1, "", TRUE, std::string("\0", 1), 1, 0},       {2, "", TRUE, std::string("\0", 1), 0, 2},
    };
    for (const a_row & row : rows) {
        SCOPED_TRACE(std::string(row.text) + " into " + std::to_string(row.size));
        std::string expected = row.bytes;
        expected.resize(row.size, UNTOUCHED);
        a_buffer to(row.size);
        EXPECT_EQ(ut_strcpy(to.bytes.get(), to.size, row.text, &to.next, &to.remaining), row.result);
        EXPECT_EQ(to.all(), expected);
        EXPECT_EQ(to.next - to.bytes.get(), static_cast<ptrdiff_t>(row.next));
        EXPECT_EQ(to.remaining, row.remaining);

        // The other three say the same of the same text.
        a_buffer n(row.size);
        EXPECT_EQ(ut_strncpy(n.bytes.get(), n.size, row.text, SIZE_MAX, &n.next, &n.remaining), row.result);
        EXPECT_EQ(n.all(), expected);
        EXPECT_EQ(n.remaining, row.remaining);
        a_buffer cat(row.size, "");
        EXPECT_EQ(ut_strcat(cat.bytes.get(), cat.size, row.text, &cat.next, &cat.remaining), row.result);
        EXPECT_EQ(cat.all(), expected);
        EXPECT_EQ(cat.remaining, row.remaining);
        a_buffer ncat(row.size, "");
        EXPECT_EQ(ut_strncat(ncat.bytes.get(), ncat.size, row.text, 3), row.result);
        EXPECT_EQ(ncat.all(), expected);
    }
}

TEST(BoundedCopy, CountedSourceIsNotReadBehindTheCount)
{
    const auto source = unterminated("abcd", 4);
    a_buffer to(8);
    EXPECT_TRUE(ut_strncpy(to.bytes.get(), to.size, source.get(), 4, &to.next, &to.remaining));
    EXPECT_STREQ(to.bytes.get(), "abcd");
    EXPECT_EQ(to.remaining, 4U);
    EXPECT_TRUE(ut_strncat(to.bytes.get(), to.size, source.get(), 3));
    EXPECT_STREQ(to.bytes.get(), "abcdabc");
    EXPECT_TRUE(ut_strncpy(to.bytes.get(), to.size, "xy\0z", 4));
    EXPECT_STREQ(to.bytes.get(), "xy") << "the terminator ends the source first";
    EXPECT_FALSE(ut_strncpy(to.bytes.get(), 3, "wxyz", 3));
    EXPECT_STREQ(to.bytes.get(), "wx");
    EXPECT_EQ(ut_strnlen(source.get(), 4), 4U);
    EXPECT_EQ(ut_strnlen("ab", 3), 2U);
}

TEST(BoundedCopy, NullSourceLeavesEverythingButForTheCountedCopy)
{
    a_buffer to(5, "ab");
    const std::string before = to.all();
    EXPECT_FALSE(ut_strcpy(to.bytes.get(), to.size, nullptr, &to.next, &to.remaining));
    EXPECT_FALSE(ut_strcat(to.bytes.get(), to.size, nullptr, &to.next, &to.remaining));
    EXPECT_FALSE(ut_strncat(to.bytes.get(), to.size, nullptr, 0, &to.next, &to.remaining));
    EXPECT_EQ(to.next, nullptr);
    EXPECT_EQ(to.remaining, NO_VALUE);
    EXPECT_FALSE(ut_strncpy(to.bytes.get(), to.size, nullptr, 1, &to.next, &to.remaining));
    EXPECT_EQ(to.next, to.bytes.get());
    EXPECT_EQ(to.remaining, to.size);
    EXPECT_TRUE(ut_strncpy(to.bytes.get(), to.size, nullptr, 0));
    EXPECT_EQ(to.all(), before);
}

TEST(BoundedCopy, AppendingCutsBehindWhatIsThere)
{
    a_buffer to(6, "abc");
    EXPECT_FALSE(ut_strcat(to.bytes.get(), to.size, "def", &to.next, &to.remaining));
    EXPECT_STREQ(to.bytes.get(), "abcde");
    EXPECT_EQ(to.remaining, 0U);
    a_buffer broken(3); // no terminator anywhere
    EXPECT_FALSE(ut_strcat(broken.bytes.get(), broken.size, "x", &broken.next, &broken.remaining));
    EXPECT_EQ(broken.all(), "###");
}

TEST(BoundedCopy, BytesGoWithoutTerminatorAndMayBeNone)
{
    a_buffer to(4);
    void * next = nullptr;
    size_t left = NO_VALUE;
    EXPECT_TRUE(ut_memcpy(to.bytes.get(), to.size, "a\0b", 3, &next, &left));
    EXPECT_EQ(to.all(), std::string("a\0b#", 4));
    EXPECT_EQ(left, 1U);
    EXPECT_FALSE(ut_memcpy(next, left, "xy", 2, &next, &left));
    EXPECT_EQ(to.all(), std::string("a\0bx", 4));
    EXPECT_EQ(left, 0U);
    EXPECT_EQ(next, to.bytes.get() + to.size);
    EXPECT_FALSE(ut_memcpy(next, left, "z", 1, &next, &left));
    EXPECT_TRUE(ut_memcpy(nullptr, 0, nullptr, 0));
}

TEST(CaselessCompare, NullsHaveAnOrder)
{
    EXPECT_EQ(ut_stricmp(nullptr, nullptr), 0);
    EXPECT_EQ(ut_stricmp(nullptr, ""), 1);
    EXPECT_EQ(ut_stricmp("", nullptr), -1);
    EXPECT_EQ(ut_stricmp("aBc", "AbC"), 0);
    EXPECT_LT(ut_stricmp("abc", "ABD"), 0);
    EXPECT_GT(ut_stricmp("abc", "AB"), 0);
}

TEST(BoundedFormat, CutIsToldAndTheLastByteAlwaysTerminates)
{
    a_buffer roomy(8);
    EXPECT_EQ(ut_snprintf(roomy.bytes.get(), roomy.size, "%d", 123), 3);
    EXPECT_EQ(roomy.all(), std::string("123\0###\0", 8));
    a_buffer tight(3);
    EXPECT_EQ(ut_snprintf(tight.bytes.get(), tight.size, "%d", 123), -1);
    EXPECT_STREQ(tight.bytes.get(), "12");
    a_buffer exact(4);
    EXPECT_EQ(ut_snprintf(exact.bytes.get(), exact.size, "%d", 123), 3);
}

} // namespace
