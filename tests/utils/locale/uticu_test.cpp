#include "utils/locale/uticu.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

#include "support/catalogue.h"
#include "support/temporary_folder.h"
#include "utils/locale/fake_icu.h"
#include "utils/unix/checkthread.h"

namespace {

using namespace icu_abi;

// ---- Stubs

TEST(IcuStubs, FailEachInItsWay)
{
    const UTICU none(nullptr);
    EXPECT_FALSE(none.version_mismatch()) << "nothing was found that could lack something";
    int failures = 0;
    // The error that a stub sets is gone again, and counted.
    UErrorCode error = U_ZERO_ERROR;
    const auto fails = [&](bool has_result) {
        EXPECT_TRUE(has_result) << failures;
        EXPECT_EQ(error, U_MISSING_RESOURCE_ERROR) << failures;
        error = U_ZERO_ERROR;
        failures++;
    };
    UErrorCode options_error = U_ZERO_ERROR;
    a_byte key[4];
    a_utf16 * target = nullptr;
    const a_utf16 * units = nullptr;
    const char * source = nullptr;
    char * bytes = nullptr;
    fails(none.ucnv_open_3_4("UTF-8", &error) == nullptr);
    fails((none.ucnv_toUnicode_3_4(nullptr, &target, nullptr, &source, nullptr, nullptr, 1, &error), true));
    fails((none.ucnv_fromUnicode_3_4(nullptr, &bytes, nullptr, &units, nullptr, nullptr, 1, &error), true));
    fails(none.ucol_open_3_4("de", &error) == nullptr);
    fails((none.ucol_setAttribute_3_4(nullptr, UCOL_CASE_LEVEL, UCOL_ON, &error), true));
    fails(none.ucol_getSortKeyPrefix(nullptr, nullptr, 0, key, sizeof key, 1, &error) == 0);
    fails(none.ucol_getSortKeyPrefixSBCS(nullptr, "", 0, key, sizeof key, nullptr, 1, &error) == 0);
    fails(none.ucol_getSortKeyPrefixUTF8(nullptr, "", 0, key, sizeof key, 1, &error) == 0);
    fails(none.ucol_strcollIter_3_4(nullptr, nullptr, nullptr, &error) == -1);
    fails(none.ORV_strToUpper(nullptr, nullptr, nullptr, nullptr, "", &error) == 0);
    fails(none.ORV_strToLower(nullptr, nullptr, nullptr, nullptr, "", &error) == 0);
    fails(none.u_strToLower_3_4(nullptr, 0, nullptr, 0, "", &error) == 0);
    fails(none.u_strToUpper_3_4(nullptr, 0, nullptr, 0, "", &error) == 0);
    fails(none.uloc_canonicalize_3_4("de", nullptr, 0, &error) == 0);
    fails(none.ORV_ucol_open("de", &error, &options_error) == nullptr);
    EXPECT_EQ(options_error, U_ZERO_ERROR);

    UConverterToUCallback to_hook = nullptr;
    UConverterFromUCallback from_hook = nullptr;
    const void * context = &error;
    none.ucnv_setToUCallBack_3_4(nullptr, nullptr, nullptr, &to_hook, &context, &error);
    none.ucnv_setFromUCallBack_3_4(nullptr, nullptr, nullptr, &from_hook, &context, &error);
    EXPECT_EQ(error, U_ZERO_ERROR);
    EXPECT_EQ(context, &error);
    UCharIterator iter = {};
    none.uiter_setUTF8_3_4(&iter, "a", 1);
    none.uiter_setFragmentedSBCS(&iter, key, 0, 0, nullptr, nullptr, nullptr);
    none.uiter_setFragmentedUTF8Simple(&iter, key, 0, 0, nullptr, nullptr);
    EXPECT_EQ(iter._space[0], nullptr);
    none.ucnv_resetToUnicode_3_4(nullptr);
    none.ucnv_resetFromUnicode_3_4(nullptr);
    none.ucnv_setFallback_3_4(nullptr, 1);
    none.ucnv_close_3_4(nullptr);
    none.ucol_setStrength_3_4(nullptr, UCOL_PRIMARY);
    none.ucol_close_3_4(nullptr);
    EXPECT_FALSE(none.u_isUAlphabetic_3_4('a') || none.u_isWhitespace_3_4(' ') ||
                 none.u_isUWhiteSpace_3_4(' '));
    EXPECT_EQ(none.u_getIntPropertyValue_3_4('1', UCHAR_NUMERIC_TYPE), 0);
    EXPECT_EQ(none.ucol_strcoll_3_4(nullptr, nullptr, 0, nullptr, 0), -1);
    EXPECT_EQ(none.ucol_strcoll_sbcs(nullptr, nullptr, "b", 1, "a", 1), -1);
    EXPECT_EQ(none.ORVGetICUDataset(), ICU_DATASET_NONE);
}

// ---- The search

std::string content(const std::string & path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// What a process finds with this installation root and this library path.
std::string probe(const TemporaryFolder & folder, const std::string & root, const std::string & library_path)
{
    const std::string command = "cd " + folder.path() + " && exec env -i VXDIR16=" + root +
                                " LD_LIBRARY_PATH=" + library_path + " " + ORV_ICU_PROBE;
    FILE * const pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return "no process";
    }
    char text[200] = {};
    const size_t length = std::fread(text, 1, sizeof text - 1, pipe);
    EXPECT_EQ(pclose(pipe), 0);
    return {text, length};
}

constexpr const char * NOTHING = "data 0 mismatch 0 supported 0 euc-jp 0 cp1252 1";
constexpr const char * COMPLETE = "data 4 mismatch 0 supported 1 euc-jp 1 cp1252 1";
constexpr const char * LACKING = "data 4 mismatch 1 supported 0 euc-jp 1 cp1252 1";

TEST(IcuSearch, FindsWhatLoadsAndTellsWhatIsMissing)
{
    EXPECT_TRUE(IsThreaded());
    const std::string fake = content(ORV_FAKE_ICU);
    ASSERT_GT(fake.size(), 1000U);
    std::string of_32_bits = fake;
    of_32_bits[4] = 1; // EI_CLASS of an ELF file
    const struct {
        const char * what;
        const char * name;
        std::string in_root;
        std::string in_library_path;
        const char * result;
    } cases[] = {
        {"no build", "liborvicu16_r.so", "", "", NOTHING},
        {"a whole build", "liborvicu16_r.so", fake, "", COMPLETE},
        {"along the library path", "liborvicu16_r.so", "", fake, COMPLETE},
        {"the name for a process without threads", "liborvicu16.so", fake, fake, NOTHING},
        {"a build that lacks an entry point", "liborvicu16_r.so", content(ORV_FAKE_ICU_LACKING), "", LACKING},
        {"for 32 bits", "liborvicu16_r.so", of_32_bits, "", NOTHING},
        {"for 32 bits, and for 64 behind it", "liborvicu16_r.so", of_32_bits, fake, COMPLETE},
        {"torn, which ends the search", "liborvicu16_r.so", fake.substr(0, 100), fake, NOTHING},
    };
    for (const auto & c : cases) {
        SCOPED_TRACE(c.what);
        const TemporaryFolder folder;
        std::filesystem::create_directories(folder.path("root/lib64"));
        std::filesystem::create_directories(folder.path("path"));
        for (const auto & [place, library] :
             {std::pair<std::string, const std::string &>{"root/lib64/", c.in_root},
              {"path/", c.in_library_path}}) {
            if (!library.empty()) {
                folder.write(place + c.name, library);
            }
        }
        EXPECT_EQ(probe(folder, folder.path("root"), folder.path("path")), c.result);
    }
}

TEST(IcuSearch, FindsTheBuildOfAnInstallation)
{
    if (!LocaleWithBuiltIcu().has_icu()) {
        GTEST_SKIP() << "no ICU was built";
    }
    EXPECT_EQ(probe(TemporaryFolder(), ORV_BUILD_DIR, ""), COMPLETE);
}

// ---- Maps

TEST(IcuMaps, OnlyTheFirstPairOfABucketIsAskedOfIcu)
{
    LocaleWithFakeIcu locale;
    // One bucket: identifiers 1 and 33.
    const CharsetInfo * const latin1 = charset("ISO-8859-1");
    const CharsetInfo * const neighbour = &UTLocale::_charset_info[32];
    ASSERT_EQ(neighbour->unique_identifier(), 33);
    const ConversionTable * const first =
        locale.GetConversionTable(charset("windows-1252"), latin1, FALSE, FALSE);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->_map[0xE4], 0xE4) << "all are Latin-1 to the fake";
    EXPECT_EQ(locale.take_log(), "ISO-8859-1 fallback=1 ibm-5348_P100-1997 fallback=1 close close ");
    EXPECT_EQ(locale.GetConversionTable(charset("ISO-8859-15"), latin1, FALSE, FALSE), nullptr);
    EXPECT_EQ(locale.GetConversionTable(latin1, neighbour, FALSE, FALSE), nullptr);
    EXPECT_EQ(locale.GetConversionTable(charset("windows-1252"), latin1, FALSE, FALSE), first);
    EXPECT_EQ(locale.take_log(), "");
}

TEST(IcuMaps, BothConvertersOpenOrNoneStaysOpen)
{
    LocaleWithFakeIcu locale;
    const CharsetInfo * const cp437 = charset("IBM437"); // doesn't open
    EXPECT_EQ(locale.GetConversionTable(charset("windows-1252"), cp437, FALSE, FALSE), nullptr);
    EXPECT_EQ(locale.take_log(), "ibm-437_P100-1995 ");
    EXPECT_EQ(locale.GetConversionTable(cp437, charset("windows-1252"), FALSE, FALSE), nullptr);
    EXPECT_EQ(locale.take_log(), "ibm-5348_P100-1997 fallback=1 ibm-437_P100-1995 close ");
}

TEST(IcuMaps, AnUpperHalfThatTheCatalogueLacksComesFromIcu)
{
    LocaleWithFakeIcu locale;
    CharsetInfo stranger = *charset("windows-1252");
    stranger._unique_identifier = 26; // no row's
    stranger._to_utf16_upper128 = nullptr;
    const uint16 * const map = locale.FindOrLoadSBCSToUTF16(&stranger);
    ASSERT_NE(map, nullptr);
    EXPECT_EQ(map[0x41], 0x41);
    EXPECT_EQ(map[0xEF], 0xEF);
    EXPECT_EQ(map[0xF0], 0xFFFD) << "substituted";
    static constexpr a_charset_label unnamed = {nullptr, 0};
    stranger._icu_canonical = &unnamed;
    uint16 upper128[128];
    EXPECT_FALSE(locale.GetUnicodeUpper128(upper128, &stranger));
}

} // namespace
