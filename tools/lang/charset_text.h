// Texts of language files in the character sets of the catalogue. Single-byte sets go by the catalogue's own
// tables, by which the library reads the files again; the others by the C library's iconv.
//
// Part of a tool of the build: it allocates, and may throw std::bad_alloc. One thread at a time.
#pragma once

#include <string>

#include "utils/locale/utlocale.h"

struct a_converted_text {
    std::string text;
    std::string fault; // empty for none; `text` is of no use otherwise
};

// UTF-8 to `charset`. A character that the set lacks is a fault, as is one that wouldn't come back the same.
[[nodiscard]] a_converted_text encode_text(const CharsetInfo & charset, const std::string & utf8);

// `charset` to UTF-8. Bytes that stand for no character are a fault.
[[nodiscard]] a_converted_text decode_text(const CharsetInfo & charset, const std::string & bytes);

// A name by which a look-up over all naming standards finds this very row; the first row with a name wins
// there, so not every name of a row does. Null if there is none.
[[nodiscard]] const char * unambiguous_label(const CharsetInfo & charset);
