// Writes the version record of the library, as source: verrec OUTPUT.cpp MODULE MAJOR.MINOR.PATCH.BUILD
//
// Time and machine are those of the build, unless the environment says otherwise:
//   SOURCE_DATE_EPOCH   the time of the build, in seconds since 1970 (reproducible-builds.org); with it
//                       the machine isn't asked for anything
//   ORV_BUILD_HOST      name of the build machine
//   ORV_BUILD_UNAME     its system identification line
// Times are in UTC. docs/version-record.md tells the form.
//
// Ends with 1, after a line on standard error and with no new output file, if that can't be written, a
// variable is no time, or the record is too long.

#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <sys/utsname.h>
#include <utility>
#include <vector>

#include "utils/unix/unixver.h"

namespace {

using Entries = std::vector<std::pair<std::string, std::string>>;

const char * const COPYRIGHT = "Copyright (c) Orvane. All rights reserved.\n"
                               "Use, copying and distribution of this file are subject to the licence\n"
                               "that came with it.";

struct BuildPlace {
    std::int64_t time;
    std::string host;
    std::string system;
};

std::string environment_or(const char * name, const std::string & otherwise)
{
    const char * const value = std::getenv(name);
    return value == nullptr ? otherwise : value;
}

// Where and when this build runs; nothing if the time of the environment is none.
std::optional<BuildPlace> build_place()
{
    BuildPlace place{std::time(nullptr), "unknown", "unknown"};
    if (const char * const epoch = std::getenv("SOURCE_DATE_EPOCH"); epoch != nullptr) {
        const char * const end = epoch + std::strlen(epoch);
        const auto [stop, error] = std::from_chars(epoch, end, place.time);
        if (error != std::errc() || stop != end || place.time < 0 || place.time > 253402300799) { // of 9999
            return std::nullopt;
        }
    } else if (utsname system{}; uname(&system) == 0) {
        place.host = system.nodename;
        place.system = std::string(system.sysname) + ' ' + system.nodename + ' ' + system.release + ' ' +
                       system.version + ' ' + system.machine;
    }
    place.host = environment_or("ORV_BUILD_HOST", place.host);
    place.system = environment_or("ORV_BUILD_UNAME", place.system);
    return place;
}

std::string formatted_time(std::int64_t time, const char * format)
{
    const std::time_t seconds = time;
    std::tm parts{};
    std::array<char, 64> text{};
    gmtime_r(&seconds, &parts);
    return {text.data(), std::strftime(text.data(), text.size(), format, &parts)};
}

// The four parts of a version; fewer if the text has fewer.
std::vector<std::string> split_version(std::string_view text)
{
    std::vector<std::string> parts(1);
    for (const char c : text) {
        if (c == '.') {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

// The eighteen entries; readers of the record count on their order.
Entries make_entries(const std::string & module, const std::vector<std::string> & version,
                     const BuildPlace & place)
{
    const std::string numbers = version[0] + '.' + version[1] + '.' + version[2];
    return {
        {"MODULE", module},
        {"VERSION_CLASS", "xx"},
        {"VERSION_MAJOR", version[0]},
        {"VERSION_MINOR", version[1]},
        {"VERSION_PATCH", version[2]},
        {"BUILD_NUMBER", version[3]},
        {"POINTERSIZE", "64"},
        {"PLATFORM", "linux"},
        {"DATE", formatted_time(place.time, "%Y/%m/%d")},
        {"TIME", formatted_time(place.time, "%H:%M:%S")},
        {"HOST", place.host},
        {"THREADS", "posix"},
        {"PRODUCTION", "production"},
        {"COMPILER", "gnu"},
        {"UNAME", place.system},
        // The slash divides its parts, so the time has none.
        {"IDENT", module + '/' + numbers + "/x86_64/linux/" + version[3] + '/' +
                      formatted_time(place.time, "%Y-%m-%d %H:%M:%S")},
        {"COPYRIGHT", COPYRIGHT},
        {"EXTENSIONS", "A8"},
    };
}

// The time of the build again, as a number that no reader has to parse: little-endian, eight bytes.
std::string extension_data(std::int64_t time)
{
    std::string bytes;
    for (unsigned shift = 0; shift < 64; shift += 8) {
        bytes += static_cast<char>(static_cast<std::uint64_t>(time) >> shift & 0xFF);
    }
    return bytes;
}

// A value holds neither `=`, which readers refuse, nor NUL.
std::string clean(std::string value)
{
    for (char & c : value) {
        if (c == '=' || c == '\0') {
            c = '-';
        }
    }
    return value;
}

// As a string literal: octal throughout where a byte isn't plain, as three digits never run into what
// follows.
std::string quoted(const std::string & bytes)
{
    std::string result = "\"";
    for (const char c : bytes) {
        if (c == '"' || c == '\\' || c < ' ' || c > '~') {
            std::array<char, 5> escape{};
            std::snprintf(escape.data(), escape.size(), "\\%03o",
                          static_cast<unsigned>(static_cast<unsigned char>(c)));
            result += escape.data();
        } else {
            result += c;
        }
    }
    return result + '"';
}

bool write_source(const char * path, const Entries & entries, const std::string & data)
{
    std::ofstream out(path);
    out << "// Generated by tools/version/verrec when the library is built. Don't edit.\n"
        << "#include \"utils/unix/versioninfo.h\"\n\n"
        << "const char __DBVersionInfo_orvsmtp16_r[] =\n"
        << "    \"@@==Version==@1@\"\n";
    for (const auto & [key, value] : entries) {
        out << "    " << quoted(key + '=' + clean(value) + '\0') << '\n';
    }
    out << "    \"\\000\"\n"
        << "    " << quoted(data) << "; // and the literal's own NUL\n";
    out.close();
    return !out.fail();
}

// What a reader captures, with the empty entry and the last NUL.
size_t record_length(const Entries & entries, const std::string & data)
{
    size_t length = 2 + data.size();
    for (const auto & [key, value] : entries) {
        length += key.size() + value.size() + 2;
    }
    return length;
}

int fail(const char * subject, const char * reason)
{
    std::fprintf(stderr, "verrec: %s: %s\n", subject, reason);
    return 1;
}

} // namespace

int main(int argc, char ** argv)
{
    const std::vector<std::string> version = split_version(argc == 4 ? argv[3] : "");
    if (version.size() != 4) {
        std::fputs("usage: verrec OUTPUT.cpp MODULE MAJOR.MINOR.PATCH.BUILD\n", stderr);
        return 2;
    }
    const std::optional<BuildPlace> place = build_place();
    if (!place) {
        return fail("SOURCE_DATE_EPOCH", "not a number of seconds since 1970");
    }
    const Entries entries = make_entries(argv[2], version, *place);
    const std::string data = extension_data(place->time);
    if (record_length(entries, data) > DBVERSION_MAX_LENGTH) {
        return fail("ORV_BUILD_HOST or ORV_BUILD_UNAME", "too long for what readers capture");
    }
    if (!write_source(argv[1], entries, data)) {
        (void)std::remove(argv[1]); // half a record is worse than none
        return fail(argv[1], "can't be written");
    }
    return 0;
}
