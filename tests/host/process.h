// Runs a program for a test and catches what it says. Blocks until the program has ended.
#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "support/temporary_folder.h"

namespace orvtest {

struct ProcessResult {
    int status = -1; // exit code; 128 plus the number of a signal that ended it; -1: it couldn't be run
    std::string out;
    std::string err;
};

inline std::vector<char *> pointers(std::vector<std::string> & texts)
{
    std::vector<char *> result;
    for (std::string & text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

// Standard input is `input`, no terminal. `environment` holds "NAME=value" entries beside those of this
// process. With a name in `output` standard output goes there instead of into the result, with "|" into a
// pipe that nobody reads.
[[nodiscard]] inline ProcessResult run_process(std::vector<std::string> arguments,
                                               const std::string & input = {},
                                               std::vector<std::string> environment = {},
                                               const std::string & output = {})
{
    const TemporaryFolder folder;
    const std::string out = output.empty() ? folder.path("out") : output;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, folder.write("in", input).c_str(), O_RDONLY, 0);
    int ends[2] = {-1, -1};
    if (output == "|" && pipe2(ends, O_CLOEXEC) == 0) {
        close(ends[0]);
        posix_spawn_file_actions_adddup2(&actions, ends[1], 1);
    } else {
        posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    }
    posix_spawn_file_actions_addopen(&actions, 2, folder.path("err").c_str(), O_WRONLY | O_CREAT, 0600);
    for (char ** entry = environ; *entry != nullptr; ++entry) {
        environment.emplace_back(*entry);
    }
    ProcessResult result;
    pid_t child = -1;
    if (posix_spawn(&child, arguments[0].c_str(), &actions, nullptr, pointers(arguments).data(),
                    pointers(environment).data()) == 0) {
        int status = 0;
        waitpid(child, &status, 0);
        result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        result.out = output.empty() ? folder.read("out") : "";
        result.err = folder.read("err");
    }
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    return result;
}

} // namespace orvtest
