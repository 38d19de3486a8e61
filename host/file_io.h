// file_io.h - files whose loss would be lost data: whole reads, checked writes, replacement in one step.
//
// Every function that returns false has put the reason, with the file's name, into `error`; nothing else was
// changed and no temporary file is left behind. Sizes are in bytes. Any thread.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

namespace orvhost {

// Owns a file descriptor; -1 is none.
class Fd {
public:
    explicit Fd(int fd = -1) : _fd(fd) {}
    Fd(const Fd &) = delete;
    Fd & operator=(const Fd &) = delete;
    ~Fd() { (void)close(); }
    [[nodiscard]] int get() const { return _fd; }
    [[nodiscard]] bool is_open() const { return _fd >= 0; }
    void reset(int fd)
    {
        (void)close(); // nothing was written through a descriptor that is replaced
        _fd = fd;
    }
    // Gives the descriptor back early: on network file systems a failed write may show only here.
    bool close();

private:
    int _fd;
};

// `what` and the text of errno, as messages show it.
[[nodiscard]] std::string with_errno(const std::string & what);

// Reads up to the end of the file. After a failure `text` holds what came before it.
[[nodiscard]] bool read_all(int fd, const std::string & name, std::string & text, std::string & error);
[[nodiscard]] bool read_file(const std::string & path, std::string & text, std::string & error);

// Writes all of `text` and makes it durable where the descriptor is a file: pipes and terminals have no
// fsync, which is no failure.
[[nodiscard]] bool write_durably(int fd, const std::string & name, std::string_view text,
                                 std::string & error);

// Puts `text` in the place of the file `path` in one step: a reader, or a machine that fails in between, sees
// the whole old or the whole new file. The new one has mode 0600 and, where that is allowed, the owner of the
// old one. A symbolic link stays, and the file that it names is replaced.
[[nodiscard]] bool replace_file(const std::string & path, std::string_view text, std::string & error);

// Directory that receives one new file for each text.
class OutputDirectory {
public:
    // Makes the directory if it isn't there, for its owner only; the one above it must exist.
    [[nodiscard]] bool open(const std::string & path, std::string & error);

    // Stores `text` in a new file and returns when file and name are on the disk. No existing file is
    // touched, and a file that shows under its final name is whole. `name` is the file's name, unchanged on
    // failure.
    [[nodiscard]] bool store(std::string_view text, std::string & name, std::string & error);

private:
    [[nodiscard]] bool publish(const std::string & temporary, std::string & name, std::string & error);

    std::string _path;
    Fd _dir;
    unsigned int _serial = 0;
};

} // namespace orvhost
