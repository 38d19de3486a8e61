#include "utils/etc/lschrfns.h"

#include <cctype>

#include "utils/locale/utlocale.h"

constinit LS_CharFunctions LSCharFunctions;

namespace {

// Lead bytes of the multi-byte character sets that the classifier steps through; all their characters have
// one or two bytes here. The ranges of each label follow each other.
struct LeadByteRange {
    const char * label; // IANA
    int first;
    int last;
};

constexpr LeadByteRange LEAD_BYTES[] = {
    {"Shift-JIS", 0x81, 0x9F},   {"Shift-JIS", 0xE0, 0xEF}, {"Windows-31J", 0x81, 0x9F},
    {"Windows-31J", 0xE0, 0xFC}, {"GBK", 0x81, 0xFE},       {"GB18030", 0x81, 0xFE},
};

bool is_lead_byte(const CharsetInfo * charset, int c)
{
    for (const LeadByteRange & range : LEAD_BYTES) {
        if (c >= range.first && c <= range.last &&
            UTLocale::GetCharsetInfoFromLabel(range.label, CS_STD_IANA) == charset) {
            return true;
        }
    }
    return false;
}

} // namespace

void LS_CharFunctions::init()
{
    if (_initialized) {
        return;
    }
    const CharsetInfo * charset = UTLocale::FindOSCharset(TRUE);
    for (int c = 0; c < 256; c++) {
        Attributes & attributes = _attributes[c];
        attributes.char_upper = isalpha(c) ? static_cast<unsigned char>(toupper(c)) : 0;
        attributes.char_lower = isalpha(c) ? static_cast<unsigned char>(tolower(c)) : 0;
        attributes.char_size = is_lead_byte(charset, c) ? 2 : 1;
        if (attributes.char_size > 1) {
            _multibyte = 1;
        }
    }
    _initialized = 1;
}

const char * LS_CharFunctions::prevChar(const char * start, const char * p) const
{
    if (p == start) {
        return p;
    }
    if (!_multibyte) {
        return p - 1;
    }
    const char * character = start;
    for (const char * next = start; next < p; next += charSize(*next)) {
        character = next;
    }
    return character;
}
