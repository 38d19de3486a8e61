// session.h - what every command of orvhost shares: the options, the loaded library, the profile, and the
// callback.
//
// Functions that return an exit code have told on standard error what went wrong.
#pragma once

#include "library.h"
#include "profile.h"
#include "trace_mask.h"

#include <optional>
#include <string>

namespace orvhost {

class Diagnosis;

struct Options {
    std::string link_library;
    std::string profile;
    bool debug = false;
    bool show_secrets = false;
    bool prompt = false;
    bool no_prompt = false;
};

// "orvhost: `text`" on standard error.
void complain(const std::string & text);

// The reason behind a failing result of the link, and the exit code for it.
[[nodiscard]] const char * result_text(MSGRET result);
[[nodiscard]] int exit_code_of(MSGRET result);

// True if a text can stand in a command of SMTP: not empty, one line, and no control characters.
[[nodiscard]] bool is_address_text(const std::string & text);

// One run of a command. The order of the members is that of their lives: the link goes first, the library
// last.
class Session {
public:
    explicit Session(const Options & options) : _options(options) {}

    [[nodiscard]] int load_library();

    // Reads the file of --profile. Without one the profile stays empty, which is a usage error if `needed`.
    [[nodiscard]] int load_profile(bool needed);

    // Makes the link. `diagnosis`, which may be null, sees every text of the link from now on.
    [[nodiscard]] int open_link(Diagnosis * diagnosis);

    // Ends the link now.
    void close_link() { _link.reset(); }

    // Only after open_link has succeeded, and until close_link.
    [[nodiscard]] HLINK link() const { return _link->get(); }
    [[nodiscard]] const LinkApi & api() const { return _library.api(); }
    [[nodiscard]] const Library & link_library() const { return _library; }
    [[nodiscard]] Profile & profile() { return _profile; }

    // A text of the link for a person, on standard error, credentials masked.
    void report(const char * text);

private:
    void override_settings();

    const Options & _options;
    Library _library;
    Profile _profile;
    TraceMask _mask;
    Diagnosis * _diagnosis = nullptr;
    std::optional<Link> _link;
};

} // namespace orvhost
