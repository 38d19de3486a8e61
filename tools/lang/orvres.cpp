// orvres - compiles the texts of a language to the file that the link library reads.
//
// Exit status: 0; 1 if the input fails, after a line on standard error for each fault, and with no output
// file; 2 for a wrong call.

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "tools/lang/charset_text.h"
#include "tools/lang/po_texts.h"
#include "tools/lang/res_file.h"

namespace {

constexpr int exit_failure = 1;
constexpr int exit_usage = 2;

// The library refuses files of an older version.
constexpr int oldest_version = 160;

// Bytes. A template in the character set of the process is fetched into 512 bytes with its terminator, and
// UTF-8 is the longest form that it can take there.
constexpr std::size_t max_converted_length = 511;

struct a_command_line {
    std::string language;
    std::string charset;
    int version = 0;
    std::string input;
    std::string output;
    int code = 0;
};

int report(const std::string & file, const std::vector<std::string> & faults)
{
    for (const std::string & fault : faults) {
        std::fprintf(stderr, "orvres: %s: %s\n", file.c_str(), fault.c_str());
    }
    return faults.empty() ? 0 : exit_failure;
}

const CharsetInfo * usable_charset(const std::string & label)
{
    const CharsetInfo * const charset = UTLocale::GetCharsetInfoFromLabel(label.c_str(), CS_STD_ANY);
    return charset != nullptr && charset->min_char_size() == 1 && unambiguous_label(*charset) != nullptr
               ? charset
               : nullptr;
}

// The string by which a file tells its character set and language: eight bytes of any prefix come first.
std::string charset_string(const CharsetInfo & charset, const std::string & language)
{
    return std::string("charset=") + unambiguous_label(charset) + ";language=" + language;
}

// English texts are the fallback of all languages and are read with the character set of the other language's
// file.
bool is_ascii(const std::string & text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<signed char>(c) >= 0; });
}

std::string encoded_length_fault(const std::string & encoded, const std::string & utf8)
{
    if (encoded.size() > max_text_length) {
        return std::to_string(encoded.size()) + " bytes, longer than " + std::to_string(max_text_length);
    }
    if (utf8.size() > max_converted_length) {
        return std::to_string(utf8.size()) + " bytes in UTF-8, longer than " +
               std::to_string(max_converted_length);
    }
    return {};
}

// The strings of a file; each fault goes to `texts.faults`. A text without a translation stays out: the
// library finds it in the English file.
a_string_map strings_of(a_po_result & texts, const CharsetInfo & charset, const a_command_line & line)
{
    const bool english = line.language == "en";
    a_string_map strings;
    for (const a_po_text & entry : texts.texts) {
        if (!english && !entry.translated) {
            continue;
        }
        a_converted_text encoded = encode_text(charset, entry.text);
        std::string & fault = encoded.fault;
        if (fault.empty()) {
            fault = english && !is_ascii(entry.text) ? "an English text that isn't ASCII"
                                                     : encoded_length_fault(encoded.text, entry.text);
        }
        if (!fault.empty()) {
            texts.faults.push_back(std::to_string(entry.id) + ": " + fault);
        }
        strings[entry.id] = std::move(encoded.text);
    }
    strings[res_version_id] = std::to_string(line.version);
    strings[res_charset_id] = charset_string(charset, line.language);
    return strings;
}

bool write_file(const std::string & path, const std::vector<std::uint8_t> & bytes)
{
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    file.close();
    return file.good();
}

int compile(const a_command_line & line)
{
    const CharsetInfo * const charset = usable_charset(line.charset);
    if (charset == nullptr) {
        return report(line.charset, {"no character set of language files"});
    }
    a_po_result texts = read_po_texts(line.input.c_str());
    const a_string_map strings = strings_of(texts, *charset, line);
    if (!texts.faults.empty()) {
        return report(line.input, texts.faults);
    }
    if (!write_file(line.output, make_res_file(strings, smallest_levels(strings)))) {
        (void)std::remove(line.output.c_str()); // half a file is worse than none
        return report(line.output, {"can't be written"});
    }
    return 0;
}

void add_compile(CLI::App & app, a_command_line & line)
{
    CLI::App & command = *app.add_subcommand("compile", "Write the language file for a PO file");
    const auto known_language = [](const std::string & label) {
        const LanguageInfo * const row = UTLocale::GetLanguageInfoFromLabel(label.c_str());
        return row != nullptr && label == row->iso_label() ? std::string{}
                                                           : label + " is no language of the catalogue";
    };
    command.add_option("--language", line.language, "Two letters, as in the file's name")
        ->check(known_language)
        ->required();
    command.add_option("--charset", line.charset, "Character set of the file, by any of its names")
        ->required();
    command.add_option("--version", line.version, "Version of the texts")
        ->check(CLI::Range(oldest_version, 999999999))
        ->required();
    command.add_option("-o,--output", line.output, "File to write")->required();
    command.add_option("PO", line.input, "File with the texts")->required();
    command.callback([&line] { line.code = compile(line); });
}

} // namespace

int main(int argc, char ** argv)
{
    CLI::App app("Compiles language files of the message link", "orvres");
    app.require_subcommand(1);
    a_command_line line;
    add_compile(app, line);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError & error) {
        return app.exit(error) == 0 ? 0 : exit_usage;
    }
    return line.code;
}
