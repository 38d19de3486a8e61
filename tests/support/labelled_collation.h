// A collation of the catalogue by its label, over the character set that it requires.
//
// Failure: a test failure. Ownership and threads: as UTCollation.
#pragma once

#include <gtest/gtest.h>

#include "utils/etc/utcollation.h"
#include "utils/locale/tailoring.h"

class LabelledCollation : public UTCollation {
public:
    explicit LabelledCollation(const char * label) : UTCollation(nullptr)
    {
        const CollationInfo * const row = UTLocale::GetCollationInfoFromLabel(label);
        if (row == nullptr) {
            ADD_FAILURE() << "no collation " << label;
            return;
        }
        EXPECT_TRUE(
            set_collation(nullptr, row, row->required_charset(), nullptr, UTCollationTailoring(), FALSE));
    }
};
