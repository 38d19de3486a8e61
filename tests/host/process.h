// process.h - runs a program for a test and catches what it says. Blocks until the program has ended.
#pragma once

#include <string>
#include <vector>

namespace orvtest {

struct ProcessResult {
    int status = -1; // exit code; 128 plus the number of a signal that ended it; -1: it couldn't be run
    std::string out;
    std::string err;
};

// Standard input is `input`, no terminal. `environment` holds "NAME=value" entries beside those of this
// process. With a name in `output` standard output goes there instead of into the result.
[[nodiscard]] ProcessResult run_process(const std::vector<std::string> & arguments,
                                        const std::string & input = {},
                                        const std::vector<std::string> & environment = {},
                                        const std::string & output = {});

// A directory that goes with all its files at the end of the test.
class ScratchDirectory {
public:
    ScratchDirectory();
    ScratchDirectory(const ScratchDirectory &) = delete;
    ScratchDirectory & operator=(const ScratchDirectory &) = delete;
    ~ScratchDirectory();
    [[nodiscard]] std::string path(const std::string & name) const { return _path + "/" + name; }
    [[nodiscard]] const std::string & path() const { return _path; }
    [[nodiscard]] std::vector<std::string> names() const; // sorted

private:
    std::string _path;
};

[[nodiscard]] std::string read_text(const std::string & path);
void write_text(const std::string & path, const std::string & text);

} // namespace orvtest
