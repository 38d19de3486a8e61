// The template formatter: any template, in all its forms, into buffers of the exact size.
//
// Input: two bytes for the size of the output, one byte whose low bits choose which of the strings are null,
// then the template, up to its first zero byte. Every argument is a valid string and, through its address, a
// number of any width, so that a template can't ask for an argument that isn't there.

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <memory>
#include <string>

#include "require.h"
#include "utils/lang/utlangstring.h"

namespace {

constexpr size_t max_args = 9;
constexpr size_t max_output = 2048;

template<typename Ch> using a_string_list = std::array<const Ch *, max_args>;

// A broken promise ends the run with the input kept.
size_t call(wchar_t * output, size_t size, const wchar_t * format, ...)
{
    va_list args;
    va_start(args, format);
    const size_t length = UTLangStringBase::VFormatMiscStr(output, size, format, args, nullptr, nullptr);
    va_end(args);
    return length;
}

size_t call(char * output, size_t size, const char * format, ...)
{
    va_list args;
    va_start(args, format);
    const size_t length = UTLangStringBase::VFormatMiscStr(output, size, format, args, nullptr, nullptr);
    va_end(args);
    return length;
}

// Once over each of two fillings, so that a character that is never written shows.
template<typename Ch>
void run_variadic(const std::basic_string<Ch> & format, size_t size, const a_string_list<Ch> & s)
{
    std::basic_string<Ch> texts[2];
    for (int run = 0; run < 2; ++run) {
        const size_t units = size / sizeof(Ch);
        const std::unique_ptr<Ch[]> output(new Ch[units]);
        std::memset(output.get(), run == 0 ? 0x55 : 0x2A, units * sizeof(Ch));
        const size_t length =
            call(output.get(), size, format.c_str(), s[0], s[1], s[2], s[3], s[4], s[5], s[6], s[7], s[8]);
        if (units == 0) {
            require(length == 0);
            continue;
        }
        texts[run].assign(output.get());
        require(length == texts[run].size() && length < units);
    }
    require(texts[0] == texts[1]);
}

void run_lists(const std::string & format, size_t size, const a_string_list<char> & strings)
{
    std::array<const char *, max_args + 1> array{}; // ended by a null
    std::copy(strings.begin(), strings.end(), array.begin());
    const auto ended = std::find(array.begin(), array.end(), nullptr);
    std::string packed;
    std::for_each(array.begin(), ended,
                  [&packed](const char * text) { packed.append(text, std::strlen(text) + 1); });
    const std::unique_ptr<char[]> packed_block(new char[packed.size()]);
    std::memcpy(packed_block.get(), packed.data(), packed.size());

    const std::unique_ptr<char[]> from_array(new char[size]);
    const std::unique_ptr<char[]> from_packed(new char[size]);
    const size_t length = UTLangStringBase::ArrayFormatMiscStr(from_array.get(), size, format.c_str(),
                                                               array.data(), nullptr, nullptr);
    require(length == std::strlen(from_array.get()) && length < size);
    require(length == UTLangStringBase::SQLFormatMiscStr(from_packed.get(), size, format.c_str(),
                                                         packed_block.get(), packed.size(), nullptr,
                                                         nullptr));
    require(std::strcmp(from_array.get(), from_packed.get()) == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * data, std::size_t size)
{
    static constexpr a_string_list<char> narrow{"one", "",      "%3!d!", "the fourth", "5",
                                                "%%",  "seven", "8",     "%9"};
    static constexpr a_string_list<wchar_t> wide{L"one", L"",      L"%3!d!", L"the fourth", L"5",
                                                 L"%%",  L"seven", L"8",     L"%9"};
    constexpr size_t head = 3;
    if (size < head) {
        return 0;
    }
    const size_t output_size = 1 + (data[0] + 256u * data[1]) % max_output;
    a_string_list<char> strings = narrow;
    a_string_list<wchar_t> wide_strings = wide;
    for (size_t i = 0; i < 8; ++i) {
        if ((data[2] >> i & 1) != 0) {
            strings[i] = nullptr;
            wide_strings[i] = nullptr;
        }
    }
    const std::string format(reinterpret_cast<const char *>(data) + head,
                             strnlen(reinterpret_cast<const char *>(data) + head, size - head));
    run_variadic(format, output_size, strings);
    run_variadic(std::wstring(format.begin(), format.end()), output_size, wide_strings);
    run_lists(format, output_size, strings);
    return 0;
}
