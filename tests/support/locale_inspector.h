// What is inside a UTLocale, and locales with an ICU build of a test's choice.
//
// Ownership: a locale owns the build that it is given. Threads: one.
#pragma once

#include <cstddef>
#include <new>
#include <vector>

#include <gtest/gtest.h>

#include "utils/etc/utdll.h"
#include "utils/locale/uticu.h"
#include "utils/locale/utlocale.h"

// What a locale holds, for a test on one thread.
struct UTLocaleInspector {
    // Entries of a bucket, first to last; a broken circle stops the test.
    static std::vector<const ConversionTable *> bucket(UTLocale & locale, size_t index) ORV_NO_LOCK_ANALYSIS
    {
        std::vector<const ConversionTable *> entries;
        const ConversionTable * head = locale._conversion_tables[index];
        const ConversionTable * entry = head;
        while (entry != nullptr) {
            entries.push_back(entry);
            EXPECT_EQ(entry->queue.after_me->before_me, &entry->queue);
            entry = reinterpret_cast<const ConversionTable *>(entry->queue.after_me);
            if (entry == head || entries.size() > 10000) {
                break;
            }
        }
        return entries;
    }

    static size_t entries(UTLocale & locale)
    {
        size_t count = 0;
        for (size_t i = 0; i < UTLocale::NUM_BUCKETS; i++) {
            count += bucket(locale, i).size();
        }
        return count;
    }

    static uint16 * slot(UTLocale & locale, size_t identifier)
    {
        return locale._sbcs_to_utf16 == nullptr ? nullptr : locale._sbcs_to_utf16[identifier];
    }

    static bool has_slots(UTLocale & locale) { return locale._sbcs_to_utf16 != nullptr; }

    // Replaces the ICU build that the locale has found; null is none. Nothing of the old one may be in use.
    static void bind_icu(UTLocale & locale, a_dll_handle build)
    {
        locale._icu->~UTICU();
        new (locale._icu) UTICU(build);
    }
};

// Whether an ICU build lies where a test program would find it depends on what has been built. A test that
// depends on there being none says so.
struct LocaleWithoutIcu : UTLocale {
    LocaleWithoutIcu() { UTLocaleInspector::bind_icu(*this, nullptr); }
};
