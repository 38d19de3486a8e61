// The reader of resource files over any bytes: what it gives stands in the file, and nothing behind the file
// is read.
//
// Input: two numbers of 4 bytes, then the file.

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "require.h"
#include "utils/lang/utresfile.h"

namespace {

constexpr size_t PAGE = 4096;
constexpr size_t MOST = size_t{64} * PAGE;

// Room for a file that ends where nothing may be read. The object that takes a file over from here unmaps it
// only if it begins with a page; so the room is mapped anew each time.
char * map_room()
{
    void * const room =
        mmap(nullptr, MOST + PAGE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    require(room != MAP_FAILED);
    char * const end = static_cast<char *>(room) + MOST;
    require(mprotect(end, PAGE, PROT_NONE) == 0);
    return end;
}

void look_up(UTORVResFile & file, std::string_view content, uint32 id)
{
    char text[300];
    for (const size_t size : {sizeof(text), size_t{7}, size_t{1}}) {
        std::memset(text, 'x', sizeof(text));
        const size_t length = file.GetString(id, text, size);
        require(length < size && (length == 0 || text[length] == '\0'));
        require(content.find({text, length}) != std::string_view::npos);
        require(std::all_of(text + size, text + sizeof(text), [](char c) { return c == 'x'; }));
        char again[300];
        require(file.GetString(id + 0x10000, again, size) == length && std::memcmp(text, again, length) == 0);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * data, std::size_t size)
{
    constexpr size_t HEAD = 8;
    if (size < HEAD || size > MOST) {
        return 0;
    }
    uint32 ids[2];
    std::memcpy(ids, data, HEAD);
    const size_t length = (size - HEAD) / 4 * 4; // the header's fields are aligned
    char * const end = map_room();
    char * const begin = end - length;
    std::memcpy(begin, data + HEAD, length);
    {
        UTORVResFile file;
        if (file.Open(reinterpret_cast<const ORVResFileImage *>(begin), length)) {
            const std::string_view content(begin, length);
            for (const uint32 id : {ids[0], ids[1], uint32{0}, uint32{5000}, uint32{8643}, uint32{0xFFFF}}) {
                look_up(file, content, id);
            }
            (void)file.GetVersion();
        }
    }
    munmap(end - MOST, MOST + PAGE);
    return 0;
}
