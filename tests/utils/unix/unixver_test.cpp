#include "utils/unix/unixver.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "support/temporary_folder.h"
#include "utils/etc/orvfilever.h"

namespace {

using namespace std::string_literals;

const std::string marker = "@@==Version==@1@";
const std::string four = "VERSION_MAJOR=16\0version_minor=2\0VERSION_PATCH=3\0BUILD_NUMBER=428\0"s;

class VersionRecord : public testing::Test {
protected:
    an_info_found read(const std::string & content, tc * info) const
    {
        return __Get_dbversion_info(_folder.write("file", content).c_str(), info, TRUE);
    }

    // The entries of a file as text; "(nothing)" if there is no record.
    [[nodiscard]] std::string entries(const std::string & content) const
    {
        tc info;
        if (read(content, &info) == FOUND_NOTHING) {
            return info.num_args == 0 && info.num_exts == 0 ? "(nothing)" : "(nothing, but entries)";
        }
        std::string text;
        for (uint32 i = 0; i < info.num_args; i++) {
            text += info.args[i].label + "="s + info.args[i].value + ";";
        }
        return text;
    }

    TemporaryFolder _folder;
    std::string _path = _folder.path("file");
};

std::string numbered_entries(int count)
{
    std::string text;
    for (int i = 0; i < count; i++) {
        text += std::string("K").append(std::to_string(i)) + "=v\0"s;
    }
    return text;
}

TEST_F(VersionRecord, OnlyWholeListsAreRead)
{
    const struct {
        std::string behind_marker;
        std::string entries;
    } rows[] = {
        {"A=b\0\0"s, "A=b;"},
        {"A=b\0\0C=d\0\0"s, "A=b;"},
        {"A=\0B=two\nlines\0\0"s, "A=;B=two\nlines;"},
        {"A=b=c\0\0"s, "(nothing)"},
        {"=b\0\0"s, "(nothing)"},
        {"A\0\0"s, "(nothing)"},
        {"A=b\0\1\1\1\0\0"s, "A=b;\1\1\1=;"},
        {"A=b\0x"s, "A=b;"}, // the last byte is open, but nothing before it
        {"A=b\0xy"s, "(nothing)"},
        {"A=b\0"s, "(nothing)"},
        {"A"s, "(nothing)"},
        {"\0\0\0"s, "(nothing)"}, // not even a marker
        {numbered_entries(100) + "\0"s, numbered_entries(100)},
        {numbered_entries(101) + "\0"s, "(nothing)"},
        {"A="s + std::string(4092, 'v') + "\0\0"s, "A=" + std::string(4092, 'v') + ";"},
        {"A="s + std::string(4093, 'v') + "\0\0"s, "(nothing)"},
    };
    for (const auto & row : rows) {
        std::string expected = row.entries;
        std::replace(expected.begin(), expected.end(), '\0', ';');
        EXPECT_EQ(entries(marker + row.behind_marker), expected) << row.behind_marker.substr(0, 50);
    }
}

TEST_F(VersionRecord, MarkerIsFoundWhereverItLiesAcrossBlocks)
{
    const std::string decoy = marker + "\0"s; // as a program holds it that looks for records
    for (size_t offset = 4096 - 40; offset < 4096 + 40; offset++) {
        const std::string before(offset, '@');
        tc info;
        ASSERT_EQ(read(before + marker + four + "\0"s, &info), FOUND_DBVERSION) << offset;
        EXPECT_EQ(info.file_offset, static_cast<off_t>(offset + marker.size()));
        EXPECT_EQ(info.length, four.size() + 1);
        EXPECT_EQ(info.data_length, four.size());
        EXPECT_EQ(entries(before + decoy + marker + "A=b\0\0"s), "A=b;") << offset;
        EXPECT_EQ(entries(before + decoy), "(nothing)") << offset;
        EXPECT_EQ(entries(before + marker), "(nothing)") << offset;
    }
}

TEST_F(VersionRecord, ExtensionsStayInsideWhatWasCaptured)
{
    const struct {
        std::string list;
        std::vector<std::pair<std::string, long>> extensions; // label and length, offset in the data
        uint32 data_bytes;
    } rows[] = {
        {"A8", {{"A8", 0}}, 8},
        {"A2:B,C3", {{"A2", 0}, {"B0", 2}, {"C3", 2}}, 5},
        {"A1B2 3", {{"A1", 0}, {"B2", 1}, {" 3", 3}}, 6},
        {"A1\nB2", {{"A1", 0}}, 1},
        {"A1\xE9", {{"A1", 0}}, 1},
        {"", {}, 0},
    };
    for (const auto & row : rows) {
        tc info;
        const std::string list = "EXTENSIONS=" + row.list + "\0"s;
        ASSERT_EQ(read(marker + list + "\0"s, &info), FOUND_DBVERSION);
        ASSERT_EQ(info.num_exts, row.extensions.size()) << row.list;
        for (uint32 i = 0; i < info.num_exts; i++) {
            EXPECT_EQ(std::string(info.exts[i].label, 1).append(std::to_string(info.exts[i].len)),
                      row.extensions[i].first);
            EXPECT_EQ(info.exts[i].value - info.extensions, row.extensions[i].second) << row.list;
        }
        EXPECT_EQ(info.data_length, list.size() + 1 + row.data_bytes) << row.list;
    }
}

TEST_F(VersionRecord, UnreadableFilesAndLinksHaveNone)
{
    tc info;
    _folder.write("file", marker + four + "\0"s);
    const std::string link = _folder.path("link");
    std::filesystem::create_symlink(_path, link);
    EXPECT_EQ(__Get_dbversion_info(link.c_str(), &info, FALSE), FOUND_NOTHING);
    EXPECT_EQ(__Get_dbversion_info(link.c_str(), &info, TRUE), FOUND_DBVERSION);
    EXPECT_EQ(__Get_dbversion_info(_path.c_str(), &info, FALSE), FOUND_DBVERSION);
    EXPECT_EQ(__Get_dbversion_info(_folder.path("none").c_str(), &info, FALSE), FOUND_NOTHING);
    EXPECT_EQ(__Get_dbversion_info(_folder.path().c_str(), &info, TRUE), FOUND_NOTHING);
}

TEST_F(VersionRecord, LookUpIgnoresCaseOfKeysAndFallsBack)
{
    tc info;
    ASSERT_EQ(read(marker + "Key=1\0EXTENSIONS=aB\0\0"s, &info), FOUND_DBVERSION);
    EXPECT_STREQ(__Find_arg(&info, "kEY"), "1");
    EXPECT_EQ(__Find_arg_index(&info, "Ke"), -1);
    EXPECT_STREQ(__Find_arg_safe(&info, "none", "default"), "default");
    EXPECT_STREQ(__Find_arg_safe(&info, "none", nullptr), "none");
    EXPECT_EQ(__Find_ext_index(&info, "Bx"), 1);
    EXPECT_EQ(__Find_ext_index(&info, "A"), -1);
}

TEST_F(VersionRecord, BlankedEntriesAndExtensionsStayReadable)
{
    const std::string before = std::string(5000, '-') + marker;
    const std::string list = "A=b\0HOST=secret\0EXTENSIONS=A2B9\0\0"s;
    const std::string file = before + list + "abcdef";
    char zap[] = "host";
    char xap[] = "xB";
    tc info;
    ASSERT_EQ(read(file, &info), FOUND_DBVERSION);
    ASSERT_EQ(__Zap_dbversion_info(_path.c_str(), &info, zap, xap), TRUE);
    std::string expected = before + "A=b\0\1\1\1\1\1\1\1\1\1\1\1\0EXTENSIONS=A2?9\0\0ab\0\0\0\0"s;
    EXPECT_EQ(_folder.read("file"), expected);
    EXPECT_EQ(entries(expected), "A=b;\1\1\1\1\1\1\1\1\1\1\1=;EXTENSIONS=A2?9;");

    _folder.write("file", file.substr(0, file.size() - 1)); // shorter than what is known of it
    EXPECT_EQ(__Zap_dbversion_info(_path.c_str(), &info, zap, xap), FALSE);
    EXPECT_EQ(_folder.read("file"), file.substr(0, file.size() - 1));
    EXPECT_EQ(__Zap_dbversion_info(_folder.path("none").c_str(), &info, zap, xap), FALSE);
}

TEST_F(VersionRecord, FileVersionNeedsAllFourNumbers)
{
    ORVFileVersion version;
    EXPECT_STREQ(version.as_string(), "0.0.0.0");
    _folder.write("file", marker + four + "\0"s);
    EXPECT_EQ(version.set_from_file(_path.c_str()), TRUE);
    EXPECT_STREQ(version.as_string(), "16.2.3.428");
    _folder.write("file", marker + four.substr(0, four.find("BUILD")) + "\0"s);
    EXPECT_EQ(version.set_from_file(_path.c_str()), FALSE);
    for (const char * text : {"1.2.3", "", "1.2.3.x", "a.1.2.3"}) {
        EXPECT_EQ(version.set(text), FALSE) << text;
    }
    EXPECT_STREQ(version.as_string(), "16.2.3.428");
    EXPECT_EQ(version.set("-1.2.3.4 beta"), TRUE);
    EXPECT_STREQ(version.as_string(), "-1.2.3.4");
    version.set(-2147483647, -2147483647, -2147483647, 1);
    EXPECT_STREQ(version.as_string(), "-2147483647.-2147483647.-214748");
}

} // namespace
