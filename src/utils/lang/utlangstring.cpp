#include "utils/lang/utlangstring.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "utils/etc/utstrfcn.h"
#include "utils/lang/langtext.h"

namespace {

// Templates are cut to one byte less.
constexpr size_t template_size = 512;
constexpr size_t array_template_size = 256;

struct a_strerror_row {
    int error;
    uint32 id;
};

// The error numbers of Linux that have a text.
constexpr a_strerror_row strerror_ids[] = {
    {0, 5017},  {2, 5031},  {5, 5026},  {7, 5018},  {8, 5032},  {9, 5020},  {11, 18086}, {12, 5033},
    {13, 5019}, {16, 5021}, {17, 5024}, {18, 5038}, {19, 5030}, {20, 5035}, {21, 5027},  {22, 5025},
    {23, 5029}, {24, 5028}, {28, 5034}, {30, 5037}, {33, 5023}, {34, 5036}, {35, 5022},  {36, 18185},
};
static_assert(std::size(strerror_ids) == 24);
constexpr uint32 strerror_other = 5039;

struct a_conv_ret_row {
    ORV_CONV_RET acr;
    uint32 id;
};

constexpr a_conv_ret_row conv_ret_ids[] = {
    {ORV_CONV_DST_BUFFER_OVERRUN, 13990}, {ORV_CONV_ILLEGAL_CHARACTER, 13993},
    {ORV_CONV_FATAL_ERROR, 13994},        {ORV_CONV_CHARTAB_TABLE_CORRUPTED, 13998},
    {ORV_CONV_UNKNOWN_CID, 14000},
};
constexpr uint32 conv_ret_other = 14001;

uint32 conv_ret_id(ORV_CONV_RET acr)
{
    const auto * const row = std::find_if(std::begin(conv_ret_ids), std::end(conv_ret_ids),
                                          [acr](const a_conv_ret_row & r) { return r.acr == acr; });
    return row != std::end(conv_ret_ids) ? row->id : conv_ret_other;
}

// An empty text for a template that isn't there. Two bytes, since the caller may take the buffer for a wide
// one.
size_t empty_text(char * buffer, size_t buflen)
{
    std::memset(buffer, 0, std::min<size_t>(buflen, 2));
    return 0;
}

} // namespace

UTLangStringBase::UTLangStringBase(UTLocale * locale)
    : _locale(locale), _conv(locale, nullptr, nullptr), _arg_conv(locale, nullptr, nullptr)
{
    // Without memory the two converters stand without a lock; nothing else depends on it.
    (void)ut_safe_pthread_mutex_init(&_mutex, nullptr);
}

UTLangStringBase::~UTLangStringBase()
{
    (void)ut_safe_pthread_mutex_destroy(&_mutex); // nobody is left to be told
    _arg_conv.close();
    _conv.close();
}

size_t UTLangStringBase::do_get_string(uint32 id, char * buffer, size_t buflen) const
{
    if (buflen == 0) {
        return 0;
    }
    const auto number = static_cast<uint16>(id);
    const auto row = std::lower_bound(_texts.begin(), _texts.end(), number,
                                      [](const a_lang_text & text, uint16 n) { return text.id < n; });
    if (row == _texts.end() || row->id != number) {
        return 0;
    }
    (void)ut_strcpy(buffer, buflen, row->text); // a text that doesn't fit is cut
    return std::min<size_t>(row->length, buflen - 1);
}

size_t UTLangStringBase::GetString(uint32 id, char * buffer, size_t buflen) const
{
    // Until strings come in another character set than the wanted one, the conversion is the identity.
    return do_get_string(id, buffer, buflen);
}

size_t UTLangStringBase::VFormatMiscLangStr(uint32 id, char * buffer, size_t buflen, va_list args) const
{
    char format[template_size];
    if (GetString(id, format, sizeof(format)) == 0) {
        return empty_text(buffer, buflen);
    }
    return VFormatMiscStr(buffer, buflen, format, args, arg_conv(), &_mutex);
}

size_t UTLangStringBase::FormatMiscLangStr(uint32 id, char * buffer, size_t buflen, ...) const
{
    va_list args;
    va_start(args, buflen);
    const size_t length = VFormatMiscLangStr(id, buffer, buflen, args);
    va_end(args);
    return length;
}

size_t UTLangStringBase::ArrayFormatMiscLangStr(uint32 id, char * buffer, size_t buflen,
                                                const char * const * strings) const
{
    char format[array_template_size];
    if (GetString(id, format, sizeof(format)) == 0) {
        return empty_text(buffer, buflen);
    }
    return ArrayFormatMiscStr(buffer, buflen, format, strings, arg_conv(), &_mutex);
}

size_t UTLangStringBase::SQLFormatMiscLangStr(uint32 id, char * buffer, size_t buflen, const char * args,
                                              size_t argslen) const
{
    char format[array_template_size];
    if (GetString(id, format, sizeof(format)) == 0) {
        return empty_text(buffer, buflen);
    }
    return SQLFormatMiscStr(buffer, buflen, format, args, argslen, arg_conv(), &_mutex);
}

char * UTLangStringBase::Strerror(int errno_value, char * buffer, size_t buflen) const
{
    (void)FormatMiscLangStr(GetStrerrorStringID(errno_value), buffer, buflen,
                            errno_value); // terminated anyway
    return buffer;
}

uint32 UTLangStringBase::GetStrerrorStringID(int errno_value)
{
    const auto * const row =
        std::find_if(std::begin(strerror_ids), std::end(strerror_ids),
                     [errno_value](const a_strerror_row & r) { return r.error == errno_value; });
    return row != std::end(strerror_ids) ? row->id : strerror_other;
}

size_t UTLangStringBase::GetORVConvRetString(ORV_CONV_RET acr, char * buffer, size_t buflen) const
{
    return FormatMiscLangStr(conv_ret_id(acr), buffer, buflen, static_cast<int32>(acr));
}
