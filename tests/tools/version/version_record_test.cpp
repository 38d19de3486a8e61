// The version record that the build puts into the library, and the programs that make and show it.

#include "utils/unix/unixver.h"

#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <iterator>
#include <regex>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "support/temporary_folder.h"
#include "utils/etc/orvfilever.h"

namespace {

using namespace std::string_literals;

const std::string library = ORV_BUILD_DIR "/lib64/liborvsmtp16_r.so";
const std::string bin = ORV_BUILD_DIR "/bin64/";
const std::string marker = "@@==Version==@1@";

struct Output {
    int status;
    std::string text;
};

Output run(const std::string & command)
{
    Output output{-1, {}};
    std::FILE * const pipe = popen(command.c_str(), "r");
    if (pipe != nullptr) {
        for (int c; (c = std::fgetc(pipe)) != EOF;) {
            output.text += static_cast<char>(c);
        }
        const int status = pclose(pipe);
        output.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    return output;
}

class LibraryRecord : public testing::Test {
protected:
    TemporaryFolder _folder;
};

TEST_F(LibraryRecord, HasItsEntriesInTheirOrder)
{
    const struct {
        const char * key;
        const char * value; // a regular expression
    } rows[] = {
        {"MODULE", R"(liborvsmtp16_r\.so\.1)"},
        {"VERSION_CLASS", "xx"},
        {"VERSION_MAJOR", "16"},
        {"VERSION_MINOR", "0"},
        {"VERSION_PATCH", "0"},
        {"BUILD_NUMBER", "428"},
        {"POINTERSIZE", "64"},
        {"PLATFORM", "linux"},
        {"DATE", R"(\d{4}/\d\d/\d\d)"},
        {"TIME", R"(\d\d:\d\d:\d\d)"},
        {"HOST", ".+"},
        {"THREADS", "posix"},
        {"PRODUCTION", "production"},
        {"COMPILER", "gnu"},
        {"UNAME", ".+"},
        {"IDENT", R"(liborvsmtp16_r\.so\.1/16\.0\.0/x86_64/linux/428/\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)"},
        {"COPYRIGHT", R"(.+\n.+\n.+)"},
        {"EXTENSIONS", "A8"},
    };
    tc info;
    ASSERT_EQ(__Get_dbversion_info(library.c_str(), &info, TRUE), FOUND_DBVERSION);
    ASSERT_EQ(info.num_args, std::size(rows));
    for (uint32 i = 0; i < info.num_args; i++) {
        EXPECT_STREQ(info.args[i].label, rows[i].key);
        EXPECT_TRUE(std::regex_match(info.args[i].value, std::regex(rows[i].value))) << info.args[i].value;
    }
    ASSERT_EQ(info.num_exts, 1U);
    EXPECT_EQ(info.exts[0].len, 8);
    EXPECT_EQ(info.data_length, info.extensions + 8 - reinterpret_cast<uint8 *>(info.buffer));
    EXPECT_EQ(info.buffer[info.data_length], '\0');
}

// A second one, such as the reader's own marker or one in the debug information, would hide the first from
// tools that scan in another way.
TEST_F(LibraryRecord, IsTheOnlyOneAndSurvivesStripping)
{
    const std::string stripped = _folder.path("stripped.so");
    ASSERT_EQ(run("objcopy --strip-all " + library + " " + stripped).status, 0);
    for (const std::string & file : {library, stripped}) {
        std::ifstream in(file, std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(in), {}};
        int count = 0;
        for (size_t at = bytes.find(marker); at != std::string::npos; at = bytes.find(marker, at + 1)) {
            count += bytes[at + marker.size()] != '\0' ? 1 : 0;
        }
        EXPECT_EQ(count, 1) << file;
        ORVFileVersion version;
        EXPECT_EQ(version.set_from_file(file.c_str()), TRUE);
        EXPECT_STREQ(version.as_string(), "16.0.0.428");
    }
}

std::string load_line;

// What a process writes to its standard output while it loads the library.
std::string output_at_load(const char * variable)
{
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    std::fflush(stdout); // the child has a copy of what isn't written yet
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        variable != nullptr ? setenv("ORVANE_VERSION_INFO", variable, 1) : unsetenv("ORVANE_VERSION_INFO");
        const bool loaded = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL) != nullptr;
        std::fflush(stdout);
        _exit(loaded ? 0 : 1);
    }
    close(ends[1]);
    std::string text;
    for (char c; read(ends[0], &c, 1) == 1;) {
        text += c;
    }
    close(ends[0]);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    return text;
}

TEST_F(LibraryRecord, TellsItsSystemAtLoadOnlyWhenAsked)
{
    tc info;
    ASSERT_EQ(__Get_dbversion_info(library.c_str(), &info, TRUE), FOUND_DBVERSION);
    EXPECT_EQ(output_at_load(""), "UNAME="s + __Find_arg(&info, "UNAME") + "\n");
    EXPECT_EQ(output_at_load(nullptr), "");
}

TEST_F(LibraryRecord, TimeAndPlaceOfABuildComeFromTheEnvironment)
{
    const std::string source = _folder.path("record.cpp");
    const std::string program = bin + "verrec " + source + " m.so.1 1.2.3.4 2>&1";
    ASSERT_EQ(run("SOURCE_DATE_EPOCH=86399 ORV_BUILD_HOST='a=b\"?' " + program).status, 0);
    const std::string text = _folder.read("record.cpp");
    for (const char * line :
         {R"("DATE=1970/01/01\000")", R"("TIME=23:59:59\000")", R"("HOST=a-b\042?\000")",
          R"("UNAME=unknown\000")", R"("IDENT=m.so.1/1.2.3/x86_64/linux/4/1970-01-01 23:59:59\000")"}) {
        EXPECT_NE(text.find(line), std::string::npos) << line << " in\n" << text;
    }
    for (const char * time : {"", "12x", "-1", "99999999999999999999"}) {
        EXPECT_EQ(run("SOURCE_DATE_EPOCH=" + std::string(time) + " " + program).status, 1) << time;
    }
    EXPECT_EQ(run("ORV_BUILD_UNAME=" + std::string(5000, 'u') + " " + program).status, 1);
}

TEST_F(LibraryRecord, ProgramShowsItAsJsonAndAsText)
{
    const Output json = run(bin + "orvversion --json " + library + " /dev/null 2> /dev/null");
    EXPECT_EQ(json.status, 1);
    const auto all = nlohmann::json::parse(json.text);
    EXPECT_EQ(all[0]["file"], library);
    EXPECT_EQ(all[0]["entries"]["BUILD_NUMBER"], "428");
    EXPECT_EQ(all[0]["extensions"][0]["data"].get<std::string>().size(), 16U);
    EXPECT_EQ(all[1]["error"], "no version record");

    const Output text = run(bin + "orvversion " + library);
    EXPECT_EQ(text.status, 0);
    EXPECT_NE(text.text.find("  BUILD_NUMBER    428\n"), std::string::npos) << text.text;
}

TEST_F(LibraryRecord, ProgramKeepsHostileBytesFromTerminalAndJson)
{
    const std::string file = _folder.write("file", marker + "A=\x1B[2J\xFF\nnext\0EXTENSIONS=X9999Y2\0\0ab"s);
    const Output text = run(bin + "orvversion " + file);
    EXPECT_EQ(text.status, 0);
    EXPECT_NE(text.text.find("\\x1B[2J"), std::string::npos) << text.text;
    EXPECT_NE(text.text.find("6162, 9999 bytes\n"), std::string::npos) << text.text;
    EXPECT_EQ(text.text.find_first_of("\x1B\xFF"), std::string::npos);
    const auto all = nlohmann::json::parse(run(bin + "orvversion --json " + file).text);
    EXPECT_EQ(all[0]["entries"]["A"], "\x1B[2J\uFFFD\nnext");
    EXPECT_EQ(all[0]["extensions"][1]["data"], "");
}

} // namespace
