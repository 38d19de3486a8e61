// The converters of single-byte character sets that rest on a table: straight to another single-byte
// character set, and to the hub. They are the fast paths: one load per byte, no flags.
//
// Units, ownership, failure, threads: as in csconvert.h.
#pragma once

#include "utils/locale/csconvert.h"

// Supported if both character sets are single-byte and the locale has or finds a byte map for the pair. A
// byte that the destination lacks is whatever the map says.
class BytemapCharsetConverter final : public CharsetConverterBase {
public:
    BytemapCharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                            const CharsetInfo * src_csinfo);
    void Reset() override {}
    ORV_CONV_RET ContinueConvert(PivotBuffer & pivot, void ** p_dest, const void * dest_end,
                                 const void ** p_src, const void * src_end, a_bool finish) override;
    [[nodiscard]] a_bool support_reporting() const override { return FALSE; }
    [[nodiscard]] a_bool is_identity() const override { return FALSE; }
    void close() override;

private:
    const a_byte * _map = nullptr; // 256 bytes, the locale's
};

// Supported if the source is single-byte, the destination's characters have two bytes at least and the locale
// knows the source's values. Writes code units in the platform's byte order, U+FFFD for a hole.
class SBCSToUTF16MapCharsetConverter final : public CharsetConverterBase {
public:
    SBCSToUTF16MapCharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                                   const CharsetInfo * src_csinfo);
    void Reset() override { _state.Clear(); }
    ORV_CONV_RET ContinueConvert(PivotBuffer & pivot, void ** p_dest, const void * dest_end,
                                 const void ** p_src, const void * src_end, a_bool finish) override;
    [[nodiscard]] a_bool support_reporting() const override { return FALSE; }
    [[nodiscard]] a_bool is_identity() const override { return FALSE; }
    void close() override;

private:
    friend struct CharsetConverterInspector;

    const a_utf16 * _map = nullptr; // 256 values, the locale's
    CharsetConversionState _state;  // at most one byte of output
    uint32 _like_latin1 = 0x100;    // from this byte on each stands for the code unit of the same value
};
