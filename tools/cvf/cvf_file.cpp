#include "tools/cvf/cvf_file.h"

#include <algorithm>
#include <map>

namespace {

constexpr uint32 HAS_BYTEMAP = 1u << 30;
constexpr a_utf16 HOLE = 0xFFFD; // a byte that holds nothing

void put_number(std::vector<a_byte> & file, size_t number)
{
    for (int shift = 0; shift < 32; shift += 8) {
        file.push_back(static_cast<a_byte>(number >> shift & 0xFF));
    }
}

void put_text(std::vector<a_byte> & file, const std::string & text)
{
    file.push_back(static_cast<a_byte>(text.size()));
    file.insert(file.end(), text.begin(), text.end());
}

void set_number(std::vector<a_byte> & file, size_t at, size_t number)
{
    std::vector<a_byte> bytes;
    put_number(bytes, number);
    std::copy(bytes.begin(), bytes.end(), file.begin() + static_cast<ptrdiff_t>(at));
}

// The byte for a Unicode value.
a_byte find_byte(const CharsetInfo & dest, a_utf16 value)
{
    if (value < CVF_MAP_SIZE) {
        return static_cast<a_byte>(value);
    }
    const a_utf16 * const begin = dest.to_utf16_upper128();
    const a_utf16 * const end = begin + CVF_MAP_SIZE;
    const a_utf16 * const found = value == HOLE ? end : std::find(begin, end, value);
    return found == end ? dest._substitution_character[0]
                        : static_cast<a_byte>(CVF_MAP_SIZE + static_cast<size_t>(found - begin));
}

// Reads from the front of what is left; a read that falls short spoils all later ones.
class Reader {
public:
    explicit Reader(std::span<const a_byte> bytes) : _left(bytes) {}

    std::span<const a_byte> take(size_t size)
    {
        _is_good = _is_good && size <= _left.size();
        const auto taken = _left.first(_is_good ? size : 0);
        _left = _left.subspan(taken.size());
        return taken;
    }
    uint32 number()
    {
        uint32 value = 0;
        const auto bytes = take(4);
        for (size_t i = 0; i < bytes.size(); i++) {
            value |= uint32{bytes[i]} << 8 * i;
        }
        return value;
    }
    std::string text()
    {
        const auto length = take(1);
        const auto bytes = take(length.empty() ? 0 : length[0]);
        return {bytes.begin(), bytes.end()};
    }
    [[nodiscard]] bool is_good() const { return _is_good; }

private:
    std::span<const a_byte> _left;
    bool _is_good = true;
};

} // namespace

CvfMap make_cvf_map(const CharsetInfo & dest, const CharsetInfo & src)
{
    CvfMap map;
    std::transform(src.to_utf16_upper128(), src.to_utf16_upper128() + CVF_MAP_SIZE, map.begin(),
                   [&dest](a_utf16 value) { return find_byte(dest, value); });
    return map;
}

std::vector<a_byte> make_cvf_file(std::span<const CharsetInfo * const> charsets)
{
    std::vector<a_byte> file;
    put_number(file, 0); // where the matrix is: filled in below
    put_text(file, CVF_VERSION);
    put_number(file, charsets.size());
    for (const CharsetInfo * charset : charsets) {
        put_text(file, charset->orv_label());
    }
    set_number(file, 0, file.size());
    size_t cell = file.size();
    file.resize(file.size() + charsets.size() * charsets.size() * sizeof(CvfHeaderRec));
    std::map<CvfMap, size_t> places; // many pairs share a map
    for (const CharsetInfo * src : charsets) {
        for (const CharsetInfo * dest : charsets) {
            if (src != dest) {
                const CvfMap map = make_cvf_map(*dest, *src);
                const auto [place, is_new] = places.try_emplace(map, file.size());
                if (is_new) {
                    file.insert(file.end(), map.begin(), map.end());
                }
                set_number(file, cell, place->second | HAS_BYTEMAP);
            }
            cell += sizeof(CvfHeaderRec);
        }
    }
    return file;
}

std::optional<a_cvf_contents> parse_cvf_file(std::span<const a_byte> file)
{
    Reader head(file);
    a_cvf_contents contents;
    const size_t header_pos = head.number();
    contents.info = head.text();
    const size_t count = head.number();
    if (contents.info.find(CVF_VERSION) == std::string::npos || count == 0 || count > file.size()) {
        return std::nullopt;
    }
    for (size_t i = 0; i < count && head.is_good(); i++) {
        contents.names.push_back(head.text());
    }
    if (!head.is_good() || header_pos > file.size() ||
        count * count > (file.size() - header_pos) / sizeof(CvfHeaderRec)) {
        return std::nullopt;
    }
    Reader matrix(file.subspan(header_pos));
    for (size_t i = 0; i < count * count; i++) {
        const CvfHeaderRec cell = {matrix.number()};
        if (cell.isBytemap() != 0 && cell.tablePos() + CVF_MAP_SIZE > file.size()) {
            return std::nullopt;
        }
        contents.cells.push_back(cell);
    }
    return contents;
}
