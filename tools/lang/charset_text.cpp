#include "tools/lang/charset_text.h"

#include <iconv.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <vector>

namespace {

constexpr char32_t replacement = 0xFFFD;

// A conversion of the C library's, strict: no substitutes, no transliteration.
class Conversion {
public:
    Conversion(const char * to, const char * from) : _handle(iconv_open(to, from)) {}
    ~Conversion()
    {
        if (is_known()) {
            iconv_close(_handle);
        }
    }
    Conversion(const Conversion &) = delete;
    Conversion & operator=(const Conversion &) = delete;

    [[nodiscard]] bool is_known() const { return _handle != no_handle(); }

    // False: `input` isn't whole text of the one set, or has a character that the other lacks.
    [[nodiscard]] bool run(std::string input, std::string & output) const
    {
        constexpr std::size_t most_growth = 4; // bytes for one, in UTF-32
        output.resize(input.size() * most_growth);
        char * source = input.data();
        char * target = output.data();
        std::size_t source_left = input.size();
        std::size_t target_left = output.size();
        const bool good = iconv(_handle, nullptr, nullptr, nullptr, nullptr) == 0 &&
                          iconv(_handle, &source, &source_left, &target, &target_left) == 0;
        output.resize(output.size() - target_left);
        return good;
    }

private:
    static iconv_t no_handle() { return reinterpret_cast<iconv_t>(-1); }

    iconv_t _handle;
};

bool characters_of(const std::string & utf8, std::u32string & result)
{
    static const Conversion to_characters("UTF-32LE", "UTF-8");
    std::string bytes;
    const bool good = to_characters.run(utf8, bytes);
    result.clear();
    for (std::size_t i = 0; i + 3 < bytes.size(); i += 4) {
        char32_t character = 0;
        for (std::size_t byte = 4; byte-- > 0;) {
            character = character << 8 | static_cast<unsigned char>(bytes[i + byte]);
        }
        result += character;
    }
    return good;
}

std::string utf8_of(const std::u32string & characters)
{
    static const Conversion to_utf8("UTF-8", "UTF-32LE");
    std::string bytes;
    for (const char32_t character : characters) {
        for (unsigned shift = 0; shift < 32; shift += 8) {
            bytes += static_cast<char>(character >> shift);
        }
    }
    std::string result;
    (void)to_utf8.run(bytes, result); // characters come from text
    return result;
}

std::string character_fault(const CharsetInfo & charset, char32_t character)
{
    char number[16];
    (void)std::snprintf(number, sizeof(number), "U+%04X", static_cast<unsigned>(character));
    return "the character " + utf8_of({character}) + " (" + number + ") isn't in " + charset.orv_label();
}

// The catalogue's table, backwards. Of two bytes with the same character the lower one counts.
a_converted_text encode_single_byte(const CharsetInfo & charset, const std::u32string & characters)
{
    const a_utf16 * const upper = charset.to_utf16_upper128();
    a_converted_text result;
    for (const char32_t character : characters) {
        const a_utf16 * const found = std::find(upper, upper + 128, character);
        if (character < 0x80) {
            result.text += static_cast<char>(character);
        } else if (character != replacement && found != upper + 128) {
            result.text += static_cast<char>(0x80 + (found - upper));
        } else {
            return {{}, character_fault(charset, character)};
        }
    }
    return result;
}

a_converted_text decode_single_byte(const CharsetInfo & charset, const std::string & bytes)
{
    std::u32string characters;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        characters += static_cast<char32_t>(byte < 0x80 ? byte : charset.to_utf16_upper128()[byte - 0x80]);
        if (characters.back() == replacement) {
            return {{}, "a byte without a character at offset " + std::to_string(i)};
        }
    }
    return {utf8_of(characters), {}};
}

// The first of a row's names that the C library knows; null if it knows none.
const char * system_name(const CharsetInfo & charset)
{
    for (const a_charset_label * label = charset._all_labels; label->_label != nullptr; ++label) {
        if (Conversion(label->_label, "UTF-8").is_known()) {
            return label->_label;
        }
    }
    return nullptr;
}

// Both ways between UTF-8 and a multi-byte character set.
class MultiByte {
public:
    explicit MultiByte(const char * name) : _from_utf8(name, "UTF-8"), _to_utf8("UTF-8", name) {}

    [[nodiscard]] bool decode(const std::string & bytes, std::string & utf8) const
    {
        return _to_utf8.run(bytes, utf8);
    }

    // There and back: some mappings go one way only.
    [[nodiscard]] bool encode(const std::string & utf8, std::string & bytes) const
    {
        std::string back;
        return _from_utf8.run(utf8, bytes) && decode(bytes, back) && back == utf8;
    }

private:
    const Conversion _from_utf8;
    const Conversion _to_utf8;
};

a_converted_text unknown_charset(const CharsetInfo & charset)
{
    return {{}, std::string("the C library doesn't know ") + charset.orv_label()};
}

a_converted_text encode_multi_byte(const CharsetInfo & charset, const std::string & utf8,
                                   const std::u32string & characters)
{
    const char * const name = system_name(charset);
    if (name == nullptr) {
        return unknown_charset(charset);
    }
    const MultiByte converter(name);
    a_converted_text result;
    if (!converter.encode(utf8, result.text)) {
        const auto culprit =
            std::find_if(characters.begin(), characters.end(), [&converter](char32_t character) {
                std::string ignored;
                return !converter.encode(utf8_of({character}), ignored);
            });
        result.fault = culprit != characters.end() ? character_fault(charset, *culprit)
                                                   : "characters that don't come back the same";
    }
    return result;
}

a_converted_text decode_multi_byte(const CharsetInfo & charset, const std::string & bytes)
{
    const char * const name = system_name(charset);
    if (name == nullptr) {
        return unknown_charset(charset);
    }
    a_converted_text result;
    if (!MultiByte(name).decode(bytes, result.text)) {
        result.fault = std::string("bytes that aren't text in ") + charset.orv_label();
    }
    return result;
}

} // namespace

a_converted_text encode_text(const CharsetInfo & charset, const std::string & utf8)
{
    std::u32string characters;
    if (!characters_of(utf8, characters)) {
        return {{}, "not UTF-8"};
    }
    return charset.is_mbcs() ? encode_multi_byte(charset, utf8, characters)
                             : encode_single_byte(charset, characters);
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
