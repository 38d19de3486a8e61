#include "utils/etc/fileutil.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mntent.h>
#include <string_view>
#include <sys/sysmacros.h>

#include "utils/etc/posixio.h"
#include "utils/etc/utstrfcn.h"

namespace {

constexpr char MOUNT_TABLE[] = "/etc/mtab";
constexpr char PARTITION_TABLE[] = "/proc/partitions";
constexpr std::string_view DEVICE_FOLDER = "/dev/";

// A line of the mount table has two paths; overlays write long options behind them, which aren't of use.
constexpr size_t MOUNT_LINE_SIZE = 4 * PATH_BUFFER_SIZE;
constexpr size_t TYPE_SIZE = 64;            // names of file systems are words
constexpr size_t PARTITION_LINE_SIZE = 256; // three numbers and a name of 31 bytes

struct a_type_row {
    const char * name; // a file system, or, with a `/`, what the device's path begins with
    unix_drive_type kind;
};

// The kinds that a mount tells by itself. The first row that fits counts.
constexpr a_type_row KNOWN_TYPES[] = {
    {"iso9660", UX_DT_CDROM},     {"udf", UX_DT_CDROM},
    {"/dev/sr", UX_DT_CDROM},     {"/dev/cdrom", UX_DT_CDROM},
    {"nfs", UX_DT_REMOTE},        {"nfs4", UX_DT_REMOTE},
    {"cifs", UX_DT_REMOTE},       {"smb3", UX_DT_REMOTE},
    {"smbfs", UX_DT_REMOTE},      {"9p", UX_DT_REMOTE},
    {"afs", UX_DT_REMOTE},        {"ceph", UX_DT_REMOTE},
    {"fuse.sshfs", UX_DT_REMOTE}, {"fuse.glusterfs", UX_DT_REMOTE},
    {"//", UX_DT_REMOTE},         {"tmpfs", UX_DT_RAMDISK},
    {"ramfs", UX_DT_RAMDISK},     {"/dev/ram", UX_DT_RAMDISK},
    {"/dev/zram", UX_DT_RAMDISK}, {"/dev/fd", UX_DT_REMOVABLE},
};

// Texts of the kinds, in the order of their values.
constexpr const char * TYPE_TEXTS[] = {"UNKNOWN", "UNKNOWN", "CD", "REMOTE", "REMOVABLE", "FIXED", "RAMDISK"};
static_assert(sizeof(TYPE_TEXTS) / sizeof(TYPE_TEXTS[0]) == UX_DT_RAMDISK + 1);

// A file of lines, closed at the end of its scope.
class LineFile {
public:
    explicit LineFile(const char * path) : _file(_posix_fopen(path, "r")) {}
    ~LineFile()
    {
        if (_file != nullptr) {
            (void)fclose(_file); // has only been read
        }
    }
    LineFile(const LineFile &) = delete;
    LineFile & operator=(const LineFile &) = delete;

    [[nodiscard]] FILE * get() const { return _file; }

private:
    FILE * _file;
};

// Where `filename` really is; by its text alone if it doesn't exist.
bool find_place(char (&place)[PATH_BUFFER_SIZE], const char * filename)
{
    if (!ut_strcpy(place, sizeof(place), filename)) {
        return false;
    }
    return CanonicalizePath(place, sizeof(place)) != nullptr || SanitizePath(place, sizeof(place), filename);
}

// Is `dir` the file itself or a folder above it?
bool is_at_or_above(std::string_view dir, std::string_view path)
{
    if (dir.ends_with('/')) {
        dir.remove_suffix(1);
    }
    return path.starts_with(dir) && (path.size() == dir.size() || path[dir.size()] == '/');
}

// The name in the partition table of the device at `dev`, whose links are followed. Empty if it has none.
const char * partition_name(char (&path)[PATH_BUFFER_SIZE], const char * dev)
{
    if (!ut_strcpy(path, sizeof(path), dev)) {
        return "";
    }
    (void)CanonicalizePath(path, sizeof(path)); // a device that is only a name has no links
    return std::string_view(path).starts_with(DEVICE_FOLDER) ? path + DEVICE_FOLDER.size() : "";
}

int64 find_partition(const char * name)
{
    const LineFile partitions(PARTITION_TABLE);
    char line[PARTITION_LINE_SIZE];
    while (partitions.get() != nullptr && fgets(line, sizeof(line), partitions.get()) != nullptr) {
        unsigned int major_number = 0;
        unsigned int minor_number = 0;
        char found[PARTITION_LINE_SIZE];
        // The two lines of headings have no numbers.
        static_assert(PARTITION_LINE_SIZE == 256, "the width below leaves a byte for the terminator");
        if (sscanf(line, "%u %u %*u %255s", &major_number, &minor_number, found) == 3 &&
            std::strcmp(found, name) == 0) {
            return static_cast<int64>(makedev(major_number, minor_number));
        }
    }
    return -1;
}

// A partition has its disk above it.
bool says_removable(const char * format, const char * name)
{
    char path[PATH_BUFFER_SIZE];
    const int32 len = ut_snprintf(path, sizeof(path), format, name);
    if (len < 0 || static_cast<size_t>(len) >= sizeof(path)) {
        return false;
    }
    const LineFile removable(path);
    return removable.get() != nullptr && fgetc(removable.get()) == '1';
}

bool is_removable(const char * dev)
{
    char path[PATH_BUFFER_SIZE];
    const char * const name = partition_name(path, dev);
    return *name != '\0' && (says_removable("/sys/class/block/%s/removable", name) ||
                             says_removable("/sys/class/block/%s/../removable", name));
}

bool fits(const a_type_row & row, std::string_view dev, std::string_view type)
{
    return row.name[0] == '/' ? dev.starts_with(row.name) : type == row.name;
}

} // namespace

a_bool longest_mount_match(const char * filename, char * dev, size_t dev_len, char * type, size_t type_len)
{
    char place[PATH_BUFFER_SIZE];
    const LineFile mounts(MOUNT_TABLE);
    if (mounts.get() == nullptr || !find_place(place, filename)) {
        return FALSE;
    }
    size_t longest = 0;
    bool found = false;
    struct mntent mount = {};
    char line[MOUNT_LINE_SIZE];
    while (getmntent_r(mounts.get(), &mount, line, sizeof(line)) != nullptr) {
        const std::string_view dir = mount.mnt_dir;
        if (dir.size() >= longest && is_at_or_above(dir, place)) {
            longest = dir.size();
            found = ut_strcpy(dev, dev_len, mount.mnt_fsname) && ut_strcpy(type, type_len, mount.mnt_type);
        }
    }
    return found ? TRUE : FALSE;
}

int64 get_drive(const char * filename)
{
    char dev[PATH_BUFFER_SIZE];
    char type[TYPE_SIZE];
    if (!longest_mount_match(filename, dev, sizeof(dev), type, sizeof(type))) {
        return -1;
    }
    char path[PATH_BUFFER_SIZE];
    const char * const name = partition_name(path, dev);
    return *name != '\0' ? find_partition(name) : -1;
}

int64 GetPhysicalDrive(const char * filename)
{
    return get_drive(filename);
}

unix_drive_type get_drive_type_for_filename(const char * name)
{
    char dev[PATH_BUFFER_SIZE];
    char type[TYPE_SIZE];
    if (!longest_mount_match(name, dev, sizeof(dev), type, sizeof(type))) {
        return UX_DT_ERROR;
    }
    for (const a_type_row & row : KNOWN_TYPES) {
        if (fits(row, dev, type)) {
            return row.kind;
        }
    }
    if (is_removable(dev)) {
        return UX_DT_REMOVABLE;
    }
    return std::string_view(dev).starts_with(DEVICE_FOLDER) ? UX_DT_FIXED : UX_DT_UNKNOWN_DRIVE;
}

a_bool drive_type_prop(const char * name, char * buf, size_t len)
{
    return ut_strcpy(buf, len, TYPE_TEXTS[get_drive_type_for_filename(name)]);
}
