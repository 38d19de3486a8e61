#include "remote/query.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <strings.h>

#include "remote/caseless.h"
#include "remote/unixdll.h"
#include "utils/etc/native32.h"

namespace {

constexpr uint32 STR_NOT_BOOLEAN = 6795;
constexpr uint32 STR_NOT_POSITIVE = 6796;
constexpr uint32 STR_NOT_AN_ADDRESS = 6797;
constexpr uint32 STR_NOT_A_HOST = 6798;
constexpr uint32 STR_UNKNOWN_SETTING = 6799;

// The longest boolean and the longest number that a profile holds, with some room for blanks nobody asked
// for.
constexpr size_t BOOLEAN_SIZE = 20;
constexpr size_t SERIAL_SIZE = 30;

// Hosts were built for five settings when this field was fixed; the null name ends the list.
constexpr uint16 SETTINGS_COUNT = 5;

struct a_setting {
    const char * name;
    uint32 short_text; // 0: none
    uint32 long_text;
    a_bool display;
    value_types values;
};

constexpr a_setting all_settings[] = {
    // name, short text, long text, display, values
    {"TOP_supported", 6779, 6780, 0, 0}, {"retries", 6781, 6782, 0, 1},
    {"smtp_host", 6767, 6768, 1, 3},     {"smtp_port", 26755, 26756, 1, 3},
    {"pop3_host", 6771, 6772, 1, 3},     {"pop3_port", 26757, 26758, 1, 3},
    {"pop3_userid", 6773, 6774, 1, 3},   {"pop3_password", 6775, 6776, 1, 0},
    {"local_host", 6769, 6770, 0, 0},    {"debug", 6777, 6778, 1, 0},
    {"suppress_dialogs", 0, 0, 0, 0},    {"save_remote_passwords", 0, 0, 0, 0},
};
constexpr size_t SETTINGS = std::size(all_settings);
static_assert(SETTINGS == 12);
static_assert(MSG_SETTINGS_BUFFER_SIZE == 2 * SETTING_TEXT_SIZE * SETTINGS);

// One column of the settings as an array of its own, with room for an end row, as hosts want them.
template<typename T> constexpr std::array<T, SETTINGS + 1> column(T a_setting::*member)
{
    std::array<T, SETTINGS + 1> values{};
    for (size_t row = 0; row < SETTINGS; ++row) {
        values[row] = all_settings[row].*member;
    }
    return values;
}
constexpr std::array<const char *, SETTINGS + 1> smtp_settings = column(&a_setting::name);
constexpr std::array<uint32, SETTINGS + 1> smtp_IDS_short = column(&a_setting::short_text);
constexpr std::array<uint32, SETTINGS + 1> smtp_IDS_long = column(&a_setting::long_text);
constexpr std::array<a_bool, SETTINGS + 1> smtp_display = column(&a_setting::display);
constexpr std::array<value_types, SETTINGS + 1> smtp_values = column(&a_setting::values);

// Where the texts of the latest MsgSupportedSettings lie.
char * smtp_localstr_short[SETTINGS + 1];
char * smtp_localstr_long[SETTINGS + 1];

constexpr table_lookup smtp_table[] = {
    {"Accepts Binary", "No"},
    {nullptr, nullptr},
};

using a_check = MSGRET(const char * value, MSGSTRING IDS);

MSGRET accept_anything(const char * /*value*/, MSGSTRING /*IDS*/)
{
    return MSG_SUCCESS;
}

constexpr struct {
    const char * setting;
    a_check * check;
} smtp_checks[] = {
    {"debug", IsValidBoolean},        {"TOP_supported", IsValidBoolean}, {"retries", IsNumberPos},
    {"smtp_host", IsValidIPAddress},  {"pop3_host", IsValidIPAddress},   {"local_host", IsValidIPAddress},
    {"address", IsValidEmailAddress}, {"pop3_userid", accept_anything},  {"pop3_password", accept_anything},
};

bool is_one_of(const char * str, std::initializer_list<const char *> words)
{
    for (const char * word : words) {
        if (equals_caseless(str, word)) {
            return true;
        }
    }
    return false;
}

bool has_blank(const char * value)
{
    return std::strchr(value, ' ') != nullptr;
}

// Puts a text where the host wants it; a text that isn't known leaves an empty string.
void get_text(uint32 id, char * buffer)
{
    buffer[0] = '\0';
    if (id != 0) {
        (void)OSLangString.GetString(id, buffer, SETTING_TEXT_SIZE);
    }
}

MSGRET refuse(MSGRET ret, uint32 id, MSGSTRING IDS)
{
    get_text(id, IDS);
    return ret;
}

// Puts the text of a setting at the end of the texts so far; the result is the new end.
char * append_text(uint32 id, char * end, char ** where)
{
    get_text(id, end);
    *where = end;
    return end + std::strlen(end) + 1;
}

} // namespace

MSGSETTING MsgSupportedSettings(MSGSETTING settings, char * buf)
{
    (void)OSLangString.Init(); // without language files the texts are empty
    // Hosts see plain pointers; the library's constants stay constants behind them.
    settings->count = SETTINGS_COUNT;
    settings->settings = const_cast<char **>(smtp_settings.data());
    settings->display = const_cast<a_bool *>(smtp_display.data());
    settings->values = const_cast<value_types *>(smtp_values.data());
    char * end = buf;
    for (size_t row = 0; smtp_settings[row] != nullptr; ++row) {
        end = append_text(smtp_IDS_short[row], end, &smtp_localstr_short[row]);
        end = append_text(smtp_IDS_long[row], end, &smtp_localstr_long[row]);
    }
    settings->IDS_short = smtp_localstr_short;
    settings->IDS_long = smtp_localstr_long;
    return settings;
}

MSGRET MsgVerifySetting(MSGSTRING setting, MSGSTRING value, MSGSTRING IDS)
{
    for (const auto & row : smtp_checks) {
        if (equals_caseless(setting, row.setting)) {
            return row.check(value, IDS);
        }
    }
    return refuse(1, STR_UNKNOWN_SETTING, IDS);
}

MSGSTRING MsgQueryValue(MSGSTRING index)
{
    return GetValueFromTable(index, smtp_table);
}

MSGRET MsgBrowseForAddress(HLINK /*link*/, uint32 /*uiparam*/, const char * /*dlgcaption*/,
                           const char * /*dlgprompt*/, char * /*address*/, uint32 /*addresslen*/,
                           uint32 /*reserved*/)
{
    return MSG_NOT_SUPPORTED;
}

MSGRET IsNumberPos(const char * value, MSGSTRING IDS)
{
    if (static_cast<int32>(std::strtol(value, nullptr, 10)) < 0) {
        return refuse(2, STR_NOT_POSITIVE, IDS);
    }
    return MSG_SUCCESS;
}

MSGRET IsValidIPAddress(const char * value, MSGSTRING IDS)
{
    if (has_blank(value)) {
        return refuse(2, STR_NOT_A_HOST, IDS);
    }
    return MSG_SUCCESS;
}

MSGRET IsValidEmailAddress(const char * value, MSGSTRING IDS)
{
    if (std::strchr(value, '@') == nullptr || has_blank(value)) {
        return refuse(2, STR_NOT_AN_ADDRESS, IDS);
    }
    return MSG_SUCCESS;
}

MSGRET IsValidBoolean(const char * value, MSGSTRING IDS)
{
    if (!is_one_of(value, {"yes", "y", "no", "n", "on", "off"})) {
        return refuse(1, STR_NOT_BOOLEAN, IDS);
    }
    return MSG_SUCCESS;
}

MSGSTRING GetValueFromTable(const char * index, const table_lookup * table)
{
    for (const table_lookup * row = table; row->index != nullptr; ++row) {
        if (equals_caseless(row->index, index)) {
            return const_cast<char *>(row->value); // hosts see a plain pointer
        }
    }
    return nullptr;
}

void ProfileWriteIfNew(a_profile_rw_access * profile_access, const char * name, const char * new_value,
                       char * old_value, unsigned int length, a_bool use_volatile)
{
    profile_access->profile_read(profile_access->profile_handle, name, old_value, length);
    if (strcasecmp(new_value, old_value) == 0) {
        return;
    }
    write_func * write =
        use_volatile ? profile_access->profile_volatile_write : profile_access->profile_write;
    write(profile_access->profile_handle, name, new_value);
}

tri_bool GetBooleanFromBuffer(const char * str, tri_bool value)
{
    if (is_one_of(str, {"yes", "y", "on"})) {
        return ON;
    }
    return is_one_of(str, {"no", "n", "off"}) ? OFF : value;
}

tri_bool GetBooleanFromProfile(a_profile_rw_access * profile_access, const char * profile_var, tri_bool value)
{
    char text[BOOLEAN_SIZE];
    ProfileRead(profile_access, profile_var, text);
    return GetBooleanFromBuffer(text, value);
}

uint32 getNextOOBSerial(a_profile_rw_access * profile_access)
{
    char text[SERIAL_SIZE];
    ProfileRead(profile_access, "oob_serial", text);
    int32 serial = -1;
    if (text[0] != '\0') {
        serial = static_cast<int32>(std::strtol(text, nullptr, 10));
    }
    if (serial < 0) {
        serial = 0; // none yet, or the numbers have run out: start again
    }
    // Behind the last positive number a negative one is written, which starts the numbers again.
    const auto next = static_cast<int32>(static_cast<uint32>(serial) + 1);
    profile_access->profile_write(profile_access->profile_handle, "oob_serial", i32toa(next, text, 10));
    return static_cast<uint32>(serial);
}
