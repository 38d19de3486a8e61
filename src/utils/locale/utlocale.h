// The catalogue of character sets, languages and collations, and UTLocale, the object that stands on it at
// run time: it knows the process's character set and language, finds rows by label, caches byte maps and
// Unicode maps, and owns the ICU binding. One instance, OSLocale, is made when the library is loaded and
// lives until it is unloaded.
//
// The catalogue is constant data, generated into csinfo.cpp and initialised at compile time, so it can be
// used during the construction of any static object. Rows live for ever; code compares CharsetInfo pointers.
//
// Units: labels and specs are zero-terminated bytes; buffer sizes are in bytes and count the terminator;
// lengths don't. Failure: a lookup gives null and leaves nothing behind; nothing here reports. Threads:
// constant rows and the static operations are free on any thread. `_cs` guards the two caches of an instance;
// what they hand out stays valid and unchanged until fini(), and is read without a lock.
#pragma once

#include <cstddef>
#include <type_traits>

#include "tasks/orvtasks.h"
#include "utils/etc/clibinit.h"
#include "utils/etc/queue.h"
#include "utils/etc/thread_annotations.h"
#include "utils/etc/uttypes.h"

class UTCollationTailoring;
class UTICU;
class UTLangStringBase;
struct a_custom_collation_info;
struct CharsetInfo;
struct CollationInfo;
struct ConversionTable;
struct LanguageInfo;

// The naming standards under which a label is valid, as bits of a_charset_label::_standards.
constexpr uint32 CS_STD_ORV = 0x1;      // this system's own label
constexpr uint32 CS_STD_IANA = 0x2;     // IANA character set registry, names and aliases
constexpr uint32 CS_STD_MIME = 0x4;     // MIME
constexpr uint32 CS_STD_JAVA = 0x8;     // Java
constexpr uint32 CS_STD_WINDOWS = 0x10; // Windows family, such as windows-1252 and x-mac-ce
constexpr uint32 CS_STD_ICU_TABLE =
    0x20;                            // full name of an ICU mapping table; always together with CS_STD_ICU
constexpr uint32 CS_STD_IBM = 0x40;  // ibm- numbered names
constexpr uint32 CS_STD_ICU = 0x80;  // names that ICU's converter opens
constexpr uint32 CS_STD_KEP = 0x100; // the sibling server family, such as iso_1 and roman8
constexpr uint32 CS_STD_ANY = 0xFFFFFFFFu; // any name will do

// One name of a character set. A null `_label` ends an array of labels.
struct a_charset_label {
    const char * _label;
    uint32 _standards; // CS_STD_ bits
};
static_assert(sizeof(a_charset_label) == 16 && offsetof(a_charset_label, _standards) == 8);

// The legacy collation of a character set: five tables indexed by byte value.
struct a_packed_collation_order {
    a_byte sensitive[256];   // sort position, upper and lower case apart
    a_byte insensitive[256]; // sort position, upper and lower case alike
    a_byte tolower[256];
    a_byte toupper[256];
    a_byte flags[256]; // PACKED_ bits
};
static_assert(sizeof(a_packed_collation_order) == 1280 && offsetof(a_packed_collation_order, flags) == 1024);

// Bits of a_packed_collation_order::flags.
constexpr a_byte PACKED_TRAILING_BYTES = 0x03; // mask: how many bytes follow this lead byte
constexpr a_byte PACKED_ALPHA = 0x20;
constexpr a_byte PACKED_DIGIT = 0x40;
constexpr a_byte PACKED_SPACE = 0x80;

// Permanent numbers of the character sets that code asks for by number. The number is the row number for rows
// 0 to 25 and the row number plus 1 from row 26 on; 26 is not used.
constexpr a_byte CSID_GB18030 = 41;
constexpr a_byte CSID_GBK = 42;
constexpr a_byte CSID_UTF8 = 54;
constexpr a_byte CSID_UTF16LE = 55;
constexpr a_byte CSID_UTF16BE = 56;
constexpr a_byte CSID_CESU8 = 57;
constexpr a_byte CSID_LAST = 57;

// One character set: a row of UTLocale::_charset_info. The six canonical pointers are never null; each points
// into the row's own `_all_labels`, at the ending entry where the standard has no name for the character set.
struct CharsetInfo {
    const a_charset_label * _orv_canonical;
    const a_charset_label * _iana_canonical;
    const a_charset_label * _mime_canonical;
    const a_charset_label * _icu_canonical; // what ICU's ucnv_open is given
    const a_charset_label * _java_canonical;
    const a_charset_label * _kep_canonical;
    const a_charset_label * _all_labels;
    const a_utf16 * _to_utf16_upper128; // 128 values for bytes 0x80 to 0xFF; null for multi-byte rows
    int32 _chartab_cid;                 // -4 for UTF-8 and CESU-8, -1 for UTF-16
    int32 _microsoft_cid;               // Windows code page, -1 if there is none
    a_byte _min_char_size;              // bytes
    a_byte _max_char_size;              // bytes; 1 means single-byte
    a_byte _unique_identifier;
    a_byte _substitution_character_length;              // bytes used of the next field, 1 to 3
    a_byte _substitution_character[4];                  // in this character set's own encoding
    const a_packed_collation_order * _packed_collation; // null only for the two UTF-16 rows

    // The labels may be null, all but orv_label() and icu_label().
    const char * orv_label() const { return _orv_canonical->_label; }
    const char * iana_label() const { return _iana_canonical->_label; }
    const char * mime_label() const { return _mime_canonical->_label; }
    const char * icu_label() const { return _icu_canonical->_label; }
    const char * java_label() const { return _java_canonical->_label; }
    const char * kep_label() const { return _kep_canonical->_label; }

    size_t min_char_size() const { return _min_char_size; }
    size_t max_char_size() const { return _max_char_size; }
    a_byte unique_identifier() const { return _unique_identifier; }
    int32 chartab_cid() const { return _chartab_cid; }
    int32 microsoft_cid() const { return _microsoft_cid; }
    const a_packed_collation_order * get_packed_collation() const { return _packed_collation; }
    const a_utf16 * to_utf16_upper128() const { return _to_utf16_upper128; }

    // The substitution bytes, `*len` of them.
    const a_byte * get_substitution_character(size_t * len) const
    {
        *len = _substitution_character_length;
        return _substitution_character;
    }

    // The byte order mark, `*len` bytes; null with `*len` 0 where there is none. CESU-8 has none: UTR #26
    // assigns it no signature.
    const a_byte * get_BOM(size_t * len) const;

    // Does the row have this name under one of `standards`? Case, blanks, '-' and '_' play no part. A null
    // label and one without any other character match nothing.
    a_bool match_label(const char * label, uint32 standards) const;

    // A name to show, never null: "unknown" for a null `csinfo`; the canonical label of the preferred
    // standard (CS_STD_IANA, _MIME, _JAVA, _ICU or _KEP), or this system's own where that is missing.
    static const char * safe_label(const CharsetInfo * csinfo, uint32 preferred_standard);

    // Is `label` one of the UTF-16 names that tell the byte order?
    static a_bool is_UTF16_explicit_endian_label(const char * label);

    a_bool is_UTF8() const { return _unique_identifier == CSID_UTF8; }
    a_bool is_CESU8() const { return _unique_identifier == CSID_CESU8; }
    a_bool is_UTF16LE() const { return _unique_identifier == CSID_UTF16LE; }
    a_bool is_UTF16BE() const { return _unique_identifier == CSID_UTF16BE; }
    // The platform's own byte order is little-endian, the other one is big-endian.
    a_bool is_UTF16PE() const { return is_UTF16LE(); }
    a_bool is_UTF16OE() const { return is_UTF16BE(); }
    a_bool is_UTF16Any() const { return is_UTF16LE() || is_UTF16BE(); }
    a_bool is_mbcs() const { return _max_char_size > 1; }
    a_bool supports_BOM() const { return is_UTF8() || is_UTF16Any(); }
    a_bool same_charset(const CharsetInfo * other) const { return this == other; }
};
static_assert(sizeof(CharsetInfo) == 88 && std::is_aggregate_v<CharsetInfo>);
static_assert(offsetof(CharsetInfo, _to_utf16_upper128) == 56 && offsetof(CharsetInfo, _chartab_cid) == 64);
static_assert(offsetof(CharsetInfo, _min_char_size) == 72 && offsetof(CharsetInfo, _packed_collation) == 80);

// The comparison behind every label lookup: blanks, '-' and '_' are passed over on both sides, ASCII letters
// are alike in both cases, everything else counts. Neither may be null.
a_bool equal_charset_labels(const char * s1, const char * s2);

// Languages are known by their row number in UTLocale::_language_info.
enum ORV_LID : int32 {
    ORV_LID_ENGLISH = 0,
    ORV_LID_FRENCH = 1,
    ORV_LID_GERMAN = 2,
    ORV_LID_SPANISH = 3,
    ORV_LID_JAPANESE = 4,
    ORV_LID_KOREAN = 5,
    ORV_LID_PORTUGUESE = 6,
    ORV_LID_ITALIAN = 7,
    ORV_LID_DANISH = 8,
    ORV_LID_NORWEGIAN = 9,
    ORV_LID_SWEDISH = 10,
    ORV_LID_FINNISH = 11,
    ORV_LID_TRADCHIN = 12,
    ORV_LID_SIMPCHIN = 13,
    ORV_LID_POLISH = 14,
    ORV_LID_RUSSIAN = 15,
    ORV_LID_UKRAINIAN = 16,
    ORV_LID_CZECH = 17,
    ORV_LID_HUNGARIAN = 18,
    ORV_LID_GREEK = 19,
    ORV_LID_HEBREW = 20,
    ORV_LID_ARABIC = 21,
    ORV_LID_TURKISH = 22,
    ORV_LID_DUTCH = 23,
    ORV_LID_LITHUANIAN = 24,
    ORV_LID_THAI = 25,
    ORV_LID_LAST_REAL_LANGUAGE = 26,
    LAST_ORV_LID = 27
};

using PLATFORM_LID = int32;
using LanguageSet = uint32; // one LanguageInfo::bit() for each language

// One language: a row of UTLocale::_language_info.
struct LanguageInfo {
    PLATFORM_LID _platform_lid;  // -1 in every row: this platform has no numbers for languages
    const char * _kep_label;     // long name; null only in the row that ends the table
    const char * _kep_alt_label; // may be null
    const char * _iso_label;     // two letters

    ORV_LID lid() const;
    LanguageSet bit() const { return LanguageSet{1} << lid(); }
    PLATFORM_LID platform_lid() const { return _platform_lid; }
    const char * kep_label() const { return _kep_label; }
    const char * kep_alt_label() const { return _kep_alt_label; }
    const char * iso_label() const { return _iso_label; }
    const char * orv_label() const { return _kep_label; }

    // A name to show: "unknown" for a null `lginfo`, the ISO label for CS_STD_MIME if there is one, otherwise
    // the long name.
    static const char * safe_label(const LanguageInfo * lginfo, uint32 preferred_standard);
};
static_assert(sizeof(LanguageInfo) == 32 && offsetof(LanguageInfo, _kep_label) == 8);
static_assert(offsetof(LanguageInfo, _iso_label) == 24 && std::is_aggregate_v<LanguageInfo>);

enum a_collation_type : a_byte { LEGACY_COLLATION = 'L', ICU_COLLATION = 'I' };

// One collation: a row of UTLocale::_collation_info.
struct CollationInfoPod {
    const char * _orv_collation_label;
    const CharsetInfo * _required_charset; // null for the ICU row, which takes any
    const char * _so_case;     // sort order of the sibling server family, case sensitive; may be null
    const char * _so_caseless; // the same, case insensitive
    LanguageSet _supported_languages;
    LanguageSet _default_languages; // for which it is the automatic choice with this character set
    uint32 _description_strid;      // language string
    a_byte _hidden;
    a_byte _collation_type; // a_collation_type
    a_byte _custom;         // 0 in the table

    const char * orv_collation_label() const { return _orv_collation_label; }
    const CharsetInfo * required_charset() const { return _required_charset; }
    const char * kep_sensitive_sortorder() const { return _so_case; }
    const char * kep_insensitive_sortorder() const { return _so_caseless; }
    a_bool is_hidden() const { return _hidden; }
    a_bool is_custom() const { return _custom; }
    LanguageSet supported_languages() const { return _supported_languages; }
    LanguageSet default_languages() const { return _default_languages; }
    a_collation_type CollationType() const { return static_cast<a_collation_type>(_collation_type); }
    a_bool IsICUCollation() const { return _collation_type == ICU_COLLATION; }
    a_bool IsLegacyCollation() const { return _collation_type == LEGACY_COLLATION; }
};
static_assert(sizeof(CollationInfoPod) == 48 && std::is_trivial_v<CollationInfoPod>);
static_assert(offsetof(CollationInfoPod, _supported_languages) == 32);
static_assert(offsetof(CollationInfoPod, _hidden) == 44 && offsetof(CollationInfoPod, _custom) == 46);

// A collation as code sees it. Pointers to the table's rows have this type too, although those are plain
// CollationInfoPod records: `_description` and `_packed` exist in custom collations alone (`_custom` 1),
// which own them and their three texts.
struct CollationInfo : CollationInfoPod {
    char * _description;                // may be null
    a_packed_collation_order * _packed; // null without memory

    // A custom collation. What finds no memory is null afterwards; the record may go away.
    explicit CollationInfo(const a_custom_collation_info * info);
    ~CollationInfo();
    CollationInfo(const CollationInfo &) = delete;
    CollationInfo & operator=(const CollationInfo &) = delete;

    // Its description, as text of `ls` or, in a custom collation without a string id, its own. Result: the
    // length, with a text that doesn't fit cut; 0 if there is none. A string that `ls` lacks leaves `dest`
    // alone.
    size_t get_description(UTLangStringBase & ls, char * dest, size_t dest_size) const;

    // The private tables of a custom collation; null without memory. On any other collation this is an
    // assertion.
    const a_packed_collation_order * get_packed_collation_for_custom_collation() const;

    // The ISO labels of `languages`, from the highest language down. FALSE: they don't fit; `buff` holds what
    // did.
    static a_bool GetLanguagesList(char * buff, size_t len, const char * separator, LanguageSet languages);
};
static_assert(sizeof(CollationInfo) == 64);

// One cached byte map, for a pair of single-byte character sets: a node of its bucket's circle. A null `_map`
// records that there is none.
struct ConversionTable {
    a_queue queue;
    const CharsetInfo * _src_csinfo;
    const CharsetInfo * _dest_csinfo;
    a_byte * _map; // 256 bytes, owned, or null

    // `upper128` gives the bytes for 0x80 to 0xFF, those below stand for themselves; null, and a lack of
    // memory, leave `_map` null.
    ConversionTable(const CharsetInfo * dest_csinfo, const CharsetInfo * src_csinfo, const a_byte * upper128);
    ~ConversionTable();
    ConversionTable(const ConversionTable &) = delete;
    ConversionTable & operator=(const ConversionTable &) = delete;
};
static_assert(sizeof(ConversionTable) == 40 && offsetof(ConversionTable, queue) == 0);
static_assert(offsetof(ConversionTable, _src_csinfo) == 16 && offsetof(ConversionTable, _map) == 32);

class UTLocale : public CLibInit {
public:
    // Discovers the process's character set and language from the environment, and looks for the ICU build.
    // What is discovered stays for the object's life.
    UTLocale();
    ~UTLocale();
    UTLocale(const UTLocale &) = delete;
    UTLocale & operator=(const UTLocale &) = delete;

    // What constructor and destructor do, less the making and unmaking of the lock. fini() makes every table
    // that the caches have handed out invalid.
    void init() ORV_EXCLUDES(_cs);
    void fini() ORV_EXCLUDES(_cs);

    static constexpr size_t NUM_CHARSETS = 57;
    static constexpr size_t NUM_LANGUAGES = 26;
    static constexpr size_t NUM_COLLATIONS = 70;

    // The catalogue, defined in csinfo.cpp. The row behind the last language has -1 and null fields and ends
    // its table.
    static const CharsetInfo _charset_info[NUM_CHARSETS];
    static const LanguageInfo _language_info[NUM_LANGUAGES + 1];
    static const CollationInfoPod _collation_info[NUM_COLLATIONS];
    // For each character set: in its packed collation, has every byte the sort position of what its case is
    // mapped to? Where case counts, and where it doesn't.
    static const bool _case_mapping_keeps_order[NUM_CHARSETS][2];

    static uint32 num_charsets() { return NUM_CHARSETS; }
    static uint32 num_orv_collations() { return NUM_COLLATIONS; }

    // Character sets. Rows are tried in table order, the first match wins; null if there is none.
    static const CharsetInfo * GetCharsetInfoFromLabel(const char * label, uint32 standards);
    static const CharsetInfo * GetCharsetInfoFromMicrosoftCID(int32 cid);
    static const CharsetInfo * GetCharsetInfoFromChartabCID(int32 cid);

    // Is `label` null or one of the names that mean that no character set was given?
    static a_bool isAcceptableUnknownCharsetLabel(const char * label);

    // Languages, by any of their three names with case ignored, or by number; null if there is none.
    static const LanguageInfo * GetLanguageInfoFromLabel(const char * label);
    static const LanguageInfo * GetLanguageInfoFromOrvLID(ORV_LID lid);
    static const LanguageInfo * GetLanguageInfoFromPlatformLID(PLATFORM_LID lid);

    // The table above, for a row of _charset_info.
    static bool CaseMappingKeepsOrder(const CharsetInfo * row, bool case_counts)
    {
        return _case_mapping_keeps_order[row - _charset_info][case_counts ? 0 : 1];
    }

    // Collations. By label with case ignored; null if there is none.
    static const CollationInfo * GetCollationInfoFromLabel(const char * label);
    // The automatic choice for a character set and a language, English for a null `langinfo`; null if there
    // is none.
    static const CollationInfo * GetCollationInfoFromCharsetLang(const CharsetInfo * csinfo,
                                                                 const LanguageInfo * langinfo);
    static const CollationInfo * GetDefaultCollation();

    // A collation spec is a label, optionally followed by options in parentheses or braces. Copies the label,
    // and sets `*opts`, when `opts` isn't null, to the opening bracket or null. FALSE: the label was cut to
    // fit `bufsize`, or `spec` is null, with an empty label then.
    static a_bool GetCollationLabel(const char * spec, char * label, size_t bufsize, const char ** opts);

    // Row and tailoring of a spec; null for an unknown label or options that don't hold. Defined in
    // tailoring.cpp.
    static const CollationInfo * GetCollationInfoAndTailoring(const char * spec,
                                                              UTCollationTailoring * tailoring);
    static const CollationInfo * GetCollationTailoringDefaults(const char * spec,
                                                               UTCollationTailoring * tailoring);

    // Discovery; each call reads the environment anew. Never null: what isn't known ends at English and ISO
    // 8859-1. The override is the variables VXLANG and VXCHARSET.
    static const LanguageInfo * FindOSLanguage(a_bool allow_env_override);
    static const CharsetInfo * FindOSCharset(a_bool allow_env_override);
    // The collation of a pair, where null stands for what is discovered, or else of the character set and
    // English; null if there is neither.
    static const CollationInfo * FindCollation(const CharsetInfo * csinfo, const LanguageInfo * langinfo);
    // Never null.
    static const CollationInfo * FindOSCollation();

    const CharsetInfo * OSCharset() const { return _os_charset_info; }
    const CharsetInfo * TrueOSCharset() const { return _true_os_charset_info; }
    const CharsetInfo * AsciiCharset() const { return _ascii_charset_info; }
    const CharsetInfo * UTF16BE() const { return _utf16be_charset_info; }
    const CharsetInfo * UTF16LE() const { return _utf16le_charset_info; }
    const CharsetInfo * UTF16PE() const { return _utf16le_charset_info; }
    const CharsetInfo * UTF16OE() const { return _utf16be_charset_info; }
    const CharsetInfo * UTF8() const { return _utf8_charset_info; }
    const CharsetInfo * CESU8() const { return _cesu8_charset_info; }
    const LanguageInfo * OSLanguage() const { return _os_language_info; }
    const LanguageInfo * English() const { return _english_language_info; }

    // The ICU binding; without memory for one, a binding to no build.
    UTICU & icu();
    // Is an ICU build with its data there, and complete?
    a_bool ICUIsSupported();
    // Was an ICU build found that lacks an entry point?
    a_bool ICUVersionMismatch();

    // The 128 Unicode values of bytes 0x80 to 0xFF. FALSE: null or multi-byte `src_info`, or no source knows
    // it; `map` is then undefined.
    a_bool GetUnicodeUpper128(uint16 * map, const CharsetInfo * src_info);

    // The 256 Unicode values of a single-byte character set, made on first use; null if there are none.
    const uint16 * FindOrLoadSBCSToUTF16(const CharsetInfo * src_info) ORV_EXCLUDES(_cs);

    // The byte map of a pair of single-byte character sets, made on first use; null if there is none. The
    // conversion file and the operating system are asked only where the caller allows them, when the pair is
    // seen first; a failure stays.
    const ConversionTable * GetConversionTable(const CharsetInfo * dest_csinfo,
                                               const CharsetInfo * src_csinfo, a_bool allow_cvf,
                                               a_bool allow_os) ORV_EXCLUDES(_cs);

    // Take and release `_cs`, which isn't recursive.
    void get() ORV_ACQUIRE(_cs);
    void give() ORV_RELEASE(_cs);

private:
    friend struct UTLocaleInspector; // tests count what the caches hold

    static constexpr size_t NUM_BUCKETS = 32; // a power of two: the low bits of the source's number choose

    static size_t conversion_table_hash(const CharsetInfo * dest_csinfo, const CharsetInfo * src_csinfo);
    uint16 ** unicode_map_slots() ORV_EXCLUDES(_cs);
    uint16 * make_unicode_map(const CharsetInfo * src_info) ORV_REQUIRES(_cs);
    void free_unicode_maps() ORV_REQUIRES(_cs);
    ConversionTable * find_conversion_table(const CharsetInfo * dest_csinfo, const CharsetInfo * src_csinfo)
        ORV_REQUIRES(_cs);
    ConversionTable * add_conversion_table(const CharsetInfo * dest_csinfo, const CharsetInfo * src_csinfo,
                                           const a_byte * upper128) ORV_REQUIRES(_cs);
    a_bool find_upper128(a_byte * upper128, const CharsetInfo * dest_csinfo, const CharsetInfo * src_csinfo,
                         a_bool allow_cvf, a_bool allow_os) ORV_REQUIRES(_cs);
    void free_conversion_tables() ORV_REQUIRES(_cs);

    // Sources of maps. Each fills 128 bytes or values, or gives FALSE with them undefined. The operating
    // system is no source on this platform.
    a_bool read_cvf_conversion_table(a_byte * upper128, const CharsetInfo * dest_csinfo,
                                     const CharsetInfo * src_csinfo);
    a_bool os_generate_upper128(a_byte * upper128, const CharsetInfo * dest_csinfo,
                                const CharsetInfo * src_csinfo);
    a_bool os_generate_unicode_map_upper128(uint16 * map, const CharsetInfo * src_csinfo);
    a_bool icu_generate_upper128(a_byte * upper128, const CharsetInfo * dest_csinfo,
                                 const CharsetInfo * src_csinfo);
    a_bool icu_generate_unicode_map_upper128(uint16 * map, const CharsetInfo * src_csinfo);

    a_critical_sect _cs;
    const CharsetInfo * _os_charset_info;
    const CharsetInfo * _true_os_charset_info; // without the environment's override
    const CharsetInfo * _ascii_charset_info;
    const CharsetInfo * _utf16be_charset_info;
    const CharsetInfo * _utf16le_charset_info;
    const CharsetInfo * _utf8_charset_info;
    const CharsetInfo * _cesu8_charset_info;
    const LanguageInfo * _os_language_info;
    const LanguageInfo * _english_language_info;
    ConversionTable * _conversion_tables[NUM_BUCKETS] ORV_GUARDED_BY(_cs); // heads of circles, or null
    // 58 slots by character set number: null while untried, all one bits after a failed try, else a table
    // owned here. The array and each slot change once, under `_cs`, and are published: readers load them
    // atomically, unlocked.
    uint16 ** _sbcs_to_utf16;
    UTICU * _icu; // owned; fixed between init and fini
};

// Walk the catalogue from first row to last.
class CharsetIterator {
public:
    // The next row, null behind the last.
    const CharsetInfo * next() { return _curr == _end ? nullptr : _curr++; }

private:
    const CharsetInfo * _curr = UTLocale::_charset_info;
    const CharsetInfo * _end = UTLocale::_charset_info + UTLocale::NUM_CHARSETS;
};

class ORVCollationIterator {
public:
    // The next row, null behind the last.
    const CollationInfo * next();

    // An order for lists of collations; `a` and `b` are rows. Hidden rows go last, labels that begin with a
    // number come first, by number, then labels with case ignored. Negative, 0 or positive.
    static int compare_collations(const void * a, const void * b);

private:
    const CollationInfoPod * _curr = UTLocale::_collation_info;
    const CollationInfoPod * _end = UTLocale::_collation_info + UTLocale::NUM_COLLATIONS;
};
