#include "utils/etc/collationbase.h"

#include <algorithm>
#include <cstring>

#include "utils/locale/tailoring.h"

UTCollationImplementationBase::UTCollationImplementationBase(UTLocale * locale,
                                                             const CollationInfo * coll_info,
                                                             const CharsetInfo * cs_info,
                                                             const a_byte * flags,
                                                             const UTCollationTailoring & tailoring)
    : _charset(cs_info), _collation(coll_info), _locale(locale), _is_mbcs(cs_info->is_mbcs()),
      _case_sensitivity(tailoring.GetCaseSensitivity()),
      _accent_sensitivity(tailoring.GetAccentSensitivity()),
      _punctuation_sensitivity(tailoring.GetPunctuationSensitivity()), _sort_type(tailoring.GetSortType())
{
    memcpy(_flags, flags != nullptr ? flags : cs_info->get_packed_collation()->flags, sizeof(_flags));
}

size_t UTCollationImplementationBase::bytes_before(const a_byte * str, const a_byte * end) const
{
    return str < end ? std::min(nbytes_in_char(*str), static_cast<size_t>(end - str)) : 0;
}

size_t UTCollationImplementationBase::num_characters(const a_byte * string, size_t bytes) const
{
    size_t count = 0;
    for (size_t at = 0; at < bytes; at += nbytes_in_char(string[at])) {
        count++;
    }
    return count;
}

a_byte * UTCollationImplementationBase::prev_character(const a_byte * base, const a_byte * curr) const
{
    const a_byte * character = curr;
    for (const a_byte * next = base; next < curr; next += nbytes_in_char(*next)) {
        character = next;
    }
    return const_cast<a_byte *>(character); // callers that may write to their text get it back so
}

size_t UTCollationImplementationBase::copy_character(a_byte * dst, size_t dst_len, const a_byte * src,
                                                     const a_byte * src_end) const
{
    const size_t len = std::min(dst_len, bytes_before(src, src_end));
    if (len > 0) {
        memcpy(dst, src, len);
    }
    return len;
}

// ---- Bounds of sort keys

size_t unterminated_sortkey_size(const a_byte * key, size_t key_size)
{
    return key_size > 0 && key[key_size - 1] == 0 ? key_size - 1 : key_size;
}

size_t lower_sortkey_bound(a_byte * dest, size_t dest_size, const a_byte * key, size_t key_size)
{
    if (dest_size == 0) {
        return 0;
    }
    const size_t len = std::min(key_size, dest_size - 1);
    std::copy_n(key, len, dest);
    dest[len] = 0;
    return len + 1;
}

// 0xFF 0xFF is above whatever may follow a key's beginning: it is the greatest encoded value.
size_t upper_sortkey_bound(a_byte * dest, size_t dest_size, const a_byte * key, size_t key_size)
{
    const size_t room = dest_size < 2 ? 0 : dest_size - 2;
    constexpr a_byte ENDING[] = {0xFF, 0xFF, 0x00};
    size_t len = std::min(key_size, room);
    std::copy_n(key, len, dest);
    for (const a_byte end : ENDING) {
        if (len < dest_size) {
            dest[len++] = end;
        }
    }
    return len;
}
