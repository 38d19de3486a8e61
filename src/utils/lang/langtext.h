// The English texts that are compiled into the library, generated from lang/en.po when it is built.
//
// Constant data: sorted by number, no number twice, texts terminated and of at most 255 bytes.
#pragma once

#include <span>

#include "utils/etc/uttypes.h"

struct a_lang_text {
    uint16 id;
    uint16 length; // bytes of `text`, without the terminator
    const char * text;
};

[[nodiscard]] std::span<const a_lang_text> english_lang_texts();
