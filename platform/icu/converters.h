// What the data of the ICU at hand has of the catalogue's converters.
#pragma once

#include "icu/orvicu.h"

// True if each multi-byte character set of the catalogue opens without an error or a warning.
[[nodiscard]] bool has_catalogue_converters();
