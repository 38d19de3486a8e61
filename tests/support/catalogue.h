// Short forms of look-ups that many tests need.
//
// Failure: a test failure, and null. Ownership: rows are the catalogue's. Threads: any.
#pragma once

#include <gtest/gtest.h>

#include "utils/locale/utlocale.h"

// A row by any of its labels.
inline const CharsetInfo * charset(const char * label)
{
    const CharsetInfo * const row = UTLocale::GetCharsetInfoFromLabel(label, CS_STD_ANY);
    EXPECT_NE(row, nullptr) << label;
    return row;
}
