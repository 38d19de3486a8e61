// Reading of integers for the widths of native32.h and native64.h, which tell the rules of the text and of
// errno.
//
// Units: bytes. Threads: any, there is no state.
#pragma once

#include "utils/etc/uttypes.h"

// Radix of the digits themselves.
constexpr int NATIVE_MIN_RADIX = 2;
constexpr int NATIVE_MAX_RADIX = 36;

// A number from 0 to `limit`.
uint64 parse_unsigned(const char * str, char ** endptr, int radix, uint64 limit);

// A number from -limit - 1 to `limit`.
int64 parse_signed(const char * str, char ** endptr, int radix, int64 limit);
