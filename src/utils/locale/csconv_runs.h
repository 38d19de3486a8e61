// The fast way through runs of characters that most text consists of: ASCII, two-byte and three-byte
// characters of UTF-8 and CESU-8, with SSE2, which every x86-64 has. What it converts comes out as
// csconv_rule.h has it; where it stops, the rule goes on.
//
// It writes a vector at a time, so bytes between the destination cursor and the end of the destination may
// have been written too. Units: bytes. Threads: free on any.
#pragma once

#include "utils/etc/uttypes.h"

// The areas of a conversion, with the cursors that move.
struct a_run {
    a_byte * dest;
    const a_byte * dest_end;
    const a_byte * src;
    const a_byte * src_end;
};

// From UTF-8 or CESU-8, whose lead bytes the forms have in common up to 0xEF, to UTF-16.
void decode_runs(a_run & run);

// From UTF-16, at any address, to UTF-8 or CESU-8, up to the first surrogate at the latest.
void encode_runs(a_run & run);

// UTF-16 with its bytes swapped; all whole code units that fit.
void swap_run(a_run & run);
