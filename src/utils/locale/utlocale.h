// The process's locale: language and character set, on the fixed catalogue of both. One instance, OSLocale, is made
// when the library is loaded.
#pragma once

class UTLocale {
public:
    UTLocale() = default;
    ~UTLocale() = default;
    UTLocale(const UTLocale &) = delete;
    UTLocale & operator=(const UTLocale &) = delete;
};
