#include "utils/unix/unixver.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <string_view>
#include <strings.h>
#include <sys/stat.h>

#include "utils/etc/native64.h"
#include "utils/etc/posixio.h"

namespace {

// As a plain string it has a NUL behind it, by which readers know this copy from the marker of a record. So
// it is no array of characters, which a compiler could lay in front of something else.
const char * const MARKER = "@@==Version==@1@";
constexpr size_t MARKER_LENGTH = 16;

constexpr size_t BLOCK_SIZE = 4096;
constexpr char BLANK = 1;         // overwrites a blanked entry
constexpr char BLANK_LABEL = '?'; // overwrites the label of a blanked extension

class OpenFile {
public:
    explicit OpenFile(int handle) : _handle(handle) {}
    ~OpenFile()
    {
        if (_handle != -1) {
            (void)_posix_close(_handle); // each write has had its own result
        }
    }
    OpenFile(const OpenFile &) = delete;
    OpenFile & operator=(const OpenFile &) = delete;
    [[nodiscard]] int handle() const { return _handle; }

private:
    int _handle;
};

bool is_plain_file(const char * fname)
{
    a_posix_statbuf status;
    return _posix_lstat(fname, &status) == 0 && !S_ISLNK(status.pst_mode);
}

// Reads on to the first marker that counts.
bool find_marker(int file, tc * info)
{
    char block[MARKER_LENGTH + BLOCK_SIZE];
    size_t carried = 0; // bytes of the last block, for a marker across both
    off_t offset = 0;   // of `block` in the file
    for (;;) {
        const int count = _posix_read(file, block + carried, BLOCK_SIZE);
        if (count <= 0) {
            return false;
        }
        const size_t size = carried + static_cast<size_t>(count);
        const ssize_t behind = __Get_dbversion_info_mem(block, size, info);
        // A marker at the very end may have a NUL behind it: it is carried over and looked at again.
        if (behind != -1 && info->length > 0) {
            info->file_offset = offset + behind;
            return true;
        }
        carried = std::min(size, MARKER_LENGTH);
        memmove(block, block + size - carried, carried);
        offset += static_cast<off_t>(size - carried);
    }
}

// Fills the rest of the buffer.
bool capture_rest(int file, tc * info)
{
    const int count = _posix_read(file, info->buffer + info->length, DBVERSION_MAX_LENGTH - info->length);
    if (count == -1) {
        return false;
    }
    info->length += static_cast<uint32>(count);
    return true;
}

enum a_parse_state { BETWEEN_ENTRIES, IN_KEY, IN_VALUE };

// At a NUL: does it end an entry?
bool end_entry(tc * info, a_parse_state state, char * at)
{
    if (state == BETWEEN_ENTRIES) {
        return false;
    }
    if (state == IN_KEY) {
        ta & entry = info->args[info->num_args - 1];
        entry.value = at;
        return entry.label[0] == BLANK;
    }
    return true;
}

// At a `=`: is it the one of an entry?
bool begin_value(tc * info, a_parse_state state, char * at)
{
    if (state != IN_KEY) {
        return false;
    }
    ta & entry = info->args[info->num_args - 1];
    entry.equal = at;
    entry.value = at + 1;
    *at = '\0';
    return true;
}

bool begin_entry(tc * info, char * at)
{
    if (info->num_args == DBVERSION_MAX_ARGS) {
        return false;
    }
    info->args[info->num_args++] = {at, nullptr, nullptr};
    return true;
}

// The last byte is only looked at from the one before it: a list that reaches it open is broken.
bool parse_entries(tc * info)
{
    if (info->length < 2) {
        return false;
    }
    a_parse_state state = BETWEEN_ENTRIES;
    for (uint32 i = 0; i + 1 < info->length; ++i) {
        char * const at = &info->buffer[i];
        if (*at == '\0') {
            if (!end_entry(info, state, at)) {
                return false;
            }
            if (at[1] == '\0') {
                info->data_length = i + 1;
                info->extensions = reinterpret_cast<uint8 *>(at + 2);
                return true;
            }
            state = BETWEEN_ENTRIES;
        } else if (*at == '=') {
            if (!begin_value(info, state, at)) {
                return false;
            }
            state = IN_VALUE;
        } else if (state == BETWEEN_ENTRIES) {
            if (!begin_entry(info, at)) {
                return false;
            }
            state = IN_KEY;
        }
    }
    info->data_length = info->length;
    return state == BETWEEN_ENTRIES;
}

bool is_printable(char c) // whatever the locale
{
    return c >= ' ' && c <= '~';
}

// Reads digits and moves `at` behind them. A number too large is the largest.
int read_length(char *& at)
{
    int64 length = 0;
    for (; *at >= '0' && *at <= '9'; ++at) {
        length = std::min<int64>(length * 10 + (*at - '0'), INT_MAX);
    }
    return static_cast<int>(length);
}

void parse_extensions(tc * info)
{
    char * at = __Find_arg(info, "EXTENSIONS");
    if (at == nullptr) {
        return;
    }
    // Lengths that lead out of the buffer leave the position at its end.
    size_t left = DBVERSION_MAX_LENGTH;
    uint8 * position = info->extensions;
    if (position != nullptr) {
        left -= static_cast<size_t>(position - reinterpret_cast<uint8 *>(info->buffer));
    }
    while (is_printable(*at) && info->num_exts < DBVERSION_MAX_EXTS) {
        tb & extension = info->exts[info->num_exts++];
        extension.label = at++;
        extension.len = read_length(at);
        extension.value = position;
        if (*at == ':' || *at == ',') {
            ++at;
        }
        if (position != nullptr) {
            const size_t length = std::min(static_cast<size_t>(extension.len), left);
            position += length;
            left -= length;
        }
    }
    if (position != nullptr) {
        info->data_length = static_cast<uint32>(DBVERSION_MAX_LENGTH - left);
    }
}

// The block of the file that `info` has captured.
bool read_block(int file, const tc * info, char * block)
{
    return file != -1 && _posix_lseek(file, info->file_offset, SEEK_SET) != -1 &&
           _posix_read(file, block, info->length) == static_cast<int>(info->length);
}

bool write_block(int file, const tc * info, const char * block)
{
    return _posix_lseek(file, info->file_offset, SEEK_SET) != -1 &&
           _posix_write(file, block, info->length) == static_cast<int>(info->length);
}

bool blank_entry(const tc * info, const char * key, char * block)
{
    const int index = key == nullptr ? -1 : __Find_arg_index(info, key);
    if (index == -1) {
        return false;
    }
    const ta & entry = info->args[index];
    const char * const end = entry.value + strlen(entry.value);
    memset(block + (entry.label - info->buffer), BLANK, static_cast<size_t>(end - entry.label));
    return true;
}

bool blank_extension(const tc * info, char label, char * block)
{
    const char name[] = {label, '\0'};
    const int index = __Find_ext_index(info, name);
    if (index == -1) {
        return false;
    }
    const tb & extension = info->exts[index];
    block[extension.label - info->buffer] = BLANK_LABEL;
    const char * const value = reinterpret_cast<const char *>(extension.value);
    const char * const end = info->buffer + info->length;
    if (value != nullptr && value < end) {
        memset(block + (value - info->buffer), 0, std::min<size_t>(extension.len, end - value));
    }
    return true;
}

// The same place in the other record's buffer. Its end counts as part of it.
template<typename T> void move_pointer(T *& pointer, const tc * old_info, tc * new_info)
{
    const auto offset =
        reinterpret_cast<std::uintptr_t>(pointer) - reinterpret_cast<std::uintptr_t>(old_info->buffer);
    if (offset <= DBVERSION_MAX_LENGTH) {
        pointer = reinterpret_cast<T *>(new_info->buffer + offset);
    }
}

} // namespace

ssize_t __Get_dbversion_info_mem(const char * buffer, size_t size, tc * info)
{
    const std::string_view text(buffer, size);
    size_t found = text.find(MARKER);
    while (found != std::string_view::npos && found + MARKER_LENGTH < size &&
           text[found + MARKER_LENGTH] == '\0') {
        found = text.find(MARKER, found + 1);
    }
    if (found == std::string_view::npos) {
        return -1;
    }
    const size_t behind = found + MARKER_LENGTH;
    const size_t length = std::min(size - behind, DBVERSION_MAX_LENGTH);
    memcpy(info->buffer, buffer + behind, length);
    info->length = static_cast<uint32>(length);
    return static_cast<ssize_t>(behind);
}

an_info_found __Get_dbversion_info(const char * fname, tc * info, a_bool follow_link)
{
    memset(info, 0, sizeof *info);
    if (!follow_link && !is_plain_file(fname)) {
        return FOUND_NOTHING;
    }
    const OpenFile file(_posix_open(fname, O_RDONLY, 0));
    if (file.handle() == -1 || !find_marker(file.handle(), info)) {
        return FOUND_NOTHING;
    }
    if (!capture_rest(file.handle(), info)) {
        return FOUND_DBVERSION; // it is there, but can't be told
    }
    if (!parse_entries(info)) {
        info->num_args = 0;
        return FOUND_NOTHING;
    }
    parse_extensions(info);
    return FOUND_DBVERSION;
}

int __Find_arg_index(const tc * info, const char * label)
{
    for (uint32 i = 0; i < info->num_args; ++i) {
        if (strcasecmp(info->args[i].label, label) == 0) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

char * __Find_arg(const tc * info, const char * label)
{
    const int index = __Find_arg_index(info, label);
    return index == -1 ? nullptr : info->args[index].value;
}

const char * __Find_arg_safe(const tc * info, const char * label, const char * def)
{
    const char * const value = __Find_arg(info, label);
    if (value != nullptr) {
        return value;
    }
    return def == nullptr ? label : def;
}

int __Find_ext_index(const tc * info, const char * label)
{
    for (uint32 i = 0; i < info->num_exts; ++i) {
        if (*info->exts[i].label == *label) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

void __Clone_dbversion_info(const tc * old_info, tc * new_info)
{
    memcpy(new_info, old_info, sizeof *new_info);
    for (ta & entry : new_info->args) {
        move_pointer(entry.label, old_info, new_info);
        move_pointer(entry.equal, old_info, new_info);
        move_pointer(entry.value, old_info, new_info);
    }
    for (tb & extension : new_info->exts) {
        move_pointer(extension.label, old_info, new_info);
        move_pointer(extension.value, old_info, new_info);
    }
    move_pointer(new_info->extensions, old_info, new_info);
}

a_bool __Zap_dbversion_info(const char * fname, const tc * info, char * zap, char * xap)
{
    const OpenFile file(_posix_open(fname, O_RDWR, 0));
    char block[DBVERSION_MAX_LENGTH];
    if (!read_block(file.handle(), info, block)) {
        return FALSE;
    }
    bool changed = blank_entry(info, zap, block);
    for (const char * label = xap == nullptr ? "" : xap; *label != '\0'; ++label) {
        changed |= blank_extension(info, *label, block);
    }
    return !changed || write_block(file.handle(), info, block) ? TRUE : FALSE;
}

a_bool GetORVUnixVer(const char * file, int * major, int * minor, int * patch, int * build)
{
    tc info;
    if (__Get_dbversion_info(file, &info, TRUE) == FOUND_NOTHING) {
        return FALSE;
    }
    struct {
        const char * key;
        int * number;
        const char * value;
    } wanted[] = {{"VERSION_MAJOR", major, nullptr},
                  {"VERSION_MINOR", minor, nullptr},
                  {"VERSION_PATCH", patch, nullptr},
                  {"BUILD_NUMBER", build, nullptr}};
    for (uint32 i = 0; i < info.num_args; ++i) {
        for (auto & entry : wanted) {
            if (strcasecmp(info.args[i].label, entry.key) == 0) {
                entry.value = info.args[i].value;
            }
        }
    }
    if (std::any_of(std::begin(wanted), std::end(wanted),
                    [](const auto & e) { return e.value == nullptr; })) {
        return FALSE;
    }
    for (const auto & entry : wanted) {
        const int64 number = strtoi64(entry.value, nullptr, 10);
        *entry.number = static_cast<int>(std::clamp<int64>(number, INT_MIN, INT_MAX));
    }
    return TRUE;
}
