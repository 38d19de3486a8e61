// Reads the numbered texts of a PO file and checks them against the rules of lang/README.md.
//
// For tools of the build: allocates freely, one thread. Failure: every fault of the file is a line in
// `faults`, with the number of its entry, and the result is of no use if there is one.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct a_po_text {
    std::uint16_t id = 0;
    std::string text; // the translation, or the English text where there is none
    std::string english;
    std::string comments; // for translators, lines of text
    bool translated = false;
};

struct a_po_result {
    std::string language;         // as the header has it
    std::vector<a_po_text> texts; // sorted by number
    std::vector<std::string> faults;
};

// Bytes: a template is fetched into 256 bytes with its terminator. Holds for an English text here; a
// translation is measured in its file's character set, by the compiler.
constexpr std::size_t max_text_length = 255;

[[nodiscard]] a_po_result read_po_texts(const char * path);

// Writes the texts as a PO file, "-" for standard output; `header` is whole lines of "Field: value". What
// went wrong, empty for nothing.
[[nodiscard]] std::string write_po_texts(const char * path, const std::string & header,
                                         const std::vector<a_po_text> & texts);

// The placeholders of a text, such as "%1!d!", in its order. A percent sign that is neither part of one nor
// doubled goes to `fault`, which is empty otherwise; the result is of no use then.
[[nodiscard]] std::vector<std::string> placeholders(const std::string & text, std::string & fault);

// What is wrong with a text and its translation but for the comments and the language; empty for nothing.
[[nodiscard]] std::string text_fault(const a_po_text & entry);

// What is wrong with the placeholders of `text` itself, given the translator comments with the line
// "Arguments:
// ..."; empty for nothing.
[[nodiscard]] std::string placeholder_fault(const std::string & text, const std::string & comments);
