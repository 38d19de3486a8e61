// The converters that rest on an ICU build: from any character set that ICU knows to the hub, and back.
//
// Ownership: each owns its ICU handle, which close() and the destructor release. Units, failure, threads: as
// in csconvert.h.
#pragma once

#include "utils/locale/csconvert.h"

class UTICU;
struct UConverter;

// The hooks' own types stand in ICU's headers, which the library doesn't need; here only the pointers count.
using an_icu_callback = void (*)();

class ToUTF16ICUCharsetConverter final : public ToUTF16CharsetConverterBase {
public:
    ToUTF16ICUCharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                               const CharsetInfo * src_csinfo);
    ~ToUTF16ICUCharsetConverter() override;
    void Reset() override;
    [[nodiscard]] a_bool support_reporting() const override { return TRUE; }
    void close() override;
    ORV_CONV_RET to_utf16_aligned(a_byte ** p_dest, const a_byte * dest_end, const a_byte ** p_src,
                                  const a_byte * src_end, a_bool finish) override;

private:
    [[maybe_unused]] UConverter * _cvth = nullptr; // owned
    [[maybe_unused]] const UTICU & _icu;
    [[maybe_unused]] an_icu_callback _old_callback = nullptr; // what the handle had
    [[maybe_unused]] const void * _old_context = nullptr;
};

class FromUTF16ICUCharsetConverter final : public FromUTF16CharsetConverterBase {
public:
    FromUTF16ICUCharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                                 const CharsetInfo * src_csinfo);
    ~FromUTF16ICUCharsetConverter() override;
    void Reset() override;
    [[nodiscard]] a_bool support_reporting() const override { return TRUE; }
    void close() override;
    ORV_CONV_RET from_utf16_aligned(a_byte ** p_dest, const a_byte * dest_end, const a_byte ** p_src,
                                    const a_byte * src_end, a_bool finish) override;

private:
    [[maybe_unused]] UConverter * _cvth = nullptr; // owned
    [[maybe_unused]] const UTICU & _icu;
    [[maybe_unused]] an_icu_callback _old_callback = nullptr; // what the handle had
    [[maybe_unused]] const void * _old_context = nullptr;
};
