#include "utils/locale/uticu.h"

#include "utils/locale/utlocale.h"

// The binding loads no build so far, so no converter can be opened and no map be made.

a_bool UTLocale::icu_generate_upper128(a_byte *, const CharsetInfo *, const CharsetInfo *)
{
    return FALSE;
}

a_bool UTLocale::icu_generate_unicode_map_upper128(uint16 *, const CharsetInfo *)
{
    return FALSE;
}
