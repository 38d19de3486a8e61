#include "utils/etc/native32.h"

#include <limits>

#include "utils/etc/native64.h"
#include "utils/etc/nativeparse.h"

char * u32toa(uint32 value, char * buf, int radix)
{
    return u64toa(value, buf, radix);
}

char * i32toa(int32 value, char * buf, int radix)
{
    // The bits of a negative value are 32, not 64, with any radix but 10.
    return radix == 10 ? i64toa(value, buf, radix) : u32toa(static_cast<uint32>(value), buf, radix);
}

uint32 strtou32(const char * str, char ** endptr, int radix)
{
    return static_cast<uint32>(parse_unsigned(str, endptr, radix, std::numeric_limits<uint32>::max()));
}

int32 strtoi32(const char * str, char ** endptr, int radix)
{
    return static_cast<int32>(parse_signed(str, endptr, radix, std::numeric_limits<int32>::max()));
}
