#include "utils/etc/nativeparse.h"

#include <cerrno>

namespace {

// ASCII, whatever the locale. NATIVE_MAX_RADIX for a byte that is no digit of any radix.
int digit_value(char c)
{
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'z') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'Z') {
        return c - 'A' + 10;
    }
    return NATIVE_MAX_RADIX;
}

bool is_digit(char c, int radix)
{
    return digit_value(c) < radix;
}

bool has_hex_prefix(const char * str)
{
    return str[0] == '0' && (str[1] == 'x' || str[1] == 'X') && is_digit(str[2], 16);
}

struct a_magnitude {
    uint64 value; // `limit` when there are more
    const char * end;
    bool overflow;
};

a_magnitude parse_digits(const char * str, int radix, uint64 limit)
{
    a_magnitude m = {0, str, false};
    const uint64 base = static_cast<uint64>(radix);
    for (; is_digit(*m.end, radix); ++m.end) {
        const uint64 digit = static_cast<uint64>(digit_value(*m.end));
        if (digit > limit || m.value > (limit - digit) / base) {
            m.overflow = true;
        }
        m.value = m.overflow ? limit : m.value * base + digit;
    }
    return m;
}

// Digits with the prefix that radix 0 asks for.
a_magnitude parse_magnitude(const char * str, int radix, uint64 limit)
{
    if (radix != 0) {
        return parse_digits(str, radix, limit);
    }
    if (has_hex_prefix(str)) {
        return parse_digits(str + 2, 16, limit);
    }
    return parse_digits(str, *str == '0' ? 8 : 10, limit);
}

bool is_radix(int radix)
{
    return radix == 0 || (radix >= NATIVE_MIN_RADIX && radix <= NATIVE_MAX_RADIX);
}

void give_end(char ** endptr, const char * end)
{
    if (endptr != nullptr) {
        *endptr = const_cast<char *>(end); // as the strtol family does: the caller knows whether it may write
    }
}

// A radix that isn't one: nothing is read.
uint64 refuse_radix(const char * str, char ** endptr)
{
    give_end(endptr, str);
    errno = EINVAL;
    return 0;
}

// Reports what the digits from `digits` on gave; `str` is where the number with its sign begins.
uint64 finish(const a_magnitude & m, const char * digits, const char * str, char ** endptr)
{
    give_end(endptr, m.end == digits ? str : m.end);
    if (m.overflow) {
        errno = ERANGE;
    }
    return m.value;
}

} // namespace

uint64 parse_unsigned(const char * str, char ** endptr, int radix, uint64 limit)
{
    if (!is_radix(radix)) {
        return refuse_radix(str, endptr);
    }
    return finish(parse_magnitude(str, radix, limit), str, str, endptr);
}

int64 parse_signed(const char * str, char ** endptr, int radix, int64 limit)
{
    if (!is_radix(radix)) {
        return static_cast<int64>(refuse_radix(str, endptr));
    }
    const bool negative = *str == '-';
    const char * digits = negative || *str == '+' ? str + 1 : str;
    const uint64 highest = static_cast<uint64>(limit) + (negative ? 1 : 0);
    const uint64 magnitude = finish(parse_magnitude(digits, radix, highest), digits, str, endptr);
    return static_cast<int64>(negative ? 0 - magnitude : magnitude);
}
