// Language resource files by hand, so that a fault of the tool that writes them doesn't hide one of the
// reader.
#pragma once

#include <array>
#include <cstring>
#include <map>
#include <string>
#include <utility>

#include "utils/etc/uttypes.h"

using LangStrings = std::map<uint16, std::string>;

struct a_resource_layout {
    std::array<a_byte, 4> level_bits = {8, 8, 0, 0};
    std::string padding = {}; // between header and root table
};

// The content of a file.
class ResourceImage {
public:
    explicit ResourceImage(const LangStrings & strings, const a_resource_layout & layout = {})
        : _strings(strings), _bits(layout.level_bits)
    {
        put32(0x4F534552);
        put32(0x12345678);
        put32(0);
        for (const a_byte bits : _bits) {
            _bytes += static_cast<char>(bits);
        }
        put32(static_cast<uint32>(20 + layout.padding.size()));
        _bytes += layout.padding;
        (void)table(0, 0, 16); // the root, whose place the header tells
    }

    [[nodiscard]] const std::string & bytes() const { return _bytes; }

private:
    void put32(uint32 number) { _bytes.append(reinterpret_cast<const char *>(&number), sizeof(number)); }

    // Writes the table of `level` for the numbers that begin with the 16 - `left` bits of `prefix`, or,
    // behind the last level, the record. Result: its offset.
    uint32 table(unsigned level, uint32 prefix, unsigned left)
    {
        const auto offset = static_cast<uint32>(_bytes.size());
        if (left == 0) {
            const std::string & text = _strings.at(static_cast<uint16>(prefix));
            const auto length = static_cast<uint16>(text.size());
            _bytes.append(reinterpret_cast<const char *>(&length), sizeof(length)) += text;
            return offset;
        }
        const unsigned bits = _bits[level];
        _bytes.append(sizeof(uint32) << bits, '\0');
        for (uint32 index = 0; index < 1u << bits; ++index) {
            const uint32 below = prefix | index << (left - bits);
            const auto next = _strings.lower_bound(static_cast<uint16>(below));
            if (next != _strings.end() && uint32{next->first} - below < 1u << (left - bits)) {
                const uint32 entry = table(level + 1, below, left - bits);
                std::memcpy(&_bytes[offset + sizeof(entry) * index], &entry, sizeof(entry));
            }
        }
        return offset;
    }

    const LangStrings & _strings;
    const std::array<a_byte, 4> _bits;
    std::string _bytes;
};

// A file's content with version and character set.
inline std::string resource_file(LangStrings strings, const std::string & version = "160",
                                 const std::string & charset = "UTF-8")
{
    strings[5000] = version;
    strings[8643] = "charset=" + charset + ";language=xx";
    return ResourceImage(strings).bytes();
}
