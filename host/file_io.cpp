#include "file_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>

namespace orvhost {
namespace {

[[nodiscard]] bool make_durable(int fd)
{
    // EINVAL and EROFS are what pipes, terminals and devices answer: there is nothing to be made durable.
    return ::fsync(fd) == 0 || errno == EINVAL || errno == EROFS || errno == ENOTSUP;
}

// A name in the directory being written to, which goes again unless the file was moved to its place.
class TemporaryName {
public:
    TemporaryName(int dir, std::string name) : _dir(dir), _name(std::move(name)) {}
    TemporaryName(const TemporaryName &) = delete;
    TemporaryName & operator=(const TemporaryName &) = delete;
    ~TemporaryName()
    {
        if (!_name.empty()) {
            (void)::unlinkat(_dir, _name.c_str(),
                             0); // best effort: the failure that led here is reported already
        }
    }
    void moved() { _name.clear(); }

private:
    int _dir;
    std::string _name;
};

// UTC, so that names sort by time on a machine whose clock is put back in autumn.
[[nodiscard]] std::string time_stamp()
{
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    char text[32] = "";
    if (::gmtime_r(&now, &utc) == nullptr || std::strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &utc) == 0) {
        return "undated";
    }
    return text;
}

void keep_owner(int fd, const std::string & old_file)
{
    struct stat old {};
    if (::stat(old_file.c_str(), &old) == 0 && (old.st_uid != ::geteuid() || old.st_gid != ::getegid())) {
        // Only an administrator may do this, and nobody else needs it.
        (void)!::fchown(fd, old.st_uid, old.st_gid);
    }
}

} // namespace

bool Fd::close()
{
    const int fd = _fd;
    _fd = -1;
    return fd < 0 || ::close(fd) == 0;
}

std::string with_errno(const std::string & what)
{
    return what + ": " + std::strerror(errno);
}

bool read_all(int fd, const std::string & name, std::string & text, std::string & error)
{
    char block[65536];
    for (;;) {
        const ssize_t got = ::read(fd, block, sizeof block);
        if (got == 0) {
            return true;
        }
        if (got > 0) {
            text.append(block, static_cast<size_t>(got));
        } else if (errno != EINTR) {
            error = with_errno("can't read " + name);
            return false;
        }
    }
}

bool read_file(const std::string & path, std::string & text, std::string & error)
{
    const Fd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.is_open()) {
        error = with_errno("can't open " + path);
        return false;
    }
    return read_all(file.get(), path, text, error);
}

bool write_durably(int fd, const std::string & name, std::string_view text, std::string & error)
{
    while (!text.empty()) {
        const ssize_t put = ::write(fd, text.data(), text.size());
        if (put > 0) {
            text.remove_prefix(static_cast<size_t>(put));
        } else if (put == 0 || errno != EINTR) {
            error = with_errno("can't write " + name);
            return false;
        }
    }
    if (!make_durable(fd)) {
        error = with_errno("can't write " + name);
        return false;
    }
    return true;
}

bool replace_file(const std::string & path, std::string_view text, std::string & error)
{
    std::error_code failed;
    const std::filesystem::path target = std::filesystem::weakly_canonical(path, failed);
    if (failed) {
        error = "can't replace " + path + ": " + failed.message();
        return false;
    }
    const Fd dir(::open(target.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    std::string temporary = target.string() + ".XXXXXX";
    Fd file(dir.is_open() ? ::mkostemp(temporary.data(), O_CLOEXEC) : -1); // mode 0600
    if (!file.is_open()) {
        error = with_errno("can't replace " + path);
        return false;
    }
    TemporaryName guard(AT_FDCWD, temporary);
    keep_owner(file.get(), target.string());
    if (!write_durably(file.get(), temporary, text, error)) {
        return false;
    }
    if (!file.close() || ::rename(temporary.c_str(), target.c_str()) != 0) {
        error = with_errno("can't replace " + path);
        return false;
    }
    guard.moved();
    if (!make_durable(dir.get())) {
        error = with_errno("can't make the new " + path + " durable");
        return false;
    }
    return true;
}

bool OutputDirectory::open(const std::string & path, std::string & error)
{
    _path = path;
    (void)::mkdir(path.c_str(), 0700); // one that can't be made shows at once, as one that can't be opened
    _dir.reset(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!_dir.is_open()) {
        error = with_errno("can't open the directory " + path);
    }
    return _dir.is_open();
}

// The link gives a message no name that could serve, and one made of a stranger's mail wouldn't be safe:
// time, process and a serial are ours, and where they meet an existing file the next serial is taken.
bool OutputDirectory::publish(const std::string & temporary, std::string & name, std::string & error)
{
    const std::string stem = "orv-" + time_stamp() + "-" + std::to_string(::getpid()) + "-";
    constexpr int attempts = 1000; // far more than files of one second and one process
    for (int attempt = 0; attempt < attempts; ++attempt) {
        char serial[16];
        (void)std::snprintf(serial, sizeof serial, "%06u", ++_serial);
        const std::string wanted = stem + serial + ".txt";
        if (::renameat2(_dir.get(), temporary.c_str(), _dir.get(), wanted.c_str(), RENAME_NOREPLACE) == 0) {
            name = wanted;
            return true;
        }
        if (errno != EEXIST) {
            break;
        }
    }
    error = with_errno("can't name a new file in " + _path);
    return false;
}

bool OutputDirectory::store(std::string_view text, std::string & name, std::string & error)
{
    const std::string temporary = ".orv-" + std::to_string(::getpid()) + ".part";
    // Left by a process of the same number that was killed: its message is still in the mailbox.
    (void)::unlinkat(_dir.get(), temporary.c_str(), 0);
    Fd file(::openat(_dir.get(), temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!file.is_open()) {
        error = with_errno("can't create a file in " + _path);
        return false;
    }
    TemporaryName guard(_dir.get(), temporary);
    if (!write_durably(file.get(), _path + "/" + temporary, text, error)) {
        return false;
    }
    if (!file.close()) {
        error = with_errno("can't write a file in " + _path);
        return false;
    }
    std::string published;
    if (!publish(temporary, published, error)) {
        return false;
    }
    guard.moved();
    if (!make_durable(_dir.get())) {
        error = with_errno("can't make " + _path + "/" + published + " durable");
        return false;
    }
    name = published;
    return true;
}

} // namespace orvhost
