// The binding to an ICU build that is looked for at run time. There may be none: every entry point then
// behaves as in a build without data, and nothing is reported.
//
// Threads: read-only after construction, free on any thread.
#pragma once

#include "utils/etc/uttypes.h"

// How much data an ICU build brings along.
enum ICU_DATASET : int32 {
    ICU_DATASET_NONE = 0,
    ICU_DATASET_STUB = 1,
    ICU_DATASET_CE = 2,
    ICU_DATASET_ORV = 3,
    ICU_DATASET_FULL = 4
};

class UTICU {
public:
    // TRUE if a build was found that lacks an entry point.
    a_bool version_mismatch() const { return _missing_entry; }

    ICU_DATASET ORVGetICUDataset() const { return ICU_DATASET_NONE; }

private:
    a_bool _missing_entry = FALSE;
};
