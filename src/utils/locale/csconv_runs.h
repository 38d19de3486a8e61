// The fast way through runs of characters that most text consists of: ASCII, two-byte and three-byte
// characters of UTF-8 and CESU-8, with SSE2, which every x86-64 has. What it converts comes out as
// csconv_rule.h has it; where it stops, the rule goes on.
//
// It writes a vector at a time, so bytes between the destination cursor and the end of the destination may
// have been written too. Units: bytes. Threads: free on any.
#pragma once

#include <cstddef>

#include "utils/etc/uttypes.h"
#include "utils/locale/csconv_rule.h"

// The areas of a conversion, with the cursors that move.
struct a_run {
    a_byte * dest;
    const a_byte * dest_end;
    const a_byte * src;
    const a_byte * src_end;
};

constexpr ptrdiff_t RUN_VECTOR = 16; // bytes that are looked at together

// From UTF-8 or CESU-8 to UTF-16, as long as it fits, up to the first character of one or two bytes that
// isn't well-formed, or the first that is illegal.
[[nodiscard]] inline bool fits_decode_runs(const a_run & run)
{
    return run.src_end - run.src >= RUN_VECTOR / 2 && run.dest_end - run.dest >= RUN_VECTOR;
}
void decode_runs(a_run & run, const an_encoding_form & form);

// From UTF-16, at any address, to UTF-8 or CESU-8, as long as it fits, up to the first surrogate that isn't
// part of a joined pair.
[[nodiscard]] inline bool fits_encode_runs(const a_run & run)
{
    return run.src_end - run.src >= RUN_VECTOR && run.dest_end - run.dest >= RUN_VECTOR;
}
void encode_runs(a_run & run, const an_encoding_form & form);

// ASCII as it is, up to the first byte that is none.
void copy_ascii(a_run & run);

// UTF-16 with its bytes swapped; all whole code units that fit.
void swap_run(a_run & run);
