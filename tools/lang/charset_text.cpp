#include "tools/lang/charset_text.h"

#include <unicode/ucnv.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

constexpr char16_t replacement = 0xFFFD;

// One way to say where a text fails.
std::string offset_fault(const char * what, std::size_t offset)
{
    return std::string(what) + " at offset " + std::to_string(offset);
}

bool utf16_of(const std::string & utf8, std::u16string & result)
{
    result.resize(utf8.size());
    int32_t length = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strFromUTF8(result.data(), static_cast<int32_t>(result.size()), &length, utf8.data(),
                  static_cast<int32_t>(utf8.size()), &error);
    result.resize(U_SUCCESS(error) ? static_cast<std::size_t>(length) : 0);
    return U_SUCCESS(error);
}

// `utf16` is well-formed.
std::string utf8_of(const std::u16string & utf16)
{
    std::string result(utf16.size() * 3, '\0');
    int32_t length = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strToUTF8(result.data(), static_cast<int32_t>(result.size()), &length, utf16.data(),
                static_cast<int32_t>(utf16.size()), &error);
    result.resize(U_SUCCESS(error) ? static_cast<std::size_t>(length) : 0);
    return result;
}

std::string character_fault(const CharsetInfo & charset, const std::u16string & utf16, std::size_t offset)
{
    UChar32 character = 0;
    U16_GET(utf16.data(), 0, offset, utf16.size(), character);
    char number[16];
    (void)std::snprintf(number, sizeof(number), "U+%04X", static_cast<unsigned>(character));
    const auto units = static_cast<std::size_t>(U16_LENGTH(character));
    return "the character " + utf8_of(utf16.substr(offset, units)) + " (" + number + ") isn't in " +
           charset.orv_label();
}

// The catalogue's table, backwards. Of two bytes with the same character the lower one counts.
a_converted_text encode_single_byte(const CharsetInfo & charset, const std::u16string & utf16)
{
    const a_utf16 * const upper = charset.to_utf16_upper128();
    a_converted_text result;
    for (std::size_t i = 0; i < utf16.size(); ++i) {
        const a_utf16 * const found = std::find(upper, upper + 128, static_cast<a_utf16>(utf16[i]));
        if (utf16[i] < 0x80) {
            result.text += static_cast<char>(utf16[i]);
        } else if (utf16[i] != replacement && found != upper + 128) {
            result.text += static_cast<char>(0x80 + (found - upper));
        } else {
            result.fault = character_fault(charset, utf16, i);
            break;
        }
    }
    return result;
}

a_converted_text decode_single_byte(const CharsetInfo & charset, const std::string & bytes)
{
    std::u16string utf16;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        utf16 += static_cast<char16_t>(byte < 0x80 ? byte : charset.to_utf16_upper128()[byte - 0x80]);
        if (utf16.back() == replacement) {
            return {{}, offset_fault("a byte without a character", i)};
        }
    }
    return {utf8_of(utf16), {}};
}

// ICU's converter for a row, by the first of its names that ICU knows, set to stop at what it can't convert.
class IcuConverter {
public:
    explicit IcuConverter(const CharsetInfo & charset)
    {
        for (const char * name : {charset.icu_label(), charset.mime_label(), charset.iana_label()}) {
            UErrorCode error = U_ZERO_ERROR;
            if (_handle == nullptr && name != nullptr) {
                _handle = ucnv_open(name, &error);
            }
        }
        UErrorCode error = U_ZERO_ERROR;
        if (_handle != nullptr) {
            ucnv_setFromUCallBack(_handle, UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &error);
            ucnv_setToUCallBack(_handle, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &error);
            ucnv_setFallback(_handle, 0);
        }
    }
    ~IcuConverter() { ucnv_close(_handle); }
    IcuConverter(const IcuConverter &) = delete;
    IcuConverter & operator=(const IcuConverter &) = delete;

    explicit operator bool() const { return _handle != nullptr; }

    // False: `utf16` has a character that the set lacks.
    bool encode(const std::u16string & utf16, std::string & bytes) const
    {
        bytes.resize(static_cast<std::size_t>(
            UCNV_GET_MAX_BYTES_FOR_STRING(utf16.size(), ucnv_getMaxCharSize(_handle))));
        UErrorCode error = U_ZERO_ERROR;
        const int32_t length = ucnv_fromUChars(_handle, bytes.data(), static_cast<int32_t>(bytes.size()),
                                               utf16.data(), static_cast<int32_t>(utf16.size()), &error);
        bytes.resize(U_SUCCESS(error) ? static_cast<std::size_t>(length) : 0);
        return U_SUCCESS(error);
    }

    bool decode(const std::string & bytes, std::u16string & utf16) const
    {
        utf16.resize(bytes.size() * 2 + 1);
        UErrorCode error = U_ZERO_ERROR;
        const int32_t length = ucnv_toUChars(_handle, utf16.data(), static_cast<int32_t>(utf16.size()),
                                             bytes.data(), static_cast<int32_t>(bytes.size()), &error);
        utf16.resize(U_SUCCESS(error) ? static_cast<std::size_t>(length) : 0);
        return U_SUCCESS(error) && utf16.find(replacement) == std::u16string::npos;
    }

    // The way there and back: some mappings go one way only.
    bool keeps(const std::u16string & utf16, std::string & bytes) const
    {
        std::u16string back;
        return encode(utf16, bytes) && decode(bytes, back) && back == utf16;
    }

private:
    UConverter * _handle = nullptr;
};

a_converted_text encode_multi_byte(const CharsetInfo & charset, const std::u16string & utf16)
{
    const IcuConverter converter(charset);
    a_converted_text result;
    if (!converter) {
        result.fault = std::string("ICU has no converter for ") + charset.orv_label();
    } else if (!converter.keeps(utf16, result.text)) {
        std::size_t offset = 0;
        std::size_t next = 0;
        do { // the culprit is the first character that fails alone
            offset = next;
            U16_FWD_1(utf16.data(), next, utf16.size());
        } while (next < utf16.size() && converter.keeps(utf16.substr(offset, next - offset), result.text));
        result.fault = character_fault(charset, utf16, offset);
    }
    return result;
}

a_converted_text decode_multi_byte(const CharsetInfo & charset, const std::string & bytes)
{
    const IcuConverter converter(charset);
    std::u16string utf16;
    if (!converter) {
        return {{}, std::string("ICU has no converter for ") + charset.orv_label()};
    }
    if (!converter.decode(bytes, utf16)) {
        return {{}, std::string("bytes that aren't text in ") + charset.orv_label()};
    }
    return {utf8_of(utf16), {}};
}

} // namespace

a_converted_text encode_text(const CharsetInfo & charset, const std::string & utf8)
{
    std::u16string utf16;
    if (!utf16_of(utf8, utf16)) {
        return {{}, "not UTF-8"};
    }
    return charset.is_mbcs() ? encode_multi_byte(charset, utf16) : encode_single_byte(charset, utf16);
}

a_converted_text decode_text(const CharsetInfo & charset, const std::string & bytes)
{
    return charset.is_mbcs() ? decode_multi_byte(charset, bytes) : decode_single_byte(charset, bytes);
}

const char * unambiguous_label(const CharsetInfo & charset)
{
    const auto finds_row = [&charset](const char * label) {
        return label != nullptr && UTLocale::GetCharsetInfoFromLabel(label, CS_STD_ANY) == &charset;
    };
    for (const char * label : {charset.orv_label(), charset.iana_label(), charset.mime_label()}) {
        if (finds_row(label)) {
            return label;
        }
    }
    for (const a_charset_label * label = charset._all_labels; label->_label != nullptr; ++label) {
        if (finds_row(label->_label)) {
            return label->_label;
        }
    }
    return nullptr;
}
