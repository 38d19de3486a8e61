// What every collation has in common: the values it is made with, and the abstract base of the table-driven
// and the ICU implementation. Users go through UTCollation (utcollation.h).
//
// The values of the sensitivities are ASCII letters and are stored as such.
//
// Units: bytes. A character is a lead byte and the 0 to 3 trailing bytes that it announces; a string may end
// inside one. Ownership: nothing is owned but what close() gives up; character set, row and locale outlive
// the object. Failure: none to report; a short destination cuts. Comparison results are negative, 0 or
// positive, and their size means nothing. Threads: after construction everything but close() only reads, so
// any number of threads may share an object.
#pragma once

#include <cstddef>

#include "utils/etc/uttypes.h"
#include "utils/locale/utlocale.h"

class UTBufferedIStream;
class UTCollationTailoring;
class UTIStream;
class UTOStream;

enum a_case_sensitivity : int32 {
    CASE_INSENSITIVE = 'n',
    CASE_SENSITIVE = 'A',
    CASE_SENSITIVE_CAPS_FIRST = 'A',
    CASE_SENSITIVE_LOWER_FIRST = 'a'
};

enum an_accent_sensitivity : int32 {
    ACCENT_INSENSITIVE = 'n',
    ACCENT_SENSITIVE = 'y',
    ACCENT_SENSITIVE_FRENCH = 'f'
};

enum a_punctuation_sensitivity : int32 {
    PUNCTUATION_SENSITIVE_PRIMARY = 'p',
    PUNCTUATION_SENSITIVE_QUATERNARY = 'q',
    PUNCTUATION_INSENSITIVE = 'i'
};

enum a_sort_type : int32 {
    SORTTYPE_UNKNOWN = 0,
    SORTTYPE_PHONEBOOK = 1,
    SORTTYPE_TRADITIONAL = 2,
    SORTTYPE_STANDARD = 3,
    SORTTYPE_PINYIN = 4,
    SORTTYPE_STROKE = 5,
    SORTTYPE_DIRECT = 6,
    SORTTYPE_POSIX = 7,
    SORTTYPE_BIG5HAN = 8,
    SORTTYPE_GB2312 = 9
};

enum a_sortkey_bound_type : int32 { LOWER_INCLUSIVE = 0, UPPER_INCLUSIVE = 1 };

class UTCollationImplementationBase {
public:
    // The virtual operations stand in the order of their slots, which is fixed.
    virtual ~UTCollationImplementationBase() = default;

    // Gives up what the implementation holds. It is the whole of the clean-up: the destructor does no more.
    virtual void close() = 0;

    // The class of the character at `str`: 1 or 0, and 0 for a `size` of 0.
    virtual a_byte do_is_alpha(const a_byte * str, size_t size) const = 0;
    virtual a_byte do_is_num(const a_byte * str, size_t size) const = 0;
    virtual a_byte do_is_alphanum(const a_byte * str, size_t size) const = 0;
    virtual a_byte do_is_space(const a_byte * str, size_t size) const = 0;

    // The start of the first character from `base` on whose successor is at or past `curr`: the character in
    // front of `curr`, or the one that `curr` is inside of. `curr` itself if it isn't after `base`, which
    // begins a character. Walks from `base`.
    virtual a_byte * prev_character(const a_byte * base, const a_byte * curr) const;

    // Zero-terminated strings, streams up to their end, and counted strings, where a zero byte is a byte like
    // others. Streams are read as far as the answer needs.
    virtual int trancmp(const a_byte * s1, const a_byte * s2) const = 0;
    virtual int trancmp(UTIStream & i1, UTIStream & i2) const = 0;
    virtual int trancmp(UTBufferedIStream & i1, size_t len1, UTBufferedIStream & i2, size_t len2) const = 0;
    virtual int trancmp(const a_byte * s1, size_t len1, const a_byte * s2, size_t len2) const = 0;
    // Zero-terminated strings, or their first `len` bytes, which then need no terminator.
    virtual int tranncmp(const a_byte * s1, const a_byte * s2, size_t len) const = 0;

    // Map the first character of `src`. The result is the bytes written to `dest`, without a terminator.
    virtual size_t char_tolower(a_byte * dest, size_t dest_size, const a_byte * src,
                                size_t src_size) const = 0;
    virtual size_t char_toupper(a_byte * dest, size_t dest_size, const a_byte * src,
                                size_t src_size) const = 0;
    // Map a counted string, which may be `dest` itself. The result is the bytes written to `dest`; a
    // terminator that it doesn't count follows where there is room.
    virtual size_t str_tolower(a_byte * dest, size_t dest_size, const a_byte * src,
                               size_t src_size) const = 0;
    virtual size_t str_toupper(a_byte * dest, size_t dest_size, const a_byte * src,
                               size_t src_size) const = 0;
    // Map a stream to its end. The result is the bytes that `output` took.
    virtual size_t str_tolower(UTOStream & output, UTIStream & input) const = 0;
    virtual size_t str_toupper(UTOStream & output, UTIStream & input) const = 0;

    // Compares one character of each string. The outputs, when not null, get the start of the next
    // character, never beyond `max1` and `max2`.
    virtual int compare_character(const a_byte * s1, const a_byte * max1, const a_byte ** p_left_off1,
                                  const a_byte * s2, const a_byte * max2,
                                  const a_byte ** p_left_off2) const = 0;

    // Does `str` begin with `prefix`? `*match_end` is the place in `str` behind what has matched.
    virtual a_bool is_prefix(const a_byte * prefix, const a_byte * prefix_end, const a_byte * str,
                             const a_byte * str_end, a_byte ** match_end) const = 0;

    // May a caller map the case first and compare afterwards?
    virtual a_bool case_translation_preserves_sort_order() const = 0;

    // A number that orders as the string does, by its first `hist_string_hash_bytes` bytes. `fmt` has no
    // effect.
    virtual double hist_hash(const a_byte * str, size_t len, uint32 fmt,
                             size_t hist_string_hash_bytes) const = 0;
    // A string with that number. `buff` holds hist_string_hash_bytes + 1 bytes; `buff_size` isn't looked at.
    virtual void hist_unhash(double hash, a_byte * buff, size_t buff_size, size_t fmt,
                             size_t hist_string_hash_bytes) const = 0;

    // Strings that compare equal have the same hash.
    virtual unsigned int id_hash(const a_byte * id, size_t len) const = 0;

    // A buffer size to offer for a sort key; not a maximum.
    virtual size_t suggested_sortkey_length(size_t source_len) const = 0;

    // Sort keys: byte strings that order, as unsigned bytes, as their strings do. A key ends in a zero byte
    // that the result counts; one that fills `dest` is cut and has none. `src_size` of a stream is the most
    // that is taken from it.
    virtual size_t sortkey_prefix(a_byte * dest, size_t dest_size, const a_byte * src,
                                  size_t src_size) const = 0;
    virtual size_t sortkey_prefix(a_byte * dest, size_t dest_size, UTIStream & src) const = 0;
    virtual size_t sortkey_prefix(a_byte * dest, size_t dest_size, UTBufferedIStream & src,
                                  size_t src_size) const = 0;
    // An older form of the key, comparable with its own kind alone. It takes all of the stream.
    virtual size_t sortkey_prefix_tessel(a_byte * dest, size_t dest_size, UTIStream & src) const = 0;
    virtual size_t sortkey_prefix_tessel(a_byte * dest, size_t dest_size, UTBufferedIStream & src,
                                         size_t src_size) const = 0;

    // A key at the lower or the upper end of a range of strings. The result is the bytes written; a `dest` of
    // no bytes gets nothing.
    virtual size_t sortkey_bound(a_sortkey_bound_type bound_type, a_byte * dest, size_t dest_size,
                                 const a_byte * src_sortkey, size_t src_sortkey_size) const = 0;

    // Did the collation fall back on ICU's default data?
    virtual a_bool from_default() const = 0;

    // The number of bytes that follow lead byte `b` in its character.
    size_t nbytes_following(a_byte b) const { return _flags[b] & PACKED_TRAILING_BYTES; }
    size_t nbytes_in_char(a_byte b) const { return nbytes_following(b) + 1; }
    const a_byte * next_character(const a_byte * p) const { return p + nbytes_in_char(*p); }
    // A character that runs past the end counts.
    size_t num_characters(const a_byte * string, size_t bytes) const;
    // Copies as much of the character at `src` as `dst_len` and `src_end` allow. The result is the bytes
    // copied, 0 with nothing at `src`.
    size_t copy_character(a_byte * dst, size_t dst_len, const a_byte * src, const a_byte * src_end) const;

    const CharsetInfo * charset() const { return _charset; }
    const CollationInfo * collation() const { return _collation; }
    a_case_sensitivity get_case_sensitivity() const { return _case_sensitivity; }
    an_accent_sensitivity get_accent_sensitivity() const { return _accent_sensitivity; }
    a_punctuation_sensitivity get_punctuation_sensitivity() const { return _punctuation_sensitivity; }
    a_sort_type get_sort_type() const { return _sort_type; }

    UTCollationImplementationBase(const UTCollationImplementationBase &) = delete;
    UTCollationImplementationBase & operator=(const UTCollationImplementationBase &) = delete;

protected:
    // `flags` is a packed table's, 256 bytes; null stands for the one of `cs_info`, which then has one.
    UTCollationImplementationBase(UTLocale * locale, const CollationInfo * coll_info,
                                  const CharsetInfo * cs_info, const a_byte * flags,
                                  const UTCollationTailoring & tailoring);

    // The bytes of the character at `str`, as far as they stand before `end`.
    size_t bytes_before(const a_byte * str, const a_byte * end) const;

    const CharsetInfo * _charset; // of the strings this object is given
    const CollationInfo * _collation;
    UTLocale * _locale; // may be null
    a_bool _is_mbcs;
    a_byte _flags[256];
    a_case_sensitivity _case_sensitivity;
    an_accent_sensitivity _accent_sensitivity;
    a_punctuation_sensitivity _punctuation_sensitivity;
    a_sort_type _sort_type;
};
static_assert(sizeof(UTCollationImplementationBase) == 312);

// The bounds of a key, once an implementation has said which bytes of it take part.
size_t lower_sortkey_bound(a_byte * dest, size_t dest_size, const a_byte * key, size_t key_size);
size_t upper_sortkey_bound(a_byte * dest, size_t dest_size, const a_byte * key, size_t key_size);
// The length of a key without the zero byte at its end.
size_t unterminated_sortkey_size(const a_byte * key, size_t key_size);
