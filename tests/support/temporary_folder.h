// An empty folder of a test's own, which goes with all that is in it.
//
// Failure: a test failure. Ownership: the folder is the object's. Threads: one.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <system_error>

#include <gtest/gtest.h>

class TemporaryFolder {
public:
    TemporaryFolder()
    {
        std::error_code error;
        // The real path, so that tests can compare what operations make of it.
        std::string name = std::filesystem::canonical(std::filesystem::temp_directory_path(), error).string();
        name += "/orvtestXXXXXX";
        EXPECT_NE(mkdtemp(name.data()), nullptr);
        _path = name;
    }
    ~TemporaryFolder()
    {
        std::error_code error;
        std::filesystem::remove_all(_path, error); // what stays is the system's to clear away
    }
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder & operator=(const TemporaryFolder &) = delete;

    [[nodiscard]] const std::string & path() const { return _path; }
    [[nodiscard]] std::string path(const std::string & name) const { return _path + "/" + name; }

    // The path of a new file.
    std::string write(const std::string & name, const std::string & content) const
    {
        std::ofstream(path(name), std::ios::binary) << content;
        return path(name);
    }
    // The content of a file; "(none)" if there is none.
    [[nodiscard]] std::string read(const std::string & name) const
    {
        std::ifstream file(path(name), std::ios::binary);
        return file ? std::string(std::istreambuf_iterator<char>(file), {}) : "(none)";
    }

    // What is in it, sorted.
    [[nodiscard]] std::set<std::string> names() const
    {
        std::set<std::string> names;
        for (const auto & entry : std::filesystem::directory_iterator(_path)) {
            names.insert(entry.path().filename());
        }
        return names;
    }

private:
    std::string _path;
};
