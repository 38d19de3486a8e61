// A byte classifier in the character set of the process: where characters begin and end, and letters and
// their case.
//
// Case and letters are those of the C library in the host's locale, for single bytes alone. The table is
// filled by init(); before that every byte is a character of its own that is no letter. Threads: init()
// belongs to one thread; after it everything reads only.
#pragma once

#include <cstddef>

#include "utils/etc/uttypes.h"

using a_boolean = unsigned char;

class LS_CharFunctions {
public:
    // Fills the table for the character set that the environment names; does nothing from the second call on.
    void init();
    void fini() {}

    // The start of the character after the one at `p`, never behind a string's terminator.
    const char * nextChar(const char * p) const { return p + (charSize(*p) == 2 && p[1] != '\0' ? 2 : 1); }
    // The start of the character in front of `p`; `p` itself at `start`, which begins a character.
    const char * prevChar(const char * start, const char * p) const;

    bool isLeadByte(char c) const { return charSize(c) > 1; }
    size_t charSize(char c) const { return at(c).char_size > 1 ? at(c).char_size : 1; }

    bool isAlpha(char c) const { return at(c).char_upper != 0; }
    // A letter without case is neither.
    bool isLower(char c) const { return isAlpha(c) && at(c).char_upper != byte(c); }
    bool isUpper(char c) const { return isAlpha(c) && at(c).char_lower != byte(c); }
    char toLower(char c) const { return isAlpha(c) ? static_cast<char>(at(c).char_lower) : c; }
    char toUpper(char c) const { return isAlpha(c) ? static_cast<char>(at(c).char_upper) : c; }

private:
    struct Attributes {
        unsigned char_upper : 8; // 0 for what is no letter
        unsigned char_lower : 8;
        unsigned char_size : 3; // bytes; 0 before init
    };

    static unsigned byte(char c) { return static_cast<unsigned char>(c); }
    const Attributes & at(char c) const { return _attributes[byte(c)]; }

    Attributes _attributes[256] = {};
    a_boolean _initialized = 0;
    a_boolean _multibyte = 0;
};

// The process's classifier: empty when the library is loaded, filled when its language texts are.
extern LS_CharFunctions LSCharFunctions;
