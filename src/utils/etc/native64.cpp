#include "utils/etc/native64.h"

#include <cstring>
#include <limits>

#include "utils/etc/nativeparse.h"

namespace {

// 64 binary digits and the terminator.
constexpr size_t DIGITS_SIZE = 65;

constexpr char DIGITS[] = "0123456789abcdefghijklmnopqrstuvwxyz";
static_assert(sizeof(DIGITS) == NATIVE_MAX_RADIX + 1);

bool is_text_radix(int radix)
{
    return radix >= NATIVE_MIN_RADIX && radix <= NATIVE_MAX_RADIX;
}

} // namespace

char * u64toa(uint64 value, char * buf, int radix)
{
    if (!is_text_radix(radix)) {
        buf[0] = '\0';
        return buf;
    }
    char text[DIGITS_SIZE];
    char * pos = text + sizeof(text) - 1;
    *pos = '\0';
    const uint64 base = static_cast<uint64>(radix);
    do {
        *--pos = DIGITS[value % base];
        value /= base;
    } while (value != 0);
    std::memcpy(buf, pos, static_cast<size_t>(text + sizeof(text) - pos));
    return buf;
}

char * i64toa(int64 value, char * buf, int radix)
{
    if (radix != 10 || value >= 0) {
        return u64toa(static_cast<uint64>(value), buf, radix);
    }
    buf[0] = '-';
    u64toa(0 - static_cast<uint64>(value), buf + 1, radix);
    return buf;
}

uint64 strtou64(const char * str, char ** endptr, int radix)
{
    return parse_unsigned(str, endptr, radix, std::numeric_limits<uint64>::max());
}

int64 strtoi64(const char * str, char ** endptr, int radix)
{
    return parse_signed(str, endptr, radix, std::numeric_limits<int64>::max());
}
