// Path operations over hostile paths in several character sets, in buffers of the exact size, each held
// against a plain walk over the characters.
//
// Input: one byte that chooses the collation, one for the platform, two for the size of the output, then the
// extension up to a zero byte, then the path up to its first zero byte.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "require.h"
#include "utils/etc/fileutil.h"
#include "utils/etc/utcollation.h"
#include "utils/locale/tailoring.h"

namespace {

constexpr size_t max_output = 4200;

// One character set of single bytes, and those of several that stand in file names.
constexpr const char * labels[] = {"1252LATIN1", "932JPN",    "950TWN", "949KOR",
                                   "936ZHO",     "EUC_JAPAN", "UTF8BIN"};

// A broken promise ends the run with the input kept.
void set_to(UTCollation & collation, const char * label)
{
    const CollationInfo * const row = UTLocale::GetCollationInfoFromLabel(label);
    if (row != nullptr) {
        (void)collation.set_collation(nullptr, row, row->required_charset(), nullptr, UTCollationTailoring(),
                                      FALSE);
    }
}

// A text in a block of the exact size, so that a sanitizer sees the first byte read or written behind it.
class Block {
public:
    Block(const std::string & text, size_t size) : _bytes(new char[size]), _size(size)
    {
        std::memset(_bytes.get(), 0x55, size);
        if (size > text.size()) {
            std::memcpy(_bytes.get(), text.c_str(), text.size() + 1);
        }
    }
    explicit Block(const std::string & text) : Block(text, text.size() + 1) {}
    [[nodiscard]] char * get() const { return _bytes.get(); }
    [[nodiscard]] size_t size() const { return _size; }
    [[nodiscard]] std::string text() const
    {
        const void * const end = std::memchr(_bytes.get(), 0, _size);
        require(end != nullptr); // always terminated
        return _bytes.get();
    }
    // Where `p` points to; npos for null.
    [[nodiscard]] size_t at(const char * p) const
    {
        return p != nullptr ? static_cast<size_t>(p - _bytes.get()) : std::string::npos;
    }

private:
    std::unique_ptr<char[]> _bytes;
    size_t _size;
};

class Paths {
public:
    Paths(const UTCollation & collation, std::string path, std::string extension, int platform, size_t size)
        : _collation(collation), _path(std::move(path)), _extension(std::move(extension)),
          _platform(platform), _size(size)
    {
    }

    void run()
    {
        find();
        cut();
        append();
        extend();
        names();
        whole();
    }

private:
    // The places of single-byte characters of `set`.
    [[nodiscard]] std::vector<size_t> places(const std::string & set) const
    {
        std::vector<size_t> found;
        for (size_t i = 0; i < _path.size(); i += _collation.nbytes_in_char(_path[i])) {
            if (_collation.nbytes_in_char(_path[i]) == 1 && set.find(_path[i]) != std::string::npos) {
                found.push_back(i);
            }
        }
        return found;
    }
    [[nodiscard]] std::vector<size_t> separators(int platform) const
    {
        return places(platform == 0 || platform == 1 ? "/" : platform == 2 ? "/\\:" : "");
    }
    [[nodiscard]] size_t name_start() const
    {
        const auto slashes = places("/");
        return slashes.empty() ? 0 : slashes.back() + 1;
    }
    // Where the extension begins; the end of the path if there is none.
    [[nodiscard]] size_t name_end() const
    {
        const auto dots = places(".");
        return dots.empty() || dots.back() < name_start() ? _path.size() : dots.back();
    }

    void find() const
    {
        const Block path(_path);
        const auto expected = separators(_platform);
        const size_t none = std::string::npos;
        require(path.at(FindNextPathSeparator(_collation, path.get(), _platform)) ==
                (expected.empty() ? none : expected.front()));
        require(path.at(FindLastPathSeparator(_collation, path.get(), _platform)) ==
                (expected.empty() ? none : expected.back()));
        require(path.at(FindFilename(_collation, path.get(), _platform)) ==
                (expected.empty() ? 0 : expected.back() + 1));
        const auto slashes = places("/");
        require(path.at(FindNextUNCSeparator(_collation, path.get())) ==
                (slashes.empty() ? none : slashes.front()));
        require(path.at(FindExtensionSeparator(_collation, path.get())) ==
                (name_end() == _path.size() ? none : name_end()));
        (void)IsRelativeToParent(_collation, path.get());
        (void)IsFullyQualifiedPathname(path.get());
    }

    void cut() const
    {
        const Block path(_path);
        require(RemoveFilename(_collation, path.get()) == path.get());
        require(path.text() == _path.substr(0, name_start()));
        const Block slash(_path);
        RemoveTrailingSlash(_collation, slash.get());
        const bool is_cut = name_start() == _path.size() && places("/").size() > 1;
        require(slash.text() == (is_cut ? _path.substr(0, _path.size() - 1) : _path));
    }

    void append() const
    {
        const Block path(_path, _path.size() + 1 + _size % 3);
        size_t remaining = 0;
        const char * const end = AppendPathSeparator(_collation, path.get(), path.size(), &remaining);
        const bool has_one = !_path.empty() && name_start() == _path.size();
        const std::string wanted = has_one ? _path : _path + "/";
        require(path.text() == wanted.substr(0, path.size() - 1));
        require(path.at(end) + remaining == path.size());
    }

    void extend() const
    {
        const std::string dotted = _extension[0] == '.' ? _extension : "." + _extension;
        const Block path(_path, _path.size() + 1 + _size);
        const std::string wanted = _path.substr(0, name_end()) + dotted;
        const a_bool whole = ReplaceExtension(_collation, path.get(), path.size(), _extension.c_str());
        require(path.text() == wanted.substr(0, path.size() - 1));
        require((whole != FALSE) == (wanted.size() < path.size()));
        const Block kept(_path, _path.size() + 1 + _size);
        (void)AppendExtension(_collation, kept.get(), kept.size(), _extension.c_str());
        require(name_end() == _path.size() || kept.text() == _path);
        const Block bare(_path);
        require(ReplaceExtension(_collation, bare.get(), bare.size(), nullptr) != FALSE);
        require(bare.text() == _path.substr(0, name_end()));
    }

    void names() const
    {
        const Block name("", _size);
        const std::string whole = _path.substr(name_start());
        const std::string bare = _path.substr(name_start(), name_end() - name_start());
        require((GetFilename(_collation, _path.c_str(), name.get(), _size) != FALSE) ==
                (whole.size() < _size));
        require(_size == 0 || name.text() == whole.substr(0, _size - 1));
        require((GetFilenameNoExtension(_collation, _path.c_str(), name.get(), _size) != FALSE) ==
                (bare.size() < _size));
        require(_size == 0 || name.text() == bare.substr(0, _size - 1));
    }

    // Under the collation of the process. What has been cleaned stays as it is.
    void whole() const
    {
        const Block clean("", _size);
        if (!SanitizePath(clean.get(), _size, _path.c_str())) {
            require(_size == 0 || clean.text().size() < _size);
            return;
        }
        const std::string once = clean.text();
        require(once[0] == '/');
        const Block again("", _size);
        require(SanitizePath(again.get(), _size, once.c_str()) != FALSE && again.text() == once);
    }

    const UTCollation & _collation;
    std::string _path;
    std::string _extension;
    int _platform;
    size_t _size;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * data, std::size_t size)
{
    constexpr size_t head = 4;
    if (size < head) {
        return 0;
    }
    UTCollation collation(nullptr);
    set_to(collation, labels[data[0] % (sizeof(labels) / sizeof(labels[0]))]);
    const int platform = data[1] % 5 - 1;
    const size_t output = (data[2] + 256u * data[3]) % max_output;
    const std::string texts(reinterpret_cast<const char *>(data) + head, size - head);
    const std::string extension = texts.c_str();
    const size_t rest = std::min(extension.size() + 1, texts.size());
    Paths(collation, texts.substr(rest).c_str(), extension, platform, output).run();
    return 0;
}
