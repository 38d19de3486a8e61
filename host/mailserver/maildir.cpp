// The Maildir kind of store.
#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <system_error>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "mailserver/mail_text.h"
#include "mailserver/store.h"

namespace mailserver {

namespace {

[[noreturn]] void fail(const std::string & path)
{
    throw std::system_error(errno, std::generic_category(), path);
}

class Descriptor {
public:
    Descriptor(const std::string & path, int flags)
        : _handle(::open(path.c_str(), flags | O_CLOEXEC, 0600)), _path(path)
    {
        if (_handle < 0)
            fail(path);
    }
    ~Descriptor() { ::close(_handle); }
    Descriptor(const Descriptor &) = delete;
    Descriptor & operator=(const Descriptor &) = delete;

    void write(std::string_view bytes) const
    {
        while (!bytes.empty()) {
            const ssize_t done = ::write(_handle, bytes.data(), bytes.size());
            if (done < 0 && errno != EINTR)
                fail(_path);
            bytes.remove_prefix(done < 0 ? 0 : static_cast<size_t>(done));
        }
    }
    // Appends up to `count` bytes; false at the end of the file.
    bool read(std::string & text, size_t count) const
    {
        const size_t before = text.size();
        text.resize(before + count);
        ssize_t done = 0;
        do
            done = ::read(_handle, text.data() + before, count);
        while (done < 0 && errno == EINTR);
        if (done < 0)
            fail(_path);
        text.resize(before + static_cast<size_t>(done));
        return done > 0;
    }
    void sync() const
    {
        if (::fsync(_handle) != 0)
            fail(_path);
    }

private:
    int _handle;
    std::string _path;
};

void make_folder(const std::string & path)
{
    if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST)
        fail(path);
}

// Names sort in the order of delivery: all numbers in front have a fixed width.
std::string new_name(size_t size)
{
    static std::atomic<unsigned> serial{0};
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    std::array<char, 96> name{};
    const int len =
        std::snprintf(name.data(), name.size(), "%010lld.M%06ldQ%08uP%d.localhost,S=%zu",
                      static_cast<long long>(now.tv_sec), now.tv_nsec / 1000, ++serial, ::getpid(), size);
    return {name.data(), static_cast<size_t>(len)};
}

struct Entry {
    std::string name;
    const char * folder; // "new" or "cur"
    uint64_t size;
};

// The ",S=" part of a file name; mail that another program has put here may lack it and costs a look at the
// file.
uint64_t size_of(const std::string & name, const std::string & folder)
{
    if (const size_t at = name.find(",S="); at != name.npos) {
        uint64_t size = 0;
        if (std::from_chars(name.data() + at + 3, name.data() + name.size(), size).ec == std::errc{})
            return size;
    }
    const std::string path = folder + "/" + name;
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0)
        fail(path);
    return static_cast<uint64_t>(info.st_size);
}

void list_folder(const std::string & base, const char * folder, std::vector<Entry> & entries)
{
    const std::string path = base + "/" + folder;
    const std::unique_ptr<DIR, int (*)(DIR *)> dir(::opendir(path.c_str()), ::closedir);
    if (dir == nullptr)
        fail(path);
    while (const dirent * entry = ::readdir(dir.get())) {
        std::string name = entry->d_name;
        if (!name.starts_with('.')) {
            const uint64_t size = size_of(name, path);
            entries.push_back({std::move(name), folder, size});
        }
    }
}

class MaildirBox : public Mailbox {
public:
    explicit MaildirBox(std::string base) : _base(std::move(base))
    {
        list_folder(_base, "new", _entries);
        list_folder(_base, "cur", _entries);
        std::sort(_entries.begin(), _entries.end(),
                  [](const Entry & left, const Entry & right) { return left.name < right.name; });
    }
    size_t count() const override { return _entries.size(); }
    uint64_t size(size_t mail) const override { return _entries.at(mail).size; }
    // The name without flags and size, which another program may change (":2,S").
    std::string unique_id(size_t mail) const override
    {
        const std::string & name = _entries.at(mail).name;
        return name.substr(0, std::min<size_t>(name.find_first_of(",:"), 70));
    }
    std::string read(size_t mail, std::optional<size_t> body_lines) const override;
    void remove(const std::vector<bool> & deleted) override;

private:
    std::string path_of(const Entry & entry) const { return _base + "/" + entry.folder + "/" + entry.name; }

    std::string _base;
    std::vector<Entry> _entries;
};

std::string MaildirBox::read(size_t mail, std::optional<size_t> body_lines) const
{
    constexpr size_t header_piece = 4096; // holds the headers of most mails, so that TOP n 0 is one read
    const Entry & entry = _entries.at(mail);
    const Descriptor file(path_of(entry), O_RDONLY);
    std::string text;
    for (size_t piece = body_lines ? header_piece : entry.size + 1; file.read(text, piece); piece *= 2) {
        if (const size_t top = body_lines ? top_length(text, *body_lines) : text.size(); top < text.size()) {
            text.resize(top);
            break;
        }
    }
    return text;
}

void MaildirBox::remove(const std::vector<bool> & deleted)
{
    // All are tried before the first failure is told: a mail that is gone already isn't one.
    int error = 0;
    std::string path;
    for (size_t i = 0; i < deleted.size(); ++i) {
        if (deleted[i] && ::unlink(path_of(_entries.at(i)).c_str()) != 0 && errno != ENOENT) {
            error = errno;
            path = path_of(_entries[i]);
        }
    }
    if (error != 0)
        throw std::system_error(error, std::generic_category(), path);
}

} // namespace

MaildirStore::MaildirStore(std::string root, bool sync) : _root(std::move(root)), _sync(sync)
{
    make_folder(_root);
}

std::string MaildirStore::folder_of(const std::string & user)
{
    if (user.empty() || user.starts_with('.') || user.find('/') != user.npos)
        throw std::runtime_error("no folder can have the name of user " + user);
    std::string base = _root + "/" + user;
    const std::lock_guard lock(_made_mutex);
    if (!_made.contains(user)) {
        for (const char * folder : {"", "/tmp", "/new", "/cur"})
            make_folder(base + folder);
        _made.insert(user);
    }
    return base;
}

void MaildirStore::deliver(const std::string & user, std::string_view mail)
{
    const std::string base = folder_of(user);
    const std::string name = new_name(mail.size());
    const std::string temporary = base + "/tmp/" + name;
    try {
        const Descriptor file(temporary, O_WRONLY | O_CREAT | O_EXCL);
        file.write(mail);
        if (_sync)
            file.sync();
        if (::rename(temporary.c_str(), (base + "/new/" + name).c_str()) != 0)
            fail(temporary);
    } catch (const std::system_error &) {
        ::unlink(temporary.c_str());
        throw;
    }
    if (_sync)
        Descriptor(base + "/new", O_RDONLY | O_DIRECTORY).sync();
}

std::unique_ptr<Mailbox> MaildirStore::open_unlocked(const std::string & user)
{
    return std::make_unique<MaildirBox>(folder_of(user));
}

} // namespace mailserver
