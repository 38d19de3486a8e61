// What a locale of this process finds of ICU, for tests of the search: the data set, and whether the build is
// complete, supported, and converts EUC-JP; 0 or 1 each.
#include <cstdio>

#include "utils/locale/csconvert.h"
#include "utils/locale/uticu.h"
#include "utils/locale/utlocale.h"

int main()
{
    UTLocale locale;
    CharsetConverter conv(&locale, locale.UTF16LE(), UTLocale::GetCharsetInfoFromLabel("EUC-JP", CS_STD_ANY));
    CharsetConverter own(&locale, locale.UTF16LE(),
                         UTLocale::GetCharsetInfoFromLabel("windows-1252", CS_STD_ANY));
    std::printf("data %d mismatch %d supported %d euc-jp %d cp1252 %d", int{locale.icu().ORVGetICUDataset()},
                int{locale.ICUVersionMismatch() != FALSE}, int{locale.ICUIsSupported() != FALSE},
                int{conv.is_supported() != FALSE}, int{own.is_supported() != FALSE});
    return 0;
}
