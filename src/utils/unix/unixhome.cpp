#include "utils/unix/unixhome.h"

#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace {

// Entries with longer texts aren't found; what systems suggest for one is about as much.
constexpr int PASSWD_BUFFER_SIZE = 1024;

void take_directory(char * home, const char * value)
{
    size_t len = std::strlen(value);
    if (len != 0 && value[len - 1] == '/') {
        --len;
    }
    std::memcpy(home, value, len); // `home` is promised to be big enough
    home[len] = '\0';
}

} // namespace

a_bool get_user_home_directory(char * home, a_bool ignoreEnv)
{
    home[0] = '\0';
    const char * from_env = ignoreEnv ? nullptr : getenv("HOME");
    if (from_env != nullptr) {
        take_directory(home, from_env);
        return TRUE;
    }
    struct passwd entry = {};
    char texts[PASSWD_BUFFER_SIZE];
    const struct passwd * found = unix_getpwuid(getuid(), &entry, texts, sizeof(texts));
    if (found == nullptr || found->pw_dir == nullptr || found->pw_dir[0] == '\0') {
        return FALSE;
    }
    take_directory(home, found->pw_dir);
    return TRUE;
}

a_bool get_true_user_home_directory(char * home)
{
    return get_user_home_directory(home, TRUE);
}

struct passwd * unix_getpwuid(uid_t uid, struct passwd * pwd, char * buffer, int buflen)
{
    struct passwd * found = nullptr;
    if (buflen < 0 || getpwuid_r(uid, pwd, buffer, static_cast<size_t>(buflen), &found) != 0) {
        return nullptr;
    }
    return found;
}
