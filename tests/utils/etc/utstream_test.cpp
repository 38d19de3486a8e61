#include "utils/etc/utstream.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/labelled_collation.h"

namespace {

using Bytes = std::vector<a_byte>;

const a_byte * bytes(const char * text)
{
    return reinterpret_cast<const a_byte *>(text);
}

Bytes random_bytes(std::mt19937 & random, size_t size)
{
    Bytes made(size);
    std::generate(made.begin(), made.end(), [&] { return static_cast<a_byte>(random()); });
    return made;
}

// A heap block of the exact size, so that a sanitizer sees the first byte read or written outside.
class Block {
public:
    explicit Block(size_t size, a_byte filling = 0x5A) : _bytes(new a_byte[size]), _size(size)
    {
        std::fill_n(_bytes.get(), size, filling);
    }
    explicit Block(const Bytes & content) : Block(content.size())
    {
        std::copy(content.begin(), content.end(), _bytes.get());
    }
    a_byte * get() { return _bytes.get(); }
    [[nodiscard]] size_t size() const { return _size; }
    [[nodiscard]] Bytes first(size_t n) const { return {_bytes.get(), _bytes.get() + n}; }

private:
    std::unique_ptr<a_byte[]> _bytes;
    size_t _size;
};

// Streams without a buffer, over memory.
class PlainIStream : public UTIStream {
public:
    explicit PlainIStream(const Bytes & content) : _content(content) {}
    size_t do_get(a_byte * dest, size_t size) override
    {
        _largest = std::max(_largest, size);
        const size_t given = std::min(size, _content.size() - _pos);
        std::copy_n(_content.begin() + static_cast<std::ptrdiff_t>(_pos), given, dest);
        _pos += given;
        if (given < size) {
            set_eof();
        }
        return given;
    }
    [[nodiscard]] size_t position() const { return _pos; }
    [[nodiscard]] size_t largest_request() const { return _largest; }

private:
    Bytes _content;
    size_t _pos = 0;
    size_t _largest = 0;
};

class PlainOStream : public UTOStream {
public:
    explicit PlainOStream(size_t room) : _room(room) {}
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

// ---- Every kind of source and of sink, against a plain vector

struct Source {
    virtual ~Source() = default;
    virtual UTIStream & stream() = 0;
};

struct MemorySource : Source {
    explicit MemorySource(const Bytes & content) : _block(content), _stream(_block.get(), _block.size()) {}
    UTIStream & stream() override { return _stream; }
    Block _block;
    UTBufIStream _stream;
};

struct PlainSource : Source {
    explicit PlainSource(const Bytes & content) : _stream(content) {}
    UTIStream & stream() override { return _stream; }
    PlainIStream _stream;
};

// What `Outer` makes of another source.
template<typename Inner, typename Outer> struct WrappedSource : Inner {
    explicit WrappedSource(const Bytes & content) : Inner(content), _outer(Inner::_stream) {}
    UTIStream & stream() override { return _outer; }
    Outer _outer;
};

template<size_t size> struct BufferedSource : PlainSource {
    explicit BufferedSource(const Bytes & content)
        : PlainSource(content), _block(size), _outer(_stream, _block.get(), size)
    {
    }
    UTIStream & stream() override { return _outer; }
    Block _block;
    UTIStreamBuffer _outer;
};

template<size_t size> struct CountedBufferedSource : BufferedSource<size> {
    explicit CountedBufferedSource(const Bytes & content)
        : BufferedSource<size>(content), _counter(BufferedSource<size>::_outer)
    {
    }
    UTIStream & stream() override { return _counter; }
    UTBufferedIStreamCounter _counter;
};

struct Sink {
    virtual ~Sink() = default;
    virtual UTOStream & stream() = 0;
    // Ends the stream and gives what has arrived.
    virtual Bytes finish() = 0;
    // Does it accept bytes that then get lost?
    [[nodiscard]] virtual bool reads_on_behind_the_end() const { return false; }
};

struct MemorySink : Sink {
    explicit MemorySink(size_t room) : _block(room), _stream(_block.get(), room) {}
    UTOStream & stream() override { return _stream; }
    Bytes finish() override
    {
        const size_t used = _stream.eof() ? _block.size() : static_cast<size_t>(_stream.ptr() - _block.get());
        return _block.first(used);
    }
    Block _block;
    UTBufOStream _stream;
};

struct TextSink : Sink {
    explicit TextSink(size_t room)
        : _block(room + 1), _text(new UTStrOStream(reinterpret_cast<char *>(_block.get()), room + 1))
    {
    }
    UTOStream & stream() override { return *_text; }
    Bytes finish() override
    {
        const size_t used =
            _text->eof() ? _block.size() - 1 : static_cast<size_t>(_text->ptr() - _block.get());
        _text.reset();
        EXPECT_EQ(_block.get()[used], 0);
        return _block.first(used);
    }
    Block _block;
    std::unique_ptr<UTStrOStream> _text;
};

struct PlainSink : Sink {
    explicit PlainSink(size_t room) : _stream(room) {}
    UTOStream & stream() override { return _stream; }
    Bytes finish() override { return _stream.content(); }
    PlainOStream _stream;
};

template<typename Inner, typename Outer> struct CountedSink : Inner {
    explicit CountedSink(size_t room) : Inner(room), _outer(new Outer(Inner::_stream)) {}
    UTOStream & stream() override { return *_outer; }
    Bytes finish() override
    {
        if constexpr (std::is_base_of_v<UTBufferedOStream, Outer>) {
            _outer->flush();
        }
        const size_t count = _outer->get_count();
        _outer.reset();
        Bytes arrived = Inner::finish();
        EXPECT_EQ(count, arrived.size());
        return arrived;
    }
    std::unique_ptr<Outer> _outer;
};

template<size_t size> struct BufferedSink : PlainSink {
    explicit BufferedSink(size_t room)
        : PlainSink(room), _block(size), _outer(new UTOStreamBuffer(_stream, _block.get(), size))
    {
    }
    UTOStream & stream() override { return *_outer; }
    Bytes finish() override
    {
        _outer.reset();
        return PlainSink::finish();
    }
    [[nodiscard]] bool reads_on_behind_the_end() const override { return true; }
    Block _block;
    std::unique_ptr<UTOStreamBuffer> _outer;
};

template<typename Made, typename Arg> std::unique_ptr<Made> make(const Arg & arg)
{
    return std::make_unique<Made>(arg);
}

struct a_source_kind {
    const char * name;
    std::function<std::unique_ptr<Source>(const Bytes &)> make;
};

const a_source_kind SOURCES[] = {
    {"memory", make<MemorySource, Bytes>},
    {"plain", make<PlainSource, Bytes>},
    {"buffer of 1", make<BufferedSource<1>, Bytes>},
    {"buffer of 7", make<BufferedSource<7>, Bytes>},
    {"buffer of 5000", make<BufferedSource<5000>, Bytes>},
    {"counted memory", make<WrappedSource<MemorySource, UTBufferedIStreamCounter>, Bytes>},
    {"counter over memory", make<WrappedSource<MemorySource, UTIStreamCounter>, Bytes>},
    {"counted plain", make<WrappedSource<PlainSource, UTIStreamCounter>, Bytes>},
    {"counted buffer of 7", make<CountedBufferedSource<7>, Bytes>},
};

struct a_sink_kind {
    const char * name;
    std::function<std::unique_ptr<Sink>(size_t)> make;
};

const a_sink_kind SINKS[] = {
    {"memory", make<MemorySink, size_t>},
    {"text", make<TextSink, size_t>},
    {"plain", make<PlainSink, size_t>},
    {"buffer of 1", make<BufferedSink<1>, size_t>},
    {"buffer of 7", make<BufferedSink<7>, size_t>},
    {"buffer of 5000", make<BufferedSink<5000>, size_t>},
    {"counted memory", make<CountedSink<MemorySink, UTBufferedOStreamCounter>, size_t>},
    {"counter over memory", make<CountedSink<MemorySink, UTOStreamCounter>, size_t>},
    {"counted plain", make<CountedSink<PlainSink, UTOStreamCounter>, size_t>},
};

// Random pieces from one to the other, each looked at where it happens.
class Pump {
public:
    Pump(Bytes content, UTIStream & i, Sink & sink, size_t room, unsigned seed)
        : _content(std::move(content)), _i(i), _sink(sink), _o(sink.stream()), _room(room), _random(seed)
    {
    }

    // What has to arrive.
    Bytes run()
    {
        for (int step = 0; step < 2000 && !_i.eof() && !_o.eof() && !::testing::Test::HasFailure(); ++step) {
            do_step();
        }
        if (_i.eof()) {
            nothing_moves_behind_the_end();
        }
        if (_o.eof()) {
            EXPECT_EQ(_o.put(a_byte{1}), 0u);
            EXPECT_EQ(_o.put("ab"), 0u);
        }
        _expected.resize(std::min(_expected.size(), _room));
        return _expected;
    }

private:
    void do_step()
    {
        switch (_random() % 7) {
        case 0:
            skip();
            break;
        case 1:
            append();
            break;
        case 2:
            in_place();
            break;
        case 3:
            if (_random() % 8 == 0) {
                append_rest();
            }
            break;
        default:
            copy();
            break;
        }
    }

    size_t piece_size() { return _random() % 16 == 0 ? _random() % 6000 : _random() % 20; }
    [[nodiscard]] size_t left() const { return _content.size() - _pos; }

    void taken_by_source(size_t size) { _pos += size; }
    // The sink has been given the `size` bytes that the source's position has just passed.
    void given(size_t size, size_t taken)
    {
        const size_t room = _room > _expected.size() ? _room - _expected.size() : 0;
        const size_t expected = _sink.reads_on_behind_the_end() ? size : std::min(size, room);
        EXPECT_EQ(taken, expected);
        if (taken < size) {
            EXPECT_TRUE(_o.eof());
        }
        expect_arrival(size);
    }
    void expect_arrival(size_t size)
    {
        const auto end = _content.begin() + static_cast<std::ptrdiff_t>(_pos);
        _expected.insert(_expected.end(), end - static_cast<std::ptrdiff_t>(size), end);
    }

    void copy()
    {
        const size_t size = piece_size();
        Block piece(size);
        const size_t got = _i.get(piece.get(), size);
        EXPECT_EQ(got, std::min(size, left()));
        EXPECT_EQ(_i.eof(), got < size ? TRUE : FALSE);
        EXPECT_TRUE(std::all_of(piece.get() + got, piece.get() + size, [](a_byte b) { return b == 0x5A; }));
        taken_by_source(got);
        given(got, _o.put(piece.get(), got));
    }

    void skip()
    {
        const size_t size = piece_size();
        const size_t skipped = _i.skip(size);
        EXPECT_EQ(skipped, std::min(size, left()));
        EXPECT_EQ(_i.eof(), skipped < size ? TRUE : FALSE);
        taken_by_source(skipped);
    }

    void append()
    {
        const size_t size = piece_size();
        const size_t moved = std::min(size, left());
        _i.append_to(_o, size);
        taken_by_source(moved);
        expect_arrival(moved);
        if (!_o.eof()) {
            EXPECT_EQ(_i.eof(), moved < size ? TRUE : FALSE);
        }
    }

    void append_rest()
    {
        const size_t moved = left();
        _i.safe_append_to(_o);
        taken_by_source(moved);
        expect_arrival(moved);
        EXPECT_TRUE(_i.eof() || _o.eof());
    }

    // The source's buffer straight into the sink's.
    void in_place()
    {
        if (!_i.is_buffered() || !_o.is_buffered()) {
            return;
        }
        auto & from = static_cast<UTBufferedIStream &>(_i);
        auto & to = static_cast<UTBufferedOStream &>(_o);
        size_t unread = 0;
        size_t space = 0;
        const a_byte * const piece = from.get_piece(&unread);
        EXPECT_EQ(unread == 0, left() == 0);
        EXPECT_EQ(piece == nullptr, from.eof() == TRUE);
        a_byte * const dest = to.get_space(&space);
        EXPECT_EQ(dest == nullptr, to.eof() == TRUE);
        EXPECT_EQ(space == 0, to.eof() == TRUE);
        const size_t moved = std::min(unread, space);
        if (moved != 0) {
            std::memcpy(dest, piece, moved);
            from.bump(moved);
            to.bump(moved);
            taken_by_source(moved);
            given(moved, moved);
        }
    }

    void nothing_moves_behind_the_end()
    {
        Block piece(3);
        EXPECT_EQ(_i.get(piece.get(), 3), 0u);
        EXPECT_EQ(_i.skip(3), 0u);
        EXPECT_EQ(piece.first(3), Bytes(3, 0x5A));
        if (!_o.eof()) {
            _i.append_to(_o, 3);
            _i.safe_append_to(_o);
        }
        EXPECT_TRUE(_i.eof());
    }

    Bytes _content;
    UTIStream & _i;
    Sink & _sink;
    UTOStream & _o;
    size_t _room;
    std::mt19937 _random;
    size_t _pos = 0;
    Bytes _expected;
};

void pump(const a_source_kind & from, const a_sink_kind & to, unsigned seed)
{
    SCOPED_TRACE(std::string(from.name) + " to " + to.name + ", seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const Bytes content = random_bytes(random, random() % 3 == 0 ? random() % 20000 : random() % 200);
    const size_t room = random() % 2 == 0 ? content.size() + 1 + random() % 100 : random() % 5000;
    const auto source = from.make(content);
    const auto sink = to.make(room);
    Pump run(content, source->stream(), *sink, room, seed);
    const Bytes expected = run.run();
    EXPECT_EQ(sink->finish(), expected);
}

TEST(StreamPairs, AnyPiecesArriveAsOneText)
{
    for (const a_source_kind & from : SOURCES) {
        for (const a_sink_kind & to : SINKS) {
            for (unsigned seed = 1; seed <= 25; ++seed) {
                pump(from, to, seed);
                ASSERT_FALSE(HasFailure());
            }
        }
    }
}

// A random text and one that differs from it in a byte, in its length, or not at all.
std::pair<Bytes, Bytes> similar_pair(std::mt19937 & random)
{
    const Bytes a = random_bytes(random, random() % 4 == 0 ? random() % 3000 : random() % 40);
    Bytes b = a;
    switch (random() % 4) {
    case 0:
        break;
    case 1:
        b.resize(b.empty() ? 1 : random() % b.size());
        break;
    case 2:
        b.push_back(static_cast<a_byte>(random()));
        break;
    default:
        if (!b.empty()) {
            b[random() % b.size()] = static_cast<a_byte>(random());
        }
    }
    return {a, b};
}

int sign(int order)
{
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}

int model_order(const Bytes & a, const Bytes & b)
{
    return a < b ? -1 : a == b ? 0 : 1;
}

TEST(StreamPairs, ComparisonIsThatOfWholeTexts)
{
    std::mt19937 random(7);
    for (const a_source_kind & one : SOURCES) {
        for (const a_source_kind & other : SOURCES) {
            SCOPED_TRACE(std::string(one.name) + " and " + other.name);
            for (int round = 0; round < 40; ++round) {
                const auto [a, b] = similar_pair(random);
                const auto left = one.make(a);
                const auto right = other.make(b);
                ASSERT_EQ(sign(left->stream().compare(right->stream())), model_order(a, b)) << a.size();
            }
        }
    }
}

TEST(StreamCompare, ChunksJoinAtTheirSeams)
{
    for (const size_t size : {15u, 16u, 17u, 47u, 48u, 49u, 1007u, 1008u, 2032u, 3057u}) {
        const Bytes text(size, 'x');
        Bytes longer = text;
        longer.push_back(0);
        Bytes lower = text;
        lower[size - 1] = 'w';
        Bytes high = text;
        high[size - 1] = 0x80; // above 'x' as an unsigned byte only
        const auto order = [](const Bytes & a, const Bytes & b) {
            PlainIStream one(a);
            PlainIStream other(b);
            return sign(one.compare(other));
        };
        EXPECT_EQ(order(text, text), 0) << size;
        EXPECT_EQ(order(longer, text), 1) << size;
        EXPECT_EQ(order(text, longer), -1) << size;
        EXPECT_EQ(order(text, lower), 1) << size;
        EXPECT_EQ(order(text, high), -1) << size;
    }
}

// ---- Ends of the memory streams

TEST(MemoryWriter, ExactFillDoesNotEndItAndOneMoreByteDoes)
{
    Block block(4);
    UTBufOStream o(block.get(), 4);
    EXPECT_EQ(o.put("abcd"), 4u);
    EXPECT_FALSE(o.eof());
    EXPECT_EQ(o.ptr(), o.lim());
    EXPECT_EQ(o.put("e"), 0u);
    EXPECT_TRUE(o.eof());
    EXPECT_EQ(o.ptr(), nullptr);
    EXPECT_EQ(o.lim(), nullptr);
    EXPECT_EQ(block.first(4), Bytes({'a', 'b', 'c', 'd'}));
}

TEST(MemoryWriter, OverflowStoresWhatFits)
{
    Block block(4);
    UTBufOStream o(block.get(), 4);
    EXPECT_EQ(o.put("abcdef"), 4u);
    EXPECT_TRUE(o.eof());
    EXPECT_EQ(block.first(4), Bytes({'a', 'b', 'c', 'd'}));
}

TEST(MemoryWriter, HugeSizeDoesNotWrapAround)
{
    Block block(8);
    UTBufOStream o(block.get(), 4);
    Block text(4);
    UTBufIStream i(text.get(), 4);
    EXPECT_EQ(i.skip(std::numeric_limits<size_t>::max()), 4u);
    UTBufIStream again(text.get(), 4);
    again.append_to(o, std::numeric_limits<size_t>::max());
    EXPECT_EQ(o.ptr(), o.lim());
}

TEST(MemoryReader, ExactReadDoesNotEndItAndTheNextDoes)
{
    UTBufIStream i(bytes("abc"), 3);
    a_byte dest[8];
    EXPECT_EQ(i.get(dest, 3), 3u);
    EXPECT_FALSE(i.eof());
    EXPECT_EQ(i.get(dest, 1), 0u);
    EXPECT_TRUE(i.eof());
    UTBufIStream beyond(bytes("abc"), 3);
    EXPECT_EQ(beyond.get(dest, 5), 3u);
    EXPECT_TRUE(beyond.eof());
    EXPECT_EQ(beyond.get(dest, 1), 0u);
}

TEST(Streams, NullWithNoBytesIsNoRequest)
{
    UTBufIStream i(nullptr, 0);
    UTBufOStream o(nullptr, 0);
    EXPECT_EQ(i.get(static_cast<a_byte *>(nullptr), 0), 0u);
    EXPECT_EQ(o.put(static_cast<const a_byte *>(nullptr), 0), 0u);
    EXPECT_FALSE(i.eof());
    EXPECT_FALSE(o.eof());
}

struct a_text_case {
    size_t len;
    const char * written;
    const char * expected; // null: nothing is written at all
    bool ends;
};

TEST(TextWriter, TextIsCutButAlwaysTerminated)
{
    const a_text_case cases[] = {
        {5, "abcdefg", "abcd", true}, {5, "abcd", "abcd", false}, {5, "abc", "abc", false},
        {1, "a", "", true},           {1, "", "", false},         {0, "a", nullptr, true},
        {0, "", nullptr, true},
    };
    for (const a_text_case & row : cases) {
        SCOPED_TRACE(std::string(row.written) + " in " + std::to_string(row.len));
        Block block(row.len + 1);
        {
            UTStrOStream o(reinterpret_cast<char *>(block.get()), row.len);
            EXPECT_EQ(o.eof(), row.len == 0 ? TRUE : FALSE);
            o << row.written;
            EXPECT_EQ(o.eof(), row.ends ? TRUE : FALSE);
            o.AddNullTerminator(); // harmless at the end, too
        }
        if (row.expected != nullptr) {
            EXPECT_STREQ(reinterpret_cast<char *>(block.get()), row.expected);
        } else {
            EXPECT_EQ(block.get()[0], 0x5A);
        }
        EXPECT_EQ(block.get()[row.len], 0x5A);
    }
}

TEST(TextWriter, TerminatorInTheMiddleIsOverwrittenByWhatFollows)
{
    char text[8];
    UTStrOStream o(text, sizeof(text));
    o << "abc";
    o.AddNullTerminator();
    EXPECT_STREQ(text, "abc");
    o << "de";
    o.set_eof();
    EXPECT_STREQ(text, "abcde");
    o.set_eof(); // a second end writes nothing
    EXPECT_EQ(o.put("f"), 0u);
}

// ---- Buffers in front of and behind other streams

TEST(WriteBuffer, BytesGoOnWhenItIsFullAndAtItsEnd)
{
    for (const bool by_set_eof : {false, true}) {
        PlainOStream inner(100);
        Block block(4);
        {
            UTOStreamBuffer o(inner, block.get(), 4);
            EXPECT_EQ(o.put("abcd"), 4u);
            EXPECT_EQ(inner.content().size(), 0u);
            EXPECT_EQ(o.amount_buffered(), 4u);
            EXPECT_EQ(o.put("e"), 1u);
            EXPECT_EQ(inner.content().size(), 4u);
            EXPECT_EQ(o.amount_buffered(), 1u);
            if (by_set_eof) {
                o.set_eof();
                EXPECT_EQ(o.amount_buffered(), 0u);
                EXPECT_EQ(o.put("f"), 0u);
            }
        }
        EXPECT_EQ(inner.content(), Bytes({'a', 'b', 'c', 'd', 'e'}));
    }
}

TEST(WriteBuffer, BufferOfNoBytesTakesNothingInsteadOfTryingForEver)
{
    PlainOStream inner(100);
    UTOStreamBuffer o(inner, nullptr, 0);
    EXPECT_EQ(o.put("abc"), 0u);
    EXPECT_TRUE(o.eof());
}

TEST(ReadBuffer, ReadsAheadOnlyWhenAsked)
{
    PlainIStream inner(Bytes(10, 'x'));
    Block block(4);
    UTIStreamBuffer i(inner, block.get(), 4);
    EXPECT_EQ(inner.position(), 0u);
    a_byte c = 0;
    EXPECT_EQ(i.get(c), 1u);
    EXPECT_EQ(inner.position(), 4u);
    EXPECT_EQ(i.skip(100), 9u);
    EXPECT_TRUE(i.eof());
}

// ---- Copies between streams

TEST(StreamCopy, WorkAreasBoundEachRead)
{
    const Bytes content(10000, 'x');
    PlainIStream by_size(content);
    PlainOStream o(20000);
    by_size.append_to(o, 9000);
    EXPECT_EQ(by_size.largest_request(), 4096u);
    EXPECT_EQ(by_size.position(), 9000u);
    EXPECT_FALSE(by_size.eof());
    by_size.append_to(o, 5000);
    EXPECT_TRUE(by_size.eof());
    EXPECT_EQ(o.content().size(), 10000u);

    PlainIStream skipped(content);
    EXPECT_EQ(skipped.skip(20000), 10000u);
    EXPECT_EQ(skipped.largest_request(), 4096u);

    PlainIStream all(content);
    PlainOStream plain(20000);
    all.safe_append_to(plain);
    EXPECT_EQ(all.largest_request(), 1024u);
    EXPECT_EQ(plain.content(), content);
}

TEST(StreamCopy, BufferedDestinationIsReadIntoDirectly)
{
    PlainIStream i(Bytes(3000, 'x'));
    Block block(5000);
    UTBufOStream o(block.get(), 5000);
    i.safe_append_to(o);
    EXPECT_EQ(i.largest_request(), 5000u);
    EXPECT_EQ(o.ptr(), block.get() + 3000);
    EXPECT_FALSE(o.eof());
}

TEST(StreamCopy, EndedDestinationLeavesTheSourceAlone)
{
    PlainIStream plain(Bytes(10, 'x'));
    UTBufIStream memory(bytes("abc"), 3);
    PlainOStream o(0);
    o.set_eof();
    for (UTIStream * i : {static_cast<UTIStream *>(&plain), static_cast<UTIStream *>(&memory)}) {
        i->append_to(o, 5);
        i->safe_append_to(o);
        EXPECT_FALSE(i->eof());
    }
    EXPECT_EQ(plain.position(), 0u);
    EXPECT_EQ(memory.ptr(), bytes("abc"));
}

// Breaks its promise: takes nothing, and doesn't end.
class StubbornOStream : public UTOStream {
public:
    size_t do_put(const a_byte *, size_t) override { return 0; }
};

class StubbornIStream : public UTIStream {
public:
    size_t do_get(a_byte *, size_t) override { return 0; }
};

TEST(StreamCopy, StreamsThatMoveNothingDoNotHoldUpTheOthers)
{
    StubbornOStream o;
    UTBufIStream memory(bytes("abc"), 3);
    memory.append_to(o, 100);
    StubbornIStream i;
    Block block(4);
    UTBufOStream dest(block.get(), 4);
    EXPECT_EQ(i.skip(10), 0u);
    i.safe_append_to(dest);
    EXPECT_EQ(i.compare(memory), -1);
    EXPECT_EQ(dest.ptr(), block.get());
}

// ---- Texts and numbers

TEST(StreamText, NumbersAreDecimalWithoutPadding)
{
    char text[300];
    {
        UTStrOStream o(text, sizeof(text));
        o << std::numeric_limits<int16>::min() << ' ' << std::numeric_limits<uint16>::max() << ' '
          << std::numeric_limits<int32>::min() << ' ' << std::numeric_limits<uint32>::max() << ' '
          << std::numeric_limits<int64>::min() << ' ' << std::numeric_limits<int64>::max() << ' '
          << std::numeric_limits<uint64>::max() << ' ' << int32{0} << a_byte{'b'} << bytes("cd");
        char writable[] = "ef";
        o << writable;
    }
    EXPECT_STREQ(text, "-32768 65535 -2147483648 4294967295 -9223372036854775808 9223372036854775807 "
                       "18446744073709551615 0bcdef");
}

TEST(StreamText, NumberThatEndsEarlyIsNotRead)
{
    const uint32 number = 0x01020304;
    a_byte stored[7];
    std::memcpy(stored, &number, sizeof(number));
    UTBufIStream i(stored, 7);
    uint32 read = 0;
    i >> read;
    EXPECT_EQ(read, number);
    i >> read;
    EXPECT_EQ(read, number);
    EXPECT_TRUE(i.eof());
    a_byte c = 9;
    i >> c;
    EXPECT_EQ(c, 9);
}

// ---- Characters

TEST(StreamCharacters, CutCharacterIsDeliveredAsFarAsItIsThere)
{
    const LabelledCollation collation("932JPN");
    const Bytes text = {'a', 0x83, 0x5C, 0x83};
    const Bytes expected[] = {{'a'}, {0x83, 0x5C}, {0x83}, {}, {}};
    for (const a_source_kind & kind : SOURCES) {
        for (const bool in_buffer : {false, true}) {
            SCOPED_TRACE(kind.name);
            const auto source = kind.make(text);
            UTIStream & i = source->stream();
            an_mbcs_character c(&collation);
            for (const Bytes & character : expected) {
                if (in_buffer && i.is_buffered()) {
                    static_cast<UTBufferedIStream &>(i).get_mbcs(c);
                } else {
                    i >> c;
                }
                EXPECT_EQ(Bytes(c.get(), c.get() + c.length()), character);
            }
            EXPECT_TRUE(i.eof());
        }
    }
}

TEST(StreamCharacters, WritingGivesTheBytesThatAreThere)
{
    const LabelledCollation collation("932JPN");
    an_mbcs_character c(&collation);
    PlainOStream o(10);
    o << c;
    const a_byte whole[] = {0x83, 0x5C};
    c.set(whole, whole + 2);
    o << c;
    EXPECT_EQ(o.content(), Bytes({0x83, 0x5C}));
}

// ---- Counters and suspension

TEST(BufferedCounter, SharedStreamSeesEverythingAfterFlush)
{
    Block block(8);
    UTBufOStream inner(block.get(), 8);
    UTBufferedOStreamCounter o(inner);
    EXPECT_EQ(o.put("abc"), 3u);
    EXPECT_EQ(inner.ptr(), block.get());
    EXPECT_EQ(o.get_count(), 0u);
    o.flush();
    EXPECT_EQ(inner.ptr(), block.get() + 3);
    EXPECT_EQ(o.put("defghij"), 5u);
    EXPECT_TRUE(o.eof());
    EXPECT_TRUE(inner.eof());
    EXPECT_EQ(o.get_count(), 8u);
}

TEST(BufferedCounter, DestructionGivesBackWhatWasNotRead)
{
    UTBufIStream inner(bytes("abcdef"), 6);
    {
        UTBufferedIStreamCounter i(inner);
        EXPECT_EQ(i.skip(4), 4u);
    }
    EXPECT_EQ(inner.ptr(), inner.lim() - 2);
    UTBufferedIStreamCounter ended(inner);
    EXPECT_EQ(ended.skip(3), 2u);
    EXPECT_EQ(ended.get_count(), 2u);
    EXPECT_TRUE(inner.eof());
    ended.flush();
    EXPECT_EQ(ended.get_count(), 2u);
}

TEST(Suspension, BufferMayMoveMeanwhile)
{
    Block from(16);
    Block to(16);
    UTBufOStream inner(from.get(), 16);
    UTBufferedOStreamCounter middle(inner);
    UTBufferedOStreamCounter outer(static_cast<UTBufferedOStream &>(middle)); // no copy
    EXPECT_EQ(outer.put("abc"), 3u);
    UTSuspendManager manager;
    manager.Register(&outer);
    manager.Register(&middle); // resumed by the outer one first
    manager.SuspendAll();
    EXPECT_TRUE(outer.is_suspended());
    std::memcpy(to.get(), from.get(), 16);
    inner.setp(to.get(), to.get() + 16);
    manager.ResumeAll();
    EXPECT_FALSE(middle.is_suspended());
    EXPECT_EQ(outer.put("de"), 2u);
    outer.flush();
    middle.flush();
    EXPECT_EQ(inner.ptr(), to.get() + 5);
    EXPECT_EQ(outer.lim(), to.get() + 16);
    EXPECT_EQ(to.first(5), Bytes({'a', 'b', 'c', 'd', 'e'}));
}

TEST(Suspension, ReaderFindsItsPlaceInAMovedBuffer)
{
    Block from(Bytes({'a', 'b', 'c', 'd'}));
    Block to(Bytes({'a', 'b', 'c', 'd'}));
    UTBufIStream inner(from.get(), 4);
    UTBufferedIStreamCounter i(inner);
    a_byte c = 0;
    i >> c;
    i.get_suspendable()->suspend();
    inner.setp(to.get(), to.get() + 4);
    i.get_suspendable()->resume();
    i.get_suspendable()->resume(); // once only
    i >> c;
    EXPECT_EQ(c, 'b');
    EXPECT_EQ(i.ptr(), to.get() + 2);
    EXPECT_EQ(i.skip(5), 2u);
    EXPECT_EQ(i.get_count(), 4u);
}

TEST(Suspension, RegistrationEndsWithEitherSide)
{
    UTBufIStream inner(bytes("abc"), 3);
    UTSuspendManager manager;
    {
        UTBufferedIStreamCounter i(inner);
        manager.Register(&i);
        manager.Register(&i); // stays once in the list
        EXPECT_TRUE(manager.HasRegistrants());
        EXPECT_TRUE(i.is_registered());
    }
    EXPECT_FALSE(manager.HasRegistrants());
    UTBufferedIStreamCounter survivor(inner);
    {
        UTSuspendManager shorter;
        manager.Register(&survivor);
        shorter.Register(&survivor);
        EXPECT_FALSE(manager.HasRegistrants());
        manager.Deregister(&survivor); // not its own
        EXPECT_TRUE(survivor.is_registered());
    }
    EXPECT_FALSE(survivor.is_registered());
}

// ---- Slots

// The place of a virtual operation in its table: by the Itanium C++ ABI a pointer to it is that place's
// offset, and one.
template<typename Member> size_t slot(Member member)
{
    std::uintptr_t words[2];
    static_assert(sizeof(member) == sizeof(words));
    std::memcpy(words, &member, sizeof(words));
    EXPECT_EQ(words[0] % sizeof(void *), 1u) << "not virtual";
    return (words[0] - 1) / sizeof(void *);
}

TEST(StreamSlots, VirtualOperationsStandInTheirFixedOrder)
{
    // Slots 0 and 1 are the two forms of the destructor.
    EXPECT_EQ(slot(&UTOStream::set_eof), 2u);
    EXPECT_EQ(slot(&UTOStream::get_suspendable), 3u);
    EXPECT_EQ(slot(&UTOStream::do_put), 4u);
    EXPECT_EQ(slot(&UTBufferedOStream::make_room), 5u);
    EXPECT_EQ(slot(&UTIStream::skip), 2u);
    EXPECT_EQ(slot(&UTIStream::append_to), 3u);
    EXPECT_EQ(slot(&UTIStream::safe_append_to), 4u);
    EXPECT_EQ(slot(&UTIStream::set_eof), 5u);
    EXPECT_EQ(slot(&UTIStream::get_seekable), 6u);
    EXPECT_EQ(slot(&UTIStream::get_suspendable), 7u);
    EXPECT_EQ(slot(&UTIStream::do_get), 8u);
    EXPECT_EQ(slot(&UTBufferedIStream::refill), 9u);
    EXPECT_TRUE(std::has_virtual_destructor_v<UTOStream>);
    EXPECT_TRUE(std::has_virtual_destructor_v<UTIStream>);
}

} // namespace
