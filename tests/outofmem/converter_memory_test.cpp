// Making and driving a converter allocates nothing once the locale has the tables of its pair.
#include <gtest/gtest.h>

#include <string>

#include "outofmem/allocations.h"
#include "utils/etc/utstream.h"
#include "utils/locale/csconvert.h"
#include "utils/locale/utlocale.h"

namespace {

void make_and_drive(UTLocale & locale, const CharsetInfo & dest, const CharsetInfo & src)
{
    const a_byte text[] =
        "once \xE9 or \xC3\xA9 more, as long as a text may be that isn't taken in one piece";
    a_byte area[256];
    size_t written = 0;
    CharsetConverter conv(&locale, &dest, &src);
    (void)conv.Convert(area, sizeof(area), &written, text, sizeof(text));
    (void)conv.Convert(area, 7, &written, text, sizeof(text));
    (void)conv.ConvertNullTerm(area, sizeof(area), &written, text, sizeof(text));
    UTBufOStream o(area, sizeof(area));
    UTBufIStream i(text, sizeof(text));
    (void)conv.Convert(o, &written, i, sizeof(text));
    (void)conv.SetEncodings(&src, &dest);
}

TEST(ConverterMemory, NoPairAllocatesOnceItsTablesAreThere)
{
    UTLocale locale;
    allocations_made = 0;
    for (const bool tables_are_there : {false, true}) {
        for (const CharsetInfo & dest : UTLocale::_charset_info) {
            for (const CharsetInfo & src : UTLocale::_charset_info) {
                make_and_drive(locale, dest, src);
                ASSERT_TRUE(!tables_are_there || allocations_made == 0)
                    << src.orv_label() << " to " << dest.orv_label();
            }
        }
        EXPECT_EQ(allocations_made > 0, !tables_are_there) << "tables are allocated, and seen to be";
        allocations_made = 0;
    }
}

} // namespace
