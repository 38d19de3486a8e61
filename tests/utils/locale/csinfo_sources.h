// What the tests of the catalogue's data share: ICU's converters behind a guard, and the comparison of found
// with listed differences.
#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unicode/ucnv.h>

#include "utils/locale/utlocale.h"

// An ICU converter, or nothing if ICU has none of that name. The converters' own names of five rows are
// missing in ICU 72; `nearest` gives the table that differs least from each of them.
class IcuConverter {
public:
    explicit IcuConverter(const char * name)
    {
        UErrorCode status = U_ZERO_ERROR;
        _converter = ucnv_open(name, &status);
    }
    ~IcuConverter()
    {
        if (_converter)
            ucnv_close(_converter);
    }
    IcuConverter(const IcuConverter &) = delete;
    IcuConverter & operator=(const IcuConverter &) = delete;

    static const char * nearest(size_t row)
    {
        switch (row) {
        case 8:
            return "ibm-33722_P12A_P12A-2004_U2";
        case 20:
            return "macos-6_2-10.4";
        case 24:
            return "ibm-1375_P100-2008";
        case 26:
            return "ibm-970_P110_P110-2006_U2";
        case 50:
            return "ibm-9448_X100-2005";
        default:
            return UTLocale::_charset_info[row].icu_label();
        }
    }

    UConverter * get() const { return _converter; }

    std::string name() const
    {
        UErrorCode status = U_ZERO_ERROR;
        return _converter ? ucnv_getName(_converter, &status) : "-";
    }

private:
    UConverter * _converter;
};

// Both directions, so that a difference that has vanished is as loud as a new one.
inline void ExpectTheListed(std::vector<std::string> found, std::vector<std::string> listed)
{
    std::sort(found.begin(), found.end());
    std::sort(listed.begin(), listed.end());
    std::vector<std::string> only_found;
    std::vector<std::string> only_listed;
    std::set_difference(found.begin(), found.end(), listed.begin(), listed.end(),
                        std::back_inserter(only_found));
    std::set_difference(listed.begin(), listed.end(), found.begin(), found.end(),
                        std::back_inserter(only_listed));
    EXPECT_EQ(only_found, std::vector<std::string>{}) << "found and not listed";
    EXPECT_EQ(only_listed, std::vector<std::string>{}) << "listed and not found";
}
