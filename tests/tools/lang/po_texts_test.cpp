#include "tools/lang/po_texts.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>

namespace {

class PoFile : public testing::Test {
protected:
    ~PoFile() override { (void)std::remove(_path.c_str()); }

    a_po_result read(const std::string & entries)
    {
        std::ofstream(_path) << "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=UTF-8\\n\"\n\n"
                             << entries;
        return read_po_texts(_path.c_str());
    }

    static std::string entry(const std::string & id, const std::string & text,
                             const std::string & translation = "",
                             const std::string & comment = "#. Arguments: none")
    {
        return comment + "\nmsgctxt \"" + id + "\"\nmsgid \"" + text + "\"\nmsgstr \"" + translation +
               "\"\n\n";
    }

    const std::string _path = testing::TempDir() + "po_texts_" +
                              testing::UnitTest::GetInstance()->current_test_info()->name() + ".po";
};

} // namespace

TEST(Placeholders, OnlyDeclaredOnesPass)
{
    const struct {
        const char * text;
        const char * comments;
        bool good;
    } rows[] = {
        {"plain", "Arguments: none", true},
        {"plain", "a comment\nArguments: %1!d! the number\n", true}, // a text may leave arguments out
        {"%2 %1!d!", "Arguments: %1!d! the number, %2 the name", true},
        {"100%%!", "Arguments: none", true},
        {"plain", "", false},
        {"plain", "a comment", false},
        {"%1", "Arguments: none", false},
        {"%1", "Arguments: %1!d! the number", false}, // a number read as a string
        {"%1!d!", "Arguments: %1 the name", false},
        {"%1!u!", "Arguments: %1!d! the number", false},
        {"%2", "Arguments: %1 the name", false},
        {"%1 %1", "Arguments: %1 the name", false},
        {"100%", "Arguments: none", false},
        {"%0", "Arguments: none", false},
        {"%1!x!", "Arguments: %1 the name", false},
        {"%1!d", "Arguments: %1!d! the number", false},
    };
    for (const auto & row : rows) {
        EXPECT_EQ(placeholder_fault(row.text, row.comments).empty(), row.good)
            << row.text << " / " << row.comments;
    }
}

TEST_F(PoFile, TextsComeSortedWithTheTranslationInPlaceOfTheEnglish)
{
    const a_po_result result =
        read(entry("20", "second", "zweiter") + entry("3", "first") + "#, fuzzy\n" +
             entry("40", "third", "falsch") + "#~ msgctxt \"50\"\n#~ msgid \"gone\"\n#~ msgstr \"\"\n");
    EXPECT_TRUE(result.faults.empty());
    ASSERT_EQ(result.texts.size(), 3u);
    EXPECT_EQ(result.texts[0].id, 3);
    EXPECT_EQ(result.texts[0].text, "first");
    EXPECT_EQ(result.texts[1].text, "zweiter");
    EXPECT_EQ(result.texts[2].text, "third"); // a guess of a merging tool isn't a translation
}

TEST_F(PoFile, FaultsAreToldWithTheirNumber)
{
    const std::string longest(max_text_length, 'x');
    const struct {
        std::string entries;
        const char * fault; // part of it; null for none
    } rows[] = {
        {entry("7", longest), nullptr},
        {entry("65535", "x"), nullptr},
        {entry("7", longest + "x"), "7: a text of 256 bytes"},
        {entry("7", "short", longest + "x"), nullptr}, // a translation is measured in its character set
        {entry("7", "a\\nb"), "7: a control character"},
        {entry("7", "%1 and %2!d!", "%2!d! und %1", "#. Arguments: %1 a, %2!d! b"), nullptr},
        {entry("7", "%1", "nichts", "#. Arguments: %1 a"), "aren't those of the English text"},
        {entry("7", "nothing", "mit %1", "#. Arguments: %1 a"), "aren't those of the English text"},
        {entry("7", "one") + entry("8", "two") + entry("7", "other"), "7: the number stands twice"},
        {entry("0", "x"), "msgctxt isn't a number"},
        {entry("65536", "x"), "msgctxt isn't a number"},
        {entry("12a", "x"), "msgctxt isn't a number"},
        {"msgid \"x\"\nmsgstr \"\"\n", "msgctxt isn't a number"},
        {entry("5000", "160"), "belongs to the language files"},
        {entry("8643", "x"), "belongs to the language files"},
        {entry("9", "fine", "%1 isn't passed"), "9: %1"},
        {entry("9", "x", "", "# no arguments told"), "9: no comment"},
        {"msgctxt \"9\"\nmsgid \"not closed\n", ":"},
    };
    for (const auto & row : rows) {
        const a_po_result result = read(row.entries);
        if (row.fault == nullptr) {
            EXPECT_TRUE(result.faults.empty()) << row.entries;
        } else {
            ASSERT_FALSE(result.faults.empty()) << row.entries;
            EXPECT_NE(result.faults[0].find(row.fault), std::string::npos) << result.faults[0];
        }
    }
}

TEST_F(PoFile, MissingFileIsAFault)
{
    EXPECT_FALSE(read_po_texts("/nonexistent/en.po").faults.empty());
}

TEST(EnglishTexts, AreAllReadAndFreeOfFaults)
{
    const a_po_result result = read_po_texts(ORV_SOURCE_DIR "/lang/en.po");
    EXPECT_TRUE(result.faults.empty());
    EXPECT_GT(result.texts.size(), 60u);
}
