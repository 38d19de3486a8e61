#include "utils/lang/wlangnam.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "utils/etc/fileutil.h"
#include "utils/etc/posixio.h"
#include "utils/etc/utcollation.h"
#include "utils/etc/utstrfcn.h"
#include "utils/unix/unixhome.h"
#include "utils/utmem/utmem.h"

// The rows overlap: a class has its own directories, and all but a few share those of programs and libraries.
constexpr _locations unix_locations[NUM_LOCATIONS] = {
    {0xFFFF, "../"},
    {0xFFFF, "bin64/"},
    {0xFFFF, "../bin64/"},
    {0xFF7E, "lib64/"},
    {0xFF7E, "../lib64/"},
    {0xFF7E, "lib/"},
    {0xFF7E, "../lib/"},
    {0x0104, "java/"},
    {0x0104, "../java/"},
    {0x0410, "scripts/"},
    {0x0410, "../scripts/"},
    {0x0008, "res/"},
    {0x0008, "../res/"},
    {0x0020, "tix/"},
    {0x0020, "../tix/"},
    {0x0100, "eclipse/plugins/"},
    {0x0100, "../eclipse/plugins/"},
    {0x0100, "jre170/bin/"},
    {0x0100, "../jre170/bin/"},
    {0x0100, "bin64/jre170/bin/"},
    {0x0100, "../bin64/jre170/bin/"},
    {0, nullptr},
};

char ** _argv = nullptr;

namespace {

constexpr const char * USER_DIRECTORY = ".orvane16";
constexpr int USER_DIRECTORY_MODE = 0777; // the process's mask takes away what it will

// A root with its terminator fits in the system's longest path.
constexpr size_t LONGEST_ROOT = PATH_MAX - 1;

// Classes that may lie in the user's directory: any other than these.
constexpr int NOT_THE_USERS = 0x287;

// The operating system's collation, in which paths are read.
class PathCollation {
public:
    PathCollation() : _collation(nullptr)
    {
        (void)_collation.set_os_collation(CASE_INSENSITIVE); // the one it has been made with does as well
    }
    [[nodiscard]] const UTCollation & get() const { return _collation; }

private:
    UTCollation _collation;
};

bool is_directory(const char * path)
{
    a_posix_statbuf buf = {};
    return _posix_stat(path, &buf) == 0 && S_ISDIR(buf.pst_mode);
}

// Is something there that may be had in `mode`, and is of the right kind?
bool is_candidate(int type, const char * path, int mode)
{
    return _posix_access(path, mode) == 0 && ((type & LS_DIRECTORY) != 0 || !is_directory(path));
}

void make_empty(char * buffer, size_t size)
{
    if (buffer != nullptr && size != 0) {
        buffer[0] = '\0';
    }
}

// The full path of a name in the current directory. One that begins with a slash is one, and one that begins
// with a point may name a directory above and stays, too.
void take_as_it_stands(char * buffer, size_t buffer_size, const char * name)
{
    if (name[0] == '/' || name[0] == '.') {
        if (!ut_strcpy(buffer, buffer_size, name)) {
            make_empty(buffer, buffer_size);
        }
        return;
    }
    char current[PATH_BUFFER_SIZE];
    char * end = buffer;
    size_t remaining = buffer_size;
    if (getcwd(current, sizeof(current)) == nullptr ||
        !ut_strcpy(buffer, buffer_size, current, &end, &remaining) ||
        !ut_strcpy(end, remaining, "/", &end, &remaining) || !ut_strcpy(end, remaining, name)) {
        make_empty(buffer, buffer_size);
    }
}

// A search on its way. The path found is kept here, so that the caller's buffer stays untouched until the
// end.
class FileSearch {
public:
    FileSearch(int type, const char * base_name, a_qualify_cb callback)
        : _type(type), _base_name(base_name), _callback(callback)
    {
    }

    [[nodiscard]] const UTCollation & collation() const { return _collation.get(); }

    bool everywhere(uint32 flags)
    {
        if (in_program_directory() || in_argument_directory()) {
            return true;
        }
        if (_type == LS_BESIDE_PROGRAM) {
            return false;
        }
        if (in_installation_root()) {
            return true;
        }
        if (_type != LS_PROGRAM && _type != LS_LIBRARY && _type != LS_INSTALLED && as_it_stands()) {
            return true;
        }
        if ((_type & ~NOT_THE_USERS) != 0 && in_user_directory()) {
            return true;
        }
        return _type != LS_INSTALLED && (flags & LS_NO_PATH_VARIABLES) == 0 && along_variables();
    }

    bool in_directory(const char * dir)
    {
        if (dir[0] == '\0' || _base_name[0] == '\0') {
            return false;
        }
        char resolved[PATH_BUFFER_SIZE];
        if (is_at(dir, "") || (realpath(dir, resolved) != nullptr && is_at(resolved, ""))) {
            return true;
        }
        if (_type == LS_BESIDE_PROGRAM) {
            return false;
        }
        return in_a_location([this, dir](const char * rel_path) { return is_at(dir, rel_path); });
    }

    // A name as it stands, which isn't offered to the callback, and then along a variable.
    bool along_variable(const char * name, const char * env_var)
    {
        if (!is_candidate(_type, name, F_OK)) {
            return along_entries(name, env_var);
        }
        take_as_it_stands(_path, sizeof(_path), name);
        return _path[0] != '\0';
    }

    // The entries of a variable alone.
    bool along_entries(const char * name, const char * env_var)
    {
        const char * const value = getenv(env_var);
        for (const char * entry = value; entry != nullptr;) {
            const char * const end = strchrnul(entry, ':');
            char dir[PATH_BUFFER_SIZE];
            if (take_entry(dir, entry, end) && join(dir, "", name) && is_taken(F_OK)) {
                return true;
            }
            entry = *end != '\0' ? end + 1 : nullptr;
        }
        return false;
    }

    // The length of what has been found.
    size_t store(char * qualified_name, size_t qualified_len) const
    {
        const size_t len = std::strlen(_path);
        if (len < qualified_len) {
            std::memcpy(qualified_name, _path, len + 1);
        }
        return len;
    }

private:
    bool in_program_directory()
    {
        char dir[PATH_BUFFER_SIZE];
        return LS_GetPathFromExecName(collation(), dir, sizeof(dir)) != 0 && in_directory(dir);
    }

    bool in_argument_directory()
    {
        const char * const program = _argv != nullptr ? _argv[0] : nullptr;
        if (program == nullptr) {
            return false;
        }
        char dir[PATH_BUFFER_SIZE];
        if (FindLastPathSeparator(collation(), program, 0) == nullptr) {
            _local_searchenv(program, "PATH", dir, sizeof(dir), LS_PROGRAM, defaultQualifyCB);
        } else if (!ut_strcpy(dir, sizeof(dir), program)) {
            return false;
        }
        (void)RemoveFilename(collation(), dir);
        char resolved[PATH_BUFFER_SIZE];
        return in_directory(dir) || (realpath(dir, resolved) != nullptr && in_directory(resolved));
    }

    bool in_installation_root()
    {
        char root[PATH_BUFFER_SIZE];
        GetInstallationRoot(root);
        return in_directory(root);
    }

    bool as_it_stands() { return ut_strcpy(_path, sizeof(_path), _base_name) && is_taken(R_OK); }

    bool in_user_directory()
    {
        char dir[PATH_BUFFER_SIZE];
        return LS_GetOrvAnyUserAppDataPath(dir, sizeof(dir), FALSE) && is_at(dir, "");
    }

    bool along_variables()
    {
        return _type == LS_LIBRARY ? along("LD_LIBRARY_PATH") || along("PATH")
                                   : along("PATH") || along("LD_LIBRARY_PATH");
    }

    bool along(const char * env_var)
    {
        return along_with("", env_var) || in_a_location([this, env_var](const char * rel_path) {
                   return along_with(rel_path, env_var);
               });
    }

    bool along_with(const char * rel_path, const char * env_var)
    {
        char name[PATH_BUFFER_SIZE];
        char * end = nullptr;
        size_t remaining = 0;
        if (!ut_strcpy(name, sizeof(name), rel_path, &end, &remaining) ||
            !ut_strcpy(end, remaining, _base_name)) {
            return false;
        }
        return along_variable(name, env_var);
    }

    // Tries the directories of the class, in the table's order.
    template<typename Try> bool in_a_location(Try && is_in) const
    {
        for (const _locations * row = unix_locations; row->when != 0; ++row) {
            if ((row->when & _type) != 0 && is_in(row->rel_path)) {
                return true;
            }
        }
        return false;
    }

    bool is_at(const char * dir, const char * rel_path)
    {
        return join(dir, rel_path, _base_name) && is_taken(R_OK);
    }

    // FALSE: it is longer than a path can be.
    bool join(const char * dir, const char * rel_path, const char * name)
    {
        if (!ut_strcpy(_path, sizeof(_path), dir)) {
            return false;
        }
        size_t remaining = 0;
        char * end = AppendPathSeparator(collation(), _path, sizeof(_path), &remaining);
        return ut_strcpy(end, remaining, rel_path, &end, &remaining) && ut_strcpy(end, remaining, name);
    }

    bool is_taken(int mode) const { return is_candidate(_type, _path, mode) && _callback(_type, _path); }

    // An entry of a path variable without its quotes. FALSE: nothing is left, or it is longer than a path can
    // be.
    static bool take_entry(char (&dir)[PATH_BUFFER_SIZE], const char * entry, const char * end)
    {
        size_t len = 0;
        for (; entry != end; ++entry) {
            if (*entry == '"') {
                continue;
            }
            if (len == sizeof(dir) - 1) {
                return false;
            }
            dir[len++] = *entry;
        }
        dir[len] = '\0';
        return len != 0;
    }

    PathCollation _collation;
    int _type;
    const char * _base_name;
    a_qualify_cb _callback;
    char _path[PATH_BUFFER_SIZE];
};

// The value of a variable as a directory. A null `value` is that of one that isn't set.
void take_root(char * path, const char * value)
{
    path[0] = '\0';
    size_t len = value != nullptr ? std::strlen(value) : 0;
    if (len > LONGEST_ROOT) {
        errno = ENAMETOOLONG;
        return;
    }
    while (len != 0 && value[len - 1] == '/') {
        --len;
    }
    if (len != 0) {
        std::memcpy(path, value, len);
        path[len] = '\0';
    }
}

// Where the system says that the program lies. FALSE: it doesn't, or the name doesn't fit.
bool linked_program_name(char * buff, size_t buff_size)
{
    char link[32];
    char * const scratch = static_cast<char *>(ut_alloc(buff_size));
    if (scratch == nullptr) {
        return false;
    }
    (void)ut_snprintf(link, sizeof(link), "/proc/%u/exe", static_cast<unsigned>(getpid())); // fits
    const ssize_t len = readlink(link, scratch, buff_size);
    const bool fits = len >= 0 && static_cast<size_t>(len) < buff_size;
    if (fits) {
        std::memcpy(buff, scratch, static_cast<size_t>(len));
        buff[len] = '\0';
    }
    ut_free(scratch);
    return fits;
}

} // namespace

size_t LS_QualifyOrvAnyFile(int type, const char * base_name, char * qualified_name, size_t qualified_len,
                            a_qualify_cb callback, uint32 flags)
{
    if (base_name != nullptr && qualified_name != nullptr) {
        FileSearch search(type, base_name, callback);
        if (search.everywhere(flags)) {
            return search.store(qualified_name, qualified_len);
        }
    }
    make_empty(qualified_name, qualified_len);
    return 0;
}

size_t LS_SearchDir(int type, const char * base_name, const char * base_dir, char * qualified_name,
                    size_t qualified_len, a_qualify_cb callback)
{
    if (base_name != nullptr && base_dir != nullptr && qualified_name != nullptr) {
        FileSearch search(type, base_name, callback);
        if (search.in_directory(base_dir)) {
            return search.store(qualified_name, qualified_len);
        }
    }
    make_empty(qualified_name, qualified_len);
    return 0;
}

void _local_searchenv(const char * name, const char * env_var, char * buffer, size_t buffer_size, int type,
                      a_qualify_cb callback)
{
    FileSearch search(type, name, callback);
    if (!search.along_variable(name, env_var) || search.store(buffer, buffer_size) >= buffer_size) {
        make_empty(buffer, buffer_size);
    }
}

a_bool defaultQualifyCB(int type, const char * path)
{
    constexpr int32 ours = 64;
    return type != LS_LIBRARY || UTFileBitnessInfo(path).getBitness() == ours ? TRUE : FALSE;
}

size_t LS_GetExecFileName(const UTCollation &, char * buff, size_t buff_size)
{
    if (buff == nullptr || buff_size == 0) {
        return 0;
    }
    if (!linked_program_name(buff, buff_size)) {
        buff[0] = '\0';
        (void)ut_strcpy(buff, buff_size, program_invocation_name); // null leaves it empty, a cut is promised
    }
    return std::strlen(buff);
}

size_t LS_GetExecFileName(char * buff, size_t buff_size)
{
    return LS_GetExecFileName(PathCollation().get(), buff, buff_size);
}

size_t LS_GetPathFromExecName(const UTCollation & os_collation, char * buff, size_t buff_size)
{
    if (LS_GetExecFileName(os_collation, buff, buff_size) == 0) {
        return 0;
    }
    return std::strlen(RemoveFilename(os_collation, buff));
}

size_t LS_GetPathFromExecName(char * buff, size_t buff_size)
{
    return LS_GetPathFromExecName(PathCollation().get(), buff, buff_size);
}

a_bool LS_GetOrvAnyUserAppDataPath(char * buffer, size_t buff_size, a_bool create)
{
    make_empty(buffer, buff_size);
    // A home directory is taken as long as it is, so one that can't be is refused before.
    char home[PATH_BUFFER_SIZE];
    const char * const from_env = getenv("HOME");
    if ((from_env != nullptr && std::strlen(from_env) >= sizeof(home)) ||
        !get_user_home_directory(home, FALSE)) {
        return FALSE;
    }
    size_t remaining = 0;
    char * const end = AppendPathSeparator(PathCollation().get(), home, sizeof(home), &remaining);
    if (!ut_strcpy(end, remaining, USER_DIRECTORY) || !ut_strcpy(buffer, buff_size, home)) {
        make_empty(buffer, buff_size);
        return FALSE;
    }
    if (!create) {
        return TRUE;
    }
    a_posix_statbuf buf = {};
    if (_posix_stat(buffer, &buf) != 0) {
        return _posix_mkdir(buffer, USER_DIRECTORY_MODE) == 0 ? TRUE : FALSE;
    }
    return S_ISDIR(buf.pst_mode) && _posix_access(buffer, W_OK) == 0 ? TRUE : FALSE;
}

void GetInstallationRoot(char * path)
{
    const char * const value = getenv("VXDIR16");
    take_root(path, value != nullptr ? value : getenv("VX16"));
}

void GetKelmorInstallationRoot(char * path)
{
    take_root(path, getenv("KELMOR"));
}
