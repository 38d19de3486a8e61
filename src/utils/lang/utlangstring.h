// The store of numbered strings, and the formatter of their templates. The words that users see aren't in the
// code: a number becomes text in the wanted language and character set here.
//
// Sizes are in bytes and count the terminator, lengths don't. A text that doesn't fit is cut and terminated
// without notice. Nothing here reports: a missing string is a length of 0. Nothing is allocated.
//
// Threads: look-ups and formatting run on any number of threads at a time; opening and closing (utlanginit.h)
// must not run beside them. `_mutex` is held while a converter is in use.
//
// Templates. %1 to %9 name the arguments, in any order; a tag right behind the digit tells the type:
//
// - no tag, !s!: const char *, converted when the call has a converter
// - !at!: const char *, never converted
// - !c!: one character
// - !d!, !ld!: int32, signed decimal
// - !u!, !lu!: uint32, unsigned decimal
// - !lld!, !llu!: int64 and uint64, decimal
// - !4x!: uint32, its low 16 bits as 4 hexadecimal digits
// - !8x!: uint32, 8 hexadecimal digits
//
// %% is a percent sign, and so is a percent sign in front of anything else (%0 is no placeholder). Of a
// number that stands twice, the last place counts and the others are plain text. The caller passes one
// argument for each number from 1 to the highest one, in the order of the numbers and with the width of its
// tag; one that the template leaves out is skipped (it takes the place of a pointer). A null string shows as
// ???.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <span>

#include "tasks/orvtasks.h"
#include "utils/etc/uttypes.h"
#include "utils/locale/csconvert.h"

class UTLocale;
struct CharsetInfo;
struct LanguageInfo;
struct a_lang_text;

// How the opening of a store ended. LS_INIT_ERROR and LS_INIT_PARSING_ERROR are known and never given.
enum ls_init_return {
    LS_INIT_ERROR = 0,             // general loading error
    LS_INIT_BAD_VERSION = 1,       // the file's version is too old
    LS_INIT_OKAY = 2,              // at least one file is usable
    LS_INIT_CANT_FIND_FILE = 3,    // no such file
    LS_INIT_PARSING_ERROR = 4,     // the locale override variable couldn't be parsed
    LS_INIT_CANT_FIND_VX_FILE = 5, // no such file of the vx family
    LS_INIT_VX_ERROR = 6           // general loading error for the vx family
};

class UTLangStringBase {
public:
    // An empty store: every number gives 0. `locale` isn't owned and must outlive the store.
    explicit UTLangStringBase(UTLocale * locale);
    ~UTLangStringBase();
    UTLangStringBase(const UTLangStringBase &) = delete;
    UTLangStringBase & operator=(const UTLangStringBase &) = delete;

    // The length of string `id`, which is in `buffer` then, terminated. Only the low 16 bits of a number
    // count. Missing, or a `buflen` of 0: 0, with `buffer` as it was.
    size_t GetString(uint32 id, char * buffer, size_t buflen) const;

    // Fetch a template, of up to 511 bytes, and fill it. The length of the text; a missing template gives 0
    // and an empty `buffer`.
    size_t FormatMiscLangStr(uint32 id, char * buffer, size_t buflen, ...) const;
    size_t VFormatMiscLangStr(uint32 id, char * buffer, size_t buflen, va_list args) const;

    // The same for templates of up to 255 bytes with string arguments only: see ArrayFormatMiscStr,
    // SQLFormatMiscStr.
    size_t ArrayFormatMiscLangStr(uint32 id, char * buffer, size_t buflen,
                                  const char * const * strings) const;
    size_t SQLFormatMiscLangStr(uint32 id, char * buffer, size_t buflen, const char * args,
                                size_t argslen) const;

    // The text of an error number of the operating system; returns `buffer`, which is empty if there is no
    // text.
    char * Strerror(int errno_value, char * buffer, size_t buflen) const;
    // The number of that text's template, whose one argument is the error number. Never 0.
    [[nodiscard]] static uint32 GetStrerrorStringID(int errno_value);

    // The length of the text of a conversion's result.
    size_t GetORVConvRetString(ORV_CONV_RET acr, char * buffer, size_t buflen) const;

    // The words for a failed opening, in English from the code, since they are needed when the files are
    // missing. `language` is the label that was asked for, null for the one of the system; LS_INIT_OKAY has
    // no text and isn't passed. Returns `buffer`.
    static char * GetInitErrorStr(ls_init_return ls_ret, char * buffer, size_t buflen, const char * language,
                                  a_bool vx);

    // The formatter, in wlangfmt.cpp. `cch...`, `len`: at least 1. The result is the length of the text, in
    // characters; one less than the room there was means that the text may be cut. `paramconv`, which can be
    // null, converts the string arguments, with `mutex` held meanwhile. `arglist` is left to the caller.
    static size_t VFormatMiscStr(char * pszOutput, size_t cchOutput, const char * pszFormat, va_list arglist,
                                 CharsetConverter * paramconv, const a_critical_sect * mutex);
    // The wide form: strings are wchar_t strings, or bytes in the converter's source if there is a converter
    // that changes them; `cchOutput` is in bytes, of which the last 16 stay free of text. A buffer without
    // room for a wchar_t is left alone.
    static size_t VFormatMiscStr(wchar_t * pszOutput, size_t cchOutput, const wchar_t * pszFormat,
                                 va_list arglist, CharsetConverter * paramconv,
                                 const a_critical_sect * mutex);
    static size_t FormatMiscStr(char * pszOutput, size_t cchOutput, const char * pszFormat, ...);
    // Arguments from an array, of which the element n - 1 is argument n. A null element ends the array,
    // nothing behind it is read; the strings it doesn't reach show as ???. Templates have placeholders
    // without a tag or with !s! only: others show as 0, or as ???.
    static size_t ArrayFormatMiscStr(char * pszOutput, size_t cchOutput, const char * pszFormat,
                                     const char * const * ppszParams, CharsetConverter * paramconv,
                                     const a_critical_sect * mutex);
    // The same with terminated strings one behind the other, `argslen` bytes in all. Bytes behind the last
    // terminator are no string.
    static size_t SQLFormatMiscStr(char * buff, size_t len, const char * pattern, const char * args,
                                   size_t argslen, CharsetConverter * paramconv,
                                   const a_critical_sect * mutex);

protected:
    // The texts that number look-ups find, sorted by number; empty for none.
    void set_texts(std::span<const a_lang_text> texts) { _texts = texts; }

    UTLocale * _locale;
    mutable CharsetConverter _conv;     // from the strings' character set to _dest_csinfo
    mutable CharsetConverter _arg_conv; // from _arg_csinfo to _dest_csinfo, for string arguments
    std::span<const a_lang_text> _texts;
    const CharsetInfo * _src_csinfo = nullptr;
    const CharsetInfo * _dest_csinfo = nullptr;
    const CharsetInfo * _arg_csinfo = nullptr; // null: string arguments aren't converted
    const LanguageInfo * _langinfo = nullptr;
    a_critical_sect _mutex; // guards the two converters

private:
    size_t do_get_string(uint32 id, char * buffer, size_t buflen) const;
    [[nodiscard]] CharsetConverter * arg_conv() const
    {
        return _arg_csinfo != nullptr ? &_arg_conv : nullptr;
    }
};
