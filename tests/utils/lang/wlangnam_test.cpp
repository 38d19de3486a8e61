#include "utils/lang/wlangnam.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "support/scoped_environment.h"
#include "support/temporary_folder.h"

namespace {

using Strings = std::vector<std::string>;

// Where a test wants to see what is asked for: each path with the mode in front.
Strings * asked = nullptr;

} // namespace

// Stands in front of the C library's.
extern "C" int access(const char * path, int mode) noexcept
{
    if (asked != nullptr) {
        asked->push_back(std::to_string(mode) + " " + path);
    }
    return static_cast<int>(syscall(SYS_access, path, mode));
}

namespace {

const std::string NAME = "nobody has a file of this name";

a_bool take(int, const char *)
{
    return TRUE;
}

// What callbacks have been offered.
Strings offered;

a_bool refuse(int, const char * path)
{
    offered.emplace_back(path);
    return FALSE;
}

a_bool take_the_third(int, const char * path)
{
    offered.emplace_back(path);
    return offered.size() == 3 ? TRUE : FALSE;
}

std::string program_directory()
{
    return std::filesystem::read_symlink("/proc/self/exe").parent_path().string();
}

class ScopedCurrentPath {
public:
    explicit ScopedCurrentPath(const std::string & path) : _before(std::filesystem::current_path())
    {
        std::filesystem::current_path(path);
    }
    ~ScopedCurrentPath() { std::filesystem::current_path(_before); }
    ScopedCurrentPath(const ScopedCurrentPath &) = delete;
    ScopedCurrentPath & operator=(const ScopedCurrentPath &) = delete;

private:
    std::filesystem::path _before;
};

// A home, a root that is a link, path variables with empty and quoted entries.
class Installation : public testing::Test {
protected:
    void SetUp() override
    {
        std::filesystem::create_directory_symlink(folder.path("real"), folder.path("root"));
    }

    // All that a search asks for.
    static Strings candidates(int type, uint32 flags = 0)
    {
        Strings all;
        char path[64] = "x";
        asked = &all;
        EXPECT_EQ(LS_QualifyOrvAnyFile(type, NAME.c_str(), path, sizeof(path), take, flags), 0U);
        asked = nullptr;
        EXPECT_STREQ(path, "");
        return all;
    }

    // What LS_SearchDir asks for.
    static void add_directory(Strings & all, const std::string & dir, const std::string & real,
                              const Strings & rows)
    {
        all.push_back("4 " + dir + "/" + NAME);
        all.push_back("4 " + real + "/" + NAME);
        for (const std::string & row : rows) {
            all.push_back("4 " + dir + "/" + row + NAME);
        }
    }
    static void add_entries(Strings & all, const Strings & entries, Strings rows)
    {
        rows.insert(rows.begin(), "");
        for (const std::string & row : rows) {
            all.push_back("0 " + row + NAME);
            for (const std::string & entry : entries) {
                all.push_back("0 " + entry + row + NAME);
            }
        }
    }
    // The beginning that most classes share.
    Strings installed(const Strings & rows) const
    {
        Strings all;
        add_directory(all, program_directory(), program_directory(), rows);
        add_directory(all, folder.path("root"), folder.path("real"), rows);
        return all;
    }
    std::string in_home() const { return "4 " + folder.path("home/.orvane16/") + NAME; }

    const TemporaryFolder folder;
    const bool made = std::filesystem::create_directories(folder.path("real")) &&
                      std::filesystem::create_directories(folder.path("home"));
    const ScopedVariable root{"VXDIR16", folder.path("root//").c_str()};
    const ScopedVariable other_root{"VX16", "/elsewhere"};
    const ScopedVariable home{"HOME", folder.path("home/").c_str()};
    const ScopedVariable path{"PATH", "::\"/p 1\":\"\":/p2/:"};
    const ScopedVariable libraries{"LD_LIBRARY_PATH", "\"/l"};

    const Strings base_rows = {"../", "bin64/", "../bin64/", "lib64/", "../lib64/", "lib/", "../lib/"};
};

TEST_F(Installation, ResourcesAreAskedForEverywhereInOrder)
{
    Strings rows = base_rows;
    rows.insert(rows.end(), {"res/", "../res/"});
    Strings expected = installed(rows);
    expected.push_back("4 " + NAME);
    expected.push_back(in_home());
    const size_t without_variables = expected.size();
    add_entries(expected, {"/p 1/", "/p2/"}, rows);
    add_entries(expected, {"/l/"}, rows);
    EXPECT_EQ(candidates(LS_RESOURCE), expected);
    expected.resize(without_variables);
    EXPECT_EQ(candidates(LS_RESOURCE, LS_NO_PATH_VARIABLES), expected);
}

TEST_F(Installation, LibrariesAreNeitherInTheCurrentNorInTheUsersDirectory)
{
    Strings expected = installed(base_rows);
    add_entries(expected, {"/l/"}, base_rows);
    add_entries(expected, {"/p 1/", "/p2/"}, base_rows);
    EXPECT_EQ(candidates(LS_LIBRARY), expected);
}

TEST_F(Installation, ClassesThatEndEarlierDo)
{
    Strings beside;
    add_directory(beside, program_directory(), program_directory(), {});
    EXPECT_EQ(candidates(LS_BESIDE_PROGRAM), beside);
    Strings rows = base_rows;
    rows.insert(rows.end(), {"scripts/", "../scripts/"});
    Strings inside = installed(rows);
    inside.push_back(in_home());
    EXPECT_EQ(candidates(LS_INSTALLED), inside);
}

TEST_F(Installation, CandidatesThatAreRefusedAndDirectoriesArePassedOver)
{
    std::filesystem::create_directories(folder.path("real/") + NAME);
    for (const char * place : {"real/bin64", "real/lib", "real/res"}) {
        std::filesystem::create_directories(folder.path(place));
        folder.write(std::string(place) + "/" + NAME, "");
    }
    char found[4097] = "x";
    offered.clear();
    EXPECT_EQ(
        LS_SearchDir(LS_RESOURCE, NAME.c_str(), folder.path("root").c_str(), found, sizeof(found), refuse),
        0U);
    EXPECT_STREQ(found, "");
    const Strings there = {folder.path("root/bin64/") + NAME, folder.path("root/lib/") + NAME,
                           folder.path("root/res/") + NAME};
    EXPECT_EQ(offered, there);
    offered.clear();
    EXPECT_EQ(LS_QualifyOrvAnyFile(LS_RESOURCE, NAME.c_str(), found, sizeof(found), take_the_third, 0),
              there[2].size());
    EXPECT_EQ(found, there[2]);
    EXPECT_EQ(LS_SearchDir(LS_RESOURCE | LS_DIRECTORY, NAME.c_str(), folder.path("root").c_str(), found,
                           sizeof(found), take),
              folder.path("root/").size() + NAME.size());
    EXPECT_EQ(found, folder.path("root/") + NAME);
}

TEST_F(Installation, ThirtyTwoBitLibrariesArePassedOver)
{
    for (const char * bits : {"1", "2"}) {
        std::filesystem::create_directories(folder.path(bits));
        folder.write(std::string(bits) + "/" + NAME, std::string("\x7F"
                                                                 "ELF") +
                                                         static_cast<char>(bits[0] - '0'));
    }
    const ScopedVariable both("LD_LIBRARY_PATH", (folder.path("1") + ":" + folder.path("2")).c_str());
    char found[4097];
    (void)LS_QualifyOrvAnyFile(LS_LIBRARY, NAME.c_str(), found, sizeof(found), defaultQualifyCB, 0);
    EXPECT_EQ(found, folder.path("2/") + NAME);
    (void)LS_QualifyOrvAnyFile(LS_RESOURCE, NAME.c_str(), found, sizeof(found), defaultQualifyCB, 0);
    EXPECT_EQ(found, folder.path("1/") + NAME);
}

TEST_F(Installation, ANameThatStandsInTheCurrentDirectoryIsTakenUnasked)
{
    const ScopedCurrentPath here(folder.path("real"));
    folder.write("real/file", "");
    offered.clear();
    char found[4097];
    const auto search = [&found](const char * name, size_t size) {
        _local_searchenv(name, "PATH", found, size, LS_RESOURCE, refuse);
        return std::string(found);
    };
    const std::string whole = folder.path("real/file");
    EXPECT_EQ(search("file", sizeof(found)), whole);
    EXPECT_EQ(search("file", whole.size() + 1), whole);
    EXPECT_EQ(search("file", whole.size()), "");
    EXPECT_EQ(search("./file", sizeof(found)), "./file");
    EXPECT_EQ(search("./file", 6), "");
    EXPECT_EQ(search(whole.c_str(), sizeof(found)), whole);
    EXPECT_EQ(offered, Strings{});
    // A directory isn't; the variable comes next.
    std::filesystem::create_directories("folder");
    EXPECT_EQ(search("folder", sizeof(found)), "");
    EXPECT_EQ(offered, Strings{});
    const ScopedVariable entries("PATH", folder.path().c_str());
    EXPECT_EQ(search("real/../real/file", sizeof(found)), "") << "refused";
    EXPECT_EQ(offered, Strings{folder.path("real/../real/file")});
}

TEST_F(Installation, EntriesAndPathsBeyondTheLongestArePassedOver)
{
    folder.write("real/file", "");
    const std::string too_long(5000, 'x');
    const ScopedVariable entries("PATH", (too_long + ":" + folder.path("real")).c_str());
    const ScopedVariable no_root("VXDIR16", nullptr);
    const ScopedVariable long_root("VX16", ("/" + too_long.substr(0, 4000)).c_str());
    char found[4097];
    (void)LS_QualifyOrvAnyFile(LS_RESOURCE, "file", found, sizeof(found), take, 0);
    EXPECT_EQ(found, folder.path("real/file"));
    EXPECT_EQ(LS_QualifyOrvAnyFile(LS_RESOURCE, too_long.c_str(), found, sizeof(found), take, 0), 0U);
}

TEST(InstallationRoot, ComesFromTheFirstVariableThatIsSet)
{
    const std::string longest = "/" + std::string(4094, 'x');
    const std::string one_more = longest + "/";
    const struct {
        const char * vxdir16;
        const char * vx16;
        std::string root;
        int error;
    } rows[] = {
        {"/opt/x///", "/opt/y", "/opt/x", 0},
        {nullptr, "/opt/y/", "/opt/y", 0},
        {"", "/opt/y", "", 0},
        {nullptr, nullptr, "", 0},
        {"///", nullptr, "", 0},
        {"relative", nullptr, "relative", 0},
        {longest.c_str(), nullptr, longest, 0},
        {one_more.c_str(), "/opt/y", "", ENAMETOOLONG},
    };
    for (const auto & row : rows) {
        const ScopedVariable first("VXDIR16", row.vxdir16);
        const ScopedVariable second("VX16", row.vx16);
        const ScopedVariable kelmor("KELMOR", "/opt/k/");
        std::string path(4096, '?');
        errno = 0;
        GetInstallationRoot(path.data());
        EXPECT_EQ(path.c_str(), row.root);
        EXPECT_EQ(errno, row.error);
        GetKelmorInstallationRoot(path.data());
        EXPECT_STREQ(path.c_str(), "/opt/k");
    }
}

TEST(UserDirectory, IsMadeOnlyOnRequestAndMustBeOne)
{
    const TemporaryFolder folder;
    const ScopedVariable home("HOME", folder.path().c_str());
    const std::string whole = folder.path(".orvane16");
    std::string path(whole.size() + 1, '?');
    EXPECT_FALSE(LS_GetOrvAnyUserAppDataPath(path.data(), whole.size(), TRUE));
    EXPECT_FALSE(std::filesystem::exists(whole));
    EXPECT_TRUE(LS_GetOrvAnyUserAppDataPath(path.data(), path.size(), FALSE));
    EXPECT_EQ(path.c_str(), whole);
    EXPECT_FALSE(std::filesystem::exists(whole));
    for (int i = 0; i < 2; i++) {
        EXPECT_TRUE(LS_GetOrvAnyUserAppDataPath(path.data(), path.size(), TRUE));
        EXPECT_TRUE(std::filesystem::is_directory(whole));
    }
    std::filesystem::remove(whole);
    folder.write(".orvane16", "");
    EXPECT_FALSE(LS_GetOrvAnyUserAppDataPath(path.data(), path.size(), TRUE));
    for (const size_t length : {size_t{4086}, size_t{4096}}) {
        const ScopedVariable overlong("HOME", std::string(length, 'x').c_str());
        char buffer[4097];
        EXPECT_EQ(LS_GetOrvAnyUserAppDataPath(buffer, sizeof(buffer), FALSE), length == 4086 ? TRUE : FALSE);
    }
}

TEST(ExecutableName, FallsBackOnHowTheProgramWasCalled)
{
    const std::string whole = std::filesystem::read_symlink("/proc/self/exe").string();
    std::string buffer(whole.size() + 1, '?');
    EXPECT_EQ(LS_GetPathFromExecName(buffer.data(), buffer.size()), program_directory().size() + 1);
    EXPECT_EQ(buffer.c_str(), program_directory() + "/");
    char * const called = program_invocation_name;
    char other[] = "called/so";
    program_invocation_name = other;
    EXPECT_EQ(LS_GetExecFileName(buffer.data(), whole.size()), strlen(other)) << "a byte too few";
    EXPECT_STREQ(buffer.c_str(), other);
    EXPECT_EQ(LS_GetExecFileName(buffer.data(), 5), 4U);
    EXPECT_EQ(LS_GetPathFromExecName(buffer.data(), whole.size()), 7U);
    EXPECT_STREQ(buffer.c_str(), "called/");
    other[0] = '\0';
    EXPECT_EQ(LS_GetPathFromExecName(buffer.data(), whole.size()), 0U);
    program_invocation_name = called;
}

} // namespace
