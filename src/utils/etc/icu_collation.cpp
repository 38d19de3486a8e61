#include "utils/etc/icu_collation.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

#include "utils/etc/utassert.h"
#include "utils/etc/utstream.h"
#include "utils/etc/utstrfcn.h"
#include "utils/locale/csconv_stream.h"
#include "utils/locale/tailoring.h"

using namespace icu_abi; // names of ICU, in this file alone

namespace {

constexpr const char * SOURCE_NAME = "utils/etc/icu_collation";

// What the build sees of a string, and what has to be at hand of one to know that there is more.
constexpr size_t ICU_BYTES = 1024;
constexpr size_t LONG_BYTES = ICU_BYTES + 1;
// Bytes behind here may belong to a character that the limit cuts, which the build doesn't get to see. So
// none of them is shown before it is known whether the string is long.
constexpr size_t SURE_BYTES = ICU_BYTES - 3;

const char * chars(const a_byte * text)
{
    return reinterpret_cast<const char *>(text);
}

int sign(int difference)
{
    return int{difference > 0} - int{difference < 0};
}

// As unsigned bytes.
int compare_bytes(const a_byte * s1, const a_byte * s2, size_t len)
{
    return len > 0 ? sign(memcmp(s1, s2, len)) : 0;
}

// ---- Tailoring

// Each with a code of its own, since ICU does nothing with one that tells of a failure: an attribute that
// can't be had takes no other along.
void set_attribute(const UTICU & icu, UCollator * coll, UColAttribute attribute, UColAttributeValue value)
{
    UErrorCode error = U_ZERO_ERROR; // tells nothing new: a build that opens collators knows the attributes
    icu.ucol_setAttribute_3_4(coll, attribute, value, &error);
}

// Quaternary punctuation needs the levels of case and accents in front of its own: false if it lacked one.
bool set_punctuation(const UTICU & icu, UCollator * coll, a_punctuation_sensitivity punctuation,
                     a_case_sensitivity & for_case, an_accent_sensitivity & accent)
{
    if (punctuation == PUNCTUATION_SENSITIVE_PRIMARY) {
        set_attribute(icu, coll, UCOL_ALTERNATE_HANDLING, UCOL_NON_IGNORABLE);
        return true;
    }
    set_attribute(icu, coll, UCOL_ALTERNATE_HANDLING, UCOL_SHIFTED);
    if (punctuation != PUNCTUATION_SENSITIVE_QUATERNARY) {
        return true;
    }
    bool has_levels = true;
    if (for_case == CASE_INSENSITIVE) {
        for_case = CASE_SENSITIVE;
        has_levels = false;
    }
    if (accent == ACCENT_INSENSITIVE) {
        accent = ACCENT_SENSITIVE;
        has_levels = false;
    }
    return has_levels;
}

// Of a tailoring with an accent level.
UColAttributeValue strength(a_punctuation_sensitivity punctuation, a_case_sensitivity for_case)
{
    if (punctuation == PUNCTUATION_SENSITIVE_QUATERNARY) {
        return UCOL_QUATERNARY;
    }
    return for_case == CASE_INSENSITIVE ? UCOL_SECONDARY : UCOL_TERTIARY;
}

// The sort type has been applied by then: it travels in the locale text.
bool apply_tailoring(const UTICU & icu, UCollator * coll, const UTCollationTailoring & tailoring)
{
    const a_punctuation_sensitivity punctuation = tailoring.GetPunctuationSensitivity();
    a_case_sensitivity for_case = tailoring.GetCaseSensitivity();
    an_accent_sensitivity accent = tailoring.GetAccentSensitivity();
    const bool result = set_punctuation(icu, coll, punctuation, for_case, accent);
    if (accent == ACCENT_INSENSITIVE) {
        icu.ucol_setStrength_3_4(coll, UCOL_PRIMARY);
        if (for_case == CASE_INSENSITIVE) {
            return result;
        }
        set_attribute(icu, coll, UCOL_CASE_LEVEL, UCOL_ON);
    } else {
        icu.ucol_setStrength_3_4(coll, strength(punctuation, for_case));
    }
    if (accent == ACCENT_SENSITIVE_FRENCH) {
        set_attribute(icu, coll, UCOL_FRENCH_COLLATION, UCOL_ON);
    }
    if (for_case == CASE_SENSITIVE_CAPS_FIRST) {
        set_attribute(icu, coll, UCOL_CASE_FIRST, UCOL_UPPER_FIRST);
    } else if (for_case == CASE_SENSITIVE_LOWER_FIRST) {
        set_attribute(icu, coll, UCOL_CASE_FIRST, UCOL_LOWER_FIRST);
    }
    return result;
}

// ---- Sort keys

// Ends the primary level in the build's keys, and its key in front of a tail.
constexpr a_byte SEPARATOR = 1;

// The tail of a key: bytes in their order, none of them 0 or 1. The result is the bytes written.
size_t binary_encode(a_byte * dest, size_t dest_size, const a_byte * src, size_t src_size)
{
    constexpr a_byte FIRST_ESCAPED = 253;
    constexpr a_byte ESCAPE = 0xFF;
    size_t len = 0;
    for (size_t at = 0; at < src_size && len < dest_size; at++) {
        const a_byte b = src[at];
        if (b < FIRST_ESCAPED) {
            dest[len++] = static_cast<a_byte>(b + 2);
            continue;
        }
        dest[len++] = ESCAPE;
        if (len < dest_size) {
            dest[len++] = b;
        }
    }
    return len;
}

// The length with the terminator, which a full key lacks.
size_t terminate(a_byte * dest, size_t dest_size, size_t len)
{
    if (len < dest_size) {
        dest[len++] = 0;
    }
    return len;
}

} // namespace

// ---- Strings of which more is fetched when the build asks for it

// One string of one comparison: its beginning, in the stream's own buffer as long as that reaches.
class ICUFragmentedString {
public:
    ICUFragmentedString(const ICUCollation * icucoll, UTIStream & strm);
    // `known_length` is the whole length, or UNKNOWN.
    ICUFragmentedString(const ICUCollation * icucoll, UTBufferedIStream & strm, size_t known_length);

    // Negative, 0 or positive. Both strings are used up.
    int Compare(ICUFragmentedString & str2);

    static constexpr size_t UNKNOWN = std::numeric_limits<size_t>::max();

private:
    void SetBufferedIStream(UTBufferedIStream & strm, size_t known_length);
    void SetUnbufferedIStream(UTIStream & strm);
    void InitializeICUIterator(UCharIterator * iter);

    static const a_byte * fill(void * fill_context, size_t min_index, size_t * new_size);
    const a_byte * buffered_fill(size_t min_index, size_t * new_size);
    const a_byte * unbuffered_fill(size_t min_index, size_t * new_size);
    bool lacks(size_t min_index) const { return !_eof && _buf_nbytes <= min_index; }

    int binary_compare(ICUFragmentedString & str2);
    void fetch_whole();
    void skip(size_t len);

    a_byte * _buf; // the inside of the stream's buffer, or _scratch
    const ICUCollation * _icucoll;
    size_t _icu_nbytes;   // what the build may see of _buf
    size_t _buf_nbytes;   // what is at _buf
    size_t _known_length; // of the whole string, or UNKNOWN
    a_bool _eof;          // the build gets no more
    const a_byte * (ICUFragmentedString::*_fill_func)(size_t, size_t *);
    UTIStream * _strm;
    a_byte _scratch[LONG_BYTES];
};

namespace {

// An iterator in its storage, which is empty if the build has put none there.
class StoredIterator {
public:
    StoredIterator() = default;
    ~StoredIterator()
    {
        if (_storage._space[0] != nullptr) { // an object begins with the pointer to its operations
            std::launder(reinterpret_cast<UCharIteratorBase *>(&_storage))->~UCharIteratorBase();
        }
    }
    StoredIterator(const StoredIterator &) = delete;
    StoredIterator & operator=(const StoredIterator &) = delete;

    UCharIterator * get() { return &_storage; }

private:
    UCharIterator _storage = {};
};

} // namespace

ICUFragmentedString::ICUFragmentedString(const ICUCollation * icucoll, UTIStream & strm) : _icucoll(icucoll)
{
    if (strm.is_buffered()) {
        SetBufferedIStream(static_cast<UTBufferedIStream &>(strm), UNKNOWN);
    } else {
        SetUnbufferedIStream(strm);
    }
}

ICUFragmentedString::ICUFragmentedString(const ICUCollation * icucoll, UTBufferedIStream & strm,
                                         size_t known_length)
    : _icucoll(icucoll)
{
    SetBufferedIStream(strm, known_length);
}

// The stream's position stays, but for a piece that ends just about where the build's view does.
void ICUFragmentedString::SetBufferedIStream(UTBufferedIStream & strm, size_t known_length)
{
    _strm = &strm;
    _known_length = known_length;
    _fill_func = &ICUFragmentedString::buffered_fill;
    _buf = const_cast<a_byte *>(strm.get_piece(&_buf_nbytes)); // written to only where it is _scratch
    const bool is_long = _buf_nbytes > ICU_BYTES;
    _icu_nbytes = is_long ? _icucoll->trimmed_prefix_len(_buf, LONG_BYTES) : _buf_nbytes;
    _eof = is_long || known_length == _buf_nbytes;
    if (_buf_nbytes > SURE_BYTES && _icucoll->_is_mbcs) {
        fetch_whole();
    }
}

void ICUFragmentedString::SetUnbufferedIStream(UTIStream & strm)
{
    constexpr size_t FIRST_FETCH = 8; // most strings differ here
    _strm = &strm;
    _known_length = UNKNOWN;
    _fill_func = &ICUFragmentedString::unbuffered_fill;
    _buf = _scratch;
    _buf_nbytes = strm.get(_scratch, FIRST_FETCH);
    _icu_nbytes = _buf_nbytes;
    _eof = _buf_nbytes < FIRST_FETCH;
}

const a_byte * ICUFragmentedString::fill(void * fill_context, size_t min_index, size_t * new_size)
{
    auto & string = *static_cast<ICUFragmentedString *>(fill_context);
    return (string.*string._fill_func)(min_index, new_size);
}

// The stream's buffer can't be read on and kept, too: from here on the string is in _scratch.
const a_byte * ICUFragmentedString::buffered_fill(size_t min_index, size_t * new_size)
{
    if (lacks(min_index)) {
        std::copy_n(_buf, _buf_nbytes, _scratch);
        _buf = _scratch;
        static_cast<UTBufferedIStream *>(_strm)->bump(_buf_nbytes);
        _fill_func = &ICUFragmentedString::unbuffered_fill;
        return unbuffered_fill(min_index, new_size);
    }
    *new_size = _icu_nbytes;
    return _buf;
}

const a_byte * ICUFragmentedString::unbuffered_fill(size_t min_index, size_t * new_size)
{
    constexpr size_t LEAST_FETCH = 32;
    if (lacks(min_index)) {
        const size_t wanted = std::max(min_index - _buf_nbytes, LEAST_FETCH);
        const size_t remain = LONG_BYTES - _buf_nbytes;
        const size_t fetched = _buf_nbytes + wanted > SURE_BYTES ? remain : wanted;
        const size_t got = _strm->get(_scratch + _buf_nbytes, fetched);
        _buf_nbytes += got;
        if (_buf_nbytes > ICU_BYTES) {
            _icu_nbytes = _icucoll->trimmed_prefix_len(_scratch, _buf_nbytes);
            _eof = TRUE;
        } else {
            _icu_nbytes = _buf_nbytes;
            _eof = got < fetched;
        }
    }
    *new_size = _icu_nbytes;
    return _scratch;
}

void ICUFragmentedString::InitializeICUIterator(UCharIterator * iter)
{
    const size_t limit = _buf_nbytes > ICU_BYTES ? _icu_nbytes : std::min(_known_length, ICU_BYTES);
    const UTICU & icu = _icucoll->collating();
    if (_icucoll->_to_utf16 != nullptr) {
        icu.uiter_setFragmentedSBCS(iter, _buf, _icu_nbytes, limit, fill, this, _icucoll->_to_utf16);
    } else {
        icu.uiter_setFragmentedUTF8Simple(iter, _buf, _icu_nbytes, limit, fill, this);
    }
}

int ICUFragmentedString::Compare(ICUFragmentedString & str2)
{
    StoredIterator iter1;
    StoredIterator iter2;
    InitializeICUIterator(iter1.get());
    str2.InitializeICUIterator(iter2.get());
    UErrorCode error = U_ZERO_ERROR;
    const int order =
        _icucoll->collating().ucol_strcollIter_3_4(_icucoll->_coll, iter1.get(), iter2.get(), &error);
    if (error > U_ZERO_ERROR) {
        UT_AssertStrFn("strcollIter failed", SOURCE_NAME, __LINE__);
        return binary_compare(str2);
    }
    return order != 0 ? order : binary_compare(str2);
}

// Fetches as much as tells whether the string has more bytes than the build sees.
void ICUFragmentedString::fetch_whole()
{
    size_t size = 0;
    (void)fill(this, ICU_BYTES, &size); // all is in the fields
}

// Moves the stream behind the first `len` bytes of the string, some of which may have been taken from it.
void ICUFragmentedString::skip(size_t len)
{
    (void)_strm->skip(_buf == _scratch ? len - _buf_nbytes : len); // they are there
}

// What decides between strings that are equal as far as the build sees them.
int ICUFragmentedString::binary_compare(ICUFragmentedString & str2)
{
    fetch_whole();
    str2.fetch_whole();
    const bool is_long1 = _buf_nbytes > ICU_BYTES;
    const bool is_long2 = str2._buf_nbytes > ICU_BYTES;
    if (!is_long1 || !is_long2) {
        return int{is_long1} - int{is_long2};
    }
    const size_t both = std::min(_buf_nbytes, str2._buf_nbytes);
    const int order = compare_bytes(_buf, str2._buf, both);
    if (order != 0) {
        return order;
    }
    skip(both);
    str2.skip(both);
    return _strm->compare(*str2._strm);
}

// ---- The object

ICUCollation::ICUCollation(UTLocale * locale, const CollationInfo * collation, const CharsetInfo * charset,
                           const UTCollationTailoring & tailoring, a_bool * p_success)
    : UTCollationImplementationBase(locale, collation, charset, nullptr, tailoring), _icu(locale->icu())
{
    UErrorCode locale_error = U_ZERO_ERROR;
    UErrorCode options_error = U_ZERO_ERROR;
    _coll = _icu.ORV_ucol_open(tailoring.GetICULocale(), &locale_error, &options_error);
    _from_default = locale_error == U_USING_FALLBACK_WARNING || locale_error == U_USING_DEFAULT_WARNING ||
                    options_error == U_USING_DEFAULT_WARNING;
    *p_success = apply_tailoring(collating(), _coll, tailoring);
    _to_utf16 = locale->FindOrLoadSBCSToUTF16(charset);
}

void ICUCollation::close()
{
    if (_coll != nullptr) {
        _icu.ucol_close_3_4(_coll);
        _coll = nullptr;
    }
}

a_bool ICUCollation::from_default() const
{
    return _from_default;
}

size_t ICUCollation::suggested_sortkey_length(size_t source_len) const
{
    return 2 * source_len;
}

a_bool ICUCollation::case_translation_preserves_sort_order() const
{
    return FALSE;
}

// ---- Classes of characters

bool ICUCollation::GetUChar32(const a_byte * str, size_t size, UChar32 * c) const
{
    if (size == 0) {
        return false;
    }
    const a_byte lead = *str;
    if (lead < 0x80 || _to_utf16 != nullptr) {
        *c = lead < 0x80 ? lead : _to_utf16[lead];
        return true;
    }
    if (lead < 0xC2 || lead >= 0xF8) {
        return false;
    }
    const size_t trailing = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    if (size <= trailing) {
        return false;
    }
    *c = lead & (0x3F >> trailing);
    for (size_t i = 1; i <= trailing; i++) {
        *c = *c * 0x40 + (str[i] & 0x7F); // callers hand over text: nothing is checked
    }
    return true;
}

a_byte ICUCollation::do_is_alpha(const a_byte * str, size_t size) const
{
    UChar32 c = 0;
    return GetUChar32(str, size, &c) && _icu.u_isUAlphabetic_3_4(c) != 0;
}

a_byte ICUCollation::do_is_num(const a_byte * str, size_t size) const
{
    UChar32 c = 0;
    return GetUChar32(str, size, &c) && _icu.u_getIntPropertyValue_3_4(c, UCHAR_NUMERIC_TYPE) == U_NT_DECIMAL;
}

a_byte ICUCollation::do_is_alphanum(const a_byte * str, size_t size) const
{
    return do_is_alpha(str, size) || do_is_num(str, size);
}

a_byte ICUCollation::do_is_space(const a_byte * str, size_t size) const
{
    UChar32 c = 0;
    return GetUChar32(str, size, &c) && _icu.u_isUWhiteSpace_3_4(c) != 0;
}

// ---- Comparison

// What the build sees of a string, without a character that the limit would cut.
size_t ICUCollation::trimmed_prefix_len(const a_byte * buffer, size_t len) const
{
    if (len <= ICU_BYTES) {
        return len;
    }
    const bool ends_in_ascii = _charset->is_UTF8() && buffer[ICU_BYTES - 1] < 0x80;
    if (!_is_mbcs || ends_in_ascii) {
        return ICU_BYTES;
    }
    const a_byte * const limit = buffer + ICU_BYTES;
    const a_byte * const last = prev_character(buffer, limit);
    return next_character(last) > limit ? static_cast<size_t>(last - buffer) : ICU_BYTES;
}

int ICUCollation::do_contig_sbcs_compare(const a_byte * s1, size_t len1, const a_byte * s2, size_t len2) const
{
    const int order = collating().ucol_strcoll_sbcs(_coll, _to_utf16, chars(s1), trimmed_prefix_len(s1, len1),
                                                    chars(s2), trimmed_prefix_len(s2, len2));
    if (order != 0) {
        return order;
    }
    const bool is_long1 = len1 > ICU_BYTES;
    const bool is_long2 = len2 > ICU_BYTES;
    if (!is_long1 || !is_long2) {
        return int{is_long1} - int{is_long2};
    }
    const int by_bytes = compare_bytes(s1, s2, std::min(len1, len2));
    return by_bytes != 0 ? by_bytes : int{len1 > len2} - int{len1 < len2};
}

int ICUCollation::trancmp(const a_byte * s1, const a_byte * s2) const
{
    return trancmp(s1, strlen(chars(s1)), s2, strlen(chars(s2)));
}

int ICUCollation::tranncmp(const a_byte * s1, const a_byte * s2, size_t len) const
{
    return trancmp(s1, ut_strnlen(chars(s1), len), s2, ut_strnlen(chars(s2), len));
}

// Single-byte text that lies in memory needs no iterators.
int ICUCollation::trancmp(const a_byte * s1, size_t len1, const a_byte * s2, size_t len2) const
{
    if (_to_utf16 != nullptr) {
        return do_contig_sbcs_compare(s1, len1, s2, len2);
    }
    UTBufIStream i1(s1, len1);
    UTBufIStream i2(s2, len2);
    return trancmp(i1, len1, i2, len2);
}

int ICUCollation::trancmp(UTBufferedIStream & i1, size_t len1, UTBufferedIStream & i2, size_t len2) const
{
    if (_to_utf16 != nullptr) {
        size_t size1 = 0;
        size_t size2 = 0;
        const a_byte * const s1 = i1.get_piece(&size1);
        const a_byte * const s2 = i2.get_piece(&size2);
        if (size1 == len1 && size2 == len2) {
            return do_contig_sbcs_compare(s1, len1, s2, len2);
        }
    }
    ICUFragmentedString string1(this, i1, len1);
    ICUFragmentedString string2(this, i2, len2);
    return string1.Compare(string2);
}

int ICUCollation::trancmp(UTIStream & i1, UTIStream & i2) const
{
    ICUFragmentedString string1(this, i1);
    ICUFragmentedString string2(this, i2);
    return string1.Compare(string2);
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

// ---- Case mapping

namespace {

size_t stream_input_function(a_byte * dest, size_t dest_size, void * context)
{
    return static_cast<UTIStream *>(context)->get(dest, dest_size);
}

size_t stream_output_function(const a_byte * src, size_t src_size, void * context)
{
    return static_cast<UTOStream *>(context)->put(src, src_size);
}

} // namespace

size_t ICUCollation::convert_stream_case(UTOStream & output, UTIStream & input, a_case_mapping mapping) const
{
    CharsetConverter to_utf16(_locale, _locale->UTF16PE(), _charset);
    CharsetConverter from_utf16(_locale, _charset, _locale->UTF16PE());
    CSConvIStream converted_input(to_utf16, input);
    CSConvOStream converted_output(from_utf16, output);
    UTIStream & source = converted_input;
    UTOStream & dest = converted_output;
    UErrorCode error = U_ZERO_ERROR;
    (void)(_icu.*mapping)(stream_output_function, &dest, stream_input_function, &source, "", &error);
    converted_output.flush(TRUE);
    return converted_output.num_output();
}

size_t ICUCollation::map_str(a_case_mapping mapping, a_byte * dest, size_t dest_size, const a_byte * src,
                             size_t src_size) const
{
    UTBufOStream output(dest, dest_size);
    UTBufIStream input(src, src_size);
    const size_t result = convert_stream_case(output, input, mapping);
    if (dest_size > result) {
        dest[result] = 0;
    }
    return result;
}

size_t ICUCollation::map_char(a_case_mapping mapping, a_byte * dest, size_t dest_size, const a_byte * src,
                              size_t src_size) const
{
    if (src_size == 0 || src_size < nbytes_in_char(*src)) {
        return 0;
    }
    return map_str(mapping, dest, dest_size, src, nbytes_in_char(*src));
}

size_t ICUCollation::char_tolower(a_byte * dest, size_t dest_size, const a_byte * src, size_t src_size) const
{
    return map_char(&UTICU::ORV_strToLower, dest, dest_size, src, src_size);
}

size_t ICUCollation::char_toupper(a_byte * dest, size_t dest_size, const a_byte * src, size_t src_size) const
{
    return map_char(&UTICU::ORV_strToUpper, dest, dest_size, src, src_size);
}

size_t ICUCollation::str_tolower(a_byte * dest, size_t dest_size, const a_byte * src, size_t src_size) const
{
    return map_str(&UTICU::ORV_strToLower, dest, dest_size, src, src_size);
}

size_t ICUCollation::str_toupper(a_byte * dest, size_t dest_size, const a_byte * src, size_t src_size) const
{
    return map_str(&UTICU::ORV_strToUpper, dest, dest_size, src, src_size);
}

size_t ICUCollation::str_tolower(UTOStream & output, UTIStream & input) const
{
    return convert_stream_case(output, input, &UTICU::ORV_strToLower);
}

size_t ICUCollation::str_toupper(UTOStream & output, UTIStream & input) const
{
    return convert_stream_case(output, input, &UTICU::ORV_strToUpper);
}

// ---- Sort keys: the build's key of what it sees, and for longer strings a separator and a tail, the whole
// string encoded. A short string's key ends in a zero byte where a long one's has the separator.

size_t ICUCollation::do_sortkey_prefix(a_byte * dest, size_t dest_size, const a_byte * src, size_t src_size,
                                       bool src_is_complete, bool * p_insufficient_src_prefix) const
{
    const auto trimmed_len = static_cast<int32>(trimmed_prefix_len(src, src_size));
    const auto size = static_cast<uint32>(std::min<size_t>(dest_size, std::numeric_limits<int32>::max()));
    const UBool is_complete = src_is_complete ? 1 : 0;
    UErrorCode error = U_ZERO_ERROR;
    auto len = static_cast<size_t>(
        _to_utf16 != nullptr ? collating().ucol_getSortKeyPrefixSBCS(_coll, chars(src), trimmed_len, dest,
                                                                     size, _to_utf16, is_complete, &error)
                             : collating().ucol_getSortKeyPrefixUTF8(_coll, chars(src), trimmed_len, dest,
                                                                     size, is_complete, &error));
    const bool is_insufficient = error == U_INDEX_OUTOFBOUNDS_ERROR;
    if (error != U_ZERO_ERROR && (src_is_complete || !is_insufficient)) {
        UT_AssertStrFn("GetSortKeyPrefix failed", SOURCE_NAME, __LINE__);
    }
    *p_insufficient_src_prefix = is_insufficient;
    if (!is_insufficient && src_size > ICU_BYTES && len < dest_size) {
        dest[len++] = SEPARATOR;
        len += binary_encode(dest + len, dest_size - len, src, src_size);
    }
    return len;
}

size_t ICUCollation::sortkey_prefix(a_byte * dest, size_t dest_size, const a_byte * src,
                                    size_t src_size) const
{
    bool is_insufficient = false; // it is all there is
    const size_t len = do_sortkey_prefix(dest, dest_size, src, src_size, true, &is_insufficient);
    return terminate(dest, dest_size, len);
}

size_t ICUCollation::sortkey_prefix(a_byte * dest, size_t dest_size, UTIStream & src) const
{
    a_byte piece[LONG_BYTES];
    size_t piece_size = src.get(piece, sizeof piece);
    bool is_insufficient = false; // whatever follows, the build doesn't get to see it
    size_t len = do_sortkey_prefix(dest, dest_size, piece, piece_size, true, &is_insufficient);
    while (piece_size == sizeof piece && len < dest_size) {
        piece_size = src.get(piece, sizeof piece);
        len += binary_encode(dest + len, dest_size - len, piece, piece_size);
    }
    return terminate(dest, dest_size, len);
}

size_t ICUCollation::sortkey_prefix(a_byte * dest, size_t dest_size, UTBufferedIStream & src,
                                    size_t src_size) const
{
    size_t piece_size = 0;
    const a_byte * piece = src.get_piece(&piece_size);
    // A piece that ends just about where the build's view does tells neither where its last character ends
    // nor that the string goes on: the form above reads on.
    bool is_insufficient = src_size > ICU_BYTES && piece_size > SURE_BYTES && piece_size <= ICU_BYTES;
    size_t len = 0;
    if (!is_insufficient) {
        const bool is_complete = piece_size >= src_size || piece_size >= ICU_BYTES;
        len = do_sortkey_prefix(dest, dest_size, piece, piece_size, is_complete, &is_insufficient);
    }
    if (is_insufficient) {
        return sortkey_prefix(dest, dest_size, static_cast<UTIStream &>(src));
    }
    if (src_size > ICU_BYTES) {
        src.bump(piece_size);
        while (len < dest_size && (piece = src.get_piece(&piece_size)) != nullptr) {
            len += binary_encode(dest + len, dest_size - len, piece, piece_size);
            src.bump(piece_size);
        }
    }
    return terminate(dest, dest_size, len);
}

size_t ICUCollation::sortkey_prefix_tessel(a_byte * dest, size_t dest_size, UTIStream & src) const
{
    return sortkey_prefix(dest, dest_size, src);
}

size_t ICUCollation::sortkey_prefix_tessel(a_byte * dest, size_t dest_size, UTBufferedIStream & src,
                                           size_t src_size) const
{
    return sortkey_prefix(dest, dest_size, src, src_size);
}

// The upper bound takes the primary level alone.
size_t ICUCollation::sortkey_bound(a_sortkey_bound_type bound_type, a_byte * dest, size_t dest_size,
                                   const a_byte * src_sortkey, size_t src_sortkey_size) const
{
    const size_t size = unterminated_sortkey_size(src_sortkey, src_sortkey_size);
    if (bound_type == LOWER_INCLUSIVE) {
        return lower_sortkey_bound(dest, dest_size, src_sortkey, size);
    }
    const a_byte * end = src_sortkey + std::min(size, dest_size);
    const a_byte * level_end = std::find(src_sortkey, end, SEPARATOR);
    return upper_sortkey_bound(dest, dest_size, src_sortkey, static_cast<size_t>(level_end - src_sortkey));
}

// ---- Hashes

// Of a key's first half, once forwards and once backwards.
unsigned int ICUCollation::id_hash(const a_byte * id, size_t len) const
{
    constexpr unsigned int FACTOR = 31;
    a_byte key[128];
    const size_t key_len = sortkey_prefix(key, sizeof key, id, len);
    auto hash = static_cast<unsigned int>(key_len);
    size_t i = std::min((key_len + 1) / 2, sizeof key / 2);
    for (size_t j = 0; i > 0; i--, j++) {
        hash = (hash * FACTOR) ^ key[j];
        if (i < key_len) { // a key of its terminator alone has no byte there
            hash = (hash * FACTOR) ^ key[i];
        }
    }
    return hash;
}

// The key's beginning read as digits of base 256, so that it orders as the string does.
double ICUCollation::hist_hash(const a_byte * str, size_t len, uint32, size_t hist_string_hash_bytes) const
{
    a_byte key[8];
    const size_t key_len = len > 0 ? sortkey_prefix(key, sizeof key, str, len) : 0;
    double hash = 0.0;
    for (size_t i = 0; i < hist_string_hash_bytes; i++) {
        hash = hash * 256.0 + (i < key_len ? key[i] : 0);
    }
    return hash;
}

// A key can't be turned back.
void ICUCollation::hist_unhash(double, a_byte * buff, size_t, size_t, size_t) const
{
    *buff = 0;
}
