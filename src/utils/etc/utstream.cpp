#include "utils/etc/utstream.h"

#include <algorithm>

#include "utils/etc/native64.h"
#include "utils/etc/utcollation.h"

namespace {

// Work areas on the stack for streams without a buffer. Copies of a known size go by pages; copies of all
// there is, which are short as a rule, and comparisons, which tend to end early, by less.
constexpr size_t COPY_PIECE_SIZE = 4096;
constexpr size_t COPY_ALL_PIECE_SIZE = 1024;
constexpr size_t COMPARE_PIECE_SIZE = 1024;
constexpr size_t COMPARE_FIRST_PIECE_SIZE = 16;

// A sign, the digits of 64 bits in decimal, and the terminator.
constexpr size_t NUMBER_SIZE = 22;

// Reads until `dest` is full or the stream gives nothing more.
size_t get_all(UTIStream & i, a_byte * dest, size_t size)
{
    size_t done = 0;
    while (done < size && !i.eof()) {
        const size_t got = i.get(dest + done, size - done);
        if (got == 0) {
            break;
        }
        done += got;
    }
    return done;
}

// As memcmp, and then by the lengths.
int compare_bytes(const a_byte * a, size_t a_len, const a_byte * b, size_t b_len)
{
    const int order = std::memcmp(a, b, std::min(a_len, b_len));
    if (order != 0 || a_len == b_len) {
        return order;
    }
    return a_len < b_len ? -1 : 1;
}

int compare_by_pieces(UTIStream & a, UTIStream & b)
{
    a_byte a_piece[COMPARE_PIECE_SIZE];
    a_byte b_piece[COMPARE_PIECE_SIZE];
    for (size_t size = COMPARE_FIRST_PIECE_SIZE;; size = std::min(size * 2, COMPARE_PIECE_SIZE)) {
        const size_t a_len = get_all(a, a_piece, size);
        const size_t b_len = get_all(b, b_piece, size);
        const int order = compare_bytes(a_piece, a_len, b_piece, b_len);
        if (order != 0 || a_len < size) {
            return order;
        }
    }
}

// Reads straight into the buffer of `o`.
void append_in_place(UTIStream & i, UTBufferedOStream & o)
{
    while (!i.eof() && !o.eof()) {
        size_t space = 0;
        a_byte * const dest = o.get_space(&space);
        const size_t got = dest != nullptr ? i.get(dest, space) : 0;
        if (got == 0) {
            return; // one of both is at its end
        }
        o.bump(got);
    }
}

} // namespace

UTSuspendable::~UTSuspendable()
{
    if (_is_registered) {
        _mgr->Deregister(this);
    }
}

void UTSuspendable::suspend()
{
    if (!_is_suspended) {
        do_suspend();
        _is_suspended = TRUE;
    }
}

void UTSuspendable::resume()
{
    if (_is_suspended) {
        do_resume();
        _is_suspended = FALSE;
    }
}

UTSuspendManager::~UTSuspendManager()
{
    while (HasRegistrants()) {
        Deregister(static_cast<UTSuspendable *>(_registrants.next));
    }
}

void UTSuspendManager::Register(UTSuspendable * suspendable)
{
    if (suspendable->_is_registered) {
        suspendable->_mgr->Deregister(suspendable);
    }
    c_utils_link * const last = _registrants.prev;
    suspendable->prev = last;
    suspendable->next = &_registrants;
    last->next = suspendable;
    _registrants.prev = suspendable;
    suspendable->_mgr = this;
    suspendable->_is_registered = TRUE;
}

void UTSuspendManager::Deregister(UTSuspendable * suspendable)
{
    if (suspendable->_mgr != this) {
        return;
    }
    suspendable->prev->next = suspendable->next;
    suspendable->next->prev = suspendable->prev;
    suspendable->next = suspendable;
    suspendable->prev = suspendable;
    suspendable->_mgr = nullptr;
    suspendable->_is_registered = FALSE;
}

void UTSuspendManager::SuspendAll()
{
    for (c_utils_link * node = _registrants.next; node != &_registrants; node = node->next) {
        static_cast<UTSuspendable *>(node)->suspend();
    }
}

void UTSuspendManager::ResumeAll()
{
    for (c_utils_link * node = _registrants.next; node != &_registrants; node = node->next) {
        static_cast<UTSuspendable *>(node)->resume();
    }
}

UTOStream & UTOStream::operator<<(a_byte c)
{
    (void)put(c); // eof tells whether it has been taken; so below
    return *this;
}

UTOStream & UTOStream::operator<<(char c)
{
    return *this << static_cast<a_byte>(c);
}

UTOStream & UTOStream::operator<<(const a_byte * string)
{
    return *this << reinterpret_cast<const char *>(string);
}

UTOStream & UTOStream::operator<<(const char * string)
{
    (void)put(string);
    return *this;
}

UTOStream & UTOStream::operator<<(char * string)
{
    return *this << static_cast<const char *>(string);
}

UTOStream & UTOStream::operator<<(int16 value)
{
    return *this << static_cast<int64>(value);
}

UTOStream & UTOStream::operator<<(uint16 value)
{
    return *this << static_cast<uint64>(value);
}

UTOStream & UTOStream::operator<<(int32 value)
{
    return *this << static_cast<int64>(value);
}

UTOStream & UTOStream::operator<<(uint32 value)
{
    return *this << static_cast<uint64>(value);
}

UTOStream & UTOStream::operator<<(int64 value)
{
    char text[NUMBER_SIZE];
    return *this << i64toa(value, text, 10);
}

UTOStream & UTOStream::operator<<(uint64 value)
{
    char text[NUMBER_SIZE];
    return *this << u64toa(value, text, 10);
}

UTOStream & UTOStream::operator<<(const an_mbcs_character & c)
{
    (void)put(c.get(), c.length());
    return *this;
}

size_t UTIStream::skip(size_t size)
{
    a_byte piece[COPY_PIECE_SIZE];
    size_t done = 0;
    while (done < size && !_eof) {
        const size_t got = get(piece, std::min(size - done, sizeof(piece)));
        if (got == 0) {
            break;
        }
        done += got;
    }
    return done;
}

void UTIStream::append_to(UTOStream & o, size_t size)
{
    a_byte piece[COPY_PIECE_SIZE];
    size_t rest = size;
    while (rest != 0 && !_eof && !o.eof()) {
        const size_t got = get(piece, std::min(rest, sizeof(piece)));
        if (got == 0) {
            set_eof();
            return;
        }
        rest -= o.put(piece, got);
    }
}

void UTIStream::safe_append_to(UTOStream & o)
{
    if (o.is_buffered()) {
        append_in_place(*this, static_cast<UTBufferedOStream &>(o));
        return;
    }
    a_byte piece[COPY_ALL_PIECE_SIZE];
    while (!_eof && !o.eof()) {
        const size_t got = get(piece, sizeof(piece));
        if (got == 0) {
            set_eof();
            return;
        }
        (void)o.put(piece, got); // what it doesn't take is lost, and its eof ends the loop
    }
}

void UTIStream::do_get_mbcs(an_mbcs_character & c)
{
    a_byte b = 0;
    if (get(b) == 0) {
        c.clear();
        return;
    }
    c.set_first(b);
    for (size_t left = c.expected_length() - 1; left != 0 && get(b) != 0; --left) {
        c.append(b);
    }
}

UTIStream & UTIStream::operator>>(an_mbcs_character & c)
{
    do_get_mbcs(c);
    return *this;
}

UTIStream & UTIStream::operator>>(a_byte & c)
{
    (void)get(c); // eof tells whether it has been there
    return *this;
}

UTIStream & UTIStream::operator>>(uint32 & value)
{
    a_byte bytes[sizeof(value)];
    if (get_all(*this, bytes, sizeof(bytes)) == sizeof(bytes)) {
        std::memcpy(&value, bytes, sizeof(bytes));
    }
    return *this;
}

int UTIStream::compare(UTIStream & other)
{
    if (_is_buffered && other._is_buffered) {
        return static_cast<UTBufferedIStream *>(this)->compare(static_cast<UTBufferedIStream &>(other));
    }
    return compare_by_pieces(*this, other);
}

void UTBufferedOStream::set_eof()
{
    UTOStream::set_eof();
    setp(nullptr, nullptr);
}

size_t UTBufferedOStream::do_put(const a_byte * src, size_t size)
{
    if (size != 0 && size <= free_bytes()) {
        store(src, size);
        return size;
    }
    if (_eof || size == 0) {
        return 0;
    }
    size_t done = 0;
    for (;;) {
        const size_t piece = std::min(size - done, free_bytes());
        if (piece != 0) {
            store(src + done, piece);
            done += piece;
        }
        if (done == size) {
            return size;
        }
        make_room();
        if (_eof) {
            return done;
        }
    }
}

a_byte * UTBufferedOStream::get_space(size_t * size)
{
    if (_ptr == _lim && !_eof) {
        make_room();
    }
    *size = free_bytes();
    return _ptr;
}

size_t UTBufferedIStream::skip(size_t size)
{
    if (size <= unread_bytes()) {
        bump(size);
        return size;
    }
    if (_eof) {
        return 0;
    }
    size_t done = 0;
    for (;;) {
        const size_t piece = std::min(size - done, unread_bytes());
        bump(piece);
        done += piece;
        if (done == size) {
            return size;
        }
        refill();
        if (_eof) {
            return done;
        }
    }
}

void UTBufferedIStream::append_to(UTOStream & o, size_t size)
{
    size_t rest = size;
    while (!_eof && rest != 0) {
        const size_t piece = std::min(rest, unread_bytes());
        const bool last = piece == rest;
        const size_t taken = o.put(_ptr, piece);
        bump(taken);
        rest -= taken;
        // A stream that takes nothing and isn't at its end breaks its promise; this must not go on for ever.
        if (o.eof() || last || (piece != 0 && taken == 0)) {
            return;
        }
        if (_ptr == _lim) {
            refill();
        }
    }
}

void UTBufferedIStream::set_eof()
{
    UTIStream::set_eof();
    setp(nullptr, nullptr);
}

size_t UTBufferedIStream::do_get(a_byte * dest, size_t size)
{
    if (size != 0 && size <= unread_bytes()) {
        fetch(dest, size);
        return size;
    }
    if (_eof || size == 0) {
        return 0;
    }
    size_t done = 0;
    for (;;) {
        const size_t piece = std::min(size - done, unread_bytes());
        if (piece != 0) {
            fetch(dest + done, piece);
            done += piece;
        }
        if (done == size) {
            return size;
        }
        refill();
        if (_eof) {
            return done;
        }
    }
}

const a_byte * UTBufferedIStream::get_piece(size_t * size)
{
    if (_ptr == _lim && !_eof) {
        refill();
    }
    *size = unread_bytes();
    return _ptr;
}

void UTBufferedIStream::get_mbcs(an_mbcs_character & c)
{
    if (_ptr != _lim) {
        c.set_first(*_ptr);
        if (const size_t len = c.expected_length(); len <= unread_bytes()) {
            c.set(_ptr, _ptr + len);
            bump(len);
            return;
        }
    }
    do_get_mbcs(c);
}

int UTBufferedIStream::compare(UTBufferedIStream & other)
{
    for (;;) {
        size_t size = 0;
        size_t other_size = 0;
        const a_byte * const piece = get_piece(&size);
        const a_byte * const other_piece = other.get_piece(&other_size);
        if (size == 0 || other_size == 0) {
            return static_cast<int>(size != 0) - static_cast<int>(other_size != 0);
        }
        const size_t both = std::min(size, other_size);
        const int order = std::memcmp(piece, other_piece, both);
        bump(both);
        other.bump(both);
        if (order != 0) {
            return order;
        }
    }
}

UTStrOStream::UTStrOStream(char * s, size_t len) : _start(len != 0 ? s : nullptr)
{
    if (len == 0) {
        _eof = TRUE;
        return;
    }
    auto * const start = reinterpret_cast<a_byte *>(s);
    setp(start, start + len - 1);
}

UTStrOStream::~UTStrOStream()
{
    AddNullTerminator();
}

void UTStrOStream::set_eof()
{
    AddNullTerminator();
    UTBufferedOStream::set_eof();
}

void UTStrOStream::AddNullTerminator()
{
    if (!_eof) {
        *_ptr = '\0';
    }
}

UTOStreamBuffer::UTOStreamBuffer(UTOStream & s, a_byte * buf, size_t len)
    : UTBufferedOStream(buf, buf + len), _ostream(s), _buf(buf), _len(len)
{
    if (len == 0) {
        UTBufferedOStream::set_eof();
    }
}

UTOStreamBuffer::~UTOStreamBuffer()
{
    write_out();
}

void UTOStreamBuffer::set_eof()
{
    write_out();
    UTBufferedOStream::set_eof();
}

void UTOStreamBuffer::make_room()
{
    write_out();
    setp(_buf, _buf + _len);
}

void UTOStreamBuffer::write_out()
{
    (void)_ostream.put(_buf, amount_buffered()); // its user can ask it for its eof
}

void UTIStreamBuffer::refill()
{
    const size_t got = _istream.get(_buf, _len);
    if (got == 0) {
        set_eof();
        return;
    }
    setp(_buf, _buf + got);
}

size_t UTOStreamCounter::do_put(const a_byte * src, size_t size)
{
    if (_eof) {
        return 0;
    }
    const size_t taken = _ostream.put(src, size);
    _count += taken;
    if (_ostream.eof()) {
        set_eof();
    }
    return taken;
}

size_t UTIStreamCounter::do_get(a_byte * dest, size_t size)
{
    if (_eof) {
        return 0;
    }
    const size_t got = _istream.get(dest, size);
    _count += got;
    if (_istream.eof()) {
        set_eof();
    }
    return got;
}

template<typename Stream> void UTBufferedCounter<Stream>::go_on(void (Stream::*more)())
{
    flush();
    if (!_stream.eof()) {
        (_stream.*more)();
    }
    if (_stream.eof()) {
        set_eof();
        return;
    }
    this->setp(_stream.ptr(), _stream.lim());
}

template<typename Stream> void UTBufferedCounter<Stream>::flush()
{
    if (this->_eof || _stream.eof()) {
        return; // nothing is shared any more
    }
    const auto moved = static_cast<size_t>(this->_ptr - _stream.ptr());
    _stream.bump(moved);
    _count += moved;
}

template<typename Stream> void UTBufferedCounter<Stream>::do_resume()
{
    if (UTSuspendable * const inner = _stream.get_suspendable(); inner != nullptr) {
        inner->resume();
    }
    if (this->_eof) {
        return;
    }
    if (_stream.eof()) { // it has ended meanwhile, and its buffer is gone
        set_eof();
        return;
    }
    // The buffer may be elsewhere now; what lies between the pointers has moved with it.
    this->setp(_stream.ptr() + (this->_ptr - _saved_ptr), _stream.ptr() + (this->_lim - _saved_ptr));
}

template class UTBufferedCounter<UTBufferedOStream>;
template class UTBufferedCounter<UTBufferedIStream>;
