// Conversion of text from one of the catalogue's character sets to another. A CharsetConverter picks the best
// converter that the process can run for a pair, builds it in place inside itself and drives it.
//
// UTF-16 in the platform's byte order, the row UTF-16LE, is the hub: every other character set has at best a
// converter to it and one from it, and a pair of two others goes through both. Conversion is restartable:
// input and output may come in pieces of any size at any address, and what a piece's end cuts is held over.
//
// Units: lengths are in bytes, also for UTF-16; only PivotBuffer counts code units. Ownership: converters
// live in storage of their owner, and making or driving one allocates nothing (a byte map or a Unicode map
// that the locale hasn't cached yet does, there). Tables belong to the UTLocale, which outlives its
// converters. Failure is the result; nothing is reported. Threads: a converter's state changes with each
// call, so one that is shared is used under a lock of its owner for a whole conversion.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

#include "utils/etc/uttypes.h"

class UTIStream;
class UTLocale;
class UTOStream;
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

// What a conversion has met, or what it stops at: one bit for each kind of problem.
class CharsetConversionFlags {
public:
    static constexpr unsigned int ILLEGAL = 1u << 0;
    static constexpr unsigned int UNMAPPABLE = 1u << 1;
    static constexpr unsigned int TRUNCATED = 1u << 2;

    constexpr CharsetConversionFlags() = default;
    constexpr explicit CharsetConversionFlags(unsigned int flags) : _flags(flags) {}

    [[nodiscard]] a_bool illegal_character() const { return test(ILLEGAL); }
    [[nodiscard]] a_bool unmappable_character() const { return test(UNMAPPABLE); }
    [[nodiscard]] a_bool truncated_character() const { return test(TRUNCATED); }
    void set_illegal_character(a_bool on = TRUE) { assign(ILLEGAL, on); }
    void set_unmappable_character(a_bool on = TRUE) { assign(UNMAPPABLE, on); }
    void set_truncated_character(a_bool on = TRUE) { assign(TRUNCATED, on); }

    void clear() { _flags = 0; }
    [[nodiscard]] unsigned int get() const { return _flags; }
    void set(unsigned int flags) { _flags = flags; }
    void set(const CharsetConversionFlags & other) { _flags = other._flags; }
    friend bool operator==(const CharsetConversionFlags &, const CharsetConversionFlags &) = default;

private:
    [[nodiscard]] a_bool test(unsigned int bit) const { return (_flags & bit) != 0 ? TRUE : FALSE; }
    void assign(unsigned int bit, a_bool on) { _flags = on ? _flags | bit : _flags & ~bit; }

    unsigned int _flags = 0;
};
static_assert(sizeof(CharsetConversionFlags) == sizeof(unsigned int));

// What a converter keeps between two calls.
struct CharsetConversionState {
    size_t _n_srcbuf = 0;  // bytes held in _srcbuf
    size_t _n_destbuf = 0; // bytes held in _destbuf
    a_byte _srcbuf[16];    // input bytes of an incomplete character that were taken from the caller
    a_byte _destbuf[16];   // output bytes that didn't fit into the caller's destination

    CharsetConversionState() {} // only the counts tell what the buffers hold
    void Clear()
    {
        _n_srcbuf = 0;
        _n_destbuf = 0;
    }
};
static_assert(sizeof(CharsetConversionState) == 48);

// The UTF-16 between the two stages of a conversion through the hub. The caller of a conversion owns one,
// passes it to every call of that conversion, and begins the next one with it cleared.
class PivotBuffer {
public:
    static constexpr size_t CODE_UNITS = 512;

    PivotBuffer() : _unidata_end(_buffer) {}
    PivotBuffer(const PivotBuffer &) = delete; // it points into itself
    PivotBuffer & operator=(const PivotBuffer &) = delete;

    void clear() { _unidata_end = _buffer; }
    [[nodiscard]] const a_utf16 * buffer_end() const { return _buffer + CODE_UNITS; }

    a_utf16 _buffer[CODE_UNITS];
    a_utf16 * _unidata_end; // end of the data now in the buffer
};
static_assert(sizeof(PivotBuffer) == PivotBuffer::CODE_UNITS * sizeof(a_utf16) + sizeof(a_utf16 *));

// A converter for one pair of character sets.
class CharsetConverterBase {
public:
    CharsetConverterBase(UTLocale * locale, const CharsetInfo * dest_csinfo, const CharsetInfo * src_csinfo)
        : _locale(locale), _src_csinfo(src_csinfo), _dest_csinfo(dest_csinfo)
    {
    }
    CharsetConverterBase(const CharsetConverterBase &) = delete;
    CharsetConverterBase & operator=(const CharsetConverterBase &) = delete;
    virtual ~CharsetConverterBase() = default;

    // Forgets all state of the conversion so far; what it stops at stays.
    virtual void Reset() { _encountered.clear(); }

    // Converts from `*p_src` up to `src_end` into the area from `*p_dest` up to `dest_end`, and moves both
    // cursors past what it used. Nothing is written beyond `dest_end`; what stands between `*p_dest` and
    // `dest_end` afterwards is undefined. `finish`: this is the end of the input; an input that ends inside a
    // character is taken and held otherwise. A caller with nothing left calls with an empty input and
    // `finish` true, to drain what is held.
    //   ORV_CONV_DST_BUFFER_OVERRUN: call again with more destination and the same remaining input.
    //   illegal, unmappable, truncated: only with its bit in stop_at(); the cursors stand where the converter
    //   says. The bit in encountered() is set either way. Output that had no room is delivered by later
    //   calls.
    // Only a converter through the hub uses `pivot`.
    virtual ORV_CONV_RET ContinueConvert(PivotBuffer & pivot, void ** p_dest, const void * dest_end,
                                         const void ** p_src, const void * src_end, a_bool finish) = 0;

    // Can it report illegal and unmappable characters at all?
    [[nodiscard]] virtual a_bool support_reporting() const = 0;
    // Is converting copying?
    [[nodiscard]] virtual a_bool is_identity() const = 0;
    // Releases what the converter holds and clears is_supported(). May be repeated.
    virtual void close() = 0;

    [[nodiscard]] const CharsetInfo * DestCharset() const { return _dest_csinfo; }
    [[nodiscard]] const CharsetInfo * SrcCharset() const { return _src_csinfo; }
    // Can this object do the conversion properly?
    [[nodiscard]] a_bool is_supported() const { return _is_supported; }
    // What the conversion has met since the last Reset.
    [[nodiscard]] CharsetConversionFlags & encountered() { return _encountered; }
    // What the conversion stops at; nothing in a new converter.
    [[nodiscard]] CharsetConversionFlags & stop_at() { return _stop_at; }
    [[nodiscard]] a_bool conversion_needed() const { return is_identity() ? FALSE : TRUE; }

    [[nodiscard]] static a_bool is_utf16_aligned(const void * p)
    {
        return reinterpret_cast<std::uintptr_t>(p) % sizeof(a_utf16) == 0 ? TRUE : FALSE;
    }
    // The even address at or before `p`.
    template<typename Byte> [[nodiscard]] static Byte * utf16_align(Byte * p)
    {
        static_assert(sizeof(Byte) == 1);
        return p - reinterpret_cast<std::uintptr_t>(p) % sizeof(a_utf16);
    }

protected:
    friend class CharsetConverter;
    friend struct CharsetConverterInspector; // tests look at the state that is left

    UTLocale * _locale;
    const CharsetInfo * _src_csinfo;
    const CharsetInfo * _dest_csinfo;
    a_bool _is_supported = FALSE; // a subclass's constructor sets it at its end
    CharsetConversionFlags _encountered;
    CharsetConversionFlags _stop_at;
};
static_assert(sizeof(CharsetConverterBase) == 48);

// Copies bytes. Supported if both character sets are the same row.
class IdentityCharsetConverter final : public CharsetConverterBase {
public:
    IdentityCharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo,
                             const CharsetInfo * src_csinfo);
    void Reset() override {}
    ORV_CONV_RET ContinueConvert(PivotBuffer & pivot, void ** p_dest, const void * dest_end,
                                 const void ** p_src, const void * src_end, a_bool finish) override;
    [[nodiscard]] a_bool support_reporting() const override { return FALSE; }
    [[nodiscard]] a_bool is_identity() const override { return TRUE; }
    void close() override { _is_supported = FALSE; }
};

// A converter to the hub. It brings pieces of any size and address into the form in which a subclass
// converts, and holds what the pieces' ends cut.
class ToUTF16CharsetConverterBase : public CharsetConverterBase {
public:
    using CharsetConverterBase::CharsetConverterBase;
    void Reset() override = 0; // clears the base's _encountered and _state; a subclass calls it
    ORV_CONV_RET ContinueConvert(PivotBuffer & pivot, void ** p_dest, const void * dest_end,
                                 const void ** p_src, const void * src_end, a_bool finish) final;
    [[nodiscard]] a_bool support_reporting() const override = 0;
    [[nodiscard]] a_bool is_identity() const override { return FALSE; }
    void close() override = 0;

    // Converts whole characters while input and destination last, and stops with ORV_CONV_OK in front of one
    // that is incomplete or doesn't fit. The destination is UTF-16 in the platform's byte order at an even
    // address and takes a whole number of code units.
    virtual ORV_CONV_RET to_utf16_aligned(a_byte ** p_dest, const a_byte * dest_end, const a_byte ** p_src,
                                          const a_byte * src_end, a_bool finish) = 0;

protected:
    friend struct CharsetConverterInspector;

    CharsetConversionState _state;
};
static_assert(sizeof(ToUTF16CharsetConverterBase) == 96);

// A converter from the hub: the same in the other direction.
class FromUTF16CharsetConverterBase : public CharsetConverterBase {
public:
    using CharsetConverterBase::CharsetConverterBase;
    void Reset() override = 0; // clears the base's _encountered and _state; a subclass calls it
    ORV_CONV_RET ContinueConvert(PivotBuffer & pivot, void ** p_dest, const void * dest_end,
                                 const void ** p_src, const void * src_end, a_bool finish) final;
    [[nodiscard]] a_bool support_reporting() const override = 0;
    [[nodiscard]] a_bool is_identity() const override { return FALSE; }
    void close() override = 0;

    // As to_utf16_aligned. The source is UTF-16 in the platform's byte order, a whole number of code units at
    // an even address.
    virtual ORV_CONV_RET from_utf16_aligned(a_byte ** p_dest, const a_byte * dest_end, const a_byte ** p_src,
                                            const a_byte * src_end, a_bool finish) = 0;

protected:
    friend struct CharsetConverterInspector;

    CharsetConversionState _state;
};
static_assert(sizeof(FromUTF16CharsetConverterBase) == 96);

// Storage for any converter. That every converter fits its arm is asserted where both are known.
union CharsetConverterPlaceholder {
    a_byte _nonpivot[128];
    a_byte _pivot[320];
    void * _alignment;
};
static_assert(sizeof(CharsetConverterPlaceholder) == 320 &&
              alignof(CharsetConverterPlaceholder) == alignof(void *));

// What the rest of the system holds: the converter for a pair, which is chosen anew with each change of it.
class CharsetConverter {
public:
    CharsetConverter(UTLocale * locale, const CharsetInfo * dest_csinfo, const CharsetInfo * src_csinfo);
    ~CharsetConverter();
    CharsetConverter(const CharsetConverter &) = delete;
    CharsetConverter & operator=(const CharsetConverter &) = delete;

    // Puts the best converter for the pair in place; a supported one for the same pair stays as it is, flags
    // and all. FALSE: the one now in place isn't a proper one. It runs all the same: it keeps ASCII and
    // replaces the rest, or copies if one of the two is null.
    a_bool SetEncodings(const CharsetInfo * dest_csinfo, const CharsetInfo * src_csinfo);
    // Releases what the converter holds. SetEncodings may follow; a second close does no harm.
    void close() { conv().close(); }

    // One whole conversion into `destlen` bytes at `dest`. *p_written is how many were written, always.
    // ORV_CONV_DST_BUFFER_OVERRUN: the output is cut, and what the converter still held is lost with the next
    // Reset.
    ORV_CONV_RET Convert(a_byte * dest, size_t destlen, size_t * p_written, const a_byte * src,
                         size_t srclen);

    // The same with a terminator of the destination's smallest character size behind the output, within
    // `destlen` bytes; `src` without `srclen` goes up to its terminator. *p_written doesn't count the
    // destination's. It stays as it was, and nothing is written, when `destlen` has no room for the
    // terminator; otherwise the terminator is written, also behind output that is cut.
    ORV_CONV_RET ConvertNullTerm(a_byte * dest, size_t destlen, size_t * p_written, const a_byte * src,
                                 size_t srclen);
    ORV_CONV_RET ConvertNullTerm(a_byte * dest, size_t destlen, size_t * p_written, const a_byte * src);

    // One whole conversion of at most `max_src_len` bytes from stream to stream. *p_written is how many bytes
    // the converter made, always.
    ORV_CONV_RET Convert(UTOStream & o, size_t * p_written, UTIStream & i, size_t max_src_len);

    // What the converter in place says and does.
    [[nodiscard]] const CharsetInfo * DestCharset() const { return conv().DestCharset(); }
    [[nodiscard]] const CharsetInfo * SrcCharset() const { return conv().SrcCharset(); }
    void Reset() { conv().Reset(); }
    ORV_CONV_RET ContinueConvert(PivotBuffer & pivot, void ** p_dest, const void * dest_end,
                                 const void ** p_src, const void * src_end, a_bool finish)
    {
        return conv().ContinueConvert(pivot, p_dest, dest_end, p_src, src_end, finish);
    }
    [[nodiscard]] a_bool support_reporting() const { return conv().support_reporting(); }
    [[nodiscard]] a_bool is_identity() const { return conv().is_identity(); }
    [[nodiscard]] a_bool conversion_needed() const { return conv().conversion_needed(); }
    [[nodiscard]] a_bool is_supported() const { return conv().is_supported(); }
    [[nodiscard]] CharsetConversionFlags & encountered() { return conv().encountered(); }
    [[nodiscard]] CharsetConversionFlags & stop_at() { return conv().stop_at(); }

    [[nodiscard]] CharsetConverterBase & conv()
    {
        return *std::launder(reinterpret_cast<CharsetConverterBase *>(&_conv_placeholder));
    }
    [[nodiscard]] const CharsetConverterBase & conv() const
    {
        return *std::launder(reinterpret_cast<const CharsetConverterBase *>(&_conv_placeholder));
    }

    // Build a converter to the hub, `dest_csinfo`, or from it, `src_csinfo`, at `mem`, the non-pivot arm of a
    // placeholder. TRUE: it is supported or, where that is allowed, the last resort. FALSE: nothing is left
    // at `mem`.
    [[nodiscard]] static a_bool create_to_utf16_converter(UTLocale * locale, void * mem,
                                                          const CharsetInfo * dest_csinfo,
                                                          const CharsetInfo * src_csinfo,
                                                          a_bool allow_last_resort);
    [[nodiscard]] static a_bool create_from_utf16_converter(UTLocale * locale, void * mem,
                                                            const CharsetInfo * dest_csinfo,
                                                            const CharsetInfo * src_csinfo,
                                                            a_bool allow_last_resort);

private:
    void place_copier();
    [[nodiscard]] a_bool place_proper(const CharsetInfo * dest_csinfo, const CharsetInfo * src_csinfo);
    void place_last_resort(const CharsetInfo * dest_csinfo, const CharsetInfo * src_csinfo);

    UTLocale * _locale;
    CharsetConverterPlaceholder _conv_placeholder;
};
