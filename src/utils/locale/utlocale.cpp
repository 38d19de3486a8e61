#include "utils/locale/utlocale.h"

#include <array>
#include <atomic>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <strings.h>

#include "utils/etc/critsect.h"
#include "utils/etc/utassert.h"
#include "utils/etc/utcollation.h"
#include "utils/etc/utstrfcn.h"
#include "utils/lang/utlangstring.h"
#include "utils/locale/uticu.h"
#include "utils/utmem/utmem.h"

// ---- Labels

namespace {

// What a label consists of: characters that count, and filler between them.
constexpr char FILLER = ' ';

// A label's character as the comparison sees it: letters in lower case, all filler alike. Not the C library's
// tolower, which follows the host's locale: labels are ASCII.
constexpr char fold_label_char(char c)
{
    if (c == '-' || c == '_') {
        return FILLER;
    }
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

// fold_label_char as a table: a look-up asks for hundreds of characters.
constexpr auto FOLDED = [] {
    std::array<char, 256> folded{};
    for (size_t c = 0; c < folded.size(); c++) {
        folded[c] = fold_label_char(static_cast<char>(c));
    }
    return folded;
}();

char folded(char c)
{
    return FOLDED[static_cast<unsigned char>(c)];
}

const char * skip_label_filler(const char * s)
{
    while (folded(*s) == FILLER) {
        s++;
    }
    return s;
}

// May a label that begins with `first` be equal to one that begins with `other`? ASCII case differs in one
// bit; this rejects most labels at the cost of one comparison.
bool may_begin_alike(char first, char other)
{
    constexpr unsigned ASCII_CASE_BIT = 0x20;
    return ((static_cast<unsigned char>(first) ^ static_cast<unsigned char>(other)) & ~ASCII_CASE_BIT) == 0;
}

// A wanted label, reduced once for the comparison with many: folded, and without its filler.
class LabelKey {
public:
    explicit LabelKey(const char * label)
    {
        size_t length = 0;
        for (label = skip_label_filler(label); *label != '\0'; label = skip_label_filler(label + 1)) {
            if (length == sizeof _text - 1) {
                length = 0; // longer than any label
                break;
            }
            _text[length++] = folded(*label);
        }
        _text[length] = '\0';
    }

    // Zero in a key that matches nothing: no label of the catalogue begins so.
    [[nodiscard]] char first() const { return _text[0]; }

    [[nodiscard]] bool equals(const char * label) const
    {
        for (const char * wanted = _text;; label++) {
            const char c = folded(*label);
            if (c == *wanted) {
                if (c == '\0') {
                    return true;
                }
                wanted++;
            } else if (c != FILLER) {
                return false;
            }
        }
    }

private:
    char _text[64]; // the catalogue's longest label has 45 characters; a test looks every one up
};

bool row_has_label(const CharsetInfo & row, const LabelKey & key, uint32 standards)
{
    const char first = key.first();
    for (const a_charset_label * entry = row._all_labels; entry->_label != nullptr; entry++) {
        if (may_begin_alike(*entry->_label, first) && (entry->_standards & standards) != 0 &&
            key.equals(entry->_label)) {
            return true;
        }
    }
    return false;
}

} // namespace

a_bool equal_charset_labels(const char * s1, const char * s2)
{
    for (;; s1++, s2++) {
        s1 = skip_label_filler(s1);
        s2 = skip_label_filler(s2);
        if (folded(*s1) != folded(*s2)) {
            return FALSE;
        }
        if (*s1 == '\0') {
            return TRUE;
        }
    }
}

// ---- Character sets

a_bool CharsetInfo::match_label(const char * label, uint32 standards) const
{
    return label != nullptr && row_has_label(*this, LabelKey(label), standards);
}

const a_byte * CharsetInfo::get_BOM(size_t * len) const
{
    static constexpr a_byte UTF16LE_BOM[] = {0xFF, 0xFE};
    static constexpr a_byte UTF16BE_BOM[] = {0xFE, 0xFF};
    static constexpr a_byte UTF8_BOM[] = {0xEF, 0xBB, 0xBF};
    switch (_unique_identifier) {
    case CSID_UTF16LE:
        *len = sizeof UTF16LE_BOM;
        return UTF16LE_BOM;
    case CSID_UTF16BE:
        *len = sizeof UTF16BE_BOM;
        return UTF16BE_BOM;
    case CSID_UTF8:
        *len = sizeof UTF8_BOM;
        return UTF8_BOM;
    default:
        *len = 0;
        return nullptr;
    }
}

const char * CharsetInfo::safe_label(const CharsetInfo * csinfo, uint32 preferred_standard)
{
    if (csinfo == nullptr) {
        return "unknown";
    }
    const char * label = nullptr;
    switch (preferred_standard) {
    case CS_STD_IANA:
        label = csinfo->iana_label();
        break;
    case CS_STD_MIME:
        label = csinfo->mime_label();
        break;
    case CS_STD_JAVA:
        label = csinfo->java_label();
        break;
    case CS_STD_ICU:
        label = csinfo->icu_label();
        break;
    case CS_STD_KEP:
        label = csinfo->kep_label();
        break;
    default:
        break;
    }
    return label != nullptr ? label : csinfo->orv_label();
}

a_bool CharsetInfo::is_UTF16_explicit_endian_label(const char * label)
{
    static constexpr const char * LABELS[] = {"UTF16BE", "UTF16LE", "UTF16PE", "UTF16OE"};
    if (label == nullptr) {
        return FALSE;
    }
    for (const char * known : LABELS) {
        if (equal_charset_labels(label, known)) {
            return TRUE;
        }
    }
    return FALSE;
}

const CharsetInfo * UTLocale::GetCharsetInfoFromLabel(const char * label, uint32 standards)
{
    if (label == nullptr) {
        return nullptr;
    }
    const LabelKey key(label);
    for (const CharsetInfo & row : _charset_info) {
        if (row_has_label(row, key, standards)) {
            return &row;
        }
    }
    return nullptr;
}

const CharsetInfo * UTLocale::GetCharsetInfoFromMicrosoftCID(int32 cid)
{
    for (const CharsetInfo & row : _charset_info) {
        if (row._microsoft_cid == cid) {
            return &row;
        }
    }
    return nullptr;
}

const CharsetInfo * UTLocale::GetCharsetInfoFromChartabCID(int32 cid)
{
    for (const CharsetInfo & row : _charset_info) {
        if (row._chartab_cid == cid) {
            return &row;
        }
    }
    return nullptr;
}

a_bool UTLocale::isAcceptableUnknownCharsetLabel(const char * label)
{
    static constexpr const char * LABELS[] = {"none", "null", "unspecified", "unknown"};
    if (label == nullptr) {
        return TRUE;
    }
    for (const char * known : LABELS) {
        if (strcasecmp(label, known) == 0) {
            return TRUE;
        }
    }
    return FALSE;
}

// ---- Languages

ORV_LID LanguageInfo::lid() const
{
    return static_cast<ORV_LID>(this - UTLocale::_language_info);
}

const char * LanguageInfo::safe_label(const LanguageInfo * lginfo, uint32 preferred_standard)
{
    if (lginfo == nullptr) {
        return "unknown";
    }
    if (preferred_standard == CS_STD_MIME && lginfo->_iso_label != nullptr) {
        return lginfo->_iso_label;
    }
    return lginfo->_kep_label;
}

const LanguageInfo * UTLocale::GetLanguageInfoFromLabel(const char * label)
{
    if (label == nullptr) {
        return nullptr;
    }
    for (const LanguageInfo & row : _language_info) {
        for (const char * name : {row._kep_label, row._kep_alt_label, row._iso_label}) {
            if (name != nullptr && strcasecmp(label, name) == 0) {
                return &row;
            }
        }
    }
    return nullptr;
}

const LanguageInfo * UTLocale::GetLanguageInfoFromOrvLID(ORV_LID lid)
{
    return static_cast<uint32>(lid) < NUM_LANGUAGES ? &_language_info[lid] : nullptr;
}

const LanguageInfo * UTLocale::GetLanguageInfoFromPlatformLID(PLATFORM_LID lid)
{
    for (const LanguageInfo & row : _language_info) {
        if (row._platform_lid != -1 && row._platform_lid == lid) {
            return &row;
        }
    }
    return nullptr;
}

// ---- Collations

namespace {

// The table's rows are handed out as collations; what a CollationInfo adds is read in custom ones only.
const CollationInfo * as_collation(const CollationInfoPod * row)
{
    return static_cast<const CollationInfo *>(row);
}

// A copy of the text in a field of a stored record, which need not end it. Null without memory.
template<size_t N> char * copy_field(const char (&field)[N])
{
    const size_t len = ut_strnlen(field, N);
    char * copy = static_cast<char *>(ut_malloc(len + 1));
    if (copy != nullptr) {
        (void)ut_strncpy(copy, len + 1, field, len); // sized to fit
    }
    return copy;
}

char * copy_text(const char * text)
{
    // ut_memdup takes what it only reads as a pointer to plain bytes.
    return text == nullptr ? nullptr
                           : static_cast<char *>(ut_memdup(const_cast<char *>(text), strlen(text) + 1));
}

template<size_t N> char * copy_field_or(const char (&field)[N], const char * if_empty)
{
    return field[0] != '\0' ? copy_field(field) : copy_text(if_empty);
}

// This system's own name goes before anybody else's.
const CharsetInfo * charset_of_record(const a_custom_collation_info & info)
{
    char label[sizeof info.charset_label + 1];
    (void)ut_strncpy(label, sizeof label, info.charset_label,
                     sizeof info.charset_label); // one byte more than the field
    const CharsetInfo * row = UTLocale::GetCharsetInfoFromLabel(label, CS_STD_ORV);
    return row != nullptr ? row : UTLocale::GetCharsetInfoFromLabel(label, CS_STD_ANY);
}

} // namespace

CollationInfo::CollationInfo(const a_custom_collation_info * info) : CollationInfoPod{}, _description(nullptr)
{
    _orv_collation_label = copy_field(info->orv_collation_label);
    _collation_type = info->collation_type;
    _required_charset = _collation_type == ICU_COLLATION ? nullptr : charset_of_record(*info);
    _custom = 1;
    _packed = static_cast<a_packed_collation_order *>(ut_malloc(sizeof *_packed));
    if (_packed != nullptr) {
        *_packed = info->packed;
    }
    const CollationInfo * row = UTLocale::GetCollationInfoFromLabel(_orv_collation_label);
    if (row == nullptr) {
        _so_case = copy_field(info->kep_so_case);
        _so_caseless = copy_field(info->kep_so_caseless);
        _description = copy_field(info->description);
        return;
    }
    // All three texts are copies, so that the destructor need not know where they came from.
    _so_case = copy_field_or(info->kep_so_case, row->_so_case);
    _so_caseless = copy_field_or(info->kep_so_caseless, row->_so_caseless);
    _supported_languages = row->_supported_languages;
    _default_languages = row->_default_languages;
    _description_strid = row->_description_strid;
    _hidden = row->_hidden;
}

CollationInfo::~CollationInfo()
{
    if (!_custom) {
        return;
    }
    ut_free(const_cast<char *>(_orv_collation_label));
    ut_free(const_cast<char *>(_so_case));
    ut_free(const_cast<char *>(_so_caseless));
    ut_free(_description);
    ut_free(_packed);
}

size_t CollationInfo::get_description(UTLangStringBase & ls, char * dest, size_t dest_size) const
{
    if (!_custom || _description_strid != 0) {
        return ls.GetString(_description_strid, dest, dest_size);
    }
    if (dest_size == 0) {
        return 0;
    }
    (void)ut_strcpy(dest, dest_size, _description != nullptr ? _description : ""); // a description may be cut
    return strlen(dest);
}

const a_packed_collation_order * CollationInfo::get_packed_collation_for_custom_collation() const
{
    if (!_custom) {
        UT_AssertStrFn("Illegal function call for non-custom collation.", "utils/locale/utlocale", __LINE__);
        return nullptr;
    }
    return _packed;
}

a_bool CollationInfo::GetLanguagesList(char * buff, size_t len, const char * separator, LanguageSet languages)
{
    a_bool fits = ut_strcpy(buff, len, "", &buff, &len);
    bool first = true;
    for (size_t lid = UTLocale::NUM_LANGUAGES; lid-- > 0;) {
        const LanguageInfo & row = UTLocale::_language_info[lid];
        if ((languages & row.bit()) == 0) {
            continue;
        }
        fits = fits && (first || ut_strcpy(buff, len, separator, &buff, &len)) &&
               ut_strcpy(buff, len, row._iso_label, &buff, &len);
        first = false;
    }
    return fits;
}

const CollationInfo * UTLocale::GetCollationInfoFromLabel(const char * label)
{
    if (label == nullptr) {
        return nullptr;
    }
    for (const CollationInfoPod & row : _collation_info) {
        if (strcasecmp(row._orv_collation_label, label) == 0) {
            return as_collation(&row);
        }
    }
    return nullptr;
}

const CollationInfo * UTLocale::GetCollationInfoFromCharsetLang(const CharsetInfo * csinfo,
                                                                const LanguageInfo * langinfo)
{
    if (csinfo == nullptr) {
        return nullptr;
    }
    if (csinfo->_unique_identifier == CSID_GB18030) {
        csinfo = GetCharsetInfoFromLabel("GBK", CS_STD_ORV); // GB18030 has no collation of its own
    }
    const LanguageSet wanted = langinfo != nullptr ? langinfo->bit() : _language_info[ORV_LID_ENGLISH].bit();
    for (const CollationInfoPod & row : _collation_info) {
        if (row._required_charset == csinfo && (row._default_languages & wanted) == wanted) {
            return as_collation(&row);
        }
    }
    return nullptr;
}

const CollationInfo * UTLocale::GetDefaultCollation()
{
    return GetCollationInfoFromLabel("ISO_BINENG");
}

a_bool UTLocale::GetCollationLabel(const char * spec, char * label, size_t bufsize, const char ** opts)
{
    const char * bracket = nullptr;
    if (spec != nullptr) {
        bracket = strchr(spec, '(');
        bracket = bracket != nullptr ? bracket : strchr(spec, '{');
    }
    if (opts != nullptr) {
        *opts = bracket;
    }
    if (spec == nullptr) {
        (void)ut_strcpy(label, bufsize, "");
        return FALSE;
    }
    return bracket != nullptr ? ut_strncpy(label, bufsize, spec, static_cast<size_t>(bracket - spec))
                              : ut_strcpy(label, bufsize, spec);
}

const CollationInfo * ORVCollationIterator::next()
{
    return _curr == _end ? nullptr : as_collation(_curr++);
}

int ORVCollationIterator::compare_collations(const void * a, const void * b)
{
    const auto & left = *static_cast<const CollationInfoPod *>(a);
    const auto & right = *static_cast<const CollationInfoPod *>(b);
    if ((left._hidden != 0) != (right._hidden != 0)) {
        return left._hidden != 0 ? 1 : -1;
    }
    const bool left_number = isdigit(static_cast<unsigned char>(*left._orv_collation_label)) != 0;
    const bool right_number = isdigit(static_cast<unsigned char>(*right._orv_collation_label)) != 0;
    if (left_number != right_number) {
        return left_number ? -1 : 1;
    }
    if (left_number) {
        const unsigned long l = strtoul(left._orv_collation_label, nullptr, 10);
        const unsigned long r = strtoul(right._orv_collation_label, nullptr, 10);
        if (l != r) {
            return l < r ? -1 : 1;
        }
    }
    return strcasecmp(left._orv_collation_label, right._orv_collation_label);
}

// ---- Byte maps

namespace {

constexpr size_t HALF =
    128; // bytes 0x00 to 0x7F are ASCII in every single-byte character set of the catalogue
constexpr size_t FULL = 256;

bool is_single_byte(const CharsetInfo * csinfo)
{
    return csinfo != nullptr && csinfo->_max_char_size == 1;
}

void destroy_conversion_table(ConversionTable * table)
{
    table->~ConversionTable();
    ut_free(table);
}

const ConversionTable * usable(const ConversionTable * table)
{
    return table != nullptr && table->_map != nullptr ? table : nullptr;
}

} // namespace

ConversionTable::ConversionTable(const CharsetInfo * dest_csinfo, const CharsetInfo * src_csinfo,
                                 const a_byte * upper128)
    : queue{nullptr, nullptr}, _src_csinfo(src_csinfo), _dest_csinfo(dest_csinfo), _map(nullptr)
{
    if (upper128 == nullptr) {
        return;
    }
    _map = static_cast<a_byte *>(ut_malloc(FULL));
    if (_map == nullptr) {
        return;
    }
    for (size_t i = 0; i < HALF; i++) {
        _map[i] = static_cast<a_byte>(i);
    }
    memcpy(_map + HALF, upper128, HALF);
}

ConversionTable::~ConversionTable()
{
    ut_free(_map);
}

size_t UTLocale::conversion_table_hash(const CharsetInfo *, const CharsetInfo * src_csinfo)
{
    return src_csinfo->_unique_identifier & (NUM_BUCKETS - 1);
}

ConversionTable * UTLocale::find_conversion_table(const CharsetInfo * dest_csinfo,
                                                  const CharsetInfo * src_csinfo)
{
    ConversionTable * head = _conversion_tables[conversion_table_hash(dest_csinfo, src_csinfo)];
    ConversionTable * table = head;
    while (table != nullptr) {
        if (table->_src_csinfo == src_csinfo && table->_dest_csinfo == dest_csinfo) {
            return table;
        }
        // The links are the first field of a table.
        table = reinterpret_cast<ConversionTable *>(table->queue.after_me);
        if (table == head) {
            break;
        }
    }
    return nullptr;
}

a_bool UTLocale::find_upper128(a_byte * upper128, const CharsetInfo * dest_csinfo,
                               const CharsetInfo * src_csinfo, a_bool allow_cvf, a_bool allow_os)
{
    if (allow_cvf && read_cvf_conversion_table(upper128, dest_csinfo, src_csinfo)) {
        return TRUE;
    }
    if (allow_os && os_generate_upper128(upper128, dest_csinfo, src_csinfo)) {
        return TRUE;
    }
    // ICU is asked for the first pair of a bucket only.
    return _conversion_tables[conversion_table_hash(dest_csinfo, src_csinfo)] == nullptr &&
           icu_generate_upper128(upper128, dest_csinfo, src_csinfo);
}

ConversionTable * UTLocale::add_conversion_table(const CharsetInfo * dest_csinfo,
                                                 const CharsetInfo * src_csinfo, const a_byte * upper128)
{
    void * storage = ut_malloc(sizeof(ConversionTable));
    if (storage == nullptr) {
        return nullptr;
    }
    auto * table = new (storage) ConversionTable(dest_csinfo, src_csinfo, upper128);
    ConversionTable *& head = _conversion_tables[conversion_table_hash(dest_csinfo, src_csinfo)];
    if (head == nullptr) {
        table->queue.before_me = table->queue.after_me = &table->queue;
    } else {
        Q_insert(&head->queue, &table->queue);
    }
    head = table;
    return table;
}

const ConversionTable * UTLocale::GetConversionTable(const CharsetInfo * dest_csinfo,
                                                     const CharsetInfo * src_csinfo, a_bool allow_cvf,
                                                     a_bool allow_os)
{
    if (!is_single_byte(dest_csinfo) || !is_single_byte(src_csinfo) || dest_csinfo == src_csinfo) {
        return nullptr;
    }
    // Held while a map is made, too: no two threads make the same one.
    const CritSectGuard guard(_cs);
    const ConversionTable * table = find_conversion_table(dest_csinfo, src_csinfo);
    if (table == nullptr) {
        a_byte upper128[HALF];
        const bool found = find_upper128(upper128, dest_csinfo, src_csinfo, allow_cvf, allow_os);
        table = add_conversion_table(dest_csinfo, src_csinfo, found ? upper128 : nullptr);
    }
    return usable(table);
}

void UTLocale::free_conversion_tables()
{
    for (ConversionTable *& head : _conversion_tables) {
        if (head == nullptr) {
            continue;
        }
        while (void * table = Q_element(&head->queue)) {
            destroy_conversion_table(static_cast<ConversionTable *>(table));
        }
        destroy_conversion_table(head);
        head = nullptr;
    }
}

// ---- Unicode maps

namespace {

constexpr size_t NUM_SLOTS = CSID_LAST + size_t{1};

// What a slot holds after a failed try.
uint16 * failed_slot()
{
    return reinterpret_cast<uint16 *>(~uintptr_t{0});
}

} // namespace

a_bool UTLocale::GetUnicodeUpper128(uint16 * map, const CharsetInfo * src_info)
{
    if (!is_single_byte(src_info)) {
        return FALSE;
    }
    if (src_info->_to_utf16_upper128 != nullptr) {
        memcpy(map, src_info->_to_utf16_upper128, HALF * sizeof *map);
        return TRUE;
    }
    return os_generate_unicode_map_upper128(map, src_info) ||
           icu_generate_unicode_map_upper128(map, src_info);
}

// The array of slots, made on first use; null without memory.
uint16 ** UTLocale::unicode_map_slots()
{
    const std::atomic_ref<uint16 **> array(_sbcs_to_utf16);
    uint16 ** slots = array.load(std::memory_order_acquire);
    if (slots == nullptr) {
        const CritSectGuard guard(_cs);
        slots = array.load(std::memory_order_relaxed);
        if (slots == nullptr) {
            slots = static_cast<uint16 **>(ut_calloc(NUM_SLOTS * sizeof *slots));
            array.store(slots, std::memory_order_release);
        }
    }
    return slots;
}

const uint16 * UTLocale::FindOrLoadSBCSToUTF16(const CharsetInfo * src_info)
{
    if (src_info == nullptr || src_info->_unique_identifier > CSID_LAST) {
        return nullptr;
    }
    uint16 ** slots = unicode_map_slots();
    if (slots == nullptr) {
        return nullptr;
    }
    const std::atomic_ref<uint16 *> slot(slots[src_info->_unique_identifier]);
    uint16 * map = slot.load(std::memory_order_acquire);
    if (map == nullptr) {
        const CritSectGuard guard(_cs);
        map = slot.load(std::memory_order_relaxed);
        if (map == nullptr) {
            map = make_unicode_map(src_info);
            slot.store(map, std::memory_order_release);
        }
    }
    return map == failed_slot() ? nullptr : map;
}

// The 256 values, or failed_slot().
uint16 * UTLocale::make_unicode_map(const CharsetInfo * src_info)
{
    auto * map = static_cast<uint16 *>(ut_malloc(FULL * sizeof(uint16)));
    if (map == nullptr || !GetUnicodeUpper128(map + HALF, src_info)) {
        ut_free(map);
        return failed_slot();
    }
    for (size_t i = 0; i < HALF; i++) {
        map[i] = static_cast<uint16>(i);
    }
    return map;
}

void UTLocale::free_unicode_maps()
{
    if (_sbcs_to_utf16 == nullptr) {
        return;
    }
    for (size_t i = 0; i < NUM_SLOTS; i++) {
        if (_sbcs_to_utf16[i] != failed_slot()) {
            ut_free(_sbcs_to_utf16[i]);
        }
    }
    ut_free(_sbcs_to_utf16);
    _sbcs_to_utf16 = nullptr;
}

// ---- The object

UTLocale::UTLocale() : _sbcs_to_utf16(nullptr)
{
    static_assert(sizeof(UTLocale) == 352 && offsetof(UTLocale, _os_charset_info) == 8);
    static_assert(offsetof(UTLocale, _os_language_info) == 64 &&
                  offsetof(UTLocale, _conversion_tables) == 80);
    static_assert(offsetof(UTLocale, _sbcs_to_utf16) == 336 && offsetof(UTLocale, _icu) == 344);
    // Without memory for the mutex the object works for one thread at a time.
    (void)ut_safe_pthread_mutex_init(&_cs, nullptr);
    init();
}

UTLocale::~UTLocale()
{
    fini();
    (void)ut_safe_pthread_mutex_destroy(&_cs); // nobody is left who could hold it
}

void UTLocale::init()
{
    const CritSectGuard guard(_cs);
    for (ConversionTable *& head : _conversion_tables) {
        head = nullptr;
    }
    void * storage = ut_malloc(sizeof(UTICU));
    _icu = storage != nullptr ? new (storage) UTICU : nullptr;
    _true_os_charset_info = FindOSCharset(FALSE);
    _os_charset_info = getenv("VXCHARSET") != nullptr ? FindOSCharset(TRUE) : _true_os_charset_info;
    _ascii_charset_info = GetCharsetInfoFromLabel("US-ASCII", CS_STD_ANY);
    _utf16be_charset_info = GetCharsetInfoFromLabel("UTF-16BE", CS_STD_ANY);
    _utf16le_charset_info = GetCharsetInfoFromLabel("UTF-16LE", CS_STD_ANY);
    _utf8_charset_info = GetCharsetInfoFromLabel("UTF-8", CS_STD_ANY);
    _cesu8_charset_info = GetCharsetInfoFromLabel("CESU-8", CS_STD_ANY);
    _os_language_info = FindOSLanguage(TRUE);
    _english_language_info = GetLanguageInfoFromLabel("en");
}

void UTLocale::fini()
{
    const CritSectGuard guard(_cs);
    free_unicode_maps();
    free_conversion_tables();
    if (_icu != nullptr) {
        _icu->~UTICU();
        ut_free(_icu);
        _icu = nullptr;
    }
}

UTICU & UTLocale::icu()
{
    return _icu != nullptr ? *_icu : UTICU::no_build();
}

a_bool UTLocale::ICUIsSupported()
{
    return !icu().version_mismatch() && icu().ORVGetICUDataset() > ICU_DATASET_STUB;
}

a_bool UTLocale::ICUVersionMismatch()
{
    return icu().version_mismatch();
}

void UTLocale::get()
{
    lock_critical_sect(_cs);
}

void UTLocale::give()
{
    unlock_critical_sect(_cs);
}
