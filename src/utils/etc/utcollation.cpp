#include "utils/etc/utcollation.h"

#include <cstring>

#include "utils/etc/utstream.h"
#include "utils/etc/utstrfcn.h"
#include "utils/locale/tailoring.h"

namespace {

const CollationInfo * c_row()
{
    return UTLocale::GetCollationInfoFromLabel("C");
}

an_accent_sensitivity accents_as_case(a_case_sensitivity case_sensitivity)
{
    return case_sensitivity == CASE_INSENSITIVE ? ACCENT_INSENSITIVE : ACCENT_SENSITIVE;
}

// A field of a record from a text, cut to it: records hold what their fields have room for. Null is empty.
template<size_t N> void set_field(char (&field)[N], const char * text)
{
    (void)ut_strcpy(field, N, text != nullptr ? text : "");
}

a_bool put_all(UTOStream & output, const void * bytes, size_t size)
{
    return output.put(static_cast<const a_byte *>(bytes), size) == size;
}

a_bool get_all(UTIStream & input, void * bytes, size_t size)
{
    return input.get(static_cast<a_byte *>(bytes), size) == size;
}

} // namespace

// ---- UTCollation

UTCollation::UTCollation(UTLocale * locale)
{
    const UTCollationTailoring insensitive;
    const CollationInfo * row = c_row();
    const CharsetInfo * charset = row->required_charset();
    if (locale != nullptr) {
        row = UTLocale::FindOSCollation();
        const CharsetInfo * required = row->required_charset();
        charset = required != nullptr ? required : locale->TrueOSCharset();
    }
    (void)do_set_collation(FALSE, locale, row, charset, nullptr, insensitive, FALSE); // the row's own charset
}

a_bool UTCollation::set_c_collation(const UTCollationTailoring & tailoring)
{
    const CollationInfo * row = c_row();
    return set_collation(nullptr, row, row->required_charset(), nullptr, tailoring, FALSE);
}

a_bool UTCollation::set_os_collation(const UTCollationTailoring & tailoring)
{
    const CollationInfo * row = UTLocale::FindOSCollation();
    const CharsetInfo * required = row->required_charset();
    const CharsetInfo * charset = required != nullptr ? required : UTLocale::FindOSCharset(TRUE);
    return set_collation(nullptr, row, charset, nullptr, tailoring, FALSE);
}

a_bool UTCollation::set_c_collation(a_case_sensitivity case_sensitivity)
{
    return set_c_collation(case_sensitivity, accents_as_case(case_sensitivity));
}

a_bool UTCollation::set_os_collation(a_case_sensitivity case_sensitivity)
{
    return set_os_collation(case_sensitivity, accents_as_case(case_sensitivity));
}

a_bool UTCollation::set_c_collation(a_case_sensitivity case_sensitivity,
                                    an_accent_sensitivity accent_sensitivity)
{
    return set_c_collation(
        UTCollationTailoring(case_sensitivity, accent_sensitivity, PUNCTUATION_SENSITIVE_PRIMARY));
}

a_bool UTCollation::set_os_collation(a_case_sensitivity case_sensitivity,
                                     an_accent_sensitivity accent_sensitivity)
{
    return set_os_collation(
        UTCollationTailoring(case_sensitivity, accent_sensitivity, PUNCTUATION_SENSITIVE_PRIMARY));
}

a_bool UTCollation::set_collation(UTLocale * locale, const CollationInfo * collation,
                                  const CharsetInfo * charset, const a_packed_collation_order * packed,
                                  const UTCollationTailoring & tailoring,
                                  a_bool allow_mismatched_packed_data_for_custom_collations)
{
    return do_set_collation(TRUE, locale, collation, charset, packed, tailoring,
                            allow_mismatched_packed_data_for_custom_collations);
}

a_bool UTCollation::do_set_collation(a_bool do_close, UTLocale * locale, const CollationInfo * collation,
                                     const CharsetInfo * charset, const a_packed_collation_order * packed,
                                     const UTCollationTailoring & tailoring, a_bool)
{
    if (!collation->IsLegacyCollation()) {
        if (do_close) {
            close();
        }
        a_bool success = FALSE;
        new (_coll._icu_collation) ICUCollation(locale, collation, charset, tailoring, &success);
        return success;
    }
    if (charset == nullptr || charset != collation->required_charset()) {
        return FALSE;
    }
    if (packed == nullptr) {
        packed = collation->is_custom() ? collation->get_packed_collation_for_custom_collation()
                                        : charset->get_packed_collation();
    }
    if (packed == nullptr) {
        return FALSE; // a custom collation that found no memory for its tables
    }
    if (do_close) {
        close();
    }
    new (_coll._orv_collation) LegacyCollation(locale, collation, packed, tailoring);
    return TRUE;
}

int UTCollation::compare_character(const char * s1, const char * max1, const char ** p_left_off1,
                                   const char * s2, const char * max2, const char ** p_left_off2) const
{
    const a_byte * left_off1 = nullptr;
    const a_byte * left_off2 = nullptr;
    const int result =
        compare_character(bytes(s1), bytes(max1), &left_off1, bytes(s2), bytes(max2), &left_off2);
    if (p_left_off1 != nullptr) {
        *p_left_off1 = reinterpret_cast<const char *>(left_off1);
    }
    if (p_left_off2 != nullptr) {
        *p_left_off2 = reinterpret_cast<const char *>(left_off2);
    }
    return result;
}

a_bool UTCollation::is_prefix(const char * prefix, const char * prefix_end, const char * str,
                              const char * str_end, char ** match_end) const
{
    a_byte * end = nullptr; // an implementation may leave it alone
    const a_bool result = is_prefix(bytes(prefix), bytes(prefix_end), bytes(str), bytes(str_end), &end);
    if (end != nullptr) {
        *match_end = chars(end);
    }
    return result;
}

// ---- an_mbcs_character

void an_mbcs_character::clear()
{
    memset(_bytes, 0, sizeof(_bytes));
    _actual_length = 0;
    _flags_known = 0;
    _flags = 0;
}

void an_mbcs_character::set(const a_byte * src, const a_byte * src_end)
{
    clear();
    _actual_length = static_cast<a_byte>(_collation->copy_character(_bytes, sizeof(_bytes), src, src_end));
}

void an_mbcs_character::set_first(a_byte b)
{
    clear();
    _bytes[0] = b;
    _actual_length = 1;
}

void an_mbcs_character::append(a_byte b)
{
    if (_actual_length < sizeof(_bytes)) {
        _bytes[_actual_length++] = b;
        _flags_known = 0;
        _flags = 0;
    }
}

a_bool an_mbcs_character::flag(a_byte mask) const
{
    if ((_flags_known & mask) == 0) {
        const a_byte holds = mask == PACKED_ALPHA   ? _collation->do_is_alpha(_bytes, _actual_length)
                             : mask == PACKED_DIGIT ? _collation->do_is_num(_bytes, _actual_length)
                                                    : _collation->do_is_space(_bytes, _actual_length);
        _flags = static_cast<a_byte>(_flags | (holds ? mask : 0));
        _flags_known = static_cast<a_byte>(_flags_known | mask);
    }
    return (_flags & mask) != 0;
}

// What a mapping of one character may grow to; only the first character of it is taken back.
constexpr size_t MAPPED_SIZE = 8;

void an_mbcs_character::toupper()
{
    a_byte mapped[MAPPED_SIZE];
    take_mapped(mapped, _collation->char_toupper(mapped, sizeof(mapped), _bytes, _actual_length));
}

void an_mbcs_character::tolower()
{
    a_byte mapped[MAPPED_SIZE];
    take_mapped(mapped, _collation->char_tolower(mapped, sizeof(mapped), _bytes, _actual_length));
}

void an_mbcs_character::take_mapped(const a_byte * mapped, size_t len)
{
    set(mapped, mapped + len);
}

// ---- a_custom_collation_info

void a_custom_collation_info::set(const char * orv_label, const char * name, const a_byte * order,
                                  const char * charset)
{
    set_field(orv_collation_label, orv_label);
    set_field(charset_label, charset);
    set_field(description, name);
    memcpy(&packed, order, sizeof(packed));
    collation_type = LEGACY_COLLATION;
}

void a_custom_collation_info::set(const CollationInfo * collation, const CharsetInfo * charset,
                                  const a_packed_collation_order * order,
                                  const UTCollationTailoring & collation_tailoring)
{
    set_field(orv_collation_label, collation->orv_collation_label());
    set_field(charset_label, charset->orv_label());
    set_field(kep_so_case, collation->kep_sensitive_sortorder());
    set_field(kep_so_caseless, collation->kep_insensitive_sortorder());
    set_field(description, "");
    packed = *order;
    set_field(tailoring, collation_tailoring.GetICULocale());
    case_sensitivity = collation_tailoring.GetCaseSensitivity();
    accent_sensitivity = collation_tailoring.GetAccentSensitivity();
    punctuation_sensitivity = collation_tailoring.GetPunctuationSensitivity();
    collation_type = collation->CollationType();
}

a_bool a_custom_collation_info::serialize(UTOStream & output) const
{
    const a_collation_defn_head head;
    return put_all(output, &head, sizeof(head)) && put_all(output, this, sizeof(*this));
}

a_bool a_custom_collation_info::deserialize(UTIStream & input)
{
    const a_collation_defn_head known;
    a_collation_defn_head head;
    a_byte more = 0;
    return get_all(input, &head, sizeof(head)) && head.length == known.length &&
           head.version == known.version && get_all(input, this, sizeof(*this)) && input.get(more) == 0;
}
