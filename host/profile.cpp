#include "profile.h"

#include "file_io.h"

// Bytes pass through unchanged: the profile is in the character set of the process, whichever that is.
#define SI_NO_CONVERSION
#include <SimpleIni.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace orvhost {
namespace {

constexpr char link_section[] = "link";

[[nodiscard]] const char * section_of(const CSimpleIniA & ini)
{
    return ini.SectionExists(link_section) ? link_section : "";
}

[[nodiscard]] bool is_blank(char c)
{
    return c == ' ' || c == '\t';
}

[[nodiscard]] bool has_quotes(std::string_view value)
{
    return value.size() >= 2 && value.front() == '"' && value.back() == '"';
}

// INI files lose blanks around a value. One pair of quotation marks keeps them; a value that has a pair of
// its own gets a second one, so that reading takes off exactly what writing put on.
[[nodiscard]] std::string quoted(const std::string & value)
{
    const bool needed =
        !value.empty() && (is_blank(value.front()) || is_blank(value.back()) || has_quotes(value));
    return needed ? '"' + value + '"' : value;
}

[[nodiscard]] std::string unquoted(std::string_view value)
{
    return std::string(has_quotes(value) ? value.substr(1, value.size() - 2) : value);
}

[[nodiscard]] bool parse(const std::string & text, CSimpleIniA & ini, std::string & error)
{
    if (text.find('\0') != std::string::npos) {
        error = "binary zero in the profile";
        return false;
    }
    if (ini.LoadData(text) < 0) {
        error = "out of memory for the profile";
        return false;
    }
    return true;
}

[[nodiscard]] std::vector<ProfileValue> values_of(const CSimpleIniA & ini)
{
    CSimpleIniA::TNamesDepend keys;
    const char * section = section_of(ini);
    (void)ini.GetAllKeys(section, keys); // false: no such section, no keys
    keys.sort(CSimpleIniA::Entry::LoadOrder());
    std::vector<ProfileValue> values;
    for (const CSimpleIniA::Entry & key : keys) {
        values.push_back({key.pItem, unquoted(ini.GetValue(section, key.pItem, ""))});
    }
    return values;
}

[[nodiscard]] bool storable(const std::string & name, const std::string & value, std::string & error)
{
    if (name.empty() || name.find_first_of("=[];#\r\n") != std::string::npos) {
        error = "no name for a setting: '" + name + "'";
        return false;
    }
    if (value.find_first_of("\r\n") != std::string::npos) {
        error = "a value of one line is needed for " + name;
        return false;
    }
    return true;
}

void put(std::vector<ProfileValue> & values, std::string_view name, std::string_view value)
{
    for (ProfileValue & row : values) {
        if (same_name(row.name, name)) {
            row.value = value;
            return;
        }
    }
    values.push_back({std::string(name), std::string(value)});
}

[[nodiscard]] const std::string * find(const std::vector<ProfileValue> & values, std::string_view name)
{
    for (const ProfileValue & row : values) {
        if (same_name(row.name, name)) {
            return &row.value;
        }
    }
    return nullptr;
}

[[nodiscard]] bool same_values(const std::vector<ProfileValue> & a, const std::vector<ProfileValue> & b)
{
    return a.size() == b.size() && std::all_of(a.begin(), a.end(), [&](const ProfileValue & row) {
               const std::string * value = find(b, row.name);
               return value != nullptr && *value == row.value;
           });
}

// The three functions that the link calls. Nothing may be thrown through the link, which is built without
// exceptions: noexcept ends the program instead, with the file in its last whole state.

void read_for_link(void * handle, const char * name, char * buffer, unsigned int size) noexcept
{
    if (size == 0) {
        return;
    }
    // The link's buffers are not initialised: a setting without a value has to give an empty string.
    const std::string value = static_cast<const Profile *>(handle)->get(name);
    const size_t length = std::min<size_t>(value.size(), size - 1);
    std::memcpy(buffer, value.data(), length);
    buffer[length] = '\0';
}

void write_for_link(void * handle, const char * name, const char * value) noexcept
{
    std::string error;
    if (!static_cast<Profile *>(handle)->set(name, value, error)) {
        std::fprintf(stderr, "orvhost: the setting %s is not saved: %s\n", name, error.c_str());
    }
}

void volatile_write_for_link(void * handle, const char * name, const char * value) noexcept
{
    static_cast<Profile *>(handle)->set_volatile(name, value);
}

} // namespace

bool is_secret(std::string_view name)
{
    constexpr std::string_view word = "password";
    for (size_t at = 0; at + word.size() <= name.size(); ++at) {
        if (same_name(name.substr(at, word.size()), word)) {
            return true;
        }
    }
    return false;
}

Profile::Profile() : _access{this, read_for_link, write_for_link, volatile_write_for_link} {}

Profile::Load Profile::load(const std::string & file, std::string & error)
{
    std::string text;
    if (!read_file(file, text, error)) {
        return Load::unreadable;
    }
    CSimpleIniA ini(true);
    if (!parse(text, ini, error)) {
        error += " " + file;
        return Load::damaged;
    }
    _file = file;
    _stored = values_of(ini);
    return Load::ok;
}

std::string Profile::get(std::string_view name) const
{
    const std::string * value = find(_volatile, name);
    if (value == nullptr) {
        value = find(_stored, name);
    }
    return value != nullptr ? *value : std::string();
}

bool Profile::set(const std::string & name, const std::string & value, std::string & error)
{
    if (!save(name, value, error)) {
        set_volatile(name, value);
        return false;
    }
    std::erase_if(_volatile, [&](const ProfileValue & row) { return same_name(row.name, name); });
    return true;
}

bool Profile::save(const std::string & name, const std::string & value, std::string & error)
{
    if (_file.empty()) {
        error = "there is no profile";
        return false;
    }
    std::string text;
    CSimpleIniA before(true);
    if (!storable(name, value, error) || !read_file(_file, text, error) || !parse(text, before, error)) {
        return false;
    }
    // SimpleIni's own Save would lose comments behind the last key and lines that it can't read.
    const std::string changed = with_ini_value(text, section_of(before), name, quoted(value));
    CSimpleIniA after(true);
    if (!parse(changed, after, error)) {
        return false;
    }
    std::vector<ProfileValue> wanted = values_of(before);
    put(wanted, name, value);
    std::vector<ProfileValue> got = values_of(after);
    if (!same_values(wanted, got)) {
        error = "the file has a form that can't be changed safely";
        return false;
    }
    if (!replace_file(_file, changed, error)) {
        return false;
    }
    _stored = std::move(got);
    return true;
}

void Profile::set_volatile(std::string_view name, std::string_view value)
{
    put(_volatile, name, value);
}

std::vector<std::string> Profile::secrets() const
{
    std::vector<std::string> found;
    for (const std::vector<ProfileValue> * values : {&_stored, &_volatile}) {
        for (const ProfileValue & row : *values) {
            if (is_secret(row.name) && !row.value.empty()) {
                found.push_back(row.value);
            }
        }
    }
    return found;
}

} // namespace orvhost
