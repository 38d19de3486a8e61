// The formatter of message templates: static members of UTLangStringBase, whose header tells what a template
// is.
//
// Three passes: find the placeholders, fetch the arguments in the order of their numbers, write. The narrow
// and the wide form are one code; what differs stands in a_text_form.

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <iterator>
#include <string_view>

#include "utils/etc/critsect.h"
#include "utils/etc/native32.h"
#include "utils/etc/native64.h"
#include "utils/lang/utlangstring.h"

namespace {

constexpr size_t max_params = 9; // one decimal digit, from 1

// Values of nType, in the order of paramTypeTable.
enum a_param_type : unsigned int {
    PARAM_UNTAGGED,
    PARAM_STRING,
    PARAM_INT,
    PARAM_CHAR,
    PARAM_UNSIGNED,
    PARAM_LONG,
    PARAM_UNSIGNED_LONG,
    PARAM_INT64,
    PARAM_UINT64,
    PARAM_HEX4,
    PARAM_HEX8,
    PARAM_AS_IT_IS,
    PARAM_UNUSED
};

struct a_param_type_entry {
    unsigned int nType;
    std::string_view pszTypePrefix;
};

// The tag behind the digit; the first that matches whole is the placeholder's.
constexpr a_param_type_entry paramTypeTable[] = {
    {PARAM_UNTAGGED, ""},          //
    {PARAM_STRING, "!s!"},         //
    {PARAM_INT, "!d!"},            //
    {PARAM_CHAR, "!c!"},           //
    {PARAM_UNSIGNED, "!u!"},       //
    {PARAM_LONG, "!ld!"},          // 32 bits, as !d!
    {PARAM_UNSIGNED_LONG, "!lu!"}, // 32 bits, as !u!
    {PARAM_INT64, "!lld!"},        //
    {PARAM_UINT64, "!llu!"},       //
    {PARAM_HEX4, "!4x!"},          //
    {PARAM_HEX8, "!8x!"},          //
    {PARAM_AS_IT_IS, "!at!"},      //
    {PARAM_UNUSED, ""},            // ends the table
};
static_assert(std::size(paramTypeTable) == PARAM_UNUSED + 1);

constexpr char hex_digit[] = "0123456789abcdef";

// Text of a number or a character: 20 digits and a sign at most.
constexpr size_t number_size = 32;

union a_param_value {
    int nVal;
    unsigned int unVal;
    int32 lVal;
    uint32 ulVal;
    int64 int64Val;
    uint64 uint64Val;
    const char * pszVal;
    char cVal;
    const wchar_t * pwzVal;
};

template<typename Ch> struct a_param_info {
    const Ch * pchPos; // the percent sign in the template
    unsigned int nType;
    a_param_value value;
};

template<typename Ch> struct a_param_table {
    unsigned int nMaxParam = 0;        // the highest number in the template
    a_param_info<Ch> info[max_params]; // element n - 1 is number n

    a_param_table()
    {
        std::fill(std::begin(info), std::end(info), a_param_info<Ch>{nullptr, PARAM_UNUSED, {}});
    }
};

// Converts string arguments, if there is a converter that changes anything.
struct a_param_converter {
    CharsetConverter * conv;
    const a_critical_sect * mutex;

    [[nodiscard]] bool converts() const { return conv != nullptr && !conv->is_identity(); }
};

// What differs between narrow and wide text.
template<typename Ch> struct a_text_form;

template<> struct a_text_form<char> {
    static constexpr const char * missing = "???";

    static const char *& string(a_param_value & value) { return value.pszVal; }
    static size_t length(const char * text) { return std::strlen(text); }

    // Is this text in the converter's source form, as arguments are?
    static bool convertible(const char *) { return true; }

    // Characters of text that a buffer of `cch` bytes takes.
    static size_t room(size_t cch) { return cch - 1; }
    static bool fits_terminator(size_t cch) { return cch >= 1; }

    static void widen(char (&dest)[number_size], const char (&src)[number_size])
    {
        std::memcpy(dest, src, number_size);
    }
};

template<> struct a_text_form<wchar_t> {
    static constexpr const wchar_t * missing = L"???";

    // Kept free behind the text, the terminator's place among them.
    static constexpr size_t reserve = 4;

    static const wchar_t *& string(a_param_value & value) { return value.pwzVal; }
    static size_t length(const wchar_t * text) { return std::wcslen(text); }

    // With a converter arguments are bytes, but the stand-in for a null is wide.
    static bool convertible(const wchar_t * text) { return text != missing; }

    static size_t room(size_t cch)
    {
        const size_t units = cch / sizeof(wchar_t);
        return units > reserve ? units - reserve : 0;
    }
    static bool fits_terminator(size_t cch) { return cch >= sizeof(wchar_t); }

    static void widen(wchar_t (&dest)[number_size], const char (&src)[number_size])
    {
        // A character that the C locale can't read leaves nothing to show.
        if (std::mbstowcs(dest, src, number_size) == static_cast<size_t>(-1)) {
            dest[0] = L'\0';
        }
    }
};

// Where text goes: from `out` up to `end`, behind which there is room for a terminator.
template<typename Ch> struct an_output {
    Ch * out;
    Ch * end;

    [[nodiscard]] bool full() const { return out == end; }
    void put(Ch c) { *out++ = c; }
    void put_string(const Ch * text)
    {
        while (*text != 0 && !full()) {
            put(*text++);
        }
    }

    // The converter's terminator may take the place of ours, which comes later. Of a wide character that the
    // converter has written in part nothing is kept.
    void put_converted(const a_param_converter & params, const char * text)
    {
        const size_t room = static_cast<size_t>(end + 1 - out) * sizeof(Ch);
        size_t written = 0;
        {
            const CritSectGuard guard(*params.mutex);
            // A cut text is a cut text, whatever the reason: what has been written is kept.
            (void)params.conv->ConvertNullTerm(reinterpret_cast<a_byte *>(out), room, &written,
                                               reinterpret_cast<const a_byte *>(text));
        }
        out += std::min(written / sizeof(Ch), static_cast<size_t>(end - out));
    }
};

template<typename Ch> bool starts_with(const Ch * text, std::string_view tag)
{
    return std::all_of(tag.begin(), tag.end(), [&text](char c) { return *text++ == static_cast<Ch>(c); });
}

template<typename Ch> const a_param_type_entry & find_tag(const Ch * behind_digit)
{
    const auto * const found = std::find_if(
        std::begin(paramTypeTable), std::end(paramTypeTable), [&](const a_param_type_entry & row) {
            return !row.pszTypePrefix.empty() && starts_with(behind_digit, row.pszTypePrefix);
        });
    return found != std::end(paramTypeTable) ? *found : paramTypeTable[PARAM_UNTAGGED];
}

// 0 names no argument, so %0 isn't a placeholder.
template<typename Ch> bool is_param_digit(Ch c)
{
    return c >= static_cast<Ch>('1') && c <= static_cast<Ch>('9');
}

// Pass 1. Of a number that stands twice the last place wins.
template<typename Ch> void find_params(const Ch * format, a_param_table<Ch> & table)
{
    for (const Ch * pos = format; *pos != 0; ++pos) {
        if (*pos != static_cast<Ch>('%') || !is_param_digit(pos[1])) {
            continue;
        }
        const auto number = static_cast<unsigned int>(pos[1] - static_cast<Ch>('0'));
        a_param_info<Ch> & info = table.info[number - 1];
        info.pchPos = pos;
        info.nType = find_tag(pos + 2).nType;
        table.nMaxParam = std::max(table.nMaxParam, number);
    }
}

struct an_arg_list {
    explicit an_arg_list(va_list from) { va_copy(args, from); }
    ~an_arg_list() { va_end(args); }
    an_arg_list(const an_arg_list &) = delete;
    an_arg_list & operator=(const an_arg_list &) = delete;

    va_list args;
};

// NOLINTBEGIN(clang-analyzer-valist.Uninitialized): the analyzer loses the va_copy in the constructor
template<typename Ch> void fetch_string(a_param_value & value, an_arg_list & list)
{
    const Ch * const text = va_arg(list.args, const Ch *);
    a_text_form<Ch>::string(value) = text != nullptr ? text : a_text_form<Ch>::missing;
}

template<typename Ch> void fetch_param(a_param_info<Ch> & info, an_arg_list & list)
{
    switch (info.nType) {
    case PARAM_INT:
    case PARAM_LONG:
        info.value.lVal = va_arg(list.args, int32);
        break;
    case PARAM_UNSIGNED:
    case PARAM_UNSIGNED_LONG:
    case PARAM_HEX4:
    case PARAM_HEX8:
        info.value.ulVal = va_arg(list.args, uint32);
        break;
    case PARAM_CHAR:
        info.value.cVal = static_cast<char>(va_arg(list.args, int));
        break;
    case PARAM_INT64:
        info.value.int64Val = va_arg(list.args, int64);
        break;
    case PARAM_UINT64:
        info.value.uint64Val = va_arg(list.args, uint64);
        break;
    case PARAM_UNUSED:
        (void)va_arg(list.args, const void *); // keeps the following numbers in step
        break;
    default:
        fetch_string<Ch>(info.value, list);
    }
}

// NOLINTEND(clang-analyzer-valist.Uninitialized)

// Pass 2.
template<typename Ch> void GetStringParameters(a_param_table<Ch> & table, an_arg_list & list)
{
    std::for_each_n(table.info, table.nMaxParam,
                    [&list](a_param_info<Ch> & info) { fetch_param(info, list); });
}

// Pass 2 for an array. Nothing behind its first null is read. Other types than strings stay 0, or ???.
void GetArrayParameters(a_param_table<char> & table, const char * const * strings)
{
    std::for_each_n(table.info, table.nMaxParam, [&strings](a_param_info<char> & info) {
        const char * text = strings != nullptr ? *strings : nullptr;
        strings = text != nullptr ? strings + 1 : nullptr;
        if (info.nType == PARAM_UNTAGGED || info.nType == PARAM_STRING) {
            info.value.pszVal = text != nullptr ? text : a_text_form<char>::missing;
        } else if (info.nType == PARAM_AS_IT_IS) {
            info.value.pszVal = a_text_form<char>::missing;
        }
    });
}

void hex_text(uint32 value, size_t digits, char * buffer)
{
    buffer[digits] = '\0';
    for (; digits != 0; value >>= 4) {
        buffer[--digits] = hex_digit[value & 0xF];
    }
}

// The text of everything that is no string.
void number_text(unsigned int nType, const a_param_value & value, char (&buffer)[number_size])
{
    switch (nType) {
    case PARAM_INT:
    case PARAM_LONG:
        (void)i32toa(value.lVal, buffer, 10); // these return their buffer
        break;
    case PARAM_UNSIGNED:
    case PARAM_UNSIGNED_LONG:
        (void)u32toa(value.ulVal, buffer, 10);
        break;
    case PARAM_INT64:
        (void)i64toa(value.int64Val, buffer, 10);
        break;
    case PARAM_UINT64:
        (void)u64toa(value.uint64Val, buffer, 10);
        break;
    case PARAM_HEX4:
        hex_text(value.ulVal, 4, buffer);
        break;
    case PARAM_HEX8:
        hex_text(value.ulVal, 8, buffer);
        break;
    default: // PARAM_CHAR
        buffer[0] = value.cVal;
        buffer[1] = '\0';
    }
}

template<typename Ch>
void PlaceParameter(an_output<Ch> & output, a_param_info<Ch> & info, const a_param_converter & params)
{
    const bool convertible = info.nType == PARAM_UNTAGGED || info.nType == PARAM_STRING;
    if (!convertible && info.nType != PARAM_AS_IT_IS) {
        char narrow[number_size] = "";
        number_text(info.nType, info.value, narrow);
        Ch text[number_size];
        a_text_form<Ch>::widen(text, narrow);
        output.put_string(text);
        return;
    }
    const Ch * const text = a_text_form<Ch>::string(info.value);
    if (convertible && params.converts() && a_text_form<Ch>::convertible(text)) {
        output.put_converted(params, info.value.pszVal);
    } else {
        output.put_string(text);
    }
}

template<typename Ch> a_param_info<Ch> * find_info(a_param_table<Ch> & table, const Ch * pos)
{
    auto * const end = table.info + table.nMaxParam;
    auto * const found =
        std::find_if(table.info, end, [pos](const a_param_info<Ch> & info) { return info.pchPos == pos; });
    return found != end ? found : nullptr;
}

// Pass 3 for a percent sign. Result: where the template goes on.
template<typename Ch>
const Ch * write_percent(an_output<Ch> & output, const Ch * pos, a_param_table<Ch> & table,
                         const a_param_converter & params)
{
    a_param_info<Ch> * const info = find_info(table, pos);
    if (info != nullptr) {
        PlaceParameter(output, *info, params);
        return pos + 2 + paramTypeTable[info->nType].pszTypePrefix.size();
    }
    output.put(*pos);
    return pos + (pos[1] == static_cast<Ch>('%') ? 2 : 1);
}

// Pass 3.
template<typename Ch>
size_t write_text(Ch * buffer, size_t cch, const Ch * format, a_param_table<Ch> & table,
                  const a_param_converter & params)
{
    if (!a_text_form<Ch>::fits_terminator(cch)) {
        return 0;
    }
    an_output<Ch> output{buffer, buffer + a_text_form<Ch>::room(cch)};
    while (*format != 0 && !output.full()) {
        if (*format == static_cast<Ch>('%')) {
            format = write_percent(output, format, table, params);
        } else {
            output.put(*format++);
        }
    }
    *output.out = 0;
    return a_text_form<Ch>::length(buffer);
}

template<typename Ch>
size_t format_args(Ch * output, size_t cch, const Ch * format, va_list arglist,
                   const a_param_converter & params)
{
    a_param_table<Ch> table;
    find_params(format, table);
    an_arg_list list(arglist);
    GetStringParameters(table, list);
    return write_text(output, cch, format, table, params);
}

} // namespace

size_t UTLangStringBase::VFormatMiscStr(char * pszOutput, size_t cchOutput, const char * pszFormat,
                                        va_list arglist, CharsetConverter * paramconv,
                                        const a_critical_sect * mutex)
{
    return format_args(pszOutput, cchOutput, pszFormat, arglist, {paramconv, mutex});
}

size_t UTLangStringBase::VFormatMiscStr(wchar_t * pszOutput, size_t cchOutput, const wchar_t * pszFormat,
                                        va_list arglist, CharsetConverter * paramconv,
                                        const a_critical_sect * mutex)
{
    return format_args(pszOutput, cchOutput, pszFormat, arglist, {paramconv, mutex});
}

size_t UTLangStringBase::FormatMiscStr(char * pszOutput, size_t cchOutput, const char * pszFormat, ...)
{
    va_list args;
    va_start(args, pszFormat);
    const size_t length = VFormatMiscStr(pszOutput, cchOutput, pszFormat, args, nullptr, nullptr);
    va_end(args);
    return length;
}

size_t UTLangStringBase::ArrayFormatMiscStr(char * pszOutput, size_t cchOutput, const char * pszFormat,
                                            const char * const * ppszParams, CharsetConverter * paramconv,
                                            const a_critical_sect * mutex)
{
    a_param_table<char> table;
    find_params(pszFormat, table);
    GetArrayParameters(table, ppszParams);
    return write_text(pszOutput, cchOutput, pszFormat, table, {paramconv, mutex});
}

size_t UTLangStringBase::SQLFormatMiscStr(char * buff, size_t len, const char * pattern, const char * args,
                                          size_t argslen, CharsetConverter * paramconv,
                                          const a_critical_sect * mutex)
{
    constexpr size_t max_strings = 10;
    std::array<const char *, max_strings + 2> strings{}; // always ended by a null
    const char * const end = args + argslen;
    for (size_t count = 0; count < max_strings && args != end; ++count) {
        const auto * const terminator =
            static_cast<const char *>(std::memchr(args, '\0', static_cast<size_t>(end - args)));
        if (terminator == nullptr) {
            break;
        }
        strings[count] = args;
        args = terminator + 1;
    }
    return ArrayFormatMiscStr(buff, len, pattern, strings.data(), paramconv, mutex);
}
