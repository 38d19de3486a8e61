// Blocks of the exact size, so that a sanitizer sees the first byte read or written outside, and streams over
// memory that show no buffer.
#pragma once

#include <algorithm>
#include <limits>
#include <memory>
#include <vector>

#include "utils/etc/utstream.h"

using Bytes = std::vector<a_byte>;

class Block {
public:
    static constexpr a_byte FILLING = 0x5A;

    explicit Block(const Bytes & content, bool terminated = false)
        : _bytes(new a_byte[content.size() + (terminated ? 1 : 0)]), _size(content.size())
    {
        std::copy(content.begin(), content.end(), begin());
        if (terminated) {
            _bytes[_size] = 0;
        }
    }
    explicit Block(size_t size) : Block(Bytes(size, FILLING)) {}

    [[nodiscard]] a_byte * begin() const { return _bytes.get(); }
    [[nodiscard]] a_byte * end() const { return begin() + _size; }
    [[nodiscard]] size_t size() const { return _size; }
    [[nodiscard]] Bytes first(size_t n) const { return {begin(), begin() + n}; }

private:
    std::unique_ptr<a_byte[]> _bytes;
    size_t _size;
};

class PlainIStream : public UTIStream {
public:
    explicit PlainIStream(const Bytes & content) : _content(content) {}
    size_t do_get(a_byte * dest, size_t size) override
    {
        _largest = std::max(_largest, size);
        const size_t given = std::min(size, _content.size() - _pos);
        std::copy_n(_content.data() + _pos, given, dest);
        _pos += given;
        if (given < size) {
            set_eof();
        }
        return given;
    }
    [[nodiscard]] size_t consumed() const { return _pos; }
    [[nodiscard]] size_t largest_request() const { return _largest; }

private:
    Bytes _content;
    size_t _pos = 0;
    size_t _largest = 0;
};

class PlainOStream : public UTOStream {
public:
    explicit PlainOStream(size_t room = std::numeric_limits<size_t>::max()) : _room(room) {}
    size_t do_put(const a_byte * src, size_t size) override
    {
        const size_t taken = std::min(size, _room - _content.size());
        _content.insert(_content.end(), src, src + taken);
        if (taken < size) {
            set_eof();
        }
        return taken;
    }
    [[nodiscard]] const Bytes & content() const { return _content; }

private:
    size_t _room;
    Bytes _content;
};
