#include "utils/unix/unixhome.h"

#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/scoped_environment.h"

namespace {

constexpr size_t HOME_SIZE = 5000;

TEST(HomeDirectory, OneTrailingSlashOfHomeIsCut)
{
    const struct {
        std::string value;
        std::string expected;
    } cases[] = {{"/home/x", "/home/x"},
                 {"/home/x/", "/home/x"},
                 {"/home/x//", "/home/x/"},
                 {"/", ""},
                 {std::string(4500, 'y'), std::string(4500, 'y')}};
    for (const auto & row : cases) {
        const ScopedVariable home("HOME", row.value.c_str());
        char found[HOME_SIZE] = "?";
        EXPECT_TRUE(get_user_home_directory(found, FALSE));
        EXPECT_EQ(found, row.expected);
    }
}

TEST(HomeDirectory, UserDatabaseCountsWithoutHomeOrWhenAsked)
{
    const struct passwd * const entry = getpwuid(getuid());
    ASSERT_NE(entry, nullptr);
    const std::string expected = entry->pw_dir;
    char found[HOME_SIZE] = "?";
    {
        const ScopedVariable home("HOME", "/elsewhere");
        EXPECT_TRUE(get_user_home_directory(found, TRUE));
        EXPECT_EQ(found, expected);
    }
    const ScopedVariable home("HOME", nullptr);
    EXPECT_TRUE(get_user_home_directory(found, FALSE));
    EXPECT_EQ(found, expected);
}

TEST(UserDatabase, UnknownUserAndShortBufferFindNothing)
{
    struct passwd entry = {};
    char texts[1024];
    EXPECT_EQ(unix_getpwuid(0x7FFFFFF0, &entry, texts, sizeof(texts)), nullptr);
    EXPECT_EQ(unix_getpwuid(0, &entry, texts, 2), nullptr);
    EXPECT_EQ(unix_getpwuid(0, &entry, texts, -1), nullptr);
    ASSERT_EQ(unix_getpwuid(0, &entry, texts, sizeof(texts)), &entry);
    EXPECT_STREQ(entry.pw_name, "root");
}

} // namespace
