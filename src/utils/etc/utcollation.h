// UTCollation, the object through which text is walked, compared, case-mapped and hashed in a character set;
// an_mbcs_character, one character by value; and the stored form of a custom collation.
//
// A UTCollation is commonly a local variable: the implementation is built in place inside it, and nothing is
// allocated. From the end of its constructor on it always holds one. A setter closes it and builds another
// in the same storage; the tailoring it is given may go away afterwards. Operations and their contracts are
// those of UTCollationImplementationBase.
//
// Units: bytes. Ownership: none; rows, character sets and the locale outlive the object. Failure: a setter's
// result, and nothing is reported. Threads: as long as no setter or close() runs, any number may share one.
#pragma once

#include <new>
#include <type_traits>

#include "utils/etc/clibinit.h"
#include "utils/etc/collationbase.h"
#include "utils/etc/icu_collation.h"
#include "utils/etc/legacy_collation.h"
#include "utils/etc/uttypes.h"
#include "utils/locale/utlocale.h"

union UTCollationImplementationPlaceholder {
    a_byte _orv_collation[sizeof(LegacyCollation)];
    a_byte _icu_collation[sizeof(ICUCollation)];
    void * _force_alignment;
};
static_assert(alignof(UTCollationImplementationPlaceholder) >= alignof(LegacyCollation));
static_assert(alignof(UTCollationImplementationPlaceholder) >= alignof(ICUCollation));

class UTCollation : public CLibInit {
public:
    // The operating system's collation, or the row C for a null `locale`; sensitive to neither case nor
    // accents, and to punctuation at the first level.
    explicit UTCollation(UTLocale * locale);
    ~UTCollation() { close(); }
    UTCollation(const UTCollation &) = delete;
    UTCollation & operator=(const UTCollation &) = delete;

    // The row C over its character set.
    a_bool set_c_collation(const UTCollationTailoring & tailoring);
    // The operating system's collation over the character set that the row requires.
    a_bool set_os_collation(const UTCollationTailoring & tailoring);
    // Without an accent value: as sensitive to accents as to case.
    a_bool set_c_collation(a_case_sensitivity case_sensitivity);
    a_bool set_os_collation(a_case_sensitivity case_sensitivity);
    a_bool set_c_collation(a_case_sensitivity case_sensitivity, an_accent_sensitivity accent_sensitivity);
    a_bool set_os_collation(a_case_sensitivity case_sensitivity, an_accent_sensitivity accent_sensitivity);
    // Any row. `packed` replaces a legacy row's tables and may be null; it has no effect on an ICU row, which
    // needs a `locale` and a `charset` with a packed collation. The last argument has no effect. FALSE: a
    // legacy row that requires another character set, and the object is what it was; or an ICU row whose
    // tailoring had to be mended, and the object is usable.
    a_bool set_collation(UTLocale * locale, const CollationInfo * collation, const CharsetInfo * charset,
                         const a_packed_collation_order * packed, const UTCollationTailoring & tailoring,
                         a_bool allow_mismatched_packed_data_for_custom_collations);

    void close() { coll()->close(); }

    UTCollationImplementationBase * coll() { return view<UTCollationImplementationBase>(); }
    const UTCollationImplementationBase * coll() const { return view<UTCollationImplementationBase>(); }
    // The storage as one of the implementations, which has to be the one that is there.
    LegacyCollation * legacy_coll() { return view<LegacyCollation>(); }
    const LegacyCollation * legacy_coll() const { return view<LegacyCollation>(); }
    ICUCollation * icu_coll() { return view<ICUCollation>(); }
    const ICUCollation * icu_coll() const { return view<ICUCollation>(); }

    // ---- Forwarded to the implementation

    const CharsetInfo * charset() const { return coll()->charset(); }
    const CollationInfo * collation() const { return coll()->collation(); }
    a_case_sensitivity get_case_sensitivity() const { return coll()->get_case_sensitivity(); }
    an_accent_sensitivity get_accent_sensitivity() const { return coll()->get_accent_sensitivity(); }
    a_punctuation_sensitivity get_punctuation_sensitivity() const
    {
        return coll()->get_punctuation_sensitivity();
    }
    a_sort_type get_sort_type() const { return coll()->get_sort_type(); }

    size_t nbytes_following(a_byte b) const { return coll()->nbytes_following(b); }
    size_t nbytes_following(char c) const { return nbytes_following(static_cast<a_byte>(c)); }
    size_t nbytes_in_char(a_byte b) const { return coll()->nbytes_in_char(b); }
    size_t nbytes_in_char(char c) const { return nbytes_in_char(static_cast<a_byte>(c)); }
    bool is_lead(a_byte b) const { return nbytes_following(b) != 0; }

    // A string that ends inside a character is left behind its end: the caller looks at that.
    const a_byte * next_character(const a_byte * p) const { return coll()->next_character(p); }
    a_byte * next_character(a_byte * p) const { return p + nbytes_in_char(*p); }
    const char * next_character(const char * p) const { return p + nbytes_in_char(*p); }
    char * next_character(char * p) const { return p + nbytes_in_char(*p); }
    a_byte * prev_character(const a_byte * base, const a_byte * curr) const
    {
        return coll()->prev_character(base, curr);
    }
    char * prev_character(const char * base, const char * curr) const
    {
        return chars(prev_character(bytes(base), bytes(curr)));
    }
    size_t num_characters(const a_byte * string, size_t size) const
    {
        return coll()->num_characters(string, size);
    }
    size_t num_characters(const char * string, size_t size) const
    {
        return num_characters(bytes(string), size);
    }
    size_t copy_character(a_byte * dst, size_t dst_len, const a_byte * src, const a_byte * src_end) const
    {
        return coll()->copy_character(dst, dst_len, src, src_end);
    }
    size_t copy_character(char * dst, size_t dst_len, const char * src, const char * src_end) const
    {
        return copy_character(bytes(dst), dst_len, bytes(src), bytes(src_end));
    }

    a_byte do_is_alpha(const a_byte * str, size_t size) const { return coll()->do_is_alpha(str, size); }
    a_byte do_is_num(const a_byte * str, size_t size) const { return coll()->do_is_num(str, size); }
    a_byte do_is_alphanum(const a_byte * str, size_t size) const { return coll()->do_is_alphanum(str, size); }
    a_byte do_is_space(const a_byte * str, size_t size) const { return coll()->do_is_space(str, size); }
    a_byte is_alpha(const char * str, size_t size) const { return do_is_alpha(bytes(str), size); }
    a_byte is_digit(const char * str, size_t size) const { return do_is_num(bytes(str), size); }
    a_byte is_alphanum(const char * str, size_t size) const { return do_is_alphanum(bytes(str), size); }
    a_byte is_space(const char * str, size_t size) const { return do_is_space(bytes(str), size); }

    int trancmp(const a_byte * s1, const a_byte * s2) const { return coll()->trancmp(s1, s2); }
    int trancmp(const char * s1, const char * s2) const { return trancmp(bytes(s1), bytes(s2)); }
    int trancmp(UTIStream & i1, UTIStream & i2) const { return coll()->trancmp(i1, i2); }
    int trancmp(UTBufferedIStream & i1, size_t len1, UTBufferedIStream & i2, size_t len2) const
    {
        return coll()->trancmp(i1, len1, i2, len2);
    }
    int trancmp(const a_byte * s1, size_t len1, const a_byte * s2, size_t len2) const
    {
        return coll()->trancmp(s1, len1, s2, len2);
    }
    int trancmp(const char * s1, size_t len1, const char * s2, size_t len2) const
    {
        return trancmp(bytes(s1), len1, bytes(s2), len2);
    }
    int tranncmp(const a_byte * s1, const a_byte * s2, size_t len) const
    {
        return coll()->tranncmp(s1, s2, len);
    }
    int tranncmp(const char * s1, const char * s2, size_t len) const
    {
        return tranncmp(bytes(s1), bytes(s2), len);
    }

    size_t char_tolower(a_byte * dest, size_t dest_size, const a_byte * src, size_t src_size) const
    {
        return coll()->char_tolower(dest, dest_size, src, src_size);
    }
    size_t char_tolower(char * dest, size_t dest_size, const char * src, size_t src_size) const
    {
        return char_tolower(bytes(dest), dest_size, bytes(src), src_size);
    }
    size_t char_toupper(a_byte * dest, size_t dest_size, const a_byte * src, size_t src_size) const
    {
        return coll()->char_toupper(dest, dest_size, src, src_size);
    }
    size_t char_toupper(char * dest, size_t dest_size, const char * src, size_t src_size) const
    {
        return char_toupper(bytes(dest), dest_size, bytes(src), src_size);
    }
    size_t str_tolower(a_byte * dest, size_t dest_size, const a_byte * src, size_t src_size) const
    {
        return coll()->str_tolower(dest, dest_size, src, src_size);
    }
    size_t str_tolower(char * dest, size_t dest_size, const char * src, size_t src_size) const
    {
        return str_tolower(bytes(dest), dest_size, bytes(src), src_size);
    }
    size_t str_toupper(a_byte * dest, size_t dest_size, const a_byte * src, size_t src_size) const
    {
        return coll()->str_toupper(dest, dest_size, src, src_size);
    }
    size_t str_toupper(char * dest, size_t dest_size, const char * src, size_t src_size) const
    {
        return str_toupper(bytes(dest), dest_size, bytes(src), src_size);
    }
    size_t str_tolower(UTOStream & output, UTIStream & input) const
    {
        return coll()->str_tolower(output, input);
    }
    size_t str_toupper(UTOStream & output, UTIStream & input) const
    {
        return coll()->str_toupper(output, input);
    }

    int compare_character(const a_byte * s1, const a_byte * max1, const a_byte ** p_left_off1,
                          const a_byte * s2, const a_byte * max2, const a_byte ** p_left_off2) const
    {
        return coll()->compare_character(s1, max1, p_left_off1, s2, max2, p_left_off2);
    }
    int compare_character(const char * s1, const char * max1, const char ** p_left_off1, const char * s2,
                          const char * max2, const char ** p_left_off2) const;
    a_bool is_prefix(const a_byte * prefix, const a_byte * prefix_end, const a_byte * str,
                     const a_byte * str_end, a_byte ** match_end) const
    {
        return coll()->is_prefix(prefix, prefix_end, str, str_end, match_end);
    }
    a_bool is_prefix(const char * prefix, const char * prefix_end, const char * str, const char * str_end,
                     char ** match_end) const;
    a_bool case_translation_preserves_sort_order() const
    {
        return coll()->case_translation_preserves_sort_order();
    }

    double hist_hash(const a_byte * str, size_t len, uint32 fmt, size_t hist_string_hash_bytes) const
    {
        return coll()->hist_hash(str, len, fmt, hist_string_hash_bytes);
    }
    double hist_hash(const char * str, size_t len, uint32 fmt, size_t hist_string_hash_bytes) const
    {
        return hist_hash(bytes(str), len, fmt, hist_string_hash_bytes);
    }
    void hist_unhash(double hash, a_byte * buff, size_t buff_size, size_t fmt,
                     size_t hist_string_hash_bytes) const
    {
        coll()->hist_unhash(hash, buff, buff_size, fmt, hist_string_hash_bytes);
    }
    void hist_unhash(double hash, char * buff, size_t buff_size, size_t fmt,
                     size_t hist_string_hash_bytes) const
    {
        hist_unhash(hash, bytes(buff), buff_size, fmt, hist_string_hash_bytes);
    }
    unsigned int id_hash(const a_byte * id, size_t len) const { return coll()->id_hash(id, len); }
    unsigned int id_hash(const char * id, size_t len) const { return id_hash(bytes(id), len); }

    size_t suggested_sortkey_length(size_t source_len) const
    {
        return coll()->suggested_sortkey_length(source_len);
    }
    size_t sortkey_prefix(a_byte * dest, size_t dest_size, const a_byte * src, size_t src_size) const
    {
        return coll()->sortkey_prefix(dest, dest_size, src, src_size);
    }
    size_t sortkey_prefix(a_byte * dest, size_t dest_size, const char * src, size_t src_size) const
    {
        return sortkey_prefix(dest, dest_size, bytes(src), src_size);
    }
    size_t sortkey_prefix(a_byte * dest, size_t dest_size, UTIStream & src) const
    {
        return coll()->sortkey_prefix(dest, dest_size, src);
    }
    size_t sortkey_prefix(a_byte * dest, size_t dest_size, UTBufferedIStream & src, size_t src_size) const
    {
        return coll()->sortkey_prefix(dest, dest_size, src, src_size);
    }
    size_t sortkey_prefix_tessel(a_byte * dest, size_t dest_size, UTIStream & src) const
    {
        return coll()->sortkey_prefix_tessel(dest, dest_size, src);
    }
    size_t sortkey_prefix_tessel(a_byte * dest, size_t dest_size, UTBufferedIStream & src,
                                 size_t src_size) const
    {
        return coll()->sortkey_prefix_tessel(dest, dest_size, src, src_size);
    }
    size_t sortkey_bound(a_sortkey_bound_type bound_type, a_byte * dest, size_t dest_size,
                         const a_byte * src_sortkey, size_t src_sortkey_size) const
    {
        return coll()->sortkey_bound(bound_type, dest, dest_size, src_sortkey, src_sortkey_size);
    }
    a_bool from_default() const { return coll()->from_default(); }

private:
    a_bool do_set_collation(a_bool do_close, UTLocale * locale, const CollationInfo * collation,
                            const CharsetInfo * charset, const a_packed_collation_order * packed,
                            const UTCollationTailoring & tailoring,
                            a_bool allow_mismatched_packed_data_for_custom_collations);

    // Either implementation begins with its base, so the storage's address is that of all three.
    template<typename View> View * view()
    {
        return std::launder(reinterpret_cast<View *>(_coll._orv_collation));
    }
    template<typename View> const View * view() const
    {
        return std::launder(reinterpret_cast<const View *>(_coll._orv_collation));
    }

    static const a_byte * bytes(const char * text) { return reinterpret_cast<const a_byte *>(text); }
    static a_byte * bytes(char * text) { return reinterpret_cast<a_byte *>(text); }
    static char * chars(a_byte * text) { return reinterpret_cast<char *>(text); }

    UTCollationImplementationPlaceholder _coll;
};
static_assert(sizeof(UTCollation) == sizeof(UTCollationImplementationPlaceholder));

// One character by value: what streams hand out in multi-byte text. It may be cut, where its string was.
// Comparisons and classes are those of its collation, which outlives it.
class an_mbcs_character {
public:
    explicit an_mbcs_character(const UTCollation * collation) : _collation(collation) { clear(); }

    // Empty, as a new one.
    void clear();
    a_bool defined() const { return _actual_length != 0; }
    // The first character of the text from `src` to `src_end`, as far as it is there; empty if nothing is.
    void set(const a_byte * src, const a_byte * src_end);
    // The first byte, with no trailing ones so far.
    void set_first(a_byte b);
    // One trailing byte more; nothing happens when there is no room for it.
    void append(a_byte b);

    size_t length() const { return _actual_length; }
    // What the first byte announces, 0 when empty.
    size_t expected_length() const { return defined() ? _collation->nbytes_in_char(_bytes[0]) : 0; }
    a_bool is_lead() const { return expected_length() > 1; }
    a_bool is_alpha() const { return flag(PACKED_ALPHA); }
    a_bool is_digit() const { return flag(PACKED_DIGIT); }
    a_bool is_space() const { return flag(PACKED_SPACE); }

    // The length() bytes of the character.
    const a_byte * get() const { return _bytes; }

    void toupper();
    void tolower();

    // Negative, 0 or positive; an empty one comes first.
    int cmp(const an_mbcs_character & other) const
    {
        return _collation->trancmp(_bytes, _actual_length, other._bytes, other._actual_length);
    }
    bool operator==(const an_mbcs_character & other) const { return cmp(other) == 0; }
    bool operator!=(const an_mbcs_character & other) const { return cmp(other) != 0; }
    bool operator<(const an_mbcs_character & other) const { return cmp(other) < 0; }
    bool operator<=(const an_mbcs_character & other) const { return cmp(other) <= 0; }
    bool operator>(const an_mbcs_character & other) const { return cmp(other) > 0; }
    bool operator>=(const an_mbcs_character & other) const { return cmp(other) >= 0; }

private:
    // Is it of that class, a PACKED_ bit? Asks the collation once.
    a_bool flag(a_byte mask) const;
    void take_mapped(const a_byte * mapped, size_t len);

    const UTCollation * _collation;
    a_byte _bytes[4];
    a_byte _actual_length;
    mutable a_byte _flags_known; // the bits of `_flags` that are valid
    mutable a_byte _flags;
};
static_assert(sizeof(an_mbcs_character) == 16);

// What stands before a stored custom collation.
struct a_collation_defn_head {
    a_byte length = 2; // of this head
    a_byte version = 0;
};
static_assert(sizeof(a_collation_defn_head) == 2);

// The stored form of a custom collation: a head, and this block as it is. Integers are in the machine's byte
// order. Texts are zero-terminated inside their fields; a reader of a stored record can't rely on that, nor
// on the values of the sensitivities.
struct a_custom_collation_info {
    char orv_collation_label[51] = {};
    char charset_label[51] = {};
    char kep_so_case[51] = {};     // sort order of the sibling server family, case sensitive
    char kep_so_caseless[51] = {}; // the same, case insensitive
    char description[129] = {};    // shown for a label that no row of the catalogue has
    char tailoring[193] = {};      // the ICU locale string
    char padding1[2] = {};
    a_case_sensitivity case_sensitivity = CASE_INSENSITIVE;
    an_accent_sensitivity accent_sensitivity = ACCENT_INSENSITIVE;
    a_punctuation_sensitivity punctuation_sensitivity = PUNCTUATION_SENSITIVE_PRIMARY;
    a_byte collation_type = 0; // a_collation_type
    char padding2[3] = {};
    a_sort_type sort_type = SORTTYPE_UNKNOWN;
    a_packed_collation_order packed = {};

    // A legacy collation from its parts; `order` is 1,280 bytes, the texts are cut to their fields. Other
    // fields stay as they are.
    void set(const char * orv_label, const char * name, const a_byte * order, const char * charset);
    // The collation that these four make, without a description; `sort_type` stays as it is.
    void set(const CollationInfo * collation, const CharsetInfo * charset,
             const a_packed_collation_order * order, const UTCollationTailoring & collation_tailoring);

    // FALSE: the stream took less than all.
    a_bool serialize(UTOStream & output) const;
    // FALSE: no record of this form, or one that doesn't end its stream; this record may hold part of it.
    a_bool deserialize(UTIStream & input);
};
static_assert(sizeof(a_custom_collation_info) == 1828 &&
              std::is_trivially_copyable_v<a_custom_collation_info>);
static_assert(offsetof(a_custom_collation_info, charset_label) == 51);
static_assert(offsetof(a_custom_collation_info, kep_so_case) == 102);
static_assert(offsetof(a_custom_collation_info, kep_so_caseless) == 153);
static_assert(offsetof(a_custom_collation_info, description) == 204);
static_assert(offsetof(a_custom_collation_info, tailoring) == 333);
static_assert(offsetof(a_custom_collation_info, case_sensitivity) == 528);
static_assert(offsetof(a_custom_collation_info, accent_sensitivity) == 532);
static_assert(offsetof(a_custom_collation_info, punctuation_sensitivity) == 536);
static_assert(offsetof(a_custom_collation_info, collation_type) == 540);
static_assert(offsetof(a_custom_collation_info, sort_type) == 544);
static_assert(offsetof(a_custom_collation_info, packed) == 548);
