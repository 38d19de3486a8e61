// The scalar types that every module uses; those that hosts see stand in orvlink.h.
#pragma once

#include <cstddef>
#include <cstdint>

#include "orvlink.h"

using int16 = std::int16_t;
using int32 = std::int32_t;
using int64 = std::int64_t;
using uint64 = std::uint64_t;
using uint8 = std::uint8_t;
using a_byte = unsigned char;
using a_utf16 = std::uint16_t; // a UTF-16 code unit

constexpr a_bool FALSE = 0;
constexpr a_bool TRUE = 1;
