#include "tools/lang/res_file.h"

#include <algorithm>
#include <numeric>
#include <set>

namespace {

constexpr unsigned number_bits = 16;
constexpr std::size_t entry_size = 4;

// Bits of a number that levels behind the first `count` ones select.
unsigned bits_below(const a_level_bits & levels, std::size_t count)
{
    return number_bits -
           std::accumulate(levels.begin(), levels.begin() + static_cast<std::ptrdiff_t>(count), 0u);
}

std::size_t level_count(const a_level_bits & levels)
{
    return static_cast<std::size_t>(std::find(levels.begin(), levels.end(), 0) - levels.begin());
}

// All tables together. Records take the same room under any levels.
std::size_t tables_size(const a_string_map & strings, const a_level_bits & levels)
{
    std::size_t size = 0;
    for (std::size_t level = 0; level < level_count(levels); ++level) {
        std::set<unsigned> tables;
        if (level == 0) {
            tables.insert(0); // there without a string, too
        }
        for (const auto & [id, text] : strings) {
            tables.insert(static_cast<unsigned>(id) >> bits_below(levels, level));
        }
        size += tables.size() * (entry_size << levels[level]);
    }
    return size;
}

// Every way to split 16 into one to four widths, those with fewer levels first.
std::vector<a_level_bits> all_levels()
{
    std::vector<a_level_bits> found;
    for (unsigned a = 1; a <= number_bits; ++a) {
        for (unsigned b = 0; b <= number_bits - a; ++b) {
            for (unsigned c = 0; c <= (b != 0 ? number_bits - a - b : 0); ++c) {
                const unsigned d = number_bits - a - b - c;
                if (d == 0 || c != 0) {
                    found.push_back({static_cast<std::uint8_t>(a), static_cast<std::uint8_t>(b),
                                     static_cast<std::uint8_t>(c), static_cast<std::uint8_t>(d)});
                }
            }
        }
    }
    std::stable_sort(found.begin(), found.end(), [](const a_level_bits & one, const a_level_bits & other) {
        return level_count(one) < level_count(other);
    });
    return found;
}

class Writer {
public:
    Writer(const a_string_map & strings, const a_level_bits & levels) : _levels(levels)
    {
        put(0, res_signature, 4);
        put(4, res_endian_detect, 4);
        put(8, res_format_version, 4);
        std::copy(levels.begin(), levels.end(), _bytes.begin() + 12);
        put(16, res_header_size, 4);
        const std::size_t root = add_table(0);
        for (const auto & [id, text] : strings) {
            _places.emplace_back(place_of(root, id), &text);
        }
        // Records stand behind all tables, whose entries thus stay aligned.
        for (const auto & [place, text] : _places) {
            put(place, static_cast<std::uint32_t>(add_record(*text)), entry_size);
        }
    }

    std::vector<std::uint8_t> take() { return std::move(_bytes); }

private:
    void put(std::size_t offset, std::uint32_t value, std::size_t size)
    {
        for (std::size_t i = 0; i < size; ++i) {
            _bytes[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
        }
    }

    [[nodiscard]] std::uint32_t entry(std::size_t offset) const
    {
        std::uint32_t value = 0;
        for (std::size_t i = entry_size; i-- > 0;) {
            value = value << 8 | _bytes[offset + i];
        }
        return value;
    }

    std::size_t add_table(std::size_t level)
    {
        const std::size_t offset = _bytes.size();
        _bytes.resize(offset + (entry_size << _levels[level]));
        return offset;
    }

    // Where the record's offset belongs: an entry of a table of the last level.
    std::size_t place_of(std::size_t root, unsigned id)
    {
        std::size_t table = root;
        for (std::size_t level = 0;; ++level) {
            const unsigned index = id >> bits_below(_levels, level + 1) & ((1u << _levels[level]) - 1);
            const std::size_t place = table + index * entry_size;
            if (level + 1 == level_count(_levels)) {
                return place;
            }
            if (entry(place) == 0) {
                const std::size_t next = add_table(level + 1);
                put(place, static_cast<std::uint32_t>(next), entry_size);
            }
            table = entry(place);
        }
    }

    std::size_t add_record(const std::string & text)
    {
        const auto known = _records.find(text);
        if (known != _records.end()) {
            return known->second;
        }
        _bytes.resize(_bytes.size() + _bytes.size() % 2); // the length is read as a whole
        const std::size_t offset = _bytes.size();
        _bytes.resize(offset + 2);
        put(offset, static_cast<std::uint32_t>(text.size()), 2);
        _bytes.insert(_bytes.end(), text.begin(), text.end());
        _records.emplace(text, offset);
        return offset;
    }

    const a_level_bits _levels;
    std::vector<std::uint8_t> _bytes = std::vector<std::uint8_t>(res_header_size);
    std::vector<std::pair<std::size_t, const std::string *>> _places;
    std::map<std::string, std::size_t> _records;
};

class Reader {
public:
    explicit Reader(std::span<const std::uint8_t> file) : _file(file) {}

    a_res_contents take()
    {
        if (header_is_good()) {
            read_table(0, number(16, 4), 0);
        }
        return std::move(_result);
    }

private:
    void fault(const std::string & text)
    {
        constexpr std::size_t most_faults = 100; // every entry of a hostile file can be one
        if (_result.faults.size() < most_faults) {
            _result.faults.push_back(text);
        }
    }

    [[nodiscard]] std::uint32_t number(std::size_t offset, std::size_t size) const
    {
        std::uint32_t value = 0;
        for (std::size_t i = size; i-- > 0;) {
            value = value << 8 | _file[offset + i];
        }
        return value;
    }

    bool header_is_good()
    {
        if (_file.size() < res_header_size) {
            fault("shorter than a header");
            return false;
        }
        if (number(0, 4) != res_signature || number(4, 4) != res_endian_detect ||
            number(8, 4) != res_format_version) {
            fault("not a language file of this format and byte order");
            return false;
        }
        a_level_bits & levels = _result.levels;
        std::copy_n(_file.begin() + 12, levels.size(), levels.begin());
        const std::size_t used = level_count(levels);
        if (std::accumulate(levels.begin(), levels.end(), 0u) != number_bits ||
            bits_below(levels, used) != 0) {
            fault("the widths of the levels aren't 16 bits together, unused levels last");
            return false;
        }
        return true;
    }

    [[nodiscard]] bool inside(std::size_t offset, std::size_t size) const
    {
        return offset >= res_header_size && offset <= _file.size() && size <= _file.size() - offset;
    }

    // `first` is the lowest number below this table. Levels end, so a circle of offsets does.
    void read_table(std::size_t level, std::size_t offset, unsigned first)
    {
        const std::size_t entries = std::size_t{1} << _result.levels[level];
        if (!inside(offset, entries * entry_size)) {
            fault("the table of level " + std::to_string(level + 1) + " for numbers from " +
                  std::to_string(first) + " isn't inside the file: offset " + std::to_string(offset));
            return;
        }
        const unsigned below = bits_below(_result.levels, level + 1);
        for (std::size_t i = 0; i < entries; ++i) {
            const std::uint32_t next = number(offset + i * entry_size, entry_size);
            const unsigned id = first | static_cast<unsigned>(i << below);
            if (next != 0 && below != 0) {
                read_table(level + 1, next, id);
            } else if (next != 0) {
                read_record(next, id);
            }
        }
    }

    void read_record(std::size_t offset, unsigned id)
    {
        const bool has_length = inside(offset, 2);
        const std::size_t length = has_length ? number(offset, 2) : 0;
        if (!has_length || !inside(offset, 2 + length)) {
            fault(std::to_string(id) + ": its record isn't inside the file: offset " +
                  std::to_string(offset) + ", length " + std::to_string(length));
            return;
        }
        const auto * const text = reinterpret_cast<const char *>(_file.data() + offset + 2);
        _result.strings.emplace(static_cast<std::uint16_t>(id), std::string_view(text, length));
    }

    const std::span<const std::uint8_t> _file;
    a_res_contents _result;
};

} // namespace

a_level_bits smallest_levels(const a_string_map & strings)
{
    const std::vector<a_level_bits> candidates = all_levels();
    return *std::min_element(candidates.begin(), candidates.end(),
                             [&strings](const a_level_bits & one, const a_level_bits & other) {
                                 return tables_size(strings, one) < tables_size(strings, other);
                             });
}

std::vector<std::uint8_t> make_res_file(const a_string_map & strings, const a_level_bits & levels)
{
    return Writer(strings, levels).take();
}

a_res_contents read_res_file(std::span<const std::uint8_t> file)
{
    return Reader(file).take();
}
