// Discovering the process's language, character set and collation from its environment. The discovery itself
// stands in UTLocale (FindOSLanguage, FindOSCharset, FindCollation, FindOSCollation); this is how it reads a
// variable.
//
// Values of the environment are hostile input: of any length, in any bytes, empty. Nothing is reported: what
// isn't known ends at English, ISO 8859-1 and their collation. Threads: free on any thread, as long as none
// changes the environment.
#pragma once

#include <cstddef>

// Copies the value of `name`, cut to what `size` holds with a terminator. Result: `buffer`, or null, with
// `buffer` unchanged, if the variable isn't set or `size` is 0. An empty value counts as set.
const char * ut_getenv(const char * name, char * buffer, size_t size);
