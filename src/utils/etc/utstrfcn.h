// Bounded strings: copying and appending that always terminate and can be chained, and formatting that says
// when it has cut.
//
// Units: bytes, whatever the character set; a cut may fall inside a multi-byte character. `dest_size` is the
// whole size of `dest`, terminator included. Ownership: nothing is allocated. Failure: the result; nothing is
// reported. Threads: any, there is no state.
//
// What doesn't fit is cut to dest_size - 1 bytes and terminated, with FALSE as the result. A dest_size of 0
// writes nothing, neither to `dest` nor to the outputs, and gives FALSE.
//
// The outputs, both optional, let a caller go on where the last call stopped:
//   *pnext_char   address of the terminator just written
//   *premaining   bytes from there to the end of `dest`, the terminator's included
// When the terminator went into the last byte of `dest`, even with all of the text copied, *premaining is 0
// and *pnext_char points just behind `dest`: a further call with these two does nothing and gives FALSE, so
// that only the last result of a chain needs a look.
#pragma once

#include <cstdarg>

#include "utils/etc/uttypes.h"

// Copies `src`. TRUE if all of it fitted. A null `src` gives FALSE and does nothing at all, outputs included.
a_bool ut_strcpy(char * dest, size_t dest_size, const char * src, char ** pnext_char = nullptr,
                 size_t * premaining = nullptr);

// Copies at most `copylen` bytes of `src`, up to its terminator; `src` needs none within them. TRUE if all of
// that fitted. A null `src` leaves `dest` alone, gives all of `dest` as remaining, and TRUE exactly if
// `copylen` is 0.
a_bool ut_strncpy(char * dest, size_t dest_size, const char * src, size_t copylen,
                  char ** pnext_char = nullptr, size_t * premaining = nullptr);

// Appends `src` behind the string in `dest`, which is terminated within dest_size (if it isn't: FALSE,
// nothing done). TRUE if all of it fitted. A null `src` gives FALSE and does nothing at all, outputs
// included.
a_bool ut_strcat(char * dest, size_t dest_size, const char * src, char ** pnext_char = nullptr,
                 size_t * premaining = nullptr);

// As ut_strcat, with at most `copylen` bytes of `src`.
a_bool ut_strncat(char * dest, size_t dest_size, const char * src, size_t copylen,
                  char ** pnext_char = nullptr, size_t * premaining = nullptr);

// Copies the lesser of `destsize` and `srcsize` bytes; no terminator. *pnext_dest is the byte behind the last
// one written and *premaining the bytes left in `dest`. True if all of `src` fitted.
bool ut_memcpy(void * dest, size_t destsize, const void * src, size_t srcsize, void ** pnext_dest = nullptr,
               size_t * premaining = nullptr);

// Length of `src`, at most `srclen`; no byte behind these is read.
[[nodiscard]] size_t ut_strnlen(const char * src, size_t srclen);

// Compares as strcasecmp does, nulls allowed: equal pointers 0, else a null s1 gives 1 and a null s2 -1.
[[nodiscard]] int32 ut_stricmp(const char * s1, const char * s2);

// vsnprintf, and a terminator in the last byte of `dest` in every case, so nothing behind the text survives
// there. `destlen` is at least 1. The length of the text, or -1 if it was cut or the format failed; `dest` is
// terminated.
int32 ut_vsnprintf(char * dest, size_t destlen, const char * fmt, va_list arglist)
    __attribute__((format(printf, 3, 0)));
int32 ut_snprintf(char * dest, size_t destlen, const char * fmt, ...) __attribute__((format(printf, 3, 4)));
