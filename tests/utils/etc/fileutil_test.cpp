#include "utils/etc/fileutil.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <set>
#include <string>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/labelled_collation.h"
#include "support/scoped_environment.h"
#include "support/temporary_folder.h"

namespace {

// ---- Paths

// What the operations do to one path is held by their fuzz target, which has a model of them, and its seeds.
TEST(RelativePath, DepthBelowTheStartIsSeenWhereverItHappens)
{
    const LabelledCollation sjis("932JPN");
    const struct {
        const char * path;
        bool stays;
    } cases[] = {
        {"", true},          {"..", false},   {"a/..", true}, {"a/../../b", false}, {"a//../..", false},
        {"a/../b/..", true}, {"../a", false}, {"...", true},  {"./..", true},       {"\x83\x5C/../..", false},
    };
    for (const auto & row : cases) {
        EXPECT_EQ(IsRelativeToParent(sjis, row.path), row.stays ? TRUE : FALSE) << row.path;
    }
    EXPECT_TRUE(IsFullyQualifiedPathname("/a"));
    for (const char * const path : {"", "/", "a", "a/b"}) {
        EXPECT_FALSE(IsFullyQualifiedPathname(path)) << path;
    }
}

// ---- Whole paths

std::string sanitized(const std::string & path)
{
    char buff[PATH_BUFFER_SIZE];
    EXPECT_TRUE(SanitizePath(buff, sizeof(buff), path.c_str())) << path;
    return buff;
}

TEST(SanitizePath, AbsolutePathsAreCleanedByTheirText)
{
    const struct {
        const char * path;
        const char * expected;
    } cases[] = {
        {"//", "/"},         {"/a//b/./c/.", "/a/b/c"}, {"/a/b/../..", "/"},
        {"/../../a/", "/a"}, {"/.../..b", "/.../..b"},  {"/a/b/../../../c", "/c"},
    };
    for (const auto & row : cases) {
        EXPECT_EQ(sanitized(row.path), row.expected) << row.path;
    }
}

class FolderTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        _before = std::filesystem::current_path();
        ASSERT_EQ(chdir(_folder.path().c_str()), 0);
    }
    void TearDown() override { std::filesystem::current_path(_before); }

    TemporaryFolder _folder;
    std::filesystem::path _before;
};

TEST_F(FolderTest, RelativePathsBeginAtTheCurrentDirectory)
{
    EXPECT_EQ(sanitized("x/./y"), _folder.path("x/y"));
    EXPECT_EQ(sanitized(""), _folder.path());
    EXPECT_EQ(sanitized("../x"), std::filesystem::path(_folder.path()).parent_path() / "x");
    EXPECT_EQ(sanitized(std::string(300, 'x') + "/.."), _folder.path());

    char place[PATH_BUFFER_SIZE] = "a/../b";
    EXPECT_TRUE(SanitizePath(place, sizeof(place), place)); // in place
    EXPECT_EQ(place, _folder.path("b"));
}

TEST_F(FolderTest, PathsThatCannotBeToldWholeSaySo)
{
    char small[4];
    EXPECT_FALSE(SanitizePath(small, sizeof(small), "/abcd"));
    EXPECT_STREQ(small, "/ab");
    EXPECT_TRUE(SanitizePath(small, sizeof(small), "/ab"));
    EXPECT_FALSE(SanitizePath(small, 0, "/ab"));

    const std::string longest = "/" + std::string(PATH_BUFFER_SIZE - 2, 'x');
    EXPECT_EQ(sanitized(longest), longest);
    char buff[PATH_BUFFER_SIZE];
    EXPECT_FALSE(SanitizePath(buff, sizeof(buff), (longest + "x").c_str()));
    EXPECT_EQ(buff, longest);
    ASSERT_EQ(mkdir("gone", 0700), 0);
    ASSERT_EQ(chdir("gone"), 0);
    ASSERT_EQ(rmdir(_folder.path("gone").c_str()), 0);
    EXPECT_FALSE(SanitizePath(small, sizeof(small), "x"));
    EXPECT_STREQ(small, "");
    EXPECT_TRUE(SanitizePath(small, sizeof(small), "/x")); // needs no current directory
}

TEST_F(FolderTest, CanonicalPathIsWholeOrLeftAlone)
{
    _folder.write("file", "");
    ASSERT_EQ(symlink("file", "link"), 0);
    char path[PATH_BUFFER_SIZE] = "./link";
    EXPECT_EQ(CanonicalizePath(path, sizeof(path)), path);
    EXPECT_EQ(path, _folder.path("file"));
    for (const auto & [text, error] : {std::pair{"none", ENOENT}, {"./link", ENAMETOOLONG}}) {
        std::string small = text;
        small.resize(8);
        EXPECT_EQ(CanonicalizePath(small.data(), small.size()), nullptr);
        EXPECT_EQ(errno, error);
        EXPECT_STREQ(small.c_str(), text);
    }
}

// ---- Files

TEST_F(FolderTest, RawDevicesAreCharacterDevicesAndPipes)
{
    ASSERT_EQ(mkfifo("fifo", 0600), 0);
    EXPECT_TRUE(IsRawDevice("fifo") && IsRawDevice("/dev/null"));
    EXPECT_FALSE(IsRawDevice(_folder.write("file", "x").c_str()) || IsRawDevice("none"));
}

TEST_F(FolderTest, DiskSpaceIsInBytesAndStaysWhenItCannotBeAsked)
{
    struct statvfs expected = {};
    ASSERT_EQ(statvfs(".", &expected), 0);
    uint64 free_bytes = 7;
    uint64 total = 0;
    EXPECT_TRUE(DiskFreeSpace("none", &free_bytes, nullptr));
    EXPECT_EQ(free_bytes, 7u);
    EXPECT_TRUE(DiskFreeSpace(".", &free_bytes, &total));
    EXPECT_EQ(total, expected.f_blocks * expected.f_frsize);
    EXPECT_GT(free_bytes, expected.f_bavail * expected.f_frsize / 2); // others use the disk, too
    EXPECT_FALSE(DiskFreeSpace(nullptr, &free_bytes, &total));
}

// The name that a file gets today.
std::string dated(int counter, const char * extension)
{
    struct tm now = {};
    FindCurrentTime(&now, TL_LOCAL);
    char name[64];
    std::snprintf(name, sizeof(name), "%02d%02d%02d%02d%s", now.tm_year % 100, now.tm_mon + 1, now.tm_mday,
                  counter, extension);
    return name;
}

TEST_F(FolderTest, DatedNameIsTheFirstThatDoesNotExist)
{
    const std::string first = dated(0, ".log");
    ASSERT_EQ(symlink("nowhere", dated(1, ".log").c_str()), 0); // a dangling link is taken, too
    for (int i = 0; i < 100; ++i) {
        _folder.write("active", std::to_string(i));
        ASSERT_TRUE(RenameFileUsingDate(_folder.path("active").c_str(), i % 2 == 0 ? "log" : ".log"));
    }
    if (first != dated(0, ".log")) {
        GTEST_SKIP() << "midnight has passed";
    }
    EXPECT_EQ(_folder.read(first), "0");
    EXPECT_EQ(_folder.read(dated(2, ".log")), "1");
    EXPECT_EQ(_folder.read(dated(100, ".log")), "99");
    EXPECT_EQ(_folder.read("nowhere"), "(none)");
    EXPECT_FALSE(RenameFileUsingDate("active", "log"));
}

TEST_F(FolderTest, DatedCopyIsWholeOrNothing)
{
    const std::string content(10000, 'c'); // more than two pages
    const std::string active = _folder.write("active", content);
    const std::string expected = dated(0, ".bak");
    char copy[PATH_BUFFER_SIZE];
    ASSERT_TRUE(CopyFileUsingDate(active.c_str(), "bak", copy, sizeof(copy)));
    if (expected != dated(0, ".bak")) {
        GTEST_SKIP() << "midnight has passed";
    }
    EXPECT_EQ(copy, _folder.path(expected));
    EXPECT_EQ(_folder.read(expected), content);
    char small[8] = "?";
    EXPECT_FALSE(CopyFileUsingDate(active.c_str(), "bak", small, sizeof(small)));
    EXPECT_STREQ(small, "");
    EXPECT_FALSE(CopyFileUsingDate(_folder.path().c_str(), "bad", copy, sizeof(copy))); // can't be read
    EXPECT_EQ(_folder.names(), (std::set<std::string>{"active", expected}));
}

TEST_F(FolderTest, VersionsMoveDownWhenAllAreTaken)
{
    const auto rename = [this](const char * content) {
        return RenameVersionedFile(_folder.write("active.log", content).c_str(), 3);
    };
    for (const char * const content : {"a", "b", "c", "d", "e"}) {
        EXPECT_TRUE(rename(content));
    }
    EXPECT_EQ(_folder.names(), (std::set<std::string>{"active.log.1", "active.log.2", "active.log.3"}));
    EXPECT_EQ(_folder.read("active.log.1") + _folder.read("active.log.3"), "ce");
    ASSERT_EQ(unlink("active.log.2"), 0); // a gap is filled first
    EXPECT_TRUE(rename("f"));
    EXPECT_EQ(_folder.read("active.log.2"), "f");
    EXPECT_EQ(_folder.read("active.log.1"), "c");
}

TEST_F(FolderTest, VersionsBelowOneAreOldAndTheFirstThousand)
{
    _folder.write("a.log", "new");
    _folder.write("a.old", "old");
    EXPECT_TRUE(RenameVersionedFile("a.log", -1));
    EXPECT_EQ(_folder.read("a.old"), "new");
    for (int version = 1; version <= 1000; ++version) {
        _folder.write("b." + std::to_string(version), "x");
    }
    EXPECT_FALSE(RenameVersionedFile(_folder.write("b", "none left").c_str(), 0));
    EXPECT_EQ(_folder.read("b") + _folder.read("b.1"), "none leftx");
}

// ---- Temporary files

TEST(TemporaryDirectory, FirstVariableThatIsSetCountsAndIsCut)
{
    const ScopedVariable temp("TEMP", "/four");
    const ScopedVariable tmpdir("TMPDIR", nullptr);
    const ScopedVariable tmp("TMP", nullptr);
    const ScopedVariable own("VXTMP16", nullptr);
    char dir[300];
    EXPECT_EQ(UTGetTempDir(dir, sizeof(dir)), 5u);
    EXPECT_STREQ(dir, "/four");
    setenv("TMPDIR", "/three", 1);
    EXPECT_EQ(UTGetTempDir(dir, 4), 3u);
    EXPECT_STREQ(dir, "/th");
    setenv("TMP", std::string(200, 'x').c_str(), 1);
    EXPECT_EQ(UTGetTempDir(dir, sizeof(dir)), 149u);
    EXPECT_EQ(std::strlen(dir), 149u);
    setenv("VXTMP16", "", 1);
    EXPECT_EQ(UTGetTempDir(dir, sizeof(dir)), 0u);
    EXPECT_EQ(UTGetTempDirOrDefault(dir, sizeof(dir)), 4u);
    EXPECT_STREQ(dir, "/tmp");
    EXPECT_EQ(UTGetTempDir(dir, 0), 0u);
    EXPECT_EQ(UTGetTempDirOrDefault(nullptr, 0), 0u);
}

TEST(TemporaryDirectory, FileNamesAreFreeAndVary)
{
    const TemporaryFolder folder;
    const ScopedVariable own("VXTMP16", folder.path().c_str());
    const ScopedVariable other("TMPDIR", "/");
    char first[200];
    char second[200];
    char prefix[] = "abcdefgh";
    GetTempFilename(first, sizeof(first), prefix);
    GetTempFilename(second, sizeof(second), nullptr);
    EXPECT_EQ(std::string(first).substr(0, folder.path().size() + 6), folder.path("abcde"));
    EXPECT_EQ(std::strlen(first), folder.path().size() + 1 + 5 + 6);
    EXPECT_EQ(std::string(second).substr(0, folder.path().size() + 3), folder.path("_T"));
    EXPECT_FALSE(FileExists(first));
    GetTempFilename(second, folder.path().size() + 12, prefix); // one byte too few
    EXPECT_STREQ(second, "");
}

// ---- Bitness

TEST(FileBitness, OnlyElfFilesHaveOne)
{
    const TemporaryFolder folder;
    const std::string magic = "\x7F"
                              "ELF";
    const struct {
        const char * name;
        std::string content;
        int32 bitness;
    } cases[] = {
        {"empty", "", 0},
        {"magic", magic, 0},
        {"class1", magic + '\1', 32},
        {"class2", magic + '\2', 64},
        {"class3", magic + '\3', 0},
        {"whole", magic + '\2' + std::string(100, 'x'), 64},
        {"shifted", "x" + magic + '\2', 0},
    };
    for (const auto & row : cases) {
        EXPECT_EQ(UTFileBitnessInfo(folder.write(row.name, row.content).c_str()).getBitness(), row.bitness)
            << row.name;
    }
    for (const std::string & path : {folder.path("none"), folder.path(), std::string(5000, 'x')}) {
        EXPECT_EQ(UTFileBitnessInfo(path.c_str()).getBitness(), 0);
    }
}

// ---- Drives

TEST(Drives, FilesBelongToTheLongestMountPoint)
{
    char dev[PATH_BUFFER_SIZE];
    char type[64];
    ASSERT_TRUE(longest_mount_match("/proc/self", dev, sizeof(dev), type, sizeof(type)));
    EXPECT_STREQ(type, "proc");
    // Only a name that begins alike. In a changed root, nothing may be mounted on the root directory.
    EXPECT_TRUE(!longest_mount_match("/procession", dev, sizeof(dev), type, sizeof(type)) ||
                std::string(type) != "proc");
    EXPECT_FALSE(longest_mount_match("/proc/self", dev, 2, type, sizeof(type)));
    EXPECT_FALSE(longest_mount_match("/proc/self", dev, sizeof(dev), type, 3));
    EXPECT_EQ(get_drive("/proc/self"), -1);
    EXPECT_EQ(get_drive_type_for_filename("/proc/self"), UX_DT_UNKNOWN_DRIVE);
    char kind[4];
    EXPECT_FALSE(drive_type_prop("/proc/self", kind, sizeof(kind)));
    EXPECT_STREQ(kind, "UNK");
    struct stat found = {};
    ASSERT_EQ(stat(ORV_BUILD_DIR, &found), 0);
    if (const int64 number = get_drive(ORV_BUILD_DIR); number != -1) { // where a partition holds it
        EXPECT_EQ(number, static_cast<int64>(found.st_dev));
    }
}

// ---- The time of day

TEST(CurrentTime, LocalAndGlobalAreTheSameMomentInTheirZones)
{
    struct tm local = {};
    struct tm global = {};
    {
        const ScopedVariable zone("TZ", "XYZ-5:30");
        tzset();
        FindCurrentTime(&local, TL_LOCAL);
        FindCurrentTime(&global, TL_GLOBAL);
        EXPECT_EQ(local.tm_gmtoff, 5 * 3600 + 30 * 60);
        EXPECT_EQ(global.tm_gmtoff, 0);
        EXPECT_LE(timegm(&global) - (timegm(&local) - local.tm_gmtoff), 1);
        EXPECT_EQ(GetCurrentTimeZoneAdjustment(), 5 * 3600 + 30 * 60);
        setenv("TZ", "ABC3", 1);
        EXPECT_EQ(GetCurrentTimeZoneAdjustment(), -3 * 3600);
        setenv("TZ", "STD3DST,J1/0,J365/25", 1); // daylight time all year
        EXPECT_EQ(GetCurrentTimeZoneAdjustment(), -2 * 3600);
    }
    tzset();
    global.tm_year = 7;
    FindCurrentTime(&global, 2);
    EXPECT_EQ(global.tm_year, 7) << "no kind of time";
}

} // namespace
