#include "utils/etc/fileutil.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

namespace {

class CurrentTimeTest : public ::testing::Test {
protected:
    void SetUp() override { set_zone("XYZ-5:30"); }
    void TearDown() override { set_zone(nullptr); }

    static void set_zone(const char * zone)
    {
        if (zone == nullptr) {
            unsetenv("TZ");
        } else {
            setenv("TZ", zone, 1);
        }
        tzset();
    }
};

TEST_F(CurrentTimeTest, LocalAndGlobalAreTheSameMomentInTheirZones)
{
    const time_t before = time(nullptr);
    struct tm local = {};
    struct tm global = {};
    FindCurrentTime(&local, TL_LOCAL);
    FindCurrentTime(&global, TL_GLOBAL);
    const time_t after = time(nullptr);
    EXPECT_EQ(local.tm_gmtoff, 5 * 3600 + 30 * 60);
    EXPECT_STREQ(local.tm_zone, "XYZ");
    EXPECT_EQ(global.tm_gmtoff, 0);
    const time_t local_moment = timegm(&local) - (5 * 3600 + 30 * 60);
    const time_t global_moment = timegm(&global);
    EXPECT_LE(before, local_moment);
    EXPECT_LE(local_moment, global_moment);
    EXPECT_LE(global_moment, after);
}

TEST_F(CurrentTimeTest, UnknownKindOfTimeLeavesTheBufferAlone)
{
    struct tm expected;
    std::memset(&expected, 0x5A, sizeof(expected));
    for (const int kind : {-1, 2}) {
        struct tm found = expected;
        std::memcpy(&found, &expected, sizeof(found));
        FindCurrentTime(&found, kind);
        EXPECT_EQ(std::memcmp(&found, &expected, sizeof(found)), 0) << kind;
    }
}

} // namespace
