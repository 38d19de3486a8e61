// The converters that rest on an ICU build: from any character set that ICU knows to the hub, and back.
//
// ICU substitutes what it can't convert, as it is used to; a hook in front of that counts it in
// encountered(), and stops where stop_at() wants that. A character without a mapping counts as unmappable
// and, unless that stops, as illegal, too; so do ill-formed input and one that the input's end cuts. Behind
// a stop the source cursor stands behind the character. ICU holds what the pieces' ends cut, and output that
// had no room, in its own handle.
//
// Ownership: each owns its ICU handle, which close() and the destructor release. It is registered with the
// handle by its address, so it must not move. Units, failure, threads: as in csconvert.h.
#pragma once

#include "utils/locale/csconvert.h"
#include "utils/locale/uticu.h"

// The result of a conversion by ICU: warnings are none.
[[nodiscard]] ORV_CONV_RET UErrorCode_to_ORV_CONV_RET(icu_abi::UErrorCode error);

// What both directions have. `Base` is the converter's base, `Callback` ICU's type of hook in its direction.
template<typename Base, typename Callback> class ICUCharsetConverter : public Base {
public:
    [[nodiscard]] a_bool support_reporting() const override { return TRUE; }
    void close() override { close_handle(); }

protected:
    using a_hook_setter = void (UTICU::*)(UConverter *, Callback, const void *, Callback *, const void **,
                                          icu_abi::UErrorCode *) const;
    // A handle for `foreign`, the side that isn't the hub, with `on_error` as its hook.
    ICUCharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo, const CharsetInfo * src_csinfo,
                        const CharsetInfo * foreign, a_hook_setter set_hook, Callback on_error);
    // ICU then calls the hook once more, with the final class as its context: its destructor has to close.
    void close_handle();

    UConverter * _cvth; // owned
    const UTICU & _icu;
    Callback _old_callback = nullptr; // what the handle had
    const void * _old_context = nullptr;
};
extern template class ICUCharsetConverter<ToUTF16CharsetConverterBase, icu_abi::UConverterToUCallback>;
extern template class ICUCharsetConverter<FromUTF16CharsetConverterBase, icu_abi::UConverterFromUCallback>;

// Supported if ICU opens the source's ICU name without so much as a warning. The destination isn't looked at.
class ToUTF16ICUCharsetConverter final
    : public ICUCharsetConverter<ToUTF16CharsetConverterBase, icu_abi::UConverterToUCallback> {
public:
    ToUTF16ICUCharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                               const CharsetInfo * src_csinfo);
    ~ToUTF16ICUCharsetConverter() override { close_handle(); }
    void Reset() override;
    ORV_CONV_RET to_utf16_aligned(a_byte ** p_dest, const a_byte * dest_end, const a_byte ** p_src,
                                  const a_byte * src_end, a_bool finish) override;

private:
    static void on_error(const void * context, icu_abi::UConverterToUnicodeArgs * args,
                         const char * code_units, int32 length, icu_abi::UConverterCallbackReason reason,
                         icu_abi::UErrorCode * error);
};

// The same with the destination in the source's place.
class FromUTF16ICUCharsetConverter final
    : public ICUCharsetConverter<FromUTF16CharsetConverterBase, icu_abi::UConverterFromUCallback> {
public:
    FromUTF16ICUCharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                                 const CharsetInfo * src_csinfo);
    ~FromUTF16ICUCharsetConverter() override { close_handle(); }
    void Reset() override;
    ORV_CONV_RET from_utf16_aligned(a_byte ** p_dest, const a_byte * dest_end, const a_byte ** p_src,
                                    const a_byte * src_end, a_bool finish) override;

private:
    static void on_error(const void * context, icu_abi::UConverterFromUnicodeArgs * args,
                         const a_utf16 * code_units, int32 length, icu_abi::UChar32 code_point,
                         icu_abi::UConverterCallbackReason reason, icu_abi::UErrorCode * error);
};
