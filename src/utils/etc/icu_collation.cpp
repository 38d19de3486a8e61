#include "utils/etc/icu_collation.h"

#include <algorithm>
#include <cstring>

#include "utils/etc/utassert.h"
#include "utils/locale/tailoring.h"

namespace {

constexpr const char * SOURCE_NAME = "utils/etc/icu_collation";

// Quaternary punctuation needs the levels of case and accents in front of its own.
bool quaternary_lacks_levels(const UTCollationTailoring & tailoring)
{
    return tailoring.GetPunctuationSensitivity() == PUNCTUATION_SENSITIVE_QUATERNARY &&
           (tailoring.GetCaseSensitivity() == CASE_INSENSITIVE ||
            tailoring.GetAccentSensitivity() == ACCENT_INSENSITIVE);
}

size_t failed_sortkey(a_byte * dest, size_t dest_size)
{
    UT_AssertStrFn("GetSortKeyPrefix failed", SOURCE_NAME, __LINE__);
    if (dest_size == 0) {
        return 0;
    }
    *dest = 0;
    return 1;
}

int failed_compare()
{
    UT_AssertStrFn("strcollIter failed", SOURCE_NAME, __LINE__);
    return 0;
}

// What a build that maps nothing leaves of a string.
size_t empty_string(a_byte * dest, size_t dest_size)
{
    if (dest_size > 0) {
        *dest = 0;
    }
    return 0;
}

} // namespace

ICUCollation::ICUCollation(UTLocale * locale, const CollationInfo * collation, const CharsetInfo * charset,
                           const UTCollationTailoring & tailoring, a_bool * p_success)
    : UTCollationImplementationBase(locale, collation, charset, nullptr, tailoring), _icu(locale->icu()),
      _coll(nullptr), _to_utf16(locale->FindOrLoadSBCSToUTF16(charset)), _from_default(FALSE)
{
    *p_success = !quaternary_lacks_levels(tailoring);
}

void ICUCollation::close()
{
    _coll = nullptr;
}

a_byte ICUCollation::do_is_alpha(const a_byte *, size_t) const
{
    return 0;
}

a_byte ICUCollation::do_is_num(const a_byte *, size_t) const
{
    return 0;
}

a_byte ICUCollation::do_is_alphanum(const a_byte *, size_t) const
{
    return 0;
}

a_byte ICUCollation::do_is_space(const a_byte *, size_t) const
{
    return 0;
}

int ICUCollation::trancmp(const a_byte * s1, const a_byte * s2) const
{
    return trancmp(s1, strlen(reinterpret_cast<const char *>(s1)), s2,
                   strlen(reinterpret_cast<const char *>(s2)));
}

int ICUCollation::trancmp(UTIStream &, UTIStream &) const
{
    return failed_compare();
}

int ICUCollation::trancmp(UTBufferedIStream &, size_t, UTBufferedIStream &, size_t) const
{
    return _to_utf16 != nullptr ? -1 : failed_compare();
}

int ICUCollation::trancmp(const a_byte *, size_t, const a_byte *, size_t) const
{
    return _to_utf16 != nullptr ? -1 : failed_compare();
}

int ICUCollation::tranncmp(const a_byte * s1, const a_byte * s2, size_t len) const
{
    return trancmp(s1, len, s2, len);
}

size_t ICUCollation::char_tolower(a_byte * dest, size_t dest_size, const a_byte *, size_t) const
{
    return empty_string(dest, dest_size);
}

size_t ICUCollation::char_toupper(a_byte * dest, size_t dest_size, const a_byte *, size_t) const
{
    return empty_string(dest, dest_size);
}

size_t ICUCollation::str_tolower(a_byte * dest, size_t dest_size, const a_byte *, size_t) const
{
    return empty_string(dest, dest_size);
}

size_t ICUCollation::str_toupper(a_byte * dest, size_t dest_size, const a_byte *, size_t) const
{
    return empty_string(dest, dest_size);
}

size_t ICUCollation::str_tolower(UTOStream &, UTIStream &) const
{
    return 0;
}

size_t ICUCollation::str_toupper(UTOStream &, UTIStream &) const
{
    return 0;
}

int ICUCollation::compare_character(const a_byte * s1, const a_byte * max1, const a_byte ** p_left_off1,
                                    const a_byte * s2, const a_byte * max2, const a_byte ** p_left_off2) const
{
    const size_t len1 = bytes_before(s1, max1);
    const size_t len2 = bytes_before(s2, max2);
    if (p_left_off1 != nullptr) {
        *p_left_off1 = s1 + len1;
    }
    if (p_left_off2 != nullptr) {
        *p_left_off2 = s2 + len2;
    }
    return trancmp(s1, len1, s2, len2);
}

a_bool ICUCollation::is_prefix(const a_byte * prefix, const a_byte * prefix_end, const a_byte * str,
                               const a_byte * str_end, a_byte ** match_end) const
{
    while (prefix < prefix_end && str < str_end) {
        if (compare_character(prefix, prefix_end, &prefix, str, str_end, &str) != 0) {
            return FALSE;
        }
    }
    if (prefix < prefix_end) {
        return FALSE;
    }
    *match_end = const_cast<a_byte *>(str); // callers that may write to their text get it back so
    return TRUE;
}

a_bool ICUCollation::case_translation_preserves_sort_order() const
{
    return FALSE;
}

double ICUCollation::hist_hash(const a_byte *, size_t, uint32, size_t) const
{
    return 0.0;
}

// A key can't be turned back.
void ICUCollation::hist_unhash(double, a_byte * buff, size_t, size_t, size_t) const
{
    *buff = 0;
}

unsigned int ICUCollation::id_hash(const a_byte *, size_t) const
{
    return 0;
}

size_t ICUCollation::suggested_sortkey_length(size_t source_len) const
{
    return 2 * source_len;
}

size_t ICUCollation::sortkey_prefix(a_byte * dest, size_t dest_size, const a_byte *, size_t) const
{
    return failed_sortkey(dest, dest_size);
}

size_t ICUCollation::sortkey_prefix(a_byte * dest, size_t dest_size, UTIStream &) const
{
    return failed_sortkey(dest, dest_size);
}

size_t ICUCollation::sortkey_prefix(a_byte * dest, size_t dest_size, UTBufferedIStream &, size_t) const
{
    return failed_sortkey(dest, dest_size);
}

size_t ICUCollation::sortkey_prefix_tessel(a_byte * dest, size_t dest_size, UTIStream &) const
{
    return failed_sortkey(dest, dest_size);
}

size_t ICUCollation::sortkey_prefix_tessel(a_byte * dest, size_t dest_size, UTBufferedIStream &, size_t) const
{
    return failed_sortkey(dest, dest_size);
}

// The upper bound takes the primary level alone, which ends at the first 1.
size_t ICUCollation::sortkey_bound(a_sortkey_bound_type bound_type, a_byte * dest, size_t dest_size,
                                   const a_byte * src_sortkey, size_t src_sortkey_size) const
{
    const size_t size = unterminated_sortkey_size(src_sortkey, src_sortkey_size);
    if (bound_type == LOWER_INCLUSIVE) {
        return lower_sortkey_bound(dest, dest_size, src_sortkey, size);
    }
    const a_byte * end = src_sortkey + std::min(size, dest_size);
    const a_byte * level_end = std::find(src_sortkey, end, 1);
    return upper_sortkey_bound(dest, dest_size, src_sortkey, static_cast<size_t>(level_end - src_sortkey));
}

a_bool ICUCollation::from_default() const
{
    return _from_default;
}
