#include "utils/locale/csconv_cvf.h"

#include <cstring>

#include "utils/etc/posixio.h"
#include "utils/lang/wlangnam.h"
#include "utils/locale/utlocale.h"

namespace {

// Texts of a file have a length byte in front.
constexpr size_t LONGEST_TEXT = 255;

bool read_bytes(FILE * file, void * dest, size_t size)
{
    return fread(dest, 1, size, file) == size;
}

bool read_number(FILE * file, uint32 * number)
{
    a_byte bytes[4];
    if (!read_bytes(file, bytes, sizeof(bytes))) {
        return false;
    }
    *number = uint32{bytes[0]} | uint32{bytes[1]} << 8 | uint32{bytes[2]} << 16 | uint32{bytes[3]} << 24;
    return true;
}

// A length byte and as many bytes, which get a terminator.
bool read_text(FILE * file, char (&text)[LONGEST_TEXT + 1])
{
    a_byte length = 0;
    if (!read_bytes(file, &length, 1) || !read_bytes(file, text, length)) {
        return false;
    }
    text[length] = '\0';
    return true;
}

// The places of a pair in a file's list of names.
struct a_cvf_pair {
    static constexpr uint32 UNKNOWN = 0xFFFFFFFF;
    uint32 src = UNKNOWN;
    uint32 dest = UNKNOWN;

    [[nodiscard]] bool is_known() const { return src != UNKNOWN && dest != UNKNOWN; }
};

// Walks the names until both are known. FALSE: the list ends before, or isn't whole.
bool find_pair(FILE * file, uint32 num_charsets, const CharsetInfo * dest_csinfo,
               const CharsetInfo * src_csinfo, a_cvf_pair * pair)
{
    for (uint32 i = 0; i < num_charsets && !pair->is_known(); i++) {
        char name[LONGEST_TEXT + 1];
        if (!read_text(file, name)) {
            return false;
        }
        const CharsetInfo * const csinfo = UTLocale::GetCharsetInfoFromLabel(name, CS_STD_ANY);
        if (csinfo == nullptr) {
            continue; // one of a later version
        }
        if (csinfo == src_csinfo) {
            pair->src = i;
        }
        if (csinfo == dest_csinfo) {
            pair->dest = i;
        }
    }
    return pair->is_known();
}

// Closes what was opened.
class FileGuard {
public:
    explicit FileGuard(FILE * file) : _file(file) {}
    ~FileGuard()
    {
        if (_file != nullptr) {
            (void)fclose(_file); // only read
        }
    }
    FileGuard(const FileGuard &) = delete;
    FileGuard & operator=(const FileGuard &) = delete;
    [[nodiscard]] FILE * get() const { return _file; }

private:
    FILE * _file;
};

} // namespace

a_bool read_cvf_map(FILE * file, a_byte * upper128, const CharsetInfo * dest_csinfo,
                    const CharsetInfo * src_csinfo)
{
    uint32 header_pos = 0;
    uint32 num_charsets = 0;
    char info[LONGEST_TEXT + 1];
    if (fseek(file, 0, SEEK_SET) != 0 || !read_number(file, &header_pos) || !read_text(file, info) ||
        strstr(info, CVF_VERSION) == nullptr || !read_number(file, &num_charsets)) {
        return FALSE;
    }
    a_cvf_pair pair;
    if (!find_pair(file, num_charsets, dest_csinfo, src_csinfo, &pair)) {
        return FALSE;
    }
    // The product has 32 bits, as the numbers of the format have; a file that makes it wrap names a cell of
    // its own.
    const uint32 cell = (pair.src * num_charsets + pair.dest) * static_cast<uint32>(sizeof(CvfHeaderRec));
    CvfHeaderRec record = {0};
    if (fseek(file, static_cast<long>(header_pos), SEEK_SET) != 0 ||
        fseek(file, static_cast<long>(cell), SEEK_CUR) != 0 || !read_number(file, &record.value) ||
        record.isBytemap() == 0) {
        return FALSE;
    }
    return fseek(file, static_cast<long>(record.tablePos()), SEEK_SET) == 0 &&
                   read_bytes(file, upper128, CVF_MAP_SIZE)
               ? TRUE
               : FALSE;
}

a_bool UTLocale::read_cvf_conversion_table(a_byte * upper128, const CharsetInfo * dest_csinfo,
                                           const CharsetInfo * src_csinfo)
{
    char path[4096];
    const size_t length =
        LS_QualifyOrvAnyFile(LS_RESOURCE, CVF_FILE_NAME, path, sizeof(path), defaultQualifyCB, 0);
    if (length == 0 || length >= sizeof(path)) { // a path that doesn't fit isn't stored
        return FALSE;
    }
    const FileGuard file(_posix_fopen(path, "rb"));
    return file.get() != nullptr ? read_cvf_map(file.get(), upper128, dest_csinfo, src_csinfo) : FALSE;
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
