// orvres - language files of the message link: compiles them from PO files, turns them back, and checks them.
//
// Exit status: 0; 1 if the input fails, after a line on standard error for each fault, and with the output
// file as it was; 2 for a wrong call.

#include <cstdio>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "tools/lang/lang_file.h"

namespace {

constexpr int exit_failure = 1;
constexpr int exit_usage = 2;

struct a_command_line {
    std::string language;
    std::string charset;
    int version = 0;
    std::string english;
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

// A link may have the old file mapped, so the new one takes its place and not its bytes.
bool write_file(const std::string & path, const std::vector<std::uint8_t> & bytes)
{
    const std::string beside = path + ".new";
    std::ofstream file(beside, std::ios::binary);
    file.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    file.close();
    const bool good = file.good() && std::rename(beside.c_str(), path.c_str()) == 0;
    if (!good) {
        (void)std::remove(beside.c_str()); // may not even be there
    }
    return good;
}

// The English texts, empty if the call doesn't name them. None after a fault, which is reported then.
std::optional<a_po_result> read_english(const a_command_line & line)
{
    a_po_result english;
    if (!line.english.empty()) {
        english = read_po_texts(line.english.c_str());
    }
    return report(line.english, english.faults) == 0 ? std::optional(std::move(english)) : std::nullopt;
}

int compile(const a_command_line & line)
{
    const CharsetInfo * const charset = lang_file_charset(line.charset);
    if (charset == nullptr) {
        return report(line.charset, {"no character set of language files"});
    }
    const std::optional<a_po_result> english = read_english(line);
    if (!english) {
        return exit_failure;
    }
    const a_compiled_file compiled =
        compile_lang_file(read_po_texts(line.input.c_str()), *charset, line.language, line.version,
                          line.english.empty() ? nullptr : &*english);
    if (!compiled.faults.empty()) {
        return report(line.input, compiled.faults);
    }
    return write_file(line.output, compiled.bytes) ? 0 : report(line.output, {"can't be written"});
}

// The file, held against the English texts if the call names them. None after a fault, which is reported
// then.
std::optional<a_lang_file> read_input(const a_command_line & line)
{
    const std::optional<a_po_result> english = read_english(line);
    if (!english) {
        return std::nullopt;
    }
    std::ifstream file(line.input, std::ios::binary);
    if (!file) {
        (void)report(line.input, {"can't be read"});
        return std::nullopt;
    }
    const std::vector<char> content{std::istreambuf_iterator<char>(file), {}};
    const std::vector<std::uint8_t> bytes(content.begin(), content.end());
    a_lang_file result = read_lang_file(bytes, line.english.empty() ? nullptr : &*english);
    if (report(line.input, result.faults) != 0) {
        return std::nullopt;
    }
    return result;
}

int dump(const a_command_line & line)
{
    const std::optional<a_lang_file> file = read_input(line);
    if (!file) {
        return exit_failure;
    }
    const std::string header = "Language: " + file->language +
                               "\nX-Strings-Version: " + std::to_string(file->version) +
                               "\nX-Charset: " + file->charset->orv_label() + "\n";
    const std::string fault = write_po_texts(line.output.c_str(), header, file->texts);
    return fault.empty() ? 0 : report(line.output, {fault});
}

std::string known_language(const std::string & label)
{
    const LanguageInfo * const row = UTLocale::GetLanguageInfoFromLabel(label.c_str());
    return row != nullptr && label == row->iso_label() ? "" : label + " is no language of the catalogue";
}

void add_english(CLI::App & command, a_command_line & line)
{
    command.add_option("--english", line.english,
                       "PO file with the English texts, to hold the texts against");
}

void add_compile(CLI::App & app, a_command_line & line)
{
    CLI::App & command = *app.add_subcommand("compile", "Write the language file for a PO file");
    command.add_option("--language", line.language, "Two letters, as in the file's name")
        ->check(known_language)
        ->required();
    command.add_option("--charset", line.charset, "Character set of the file, by any of its names")
        ->required();
    command.add_option("--version", line.version, "Version of the texts")
        ->check(CLI::Range(oldest_strings_version, 999999999))
        ->required();
    command.add_option("-o,--output", line.output, "File to write")->required();
    add_english(command, line);
    command.add_option("PO", line.input, "File with the texts")->required();
    command.callback([&line] { line.code = compile(line); });
}

void add_input(CLI::App & command, a_command_line & line)
{
    command.add_option("--english", line.english,
                       "PO file with the English texts, to hold the texts against");
    command.add_option("FILE", line.input, "Language file")->required();
}

void add_dump(CLI::App & app, a_command_line & line)
{
    CLI::App & command = *app.add_subcommand("dump", "Write the texts of a language file as a PO file");
    line.output = "-";
    command.add_option("-o,--output", line.output, "File to write; default: standard output");
    add_input(command, line);
    command.callback([&line] { line.code = dump(line); });
}

void add_check(CLI::App & app, a_command_line & line)
{
    CLI::App & command = *app.add_subcommand("check", "Look at everything in a language file");
    add_input(command, line);
    command.callback([&line] { line.code = read_input(line) ? 0 : exit_failure; });
}

int run(int argc, char ** argv)
{
    CLI::App app("Compiles, dumps and checks language files of the message link", "orvres");
    app.require_subcommand(1);
    a_command_line line;
    add_compile(app, line);
    add_dump(app, line);
    add_check(app, line);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError & error) {
        return app.exit(error) == 0 ? 0 : exit_usage;
    }
    return line.code;
}

} // namespace

int main(int argc, char ** argv)
{
    try {
        return run(argc, argv);
    } catch (...) {
        (void)std::fputs("orvres: out of memory\n", stderr); // nothing else throws
        return exit_failure;
    }
}
