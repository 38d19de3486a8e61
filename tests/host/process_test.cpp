#include "process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace orvtest {
namespace {

[[nodiscard]] std::vector<char *> pointers(std::vector<std::string> & texts)
{
    std::vector<char *> result;
    for (std::string & text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

} // namespace

ProcessResult run_process(const std::vector<std::string> & arguments, const std::string & input,
                          const std::vector<std::string> & environment, const std::string & output)
{
    const ScratchDirectory scratch;
    write_text(scratch.path("in"), input);
    const std::string out = output.empty() ? scratch.path("out") : output;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, scratch.path("in").c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, scratch.path("err").c_str(), O_WRONLY | O_CREAT, 0600);

    std::vector<std::string> argument_texts = arguments;
    std::vector<std::string> environment_texts = environment;
    for (char ** entry = environ; *entry != nullptr; ++entry) {
        environment_texts.emplace_back(*entry);
    }
    ProcessResult result;
    pid_t child = -1;
    if (posix_spawn(&child, arguments[0].c_str(), &actions, nullptr, pointers(argument_texts).data(),
                    pointers(environment_texts).data()) == 0) {
        int status = 0;
        waitpid(child, &status, 0);
        result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        result.out = output.empty() ? read_text(out) : "";
        result.err = read_text(scratch.path("err"));
    }
    posix_spawn_file_actions_destroy(&actions);
    return result;
}

ScratchDirectory::ScratchDirectory() : _path(std::filesystem::temp_directory_path() / "orvtest.XXXXXX")
{
    if (mkdtemp(_path.data()) == nullptr) {
        ADD_FAILURE() << "no scratch directory " << _path;
    }
}

ScratchDirectory::~ScratchDirectory()
{
    std::error_code ignored; // a left-over in the temporary directory harms no test
    std::filesystem::remove_all(_path, ignored);
}

std::vector<std::string> ScratchDirectory::names() const
{
    std::vector<std::string> result;
    for (const auto & entry : std::filesystem::directory_iterator(_path)) {
        result.push_back(entry.path().filename());
    }
    std::sort(result.begin(), result.end());
    return result;
}

std::string read_text(const std::string & path)
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

void write_text(const std::string & path, const std::string & text)
{
    std::ofstream(path, std::ios::binary) << text;
}

TEST(RunProcess, CatchesStatusAndBothStreamsApart)
{
    const ProcessResult result = run_process({"/bin/sh", "-c", "cat; echo $X >&2; exit 7"}, "in", {"X=env"});
    EXPECT_EQ(7, result.status);
    EXPECT_EQ("in", result.out);
    EXPECT_EQ("env\n", result.err);
}

} // namespace orvtest
