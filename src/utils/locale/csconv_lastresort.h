// What remains where neither a table nor ICU serves: these keep ASCII and replace the rest. They are never
// supported, so that the owner knows beforehand that text may be lost.
//
// Units, ownership, failure, threads: as in csconvert.h.
#pragma once

#include "utils/locale/csconvert.h"

// Every character that isn't ASCII becomes one U+FFFD, together with the following bytes that the source's
// lead-byte table counts. A stop leaves the source cursor just behind the character's first byte.
class ToUTF16LastResortCharsetConverter final : public ToUTF16CharsetConverterBase {
public:
    using ToUTF16CharsetConverterBase::ToUTF16CharsetConverterBase;
    void Reset() override { ToUTF16CharsetConverterBase::Reset(); }
    [[nodiscard]] a_bool support_reporting() const override { return TRUE; }
    void close() override {}
    ORV_CONV_RET to_utf16_aligned(a_byte ** p_dest, const a_byte * dest_end, const a_byte ** p_src,
                                  const a_byte * src_end, a_bool finish) override;
};

// Every character that isn't ASCII becomes the destination's substitution character. A stop at an unmappable
// character leaves the source cursor behind it, one at an illegal character, a lone lead surrogate, on it.
class FromUTF16LastResortCharsetConverter final : public FromUTF16CharsetConverterBase {
public:
    using FromUTF16CharsetConverterBase::FromUTF16CharsetConverterBase;
    void Reset() override { FromUTF16CharsetConverterBase::Reset(); }
    [[nodiscard]] a_bool support_reporting() const override { return TRUE; }
    void close() override {}
    ORV_CONV_RET from_utf16_aligned(a_byte ** p_dest, const a_byte * dest_end, const a_byte ** p_src,
                                    const a_byte * src_end, a_bool finish) override;
};
