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
#include "support/plain_streams.h"

namespace {

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

// ---- Every kind of source and of sink, against a plain vector

const size_t BUFFER_SIZES[] = {1, 7, 5000};

// Streams on each other, told by a letter each, the innermost first: over memory (m) or without a buffer (p),
// and outside of it a buffer of a size from above (0, 1, 2), a counter (c) or a counter in the buffer (C).
class Source {
public:
    Source(const std::string & recipe, const Bytes & content) : _content(content)
    {
        for (const char kind : recipe) {
            _layers.emplace_back(make(kind, content));
        }
    }
    ~Source()
    {
        while (!_layers.empty()) {
            _layers.pop_back();
        }
    }
    Source(const Source &) = delete;
    Source & operator=(const Source &) = delete;
    UTIStream & stream() { return *_layers.back(); }

private:
    UTIStream * make(char kind, const Bytes & content)
    {
        switch (kind) {
        case 'm':
            return new UTBufIStream(_content.begin(), _content.size());
        case 'p':
            return new PlainIStream(content);
        case 'c':
            return new UTIStreamCounter(stream());
        case 'C':
            return new UTBufferedIStreamCounter(static_cast<UTBufferedIStream &>(stream()));
        default:
            _buffer = std::make_unique<Block>(BUFFER_SIZES[kind - '0']);
            return new UTIStreamBuffer(stream(), _buffer->begin(), _buffer->size());
        }
    }

    Block _content;
    std::unique_ptr<Block> _buffer;
    std::vector<std::unique_ptr<UTIStream>> _layers;
};

const char * const SOURCES[] = {"m", "p", "p0", "p1", "p2", "mC", "mc", "pc", "p1C"};

// The same for sinks, where a text (t) may be innermost, too.
class Sink {
public:
    Sink(const std::string & recipe, size_t room) : _recipe(recipe), _memory(room + 1), _room(room)
    {
        for (const char kind : recipe) {
            _layers.emplace_back(make(kind));
        }
    }
    UTOStream & stream() { return *_layers.back(); }
    // Does it accept bytes that then get lost?
    [[nodiscard]] bool takes_all() const { return _recipe.back() < '9'; }

    // Ends the streams and gives what has arrived.
    Bytes finish()
    {
        if (_recipe.back() == 'C') {
            static_cast<UTBufferedOStreamCounter &>(stream()).flush();
        }
        const size_t count = _recipe.back() == 'C'
                                 ? static_cast<UTBufferedOStreamCounter &>(stream()).get_count()
                             : _recipe.back() == 'c' ? static_cast<UTOStreamCounter &>(stream()).get_count()
                                                     : 0;
        while (_layers.size() > 1) {
            _layers.pop_back();
        }
        const Bytes arrived = innermost();
        _layers.clear();
        EXPECT_EQ(_memory.begin()[arrived.size()], _recipe == "t" ? 0 : Block::FILLING);
        EXPECT_EQ(count, _recipe.back() == 'C' || _recipe.back() == 'c' ? arrived.size() : 0);
        return arrived;
    }

private:
    UTOStream * make(char kind)
    {
        switch (kind) {
        case 'm':
            return new UTBufOStream(_memory.begin(), _room);
        case 't':
            return new UTStrOStream(reinterpret_cast<char *>(_memory.begin()), _room + 1);
        case 'p':
            return new PlainOStream(_room);
        case 'c':
            return new UTOStreamCounter(stream());
        case 'C':
            return new UTBufferedOStreamCounter(static_cast<UTBufferedOStream &>(stream()));
        default:
            _buffer = std::make_unique<Block>(BUFFER_SIZES[kind - '0']);
            return new UTOStreamBuffer(stream(), _buffer->begin(), _buffer->size());
        }
    }

    Bytes innermost()
    {
        if (_recipe[0] == 'p') {
            return static_cast<PlainOStream &>(stream()).content();
        }
        const auto & memory = static_cast<UTBufferedOStream &>(stream());
        return _memory.first(memory.eof() ? _room : static_cast<size_t>(memory.ptr() - _memory.begin()));
    }

    std::string _recipe;
    Block _memory;
    size_t _room;
    std::unique_ptr<Block> _buffer;
    std::vector<std::unique_ptr<UTOStream>> _layers;
};

const char * const SINKS[] = {"m", "t", "p", "p0", "p1", "p2", "mC", "mc", "pc"};

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
        nothing_moves_behind_the_end();
        _expected.resize(std::min(_expected.size(), _room));
        return _expected;
    }

private:
    void do_step()
    {
        const size_t size = amount();
        switch (_random() % 7) {
        case 0:
            passed(size, _i.skip(size));
            break;
        case 1:
            _i.append_to(_o, size);
            arrives(passed(size, std::min(size, left()), !_o.eof()));
            break;
        case 2:
            in_place();
            break;
        case 3:
            if (_random() % 8 == 0) {
                _i.safe_append_to(_o);
                arrives(passed(left(), left(), false));
                EXPECT_TRUE(_i.eof() || _o.eof());
            }
            break;
        default:
            copy(std::min<size_t>(size, 6000));
            break;
        }
    }

    [[nodiscard]] size_t left() const { return _content.size() - _pos; }
    // A small piece, now and then a large one, as much as there is, or more than can be.
    size_t amount()
    {
        const unsigned kind = _random() % 16;
        return kind == 0   ? std::numeric_limits<size_t>::max()
               : kind == 1 ? left()
               : kind == 2 ? _random() % 6000
                           : _random() % 20;
    }

    // The source has been asked for `size` bytes and has given `got`; fewer end it.
    size_t passed(size_t size, size_t got, bool ends = true)
    {
        EXPECT_EQ(got, std::min(size, left()));
        if (ends) {
            EXPECT_EQ(_i.eof(), got < size ? TRUE : FALSE);
        }
        _pos += got;
        return got;
    }
    // The sink has been given the last `size` bytes of what the source has given.
    void arrives(size_t size)
    {
        const auto end = _content.begin() + static_cast<std::ptrdiff_t>(_pos);
        _expected.insert(_expected.end(), end - static_cast<std::ptrdiff_t>(size), end);
    }
    void given(size_t size, size_t taken)
    {
        const size_t room = _room > _expected.size() ? _room - _expected.size() : 0;
        EXPECT_EQ(taken, _sink.takes_all() ? size : std::min(size, room));
        if (!_sink.takes_all()) {
            EXPECT_EQ(_o.eof(), taken < size ? TRUE : FALSE); // a write that fills it exactly doesn't end it
        }
        arrives(size);
    }

    void copy(size_t size)
    {
        Block piece(size);
        const size_t got = passed(size, _i.get(piece.begin(), size));
        EXPECT_TRUE(
            std::all_of(piece.begin() + got, piece.end(), [](a_byte b) { return b == Block::FILLING; }));
        given(got, _o.put(piece.begin(), got));
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
            _pos += moved;
            given(moved, moved);
        }
    }

    void nothing_moves_behind_the_end()
    {
        Block piece(3);
        const bool source_ended = _i.eof();
        if (source_ended) {
            EXPECT_EQ(_i.get(piece.begin(), 3) + _i.skip(3), 0u);
            EXPECT_EQ(piece.first(3), Bytes(3, Block::FILLING));
        }
        if (source_ended != (_o.eof() == TRUE)) {
            _i.append_to(_o, 3);
            _i.safe_append_to(_o);
            EXPECT_EQ(_i.eof() == TRUE, source_ended);
        }
        if (_o.eof()) {
            EXPECT_EQ(_o.put(a_byte{1}) + _o.put("ab"), 0u);
            EXPECT_TRUE(!_o.is_buffered() || static_cast<UTBufferedOStream &>(_o).lim() == nullptr);
        }
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

TEST(StreamPairs, AnyPiecesArriveAsOneText)
{
    std::mt19937 random(16);
    for (const char * const from : SOURCES) {
        for (const char * const to : SINKS) {
            for (int round = 0; round < 25 && !HasFailure(); ++round) {
                SCOPED_TRACE(std::string(from) + " to " + to + ", round " + std::to_string(round));
                const Bytes content = random_bytes(random, random() % (random() % 3 == 0 ? 20000 : 200));
                const size_t room = random() % 2 == 0 ? content.size() + 1 + random() % 100 : random() % 5000;
                Source source(from, content);
                Sink sink(to, room);
                Pump run(content, source.stream(), sink, room, static_cast<unsigned>(random()));
                const Bytes expected = run.run();
                EXPECT_EQ(sink.finish(), expected);
            }
        }
    }
}

// A random text and one that differs from it in its last byte, in its length, or not at all.
std::pair<Bytes, Bytes> similar_pair(std::mt19937 & random)
{
    const Bytes a = random_bytes(random, random() % 4 == 0 ? random() % 3000 : random() % 40);
    Bytes b = a;
    b.resize(a.size() - random() % (a.size() + 1) % 3);
    if (random() % 2 == 0) {
        b.push_back(static_cast<a_byte>(random()));
    }
    return {a, b};
}

int sign(int order)
{
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}

TEST(StreamPairs, ComparisonIsThatOfWholeTexts)
{
    std::mt19937 random(7);
    for (const char * const one : SOURCES) {
        for (const char * const other : SOURCES) {
            SCOPED_TRACE(std::string(one) + " and " + other);
            for (int round = 0; round < 40; ++round) {
                const auto [a, b] = similar_pair(random);
                Source left(one, a);
                Source right(other, b);
                ASSERT_EQ(sign(left.stream().compare(right.stream())), int{a > b} - int{a < b}) << a.size();
            }
        }
    }
}

// ---- Ends of the memory streams

TEST(TextWriter, TextIsCutButAlwaysTerminated)
{
    const struct {
        size_t len;
        const char * written;
        const char * expected; // null: nothing is written at all
        bool ends;
    } cases[] = {
        {5, "abcdefg", "abcd", true}, {5, "abcd", "abcd", false}, {1, "a", "", true},
        {1, "", "", false},           {0, "a", nullptr, true},
    };
    for (const auto & row : cases) {
        SCOPED_TRACE(std::string(row.written) + " in " + std::to_string(row.len));
        Block block(row.len + 1);
        {
            UTStrOStream o(reinterpret_cast<char *>(block.begin()), row.len);
            EXPECT_EQ(o.eof(), row.len == 0 ? TRUE : FALSE);
            o << row.written;
            EXPECT_EQ(o.eof(), row.ends ? TRUE : FALSE);
            o.AddNullTerminator(); // harmless at the end, too
            if (row.expected != nullptr) {
                EXPECT_STREQ(reinterpret_cast<char *>(block.begin()), row.expected);
            }
        }
        if (row.expected != nullptr) {
            EXPECT_STREQ(reinterpret_cast<char *>(block.begin()), row.expected);
        } else {
            EXPECT_EQ(block.begin()[0], 0x5A);
        }
        EXPECT_EQ(block.begin()[row.len], 0x5A);
    }
}

// ---- Buffers in front of and behind other streams

TEST(WriteBuffer, SetEofHandsOnWhatItHolds)
{
    PlainOStream inner(100);
    Block block(4);
    UTOStreamBuffer o(inner, block.begin(), 4);
    EXPECT_EQ(o.put("abcde"), 5u);
    EXPECT_EQ(o.amount_buffered(), 1u);
    o.set_eof();
    EXPECT_EQ(o.amount_buffered(), 0u);
    EXPECT_EQ(inner.content(), Bytes({'a', 'b', 'c', 'd', 'e'}));
}

TEST(WriteBuffer, BufferOfNoBytesTakesNothingInsteadOfTryingForEver)
{
    PlainOStream inner(100);
    UTOStreamBuffer o(inner, nullptr, 0);
    EXPECT_EQ(o.put("abc"), 0u);
    EXPECT_TRUE(o.eof());
    UTBufOStream none(nullptr, 0);
    EXPECT_EQ(none.put(static_cast<const a_byte *>(nullptr), 0), 0u);
    EXPECT_FALSE(none.eof()) << "no bytes are no request";
}

// ---- Copies between streams

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
    UTBufOStream dest(block.begin(), 4);
    EXPECT_EQ(i.skip(10), 0u);
    i.safe_append_to(dest);
    EXPECT_EQ(i.compare(memory), -1);
    EXPECT_EQ(dest.ptr(), block.begin());
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

// ---- Characters

TEST(StreamCharacters, CutCharacterIsDeliveredAsFarAsItIsThere)
{
    const LabelledCollation collation("932JPN");
    const Bytes text = {'a', 0x83, 0x5C, 0x83};
    const Bytes expected[] = {{'a'}, {0x83, 0x5C}, {0x83}, {}, {}};
    for (const char * const kind : SOURCES) {
        for (const bool in_buffer : {false, true}) {
            SCOPED_TRACE(kind);
            Source source(kind, text);
            UTIStream & i = source.stream();
            an_mbcs_character c(&collation);
            for (const Bytes & character : expected) {
                if (in_buffer && i.is_buffered()) {
                    static_cast<UTBufferedIStream &>(i).get_mbcs(c);
                } else {
                    i >> c;
                }
                EXPECT_EQ(Bytes(c.get(), c.get() + c.length()), character);
                PlainOStream o(10);
                o << c;
                EXPECT_EQ(o.content(), character);
            }
            EXPECT_TRUE(i.eof());
        }
    }
}

// ---- Counters and suspension

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
    UTBufOStream inner(from.begin(), 16);
    UTBufferedOStreamCounter middle(inner);
    UTBufferedOStreamCounter outer(static_cast<UTBufferedOStream &>(middle)); // no copy
    EXPECT_EQ(outer.put("abc"), 3u);
    UTSuspendManager manager;
    manager.Register(&outer);
    manager.Register(&middle); // resumed by the outer one first
    manager.SuspendAll();
    EXPECT_TRUE(outer.is_suspended());
    std::memcpy(to.begin(), from.begin(), 16);
    inner.setp(to.begin(), to.begin() + 16);
    manager.ResumeAll();
    EXPECT_FALSE(middle.is_suspended());
    EXPECT_EQ(outer.put("de"), 2u);
    outer.flush();
    middle.flush();
    EXPECT_EQ(inner.ptr(), to.begin() + 5);
    EXPECT_EQ(outer.lim(), to.begin() + 16);
    EXPECT_EQ(to.first(5), Bytes({'a', 'b', 'c', 'd', 'e'}));
}

TEST(Suspension, RegistrationEndsWithEitherSide)
{
    UTBufIStream inner(bytes("abc"), 3);
    UTSuspendManager manager;
    {
        UTBufferedIStreamCounter i(inner);
        manager.Register(&i);
        manager.Register(&i); // stays once in the list
        manager.SuspendAll();
        inner.set_eof();
        manager.ResumeAll();
        EXPECT_EQ(i.lim(), nullptr) << "points into a buffer that has ended meanwhile";
    }
    EXPECT_FALSE(manager.HasRegistrants());
    UTBufferedIStreamCounter survivor(inner);
    manager.Register(&survivor);
    {
        UTSuspendManager shorter;
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
