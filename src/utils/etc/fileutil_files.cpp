#include "utils/etc/fileutil.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "utils/etc/native32.h"
#include "utils/etc/posixio.h"
#include "utils/etc/utcollation.h"
#include "utils/etc/utstrfcn.h"

namespace {

// Files are copied by pages of memory.
constexpr size_t COPY_PAGE_SIZE = 4096;
constexpr int COPY_MODE = 0644;

// Versions beyond would mean that nobody clears them away.
constexpr int MAX_FREE_VERSION = 1000;

constexpr size_t TEMP_DIR_SIZE = 150;
constexpr const char * TEMP_DIR_VARIABLES[] = {"VXTMP16", "TMP", "TMPDIR", "TEMP"};
constexpr char DEFAULT_TEMP_DIR[] = "/tmp";

// As tempnam has it.
constexpr char DEFAULT_TEMP_PREFIX[] = "_T";
constexpr size_t TEMP_PREFIX_LENGTH = 5;
constexpr size_t TEMP_TAIL_LENGTH = 6;
constexpr int MAX_TEMP_TRIES = 1000; // of 36^6 names

// Closes a file at the end of its scope.
class OpenFile {
public:
    explicit OpenFile(int handle) : _handle(handle) {}
    ~OpenFile()
    {
        if (_handle != -1) {
            (void)_posix_close(_handle); // read only, or closed before by who wants to know
        }
    }
    OpenFile(const OpenFile &) = delete;
    OpenFile & operator=(const OpenFile &) = delete;

    [[nodiscard]] bool is_open() const { return _handle != -1; }
    [[nodiscard]] int handle() const { return _handle; }
    // Did everything that was written arrive?
    [[nodiscard]] bool close()
    {
        const int handle = _handle;
        _handle = -1;
        return _posix_close(handle) == 0;
    }

private:
    int _handle;
};

// A dangling link is a file, too: nothing may be made in its place.
bool is_taken(const char * path)
{
    a_posix_statbuf found;
    return _posix_lstat(path, &found) == 0;
}

// Names beside `filename` that are made of the date.
class DatedNames {
public:
    DatedNames(const char * filename, const char * extension) : _filename(filename), _extension(extension)
    {
        (void)_collation.set_os_collation(CASE_INSENSITIVE); // the one it has been made with does as well
        FindCurrentTime(&_date, TL_LOCAL);
    }

    // FALSE: it doesn't fit.
    [[nodiscard]] bool make(char (&path)[PATH_BUFFER_SIZE], int counter) const
    {
        if (!ut_strcpy(path, sizeof(path), _filename)) {
            return false;
        }
        char name[32];
        (void)ut_snprintf(name, sizeof(name), "%02d%02d%02d%02d", _date.tm_year % 100, _date.tm_mon + 1,
                          _date.tm_mday, counter); // six digits and an int at most
        RemoveFilename(_collation, path);
        return ut_strcat(path, sizeof(path), name) &&
               AppendExtension(_collation, path, sizeof(path), _extension);
    }

    // The first that no file has. FALSE: it doesn't fit.
    [[nodiscard]] bool find_free(char (&path)[PATH_BUFFER_SIZE]) const
    {
        for (int counter = 0; counter < INT_MAX; ++counter) {
            if (!make(path, counter)) {
                return false;
            }
            if (!is_taken(path)) {
                return true;
            }
        }
        return false;
    }

private:
    const char * _filename;
    const char * _extension;
    UTCollation _collation{nullptr};
    struct tm _date = {};
};

bool copy_pages(int from, int to)
{
    a_byte page[COPY_PAGE_SIZE];
    for (;;) {
        const int got = _posix_read(from, page, sizeof(page));
        if (got <= 0) {
            return got == 0;
        }
        if (_posix_write(to, page, static_cast<size_t>(got)) != got) {
            return false;
        }
    }
}

// Copies to a file that doesn't exist yet; none is left behind after failure.
bool copy_file(const char * from, const char * to)
{
    const OpenFile source(_posix_open(from, O_RDONLY, 0));
    if (!source.is_open()) {
        return false;
    }
    OpenFile copy(_posix_open(to, O_WRONLY | O_CREAT | O_EXCL, COPY_MODE));
    if (!copy.is_open()) {
        return false;
    }
    const bool copied = copy_pages(source.handle(), copy.handle());
    if (copy.close() && copied) {
        return true;
    }
    (void)_posix_unlink(to); // a part of the file is worse than none
    return false;
}

bool replace_old(const char * active_name)
{
    UTCollation collation(nullptr);
    (void)collation.set_os_collation(CASE_INSENSITIVE); // the one it has been made with does as well
    char old_name[PATH_BUFFER_SIZE];
    return ut_strcpy(old_name, sizeof(old_name), active_name) &&
           ReplaceExtension(collation, old_name, sizeof(old_name), "old") &&
           _posix_rename(active_name, old_name) == 0;
}

// The first version up to `last` that no file has. 0: none; -1: a name doesn't fit.
int find_free_version(char (&path)[PATH_BUFFER_SIZE], const char * base, int last)
{
    for (int version = 1; version <= last; ++version) {
        if (!MakeVersionedName(path, sizeof(path), base, version)) {
            return -1;
        }
        if (!is_taken(path)) {
            return version;
        }
        if (version == INT_MAX) {
            break;
        }
    }
    return 0;
}

// Makes the highest version free: each one takes the place of the one below, and number 1 goes.
bool move_versions_down(const char * base, int last)
{
    char lower[PATH_BUFFER_SIZE];
    char upper[PATH_BUFFER_SIZE];
    if (!MakeVersionedName(lower, sizeof(lower), base, 1) || _posix_unlink(lower) != 0) {
        return false;
    }
    for (int version = 2; version <= last; ++version) {
        if (!MakeVersionedName(lower, sizeof(lower), base, version - 1) ||
            !MakeVersionedName(upper, sizeof(upper), base, version) || _posix_rename(upper, lower) != 0) {
            return false;
        }
    }
    return true;
}

const char * temp_dir_from_environment()
{
    for (const char * const variable : TEMP_DIR_VARIABLES) {
        if (const char * const value = getenv(variable); value != nullptr) {
            return value;
        }
    }
    return nullptr;
}

// FALSE: there is no source of numbers.
bool vary(char (&tail)[TEMP_TAIL_LENGTH + 1])
{
    constexpr char digits[] = "0123456789abcdefghijklmnopqrstuvwxyz";
    a_byte random[TEMP_TAIL_LENGTH];
    if (getrandom(random, sizeof(random), GRND_NONBLOCK) != sizeof(random)) {
        return false;
    }
    for (size_t i = 0; i < TEMP_TAIL_LENGTH; ++i) {
        tail[i] = digits[random[i] % (sizeof(digits) - 1)];
    }
    tail[TEMP_TAIL_LENGTH] = '\0';
    return true;
}

} // namespace

a_bool FileExists(const char * file_name)
{
    return _posix_access(file_name, R_OK) == 0 ? TRUE : FALSE;
}

a_bool IsRawDevice(const char * filename)
{
    a_posix_statbuf found;
    return _posix_stat(filename, &found) == 0 && (S_ISCHR(found.pst_mode) || S_ISFIFO(found.pst_mode))
               ? TRUE
               : FALSE;
}

a_bool DiskFreeSpace(const char * file, uint64 * pFree, uint64 * pTotal)
{
    if (file == nullptr) {
        return FALSE;
    }
    struct statvfs found = {};
    if (statvfs(file, &found) != 0) {
        return TRUE;
    }
    const uint64 unit = found.f_frsize != 0 ? found.f_frsize : found.f_bsize;
    if (pFree != nullptr) {
        *pFree = unit * (geteuid() == 0 ? found.f_bfree : found.f_bavail); // some are kept for root
    }
    if (pTotal != nullptr) {
        *pTotal = unit * found.f_blocks;
    }
    return TRUE;
}

a_bool MakeDirectoryAccessible(const char *)
{
    return TRUE;
}

a_bool RenameFileUsingDate(const char * filename, const char * newext)
{
    const DatedNames names(filename, newext);
    char path[PATH_BUFFER_SIZE];
    return names.find_free(path) && _posix_rename(filename, path) == 0 ? TRUE : FALSE;
}

a_bool CopyFileUsingDate(const char * filename, const char * newext, char * newFilename,
                         size_t newFilenameSize)
{
    const DatedNames names(filename, newext);
    char path[PATH_BUFFER_SIZE];
    if (names.find_free(path) && ut_strcpy(newFilename, newFilenameSize, path) && copy_file(filename, path)) {
        return TRUE;
    }
    (void)ut_strcpy(newFilename, newFilenameSize, ""); // always fits, if there is anything to write to
    return FALSE;
}

a_bool MakeVersionedName(char * result, size_t result_bufsize, const char * base, int version)
{
    char number[12]; // a sign, ten digits and the terminator
    return ut_strcpy(result, result_bufsize, base) && ut_strcat(result, result_bufsize, ".") &&
                   ut_strcat(result, result_bufsize, i32toa(version, number, 10))
               ? TRUE
               : FALSE;
}

a_bool RenameVersionedFile(const char * active_name, int num_files)
{
    if (num_files < 0) {
        return replace_old(active_name) ? TRUE : FALSE;
    }
    char path[PATH_BUFFER_SIZE];
    const int version = find_free_version(path, active_name, num_files != 0 ? num_files : MAX_FREE_VERSION);
    const bool all_taken = version == 0;
    if (version < 0 || (all_taken && num_files == 0)) {
        return FALSE;
    }
    // With all taken, `path` still is the highest.
    if (all_taken && !move_versions_down(active_name, num_files)) {
        return FALSE;
    }
    return _posix_rename(active_name, path) == 0 ? TRUE : FALSE;
}

size_t UTGetTempDir(char * buffer, size_t bufsize)
{
    if (bufsize == 0) {
        return 0;
    }
    buffer[0] = '\0';
    const char * const value = temp_dir_from_environment();
    if (value == nullptr) {
        return 0;
    }
    (void)ut_strcpy(buffer, std::min(bufsize, TEMP_DIR_SIZE), value); // a cut is told in the contract
    return std::strlen(buffer);
}

size_t UTGetTempDirOrDefault(char * buffer, size_t bufsize)
{
    const size_t len = UTGetTempDir(buffer, bufsize);
    if (len != 0 || bufsize == 0) {
        return len;
    }
    (void)ut_strcpy(buffer, bufsize, DEFAULT_TEMP_DIR); // cut like a directory of the environment
    return std::strlen(buffer);
}

// Not by tempnam: that lets TMPDIR override the directory.
void GetTempFilename(char * buffer, size_t bufsize, char * prefix)
{
    char dir[TEMP_DIR_SIZE];
    (void)UTGetTempDirOrDefault(dir, sizeof(dir)); // holds either
    char * name = buffer;
    size_t room = bufsize;
    if (!ut_strcpy(name, room, dir, &name, &room) || !ut_strcpy(name, room, "/", &name, &room) ||
        !ut_strncpy(name, room, prefix != nullptr ? prefix : DEFAULT_TEMP_PREFIX, TEMP_PREFIX_LENGTH, &name,
                    &room)) {
        (void)ut_strcpy(buffer, bufsize, ""); // always fits, if there is anything to write to
        return;
    }
    char tail[TEMP_TAIL_LENGTH + 1];
    for (int i = 0; i < MAX_TEMP_TRIES && vary(tail) && ut_strcpy(name, room, tail); ++i) {
        if (!is_taken(buffer)) {
            return;
        }
    }
    (void)ut_strcpy(buffer, bufsize, "");
}

UTFileBitnessInfo::UTFileBitnessInfo(const char * path)
{
    _path[0] = '\0';
    (void)ut_strcpy(_path, sizeof(_path), path); // longer ones can't be opened either
}

int32 UTFileBitnessInfo::getBitness() const
{
    constexpr size_t smallest_header = 52; // the 32-bit one; only its first bytes count
    constexpr char magic[] = {0x7F, 'E', 'L', 'F'};
    constexpr size_t class_at = sizeof(magic);
    const OpenFile file(_posix_open(_path, O_RDONLY, 0));
    char header[smallest_header];
    const int got = file.is_open() ? _posix_read(file.handle(), header, sizeof(header)) : -1;
    if (got <= static_cast<int>(class_at) || std::memcmp(header, magic, sizeof(magic)) != 0) {
        return 0;
    }
    return header[class_at] == 1 ? 32 : header[class_at] == 2 ? 64 : 0;
}
