// The store of numbered strings, and the formatter of their templates. The words that users see aren't in the
// code: a number becomes text in the wanted language and character set here. It is looked for in a short list
// of resource files, the first that has it gives it, and it is converted on its way.
//
// Sizes are in bytes and count the terminator, lengths don't. A text that doesn't fit is cut and terminated
// without notice, and the result of a conversion isn't looked at: what it has made is kept. Nothing here
// reports: a missing string is a length of 0. Nothing is allocated. Ownership: the store owns neither locale
// nor files.
//
// Threads: look-ups and formatting run on any number of threads at a time; opening and closing (utlanginit.h)
// and every change of files or character sets must not run beside them. `_mutex` is held while a converter is
// in use.
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

#include "tasks/orvtasks.h"
#include "utils/etc/critsect.h"
#include "utils/etc/uttypes.h"
#include "utils/locale/csconvert.h"

class UTLocale;
class UTResFile;
struct CharsetInfo;
struct LanguageInfo;

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

// What an error number is a number of.
enum UTErrorType : uint32 {
    ET_POSIX = 0,  // errno
    ET_OS = 0,     // which is the system's own here
    ET_ORVINIT = 1 // start of a database
};

struct UTErrorCode {
    UTErrorType _error_type;
    uint32 _error_code;
};

class UTLangStringBase {
public:
    // An empty store: every number gives 0. `locale` must outlive the store.
    explicit UTLangStringBase(UTLocale * locale);
    ~UTLangStringBase();
    UTLangStringBase(const UTLangStringBase &) = delete;
    UTLangStringBase & operator=(const UTLangStringBase &) = delete;

    static constexpr int MAX_RES_FILES = 4;

    // The files to look in, in this order, of which the first four count, and one more behind them. FALSE: it
    // would be the fourth. The character set and the language of the strings are those of the first file that
    // is open, for all files.
    void SetResFiles(UTResFile ** res_files, int nres);
    a_bool AppendResFile(UTResFile * res);

    // The character set of all text that comes out, and that of string arguments, null for arguments that
    // aren't converted.
    void SetDestCharset(const CharsetInfo * csinfo);
    void SetArgCharset(const CharsetInfo * csinfo);
    [[nodiscard]] const CharsetInfo * DestCharset() const { return _dest_csinfo; }
    [[nodiscard]] const CharsetInfo * ArgCharset() const { return _arg_csinfo; }
    [[nodiscard]] const LanguageInfo * GetLanguage() const { return _langinfo; }

    // The full path of the first open file that is found again by its language. FALSE: none is, and `path` is
    // empty; it is, too, if the one that is found doesn't fit.
    [[nodiscard]] a_bool GetResourcePath(char * path, size_t pathsize) const;

    // The length of string `id`, which is in `buffer` then, terminated. Only the low 16 bits of a number
    // count. Missing, or a `buflen` of 0: 0; `buffer` is then as it was if strings come out as they stand in
    // the files, and empty if they are converted. A string that is converted is cut to 767 bytes before.
    size_t GetString(uint32 id, char * buffer, size_t buflen) const;

    // Fetch a template, of up to 511 bytes, and fill it. The length of the text; a missing template gives 0
    // and an empty `buffer`. In a character set of more than one byte a unit the wide form fills the
    // template, and `buffer` is aligned for it.
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

    // The text of an error, with arguments if its template has any but the error number; its length. A type
    // that isn't known has an empty one.
    size_t FormatErrorMessage(const UTErrorCode & error, char * buffer, size_t buflen, ...) const;
    size_t VFormatErrorMessage(const UTErrorCode & error, char * buffer, size_t buflen, va_list args) const;

    // The words for a failed opening, from the code, since they are needed when the files are missing, with
    // the names of the files that were looked for. `language` is the label that was asked for, null for the
    // one of the system; LS_INIT_OKAY has no text and isn't passed. `buflen` is at least 1. Returns `buffer`.
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
    void get_mutex() const ORV_ACQUIRE(_mutex) { lock_critical_sect(_mutex); }
    void give_mutex() const ORV_RELEASE(_mutex) { unlock_critical_sect(_mutex); }

    UTLocale * _locale;
    // From the strings' character set to _dest_csinfo, and from _arg_csinfo to it, for string arguments.
    mutable CharsetConverter _conv ORV_GUARDED_BY(_mutex);
    mutable CharsetConverter _arg_conv ORV_GUARDED_BY(_mutex);
    int _nres = 0; // entries of _res in use
    UTResFile * _res[MAX_RES_FILES] = {};
    const CharsetInfo * _src_csinfo = nullptr; // of the strings as they are read
    const CharsetInfo * _dest_csinfo = nullptr;
    const CharsetInfo * _arg_csinfo = nullptr;
    const LanguageInfo * _langinfo = nullptr; // of the first open file
    a_critical_sect _mutex;                   // guards the two converters

private:
    void reset() ORV_NO_LOCK_ANALYSIS;
    [[nodiscard]] bool is_utf16() const;
    [[nodiscard]] bool converts() const ORV_NO_LOCK_ANALYSIS;
    size_t do_get_string(uint32 id, char * buffer, size_t buflen) const;
    [[nodiscard]] bool is_wide() const ORV_NO_LOCK_ANALYSIS;
    [[nodiscard]] CharsetConverter * arg_conv() const ORV_NO_LOCK_ANALYSIS;
};
