// The search for files under a hostile environment, on the file system as it is, from its root. What is found
// is there, has been offered to the callback or stands in the current directory, and gets into the buffer if
// it fits; a second search with a buffer of another size finds the same.
//
// Input: a byte for the class, one for the flags, one for the candidate that the callback takes, one for the
// number of bytes by which the buffer of the second search is shorter or longer than the path; then texts up
// to zero bytes: the name, VXDIR16, VX16, HOME, PATH, LD_LIBRARY_PATH. A variable whose text is missing is
// not set.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <unistd.h>

#include "require.h"
#include "utils/lang/wlangnam.h"

namespace {

constexpr int classes[] = {LS_RESOURCE, LS_LIBRARY,   LS_PROGRAM, LS_BESIDE_PROGRAM,         LS_INSTALLED,
                           4,           LS_DIRECTORY, 256,        LS_RESOURCE | LS_DIRECTORY};
constexpr const char * variables[] = {"VXDIR16", "VX16", "HOME", "PATH", "LD_LIBRARY_PATH"};
constexpr size_t path_size = 4097;

// A broken promise ends the run with the input kept.
int countdown;
std::string taken;

a_bool take_one(int type, const char * path)
{
    require(access(path, F_OK) == 0);
    if (countdown-- != 0 || !defaultQualifyCB(type, path)) {
        return FALSE;
    }
    taken = path;
    return TRUE;
}

// The text up to the next zero byte; false if there is none.
bool next_text(std::string & rest, std::string & text)
{
    if (rest.empty()) {
        return false;
    }
    text = rest.c_str();
    rest.erase(0, text.size() + 1);
    return true;
}

struct Search {
    int type;
    uint32 flags;
    int nth;
    std::string name;

    size_t operator()(char * buffer, size_t size) const
    {
        countdown = nth;
        taken.clear();
        return LS_QualifyOrvAnyFile(type, name.c_str(), buffer, size, take_one, flags);
    }
};

void search_twice(const Search & search, int more)
{
    char path[path_size];
    const size_t len = search(path, sizeof(path));
    require(len < sizeof(path) && std::strlen(path) == len);
    require(len == 0 || access(path, F_OK) == 0);
    require(taken.empty() || taken == path);
    const size_t size = more >= 0 || len >= static_cast<size_t>(-more) ? len + static_cast<size_t>(more) : 0;
    const std::unique_ptr<char[]> tight(new char[size]);
    std::memset(tight.get(), 0x55, size);
    require(search(tight.get(), size) == len);
    if (len < size) {
        require(std::memcmp(tight.get(), path, len + 1) == 0);
    } else {
        for (size_t i = 0; i < size; i++) {
            require(tight[i] == 0x55);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * data, std::size_t size)
{
    constexpr size_t head = 4;
    if (size < head || chdir("/") != 0) {
        return 0;
    }
    std::string rest(reinterpret_cast<const char *>(data) + head, size - head);
    Search search = {classes[data[0] % (sizeof(classes) / sizeof(classes[0]))], data[1], data[2] % 8, ""};
    (void)next_text(rest, search.name);
    for (const char * variable : variables) {
        std::string text;
        if (next_text(rest, text)) {
            setenv(variable, text.c_str(), 1);
        } else {
            unsetenv(variable);
        }
    }
    char root[4096];
    GetInstallationRoot(root);
    require(std::strlen(root) < sizeof(root) && (root[0] == '\0' || root[std::strlen(root) - 1] != '/'));
    search_twice(search, static_cast<int>(data[3] % 5) - 2);
    return 0;
}
