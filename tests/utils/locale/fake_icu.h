// Locales with the ICU build of fake_icu.cpp, or with the one that was built beside the tests.
//
// Failure: a test failure; has_icu() of a LocaleWithBuiltIcu is false where nothing was built. Threads: one
// test at a time reads the fake's log, which all locales share.
#pragma once

#include <string>

#include <gtest/gtest.h>

#include "support/locale_inspector.h"

struct LocaleWithFakeIcu : UTLocale {
    explicit LocaleWithFakeIcu(const char * path = ORV_FAKE_ICU) : _build(UTLoadLibrary(path))
    {
        EXPECT_NE(_build, nullptr) << path;
        UTLocaleInspector::bind_icu(*this, _build);
        (void)take_log();
    }

    // What the build was asked since the last time.
    std::string take_log()
    {
        using a_log_func = char * (*)();
        const auto log = reinterpret_cast<a_log_func>(UTGetProcAddress(_build, "fake_icu_log"));
        if (log == nullptr) {
            ADD_FAILURE() << "no fake";
            return "";
        }
        std::string text = log();
        *log() = '\0';
        return text;
    }

private:
    a_dll_handle _build; // the binding's
};

struct LocaleWithBuiltIcu : UTLocale {
    LocaleWithBuiltIcu()
    {
        UTLocaleInspector::bind_icu(*this, UTLoadLibrary(ORV_BUILD_DIR "/lib64/liborvicu16_r.so"));
    }
    bool has_icu() { return ICUIsSupported() != FALSE; }
};
