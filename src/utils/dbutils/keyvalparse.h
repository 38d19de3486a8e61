// Strings of options: any number of `key=value` with `;` between and around them, where `#` will do for `=`.
//
//   key    one of the names in a table, in any case; blanks and the control characters 9 to 13 may stand
//          before it, blanks and tabs behind it
//   value  blanks and the control characters 9 to 13 before it don't count. A plain one goes to the next `;`
//          or the end, without the blanks and tabs there. A quoted one begins with `"` or `'`, ends at the
//          next such character that isn't doubled, and may hold `;`; a doubled one stands for itself.
//
// Ownership: values are owned by the a_string_parms. Failure: the result, with the word in question in
// OffendingWord(), cut to that buffer, for every result but PARSE_OK and PARSE_NO_MEM; nothing is reported.
// Threads: free on any thread, there is no state.
#pragma once

#include "utils/dbutils/stringparms.h"
#include "utils/etc/uttypes.h"

enum a_parse_ret : int32 {
    PARSE_OK = 0,
    PARSE_NO_MEM = 1,
    PARSE_NO_EQUAL_SIGN = 2,
    PARSE_MISSING_QUOTE = 3,
    PARSE_MISSING_COMMA = 4,
    PARSE_BAD_KEYWORD = 5,
    PARSE_BRACE_MISMATCH = 6,
    PARSE_BAD_VALUE = 7,
    PARSE_NO_INI_FILE = 8,
    PARSE_FILE_ERROR = 9,
    PARSE_INVALID_DSN = 10,
    PARSE_INVALID_HEADER = 11
};

// What turns a value into its canonical text; null refuses it.
using a_post_process_option = const char * (*)(const char * value);

// One key. A null `fullName` ends a table; a row's index is the slot of its value.
struct a_key_value_map {
    const char * fullName;
    const char * shortForm;                    // may be null
    const char * const * alternates;           // more names, ended by null; may be null
    a_post_process_option post_process_option; // may be null
    a_bool suboptions_allowed;                 // no table of this library allows any
};

// Reads `string`, null for none, into the slots of `sp`, of which there is one for each row. An empty value
// that isn't refused leaves its slot alone. Of several values for a key the last one stays, or with
// `respect_1st` the first one. `ignore_bad_keywords` passes over keys that no row has, with their values.
// `parse_dblib_opts` and `key_order` belong to modes that this library has no use for, and have no effect.
// After a failure the slots hold the values in front of it.
[[nodiscard]] a_parse_ret ParseKeyValueString(const char * string, a_string_parms * sp,
                                              const a_key_value_map * map_table, a_bool parse_dblib_opts,
                                              a_bool respect_1st, a_bool ignore_bad_keywords,
                                              int32 * key_order);
