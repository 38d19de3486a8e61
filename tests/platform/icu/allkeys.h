// The strings of allkeys.txt (Unicode's default table of collation elements, package unicode-data): every
// script, contractions, what is ignored.
//
// Failure: none; without the package there are no strings. Threads: any.
#pragma once

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include <unicode/unistr.h>

inline const std::vector<icu::UnicodeString> & AllKeys()
{
    static const std::vector<icu::UnicodeString> texts = [] {
        std::vector<icu::UnicodeString> found;
        std::ifstream file("/usr/share/unicode/allkeys.txt");
        for (std::string line; std::getline(file, line);) {
            icu::UnicodeString string;
            const char * at = line.c_str();
            char * end = nullptr;
            for (UChar32 c = 0; (c = static_cast<UChar32>(strtol(at, &end, 16)), end != at); at = end) {
                string.append(c);
            }
            if ((*at == ' ' || *at == ';') && !string.isEmpty()) {
                found.push_back(string);
            }
        }
        return found;
    }();
    return texts;
}
