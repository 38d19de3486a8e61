#include "utils/etc/fileutil.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <unistd.h>

#include "utils/etc/posixio.h"
#include "utils/etc/utcollation.h"
#include "utils/etc/utstrfcn.h"

static_assert(PATH_BUFFER_SIZE == PATH_MAX + 1);

namespace {

// What separates under a `platform`; nothing under one that isn't listed.
constexpr const char * SEPARATORS[] = {
    "/",   // 0
    "/",   // 1
    "/\\:" // 2
};

constexpr int UNIX_PLATFORM = 0;

const char * separators(int platform)
{
    constexpr int platforms = sizeof(SEPARATORS) / sizeof(SEPARATORS[0]);
    return platform >= 0 && platform < platforms ? SEPARATORS[platform] : "";
}

// The character behind the one at `p`, which isn't the terminator. One that the terminator cuts ends there.
const char * next_in_path(const UTCollation & collation, const char * p)
{
    const char * const next = collation.next_character(p);
    return p + ut_strnlen(p, static_cast<size_t>(next - p));
}

// Is the character at `p` a single byte of `set`?
bool is_one_of(const UTCollation & collation, const char * p, const char * set)
{
    return collation.nbytes_in_char(*p) == 1 && std::strchr(set, *p) != nullptr;
}

// The first character from `path` on that is a single byte of `set`; null if there is none.
const char * find_first(const UTCollation & collation, const char * path, const char * set)
{
    for (const char * p = path; *p != '\0'; p = next_in_path(collation, p)) {
        if (is_one_of(collation, p, set)) {
            return p;
        }
    }
    return nullptr;
}

const char * find_last(const UTCollation & collation, const char * path, const char * set)
{
    const char * last = nullptr;
    for (const char * p = find_first(collation, path, set); p != nullptr;
         p = find_first(collation, p + 1, set)) {
        last = p;
    }
    return last;
}

// As the strchr family does: the caller knows whether it may write.
char * writable(const char * p)
{
    return const_cast<char *>(p);
}

// What is left of a buffer of `size` bytes behind its first `used` ones.
size_t left_of(size_t size, size_t used)
{
    return size > used ? size - used : 0;
}

a_bool append_extension(char * path, size_t pathbufsize, const char * extension)
{
    if (extension[0] != '.' && !ut_strcat(path, pathbufsize, ".")) {
        return FALSE;
    }
    return ut_strcat(path, pathbufsize, extension);
}

// The component of a path that begins at `p`; it ends in front of the next `/`.
std::string_view component_at(const UTCollation & collation, const char * p)
{
    const char * const end = find_first(collation, p, "/");
    return end != nullptr ? std::string_view(p, static_cast<size_t>(end - p)) : std::string_view(p);
}

// Hands the components of `path` to `visit`, without those of no bytes, as long as it says true.
template<typename Visit> bool each_component(const UTCollation & collation, const char * path, Visit && visit)
{
    for (const char * p = path;; ++p) {
        const std::string_view component = component_at(collation, p);
        if (!component.empty() && !visit(component)) {
            return false;
        }
        p += component.size();
        if (*p == '\0') {
            return true;
        }
    }
}

// An absolute path as it grows and shrinks by components. Where each begins is kept: a component may end
// inside a character, so that the text alone wouldn't tell.
class CleanPath {
public:
    // FALSE: it doesn't fit, and is cut.
    bool add(std::string_view component)
    {
        if (component == ".") {
            return true;
        }
        if (component == "..") {
            _len = _count != 0 ? _starts[--_count] : 0;
            return true;
        }
        _starts[_count++] = static_cast<uint16>(_len);
        _text[_len++] = '/';
        const size_t copied = std::min(component.size(), sizeof(_text) - 1 - _len);
        std::memcpy(_text + _len, component.data(), copied);
        _len += copied;
        return copied == component.size() && _len < sizeof(_text) - 1;
    }

    const char * text()
    {
        if (_len == 0) {
            return "/";
        }
        _text[_len] = '\0';
        return _text;
    }

private:
    // A component has a `/` and a byte at least.
    static constexpr size_t MAX_COMPONENTS = PATH_BUFFER_SIZE / 2;

    // With a byte to spare, so that a text that fills a path's buffer isn't taken for one that is cut.
    char _text[PATH_BUFFER_SIZE + 1];
    size_t _len = 0;
    uint16 _starts[MAX_COMPONENTS + 1];
    size_t _count = 0;
};

} // namespace

char * FindNextPathSeparator(const UTCollation & collation, const char * path, int platform)
{
    return writable(find_first(collation, path, separators(platform)));
}

char * FindLastPathSeparator(const UTCollation & collation, const char * path, int platform)
{
    return writable(find_last(collation, path, separators(platform)));
}

char * FindNextUNCSeparator(const UTCollation & collation, const char * path)
{
    return writable(find_first(collation, path, "/"));
}

char * AppendPathSeparator(const UTCollation & collation, char * path, size_t path_bufsize,
                           size_t * premaining)
{
    // A last byte that is no separator isn't the last byte of one; most paths end so and needn't be walked.
    char * pos = path + std::strlen(path);
    if (pos != path && pos[-1] == '/') {
        char * const last = FindLastPathSeparator(collation, path, UNIX_PLATFORM);
        pos = last != nullptr && last[1] == '\0' ? last : pos;
    }
    char * end = pos;
    size_t remaining = left_of(path_bufsize, static_cast<size_t>(pos - path));
    // A path without room for it stays without: its users find that nothing is there.
    (void)ut_strcpy(pos, remaining, "/", &end, &remaining);
    if (premaining != nullptr) {
        *premaining = remaining;
    }
    return end;
}

char * RemoveFilename(const UTCollation & collation, char * path)
{
    char * const last = FindLastPathSeparator(collation, path, UNIX_PLATFORM);
    *(last != nullptr ? last + 1 : path) = '\0';
    return path;
}

char * RemoveTrailingSlash(const UTCollation & collation, char * path)
{
    char * const last = FindLastPathSeparator(collation, path, UNIX_PLATFORM);
    if (last != nullptr && last[1] == '\0' && last != FindNextPathSeparator(collation, path, UNIX_PLATFORM)) {
        *last = '\0';
    }
    return path;
}

char * FindFilename(const UTCollation & collation, const char * path, int platform)
{
    const char * const last = FindLastPathSeparator(collation, path, platform);
    return writable(last != nullptr ? last + 1 : path);
}

a_bool GetFilename(const UTCollation & collation, const char * path, char * fname, size_t fname_bufsize)
{
    return ut_strcpy(fname, fname_bufsize, FindFilename(collation, path, UNIX_PLATFORM));
}

a_bool GetFilenameNoExtension(const UTCollation & collation, const char * path, char * fnamebuf,
                              size_t fname_bufsize)
{
    const char * const name = FindFilename(collation, path, UNIX_PLATFORM);
    const char * const dot = find_last(collation, name, ".");
    const size_t len = dot != nullptr ? static_cast<size_t>(dot - name) : std::strlen(name);
    return ut_strncpy(fnamebuf, fname_bufsize, name, len);
}

char * FindExtensionSeparator(const UTCollation & collation, const char * path)
{
    return writable(find_last(collation, FindFilename(collation, path, UNIX_PLATFORM), "."));
}

a_bool ReplaceExtension(const UTCollation & collation, char * path, size_t pathbufsize,
                        const char * extension)
{
    char * const dot = FindExtensionSeparator(collation, path);
    if (dot != nullptr) {
        *dot = '\0';
    }
    return extension != nullptr ? append_extension(path, pathbufsize, extension) : TRUE;
}

a_bool AppendExtension(const UTCollation & collation, char * path, size_t pathbufsize, const char * extension)
{
    if (extension == nullptr || FindExtensionSeparator(collation, path) != nullptr) {
        return TRUE;
    }
    return append_extension(path, pathbufsize, extension);
}

a_bool IsRelativeToParent(const UTCollation & collation, const char * relpath)
{
    size_t depth = 0;
    return each_component(collation, relpath,
                          [&depth](std::string_view component) {
                              if (component != "..") {
                                  ++depth;
                                  return true;
                              }
                              return depth-- != 0;
                          })
               ? TRUE
               : FALSE;
}

a_bool IsFullyQualifiedPathname(const char * filename)
{
    return filename[0] == '/' && filename[1] != '\0' ? TRUE : FALSE;
}

a_bool SanitizePath(char * buff, size_t bufsize, const char * path)
{
    UTCollation collation(nullptr);
    (void)collation.set_os_collation(CASE_INSENSITIVE); // the one it has been made with does as well
    CleanPath clean;
    const auto add = [&clean](std::string_view component) { return clean.add(component); };
    if (path[0] != '/') {
        char current[PATH_BUFFER_SIZE];
        if (getcwd(current, sizeof(current)) == nullptr) {
            (void)ut_strcpy(buff, bufsize, ""); // always fits, if there is anything to write to
            return FALSE;
        }
        if (!each_component(collation, current, add)) {
            (void)ut_strcpy(buff, bufsize, clean.text()); // cut, as the result says
            return FALSE;
        }
    }
    const bool whole = each_component(collation, path, add);
    return ut_strcpy(buff, bufsize, clean.text()) && whole ? TRUE : FALSE;
}

char * CanonicalizePath(char * path, size_t pathbufsize)
{
    char resolved[PATH_MAX];
    if (realpath(path, resolved) == nullptr) {
        return nullptr;
    }
    if (std::strlen(resolved) >= pathbufsize) {
        errno = ENAMETOOLONG;
        return nullptr;
    }
    return ut_strcpy(path, pathbufsize, resolved) ? path : nullptr;
}

void FindCurrentTime(struct tm * time_buff, int locale)
{
    if (locale != TL_LOCAL && locale != TL_GLOBAL) {
        return;
    }
    const time_t now = time(nullptr);
    struct tm parts = {};
    const struct tm * found = locale == TL_LOCAL ? localtime_r(&now, &parts) : gmtime_r(&now, &parts);
    if (found != nullptr) {
        *time_buff = parts;
    }
}

int32 GetCurrentTimeZoneAdjustment()
{
    constexpr int32 daylight_seconds = 3600;
    tzset(); // sets `timezone`, which the reentrant calls may leave alone
    struct tm now = {};
    FindCurrentTime(&now, TL_LOCAL);
    return static_cast<int32>(-timezone) + (now.tm_isdst > 0 ? daylight_seconds : 0);
}
