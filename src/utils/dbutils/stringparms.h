// The values that a key-value string gave, one slot for each key that it may hold.
//
// Ownership: the record owns its slots and what stands in them; FreeStringParms frees both. Failure: the
// result; nothing is reported. Threads: a plain record, one thread at a time.
#pragma once

#include <cstddef>
#include <string_view>

#include "utils/etc/uttypes.h"

struct a_string_parms {
    uint16 num_strings;
    // num_strings values, each owned or null, and behind them the buffer of the word that a parser
    // couldn't take, terminated. Null without memory.
    char ** string;
    unsigned int oldstyle : 1; // kept for callers; no parser of this library sets it
};

// The size of the buffer of the offending word: longer words are cut, which is enough to know them by.
constexpr size_t OFFENDING_WORD_SIZE = 256;

// `count` empty slots and an empty offending word. FALSE without memory, with a record that holds nothing and
// may be freed all the same.
[[nodiscard]] a_bool InitSizedStringParms(a_string_parms * sp, uint16 count);
// May be called again.
void FreeStringParms(a_string_parms * sp);

// A copy of `value` goes into a slot in place of an earlier one. FALSE without memory, with the slot as it
// was.
[[nodiscard]] a_bool SetStringParm(a_string_parms * sp, size_t slot, std::string_view value);

char * OffendingWord(const a_string_parms * sp);
