// The collation of an ICU build that is loaded at run time. The build gets text as it is, in a single-byte
// character set or UTF-8; nothing is converted to UTF-16 here. A multi-byte character set other than UTF-8 is
// taken for UTF-8, too.
//
// The build sees a beginning of a string of at most 1,024 bytes. Where two strings are equal in what it sees,
// a longer string sorts behind one that ends there, and two longer ones sort by their bytes, from the first
// one on. So the cost of a string is bounded and the order is total. Keys order as strings do.
//
// Contracts are those of UTCollationImplementationBase, but for: mapping case may change the length of a
// text, so it can't be done in place; buffered streams of known length hold exactly that, and are read as far
// as the answer needs; all forms of the sort key are one. Without a build, or with one that can't open the
// tailoring's locale, nothing can be compared: strings in a single-byte character set are each smaller than
// the other, and comparing others and building keys are assertions. UTLocale::ICUIsSupported tells before.
#pragma once

#include "utils/etc/collationbase.h"
#include "utils/locale/uticu.h"

class ICUCollation final : public UTCollationImplementationBase {
public:
    // `locale` isn't null and `charset` has a packed collation. *p_success is false if the tailoring's
    // quaternary punctuation lacked sensitivity to case or accents; these are forced on then and the object
    // is usable.
    ICUCollation(UTLocale * locale, const CollationInfo * collation, const CharsetInfo * charset,
                 const UTCollationTailoring & tailoring, a_bool * p_success);

    void close() override;
    a_byte do_is_alpha(const a_byte * str, size_t size) const override;
    a_byte do_is_num(const a_byte * str, size_t size) const override;
    a_byte do_is_alphanum(const a_byte * str, size_t size) const override;
    a_byte do_is_space(const a_byte * str, size_t size) const override;
    int trancmp(const a_byte * s1, const a_byte * s2) const override;
    int trancmp(UTIStream & i1, UTIStream & i2) const override;
    int trancmp(UTBufferedIStream & i1, size_t len1, UTBufferedIStream & i2, size_t len2) const override;
    int trancmp(const a_byte * s1, size_t len1, const a_byte * s2, size_t len2) const override;
    int tranncmp(const a_byte * s1, const a_byte * s2, size_t len) const override;
    size_t char_tolower(a_byte * dest, size_t dest_size, const a_byte * src, size_t src_size) const override;
    size_t char_toupper(a_byte * dest, size_t dest_size, const a_byte * src, size_t src_size) const override;
    size_t str_tolower(a_byte * dest, size_t dest_size, const a_byte * src, size_t src_size) const override;
    size_t str_toupper(a_byte * dest, size_t dest_size, const a_byte * src, size_t src_size) const override;
    size_t str_tolower(UTOStream & output, UTIStream & input) const override;
    size_t str_toupper(UTOStream & output, UTIStream & input) const override;
    int compare_character(const a_byte * s1, const a_byte * max1, const a_byte ** p_left_off1,
                          const a_byte * s2, const a_byte * max2, const a_byte ** p_left_off2) const override;
    a_bool is_prefix(const a_byte * prefix, const a_byte * prefix_end, const a_byte * str,
                     const a_byte * str_end, a_byte ** match_end) const override;
    a_bool case_translation_preserves_sort_order() const override;
    double hist_hash(const a_byte * str, size_t len, uint32 fmt,
                     size_t hist_string_hash_bytes) const override;
    void hist_unhash(double hash, a_byte * buff, size_t buff_size, size_t fmt,
                     size_t hist_string_hash_bytes) const override;
    unsigned int id_hash(const a_byte * id, size_t len) const override;
    size_t suggested_sortkey_length(size_t source_len) const override;
    size_t sortkey_prefix(a_byte * dest, size_t dest_size, const a_byte * src,
                          size_t src_size) const override;
    size_t sortkey_prefix(a_byte * dest, size_t dest_size, UTIStream & src) const override;
    size_t sortkey_prefix(a_byte * dest, size_t dest_size, UTBufferedIStream & src,
                          size_t src_size) const override;
    size_t sortkey_prefix_tessel(a_byte * dest, size_t dest_size, UTIStream & src) const override;
    size_t sortkey_prefix_tessel(a_byte * dest, size_t dest_size, UTBufferedIStream & src,
                                 size_t src_size) const override;
    size_t sortkey_bound(a_sortkey_bound_type bound_type, a_byte * dest, size_t dest_size,
                         const a_byte * src_sortkey, size_t src_sortkey_size) const override;
    a_bool from_default() const override;

private:
    friend class ICUFragmentedString;

    // A character mapping of the build, to upper or to lower case.
    using a_case_mapping = int32 (UTICU::*)(orv_output_func, void *, orv_utf16_input_func, void *,
                                            const char *, icu_abi::UErrorCode *) const;

    // The entry points for work with `_coll`, which they need.
    const UTICU & collating() const { return _coll != nullptr ? _icu : UTICU::no_build(); }

    size_t trimmed_prefix_len(const a_byte * buffer, size_t len) const;
    int do_contig_sbcs_compare(const a_byte * s1, size_t len1, const a_byte * s2, size_t len2) const;

    // The first character as a code point. False: it is cut, or no character.
    bool GetUChar32(const a_byte * str, size_t size, icu_abi::UChar32 * c) const;

    size_t map_char(a_case_mapping mapping, a_byte * dest, size_t dest_size, const a_byte * src,
                    size_t src_size) const;
    size_t map_str(a_case_mapping mapping, a_byte * dest, size_t dest_size, const a_byte * src,
                   size_t src_size) const;
    size_t convert_stream_case(UTOStream & output, UTIStream & input, a_case_mapping mapping) const;

    size_t do_sortkey_prefix(a_byte * dest, size_t dest_size, const a_byte * src, size_t src_size,
                             bool src_is_complete, bool * p_insufficient_src_prefix) const;

    const UTICU & _icu;        // the entry points, the locale's
    UCollator * _coll;         // owned; null without a build and after close()
    const a_utf16 * _to_utf16; // 256 values, the locale's; null in a multi-byte character set
    a_bool _from_default;
};
static_assert(sizeof(ICUCollation) == 344);
