// Stored custom collations, whose texts, sensitivities and tables come from outside, and the collation made
// of one at work on the bytes behind it.
//
// Input: a stored record, then text. The record is read from exactly its bytes, and once more with the text
// behind it, where it must be refused.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "require.h"
#include "utils/etc/utcollation.h"
#include "utils/etc/utstream.h"
#include "utils/locale/tailoring.h"

namespace {

constexpr std::size_t STORED_SIZE = sizeof(a_collation_defn_head) + sizeof(a_custom_collation_info);

int sign(int value)
{
    return (value > 0) - (value < 0);
}

// Blocks of their exact size, so that a sanitizer sees the first byte behind them.
using a_text = std::vector<a_byte>;

a_text key_of(const UTCollation & collation, const a_text & text)
{
    a_text key(2 * text.size() + 1);
    key.resize(collation.sortkey_prefix(key.data(), key.size(), text.data(), text.size()));
    return key;
}

void compare(const UTCollation & collation, const a_text & s1, const a_text & s2)
{
    const int order = sign(collation.trancmp(s1.data(), s1.size(), s2.data(), s2.size()));
    UTBufIStream i1(s1.data(), s1.size());
    UTBufIStream i2(s2.data(), s2.size());
    require(sign(collation.trancmp(i1, i2)) == order);
    (void)collation.tranncmp(s1.data(), s2.data(), std::min(s1.size(), s2.size()));
    const a_byte * left1 = nullptr;
    const a_byte * left2 = nullptr;
    (void)collation.compare_character(s1.data(), s1.data() + s1.size(), &left1, s2.data(),
                                      s2.data() + s2.size(), &left2);
    require(left1 <= s1.data() + s1.size() && left2 <= s2.data() + s2.size());
    a_byte * match_end = nullptr;
    (void)collation.is_prefix(s1.data(), s1.data() + s1.size(), s2.data(), s2.data() + s2.size(), &match_end);
    require(match_end >= s2.data() && match_end <= s2.data() + s2.size());
    // Tables that give two lead bytes of different length one position have no order to keep.
    const a_text k1 = key_of(collation, s1);
    const a_text k2 = key_of(collation, s2);
    require(k1.back() == 0 && k2.back() == 0);
    require(collation.charset()->is_mbcs() || sign(int{k1 > k2} - int{k1 < k2}) == order);
}

void map(const UTCollation & collation, const a_text & text)
{
    a_text mapped(text.size());
    require(collation.str_toupper(mapped.data(), mapped.size(), text.data(), text.size()) == text.size());
    a_text streamed(text.size());
    UTBufIStream input(text.data(), text.size());
    UTBufOStream output(streamed.data(), streamed.size());
    require(collation.str_toupper(output, input) == text.size() && streamed == mapped);
    (void)collation.num_characters(text.data(), text.size());
    (void)collation.id_hash(text.data(), text.size());
    a_text back(9);
    collation.hist_unhash(collation.hist_hash(text.data(), text.size(), 0, 8), back.data(), back.size(), 0,
                          8);
}

void work_with(const a_custom_collation_info & record, const a_text & text)
{
    const CollationInfo custom(&record);
    const UTCollationTailoring tailoring(record.case_sensitivity, record.accent_sensitivity,
                                         record.punctuation_sensitivity);
    UTCollation collation(nullptr);
    if (!custom.IsLegacyCollation() ||
        !collation.set_collation(nullptr, &custom, custom.required_charset(), nullptr, tailoring, FALSE)) {
        return;
    }
    const auto half = text.begin() + static_cast<std::ptrdiff_t>(text.size() / 2);
    compare(collation, {text.begin(), half}, {half, text.end()});
    map(collation, text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * data, std::size_t size)
{
    const std::size_t stored = std::min(size, STORED_SIZE);
    const a_text text(data + stored, data + size);
    a_custom_collation_info record;
    if (!text.empty()) {
        UTBufIStream longer(data, size);
        require(!record.deserialize(longer));
    }
    const a_text exact(data, data + stored);
    UTBufIStream input(exact.data(), exact.size());
    const bool accepted = record.deserialize(input);
    require(accepted == (size >= STORED_SIZE && data[0] == 2 && data[1] == 0));
    if (accepted) {
        a_text back(STORED_SIZE);
        UTBufOStream output(back.data(), back.size());
        require(record.serialize(output) && back == exact);
        work_with(record, text);
    }
    return 0;
}
