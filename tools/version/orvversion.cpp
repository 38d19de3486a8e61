// Shows the version records of files: orvversion [--json] FILE...
//
// As text, a block of lines for each file. As JSON, an array with an object for each:
//   file         the name as given
//   offset       of the bytes behind the record's marker
//   length       of the record behind its marker
//   entries      object of key and value, in the order of the record; of a key that comes twice, the first
//   extensions   array of label, length, and data: the bytes that are there, in hexadecimal
// or with file and error alone. Bytes of a record that aren't UTF-8 become U+FFFD in JSON, and control
// characters are shown as \xNN in text.
//
// Exit status: 0; 1 if a file has no record; more for a wrong call.

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "utils/unix/unixver.h"

namespace {

using Json = nlohmann::ordered_json;

// The data of an extension, as far as it was captured.
std::string hexadecimal(const tc & info, const tb & extension)
{
    std::string text;
    if (extension.value == nullptr) {
        return text;
    }
    const std::ptrdiff_t position = extension.value - reinterpret_cast<const uint8 *>(info.buffer);
    const std::ptrdiff_t captured = static_cast<std::ptrdiff_t>(info.length) - position;
    const std::ptrdiff_t count =
        std::clamp<std::ptrdiff_t>(extension.len, 0, std::max<std::ptrdiff_t>(captured, 0));
    for (std::ptrdiff_t i = 0; i < count; i++) {
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02x", static_cast<unsigned>(extension.value[i]));
        text += digits.data();
    }
    return text;
}

Json as_json(const char * path, const tc & info)
{
    Json entries = Json::object();
    for (uint32 i = 0; i < info.num_args; i++) {
        entries.emplace(info.args[i].label, info.args[i].value); // keeps the first of a key
    }
    Json extensions = Json::array();
    for (uint32 i = 0; i < info.num_exts; i++) {
        extensions.push_back({{"label", std::string(info.exts[i].label, 1)},
                              {"length", info.exts[i].len},
                              {"data", hexadecimal(info, info.exts[i])}});
    }
    return {{"file", path},
            {"offset", info.file_offset},
            {"length", info.data_length},
            {"entries", entries},
            {"extensions", extensions}};
}

// A record may come from anywhere: nothing in it gets at the terminal. Further lines stand below the first.
std::string for_terminal(std::string_view text, size_t column)
{
    std::string result;
    for (const char c : text) {
        if (c == '\n') {
            result += '\n' + std::string(column, ' ');
        } else if (c < ' ' || c > '~') { // C1 controls are among the bytes from 0x80 on
            std::array<char, 5> escape{};
            std::snprintf(escape.data(), escape.size(), "\\x%02X",
                          static_cast<unsigned>(static_cast<unsigned char>(c)));
            result += escape.data();
        } else {
            result += c;
        }
    }
    return result;
}

void print_line(const std::string & key, const std::string & value)
{
    constexpr size_t COLUMN = 18;
    std::string line = "  " + for_terminal(key, COLUMN);
    line.append(line.size() < COLUMN ? COLUMN - line.size() : 1, ' ');
    std::printf("%s%s\n", line.c_str(), for_terminal(value, COLUMN).c_str());
}

void print_text(const char * path, const tc & info)
{
    std::printf("%s\n", path);
    for (uint32 i = 0; i < info.num_args; i++) {
        print_line(info.args[i].label, info.args[i].value);
    }
    for (uint32 i = 0; i < info.num_exts; i++) {
        print_line("extension " + std::string(info.exts[i].label, 1),
                   hexadecimal(info, info.exts[i]) + ", " + std::to_string(info.exts[i].len) + " bytes");
    }
}

int show(const std::vector<std::string> & files, bool json)
{
    int status = 0;
    Json all = Json::array();
    for (const std::string & file : files) {
        tc info;
        if (__Get_dbversion_info(file.c_str(), &info, TRUE) == FOUND_NOTHING || info.num_args == 0) {
            std::fprintf(stderr, "orvversion: %s: no version record\n", file.c_str());
            all.push_back({{"file", file}, {"error", "no version record"}});
            status = 1;
        } else if (json) {
            all.push_back(as_json(file.c_str(), info));
        } else {
            print_text(file.c_str(), info);
        }
    }
    if (json) {
        std::printf("%s\n", all.dump(4, ' ', false, Json::error_handler_t::replace).c_str());
    }
    return status;
}

} // namespace

int main(int argc, char ** argv)
{
    try {
        CLI::App app("Shows the version records of libraries and programs.");
        std::vector<std::string> files;
        bool json = false;
        app.add_option("FILE", files, "files to look through")->required();
        app.add_flag("--json", json, "as JSON");
        CLI11_PARSE(app, argc, argv);
        return show(files, json);
    } catch (const std::exception & failure) {
        std::fprintf(stderr, "orvversion: %s\n", failure.what());
        return 1;
    }
}
