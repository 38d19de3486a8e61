// The reader of conversion files over any bytes: there is a map, which then stands in the file as it is, or
// there is none.
//
// Input: row of the destination, row of the source, then the file.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "require.h"
#include "utils/locale/csconv_cvf.h"
#include "utils/locale/utlocale.h"

namespace {

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * data, std::size_t size)
{
    if (size < 3) {
        return 0;
    }
    const CharsetInfo * const dest = &UTLocale::_charset_info[data[0] % UTLocale::NUM_CHARSETS];
    const CharsetInfo * const src = &UTLocale::_charset_info[data[1] % UTLocale::NUM_CHARSETS];
    const std::uint8_t * const begin = data + 2;
    const std::uint8_t * const end = data + size;
    std::FILE * const file = fmemopen(const_cast<std::uint8_t *>(begin), size - 2, "rb");
    require(file != nullptr);
    a_byte map[CVF_MAP_SIZE];
    if (read_cvf_map(file, map, dest, src)) {
        require(std::search(begin, end, map, map + CVF_MAP_SIZE) != end);
        a_byte again[CVF_MAP_SIZE];
        require(read_cvf_map(file, again, dest, src)); // from wherever the file stands now
        require(std::memcmp(map, again, sizeof(map)) == 0);
    }
    std::fclose(file);
    return 0;
}
