#include "host/profile.h"

#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace orvhost;

namespace {

std::string read_through(Profile & profile, const char * name, unsigned int size)
{
    std::vector<char> buffer(size, 'x'); // exact size: a byte too much is seen by the sanitizer
    a_profile_rw_access * access = profile.access();
    access->profile_read(access->profile_handle, name, buffer.data(), size);
    return buffer.data();
}

class ProfileFile : public ::testing::Test {
protected:
    void load(const std::string & text)
    {
        _scratch.write("profile.ini", text);
        std::string error;
        ASSERT_EQ(Profile::Load::ok, _profile.load(_file, error)) << error;
    }

    // The value as another run of the program finds it.
    std::string in_next_run(const std::string & name)
    {
        Profile next;
        std::string error;
        EXPECT_EQ(Profile::Load::ok, next.load(_file, error)) << error;
        return next.get(name);
    }

    TemporaryFolder _scratch;
    std::string _file = _scratch.path("profile.ini");
    Profile _profile;
    std::string _error;
};

} // namespace

TEST_F(ProfileFile, ValuesComeBackByteForByte)
{
    const std::string values[] = {
        "plain",   "",        " blank in front", "blank behind ", "\"",         "\"quoted\"",
        " \"x\" ", "a=b;c#d", "[no section]",    "<<<END",        "gr\xFC\xDF", std::string(400, 'p'),
        "$x\\n",
    };
    load("address = a@b\n");
    for (const std::string & value : values) {
        EXPECT_TRUE(_profile.set("pop3_password", value, _error)) << _error;
        EXPECT_EQ(value, _profile.get("pop3_password"));
        EXPECT_EQ(value, in_next_run("pop3_password"));
        EXPECT_EQ("a@b", in_next_run("address"));
    }
}

TEST_F(ProfileFile, KeysOfAnyCaseAreOneKey)
{
    load("[Link]\ndebug = no\nSMTP_Host = mail\n");
    EXPECT_EQ("no", _profile.get("Debug"));
    EXPECT_TRUE(_profile.set("smtp_host", "other", _error)) << _error;
    EXPECT_EQ("[Link]\ndebug = no\nSMTP_Host = other\n", _scratch.read("profile.ini"));
    _profile.set_volatile("DEBUG", "yes");
    EXPECT_EQ("yes", _profile.get("Debug"));
}

TEST_F(ProfileFile, EveryOtherByteSurvivesAWrite)
{
    const struct {
        const char * before;
        const char * after; // with oob_serial 3
    } rows[] = {
        {"", "oob_serial = 3\n"},
        {"; of the file\n\n[other]\noob_serial = theirs\nbare word\n\n[link]\n# about the host\na=b\n\n; c = "
         "d\n# end",
         "; of the file\n\n[other]\noob_serial = theirs\nbare word\n\n[link]\n# about the "
         "host\na=b\noob_serial = 3\n\n"
         "; c = d\n# end"},
        {"[ LINK ] ; ours\r\n  OOB_Serial=2  \r\nlast = 1\r\n",
         "[ LINK ] ; ours\r\n  OOB_Serial= 3\r\nlast = 1\r\n"},
        {"[link]\r\na = b\r\n\r\n[z]\r\n", "[link]\r\na = b\r\noob_serial = 3\r\n\r\n[z]\r\n"},
        {"[link]\n#oob_serial = 9\n;oob_serial = 9\n",
         "[link]\noob_serial = 3\n#oob_serial = 9\n;oob_serial = 9\n"},
        {"[link]\na = 1\n[x]\nb = 2\n[link]\nc = 4\n",
         "[link]\na = 1\n[x]\nb = 2\n[link]\nc = 4\noob_serial = 3\n"},
        {"\xEF\xBB\xBF[other]\n", "\xEF\xBB\xBFoob_serial = 3\n[other]\n"},
        {"[link\n[link]\nx = y\n", "[link\n[link]\nx = y\noob_serial = 3\n"},
    };
    for (const auto & row : rows) {
        load(row.before);
        EXPECT_TRUE(_profile.set("oob_serial", "3", _error)) << _error << " in\n" << row.before;
        EXPECT_EQ(row.after, _scratch.read("profile.ini"));
        EXPECT_EQ("3", in_next_run("oob_serial")) << row.after;
    }
}

TEST_F(ProfileFile, AnEditOfTheFileDuringTheRunIsNotUndone)
{
    load("smtp_host = old\npop3_password\n");
    EXPECT_EQ("", _profile.get("pop3_password")) << "a stray word is no setting";
    _scratch.write("profile.ini", "smtp_host = edited\n");
    EXPECT_TRUE(_profile.set("oob_serial", "1", _error)) << _error;
    EXPECT_EQ("edited", in_next_run("smtp_host"));
    EXPECT_EQ("1", in_next_run("oob_serial"));
}

TEST_F(ProfileFile, VolatileValuesNeverReachTheFile)
{
    load("smtp_host = h\n");
    a_profile_rw_access * access = _profile.access();
    access->profile_volatile_write(access->profile_handle, "pop3_password", "typed");
    EXPECT_EQ("typed", read_through(_profile, "pop3_password", 64));
    access->profile_write(access->profile_handle, "smtp_port", "26");
    EXPECT_EQ("", in_next_run("pop3_password"));
    EXPECT_EQ(std::string::npos, _scratch.read("profile.ini").find("typed"));
    access->profile_write(access->profile_handle, "pop3_password", "saved");
    EXPECT_EQ("saved", read_through(_profile, "pop3_password", 64)) << "the older volatile value hides it";
}

TEST_F(ProfileFile, ReadingFillsNoMoreThanTheBuffer)
{
    load("smtp_host = 12345678\n");
    EXPECT_EQ("", read_through(_profile, "smtp_host", 1));
    EXPECT_EQ("1234567", read_through(_profile, "smtp_host", 8));
    EXPECT_EQ("12345678", read_through(_profile, "smtp_host", 9));
}

TEST_F(ProfileFile, IsForItsOwnerOnlyAfterAWrite)
{
    load("smtp_host = h\n");
    ASSERT_EQ(0, chmod(_file.c_str(), 0644));
    EXPECT_TRUE(_profile.set("pop3_password", "secret", _error)) << _error;
    struct stat file {};
    ASSERT_EQ(0, stat(_file.c_str(), &file));
    EXPECT_EQ(0600u, file.st_mode & 07777u);
    EXPECT_EQ(std::set<std::string>{"profile.ini"}, _scratch.names()) << "a temporary file is left";
}

TEST_F(ProfileFile, ALinkToTheFileStaysALink)
{
    load("smtp_host = h\n");
    const std::string link = _scratch.path("link.ini");
    std::filesystem::create_symlink(_file, link);
    Profile through_link;
    ASSERT_EQ(Profile::Load::ok, through_link.load(link, _error)) << _error;
    EXPECT_TRUE(through_link.set("smtp_port", "26", _error)) << _error;
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ("26", in_next_run("smtp_port"));
}

TEST_F(ProfileFile, AFullDiskLeavesTheOldFileWholeAndTheRunItsValue)
{
    const std::string before = "smtp_host = h\n";
    load(before);
    rlimit unlimited{};
    ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &unlimited));
    const rlimit full{5, unlimited.rlim_max};
    const auto old_handler = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &full));
    const bool saved = _profile.set("oob_serial", "1", _error);
    (void)setrlimit(RLIMIT_FSIZE, &unlimited);
    (void)std::signal(SIGXFSZ, old_handler);
    EXPECT_FALSE(saved);
    EXPECT_NE("", _error);
    EXPECT_EQ(before, _scratch.read("profile.ini"));
    EXPECT_EQ(std::set<std::string>{"profile.ini"}, _scratch.names()) << "a temporary file is left";
    EXPECT_EQ("1", _profile.get("oob_serial")) << "this run would draw the same serial again";
}

TEST_F(ProfileFile, WhatWouldBreakTheFileIsRefused)
{
    load("smtp_host = h\n");
    const std::string before = _scratch.read("profile.ini");
    for (const auto & [name, value] : {std::pair<std::string, std::string>{"smtp_host", "a\nb"},
                                       {"smtp_host", "a\rb"},
                                       {"a=b", "x"},
                                       {"[x]", "x"},
                                       {"", "x"}}) {
        EXPECT_FALSE(_profile.set(name, value, _error)) << name << " = " << value;
        EXPECT_EQ(before, _scratch.read("profile.ini"));
    }
    _scratch.write("profile.ini", std::string("smtp_host = h\n\0pop3_host = p\n", 29));
    Profile damaged;
    EXPECT_EQ(Profile::Load::damaged, damaged.load(_file, _error))
        << "what stands behind the zero would get lost";
}
