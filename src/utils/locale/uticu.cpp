#include "utils/locale/uticu.h"

#include <cstddef>
#include <type_traits>

#include "utils/etc/fileutil.h"
#include "utils/lang/wlangnam.h"
#include "utils/locale/utlocale.h"
#include "utils/unix/checkthread.h"

using namespace icu_abi; // names of ICU, in this file alone

// ---- What stands in for an entry point that can't be had

namespace {

void fail(UErrorCode * error)
{
    *error = U_MISSING_RESOURCE_ERROR;
}

UConverter * fail_ucnv_open(const char *, UErrorCode * error)
{
    fail(error);
    return nullptr;
}

void fail_ucnv_handle(UConverter *) {}

void fail_ucnv_toUnicode(UConverter *, a_utf16 **, const a_utf16 *, const char **, const char *, int32 *,
                         UBool, UErrorCode * error)
{
    fail(error);
}

void fail_ucnv_fromUnicode(UConverter *, char **, const char *, const a_utf16 **, const a_utf16 *, int32 *,
                           UBool, UErrorCode * error)
{
    fail(error);
}

void fail_ucnv_setFallback(UConverter *, UBool) {}

UCollator * fail_ucol_open(const char *, UErrorCode * error)
{
    fail(error);
    return nullptr;
}

void fail_ucol_close(UCollator *) {}

void fail_ucol_setAttribute(UCollator *, UColAttribute, UColAttributeValue, UErrorCode * error)
{
    fail(error);
}

void fail_ucol_setStrength(UCollator *, UColAttributeValue) {}

int32 fail_ucol_getSortKeyPrefix(const UCollator *, const a_utf16 *, int32, a_byte *, uint32, UBool,
                                 UErrorCode * error)
{
    fail(error);
    return 0;
}

int32 fail_ucol_getSortKeyPrefixSBCS(const UCollator *, const char *, int32, a_byte *, uint32,
                                     const a_utf16 *, UBool, UErrorCode * error)
{
    fail(error);
    return 0;
}

int32 fail_ucol_getSortKeyPrefixUTF8(const UCollator *, const char *, int32, a_byte *, uint32, UBool,
                                     UErrorCode * error)
{
    fail(error);
    return 0;
}

UBool fail_u_is(UChar32)
{
    return 0;
}

int32 fail_u_getIntPropertyValue(UChar32, UProperty)
{
    return 0;
}

void fail_uiter_setUTF8(UCharIterator *, const char *, int32) {}

UCollationResult fail_ucol_strcoll(const UCollator *, const a_utf16 *, int32, const a_utf16 *, int32)
{
    return UCOL_LESS;
}

int fail_ucol_strcoll_sbcs(const UCollator *, const a_utf16 *, const char *, size_t, const char *, size_t)
{
    return -1;
}

UCollationResult fail_ucol_strcollIter(const UCollator *, UCharIterator *, UCharIterator *,
                                       UErrorCode * error)
{
    fail(error);
    return UCOL_LESS;
}

int32 fail_ORV_strToCase(orv_output_func, void *, orv_utf16_input_func, void *, const char *,
                         UErrorCode * error)
{
    fail(error);
    return 0;
}

int32 fail_u_strToCase(a_utf16 *, int32, const a_utf16 *, int32, const char *, UErrorCode * error)
{
    fail(error);
    return 0;
}

int32 fail_uloc_canonicalize(const char *, char *, int32, UErrorCode * error)
{
    fail(error);
    return 0;
}

ICU_DATASET fail_ORVGetICUDataset()
{
    return ICU_DATASET_NONE;
}

void fail_ucnv_setFromUCallBack(UConverter *, UConverterFromUCallback, const void *,
                                UConverterFromUCallback *, const void **, UErrorCode *)
{
}

void fail_ucnv_setToUCallBack(UConverter *, UConverterToUCallback, const void *, UConverterToUCallback *,
                              const void **, UErrorCode *)
{
}

UCollator * fail_ORV_ucol_open(const char *, UErrorCode * locale_error, UErrorCode *)
{
    fail(locale_error);
    return nullptr;
}

void fail_uiter_setFragmentedSBCS(UCharIterator *, const a_byte *, size_t, size_t, orv_fill_func, void *,
                                  const a_utf16 *)
{
}

void fail_uiter_setFragmentedUTF8Simple(UCharIterator *, const a_byte *, size_t, size_t, orv_fill_func,
                                        void *)
{
}

} // namespace

// ---- Loading

// The symbol of an entry point, and what looks it up for its slot.
struct UTICU::an_entry {
    const char * symbol;
    void (*bind)(UTICU & icu, const char * symbol);

    template<auto Slot, auto Fail> static void bind_slot(UTICU & icu, const char * symbol)
    {
        using a_function = std::remove_const_t<decltype(Fail)>;
        static_assert(std::is_same_v<decltype(Slot), a_function UTICU::*>, "the stub has another signature");
        icu.*Slot = reinterpret_cast<a_function>(icu.load_symbol(symbol, reinterpret_cast<void *>(Fail)));
    }
};

// In the order of the slots.
constexpr UTICU::an_entry UTICU::ENTRIES[] = {
    {"ucnv_open_3_4", an_entry::bind_slot<&UTICU::_ucnv_open, fail_ucnv_open>},
    {"ucnv_resetToUnicode_3_4", an_entry::bind_slot<&UTICU::_ucnv_resetToUnicode, fail_ucnv_handle>},
    {"ucnv_resetFromUnicode_3_4", an_entry::bind_slot<&UTICU::_ucnv_resetFromUnicode, fail_ucnv_handle>},
    {"ucnv_close_3_4", an_entry::bind_slot<&UTICU::_ucnv_close, fail_ucnv_handle>},
    {"ucnv_toUnicode_3_4", an_entry::bind_slot<&UTICU::_ucnv_toUnicode, fail_ucnv_toUnicode>},
    {"ucnv_fromUnicode_3_4", an_entry::bind_slot<&UTICU::_ucnv_fromUnicode, fail_ucnv_fromUnicode>},
    {"ucnv_setFallback_3_4", an_entry::bind_slot<&UTICU::_ucnv_setFallback, fail_ucnv_setFallback>},
    {"ucol_open_3_4", an_entry::bind_slot<&UTICU::_ucol_open, fail_ucol_open>},
    {"ucol_close_3_4", an_entry::bind_slot<&UTICU::_ucol_close, fail_ucol_close>},
    {"ucol_setAttribute_3_4", an_entry::bind_slot<&UTICU::_ucol_setAttribute, fail_ucol_setAttribute>},
    {"ucol_setStrength_3_4", an_entry::bind_slot<&UTICU::_ucol_setStrength, fail_ucol_setStrength>},
    {"ucol_getSortKeyPrefix",
     an_entry::bind_slot<&UTICU::_ucol_getSortKeyPrefix, fail_ucol_getSortKeyPrefix>},
    {"ucol_getSortKeyPrefixSBCS",
     an_entry::bind_slot<&UTICU::_ucol_getSortKeyPrefixSBCS, fail_ucol_getSortKeyPrefixSBCS>},
    {"ucol_getSortKeyPrefixUTF8",
     an_entry::bind_slot<&UTICU::_ucol_getSortKeyPrefixUTF8, fail_ucol_getSortKeyPrefixUTF8>},
    {"u_isUAlphabetic_3_4", an_entry::bind_slot<&UTICU::_u_isUAlphabetic, fail_u_is>},
    {"u_getIntPropertyValue_3_4",
     an_entry::bind_slot<&UTICU::_u_getIntPropertyValue, fail_u_getIntPropertyValue>},
    {"u_isWhitespace_3_4", an_entry::bind_slot<&UTICU::_u_isWhitespace, fail_u_is>},
    {"uiter_setUTF8_3_4", an_entry::bind_slot<&UTICU::_uiter_setUTF8, fail_uiter_setUTF8>},
    {"ucol_strcoll_3_4", an_entry::bind_slot<&UTICU::_ucol_strcoll, fail_ucol_strcoll>},
    {"ucol_strcoll_sbcs", an_entry::bind_slot<&UTICU::_ucol_strcoll_sbcs, fail_ucol_strcoll_sbcs>},
    {"ucol_strcollIter_3_4", an_entry::bind_slot<&UTICU::_ucol_strcollIter, fail_ucol_strcollIter>},
    {"ORV_strToUpper", an_entry::bind_slot<&UTICU::_ORV_strToUpper, fail_ORV_strToCase>},
    {"ORV_strToLower", an_entry::bind_slot<&UTICU::_ORV_strToLower, fail_ORV_strToCase>},
    {"u_strToLower_3_4", an_entry::bind_slot<&UTICU::_u_strToLower, fail_u_strToCase>},
    {"u_strToUpper_3_4", an_entry::bind_slot<&UTICU::_u_strToUpper, fail_u_strToCase>},
    {"uloc_canonicalize_3_4", an_entry::bind_slot<&UTICU::_uloc_canonicalize, fail_uloc_canonicalize>},
    {"ORVGetICUDataset", an_entry::bind_slot<&UTICU::_ORVGetICUDataset, fail_ORVGetICUDataset>},
    {"ucnv_setFromUCallBack_3_4",
     an_entry::bind_slot<&UTICU::_ucnv_setFromUCallBack, fail_ucnv_setFromUCallBack>},
    {"ucnv_setToUCallBack_3_4", an_entry::bind_slot<&UTICU::_ucnv_setToUCallBack, fail_ucnv_setToUCallBack>},
    {"u_isUWhiteSpace_3_4", an_entry::bind_slot<&UTICU::_u_isUWhiteSpace, fail_u_is>},
    {"ORV_ucol_open", an_entry::bind_slot<&UTICU::_ORV_ucol_open, fail_ORV_ucol_open>},
    {"uiter_setFragmentedSBCS",
     an_entry::bind_slot<&UTICU::_uiter_setFragmentedSBCS, fail_uiter_setFragmentedSBCS>},
    {"uiter_setFragmentedUTF8Simple",
     an_entry::bind_slot<&UTICU::_uiter_setFragmentedUTF8Simple, fail_uiter_setFragmentedUTF8Simple>},
};

namespace {

// Null for a build that isn't there or doesn't load.
a_dll_handle find_and_load_build()
{
    const char * const name = IsThreaded() ? "liborvicu16_r.so" : "liborvicu16.so";
    char path[PATH_BUFFER_SIZE];
    const size_t length = LS_QualifyOrvAnyFile(LS_LIBRARY, name, path, sizeof path, defaultQualifyCB, 0);
    return length > 0 && length < sizeof path ? UTLoadLibrary(path) : nullptr;
}

} // namespace

UTICU::UTICU() : UTICU(find_and_load_build()) {}

UTICU::UTICU(a_dll_handle dll) : _missing_entry(FALSE), _orvicu_dll(dll)
{
    static_assert(sizeof ENTRIES / sizeof *ENTRIES == 33);
    for (const an_entry & entry : ENTRIES) {
        entry.bind(*this, entry.symbol);
    }
}

UTICU::~UTICU()
{
    if (_orvicu_dll != nullptr) {
        UTUnloadLibrary(_orvicu_dll);
    }
}

UTICU & UTICU::no_build()
{
    static UTICU unbound(nullptr);
    return unbound;
}

void * UTICU::load_symbol(const char * name, void * fail_function)
{
    if (_orvicu_dll == nullptr) {
        return fail_function;
    }
    void * const entry = UTGetProcAddress(_orvicu_dll, name);
    if (entry == nullptr) {
        _missing_entry = TRUE;
        return fail_function;
    }
    return entry;
}

// ---- Maps of single-byte character sets

namespace {

constexpr size_t HALF = 128;

// A converter by its ICU name, with fallback mappings in use, closed with its scope.
class OpenConverter {
public:
    OpenConverter(const UTICU & icu, const char * name) : _icu(icu)
    {
        UErrorCode error = U_ZERO_ERROR;
        _handle = icu.ucnv_open_3_4(name, &error);
        _has_failed = _handle == nullptr || error > U_ZERO_ERROR;
        if (_handle != nullptr) {
            icu.ucnv_setFallback_3_4(_handle, 1);
        }
    }
    ~OpenConverter()
    {
        if (_handle != nullptr) {
            _icu.ucnv_close_3_4(_handle);
        }
    }
    OpenConverter(const OpenConverter &) = delete;
    OpenConverter & operator=(const OpenConverter &) = delete;

    [[nodiscard]] UConverter * handle() const { return _handle; }
    [[nodiscard]] bool has_failed() const { return _has_failed; }

private:
    const UTICU & _icu;
    UConverter * _handle;
    bool _has_failed;
};

// The units of bytes 0x80 to 0xFF. FALSE: a byte stands for none, for several, or not for itself alone.
a_bool upper_half_to_units(const UTICU & icu, UConverter * converter, a_utf16 * units)
{
    char bytes[HALF];
    for (size_t i = 0; i < HALF; i++) {
        bytes[i] = static_cast<char>(HALF + i);
    }
    const char * source = bytes;
    a_utf16 * target = units;
    UErrorCode error = U_ZERO_ERROR;
    icu.ucnv_toUnicode_3_4(converter, &target, units + HALF, &source, bytes + HALF, nullptr, 1, &error);
    return error <= U_ZERO_ERROR && target == units + HALF && source == bytes + HALF;
}

} // namespace

a_bool UTLocale::icu_generate_unicode_map_upper128(uint16 * map, const CharsetInfo * src_csinfo)
{
    if (src_csinfo == nullptr || src_csinfo->icu_label() == nullptr) {
        return FALSE;
    }
    const OpenConverter source(icu(), src_csinfo->icu_label());
    return source.handle() != nullptr && upper_half_to_units(icu(), source.handle(), map);
}

a_bool UTLocale::icu_generate_upper128(a_byte * upper128, const CharsetInfo * dest_csinfo,
                                       const CharsetInfo * src_csinfo)
{
    if (upper128 == nullptr || dest_csinfo == nullptr || src_csinfo == nullptr ||
        dest_csinfo->icu_label() == nullptr || src_csinfo->icu_label() == nullptr) {
        return FALSE;
    }
    const OpenConverter source(icu(), src_csinfo->icu_label());
    if (source.has_failed()) {
        return FALSE;
    }
    const OpenConverter dest(icu(), dest_csinfo->icu_label());
    a_utf16 units[HALF];
    if (dest.has_failed() || !upper_half_to_units(icu(), source.handle(), units)) {
        return FALSE;
    }
    const a_utf16 * unit = units;
    char * const bytes = reinterpret_cast<char *>(upper128);
    char * target = bytes;
    UErrorCode error = U_ZERO_ERROR;
    icu().ucnv_fromUnicode_3_4(dest.handle(), &target, bytes + HALF, &unit, units + HALF, nullptr, 1, &error);
    return error <= U_ZERO_ERROR && unit == units + HALF && target == bytes + HALF;
}
