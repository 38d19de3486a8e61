// Language files by what they say: made from the texts of a PO file, checked, and turned into texts again.
// The bytes are the business of res_file.h, the characters of charset_text.h.
//
// Part of a tool of the build: it allocates, and may throw std::bad_alloc. Failure: a line in `faults` for
// each fault, with the number of the text. One thread at a time, as with po_texts.h.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tools/lang/po_texts.h"
#include "utils/locale/utlocale.h"

// The library refuses files of an older version.
constexpr int oldest_strings_version = 160;

struct a_compiled_file {
    std::vector<std::uint8_t> bytes; // of no use if there is a fault
    std::vector<std::string> faults; // of the texts, too
};

// The character set with this name; null if there is none, or if it can't be that of a language file.
[[nodiscard]] const CharsetInfo * lang_file_charset(const std::string & label);

// `language` is the two letters of the catalogue. A text without a translation stays out, so that the library
// takes it from the English file, in which all texts stand. `english` may be null: the texts that the program
// fills now, which a translation may lag behind. An entry of another English text is a fault then.
[[nodiscard]] a_compiled_file compile_lang_file(const a_po_result & texts, const CharsetInfo & charset,
                                                const std::string & language, int version,
                                                const a_po_result * english = nullptr);

struct a_lang_file {
    const CharsetInfo * charset = nullptr; // null: the file doesn't tell a known one
    std::string language;                  // two letters
    int version = 0;
    std::vector<a_po_text> texts; // sorted by number
    std::vector<std::string> faults;
};

// Reads and checks a file. With the English texts, each text is held against the English one with its number,
// and those that are missing come along untranslated; without, the text stands in its place.
[[nodiscard]] a_lang_file read_lang_file(std::span<const std::uint8_t> file, const a_po_result * english);
