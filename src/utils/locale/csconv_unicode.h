// Converters between the hub, UTF-16 in the platform's byte order, and UTF-8, CESU-8 and UTF-16 in the other
// byte order. They need no tables of their own and no ICU, so they work in every installation.
//
// They read leniently. Decoding, the lead-byte table of the row tells how many bytes follow, and neither
// stray and bad following bytes nor overlong forms are looked for: they come out as the value that their bits
// give. Illegal is only a UTF-8 value above U+10FFFF, decoding, and a lone surrogate, encoding UTF-8. CESU-8
// (UTR #26) takes each code unit for itself, so there nothing is.
//
// Units, ownership, failure, threads: as in csconvert.h.
#pragma once

#include "utils/locale/csconvert.h"

// What they have in common.
template<typename Base> class UnicodeTransform : public Base {
public:
    using Base::Base;
    void Reset() final { Base::Reset(); }
    [[nodiscard]] a_bool support_reporting() const final { return TRUE; }
    void close() final { this->_is_supported = FALSE; }
};

// UTF-8 to the hub. A stop at an illegal character leaves the source cursor behind it.
class UTF8ToUTF16CharsetConverter final : public UnicodeTransform<ToUTF16CharsetConverterBase> {
public:
    UTF8ToUTF16CharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                                const CharsetInfo * src_csinfo);
    ORV_CONV_RET to_utf16_aligned(a_byte ** p_dest, const a_byte * dest_end, const a_byte ** p_src,
                                  const a_byte * src_end, a_bool finish) override;

private:
    [[maybe_unused]] const CharsetInfo * _utf8_csinfo;
};

// The hub to UTF-8. A stop at an illegal character leaves the source cursor on it.
class UTF16ToUTF8CharsetConverter final : public UnicodeTransform<FromUTF16CharsetConverterBase> {
public:
    UTF16ToUTF8CharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                                const CharsetInfo * src_csinfo);
    ORV_CONV_RET from_utf16_aligned(a_byte ** p_dest, const a_byte * dest_end, const a_byte ** p_src,
                                    const a_byte * src_end, a_bool finish) override;

private:
    [[maybe_unused]] const CharsetInfo * _utf8_csinfo;
};

// CESU-8 to the hub.
class CESU8ToUTF16CharsetConverter final : public UnicodeTransform<ToUTF16CharsetConverterBase> {
public:
    CESU8ToUTF16CharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                                 const CharsetInfo * src_csinfo);
    ORV_CONV_RET to_utf16_aligned(a_byte ** p_dest, const a_byte * dest_end, const a_byte ** p_src,
                                  const a_byte * src_end, a_bool finish) override;

private:
    [[maybe_unused]] const CharsetInfo * _cesu8_csinfo;
};

// The hub to CESU-8.
class UTF16ToCESU8CharsetConverter final : public UnicodeTransform<FromUTF16CharsetConverterBase> {
public:
    UTF16ToCESU8CharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                                 const CharsetInfo * src_csinfo);
    ORV_CONV_RET from_utf16_aligned(a_byte ** p_dest, const a_byte * dest_end, const a_byte ** p_src,
                                    const a_byte * src_end, a_bool finish) override;

private:
    [[maybe_unused]] const CharsetInfo * _cesu8_csinfo;
};

// UTF-16 in one byte order to the other, UTF-16LE to UTF-16BE and back: the two bytes of each code unit
// change places, whatever they stand for. A lone last byte is a truncated character; a stop at it leaves the
// source cursor on it, or the byte held if it came with an earlier call.
class UTF16SwapEndianCharsetConverter final : public CharsetConverterBase {
public:
    UTF16SwapEndianCharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                                    const CharsetInfo * src_csinfo);
    void Reset() override;
    ORV_CONV_RET ContinueConvert(PivotBuffer & pivot, void ** p_dest, const void * dest_end,
                                 const void ** p_src, const void * src_end, a_bool finish) override;
    [[nodiscard]] a_bool support_reporting() const override { return FALSE; }
    [[nodiscard]] a_bool is_identity() const override { return FALSE; }
    void close() override { _is_supported = FALSE; }

private:
    friend struct CharsetConverterInspector;

    CharsetConversionState _state;
};
