#include "remote/unixdll.h"
#include "utils/etc/getbanner.h"

#include <gtest/gtest.h>

#include <string>

#include "utils/lang/utlanginit.h"

namespace {

class Banner : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(_store.Init(nullptr, nullptr, FALSE), LS_INIT_OKAY); }

    UTLangString _store{&OSLocale};
    char _line[banner_size] = "left over";
};

constexpr int32 link_name = 9427;

} // namespace

TEST_F(Banner, LineBeginsEmptyAndPartsAppend)
{
    EXPECT_EQ(GetBanner(_store, link_name, "16.0.0.428", TRUE, FALSE, _line), _line);
    EXPECT_STREQ(_line, "Orvane SMTP Message Link Version 16.0.0.428 (debug)");
    GetBanner(_store, link_name, "16.0.0.428", TRUE, TRUE, _line);
    EXPECT_STREQ(_line, "Orvane SMTP Message Link Version 16.0.0.428 (debug) (beta)");
    EXPECT_STREQ(GetBanner_str(_store, link_name, _line), "Orvane SMTP Message Link");
    EXPECT_STREQ(GetBanner_ver(_store, "7", FALSE, TRUE, _line), "Orvane SMTP Message Link7 (beta)");
    EXPECT_STREQ(AppendAppBanner(_store, link_name, "8", FALSE, FALSE, _line),
                 "Orvane SMTP Message Link7 (beta)Orvane SMTP Message Link Version 8");
    EXPECT_STREQ(GetBanner_p(_store, 26755, link_name, "9", FALSE, FALSE, _line),
                 "SMTP portOrvane SMTP Message Link Version 9");
}

TEST_F(Banner, LongVersionIsCutToTheLine)
{
    const std::string ver(400, 'v');
    EXPECT_EQ(std::string(GetBanner(_store, link_name, ver.c_str(), TRUE, TRUE, _line)).size(),
              banner_size - 1);
}

TEST_F(Banner, MissingWordsLeaveTheVersion)
{
    _store.Fini();
    EXPECT_STREQ(GetBanner(_store, link_name, "1.2", TRUE, TRUE, _line), "1.2");
    EXPECT_STREQ(GetBanner_p(_store, link_name, link_name, "1.2", TRUE, TRUE, _line), "1.2");
}
