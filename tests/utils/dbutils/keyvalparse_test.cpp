#include "utils/dbutils/keyvalparse.h"

#include <cstring>
#include <string>

#include <gtest/gtest.h>

namespace {

const char * refuse_x(const char * value)
{
    return strcmp(value, "x") == 0 ? nullptr : value;
}

constexpr const char * COLOR_NAMES[] = {"Colour", "Tint", nullptr};
constexpr a_key_value_map TABLE[] = {
    {"Name", "n", nullptr, nullptr, FALSE},
    {"Color", nullptr, COLOR_NAMES, refuse_x, FALSE},
    {nullptr, nullptr, nullptr, nullptr, FALSE},
};

struct Parsed {
    explicit Parsed(const char * text, a_bool respect_1st = FALSE, a_bool ignore_bad = FALSE)
    {
        EXPECT_TRUE(InitSizedStringParms(&values, 2));
        result = ParseKeyValueString(text, &values, TABLE, FALSE, respect_1st, ignore_bad, nullptr);
    }
    ~Parsed() { FreeStringParms(&values); }
    Parsed(const Parsed &) = delete;
    Parsed & operator=(const Parsed &) = delete;

    std::string value(size_t slot) const
    {
        return values.string[slot] != nullptr ? values.string[slot] : "(none)";
    }
    std::string word() const { return OffendingWord(&values); }

    a_string_parms values = {};
    a_parse_ret result;
};

TEST(KeyValueParser, KeysAndValuesAreTrimmedAsTheGrammarTells)
{
    const struct {
        const char * text;
        const char * name;
        const char * color;
    } cases[] = {
        {"", "(none)", "(none)"},
        {" ;; \t;", "(none)", "(none)"},
        {"Name=a", "a", "(none)"},
        {"NAME=a;color=b", "a", "b"},
        {"n#a;TINT#b", "a", "b"},
        {";; \v\f\r\n\tName \t= \v\n\ta b \t;Colour=b \t ", "a b", "b"},
        {"Name=a;;;Name=b", "b", "(none)"},
        {"Name=a=b#c", "a=b#c", "(none)"},
        {"Name=a\v;", "a\v", "(none)"}, // only blanks and tabs are cut behind a value
        {"Name=;Color=b", "(none)", "b"},
        {"Name=a;Name=", "a", "(none)"},
        {"Name=a'b\"c", "a'b\"c", "(none)"}, // quotes inside a plain value are nothing special
        {"Name=\"a;b\" ;Color='c'", "a;b", "c"},
        {"Name=\"a\"\"b\"", "a\"b", "(none)"},
        {"Name='''a''b'''", "'a'b'", "(none)"},
        {"Name=\"\";Color=''", "(none)", "(none)"},
        {"Name=\" a \"\t ", " a ", "(none)"}, // the end of the whole text is cut before anything is read
    };
    for (const auto & row : cases) {
        const Parsed parsed(row.text);
        EXPECT_EQ(parsed.result, PARSE_OK) << row.text;
        EXPECT_EQ(parsed.value(0), row.name) << row.text;
        EXPECT_EQ(parsed.value(1), row.color) << row.text;
    }
}

TEST(KeyValueParser, RefusalsNameTheirWordAndKeepWhatCameBefore)
{
    const struct {
        const char * text;
        a_parse_ret result;
        const char * word;
    } cases[] = {
        {"Name=a;Color", PARSE_NO_EQUAL_SIGN, "Color"},
        {"Name=a;Colour;Name=b", PARSE_BAD_KEYWORD, "Colour;Name"},
        {"Name=a;Hue='b", PARSE_BAD_KEYWORD, "Hue"}, // the key is judged before its value
        {"Name=a;=b", PARSE_BAD_KEYWORD, ""},
        {"Name=a;Name\v=b", PARSE_BAD_KEYWORD, "Name\v"},
        {"Name=a;Color='b;c", PARSE_MISSING_QUOTE, "b;c"},
        {"Name=a;Color='b''", PARSE_MISSING_QUOTE, "b'"},
        {"Name=a;Color='", PARSE_MISSING_QUOTE, ""},
        {"Name=a;Color='b' c", PARSE_BAD_VALUE, "b"},
        {"Name=a;Color='b'\t;", PARSE_BAD_VALUE, "b"},
        {"Name=a;Color=x", PARSE_BAD_VALUE, "x"},
    };
    for (const auto & row : cases) {
        const Parsed parsed(row.text);
        EXPECT_EQ(parsed.result, row.result) << row.text;
        EXPECT_EQ(parsed.word(), row.word) << row.text;
        EXPECT_EQ(parsed.value(0), "a") << row.text;
        EXPECT_EQ(parsed.value(1), "(none)") << row.text;
    }
}

TEST(KeyValueParser, ALongOffendingWordIsCutToItsBuffer)
{
    const std::string key(OFFENDING_WORD_SIZE * 2, 'k');
    const Parsed parsed((key + "=1").c_str());
    EXPECT_EQ(parsed.result, PARSE_BAD_KEYWORD);
    EXPECT_EQ(parsed.word(), key.substr(0, OFFENDING_WORD_SIZE - 1));
    EXPECT_EQ(Parsed(nullptr).result, PARSE_OK);
}

TEST(KeyValueParser, ACallerMayKeepFirstValuesAndPassOverUnknownKeys)
{
    const Parsed first("Name=a;Name=b", TRUE);
    EXPECT_EQ(first.value(0), "a");
    const Parsed known("Hue='x;y';Name=a;Shade=", FALSE, TRUE);
    EXPECT_EQ(known.result, PARSE_OK);
    EXPECT_EQ(known.value(0), "a");
    const Parsed open("Hue='x;Name=a", FALSE, TRUE);
    EXPECT_EQ(open.result, PARSE_MISSING_QUOTE);
}

} // namespace
