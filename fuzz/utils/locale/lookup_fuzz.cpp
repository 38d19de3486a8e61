// All look-ups by a text from outside: character sets, languages and collations by label, collation specs,
// locale names and their aliases, the environment's overrides, and stepping through text in the character set
// they name.
//
// Input: four bytes of naming standards (little-endian), then the text up to its first zero byte.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "require.h"
#include "utils/etc/lschrfns.h"
#include "utils/etc/utcollation.h"
#include "utils/locale/utlocale.h"
#include "utils/unix/localias.h"

namespace {

// A block of the exact size, so that a sanitizer sees the first byte read or written behind it.
std::unique_ptr<char[]> exact_text(const std::uint8_t * data, std::size_t size)
{
    auto text = std::make_unique<char[]>(size + 1);
    if (size > 0) {
        memcpy(text.get(), data, size);
    }
    text[size] = '\0';
    return text;
}

void look_up_charset(const char * text, uint32 standards)
{
    const CharsetInfo * first = nullptr;
    for (const CharsetInfo & row : UTLocale::_charset_info) {
        if (first == nullptr && row.match_label(text, standards)) {
            first = &row;
        }
        for (const a_charset_label * label = row._all_labels; label->_label != nullptr; label++) {
            require(equal_charset_labels(label->_label, text) == equal_charset_labels(text, label->_label));
        }
    }
    require(UTLocale::GetCharsetInfoFromLabel(text, standards) == first);
    require(first == nullptr || UTLocale::GetCharsetInfoFromLabel(text, CS_STD_ANY) != nullptr);
    (void)CharsetInfo::safe_label(first, standards);
    (void)CharsetInfo::is_UTF16_explicit_endian_label(text);
    (void)UTLocale::isAcceptableUnknownCharsetLabel(text);
}

void look_up_collation(const char * text)
{
    (void)UTLocale::GetCollationInfoFromLabel(text);
    const size_t len = strlen(text);
    for (const size_t size : {len + 1, len, size_t{1}, size_t{0}}) {
        const auto label = std::make_unique<char[]>(size);
        const char * opts = nullptr;
        const bool fits = UTLocale::GetCollationLabel(text, label.get(), size, &opts);
        const size_t wanted = opts != nullptr ? static_cast<size_t>(opts - text) : len;
        require(fits == (wanted < size));
        require(size == 0 || strlen(label.get()) == (fits ? wanted : size - 1));
    }
}

void discover(const char * text)
{
    const char * alias = get_alias(text);
    require(alias != nullptr && get_alias(alias) != nullptr);
    (void)is_locale_supported(text);
    for (const char * name : {"VXLANG", "VXCHARSET", "LC_ALL"}) {
        setenv(name, text, 1);
        require(UTLocale::FindOSLanguage(TRUE) != nullptr && UTLocale::FindOSLanguage(FALSE) != nullptr);
        require(UTLocale::FindOSCharset(TRUE) != nullptr && UTLocale::FindOSCharset(FALSE) != nullptr);
        require(UTLocale::FindOSCollation() != nullptr);
    }
    LS_CharFunctions functions;
    functions.init();
    const char * end = text + strlen(text);
    for (const char * p = text; p < end; p = functions.nextChar(p)) {
        require(functions.prevChar(text, functions.nextChar(p)) == p);
    }
    for (const char * name : {"VXLANG", "VXCHARSET", "LC_ALL"}) {
        unsetenv(name);
    }
}

void build_collation(const std::uint8_t * data, std::size_t size)
{
    a_custom_collation_info record;
    memcpy(static_cast<void *>(&record), data, size < sizeof record ? size : sizeof record);
    const CollationInfo custom(&record);
    require(custom.is_custom() && strlen(custom.orv_collation_label()) <= sizeof record.orv_collation_label);
    (void)UTLocale::GetCollationInfoFromCharsetLang(custom.required_charset(), nullptr);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * data, std::size_t size)
{
    uint32 standards = 0;
    if (size < sizeof standards) {
        return 0;
    }
    memcpy(&standards, data, sizeof standards);
    const auto text = exact_text(data + sizeof standards, size - sizeof standards);
    look_up_charset(text.get(), standards);
    (void)UTLocale::GetLanguageInfoFromLabel(text.get());
    look_up_collation(text.get());
    discover(text.get());
    build_collation(data + sizeof standards, size - sizeof standards);
    return 0;
}
