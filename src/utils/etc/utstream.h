// Byte streams: the pipes through which collations, converters and file naming pass text of unknown length.
//
// UTOStream is written to, UTIStream is read from. The buffered kinds of both show their buffer, so that
// put() and get() copy and move a pointer, without a virtual call, and so that code can work in the buffer
// itself.
//
// Units: bytes; a size of 0 moves nothing. Ownership: streams own neither memory nor the streams they work
// on; what they were given outlives them. Failure: streams don't report. The only state is eof: a stream for
// writing accepts nothing more, a stream for reading gives nothing more. Nothing leaves it. A short count is
// the other thing that a user learns. A stream that moves nothing of a request has set its eof. Threads: an
// object belongs to one thread.
#pragma once

#include <cstring>
#include <utility>

#include "utils/contain/utlist.h"
#include "utils/etc/uttypes.h"

class an_mbcs_character;
class UTBufferedIStream;
class UTBufferedOStream;
class UTOStream;
class UTSeekableStream; // no stream of this library can seek
class UTSuspendManager;

// A stream over a buffer that may be taken away for a while, and can be given back at another address.
// Registering is for the owner of such buffers, who suspends and resumes all streams on them at once.
class UTSuspendable : public c_utils_link {
public:
    UTSuspendable() = default;
    // Takes the object off its manager.
    ~UTSuspendable() override;

    virtual void do_suspend() = 0;
    virtual void do_resume() = 0;

    // Once only until the opposite; a second call does nothing.
    void suspend();
    void resume();

    a_bool is_suspended() const { return _is_suspended; }
    a_bool is_registered() const { return _is_registered; }

protected:
    a_bool _is_suspended = FALSE;
    a_bool _is_registered = FALSE;
    UTSuspendManager * _mgr = nullptr; // null unless registered

    friend class UTSuspendManager;
};

class UTSuspendManager {
public:
    UTSuspendManager() = default;
    // Lets go of all that are registered.
    ~UTSuspendManager();
    UTSuspendManager(const UTSuspendManager &) = delete;
    UTSuspendManager & operator=(const UTSuspendManager &) = delete;

    // An object is registered with one manager at most: it leaves the one it is with.
    void Register(UTSuspendable * suspendable);
    // Nothing happens to an object of another manager or of none.
    void Deregister(UTSuspendable * suspendable);
    void SuspendAll();
    void ResumeAll();
    a_bool HasRegistrants() const { return _registrants.next != &_registrants ? TRUE : FALSE; }

private:
    c_utils_link _registrants; // the list's head
};

class UTOStream {
public:
    // The virtual operations stand in the order of their slots, which is fixed.
    virtual ~UTOStream() = default;
    virtual void set_eof() { _eof = TRUE; }
    virtual UTSuspendable * get_suspendable() { return nullptr; }
    // Takes `size` bytes, or as many as there are until the end of the stream; the result is their number.
    virtual size_t do_put(const a_byte * src, size_t size) = 0;

    UTOStream(const UTOStream &) = delete;
    UTOStream & operator=(const UTOStream &) = delete;

    // The bytes taken; fewer than `size` mean the end of the stream.
    size_t put(const a_byte * src, size_t size);
    size_t put(const char * src, size_t size) { return put(reinterpret_cast<const a_byte *>(src), size); }
    size_t put(a_byte c);
    size_t put(const char * string) { return put(string, std::strlen(string)); }

    a_bool eof() const { return _eof; }
    a_bool is_buffered() const { return _is_buffered; }

    // Text as it is, without its terminator; numbers in decimal, with a minus sign, without padding.
    UTOStream & operator<<(a_byte c);
    UTOStream & operator<<(char c);
    UTOStream & operator<<(const a_byte * string);
    UTOStream & operator<<(const char * string);
    UTOStream & operator<<(char * string);
    UTOStream & operator<<(int16 value);
    UTOStream & operator<<(uint16 value);
    UTOStream & operator<<(int32 value);
    UTOStream & operator<<(uint32 value);
    UTOStream & operator<<(int64 value);
    UTOStream & operator<<(uint64 value);
    // The bytes of the character that are there.
    UTOStream & operator<<(const an_mbcs_character & c);

protected:
    explicit UTOStream(a_bool buffered = FALSE) : _eof(FALSE), _is_buffered(buffered) {}

    a_bool _eof;
    a_bool _is_buffered; // TRUE: this is a UTBufferedOStream
};
static_assert(sizeof(UTOStream) == 16);

class UTIStream {
public:
    // The virtual operations stand in the order of their slots, which is fixed.
    virtual ~UTIStream() = default;
    // Passes over `size` bytes, or as many as there are; the result is their number.
    virtual size_t skip(size_t size);
    // Copies `size` bytes at most, up to the end of either stream. Where `o` ends, bytes that it didn't take
    // may have been read.
    virtual void append_to(UTOStream & o, size_t size);
    // Copies everything up to the end of either stream.
    virtual void safe_append_to(UTOStream & o);
    virtual void set_eof() { _eof = TRUE; }
    virtual UTSeekableStream * get_seekable() { return nullptr; }
    virtual UTSuspendable * get_suspendable() { return nullptr; }
    // Gives `size` bytes, or as many as there are until the end of the stream; the result is their number,
    // and bytes of `dest` behind them stay as they were.
    virtual size_t do_get(a_byte * dest, size_t size) = 0;

    UTIStream(const UTIStream &) = delete;
    UTIStream & operator=(const UTIStream &) = delete;

    // The bytes delivered; fewer than `size` mean the end of the stream.
    size_t get(a_byte * dest, size_t size);
    size_t get(char * dest, size_t size) { return get(reinterpret_cast<a_byte *>(dest), size); }
    size_t get(a_byte & c) { return get(&c, 1); }
    // The next character, as far as it is there; empty at the end of the stream.
    void do_get_mbcs(an_mbcs_character & c);

    a_bool eof() const { return _eof; }
    a_bool is_buffered() const { return _is_buffered; }

    // A byte, four bytes in the machine's order, or a character. At the end of the stream a number stays as
    // it was and a character becomes empty.
    UTIStream & operator>>(a_byte & c);
    UTIStream & operator>>(uint32 & value);
    UTIStream & operator>>(an_mbcs_character & c);

    // Compares what is left of both streams, as unsigned bytes: negative, 0 or positive. Where one ends
    // first, the longer one is the greater. Both are read further than the first difference.
    int compare(UTIStream & other);

protected:
    explicit UTIStream(a_bool buffered = FALSE) : _eof(FALSE), _is_buffered(buffered) {}

    a_bool _eof;
    a_bool _is_buffered; // TRUE: this is a UTBufferedIStream
};
static_assert(sizeof(UTIStream) == 16);

class UTBufferedOStream : public UTOStream {
public:
    // Both pointers become null, so that nothing fits any more.
    void set_eof() override;
    size_t do_put(const a_byte * src, size_t size) override;
    // Makes a full buffer take bytes again, or ends the stream. Called with eof clear only.
    virtual void make_room() = 0;

    // The free part of the buffer, at least one byte. Null and *size 0 at the end of the stream.
    a_byte * get_space(size_t * size);
    // `size` bytes of the free part have been filled.
    void bump(size_t size) { _ptr += size; }
    void setp(a_byte * ptr, a_byte * lim)
    {
        _ptr = ptr;
        _lim = lim;
    }
    a_byte * ptr() const { return _ptr; }
    a_byte * lim() const { return _lim; }

protected:
    UTBufferedOStream() : UTOStream(TRUE), _ptr(nullptr), _lim(nullptr) {}
    UTBufferedOStream(a_byte * ptr, a_byte * lim) : UTOStream(TRUE), _ptr(ptr), _lim(lim) {}

    size_t free_bytes() const { return static_cast<size_t>(_lim - _ptr); }
    // Copies into the free part, which holds `size` bytes.
    void store(const a_byte * src, size_t size);

    // The free part of the buffer.
    a_byte * _ptr;
    a_byte * _lim;

    friend class UTOStream;
};
static_assert(sizeof(UTBufferedOStream) == 32);

class UTBufferedIStream : public UTIStream {
public:
    size_t skip(size_t size) override;
    void append_to(UTOStream & o, size_t size) override;
    // Both pointers become null, so that nothing is left.
    void set_eof() override;
    size_t do_get(a_byte * dest, size_t size) override;
    // Makes an empty buffer give bytes again, or ends the stream. Called with eof clear only.
    virtual void refill() = 0;

    // The unread part of the buffer, at least one byte. Null and *size 0 at the end of the stream.
    const a_byte * get_piece(size_t * size);
    // `size` bytes of the unread part have been used.
    void bump(size_t size) { _ptr += size; }
    void setp(const a_byte * ptr, const a_byte * lim)
    {
        _ptr = ptr;
        _lim = lim;
    }
    const a_byte * ptr() const { return _ptr; }
    const a_byte * lim() const { return _lim; }

    // As do_get_mbcs, at once where the buffer holds the whole character.
    void get_mbcs(an_mbcs_character & c);

    using UTIStream::compare;
    // As for any two streams, without a copy.
    int compare(UTBufferedIStream & other);

protected:
    UTBufferedIStream() : UTIStream(TRUE), _ptr(nullptr), _lim(nullptr) {}
    UTBufferedIStream(const a_byte * ptr, const a_byte * lim) : UTIStream(TRUE), _ptr(ptr), _lim(lim) {}

    size_t unread_bytes() const { return static_cast<size_t>(_lim - _ptr); }
    // Copies from the unread part, which holds `size` bytes.
    void fetch(a_byte * dest, size_t size);

    // The unread part of the buffer.
    const a_byte * _ptr;
    const a_byte * _lim;

    friend class UTIStream;
};
static_assert(sizeof(UTBufferedIStream) == 32);

// Into memory. What doesn't fit ends the stream; a write that fills the memory exactly doesn't.
class UTBufOStream : public UTBufferedOStream {
public:
    UTBufOStream(a_byte * buf, size_t len) : UTBufferedOStream(buf, buf + len), _buf(buf) {}
    void make_room() override { set_eof(); }

protected:
    a_byte * _buf; // the start
};
static_assert(sizeof(UTBufOStream) == 40);

// Out of memory. A read up to the last byte doesn't end the stream, the next one does.
class UTBufIStream : public UTBufferedIStream {
public:
    UTBufIStream(const a_byte * buf, size_t len) : UTBufferedIStream(buf, buf + len) {}
    void refill() override { set_eof(); }
};
static_assert(sizeof(UTBufIStream) == 32);

// Into a text of at most `len` bytes with its terminator, which is written when the stream ends or goes. With
// a `len` of 0 the stream is at its end from the start and nothing is ever written.
class UTStrOStream : public UTBufferedOStream {
public:
    UTStrOStream(char * s, size_t len);
    ~UTStrOStream() override;
    void set_eof() override;
    void make_room() override { set_eof(); }
    // Makes what has been written so far a text; writing goes on. At the end of the stream it is one already.
    void AddNullTerminator();

protected:
    char * _start; // null for a text of no bytes
};
static_assert(sizeof(UTStrOStream) == 40);

// A buffer, which the caller provides, in front of another stream. What it holds goes there when it is full,
// at the end of the stream and on destruction; bytes that the other stream then doesn't take are lost.
class UTOStreamBuffer : public UTBufferedOStream {
public:
    // A buffer of no bytes is a stream at its end.
    UTOStreamBuffer(UTOStream & s, a_byte * buf, size_t len);
    ~UTOStreamBuffer() override;
    void set_eof() override;
    void make_room() override;
    size_t amount_buffered() const { return _eof ? 0 : static_cast<size_t>(_ptr - _buf); }

private:
    void write_out();

    UTOStream & _ostream;
    a_byte * _buf;
    size_t _len;
};
static_assert(sizeof(UTOStreamBuffer) == 56);

// A buffer, which the caller provides, behind another stream. It reads ahead, and nothing gives back what its
// user hasn't taken.
class UTIStreamBuffer : public UTBufferedIStream {
public:
    UTIStreamBuffer(UTIStream & s, a_byte * buf, size_t len)
        : UTBufferedIStream(buf, buf), _istream(s), _buf(buf), _len(len)
    {
    }
    void refill() override;

private:
    UTIStream & _istream;
    a_byte * _buf;
    size_t _len;
};
static_assert(sizeof(UTIStreamBuffer) == 56);

// Counts what goes into another stream, and ends with it.
class UTOStreamCounter : public UTOStream {
public:
    explicit UTOStreamCounter(UTOStream & s) : _ostream(s), _count(0) {}
    size_t do_put(const a_byte * src, size_t size) override;
    size_t get_count() const { return _count; }

private:
    UTOStream & _ostream;
    size_t _count;
};

// Counts what comes out of another stream, and ends with it.
class UTIStreamCounter : public UTIStream {
public:
    explicit UTIStreamCounter(UTIStream & s) : _istream(s), _count(0) {}
    size_t do_get(a_byte * dest, size_t size) override;
    size_t get_count() const { return _count; }

private:
    UTIStream & _istream;
    size_t _count;
};

// Counts what goes into or comes out of another stream, in that stream's own buffer. Until flush() the other
// stream and the count don't know of the last bytes, so nobody else may use it. It can be suspended while the
// other stream's buffer moves.
template<typename Stream> class UTBufferedCounter : public Stream, public UTSuspendable {
public:
    explicit UTBufferedCounter(Stream & s) : Stream(s.ptr(), s.lim()), _stream(s), _count(0)
    {
        if (s.eof()) {
            this->_eof = TRUE;
        }
    }
    ~UTBufferedCounter() override { flush(); }
    void set_eof() override
    {
        flush();
        Stream::set_eof();
    }
    UTSuspendable * get_suspendable() override { return this; }
    void flush();
    size_t get_count() const { return _count; }

    void do_suspend() override { _saved_ptr = _stream.ptr(); }
    void do_resume() override;

protected:
    // `more` is how the other stream goes on when its buffer is used up.
    void go_on(void (Stream::*more)());

private:
    Stream & _stream;
    size_t _count;
    decltype(std::declval<Stream &>().ptr()) _saved_ptr = nullptr; // the other stream's when suspended
};

class UTBufferedOStreamCounter : public UTBufferedCounter<UTBufferedOStream> {
public:
    using UTBufferedCounter::UTBufferedCounter;
    void make_room() override { go_on(&UTBufferedOStream::make_room); }
};

class UTBufferedIStreamCounter : public UTBufferedCounter<UTBufferedIStream> {
public:
    using UTBufferedCounter::UTBufferedCounter;
    void refill() override { go_on(&UTBufferedIStream::refill); }
};

inline void UTBufferedOStream::store(const a_byte * src, size_t size)
{
    std::memcpy(_ptr, src, size);
    _ptr += size;
}

inline void UTBufferedIStream::fetch(a_byte * dest, size_t size)
{
    std::memcpy(dest, _ptr, size);
    _ptr += size;
}

// The two limits differ: a write that would fill the buffer exactly takes the long way, which still takes it
// whole, and a read that empties the buffer exactly doesn't.
inline size_t UTOStream::put(const a_byte * src, size_t size)
{
    if (!_is_buffered) {
        return do_put(src, size);
    }
    auto * buffered = static_cast<UTBufferedOStream *>(this);
    if (size < buffered->free_bytes() && size != 0) {
        buffered->store(src, size);
        return size;
    }
    return buffered->UTBufferedOStream::do_put(src, size);
}

inline size_t UTOStream::put(a_byte c)
{
    return put(&c, 1);
}

inline size_t UTIStream::get(a_byte * dest, size_t size)
{
    if (!_is_buffered) {
        return do_get(dest, size);
    }
    auto * buffered = static_cast<UTBufferedIStream *>(this);
    if (size <= buffered->unread_bytes() && size != 0) {
        buffered->fetch(dest, size);
        return size;
    }
    return buffered->UTBufferedIStream::do_get(dest, size);
}
