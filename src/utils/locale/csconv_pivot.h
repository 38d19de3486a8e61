// The converter that chains one to the hub and one from it, and the storage for every other converter.
//
// Units, ownership, failure, threads: as in csconvert.h.
#pragma once

#include "utils/locale/csconv_icu.h"
#include "utils/locale/csconv_lastresort.h"
#include "utils/locale/csconv_sbcs.h"
#include "utils/locale/csconv_unicode.h"
#include "utils/locale/csconvert.h"

// Storage for any converter but the pivot.
union NonpivotCharsetConverterPlaceholder {
    a_byte _identity[sizeof(IdentityCharsetConverter)];
    a_byte _bytemap[sizeof(BytemapCharsetConverter)];
    a_byte _sbcs_to_utf16[sizeof(SBCSToUTF16MapCharsetConverter)];
    a_byte _icu1[sizeof(ToUTF16ICUCharsetConverter)];
    a_byte _icu2[sizeof(FromUTF16ICUCharsetConverter)];
    a_byte _u8_u16[sizeof(UTF8ToUTF16CharsetConverter)];
    a_byte _u16_u8[sizeof(UTF16ToUTF8CharsetConverter)];
    a_byte _c8_u16[sizeof(CESU8ToUTF16CharsetConverter)];
    a_byte _u16_c8[sizeof(UTF16ToCESU8CharsetConverter)];
    a_byte _lr1[sizeof(ToUTF16LastResortCharsetConverter)];
    a_byte _lr2[sizeof(FromUTF16LastResortCharsetConverter)];
    void * _alignment;
};
static_assert(sizeof(NonpivotCharsetConverterPlaceholder) == sizeof(CharsetConverterPlaceholder::_nonpivot));
// It stands in for either direction, so it has no arm of its own.
static_assert(sizeof(UTF16SwapEndianCharsetConverter) <= sizeof(NonpivotCharsetConverterPlaceholder));

// Two stages with the caller's PivotBuffer in between. Supported if both stages are.
class PivotCharsetConverter final : public CharsetConverterBase {
public:
    // Neither character set may be null or the hub; with such a pair, or a stage that can't be had, there is
    // nothing to drive: the owner puts another converter in its place.
    PivotCharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo, const CharsetInfo * src_csinfo,
                          a_bool allow_last_resort);
    ~PivotCharsetConverter() override;
    void Reset() override;
    ORV_CONV_RET ContinueConvert(PivotBuffer & pivot, void ** p_dest, const void * dest_end,
                                 const void ** p_src, const void * src_end, a_bool finish) override;
    [[nodiscard]] a_bool support_reporting() const override;
    [[nodiscard]] a_bool is_identity() const override { return FALSE; }
    void close() override;

    [[nodiscard]] CharsetConverterBase & src_conv()
    {
        return *std::launder(reinterpret_cast<CharsetConverterBase *>(&_src_to_utf16));
    }
    [[nodiscard]] CharsetConverterBase & dest_conv()
    {
        return *std::launder(reinterpret_cast<CharsetConverterBase *>(&_utf16_to_dest));
    }
    [[nodiscard]] const CharsetConverterBase & src_conv() const
    {
        return *std::launder(reinterpret_cast<const CharsetConverterBase *>(&_src_to_utf16));
    }
    [[nodiscard]] const CharsetConverterBase & dest_conv() const
    {
        return *std::launder(reinterpret_cast<const CharsetConverterBase *>(&_utf16_to_dest));
    }

private:
    [[nodiscard]] bool take_ascii(void ** p_dest, const void * dest_end, const void ** p_src,
                                  const void * src_end);
    [[nodiscard]] ORV_CONV_RET convert_slices(PivotBuffer & pivot, void ** p_dest, const void * dest_end,
                                              const void ** p_src, const void * src_end, a_bool finish);
    [[nodiscard]] ORV_CONV_RET empty_buffer(PivotBuffer & pivot, void ** p_dest, const void * dest_end,
                                            a_bool finish);

    NonpivotCharsetConverterPlaceholder _src_to_utf16;  // first stage
    NonpivotCharsetConverterPlaceholder _utf16_to_dest; // second stage
    bool _has_stages = false;                           // both are constructed
    bool _keeps_ascii = false;                          // ASCII goes through both as it is
    bool _at_start = false;                             // and nothing has gone through them yet
};
static_assert(sizeof(PivotCharsetConverter) <= sizeof(CharsetConverterPlaceholder::_pivot));
