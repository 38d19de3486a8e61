// Text of 64-bit integers and back, in any radix from 2 to 36, independent of the locale.
//
// Units: bytes. Ownership: the caller's buffers. Failure: an empty text, or errno; nothing is reported.
// Threads: any, there is no state.
#pragma once

#include "utils/etc/uttypes.h"

// Writes `value` to `buf`, terminated, digits above 9 in lower case, and returns `buf`, which must hold the
// text: 65 bytes in the worst case. A radix outside 2 to 36 makes `buf` empty. The signed form writes a minus
// sign for radix 10 only; with any other radix a negative value is written as the unsigned value of the same
// bits.
char * u64toa(uint64 value, char * buf, int radix);
char * i64toa(int64 value, char * buf, int radix);

// Reads digits from the start of `str`; white space isn't skipped, the signed form takes one `-` or `+`.
// Radix 0 means 16 after "0x" or "0X", 8 after "0", else 10; with any other radix no prefix is taken.
// *endptr, if wanted, is the first byte that isn't part of the number, `str` if there is none (with 0 as the
// result). A value out of range sets errno to ERANGE and gives the limit, its digits all taken; a radix that
// is neither 0 nor from 2 to 36 sets EINVAL and gives 0. errno is left alone otherwise.
uint64 strtou64(const char * str, char ** endptr, int radix);
int64 strtoi64(const char * str, char ** endptr, int radix);
