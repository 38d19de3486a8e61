// Conversion of text from one character set to another. For now the identity: text passes as it is.
//
// Lengths are in bytes. Threads: a converter keeps state, so a shared one is used under a lock of its owner.
// Failure is the result; nothing is reported.
#pragma once

#include <cstddef>

#include "utils/etc/uttypes.h"

class UTLocale;
struct CharsetInfo;

enum ORV_CONV_RET {
    ORV_CONV_OK = 0,                      // finished without a stop
    ORV_CONV_DST_BUFFER_OVERRUN = 1,      // the destination ended and work remains
    ORV_CONV_ILLEGAL_CHARACTER = 2,       // stopped at an illegal character
    ORV_CONV_UNMAPPABLE_CHARACTER = 3,    // stopped at a character that the destination lacks
    ORV_CONV_TRUNCATED_CHARACTER = 4,     // stopped at a character cut off by the end of the input
    ORV_CONV_FATAL_ERROR = 5,             // any other failure
    ORV_CONV_CHARTAB_TABLE_CORRUPTED = 6, // told to users, never given by a converter
    ORV_CONV_UNKNOWN_CID = 7              // told to users, never given by a converter
};

class CharsetConverter {
public:
    CharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo, const CharsetInfo * src_csinfo)
        : _locale(locale), _dest_csinfo(dest_csinfo), _src_csinfo(src_csinfo)
    {
    }

    // FALSE for a pair that isn't one and the same character set, or is none; text is copied all the same.
    a_bool SetEncodings(const CharsetInfo * dest_csinfo, const CharsetInfo * src_csinfo);
    void close() {}

    // Whether converting is copying.
    [[nodiscard]] a_bool is_identity() const { return TRUE; }
    [[nodiscard]] const CharsetInfo * DestCharset() const { return _dest_csinfo; }
    [[nodiscard]] const CharsetInfo * SrcCharset() const { return _src_csinfo; }

    // Converts `srclen` bytes, or all up to the terminator, and puts a terminator behind the output, within
    // `destlen` bytes. *p_written is the length without the terminator; it stays as it was when `destlen` has
    // no room for the terminator, and nothing is written then. ORV_CONV_DST_BUFFER_OVERRUN: the output is
    // cut.
    ORV_CONV_RET ConvertNullTerm(a_byte * dest, size_t destlen, size_t * p_written, const a_byte * src,
                                 size_t srclen);
    ORV_CONV_RET ConvertNullTerm(a_byte * dest, size_t destlen, size_t * p_written, const a_byte * src);

private:
    UTLocale * _locale;
    const CharsetInfo * _dest_csinfo;
    const CharsetInfo * _src_csinfo;
};
