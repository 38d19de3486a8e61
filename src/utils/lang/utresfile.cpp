#include "utils/lang/utresfile.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <numeric>

#include "utils/etc/posixio.h"
#include "utils/etc/utstrfcn.h"
#include "utils/lang/wlangnam.h"
#include "utils/locale/utlocale.h"
#include "utils/unix/unixmmap.h"

namespace {

constexpr uint32 FILE_SIGNATURE = 0x4F534552; // RESO
constexpr uint32 FILE_ENDIAN = 0x12345678;
constexpr uint32 FILE_VERSION = 0;
constexpr unsigned NUMBER_BITS = 16; // of a string's number, as far as it selects

constexpr int ALL_MAY = 0x1FF; // mode of a file that an opening makes, which this one doesn't

constexpr size_t PATH_SIZE = 4097;
constexpr size_t BASE_NAME_SIZE = 80; // of "orvlgxx_vx16_eucjis.res", with room to spare

// Strings that tell about the file, and the bytes that they are cut to, the terminator's among them.
constexpr uint32 STR_VERSION = 5000;
constexpr size_t VERSION_SIZE = 256;
constexpr uint32 STR_CHARSET = 8643;
constexpr size_t CHARSET_SIZE = 96;
constexpr size_t CHARSET_PREFIX = 8; // bytes in front of the character set's label

// Languages with files in several character sets: the part of the name for each. The first row that fits the
// language and the system's character set counts; a null label fits any.
struct a_name_part_row {
    const char * iso_label;
    const char * charset;
    uint32 standard; // under which the catalogue has `charset`
    const char * part;
};

constexpr a_name_part_row NAME_PARTS[] = {
    {"ja", "Shift-JIS", CS_STD_IANA, "_sjis"},   //
    {"ja", "Windows-31J", CS_STD_IANA, "_sjis"}, //
    {"ja", "EUC-JP", CS_STD_IANA, "_eucjis"},    //
    {"ja", nullptr, 0, "_utf8"},                 //
    {"zh", "GB18030", CS_STD_IANA, "_cp936"},    //
    {"zh", "GBK", CS_STD_IANA, "_cp936"},        //
    {"zh", "GB2312", CS_STD_IANA, "_eucgb"},     //
    {"zh", nullptr, 0, "_utf8"},                 //
    {"de", "iso_1", CS_STD_KEP, "_iso_1"},       //
    {"de", nullptr, 0, "_utf8"},                 //
    {"fr", "iso_1", CS_STD_KEP, "_iso_1"},       //
    {"fr", nullptr, 0, "_utf8"},                 //
};

const char * charset_name_part(const char * iso_label)
{
    const CharsetInfo * system = nullptr;
    for (const a_name_part_row & row : NAME_PARTS) {
        if (std::strcmp(row.iso_label, iso_label) != 0) {
            continue;
        }
        system = system != nullptr ? system : UTLocale::FindOSCharset(TRUE);
        if (row.charset == nullptr ||
            UTLocale::GetCharsetInfoFromLabel(row.charset, row.standard) == system) {
            return row.part;
        }
    }
    return "";
}

} // namespace

a_bool ORVResFileImage::IsValid(size_t img_size) const
{
    return img_size >= sizeof(*this) && _signature == FILE_SIGNATURE && _endian_detect == FILE_ENDIAN &&
           _version == FILE_VERSION && _root_offset < img_size &&
           std::accumulate(std::begin(_level_bits), std::end(_level_bits), 0u) == NUMBER_BITS;
}

a_bool UTResFile::Open(const char * language, a_bool vx)
{
    return Open(UTLocale::GetLanguageInfoFromLabel(language), vx);
}

a_bool UTResFile::Open(const LanguageInfo * langinfo, a_bool vx)
{
    if (langinfo == nullptr) {
        return FALSE;
    }
    char path[PATH_SIZE] = "";
    (void)FindResourceFile(path, sizeof(path), langinfo, vx); // what isn't found can't be opened
    if (!Open(path)) {
        return FALSE;
    }
    _langinfo = langinfo;
    return TRUE;
}

uint32 UTResFile::GetVersion()
{
    char text[VERSION_SIZE];
    return GetString(STR_VERSION, text, sizeof(text)) != 0
               ? static_cast<uint32>(std::strtol(text, nullptr, 10)) // NOLINT(cert-err34-c): no digits: 0
               : 0;
}

a_bool UTResFile::find_resource_file(char * path, size_t pathsize, const char * iso_label, a_bool vx)
{
    char base_name[BASE_NAME_SIZE];
    get_resource_file_base_name(base_name, sizeof(base_name), iso_label, vx);
    return LS_QualifyOrvAnyFile(LS_RESOURCE, base_name, path, pathsize, defaultQualifyCB, 0) != 0;
}

a_bool UTResFile::FindResourceFile(char * path, size_t pathsize, const LanguageInfo * langinfo, a_bool vx)
{
    return langinfo != nullptr && find_resource_file(path, pathsize, langinfo->iso_label(), vx);
}

UTORVResFile::~UTORVResFile()
{
    UTORVResFile::Close();
}

void UTORVResFile::initialize()
{
    _is_open = FALSE;
    _fd = -1;
    _img = nullptr;
    _img_size = 0;
    _num_levels = 0;
    _root = nullptr;
    _src_csinfo = nullptr;
}

a_bool UTORVResFile::Open(const char * path)
{
    Close(); // an opening that failed may have left its descriptor
    _fd = _posix_open(path, O_RDONLY, ALL_MAY);
    if (_fd < 0) {
        return FALSE;
    }
    const int64 length = _posix_filelength(_fd);
    if (length < 0) {
        return FALSE;
    }
    const auto size = static_cast<size_t>(length);
    const void * const image = unix_mmap(nullptr, size, PROT_READ, MAP_PRIVATE, _fd, 0, nullptr);
    (void)_posix_close(_fd); // the mapping lives on without it
    _fd = -1;
    return Open(static_cast<const ORVResFileImage *>(image), size);
}

a_bool UTORVResFile::Open(const ORVResFileImage * image, size_t image_size)
{
    Close();
    _img = image;
    _img_size = image_size;
    if (_img == nullptr) {
        return FALSE;
    }
    if (!_img->IsValid(_img_size)) {
        Close();
        return FALSE;
    }
    _root = reinterpret_cast<const uint32 *>(reinterpret_cast<const a_byte *>(_img) + _img->_root_offset);
    read_levels();
    _is_open = TRUE;
    read_charset();
    return TRUE;
}

void UTORVResFile::read_levels()
{
    std::memcpy(_level_bits, _img->_level_bits, sizeof(_level_bits));
    unsigned remaining = NUMBER_BITS;
    for (_num_levels = 0; _num_levels < std::size(_level_bits); ++_num_levels) {
        const unsigned bits = _level_bits[_num_levels];
        if (bits == 0) {
            break;
        }
        remaining -= bits;
        _level_shift[_num_levels] = static_cast<a_byte>(remaining);
        _level_mask[_num_levels] = static_cast<uint16>((1u << bits) - 1);
    }
}

void UTORVResFile::read_charset()
{
    char text[CHARSET_SIZE] = "";
    (void)GetString(STR_CHARSET, text, sizeof(text)); // a miss is as good as an empty one
    char * const end = std::strstr(text, ";language=");
    if (end == nullptr || end - text < static_cast<ptrdiff_t>(CHARSET_PREFIX)) {
        _src_csinfo = nullptr;
        return;
    }
    *end = '\0';
    _src_csinfo = UTLocale::GetCharsetInfoFromLabel(text + CHARSET_PREFIX, CS_STD_ANY);
}

void UTORVResFile::Close()
{
    if (_img != nullptr) {
        (void)unix_munmap(const_cast<ORVResFileImage *>(_img), _img_size); // what was mapped goes whole
    }
    if (_fd >= 0) {
        (void)_posix_close(_fd); // only read from
    }
    initialize();
}

// The number at `offset`, which may be any and needn't be aligned.
template<typename Number> bool UTORVResFile::read(size_t offset, Number & number) const
{
    if (offset > _img_size || _img_size - offset < sizeof(number)) {
        return false;
    }
    std::memcpy(&number, reinterpret_cast<const a_byte *>(_img) + offset, sizeof(number));
    return true;
}

// Where the string's record is, if the tables lead to one; without a level the root is it.
bool UTORVResFile::find_record(uint32 id, size_t & offset) const
{
    offset =
        static_cast<size_t>(reinterpret_cast<const a_byte *>(_root) - reinterpret_cast<const a_byte *>(_img));
    for (uint32 i = 0; i < _num_levels; ++i) {
        const size_t index = (id >> _level_shift[i]) & _level_mask[i];
        uint32 entry = 0;
        if (!read(offset + index * sizeof(entry), entry) || entry == 0) {
            return false;
        }
        offset = entry;
    }
    return true;
}

size_t UTORVResFile::GetString(uint32 id, char * buffer, size_t buflen)
{
    if (buflen == 0 || !_is_open) {
        return 0;
    }
    size_t record = 0;
    uint16 length = 0;
    if (!find_record(id, record) || !read(record, length) || length > _img_size - record - sizeof(length)) {
        return 0;
    }
    const size_t copied = std::min<size_t>(length, buflen - 1);
    std::memcpy(buffer, reinterpret_cast<const a_byte *>(_img) + record + sizeof(length), copied);
    buffer[copied] = '\0';
    return copied;
}

size_t UTORVResFile::GetStringUTF16(uint32 /*id*/, uint16 * buffer, size_t buflen)
{
    if (buflen != 0) {
        std::memset(buffer, 0, sizeof(*buffer));
    }
    return 0;
}

void UTORVResFile::get_resource_file_base_name(char * base_name, size_t base_name_size,
                                               const char * iso_label, a_bool vx)
{
    GetResourceFileBaseName(base_name, base_name_size, iso_label, vx);
}

void UTORVResFile::GetResourceFileBaseName(char * base_name, size_t base_name_size, const char * iso_label,
                                           a_bool vx)
{
    const char * const parts[] = {
        "orvlg", iso_label, vx != FALSE ? "_vx" : "", "16", charset_name_part(iso_label), ".res",
    };
    for (const char * part : parts) {
        (void)ut_strcpy(base_name, base_name_size, part, &base_name, &base_name_size); // cut to the buffer
    }
}
