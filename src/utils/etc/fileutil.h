// Paths, files as a whole, drives, and the time of day.
//
// Path operations step through a path by characters of a collation, and only characters of one byte count as
// separator or period: the second byte of a character in Shift_JIS may be a `\`. Operations without a
// collation argument use the operating system's. A path that ends inside a character ends with its
// terminator all the same.
//
// `platform` tells what separates: 0 and 1 `/`; 2 `/`, `\` and `:`; any other value nothing.
//
// Units: bytes, with terminator. Paths are terminated, and a `path` that is changed is terminated within its
// size. Ownership: the caller's buffers; results point into the arguments. Failure: results and errno;
// nothing is reported. What doesn't fit is cut and terminated, with FALSE as the result where there is one;
// a size of 0 writes nothing. Threads: any, there is no state, and time zones are read by the reentrant
// calls.
#pragma once

#include <ctime>

#include "utils/etc/uttypes.h"

class UTCollation;

// Whole paths: the most that the system takes (PATH_MAX, which counts the terminator), and one byte more.
constexpr size_t PATH_BUFFER_SIZE = 4097;

// ---- Paths

// The first or the last separator, or null.
[[nodiscard]] char * FindNextPathSeparator(const UTCollation & collation, const char * path, int platform);
[[nodiscard]] char * FindLastPathSeparator(const UTCollation & collation, const char * path, int platform);
// The first `/`, or null.
[[nodiscard]] char * FindNextUNCSeparator(const UTCollation & collation, const char * path);

// Makes `path` end in one more `/` unless it ends in one, as far as that fits. The result is the end of the
// text, *premaining, if wanted, what is left of path_bufsize from there: just behind the buffer and 0 when
// the terminator is in its last byte.
char * AppendPathSeparator(const UTCollation & collation, char * path, size_t path_bufsize,
                           size_t * premaining);

// Ends `path` behind its last `/`; without one it becomes empty. The result is `path`.
char * RemoveFilename(const UTCollation & collation, char * path);

// Cuts a last `/` with nothing behind it, unless it is the only one. The result is `path`.
char * RemoveTrailingSlash(const UTCollation & collation, char * path);

// The name behind the last separator; all of `path` without one.
[[nodiscard]] char * FindFilename(const UTCollation & collation, const char * path, int platform);
a_bool GetFilename(const UTCollation & collation, const char * path, char * fname, size_t fname_bufsize);
// The name without the extension.
a_bool GetFilenameNoExtension(const UTCollation & collation, const char * path, char * fnamebuf,
                              size_t fname_bufsize);

// The last `.` of the name, or null.
[[nodiscard]] char * FindExtensionSeparator(const UTCollation & collation, const char * path);
// Cuts the extension of `path` with its `.`, and appends `extension`, behind a `.` if it doesn't begin with
// one. A null `extension` only cuts.
a_bool ReplaceExtension(const UTCollation & collation, char * path, size_t pathbufsize,
                        const char * extension);
// The same for a path without an extension; any other stays as it is, with TRUE.
a_bool AppendExtension(const UTCollation & collation, char * path, size_t pathbufsize,
                       const char * extension);

// Does the walk along `relpath` stay inside of where it begins? A name goes one level down, whatever it is,
// and `..` one up.
[[nodiscard]] a_bool IsRelativeToParent(const UTCollation & collation, const char * relpath);
// Does it begin with a `/` and go on?
[[nodiscard]] a_bool IsFullyQualifiedPathname(const char * filename);

// Stores `path` as an absolute one without `.`, `..` and repeated `/`, and without a `/` at its end, by its
// text alone: links aren't followed, and nothing needs to exist. A relative one begins at the current
// directory. `..` at the root stays there. `buff` may be `path`. FALSE: it is cut, or longer than a path can
// be at some point on the way and cut there; or the current directory can't be told, and `buff` is empty.
[[nodiscard]] a_bool SanitizePath(char * buff, size_t bufsize, const char * path);
// Replaces `path` by what realpath makes of it. The result is `path`; null if that fails or doesn't fit
// (ENAMETOOLONG), and `path` is as it was.
[[nodiscard]] char * CanonicalizePath(char * path, size_t pathbufsize);

// ---- Files

// May it be read?
[[nodiscard]] a_bool FileExists(const char * file_name);
// Is it a character device or a FIFO?
[[nodiscard]] a_bool IsRawDevice(const char * filename);
// Bytes of the file system that `file` is on: those free for this process, and all. Either may be null. FALSE
// for a null `file`; TRUE, with nothing stored, if the file system can't be asked.
a_bool DiskFreeSpace(const char * file, uint64 * pFree, uint64 * pTotal);
// Nothing needs to be done on this system: TRUE.
a_bool MakeDirectoryAccessible(const char * dir_path);

// Moves a file to a name in its own directory that is made of the local date (year, month, day, two digits
// each), a counter from 0, and `newext`, which may be null. The first name that doesn't exist is taken.
// FALSE: no such name fits into a path, or the file can't be moved.
[[nodiscard]] a_bool RenameFileUsingDate(const char * filename, const char * newext);
// Copies a file to a new one, of mode 0644, with such a name, which newFilename gets. FALSE: the name doesn't
// fit, or the file can't be copied; then newFilename is empty and nothing is left behind.
[[nodiscard]] a_bool CopyFileUsingDate(const char * filename, const char * newext, char * newFilename,
                                       size_t newFilenameSize);

// `base`, a `.`, and the number.
a_bool MakeVersionedName(char * result, size_t result_bufsize, const char * base, int version);
// Moves a file out of the way. Below 0 its new name has the extension "old", and a file of that name is
// replaced. At 0 it is the first versioned name that is free, up to number 1,000. Above 0 it is the first
// free one up to num_files; when all are taken, number 1 goes, all others move down by one, and it is the
// last. FALSE: the names don't fit, none is free, or a file can't be moved; files that have been moved stay.
[[nodiscard]] a_bool RenameVersionedFile(const char * active_name, int num_files);

// The directory for temporary files that the environment names: the first of VXTMP16, TMP, TMPDIR and TEMP
// that is set, of which 149 bytes count. The result is the length of what has been stored, 0 if none is set.
size_t UTGetTempDir(char * buffer, size_t bufsize);
// The same, or "/tmp".
size_t UTGetTempDirOrDefault(char * buffer, size_t bufsize);
// A path in that directory which no file has yet: the first five bytes of `prefix`, or of "_T" for null, and
// six characters that vary. Somebody else may take it before its user does, so it has to be created by
// O_EXCL. Empty if it doesn't fit or no name is free.
void GetTempFilename(char * buffer, size_t bufsize, char * prefix);

// The bitness of programs and libraries (ELF).
class UTFileBitnessInfo {
public:
    // A longer path is cut.
    explicit UTFileBitnessInfo(const char * path);
    // 32 or 64; 0 if the file can't be read or is something else.
    [[nodiscard]] int32 getBitness() const;

private:
    char _path[4096];
};
static_assert(sizeof(UTFileBitnessInfo) == 4096);

// ---- Drives

enum unix_drive_type {
    UX_DT_ERROR = 0, // no mount point matches
    UX_DT_UNKNOWN_DRIVE = 1,
    UX_DT_CDROM = 2,
    UX_DT_REMOTE = 3,
    UX_DT_REMOVABLE = 4,
    UX_DT_FIXED = 5,
    UX_DT_RAMDISK = 6
};

// Device and file system type of the mount point, among those in /etc/mtab, that is the longest beginning of
// `filename`, whose links are followed as far as it exists. Of two at the same place the later one counts,
// which hides the other. FALSE: there is none, or the texts don't fit; the outputs then hold nothing of use.
[[nodiscard]] a_bool longest_mount_match(const char * filename, char * dev, size_t dev_len, char * type,
                                         size_t type_len);
// The number, as in st_dev, of the device that `filename` is on, from /proc/partitions. -1: it isn't there.
[[nodiscard]] int64 get_drive(const char * filename);
[[nodiscard]] int64 GetPhysicalDrive(const char * filename);
[[nodiscard]] unix_drive_type get_drive_type_for_filename(const char * name);
// The kind of the drive as a text: "CD", "REMOTE", "REMOVABLE", "FIXED", "RAMDISK", or "UNKNOWN" for all
// others.
a_bool drive_type_prop(const char * name, char * buf, size_t len);

// ---- The time of day

// What FindCurrentTime breaks the time down as.
enum {
    TL_LOCAL = 0, // in the process's time zone
    TL_GLOBAL = 1 // UTC
};

// Stores the current time in *time_buff, all fields of struct tm with those of the zone. `locale` is TL_LOCAL
// or TL_GLOBAL; any other value, or a time that can't be broken down, leaves *time_buff alone.
void FindCurrentTime(struct tm * time_buff, int locale);

// Seconds east of UTC now: those of the zone, and an hour more in daylight time.
[[nodiscard]] int32 GetCurrentTimeZoneAdjustment();
