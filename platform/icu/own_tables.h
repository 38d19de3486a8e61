// The converters that this library brings, as a package in ICU's common data format. Generated while
// building, by own_tables.py.
#pragma once

#include <cstdint>

extern const uint8_t OWN_TABLES[];
