// The settings of a link: what the host can show of them, how a value is verified before it is stored, and
// the small functions with which the link reads and writes its profile.
//
// The tables are constant; only the two arrays of text pointers of MsgSupportedSettings are written, by one
// thread at a time. Nothing here reports to a callback. Sizes count the terminator.
#pragma once

#include <cstddef>

#include "orvlink.h"
#include "utils/etc/uttypes.h"

enum tri_bool_enum {
    ON = 0,
    OFF = 1,
    NOT_SET = 2,
};
using tri_bool = tri_bool_enum;

// A row of a table of fixed values; the end row has a null index.
struct table_lookup {
    const char * index;
    const char * value;
};

// Bytes that a host's buffer for a text has at least.
constexpr size_t SETTING_TEXT_SIZE = 256;

// Checks of a value: MSG_SUCCESS, or another result with a text for the user in `IDS`, of SETTING_TEXT_SIZE
// bytes. A text that isn't known leaves an empty string.
[[nodiscard]] MSGRET IsNumberPos(const char * value, MSGSTRING IDS);
[[nodiscard]] MSGRET IsValidIPAddress(const char * value, MSGSTRING IDS);
[[nodiscard]] MSGRET IsValidEmailAddress(const char * value, MSGSTRING IDS);
[[nodiscard]] MSGRET IsValidBoolean(const char * value, MSGSTRING IDS);

// The value of the first row with that index, ignoring case; null if there is none.
[[nodiscard]] MSGSTRING GetValueFromTable(const char * index, const table_lookup * table);

// Reads a setting into a field: an empty string if it has no value.
template<size_t size>
void ProfileRead(a_profile_rw_access * profile_access, const char * name, char (&field)[size])
{
    profile_access->profile_read(profile_access->profile_handle, name, field, size);
}

// Writes a setting, unless it has that value already but for the case of letters. `old_value` is a scratch
// buffer of `length` bytes.
void ProfileWriteIfNew(a_profile_rw_access * profile_access, const char * name, const char * new_value,
                       char * old_value, unsigned int length, a_bool use_volatile);

// yes, y, on give ON; no, n, off give OFF, ignoring case; all other texts give `value`.
[[nodiscard]] tri_bool GetBooleanFromBuffer(const char * str, tri_bool value);
[[nodiscard]] tri_bool GetBooleanFromProfile(a_profile_rw_access * profile_access, const char * profile_var,
                                             tri_bool value);

// The next serial of a message without a number of its own. The profile holds the one after it at once,
// before the message is on its way. Read and write aren't guarded: two links on one profile can draw the
// same.
[[nodiscard]] uint32 getNextOOBSerial(a_profile_rw_access * profile_access);
