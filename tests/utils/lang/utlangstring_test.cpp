#include "remote/unixdll.h"
#include "utils/lang/utlangstring.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "utils/etc/lschrfns.h"
#include "utils/lang/utlanginit.h"

namespace {

class OpenStore : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(_store.Init(nullptr, nullptr, FALSE), LS_INIT_OKAY); }

    std::string string(uint32 id)
    {
        char text[256];
        return std::string(text, _store.GetString(id, text, sizeof(text)));
    }

    UTLangString _store{&OSLocale};
};

} // namespace

TEST(ClosedStore, MissLeavesTheBufferOfAStringAlone)
{
    const UTLangStringBase store(&OSLocale);
    char text[] = "before";
    EXPECT_EQ(store.GetString(9427, text, sizeof(text)), 0u);
    EXPECT_STREQ(text, "before");
}

TEST(ClosedStore, MissingTemplateEmptiesTwoBytesAndNoMore)
{
    const UTLangStringBase store(&OSLocale);
    const char * const strings[] = {"x", nullptr};
    for (const size_t size : {size_t{0}, size_t{1}, size_t{2}, size_t{3}}) {
        std::string expected = "abcd";
        expected.replace(0, std::min<size_t>(size, 2), std::min<size_t>(size, 2), '\0');
        std::string text[3] = {"abcd", "abcd", "abcd"};
        EXPECT_EQ(store.FormatMiscLangStr(6691, text[0].data(), size, 1), 0u);
        EXPECT_EQ(store.ArrayFormatMiscLangStr(8747, text[1].data(), size, strings), 0u);
        EXPECT_EQ(store.SQLFormatMiscLangStr(8747, text[2].data(), size, "x", 2), 0u);
        for (const std::string & row : text) {
            EXPECT_EQ(row, expected) << size;
        }
    }
}

TEST(Opening, StoreAnswersBetweenInitAndFiniOnly)
{
    UTLangString store(&OSLocale);
    char text[64];
    EXPECT_EQ(store.GetString(9427, text, sizeof(text)), 0u);
    EXPECT_EQ(store.Init("en", nullptr, FALSE), LS_INIT_OKAY);
    EXPECT_EQ(store.Init("nowhere", nullptr, TRUE), LS_INIT_OKAY); // open already: nothing is looked at
    EXPECT_GT(store.GetString(9427, text, sizeof(text)), 0u);
    store.Fini();
    EXPECT_EQ(store.GetString(9427, text, sizeof(text)), 0u);
    EXPECT_EQ(store.Init(nullptr, nullptr, TRUE), LS_INIT_CANT_FIND_VX_FILE);
    EXPECT_EQ(store.GetString(9427, text, sizeof(text)), 0u);
    EXPECT_EQ(store.Init(nullptr, nullptr, FALSE), LS_INIT_OKAY);
    EXPECT_GT(store.GetString(9427, text, sizeof(text)), 0u);
}

TEST(Opening, CharactersAreClassifiedEvenIfNothingIsFound)
{
    LSCharFunctions = LS_CharFunctions();
    ASSERT_FALSE(LSCharFunctions.isAlpha('a'));
    UTLangString store(&OSLocale);
    EXPECT_EQ(store.Init(nullptr, nullptr, TRUE), LS_INIT_CANT_FIND_VX_FILE);
    EXPECT_TRUE(LSCharFunctions.isAlpha('a'));
}

TEST(Opening, FailureIsWordedWithoutAnyFile)
{
    const struct {
        ls_init_return result;
        a_bool vx;
        const char * text;
    } rows[] = {
        {LS_INIT_ERROR, FALSE, "An error occurred loading the language resource file (orvlgen16.res)."},
        {LS_INIT_BAD_VERSION, FALSE, "Language resource file (orvlgen16.res) version mismatch."},
        {LS_INIT_BAD_VERSION, TRUE, "Language resource file (orvlgen_vx16.res) version mismatch."},
        {LS_INIT_CANT_FIND_FILE, FALSE, "Cannot find the language resource file (orvlgen16.res)."},
        {LS_INIT_PARSING_ERROR, FALSE, "An error occurred parsing the ORVLOCALE environment variable."},
        {LS_INIT_CANT_FIND_VX_FILE, FALSE, "Cannot find the language resource file (orvlgen_vx16.res)."},
        {LS_INIT_VX_ERROR, FALSE, "An error occurred loading the language resource file (orvlgen_vx16.res)."},
    };
    for (const auto & row : rows) {
        char text[256];
        EXPECT_EQ(UTLangStringBase::GetInitErrorStr(row.result, text, sizeof(text), "en", row.vx), text);
        EXPECT_STREQ(text, row.text);
    }
    char small[12];
    EXPECT_STREQ(UTLangStringBase::GetInitErrorStr(LS_INIT_BAD_VERSION, small, sizeof(small), "en", FALSE),
                 "Language re");
}

TEST_F(OpenStore, EveryNumberThatTheLinkUsesHasAText)
{
    const uint32 ids[] = {6691,  6693,  6694,  6695,  6767,  6768,  6769,  6770,  6771,  6772, 6773,  6774,
                          6775,  6776,  6777,  6778,  6779,  6780,  6781,  6782,  6795,  6796, 6797,  6798,
                          6799,  8747,  8748,  8749,  8750,  9345,  9406,  9407,  9408,  9427, 13990, 13993,
                          13994, 13998, 14000, 14001, 26753, 26754, 26755, 26756, 26757, 26758};
    for (const uint32 id : ids) {
        EXPECT_NE(string(id), "") << id;
    }
}

TEST_F(OpenStore, StringIsCutToTheBufferAndAMissLeavesItAlone)
{
    const std::string whole = string(9427);
    char text[8] = "1234567";
    EXPECT_EQ(_store.GetString(9427, text, 5), 4u);
    EXPECT_EQ(text, whole.substr(0, 4));
    EXPECT_EQ(text[5], '6');
    EXPECT_EQ(_store.GetString(9427, text, 0), 0u);
    EXPECT_EQ(_store.GetString(9428, text, sizeof(text)), 0u);
    EXPECT_EQ(_store.GetString(0, text, sizeof(text)), 0u);
    EXPECT_EQ(text, whole.substr(0, 4));
    char one = 'x';
    EXPECT_EQ(_store.GetString(9427, &one, 1), 0u);
    EXPECT_EQ(one, '\0');
}

TEST_F(OpenStore, OnlyTheLowSixteenBitsOfANumberSelect)
{
    EXPECT_EQ(string(9427 + 0x10000), string(9427));
    EXPECT_EQ(string(0xFFFF0000u + 9427), string(9427));
}

TEST_F(OpenStore, TemplatesShowTheirArguments)
{
    const char * const strings[] = {"mail.example.org", nullptr};
    char text[3][256];
    const size_t length = _store.FormatMiscLangStr(8747, text[0], sizeof(text[0]), "mail.example.org");
    EXPECT_EQ(length, std::strlen(text[0]));
    EXPECT_NE(std::string(text[0]).find("[mail.example.org]"), std::string::npos);
    EXPECT_EQ(_store.ArrayFormatMiscLangStr(8747, text[1], sizeof(text[1]), strings), length);
    EXPECT_STREQ(text[1], text[0]);
    EXPECT_EQ(
        _store.SQLFormatMiscLangStr(8747, text[2], sizeof(text[2]), strings[0], std::strlen(strings[0]) + 1),
        length);
    EXPECT_STREQ(text[2], text[0]);
}

TEST_F(OpenStore, ErrorNumbersOfTheSystemHaveTheirOwnTexts)
{
    const struct {
        int error;
        uint32 id;
    } rows[] = {{0, 5017},       {E2BIG, 5018},  {EACCES, 5019},  {EBADF, 5020},        {EBUSY, 5021},
                {EDEADLK, 5022}, {EDOM, 5023},   {EEXIST, 5024},  {EINVAL, 5025},       {EIO, 5026},
                {EISDIR, 5027},  {EMFILE, 5028}, {ENFILE, 5029},  {ENODEV, 5030},       {ENOENT, 5031},
                {ENOEXEC, 5032}, {ENOMEM, 5033}, {ENOSPC, 5034},  {ENOTDIR, 5035},      {ERANGE, 5036},
                {EROFS, 5037},   {EXDEV, 5038},  {EAGAIN, 18086}, {ENAMETOOLONG, 18185}};
    for (const auto & row : rows) {
        EXPECT_EQ(UTLangStringBase::GetStrerrorStringID(row.error), row.id) << row.error;
        char text[256];
        EXPECT_EQ(_store.Strerror(row.error, text, sizeof(text)), text);
        EXPECT_EQ(text, string(row.id)) << row.error;
    }
}

TEST_F(OpenStore, OtherErrorNumbersShowTheirNumber)
{
    for (const int error : {EPERM, ECONNREFUSED, -1, 123456}) {
        EXPECT_EQ(UTLangStringBase::GetStrerrorStringID(error), 5039u);
        char text[256];
        EXPECT_NE(std::string(_store.Strerror(error, text, sizeof(text))).find(std::to_string(error)),
                  std::string::npos);
    }
}

TEST_F(OpenStore, ConversionResultsHaveTheirOwnTexts)
{
    const struct {
        int result;
        uint32 id;
    } rows[] = {{1, 13990}, {2, 13993}, {5, 13994}, {6, 13998}, {7, 14000}};
    for (const auto & row : rows) {
        char text[256];
        (void)_store.GetORVConvRetString(static_cast<ORV_CONV_RET>(row.result), text, sizeof(text));
        EXPECT_EQ(text, string(row.id)) << row.result;
    }
    char text[256];
    EXPECT_GT(_store.GetORVConvRetString(ORV_CONV_TRUNCATED_CHARACTER, text, sizeof(text)), 0u);
    EXPECT_NE(std::string(text).find('4'), std::string::npos);
}
