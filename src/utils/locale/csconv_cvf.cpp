// Sources of byte maps and Unicode maps besides the catalogue and ICU.
#include "utils/locale/utlocale.h"

// No conversion file is read so far.
a_bool UTLocale::read_cvf_conversion_table(a_byte *, const CharsetInfo *, const CharsetInfo *)
{
    return FALSE;
}

// The C library's own converters know other character sets on every system, so they are no source.
a_bool UTLocale::os_generate_upper128(a_byte *, const CharsetInfo *, const CharsetInfo *)
{
    return FALSE;
}

a_bool UTLocale::os_generate_unicode_map_upper128(uint16 *, const CharsetInfo *)
{
    return FALSE;
}
