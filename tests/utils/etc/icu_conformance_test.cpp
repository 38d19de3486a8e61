// UCA collations against ICU itself, on strings made of the entries of Unicode's table of collation elements
// (allkeys.txt, package unicode-data): every script, contractions, what is ignored.
#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <unicode/ucol.h>

#include <gtest/gtest.h>

#include "platform/icu/allkeys.h"
#include "utils/etc/utcollation.h"
#include "utils/locale/fake_icu.h"
#include "utils/locale/tailoring.h"

namespace {

// A text in a character set, and what it is in Unicode.
struct a_text {
    std::string bytes;
    icu::UnicodeString unicode;
};

// Texts of a few entries each, of those that the character set has.
class Texts {
public:
    explicit Texts(const CharsetInfo & charset) : _charset(charset), _random(2206)
    {
        for (const icu::UnicodeString & entry : AllKeys()) {
            std::string bytes;
            if (append(bytes, entry)) {
                _entries.push_back({bytes, entry});
            }
        }
    }
    a_text next()
    {
        a_text text;
        for (size_t count = 1 + _random() % 5; count > 0; count--) {
            const a_text & entry = _entries[_random() % _entries.size()];
            text.bytes += entry.bytes;
            text.unicode += entry.unicode;
        }
        return text;
    }
    // Mostly the same text, so that the lower levels decide.
    a_text near(const a_text & text)
    {
        if (_random() % 3 == 0) {
            return next();
        }
        const a_text more = next();
        return _random() % 2 != 0 ? a_text{text.bytes + more.bytes, text.unicode + more.unicode}
                                  : a_text{more.bytes + text.bytes, more.unicode + text.unicode};
    }

private:
    bool append(std::string & bytes, const icu::UnicodeString & text) const
    {
        if (_charset.is_mbcs()) {
            text.toUTF8String(bytes);
            return true;
        }
        const a_utf16 * const upper = _charset.to_utf16_upper128();
        for (int32_t i = 0; i < text.length(); i++) {
            const UChar c = text[i];
            const a_utf16 * const found = std::find(upper, upper + 128, c);
            if (c >= 0x80 && found == upper + 128) {
                return false;
            }
            bytes += static_cast<char>(c < 0x80 ? c : 0x80 + (found - upper));
        }
        return true;
    }

    const CharsetInfo & _charset;
    std::vector<a_text> _entries;
    std::mt19937_64 _random;
};

struct a_tailoring {
    const char * options;
    const char * locale;
    std::vector<std::pair<UColAttribute, UColAttributeValue>> attributes;
};

const std::vector<a_tailoring> & tailorings()
{
    using Pair = std::pair<UColAttribute, UColAttributeValue>;
    constexpr Pair primary = {UCOL_STRENGTH, UCOL_PRIMARY};
    constexpr Pair secondary = {UCOL_STRENGTH, UCOL_SECONDARY};
    constexpr Pair shifted = {UCOL_ALTERNATE_HANDLING, UCOL_SHIFTED};
    constexpr Pair upper = {UCOL_CASE_FIRST, UCOL_UPPER_FIRST};
    constexpr Pair lower = {UCOL_CASE_FIRST, UCOL_LOWER_FIRST};
    constexpr Pair french = {UCOL_FRENCH_COLLATION, UCOL_ON};
    static const std::vector<a_tailoring> all = {
        {"", "", {primary}},
        {"Case=yes", "", {primary, upper, {UCOL_CASE_LEVEL, UCOL_ON}}},
        {"Accent=yes;Punct=off", "", {secondary, shifted}},
        {"Locale=fr_CA;Case=yes;Accent=f", "fr_CA", {upper, french}},
        {"Case=aA;Accent=yes;Punct=Quaternary", "", {{UCOL_STRENGTH, UCOL_QUATERNARY}, shifted, lower}},
        {"Locale=de;SortType=phonebook;Case=yes;Accent=yes", "de@collation=phonebook", {upper}},
        {"Locale=sv;Case=yes;Accent=yes", "sv", {upper}},
        {"Locale=ja;Accent=yes", "ja", {secondary}},
        {"Locale=es;SortType=traditional;Accent=yes", "es@collation=traditional", {secondary}},
    };
    return all;
}

// ICU's own collator, made by ICU's own means.
struct CollatorCloser {
    void operator()(UCollator * collator) const { ucol_close(collator); }
};
std::unique_ptr<UCollator, CollatorCloser> open_collator(const a_tailoring & tailoring)
{
    UErrorCode error = U_ZERO_ERROR;
    std::unique_ptr<UCollator, CollatorCloser> collator(ucol_open(tailoring.locale, &error));
    ucol_setAttribute(collator.get(), UCOL_ALTERNATE_HANDLING, UCOL_NON_IGNORABLE, &error);
    for (const auto & [attribute, value] : tailoring.attributes) {
        ucol_setAttribute(collator.get(), attribute, value, &error);
    }
    EXPECT_TRUE(U_SUCCESS(error)) << tailoring.options;
    return collator;
}

std::string icu_key(const UCollator * collator, const icu::UnicodeString & text)
{
    a_byte key[4000];
    const int32_t length = ucol_getSortKey(collator, text.getBuffer(), text.length(), key, sizeof key);
    return {reinterpret_cast<const char *>(key), static_cast<size_t>(length)};
}

int sign(int order)
{
    return (order > 0) - (order < 0);
}

void check_texts(const UTCollation & uca, const UCollator * collator, Texts & texts)
{
    for (int i = 0; i < 1500; i++) {
        const a_text t1 = texts.next();
        const a_text t2 = texts.near(t1);
        ASSERT_EQ(sign(uca.trancmp(t1.bytes.data(), t1.bytes.size(), t2.bytes.data(), t2.bytes.size())),
                  ucol_strcoll(collator, t1.unicode.getBuffer(), t1.unicode.length(), t2.unicode.getBuffer(),
                               t2.unicode.length()))
            << t1.bytes << " " << t2.bytes;
        a_byte key[4000];
        const size_t length = uca.sortkey_prefix(
            key, sizeof key, reinterpret_cast<const a_byte *>(t1.bytes.data()), t1.bytes.size());
        ASSERT_EQ(std::string(reinterpret_cast<char *>(key), length), icu_key(collator, t1.unicode))
            << t1.bytes;
    }
}

TEST(IcuConformance, OrderAndKeysAreIcusInEveryTailoring)
{
    LocaleWithBuiltIcu locale;
    if (!locale.has_icu() || AllKeys().empty()) {
        GTEST_SKIP() << "no ICU was built, or no unicode-data";
    }
    for (const char * label : {"UTF-8", "windows-1252", "ISO-8859-7", "KOI8-R", "windows-1256"}) {
        const CharsetInfo * const charset = UTLocale::GetCharsetInfoFromLabel(label, CS_STD_ANY);
        Texts texts(*charset);
        for (const a_tailoring & tailoring : tailorings()) {
            SCOPED_TRACE(std::string(label) + " " + tailoring.options);
            UTCollation uca(nullptr);
            const UTCollationTailoring options(tailoring.options);
            ASSERT_TRUE(uca.set_collation(&locale, UTLocale::GetCollationInfoFromLabel("UCA"), charset,
                                          nullptr, options, FALSE));
            check_texts(uca, open_collator(tailoring).get(), texts);
        }
    }
}

} // namespace
