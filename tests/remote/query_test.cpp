#include "remote/query.h"

#include <gtest/gtest.h>

#include <cctype>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "remote/caseless.h"
#include "remote/unixdll.h"
#include "support/host_profile.h"
#include "support/temporary_folder.h"

namespace {

using namespace support;
using Kind = ProfileAccess::Kind;

std::string text_of(uint32 id)
{
    char text[SETTING_TEXT_SIZE] = "";
    if (id != 0)
        (void)OSLangString.GetString(id, text, sizeof(text));
    return text;
}

char * plain(const char * text)
{
    return const_cast<char *>(text);
}

TEST(Settings, EveryColumnStandsInTheRowOfItsSetting)
{
    const struct {
        const char * name;
        uint32 texts[2];
        a_bool display;
        value_types values;
    } rows[] = {
        {"TOP_supported", {6779, 6780}, 0, 0}, {"retries", {6781, 6782}, 0, 1},
        {"smtp_host", {6767, 6768}, 1, 3},     {"smtp_port", {26755, 26756}, 1, 3},
        {"pop3_host", {6771, 6772}, 1, 3},     {"pop3_port", {26757, 26758}, 1, 3},
        {"pop3_userid", {6773, 6774}, 1, 3},   {"pop3_password", {6775, 6776}, 1, 0},
        {"local_host", {6769, 6770}, 0, 0},    {"debug", {6777, 6778}, 1, 0},
        {"suppress_dialogs", {0, 0}, 0, 0},    {"save_remote_passwords", {0, 0}, 0, 0},
    };
    std::vector<char> buf(MSG_SETTINGS_BUFFER_SIZE, 'x');
    a_settings settings;
    ASSERT_EQ(MsgSupportedSettings(&settings, buf.data()), &settings);
    EXPECT_EQ(settings.count, 5);
    const char * end = buf.data();
    size_t row = 0;
    for (const auto & expected : rows) {
        EXPECT_STREQ(settings.settings[row], expected.name);
        EXPECT_EQ(settings.display[row], expected.display) << expected.name;
        EXPECT_EQ(settings.values[row], expected.values) << expected.name;
        for (const bool is_long : {false, true}) {
            const char * text = (is_long ? settings.IDS_long : settings.IDS_short)[row];
            EXPECT_EQ(text, end) << expected.name << ": the texts lie back to back";
            EXPECT_EQ(text, text_of(expected.texts[is_long])) << expected.name;
            end += std::strlen(end) + 1;
        }
        ++row;
    }
    EXPECT_EQ(settings.settings[row], nullptr);
    EXPECT_EQ(*end, 'x') << "nothing is written behind the last text";
}

TEST(Settings, VerificationFollowsItsTableWhateverTheCase)
{
    ASSERT_EQ(OSLangString.Init(), LS_INIT_OKAY);
    const struct {
        const char * setting;
        const char * value;
        MSGRET result;
        uint32 text; // 0: nothing is written
    } rows[] = {
        {"debug", "yes", 0, 0},
        {"debug", "oFF", 0, 0},
        {"debug", "true", 1, 6795},
        {"debug", "yes ", 1, 6795},
        {"top_SUPPORTED", "o", 1, 6795},
        {"retries", "letters", 0, 0},
        {"retries", "  -7 apples", 2, 6796},
        {"retries", "2147483648", 2, 6796}, // negative in 32 bits
        {"retries", "4294967296", 0, 0},    // 0 in 32 bits
        {"smtp_host", "", 0, 0},
        {"smtp_host", "a b", 2, 6798},
        {"smtp_host", "a\tb", 0, 0},
        {"pop3_host", " ", 2, 6798},
        {"local_host", "x ", 2, 6798},
        {"Address", "bob@a.example", 0, 0},
        {"address", "bob", 2, 6797},
        {"address", "bob @a", 2, 6797},
        {"pop3_userid", "any thing", 0, 0},
        {"pop3_password", "", 0, 0},
        {"smtp_port", "25", 1, 6799},
        {"suppress_dialogs", "yes", 1, 6799},
        {"", "", 1, 6799},
    };
    for (const auto & row : rows) {
        std::vector<char> ids(SETTING_TEXT_SIZE, 'x');
        EXPECT_EQ(MsgVerifySetting(plain(row.setting), plain(row.value), ids.data()), row.result)
            << row.setting << " = " << row.value;
        if (row.text == 0)
            EXPECT_EQ(ids[0], 'x') << row.setting << " = " << row.value;
        else
            EXPECT_EQ(ids.data(), text_of(row.text)) << row.setting << " = " << row.value;
    }
    EXPECT_NE(text_of(6799), "");
}

TEST(Settings, TableIsSearchedFromItsFirstRowToItsEndRow)
{
    EXPECT_STREQ(MsgQueryValue(plain("aCCEPTS bINARY")), "No");
    for (const char * index : {"", "Accepts", "Accepts Binary "})
        EXPECT_EQ(MsgQueryValue(plain(index)), nullptr) << index;
    const table_lookup table[] = {{"a", "1"}, {"A", "2"}, {nullptr, "end"}, {"b", "3"}};
    EXPECT_STREQ(GetValueFromTable("A", table), "1");
    EXPECT_EQ(GetValueFromTable("b", table), nullptr);
    EXPECT_EQ(MsgBrowseForAddress(nullptr, 0, nullptr, nullptr, nullptr, 0, 0), MSG_NOT_SUPPORTED);
}

TEST(ProfileValues, BooleanWordsAreRecognisedWholeAndOthersGiveTheDefault)
{
    const struct {
        const char * value;
        tri_bool known; // NOT_SET: the default
    } rows[] = {
        {"yes", ON},   {"Y", ON},         {"oN", ON},     {"no", OFF},    {"N", OFF},        {"OFF", OFF},
        {"", NOT_SET}, {"true", NOT_SET}, {"1", NOT_SET}, {"o", NOT_SET}, {"yess", NOT_SET},
    };
    for (const auto & row : rows) {
        for (const tri_bool otherwise : {ON, OFF, NOT_SET}) {
            const tri_bool expected = row.known == NOT_SET ? otherwise : row.known;
            EXPECT_EQ(GetBooleanFromBuffer(row.value, otherwise), expected) << row.value;
            HostProfile profile{{"key", row.value}};
            EXPECT_EQ(GetBooleanFromProfile(profile.access(), "key", otherwise), expected) << row.value;
            EXPECT_EQ(profile.accesses(), (std::vector<ProfileAccess>{{Kind::Read, "key", row.value, 20}}));
        }
    }
}

TEST(ProfileValues, SerialIsTheStoredOneAndTheNextIsStoredAtOnce)
{
    const struct {
        const char * stored;
        uint32 serial;
        const char * next;
    } rows[] = {
        {"", 0, "1"},
        {"41", 41, "42"},
        {"  7x", 7, "8"},
        {"-2147483648", 0, "1"},
        {"2147483647", 2147483647, "-2147483648"},
        {"4294967301", 5, "6"}, // 5 in 32 bits
    };
    for (const auto & row : rows) {
        HostProfile profile{{"oob_serial", row.stored}};
        EXPECT_EQ(getNextOOBSerial(profile.access()), row.serial) << row.stored;
        EXPECT_EQ(profile.accesses(), (std::vector<ProfileAccess>{{Kind::Read, "oob_serial", row.stored, 30},
                                                                  {Kind::Write, "oob_serial", row.next, 0}}));
    }
}

// Turkish has two letters each for "I" and "i", which are no case of each other.
TEST(Settings, NamesAreThoseOfAsciiInATurkishHost)
{
    const TemporaryFolder folder;
    const std::string make = "localedef -i tr_TR -f ISO-8859-9 " + folder.path("tr_TR.ISO-8859-9");
    setenv("LOCPATH", folder.path().c_str(), 1);
    if (std::system((make + " 2> /dev/null").c_str()) != 0 ||
        setlocale(LC_ALL, "tr_TR.ISO-8859-9") == nullptr) {
        GTEST_SKIP() << "no Turkish locale: package locales is missing";
    }
    ASSERT_NE(std::tolower('I'), 'i');
    char ids[SETTING_TEXT_SIZE];
    EXPECT_EQ(MsgVerifySetting(plain("POP3_USERID"), plain("x"), ids), MSG_SUCCESS);
    EXPECT_TRUE(equals_caseless("MESSAGE-ID", "message-id"));
    setlocale(LC_ALL, "C");
}

} // namespace
