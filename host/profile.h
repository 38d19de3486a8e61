// profile.h - the profile of a link, kept in an INI file, and the access record through which the link uses
// it.
//
// Keys are compared ignoring the case of ASCII letters: the link asks for "Debug" where its settings table
// says "debug". The profile is the section [link] if the file has one, otherwise the part in front of the
// first section. Other sections, unknown keys and comments stay as they are. The host's own address is the
// key "address". A value with blanks at its ends, or with a quotation mark at both ends, stands in a pair of
// quotation marks.
//
// The file is written only when the link saves a value, in one step (file_io.h), with mode 0600 since it
// holds passwords. It is read again before that, so that an edit made meanwhile isn't undone. One host per
// profile: two would draw the same serials from it.
//
// One thread at a time, the one on which the link works.
#pragma once

#include "ini_edit.h"
#include "orvlink.h"

#include <string>
#include <string_view>
#include <vector>

namespace orvhost {

// A setting whose value isn't shown: its name has "password" in it.
[[nodiscard]] bool is_secret(std::string_view name);

struct ProfileValue {
    std::string name;
    std::string value;
};

class Profile {
public:
    Profile();
    Profile(const Profile &) = delete; // the access record points to this object
    Profile & operator=(const Profile &) = delete;

    enum class Load { ok, unreadable, damaged };
    // Reads the file; until then the profile is empty and has no file. On failure `error` says why and the
    // profile is as before.
    [[nodiscard]] Load load(const std::string & file, std::string & error);

    // The value of a key: a volatile one goes before one of the file. Empty if there is neither.
    [[nodiscard]] std::string get(std::string_view name) const;

    // Keeps a value in the file. False: `error` says why; this run goes on with the value all the same.
    bool set(const std::string & name, const std::string & value, std::string & error);

    // Keeps a value for this run only.
    void set_volatile(std::string_view name, std::string_view value);

    [[nodiscard]] const std::vector<ProfileValue> & stored() const { return _stored; }

    // All passwords known to this run, for masking.
    [[nodiscard]] std::vector<std::string> secrets() const;

    // What the link gets; good as long as this object is. Write failures are told on standard error.
    [[nodiscard]] a_profile_rw_access * access() { return &_access; }

private:
    [[nodiscard]] bool save(const std::string & name, const std::string & value, std::string & error);

    std::string _file;
    std::vector<ProfileValue> _stored;
    std::vector<ProfileValue> _volatile;
    a_profile_rw_access _access;
};

} // namespace orvhost
