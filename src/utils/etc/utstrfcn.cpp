#include "utils/etc/utstrfcn.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <strings.h>

namespace {

void give(char ** pnext_char, size_t * premaining, char * next, size_t remaining)
{
    if (pnext_char != nullptr) {
        *pnext_char = next;
    }
    if (premaining != nullptr) {
        *premaining = remaining;
    }
}

// Copies and terminates, cut if need be. The regions may not overlap; dest_size isn't 0.
a_bool copy_bytes(char * dest, size_t dest_size, const char * src, size_t len, char ** pnext_char,
                  size_t * premaining)
{
    const size_t copied = std::min(len, dest_size - 1);
    std::memcpy(dest, src, copied);
    dest[copied] = '\0';
    const bool full = copied == dest_size - 1;
    give(pnext_char, premaining, full ? dest + dest_size : dest + copied, full ? 0 : dest_size - copied);
    return copied == len ? TRUE : FALSE;
}

// Copies behind the string in `dest`.
a_bool append_bytes(char * dest, size_t dest_size, const char * src, size_t len, char ** pnext_char,
                    size_t * premaining)
{
    const size_t used = ut_strnlen(dest, dest_size);
    if (used == dest_size) {
        return FALSE;
    }
    return copy_bytes(dest + used, dest_size - used, src, len, pnext_char, premaining);
}

} // namespace

a_bool ut_strcpy(char * dest, size_t dest_size, const char * src, char ** pnext_char, size_t * premaining)
{
    if (src == nullptr || dest_size == 0) {
        return FALSE;
    }
    return copy_bytes(dest, dest_size, src, std::strlen(src), pnext_char, premaining);
}

a_bool ut_strncpy(char * dest, size_t dest_size, const char * src, size_t copylen, char ** pnext_char,
                  size_t * premaining)
{
    if (dest_size == 0) {
        return FALSE;
    }
    if (src == nullptr) {
        give(pnext_char, premaining, dest, dest_size);
        return copylen == 0 ? TRUE : FALSE;
    }
    return copy_bytes(dest, dest_size, src, ut_strnlen(src, copylen), pnext_char, premaining);
}

a_bool ut_strcat(char * dest, size_t dest_size, const char * src, char ** pnext_char, size_t * premaining)
{
    if (src == nullptr) {
        return FALSE;
    }
    return append_bytes(dest, dest_size, src, std::strlen(src), pnext_char, premaining);
}

a_bool ut_strncat(char * dest, size_t dest_size, const char * src, size_t copylen, char ** pnext_char,
                  size_t * premaining)
{
    if (src == nullptr) {
        return FALSE;
    }
    return append_bytes(dest, dest_size, src, ut_strnlen(src, copylen), pnext_char, premaining);
}

bool ut_memcpy(void * dest, size_t destsize, const void * src, size_t srcsize, void ** pnext_dest,
               size_t * premaining)
{
    const size_t copied = std::min(destsize, srcsize);
    if (copied != 0) { // memcpy takes no null pointer, not even for nothing
        std::memcpy(dest, src, copied);
    }
    if (pnext_dest != nullptr) {
        *pnext_dest = static_cast<a_byte *>(dest) + copied;
    }
    if (premaining != nullptr) {
        *premaining = destsize - copied;
    }
    return copied == srcsize;
}

size_t ut_strnlen(const char * src, size_t srclen)
{
    return strnlen(src, srclen);
}

int32 ut_stricmp(const char * s1, const char * s2)
{
    if (s1 == s2) {
        return 0;
    }
    if (s1 == nullptr) {
        return 1;
    }
    return s2 == nullptr ? -1 : strcasecmp(s1, s2);
}

int32 ut_vsnprintf(char * dest, size_t destlen, const char * fmt, va_list arglist)
{
    dest[0] = '\0'; // a format that fails at once leaves an empty text
    const int len = std::vsnprintf(dest, destlen, fmt, arglist);
    dest[destlen - 1] = '\0';
    return len < 0 || static_cast<size_t>(len) >= destlen ? -1 : len;
}

int32 ut_snprintf(char * dest, size_t destlen, const char * fmt, ...)
{
    va_list arglist;
    va_start(arglist, fmt);
    const int32 len = ut_vsnprintf(dest, destlen, fmt, arglist);
    va_end(arglist);
    return len;
}
