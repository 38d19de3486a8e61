// Where the files of an installation are: from a bare name to a full path.
//
// No path is built into the library. A file is looked for in directories that the running program, the
// environment and the user's home name, and below each of them where its class of file usually lies. The
// first candidate that is there and that the caller's callback takes is the result.
//
// A search gives the length of the path that it has found, and stores the path if it fits in the caller's
// buffer with its terminator; if it doesn't fit the buffer stays as it is. 0: nothing was found, and the
// buffer is empty. A candidate longer than a path can be is passed over.
//
// Units: bytes; sizes count the terminator, lengths don't. Ownership: the caller's buffers; only
// LS_GetExecFileName allocates, for its own length. Failure: results; nothing is reported, and what can't be
// read is passed over. Threads: any, but the environment is read, so nobody may change it at the same time.
#pragma once

#include "utils/etc/uttypes.h"

class UTCollation;

// Classes of file, one bit each, as far as the search tells them apart.
enum {
    LS_PROGRAM = 1,  // not looked for in the current directory as such; nor are the next one and LS_INSTALLED
    LS_LIBRARY = 2,  // LD_LIBRARY_PATH goes before PATH
    LS_RESOURCE = 8, // language files, the conversion file
    LS_DIRECTORY = 128,      // directories are taken, too
    LS_BESIDE_PROGRAM = 512, // in the program's own directory, not below it, and nowhere else
    LS_INSTALLED = 1024      // not along path variables
};

// Flag of LS_QualifyOrvAnyFile: not along path variables.
constexpr uint32 LS_NO_PATH_VARIABLES = 4;

// The last word on a candidate that is there: FALSE makes the search go on.
using a_qualify_cb = a_bool (*)(int type, const char * path);

// Directories below those of a search, in the order in which they are tried.
struct _locations {
    int when;              // the classes that lie there
    const char * rel_path; // with a slash at its end
};
constexpr size_t NUM_LOCATIONS = 22; // with the row that ends the table, whose `when` is 0
extern const _locations unix_locations[NUM_LOCATIONS];

// The arguments of the process, for programs that store them; null otherwise. The library doesn't.
extern char ** _argv;

// The whole search: the program's directory, that of _argv, the installation root, the current directory, the
// user's directory, and the path variables, as far as `type` and `flags` have them.
[[nodiscard]] size_t LS_QualifyOrvAnyFile(int type, const char * base_name, char * qualified_name,
                                          size_t qualified_len, a_qualify_cb callback, uint32 flags);

// The search under one directory: in it, in what realpath makes of it, and in the rows of unix_locations
// below it. Without a name, a directory or a buffer nothing is found.
[[nodiscard]] size_t LS_SearchDir(int type, const char * base_name, const char * base_dir,
                                  char * qualified_name, size_t qualified_len, a_qualify_cb callback);

// The search along one path variable, from a name that is there as it stands on: that one is made a full path
// without asking the callback. Double quotes in the variable don't count. `buffer` gets the path; it is empty
// if nothing is found or it doesn't fit.
void _local_searchenv(const char * name, const char * env_var, char * buffer, size_t buffer_size, int type,
                      a_qualify_cb callback);

// The usual callback: takes all but libraries that aren't for 64 bits.
a_bool defaultQualifyCB(int type, const char * path);

// The path of the running program and the directory it lies in, with a slash at its end; when the system
// doesn't tell, as it was called, cut to what fits. The results are lengths; 0, with an empty `buff`:
// unknown.
size_t LS_GetExecFileName(const UTCollation & os_collation, char * buff, size_t buff_size);
size_t LS_GetExecFileName(char * buff, size_t buff_size);
size_t LS_GetPathFromExecName(const UTCollation & os_collation, char * buff, size_t buff_size);
size_t LS_GetPathFromExecName(char * buff, size_t buff_size);

// The user's own directory, in the home directory. Without `create` it need not exist; with it, it is made
// for want of one, and the result tells whether it is a directory that may be written to. FALSE otherwise:
// there is no home, or the path doesn't fit, and `buffer` is empty.
[[nodiscard]] a_bool LS_GetOrvAnyUserAppDataPath(char * buffer, size_t buff_size, a_bool create);

// The installation root that the environment names, without slashes at its end; empty if there is none, or,
// with errno ENAMETOOLONG, if it is longer than 4095 bytes. `path` holds 4096 bytes at least.
void GetInstallationRoot(char * path);
// The same from the variable KELMOR, which no search looks at.
void GetKelmorInstallationRoot(char * path);
