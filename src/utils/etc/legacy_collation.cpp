#include "utils/etc/legacy_collation.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <emmintrin.h>
#include <iterator>
#include <limits>

#include "utils/etc/utstream.h"
#include "utils/locale/tailoring.h"

namespace {

// What the stream forms read at a time.
constexpr size_t PIECE_SIZE = 256;

// ---- Strings by the rule by which they end: next() gives their bytes one by one, and false at the end.

class TerminatedSource {
public:
    explicit TerminatedSource(const a_byte * string) : _next(string) {}
    bool next(a_byte & b)
    {
        b = *_next++;
        return b != 0;
    }

private:
    const a_byte * _next;
};

class CountedSource {
public:
    CountedSource(const a_byte * string, size_t len) : _next(string), _left(len) {}
    bool next(a_byte & b)
    {
        if (_left == 0) {
            return false;
        }
        _left--;
        b = *_next++;
        return true;
    }

private:
    const a_byte * _next;
    size_t _left;
};

class LimitedSource {
public:
    LimitedSource(const a_byte * string, size_t limit) : _counted(string, limit) {}
    bool next(a_byte & b) { return _counted.next(b) && b != 0; }

private:
    CountedSource _counted;
};

class StreamSource {
public:
    explicit StreamSource(UTIStream & stream) : _stream(stream) {}
    bool next(a_byte & b) { return _stream.get(b) == 1; }

private:
    UTIStream & _stream;
};

template<typename Word> Word load(const a_byte * p)
{
    Word value = 0;
    memcpy(&value, p, sizeof(value));
    return value;
}

// ---- Sort keys under construction

// The bytes written so far; what doesn't fit is lost.
class KeyBuffer {
public:
    KeyBuffer(a_byte * dest, size_t size) : _dest(dest), _size(size) {}

    size_t room() const { return _size - _len; }
    void put(a_byte b)
    {
        if (_len < _size) {
            _dest[_len++] = b;
        }
    }
    // The terminator, if there is room for it; the length of the key.
    size_t finish()
    {
        put(0);
        return _len;
    }

    // The key's place, for code that has made sure of room.
    a_byte * end() { return _dest + _len; }
    void bump(size_t len) { _len += len; }

private:
    a_byte * _dest;
    size_t _size;
    size_t _len = 0;
};

// 0xFF begins the two bytes of the values 254 and 255, and so no value is a zero byte.
constexpr a_byte FIRST_ESCAPED = 254;

// The key whose byte order is that of trancmp.
class SortKey : public KeyBuffer {
public:
    using KeyBuffer::KeyBuffer;
    // The trailing bytes that the next piece begins with.
    size_t owed = 0;

    void put_lead(a_byte v)
    {
        if (v < FIRST_ESCAPED) {
            put(static_cast<a_byte>(v + 1));
        } else {
            put(0xFF);
            put(v);
        }
    }
    void put_trailing(a_byte v) { put_lead(v); }

    // As put_lead of the position of each byte, for as many bytes as have room; the result is their number.
    size_t put_leads(const a_byte * sortpos, const a_byte * src, size_t len)
    {
        size_t done = 0;
        while (done < len && room() > 0) {
            const size_t run = std::min({len - done, room(), RUN_SIZE});
            if (put_unescaped(sortpos, src + done, run)) {
                done += run;
                continue;
            }
            for (const size_t end = done + run; done < end && room() > 0; done++) {
                put_lead(sortpos[src[done]]);
            }
        }
        return done;
    }

private:
    // How much is written again where one byte of it needs an escape.
    static constexpr size_t RUN_SIZE = 64;

    // Writes a run, which isn't empty, as if none of its bytes needed an escape and looks only then, so that
    // there is no branch for each byte. False: one did, and nothing has been put.
    bool put_unescaped(const a_byte * sortpos, const a_byte * src, size_t len)
    {
        const uint64 escaped = len >= sizeof(uint64)   ? put_words<uint64>(end(), sortpos, src, len)
                               : len >= sizeof(uint32) ? put_words<uint32>(end(), sortpos, src, len)
                                                       : put_words<a_byte>(end(), sortpos, src, len);
        if (escaped != 0) {
            return false;
        }
        bump(len);
        return true;
    }

    // Of at least one word. The last one may overlap the one before: it writes the same bytes there. The
    // result is that of to_escape.
    template<typename Word>
    static uint64 put_words(a_byte * to, const a_byte * sortpos, const a_byte * src, size_t len)
    {
        const size_t last = len - sizeof(Word);
        uint64 escaped = put_word<Word>(to + last, sortpos, src + last);
        for (size_t i = 0; i < last; i += sizeof(Word)) {
            escaped |= put_word<Word>(to + i, sortpos, src + i);
        }
        return escaped;
    }

    // With one load and one store.
    template<typename Word> static uint64 put_word(a_byte * to, const a_byte * sortpos, const a_byte * src)
    {
        constexpr uint64 ONES = 0x0101010101010101;
        const uint64 bytes = load<Word>(src);
        uint64 positions = 0;
        for (unsigned shift = 0; shift < 8 * sizeof(Word); shift += 8) {
            positions |= uint64{sortpos[(bytes >> shift) & 0xFF]} << shift;
        }
        const auto encoded =
            static_cast<Word>(positions + ONES); // no carry, or else the run is written again
        memcpy(to, &encoded, sizeof(encoded));
        return to_escape(positions);
    }

    // Not 0 if one of eight values needs an escape: its high bit is set, and adding 2 to the others sets it
    // again.
    static uint64 to_escape(uint64 values)
    {
        static_assert(FIRST_ESCAPED == 0xFE);
        constexpr uint64 HIGH_BITS = 0x8080808080808080;
        constexpr uint64 TWOS = 0x0202020202020202;
        return values & ((values & ~HIGH_BITS) + TWOS) & HIGH_BITS;
    }
};

// The older key: the second byte of an escape begins at 0, and trailing bytes stand for themselves.
class TesselKey : public KeyBuffer {
public:
    using KeyBuffer::KeyBuffer;
    size_t owed = 0;

    void put_lead(a_byte v)
    {
        if (v < FIRST_ESCAPED) {
            put(static_cast<a_byte>(v + 1));
        } else {
            put(0xFF);
            put(static_cast<a_byte>(v - FIRST_ESCAPED));
        }
    }
    void put_trailing(a_byte v) { put(v); }
    size_t put_leads(const a_byte *, const a_byte *, size_t) { return 0; }
};

__m128i load_block(const a_byte * p)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
}

// The bits of the bytes at which sixteen bytes of the strings differ.
unsigned differing_bytes(__m128i s1, __m128i s2)
{
    return 0xFFFFU ^ static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(s1, s2)));
}

constexpr size_t BLOCK = 16;
constexpr size_t QUARTER = BLOCK / 4;

// As `condition ? a : b`, for conditions that can't be foreseen: the compiler would make a branch of that.
template<typename Number> Number choose(bool condition, Number a, Number b)
{
    return b ^ ((a ^ b) & (Number{0} - Number{condition}));
}

size_t lesser(size_t a, size_t b)
{
    return choose(a < b, a, b);
}

// The bytes of a string of QUARTER to BLOCK bytes, of which the last ones may be there more than once: its
// quarters begin at these places.
__m128i load_quarters(const a_byte * p, size_t second, size_t third, size_t last)
{
    const auto quarter = [p](size_t at) { return _mm_cvtsi32_si128(static_cast<int>(load<uint32>(p + at))); };
    return _mm_unpacklo_epi64(_mm_unpacklo_epi32(quarter(0), quarter(second)),
                              _mm_unpacklo_epi32(quarter(third), quarter(last)));
}

// The first place at which strings of QUARTER to BLOCK bytes differ; `len` if there is none. Most strings are
// words and names, and neither their lengths nor the places where they differ can be foreseen: a branch on
// either costs more than all this.
size_t first_difference_short(const a_byte * s1, const a_byte * s2, size_t len)
{
    const size_t last = len - QUARTER;
    const size_t second = lesser(QUARTER, last);
    const size_t third = lesser(2 * QUARTER, last);
    const unsigned differing =
        differing_bytes(load_quarters(s1, second, third, last), load_quarters(s2, second, third, last));
    const size_t place = static_cast<size_t>(__builtin_ctz(differing | 1U << BLOCK));
    // Without a difference the place is that of a fifth quarter, behind the last one.
    const size_t quarter = lesser(place & ~(QUARTER - 1), last + (place & BLOCK) / 4);
    return quarter + (place & (QUARTER - 1));
}

// The same for BLOCK to two BLOCKs.
size_t first_difference_medium(const a_byte * s1, const a_byte * s2, size_t len)
{
    const size_t last = len - BLOCK;
    const uint64 differing = differing_bytes(load_block(s1), load_block(s2)) |
                             uint64{differing_bytes(load_block(s1 + last), load_block(s2 + last))} << BLOCK;
    const size_t place = static_cast<size_t>(__builtin_ctzll(differing | uint64{1} << 2 * BLOCK));
    return place + choose<size_t>(place < BLOCK, 0, last - BLOCK);
}

// The first place at which the strings differ; `len` if there is none.
size_t first_difference(const a_byte * s1, const a_byte * s2, size_t len)
{
    size_t at = 0;
    if (len < QUARTER) {
        for (; at < len && s1[at] == s2[at]; at++) {
        }
        return at;
    }
    for (; len - at > 2 * BLOCK; at += BLOCK) {
        const unsigned differing = differing_bytes(load_block(s1 + at), load_block(s2 + at));
        if (differing != 0) {
            return at + static_cast<size_t>(__builtin_ctz(differing));
        }
    }
    const size_t left = len - at;
    return at + (left > BLOCK ? first_difference_medium(s1 + at, s2 + at, left)
                              : first_difference_short(s1 + at, s2 + at, left));
}

} // namespace

LegacyCollation::LegacyCollation(UTLocale * locale, const CollationInfo * coll_info,
                                 const a_packed_collation_order * packed,
                                 const UTCollationTailoring & tailoring)
    : UTCollationImplementationBase(locale, coll_info, coll_info->required_charset(), packed->flags,
                                    tailoring)
{
    memcpy(_toupper, packed->toupper, sizeof(_toupper));
    memcpy(_tolower, packed->tolower, sizeof(_tolower));
    memcpy(_sortpos, _case_sensitivity == CASE_INSENSITIVE ? packed->insensitive : packed->sensitive,
           sizeof(_sortpos));
    reset(packed);
}

void LegacyCollation::reset(const a_packed_collation_order * packed)
{
    _is_mbcs = _charset->is_mbcs();
    // Working it out takes longer than all the rest, and for the catalogue's own tables it is known.
    _case_translation_preserves_sort_order =
        packed == _charset->get_packed_collation()
            ? UTLocale::CaseMappingKeepsOrder(_charset, _case_sensitivity != CASE_INSENSITIVE)
            : compute_case_translation_preserves_sort_order();
}

bool LegacyCollation::compute_case_translation_preserves_sort_order() const
{
    for (size_t i = 0; i < std::size(_sortpos); i++) {
        if (_sortpos[_tolower[i]] != _sortpos[i] || _sortpos[_toupper[i]] != _sortpos[i]) {
            return false;
        }
    }
    return true;
}

void LegacyCollation::close() {}

a_bool LegacyCollation::from_default() const
{
    return FALSE;
}

size_t LegacyCollation::suggested_sortkey_length(size_t source_len) const
{
    return source_len;
}

a_bool LegacyCollation::case_translation_preserves_sort_order() const
{
    return _case_translation_preserves_sort_order;
}

// ---- Classes of characters

a_byte LegacyCollation::do_is_alpha(const a_byte * str, size_t size) const
{
    return size > 0 && (_flags[*str] & PACKED_ALPHA) != 0;
}

a_byte LegacyCollation::do_is_num(const a_byte * str, size_t size) const
{
    return size > 0 && (_flags[*str] & PACKED_DIGIT) != 0;
}

a_byte LegacyCollation::do_is_alphanum(const a_byte * str, size_t size) const
{
    return size > 0 && (_flags[*str] & (PACKED_ALPHA | PACKED_DIGIT)) != 0;
}

a_byte LegacyCollation::do_is_space(const a_byte * str, size_t size) const
{
    return size > 0 && (_flags[*str] & PACKED_SPACE) != 0;
}

// ---- Comparison

template<typename Source> int LegacyCollation::compare(Source & s1, Source & s2) const
{
    size_t owed = 0; // trailing bytes that string 1 has announced
    for (;;) {
        a_byte b1 = 0;
        a_byte b2 = 0;
        const bool more1 = s1.next(b1);
        const bool more2 = s2.next(b2);
        if (!more1 || !more2) {
            return int{more1} - int{more2};
        }
        const int difference = owed > 0 ? b1 - b2 : _sortpos[b1] - _sortpos[b2];
        if (difference != 0) {
            return difference;
        }
        owed = owed > 0 ? owed - 1 : trailing_bytes(b1);
    }
}

// Strings whose first bytes, if both have one, have equal positions. Equal bytes have equal positions, so
// bytes are looked up only where the strings differ.
int LegacyCollation::compare_single_bytes(const a_byte * s1, size_t len1, const a_byte * s2,
                                          size_t len2) const
{
    const int by_length = int{len1 > len2} - int{len1 < len2};
    const size_t common = std::min(len1, len2);
    if (common == 0) {
        return by_length;
    }
    for (size_t at = 1;; at++) {
        at += first_difference(s1 + at, s2 + at, common - at);
        const size_t place = choose<size_t>(at < common, at, 0);
        const int by_position = _sortpos[s1[place]] - _sortpos[s2[place]];
        const int difference = choose(at < common, by_position, by_length);
        if (difference != 0 || at >= common) {
            return difference;
        }
    }
}

int LegacyCollation::trancmp(const a_byte * s1, const a_byte * s2) const
{
    TerminatedSource source1(s1);
    TerminatedSource source2(s2);
    return compare(source1, source2);
}

int LegacyCollation::trancmp(UTIStream & i1, UTIStream & i2) const
{
    StreamSource source1(i1);
    StreamSource source2(i2);
    return compare(source1, source2);
}

int LegacyCollation::trancmp(UTBufferedIStream & i1, size_t, UTBufferedIStream & i2, size_t) const
{
    return trancmp(static_cast<UTIStream &>(i1), static_cast<UTIStream &>(i2));
}

// Most strings differ in their first character, and its lead byte tells in every character set.
int LegacyCollation::trancmp(const a_byte * s1, size_t len1, const a_byte * s2, size_t len2) const
{
    if (len1 > 0 && len2 > 0) {
        const int difference = _sortpos[*s1] - _sortpos[*s2];
        if (difference != 0) {
            return difference;
        }
    }
    return compare_counted(s1, len1, s2, len2);
}

int LegacyCollation::compare_counted(const a_byte * s1, size_t len1, const a_byte * s2, size_t len2) const
{
    if (_is_mbcs) {
        CountedSource source1(s1, len1);
        CountedSource source2(s2, len2);
        return compare(source1, source2);
    }
    return compare_single_bytes(s1, len1, s2, len2);
}

int LegacyCollation::tranncmp(const a_byte * s1, const a_byte * s2, size_t len) const
{
    LimitedSource source1(s1, len);
    LimitedSource source2(s2, len);
    return compare(source1, source2);
}

int LegacyCollation::compare_character(const a_byte * s1, const a_byte * max1, const a_byte ** p_left_off1,
                                       const a_byte * s2, const a_byte * max2,
                                       const a_byte ** p_left_off2) const
{
    const size_t len1 = bytes_before(s1, max1);
    const size_t len2 = bytes_before(s2, max2);
    if (p_left_off1 != nullptr) {
        *p_left_off1 = s1 + len1;
    }
    if (p_left_off2 != nullptr) {
        *p_left_off2 = s2 + len2;
    }
    const size_t common = std::min(len1, len2);
    if (common > 0 && _sortpos[*s1] != _sortpos[*s2]) {
        return _sortpos[*s1] - _sortpos[*s2];
    }
    const int trailing = common > 1 ? memcmp(s1 + 1, s2 + 1, common - 1) : 0;
    return trailing != 0 ? trailing : static_cast<int>(len1) - static_cast<int>(len2);
}

// Does the character at `str` have the trailing bytes of the one at `prefix`, which is cut after `len` bytes?
// A cut character matches only one that is cut at the same place.
bool LegacyCollation::trailing_bytes_match(const a_byte * prefix, size_t len, const a_byte * str,
                                           const a_byte * str_end) const
{
    const auto available = static_cast<size_t>(str_end - str);
    const bool is_cut = len <= trailing_bytes(*prefix);
    const bool is_there = is_cut ? available == len : available >= len;
    return is_there && (len == 1 || memcmp(prefix + 1, str + 1, len - 1) == 0);
}

a_bool LegacyCollation::is_prefix(const a_byte * prefix, const a_byte * prefix_end, const a_byte * str,
                                  const a_byte * str_end, a_byte ** match_end) const
{
    bool matches = true;
    while (prefix < prefix_end && str < str_end) {
        const size_t len = std::min(trailing_bytes(*prefix) + 1, static_cast<size_t>(prefix_end - prefix));
        matches = _sortpos[*prefix] == _sortpos[*str] && trailing_bytes_match(prefix, len, str, str_end);
        if (!matches) {
            break;
        }
        prefix += len;
        str += len;
    }
    *match_end = const_cast<a_byte *>(str); // callers that may write to their text get it back so
    return matches && prefix >= prefix_end;
}

// ---- Case mapping

size_t LegacyCollation::map_char(const a_byte * map, a_byte * dest, size_t dest_size, const a_byte * src,
                                 size_t src_size) const
{
    if (src_size == 0 || dest_size == 0 || trailing_bytes(*src) > 0) {
        return copy_character(dest, dest_size, src, src + src_size);
    }
    *dest = map[*src];
    return 1;
}

size_t LegacyCollation::map_piece(const a_byte * map, a_byte * dest, const a_byte * src, size_t len,
                                  size_t owed) const
{
    if (!_is_mbcs) {
        for (size_t i = 0; i < len; i++) {
            dest[i] = map[src[i]];
        }
        return 0;
    }
    for (size_t i = 0; i < len; i++) {
        const a_byte b = src[i];
        const bool single = owed == 0 && trailing_bytes(b) == 0;
        owed = owed > 0 ? owed - 1 : trailing_bytes(b);
        dest[i] = single ? map[b] : b;
    }
    return owed;
}

size_t LegacyCollation::map_str(const a_byte * map, a_byte * dest, size_t dest_size, const a_byte * src,
                                size_t src_size) const
{
    const size_t len = std::min(src_size, dest_size);
    (void)map_piece(map, dest, src, len, 0); // nothing follows that a cut character could go on in
    if (dest_size > len) {
        dest[len] = 0;
    }
    return len;
}

size_t LegacyCollation::zap_stream(const a_byte * map, UTOStream & output, UTIStream & input) const
{
    a_byte piece[PIECE_SIZE];
    size_t owed = 0;
    size_t written = 0;
    for (size_t len = input.get(piece, sizeof(piece)); len > 0; len = input.get(piece, sizeof(piece))) {
        owed = map_piece(map, piece, piece, len, owed);
        written += output.put(piece, len);
    }
    return written;
}

size_t LegacyCollation::char_tolower(a_byte * dest, size_t dest_size, const a_byte * src,
                                     size_t src_size) const
{
    return map_char(_tolower, dest, dest_size, src, src_size);
}

size_t LegacyCollation::char_toupper(a_byte * dest, size_t dest_size, const a_byte * src,
                                     size_t src_size) const
{
    return map_char(_toupper, dest, dest_size, src, src_size);
}

size_t LegacyCollation::str_tolower(a_byte * dest, size_t dest_size, const a_byte * src,
                                    size_t src_size) const
{
    return map_str(_tolower, dest, dest_size, src, src_size);
}

size_t LegacyCollation::str_toupper(a_byte * dest, size_t dest_size, const a_byte * src,
                                    size_t src_size) const
{
    return map_str(_toupper, dest, dest_size, src, src_size);
}

size_t LegacyCollation::str_tolower(UTOStream & output, UTIStream & input) const
{
    return zap_stream(_tolower, output, input);
}

size_t LegacyCollation::str_toupper(UTOStream & output, UTIStream & input) const
{
    return zap_stream(_toupper, output, input);
}

// ---- Sort keys

template<typename Key> void LegacyCollation::encode_piece(Key & key, const a_byte * src, size_t len) const
{
    size_t at = _is_mbcs ? 0 : key.put_leads(_sortpos, src, len);
    for (; at < len && key.room() > 0; at++) {
        if (key.owed > 0) {
            key.owed--;
            key.put_trailing(src[at]);
        } else {
            key.owed = trailing_bytes(src[at]);
            key.put_lead(_sortpos[src[at]]);
        }
    }
}

size_t LegacyCollation::sortkey_prefix(a_byte * dest, size_t dest_size, const a_byte * src,
                                       size_t src_size) const
{
    SortKey key(dest, dest_size);
    encode_piece(key, src, src_size);
    return key.finish();
}

size_t LegacyCollation::sortkey_prefix(a_byte * dest, size_t dest_size, UTIStream & src) const
{
    constexpr size_t ALL = std::numeric_limits<size_t>::max();
    if (src.is_buffered()) {
        return sortkey_prefix(dest, dest_size, static_cast<UTBufferedIStream &>(src), ALL);
    }
    a_byte piece[PIECE_SIZE];
    UTIStreamBuffer stream(src, piece, sizeof(piece));
    return sortkey_prefix(dest, dest_size, stream, ALL);
}

// The source is consumed even where the key is full: a caller relies on where the stream stands afterwards.
size_t LegacyCollation::sortkey_prefix(a_byte * dest, size_t dest_size, UTBufferedIStream & src,
                                       size_t src_size) const
{
    SortKey key(dest, dest_size);
    size_t available = 0;
    const a_byte * piece = src.get_piece(&available);
    while (available > 0 && src_size > 0) {
        const size_t len = std::min(available, src_size);
        encode_piece(key, piece, len);
        src.bump(len);
        src_size -= len;
        if (src_size > 0) {
            piece = src.get_piece(&available);
        }
    }
    return key.finish();
}

size_t LegacyCollation::sortkey_prefix_tessel(a_byte * dest, size_t dest_size, UTIStream & src) const
{
    a_byte piece[PIECE_SIZE];
    TesselKey key(dest, dest_size);
    for (size_t len = src.get(piece, sizeof(piece)); len > 0; len = src.get(piece, sizeof(piece))) {
        encode_piece(key, piece, len);
    }
    return key.finish();
}

size_t LegacyCollation::sortkey_prefix_tessel(a_byte * dest, size_t dest_size, UTBufferedIStream & src,
                                              size_t) const
{
    return sortkey_prefix_tessel(dest, dest_size, static_cast<UTIStream &>(src));
}

size_t LegacyCollation::sortkey_bound(a_sortkey_bound_type bound_type, a_byte * dest, size_t dest_size,
                                      const a_byte * src_sortkey, size_t src_sortkey_size) const
{
    const size_t size = unterminated_sortkey_size(src_sortkey, src_sortkey_size);
    return bound_type == LOWER_INCLUSIVE ? lower_sortkey_bound(dest, dest_size, src_sortkey, size)
                                         : upper_sortkey_bound(dest, dest_size, src_sortkey, size);
}

// ---- Hashes

unsigned int LegacyCollation::id_hash(const a_byte * id, size_t len) const
{
    unsigned int hash = 5381; // start and factor of Bernstein's string hash
    for (size_t i = 0; i < len; i++) {
        hash = hash * 33 + _sortpos[id[i]];
    }
    return hash;
}

// The number is the string read as digits of base 256, so that it orders as the string does.
double LegacyCollation::hist_hash(const a_byte * str, size_t len, uint32, size_t hist_string_hash_bytes) const
{
    double hash = 0.0;
    for (size_t i = 0; i < hist_string_hash_bytes; i++) {
        hash = hash * 256.0 + (i < len ? _sortpos[str[i]] : 0);
    }
    return hash;
}

void LegacyCollation::hist_unhash(double hash, a_byte * buff, size_t, size_t,
                                  size_t hist_string_hash_bytes) const
{
    if (hist_string_hash_bytes == 0) {
        return;
    }
    buff[hist_string_hash_bytes] = 0;
    double x = hash;
    for (size_t at = hist_string_hash_bytes; at > 0; at--) {
        const double digit = std::fmod(x, 256.0);
        // An infinite number, as more than 127 bytes make one, has no digits.
        buff[at - 1] = byte_at_sortpos(std::isnan(digit) ? 0 : static_cast<a_byte>(static_cast<int>(digit)));
        x = std::floor(x * 0.00390625); // 1 / 256
    }
}

a_byte LegacyCollation::byte_at_sortpos(a_byte sortpos) const
{
    if (sortpos == 0) {
        return 0;
    }
    const a_byte * end = std::end(_sortpos);
    const a_byte * found = std::find(_sortpos + 1, end, sortpos);
    return found != end ? static_cast<a_byte>(found - _sortpos) : '?';
}
