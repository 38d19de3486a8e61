// The collation of an ICU build that is loaded at run time. No build is bound so far, so each object is what
// an object without a build is: it steps through characters, keeps the values that it was made with, and
// compares nothing. Comparing a multi-byte string and building a sort key then are assertions, as the caller
// should have asked UTLocale::ICUIsSupported first.
//
// Contracts are those of UTCollationImplementationBase.
#pragma once

#include "utils/etc/collationbase.h"

class UTICU;
struct UCollator;

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
    const UTICU & _icu;        // the entry points, the locale's
    UCollator * _coll;         // null without a build and after close()
    const a_utf16 * _to_utf16; // 256 values, the locale's; null in a multi-byte character set
    a_bool _from_default;
};
static_assert(sizeof(ICUCollation) == 344);
