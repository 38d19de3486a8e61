#include "host/icu_build.h"

#include <dlfcn.h>

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

TEST(IcuBuild, LoadedBuildIsToldWithItsPlaceAndData)
{
    const std::string path = ORV_BUILD_DIR "/lib64/liborvicu16_r.so";
    if (!std::filesystem::exists(path)) {
        GTEST_SKIP() << "no ICU build";
    }
    EXPECT_EQ(orvhost::find_icu_build().path, "");
    ASSERT_NE(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL), nullptr) << dlerror();
    const orvhost::IcuBuild build = orvhost::find_icu_build();
    EXPECT_EQ(build.path, path);
    EXPECT_NE(build.below.find("/libicuuc.so."), std::string::npos) << build.below;
    EXPECT_STREQ(orvhost::dataset_text(build.dataset), "all data");
}

TEST(IcuBuild, UnknownDatasetsHaveAText)
{
    EXPECT_STREQ(orvhost::dataset_text(-1), orvhost::dataset_text(5));
}
