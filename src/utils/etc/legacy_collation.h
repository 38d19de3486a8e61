// The table-driven collation. A string is a run of characters, each a lead byte and up to three trailing
// bytes; lead bytes go through the tables of one packed collation, trailing bytes stand for themselves. There
// is one level: characters with the same sort position are equal and nothing breaks that tie, and so accent,
// punctuation and sort type of a tailoring change nothing.
//
// Contracts are those of UTCollationImplementationBase. A string cut inside a character compares as if it
// ended there. Nothing is allocated and close() has nothing to give up. Strings in multi-byte character sets
// keep their multi-byte characters in every case mapping.
#pragma once

#include "utils/etc/collationbase.h"

class LegacyCollation final : public UTCollationImplementationBase {
public:
    // The tables are copied from `packed`; the character set is the one that the row requires.
    LegacyCollation(UTLocale * locale, const CollationInfo * coll_info,
                    const a_packed_collation_order * packed, const UTCollationTailoring & tailoring);

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
    void reset(const a_packed_collation_order * packed);
    bool compute_case_translation_preserves_sort_order() const;

    size_t trailing_bytes(a_byte lead) const { return _is_mbcs ? nbytes_following(lead) : 0; }

    template<typename Source> int compare(Source & s1, Source & s2) const;
    [[gnu::noinline]] int compare_counted(const a_byte * s1, size_t len1, const a_byte * s2,
                                          size_t len2) const;
    int compare_single_bytes(const a_byte * s1, size_t len1, const a_byte * s2, size_t len2) const;
    bool trailing_bytes_match(const a_byte * prefix, size_t len, const a_byte * str,
                              const a_byte * str_end) const;

    size_t map_char(const a_byte * map, a_byte * dest, size_t dest_size, const a_byte * src,
                    size_t src_size) const;
    size_t map_str(const a_byte * map, a_byte * dest, size_t dest_size, const a_byte * src,
                   size_t src_size) const;
    // Maps `len` bytes of text, which may be `dest` itself. The first `owed` bytes belong to a character
    // begun before; the result is how many bytes the last character still lacks.
    size_t map_piece(const a_byte * map, a_byte * dest, const a_byte * src, size_t len, size_t owed) const;
    size_t zap_stream(const a_byte * map, UTOStream & output, UTIStream & input) const;

    template<typename Key> void encode_piece(Key & key, const a_byte * src, size_t len) const;
    // The smallest byte with that position; 0 for position 0, '?' where there is none.
    a_byte byte_at_sortpos(a_byte sortpos) const;

    a_byte _toupper[256];
    a_byte _tolower[256];
    a_byte _sortpos[256];
    a_bool _case_translation_preserves_sort_order;
};
static_assert(sizeof(LegacyCollation) == 1080);
