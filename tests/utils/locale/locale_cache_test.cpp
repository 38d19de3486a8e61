#include "utils/locale/utlocale.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <future>
#include <thread>
#include <typeinfo>
#include <vector>

#include <gtest/gtest.h>

#include "support/locale_inspector.h"
#include "support/scoped_environment.h"
#include "utils/locale/csconv_sbcs.h"
#include "utils/locale/csconvert.h"
#include "utils/locale/uticu.h"

namespace {

const CharsetInfo * row(int number)
{
    return &UTLocale::_charset_info[number];
}

uint16 * failed()
{
    return reinterpret_cast<uint16 *>(~uintptr_t{0});
}

// A build tree has a conversion file with all pairs, where a program in it finds it.
TEST(ByteMaps, ComeFromTheInstalledFile)
{
    UTLocale locale;
    const CharsetInfo * const latin1 = UTLocale::GetCharsetInfoFromLabel("windows-1252", CS_STD_ANY);
    const CharsetInfo * const cp850 = UTLocale::GetCharsetInfoFromLabel("IBM850", CS_STD_ANY);
    CharsetConverter conv(&locale, cp850, latin1);
    const CharsetConverterBase & chosen = conv.conv();
    EXPECT_TRUE(typeid(chosen) == typeid(BytemapCharsetConverter));
    const a_byte text[] = {0xE9, 't', 0xE9};
    a_byte out[3] = {};
    size_t written = 0;
    EXPECT_EQ(conv.Convert(out, sizeof(out), &written, text, sizeof(text)), ORV_CONV_OK);
    EXPECT_TRUE(written == 3 && out[0] == 0x82 && out[1] == 't' && out[2] == 0x82);
    EXPECT_EQ(UTLocaleInspector::entries(locale), 1U);
}

TEST(ByteMaps, AFailureIsRememberedOnce)
{
    LocaleWithoutIcu locale;
    for (const a_bool allow_cvf : {FALSE, TRUE, TRUE}) {
        EXPECT_EQ(locale.GetConversionTable(row(1), row(2), allow_cvf, TRUE), nullptr);
        EXPECT_EQ(UTLocaleInspector::entries(locale), 1U);
    }
    const auto entries = UTLocaleInspector::bucket(locale, 2);
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0]->_map, nullptr);
    EXPECT_EQ(entries[0]->queue.after_me, &entries[0]->queue);
}

TEST(UnicodeMaps, AFailureIsRememberedInItsSlot)
{
    UTLocale locale;
    EXPECT_EQ(locale.FindOrLoadSBCSToUTF16(row(53)), nullptr);
    EXPECT_EQ(UTLocaleInspector::slot(locale, CSID_UTF8), failed());
    EXPECT_EQ(locale.FindOrLoadSBCSToUTF16(row(53)), nullptr);
    EXPECT_EQ(UTLocaleInspector::slot(locale, CSID_UTF8), failed());
    EXPECT_EQ(UTLocaleInspector::slot(locale, CSID_UTF16LE), nullptr) << "untried";
}

TEST(UnicodeMaps, RowsOfNoCatalogueAreRefused)
{
    LocaleWithoutIcu locale;
    CharsetInfo stranger = *row(1);
    stranger._unique_identifier = 58;
    EXPECT_EQ(locale.FindOrLoadSBCSToUTF16(&stranger), nullptr);
    EXPECT_EQ(locale.FindOrLoadSBCSToUTF16(nullptr), nullptr);
    EXPECT_FALSE(UTLocaleInspector::has_slots(locale));
    // A single-byte row that no source knows.
    stranger._unique_identifier = 26;
    stranger._to_utf16_upper128 = nullptr;
    EXPECT_EQ(locale.FindOrLoadSBCSToUTF16(&stranger), nullptr);
    EXPECT_EQ(UTLocaleInspector::slot(locale, 26), failed());
}

// Each thread asks for all pairs and all maps, beginning elsewhere than the others. The thread sanitizer
// watches.
TEST(LocaleCaches, ManyThreadsThatAskForEverythingGetTheSameTables)
{
    constexpr int THREADS = 8;
    constexpr int ROWS = static_cast<int>(UTLocale::NUM_CHARSETS);
    UTLocale locale;
    std::vector<std::vector<const uint16 *>> maps(THREADS, std::vector<const uint16 *>(ROWS));
    std::vector<std::vector<const ConversionTable *>> tables(THREADS);
    std::atomic<int> waiting{THREADS};
    const auto ask = [&](int number) {
        waiting--;
        while (waiting > 0) {
            std::this_thread::yield();
        }
        for (int i = 0; i < ROWS; i++) {
            const int at = (i + number * 7) % ROWS;
            maps[number][at] = locale.FindOrLoadSBCSToUTF16(row(at));
            for (int j = 0; j < ROWS; j++) {
                const int from = (j + number * 11) % ROWS;
                const ConversionTable * const table =
                    locale.GetConversionTable(row(at), row(from), TRUE, TRUE);
                tables[number][at * ROWS + from] = table;
                EXPECT_TRUE(table == nullptr || (table->_map[65] == 'A' && table->_dest_csinfo == row(at) &&
                                                 table->_src_csinfo == row(from)));
            }
            if (maps[number][at] != nullptr) {
                EXPECT_EQ(maps[number][at][65], 'A');
                EXPECT_EQ(maps[number][at][255], row(at)->_to_utf16_upper128[127]);
            }
        }
    };
    std::vector<std::thread> threads;
    threads.reserve(THREADS);
    for (int i = 0; i < THREADS; i++) {
        tables[i].resize(ROWS * ROWS);
        threads.emplace_back(ask, i);
    }
    for (std::thread & thread : threads) {
        thread.join();
    }
    for (int i = 1; i < THREADS; i++) {
        EXPECT_EQ(maps[i], maps[0]);
        EXPECT_EQ(tables[i], tables[0]);
    }
    EXPECT_EQ(UTLocaleInspector::entries(locale), 41U * 40U) << "one entry for each pair";
    EXPECT_EQ(std::count(tables[0].begin(), tables[0].end(), nullptr), ROWS * ROWS - 41 * 40);
}

TEST(LocaleLifecycle, CachesStartAgainAfterFini)
{
    UTLocale locale;
    (void)locale.FindOrLoadSBCSToUTF16(row(1));
    (void)locale.FindOrLoadSBCSToUTF16(row(53));
    (void)locale.GetConversionTable(row(1), row(2), TRUE, TRUE);
    (void)locale.GetConversionTable(row(1), row(3), TRUE, TRUE);
    (void)locale.GetConversionTable(row(3), row(2), TRUE, TRUE);
    locale.fini();
    EXPECT_FALSE(UTLocaleInspector::has_slots(locale));
    EXPECT_EQ(UTLocaleInspector::entries(locale), 0U);
    locale.init();
    EXPECT_NE(locale.FindOrLoadSBCSToUTF16(row(1)), nullptr);
    (void)locale.GetConversionTable(row(1), row(2), TRUE, TRUE);
    EXPECT_EQ(UTLocaleInspector::entries(locale), 1U);
}

TEST(LocaleCaches, AMapThatIsThereIsReadWithoutTheLock)
{
    UTLocale locale;
    const uint16 * map = locale.FindOrLoadSBCSToUTF16(row(1));
    const a_bool failed_before = locale.FindOrLoadSBCSToUTF16(row(53)) == nullptr;
    locale.get();
    std::future<bool> reader = std::async(std::launch::async, [&] {
        return locale.FindOrLoadSBCSToUTF16(row(1)) == map &&
               locale.FindOrLoadSBCSToUTF16(row(53)) == nullptr;
    });
    const std::future_status status = reader.wait_for(std::chrono::seconds(30));
    locale.give();
    EXPECT_EQ(status, std::future_status::ready);
    EXPECT_TRUE(reader.get() && failed_before);
}

TEST(LocaleLifecycle, WhatIsDiscoveredStays)
{
    const ScopedLocaleEnvironment environment;
    environment.set("LANG", "en_US.UTF-8");
    environment.set("VXCHARSET", "nonsense");
    environment.set("VXLANG", "ja");
    UTLocale locale;
    environment.set("LANG", "de_DE@euro");
    environment.set("VXCHARSET", nullptr);
    environment.set("VXLANG", nullptr);
    EXPECT_EQ(locale.OSCharset(), row(1));
    EXPECT_EQ(locale.TrueOSCharset(), row(53));
    EXPECT_STREQ(locale.OSLanguage()->iso_label(), "ja");
    EXPECT_EQ(UTLocale::FindOSCharset(TRUE), row(17)) << "new discoveries see the change";
}

TEST(LocaleLifecycle, WithoutAnIcuBuildNothingIsSupportedAndNothingIsMissing)
{
    LocaleWithoutIcu locale;
    EXPECT_FALSE(locale.ICUIsSupported());
    EXPECT_FALSE(locale.ICUVersionMismatch());
    EXPECT_EQ(locale.icu().ORVGetICUDataset(), ICU_DATASET_NONE);
}

} // namespace
