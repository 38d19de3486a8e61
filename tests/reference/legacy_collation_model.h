// The slow twin of the table-driven collation: strings taken apart into characters, keys and mappings built
// from these one by one.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "utils/locale/utlocale.h"

struct LegacyCollationModel {
    const a_packed_collation_order & packed;
    bool case_counts;
    bool multi_byte;

    using a_text = std::vector<a_byte>;

    a_byte position(a_byte b) const { return case_counts ? packed.sensitive[b] : packed.insensitive[b]; }

    // The last one may be cut.
    std::vector<a_text> characters(const a_text & text) const
    {
        std::vector<a_text> all;
        for (size_t at = 0; at < text.size();) {
            const size_t announced = multi_byte ? 1 + packed.flags[text[at]] % 4 : 1;
            const size_t end = std::min(at + announced, text.size());
            all.emplace_back(text.begin() + static_cast<std::ptrdiff_t>(at),
                             text.begin() + static_cast<std::ptrdiff_t>(end));
            at = end;
        }
        return all;
    }

    // What decides the order: the position of each lead byte, and its trailing bytes.
    a_text weights(const a_text & text) const
    {
        a_text result;
        for (a_text character : characters(text)) {
            character[0] = position(character[0]);
            result.insert(result.end(), character.begin(), character.end());
        }
        return result;
    }

    int compare(const a_text & s1, const a_text & s2) const
    {
        const a_text w1 = weights(s1);
        const a_text w2 = weights(s2);
        return int{w1 > w2} - int{w1 < w2};
    }

    a_text key(const a_text & text) const
    {
        a_text result;
        for (const a_byte weight : weights(text)) {
            if (weight >= 254) {
                result.push_back(255);
                result.push_back(weight);
            } else {
                result.push_back(static_cast<a_byte>(weight + 1));
            }
        }
        result.push_back(0);
        return result;
    }

    a_text tessel_key(const a_text & text) const
    {
        a_text result;
        for (const a_text & character : characters(text)) {
            const a_byte lead = position(character[0]);
            result.push_back(lead >= 254 ? a_byte{255} : static_cast<a_byte>(lead + 1));
            if (lead >= 254) {
                result.push_back(static_cast<a_byte>(lead + 2));
            }
            result.insert(result.end(), character.begin() + 1, character.end());
        }
        result.push_back(0);
        return result;
    }

    a_text mapped(const a_text & text, const a_byte * map) const
    {
        a_text result;
        for (const a_text & character : characters(text)) {
            // A lead byte passes even where its trailing bytes are cut off.
            const bool single = !multi_byte || packed.flags[character[0]] % 4 == 0;
            result.push_back(single ? map[character[0]] : character[0]);
            result.insert(result.end(), character.begin() + 1, character.end());
        }
        return result;
    }

    // Character by character; a cut character of the prefix matches only the end of a string.
    bool is_prefix(const a_text & prefix, const a_text & text, size_t & match_end) const
    {
        const auto wanted = characters(prefix);
        const auto there = characters(text);
        match_end = 0;
        for (size_t i = 0; i < wanted.size(); i++) {
            if (i == there.size() || weights(wanted[i]) != weights(there[i])) {
                return false;
            }
            match_end += there[i].size();
        }
        return true;
    }

    bool mapping_keeps_order() const
    {
        bool keeps = true;
        for (int b = 0; b < 256; b++) {
            const auto at = static_cast<a_byte>(b);
            keeps = keeps && position(packed.tolower[b]) == position(at) &&
                    position(packed.toupper[b]) == position(at);
        }
        return keeps;
    }
};
