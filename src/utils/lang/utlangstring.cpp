#include "utils/lang/utlangstring.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "utils/lang/utresfile.h"
#include "utils/locale/utlocale.h"

namespace {

// Templates are cut to one byte less, and so are strings in front of their conversion.
constexpr size_t template_size = 512;
constexpr size_t array_template_size = 256;
using LSTransBuf = char[768];

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

// The text of a failed start of a database. A message link starts none, so it knows no such text.
a_bool MapAOrvInitError(uint32 /*error_code*/, uint32 * /*msg_id*/)
{
    return FALSE;
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

void UTLangStringBase::SetResFiles(UTResFile ** res_files, int nres)
{
    _nres = std::clamp(nres, 0, MAX_RES_FILES);
    std::copy_n(res_files, _nres, _res);
    reset();
}

a_bool UTLangStringBase::AppendResFile(UTResFile * res)
{
    // One entry stays free: only SetResFiles fills all of them.
    if (_nres >= MAX_RES_FILES - 1) {
        return FALSE;
    }
    _res[_nres++] = res;
    reset();
    return TRUE;
}

void UTLangStringBase::SetDestCharset(const CharsetInfo * csinfo)
{
    _dest_csinfo = csinfo;
    reset();
}

void UTLangStringBase::SetArgCharset(const CharsetInfo * csinfo)
{
    _arg_csinfo = csinfo;
    reset();
}

// After every change of files or character sets. Without the lock, since no look-up may run beside those.
// What a converter can't do properly it does as well as it can, so nobody asks.
void UTLangStringBase::reset()
{
    (void)_arg_conv.SetEncodings(_dest_csinfo, _arg_csinfo);
    if (_nres == 0) {
        _src_csinfo = nullptr;
        _langinfo = nullptr;
    }
    UTResFile ** const end = _res + _nres;
    UTResFile ** const first = std::find_if(_res, end, [](const UTResFile * res) { return res->IsOpen(); });
    if (first != end) {
        _src_csinfo = (*first)->GetSrcCharset();
        _langinfo = (*first)->GetLanguage();
        if ((*first)->UTF16Supported() && _dest_csinfo != _src_csinfo &&
            _conv.SetEncodings(_dest_csinfo, _locale->UTF16LE())) {
            _src_csinfo = _locale->UTF16LE();
            return;
        }
    }
    (void)_conv.SetEncodings(_dest_csinfo, _src_csinfo);
}

a_bool UTLangStringBase::GetResourcePath(char * path, size_t pathsize) const
{
    if (pathsize == 0) {
        return FALSE;
    }
    path[0] = '\0';
    return std::any_of(_res, _res + _nres, [=](UTResFile * res) {
        return res->IsOpen() && res->FindResourceFile(path, pathsize, res->GetLanguage(), FALSE);
    });
}

bool UTLangStringBase::is_utf16() const
{
    return _src_csinfo != nullptr && _src_csinfo->is_UTF16LE();
}

size_t UTLangStringBase::do_get_string(uint32 id, char * buffer, size_t buflen) const
{
    const bool utf16 = is_utf16();
    if (utf16 && buflen < sizeof(a_utf16)) {
        return 0;
    }
    for (int i = 0; i < _nres; ++i) {
        const size_t length = utf16 ? _res[i]->GetStringUTF16(id, reinterpret_cast<a_utf16 *>(buffer), buflen)
                                    : _res[i]->GetString(id, buffer, buflen);
        if (length != 0) {
            return length;
        }
    }
    return 0;
}

// Which converter stands there changes only when no look-up runs, so this is asked without the lock.
bool UTLangStringBase::converts() const
{
    return !_conv.is_identity();
}

size_t UTLangStringBase::GetString(uint32 id, char * buffer, size_t buflen) const
{
    if (!converts()) {
        return do_get_string(id, buffer, buflen);
    }
    if (buflen == 0) {
        return 0;
    }
    buffer[0] = '\0';
    alignas(a_utf16) LSTransBuf text;
    const size_t text_length = do_get_string(id, text, sizeof(text));
    if (text_length == 0) {
        return 0;
    }
    size_t length = 0;
    get_mutex();
    (void)_conv.Convert(reinterpret_cast<a_byte *>(buffer), buflen - 1, &length,
                        reinterpret_cast<const a_byte *>(text), text_length); // what fits is kept
    give_mutex();
    buffer[length] = '\0';
    return length;
}

// The same as for converts(). A converter without a character set copies bytes.
bool UTLangStringBase::is_wide() const
{
    return _conv.DestCharset()->min_char_size() != 1;
}

// For the formatter, which takes the lock.
CharsetConverter * UTLangStringBase::arg_conv() const
{
    return _arg_csinfo != nullptr ? &_arg_conv : nullptr;
}

size_t UTLangStringBase::VFormatMiscLangStr(uint32 id, char * buffer, size_t buflen, va_list args) const
{
    alignas(wchar_t) char format[template_size + sizeof(wchar_t)];
    const size_t length = GetString(id, format, template_size);
    if (length == 0) {
        return empty_text(buffer, buflen);
    }
    if (is_wide()) {
        // As wide text it ends with a whole unit of zeros.
        std::memset(format + length, 0, sizeof(format) - length);
        return VFormatMiscStr(reinterpret_cast<wchar_t *>(buffer), buflen,
                              reinterpret_cast<const wchar_t *>(format), args, arg_conv(), &_mutex);
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

size_t UTLangStringBase::FormatErrorMessage(const UTErrorCode & error, char * buffer, size_t buflen,
                                            ...) const
{
    va_list args;
    va_start(args, buflen);
    const size_t length = VFormatErrorMessage(error, buffer, buflen, args);
    va_end(args);
    return length;
}

size_t UTLangStringBase::VFormatErrorMessage(const UTErrorCode & error, char * buffer, size_t buflen,
                                             va_list args) const
{
    uint32 msg_id = 0;
    switch (error._error_type) {
    case ET_ORVINIT:
        if (MapAOrvInitError(error._error_code, &msg_id)) {
            return VFormatMiscLangStr(msg_id, buffer, buflen, args);
        }
        [[fallthrough]];
    case ET_POSIX:
        return FormatMiscLangStr(GetStrerrorStringID(static_cast<int>(error._error_code)), buffer, buflen,
                                 error._error_code);
    }
    if (buflen != 0) {
        buffer[0] = '\0';
    }
    return 0;
}
