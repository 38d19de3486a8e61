#include "support/host_profile.h"

#include <array>
#include <cstring>
#include <thread>

#include <gtest/gtest.h>

namespace {

using namespace support;
using Kind = ProfileAccess::Kind;

TEST(HostProfile, TerminatesACutValueInsideTheReadersBuffer)
{
    HostProfile profile{{"name", "abcdef"}};
    std::array<char, 5> buffer{'#', '#', '#', '#', '#'};
    a_profile_rw_access * access = profile.access();
    access->profile_read(access->profile_handle, "name", buffer.data(), 4);
    EXPECT_STREQ(buffer.data(), "abc");
    EXPECT_EQ(buffer[4], '#');
    access->profile_read(access->profile_handle, "missing", buffer.data(), 4);
    EXPECT_STREQ(buffer.data(), "");
    EXPECT_EQ(profile.accesses(),
              (std::vector<ProfileAccess>{{Kind::Read, "name", "abc", 4}, {Kind::Read, "missing", "", 4}}));
}

TEST(HostProfile, ForgetsVolatileValuesAndOnlyThose)
{
    HostProfile profile{{"password", "old"}};
    a_profile_rw_access * access = profile.access();
    access->profile_volatile_write(access->profile_handle, "password", "typed");
    access->profile_write(access->profile_handle, "host", "h");
    EXPECT_EQ(profile.get("password"), "typed");
    EXPECT_TRUE(profile.is_volatile("password"));
    EXPECT_FALSE(profile.is_volatile("host"));
    profile.forget_volatile();
    EXPECT_EQ(profile.get("password"), "old");
    EXPECT_EQ(profile.get("host"), "h");
    EXPECT_EQ(profile.writes(), (std::vector<ProfileAccess>{{Kind::VolatileWrite, "password", "typed", 0},
                                                            {Kind::Write, "host", "h", 0}}));
}

TEST(CallbackRecorder, KeepsThreadsApartAndTakesANullText)
{
    CallbackRecorder all(CallbackRecorder::For::AllThreads);
    CallbackRecorder mine;
    const MSG_CALLBACK callback = CallbackRecorder::callback();
    callback("here");
    callback(nullptr);
    std::thread([callback] { callback("there"); }).join();
    EXPECT_EQ(mine.text(), "here\n(null)\n");
    EXPECT_EQ(all.text(), "there\n");
}

} // namespace
