#include "utils/etc/native32.h"
#include "utils/etc/native64.h"

#include <cerrno>
#include <cstring>
#include <limits>
#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace {

using limits32 = std::numeric_limits<int32>;
using limits64 = std::numeric_limits<int64>;

// Calls a text function with a buffer that has room for exactly the expected text.
template<typename Value>
std::string text_of(char * (*function)(Value, char *, int), Value value, int radix, size_t expected_len)
{
    const std::unique_ptr<char[]> buf(new char[expected_len + 1]);
    std::memset(buf.get(), '#', expected_len + 1);
    EXPECT_EQ(function(value, buf.get(), radix), buf.get());
    return std::string(buf.get(), strnlen(buf.get(), expected_len + 1));
}

TEST(NumberText, SignOnlyInDecimalAndBitsOfTheOwnWidthOtherwise)
{
    struct a_row {
        int64 value;
        int radix;
        std::string text32;
        std::string text64;
    };
    const a_row rows[] = {
        {0, 10, "0", "0"},
        {-5, 10, "-5", "-5"},
        {-1, 16, "ffffffff", "ffffffffffffffff"},
        {71, 36, "1z", "1z"},
        {limits32::min(), 10, "-2147483648", "-2147483648"},
        {limits32::min(), 16, "80000000", "ffffffff80000000"},
        {-5, 1, "", ""},
        {5, 37, "", ""},
    };
    for (const a_row & row : rows) {
        SCOPED_TRACE(std::to_string(row.value) + " in radix " + std::to_string(row.radix));
        EXPECT_EQ(text_of(i32toa, static_cast<int32>(row.value), row.radix, row.text32.size()), row.text32);
        EXPECT_EQ(text_of(i64toa, row.value, row.radix, row.text64.size()), row.text64);
        if (row.value >= 0) {
            EXPECT_EQ(text_of(u32toa, static_cast<uint32>(row.value), row.radix, row.text32.size()),
                      row.text32);
            EXPECT_EQ(text_of(u64toa, static_cast<uint64>(row.value), row.radix, row.text64.size()),
                      row.text64);
        }
    }
    EXPECT_EQ(text_of(u32toa, uint32{0xFFFFFFFF}, 10, 10), "4294967295");
    EXPECT_EQ(text_of(u64toa, ~uint64{0}, 10, 20), "18446744073709551615");
    EXPECT_EQ(text_of(i64toa, limits64::min(), 10, 20), "-9223372036854775808");
}

// What reading gives: value, bytes taken, errno.
template<typename Value> struct a_reading {
    Value value;
    ptrdiff_t taken;
    int error;
    bool operator==(const a_reading &) const = default;
};

template<typename Value> void PrintTo(const a_reading<Value> & reading, std::ostream * out)
{
    *out << reading.value << " of " << reading.taken << " bytes, errno " << reading.error;
}

template<typename Value>
a_reading<Value> read(Value (*function)(const char *, char **, int), const char * text, int radix)
{
    char * end = nullptr;
    errno = 0;
    const Value value = function(text, &end, radix);
    const int error = errno;
    EXPECT_EQ(function(text, nullptr, radix), value);
    return {value, end - text, error};
}

TEST(NumberReading, UnsignedRadixPrefixAndEnd)
{
    struct a_row {
        const char * text;
        int radix;
        a_reading<uint64> expected; // the same for both widths
    };
    const a_row rows[] = {
        {"123abc", 10, {123, 3, 0}},
        {"", 10, {0, 0, 0}},
        {" 1", 10, {0, 0, 0}},
        {"-1", 10, {0, 0, 0}},
        {"0x1Fg", 0, {31, 4, 0}},
        {"0xg", 0, {0, 1, 0}}, // the zero is a number, the prefix of nothing isn't
        {"0x1f", 16, {0, 1, 0}},
        {"0178", 0, {15, 3, 0}},
        {"zZ-", 36, {35 * 36 + 35, 2, 0}},
        {"1012", 2, {5, 3, 0}},
        {"12", 1, {0, 0, EINVAL}},
        {"12", 37, {0, 0, EINVAL}},
    };
    for (const a_row & row : rows) {
        SCOPED_TRACE(std::string(row.text) + " in radix " + std::to_string(row.radix));
        EXPECT_EQ(read(strtou64, row.text, row.radix), row.expected);
        const a_reading<uint32> narrow = {static_cast<uint32>(row.expected.value), row.expected.taken,
                                          row.expected.error};
        EXPECT_EQ(read(strtou32, row.text, row.radix), narrow);
    }
}

TEST(NumberReading, SignStandsAloneInFrontOfThePrefix)
{
    struct a_row {
        const char * text;
        int radix;
        a_reading<int64> expected;
    };
    const a_row rows[] = {
        {"-12", 10, {-12, 3, 0}}, {"+12", 10, {12, 3, 0}}, {"-0x10", 0, {-16, 5, 0}},
        {"-010", 0, {-8, 4, 0}},  {"-", 10, {0, 0, 0}},    {"--1", 10, {0, 0, 0}},
        {"+-1", 10, {0, 0, 0}},   {"- 1", 10, {0, 0, 0}},  {"-5", 37, {0, 0, EINVAL}},
    };
    for (const a_row & row : rows) {
        SCOPED_TRACE(std::string(row.text) + " in radix " + std::to_string(row.radix));
        EXPECT_EQ(read(strtoi64, row.text, row.radix), row.expected);
        const a_reading<int32> narrow = {static_cast<int32>(row.expected.value), row.expected.taken,
                                         row.expected.error};
        EXPECT_EQ(read(strtoi32, row.text, row.radix), narrow);
    }
}

TEST(NumberReading, FirstValueOutOfRangeGivesTheLimitWithAllDigitsTaken)
{
    using u32 = a_reading<uint32>;
    using i32 = a_reading<int32>;
    using u64 = a_reading<uint64>;
    using i64 = a_reading<int64>;
    EXPECT_EQ(read(strtou32, "4294967295", 10), (u32{0xFFFFFFFF, 10, 0}));
    EXPECT_EQ(read(strtou32, "4294967296", 10), (u32{0xFFFFFFFF, 10, ERANGE}));
    EXPECT_EQ(read(strtoi32, "2147483647", 10), (i32{limits32::max(), 10, 0}));
    EXPECT_EQ(read(strtoi32, "2147483648", 10), (i32{limits32::max(), 10, ERANGE}));
    EXPECT_EQ(read(strtoi32, "-2147483648", 10), (i32{limits32::min(), 11, 0}));
    EXPECT_EQ(read(strtoi32, "-2147483649", 10), (i32{limits32::min(), 11, ERANGE}));
    EXPECT_EQ(read(strtou64, "18446744073709551615", 10), (u64{~uint64{0}, 20, 0}));
    EXPECT_EQ(read(strtou64, "184467440737095516150", 10), (u64{~uint64{0}, 21, ERANGE}));
    EXPECT_EQ(read(strtoi64, "9223372036854775808", 10), (i64{limits64::max(), 19, ERANGE}));
    EXPECT_EQ(read(strtoi64, "-9223372036854775808", 10), (i64{limits64::min(), 20, 0}));
    EXPECT_EQ(read(strtoi64, "-9223372036854775809", 10), (i64{limits64::min(), 20, ERANGE}));
}

} // namespace
