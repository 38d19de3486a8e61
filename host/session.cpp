#include "session.h"

#include "diagnosis.h"
#include "exit_codes.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace orvhost {
namespace {

// The callback of the link has no argument for a host's own data, so a host with one link at a time keeps it
// here. Set while a link is being made or exists.
Session * reporting_session = nullptr;

// Nothing may be thrown through the link, hence noexcept.
short on_text(const char * text) noexcept
{
    if (reporting_session != nullptr) {
        reporting_session->report(text);
    }
    return 0;
}

} // namespace

void complain(const std::string & text)
{
    std::fprintf(stderr, "orvhost: %s\n", text.c_str());
}

const char * result_text(MSGRET result)
{
    switch (result) {
    case MSG_SUCCESS:
        return "done";
    case MSG_OUT_OF_MEMORY:
        return "out of memory";
    case MSG_NO_MESSAGE:
        return "no message";
    case MSG_NOT_SUPPORTED:
        return "not supported";
    default:
        return "failed after all retries; --debug shows what the server says";
    }
}

int exit_code_of(MSGRET result)
{
    if (result == MSG_SUCCESS) {
        return exit_ok;
    }
    return result == MSG_OUT_OF_MEMORY ? EX_TEMPFAIL : exit_failed;
}

bool is_address_text(const std::string & text)
{
    return !text.empty() && std::none_of(text.begin(), text.end(), [](char c) {
        return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
    });
}

int Session::load_library()
{
    std::string error;
    if (!_library.load(_options.link_library, error)) {
        complain(error);
        return EX_UNAVAILABLE;
    }
    return exit_ok;
}

int Session::load_profile(bool needed)
{
    if (_options.profile.empty()) {
        if (needed) {
            complain("this command needs --profile FILE");
        }
        return needed ? EX_USAGE : exit_ok;
    }
    std::string error;
    switch (_profile.load(_options.profile, error)) {
    case Profile::Load::ok:
        return exit_ok;
    case Profile::Load::unreadable:
        complain(error);
        return EX_NOINPUT;
    case Profile::Load::damaged:
        break;
    }
    complain(error);
    return EX_CONFIG;
}

// The command line goes before the profile, in memory only.
void Session::override_settings()
{
    if (_options.debug) {
        _profile.set_volatile("Debug", "yes");
    }
    if (_options.prompt) {
        _profile.set_volatile("suppress_dialogs", "no");
    } else if (_options.no_prompt || ::isatty(STDIN_FILENO) == 0) {
        _profile.set_volatile("suppress_dialogs", "yes");
    }
}

int Session::open_link(Diagnosis * diagnosis)
{
    const std::string address = _profile.get("address");
    if (!is_address_text(address)) {
        complain("the profile " + _options.profile + " needs a line like: address = sales@mail.example");
        return EX_CONFIG;
    }
    _diagnosis = diagnosis;
    override_settings();
    reporting_session = this;
    _link.emplace(_library.api(), address, on_text, _profile.access());
    if (_link->get() == nullptr) {
        _link.reset();
        if (diagnosis == nullptr) {
            complain("no link could be made; \"orvhost doctor\" tells why");
        }
        return EX_TEMPFAIL;
    }
    return exit_ok;
}

void Session::report(const char * text)
{
    if (text == nullptr) {
        std::fputs("(a text of the link is missing: are its language files installed?)\n", stderr);
        if (_diagnosis != nullptr) {
            _diagnosis->see("");
        }
        return;
    }
    // The trace of doctor goes into the account of what it means, too; that one never quotes a credential.
    const std::string shown = _mask.apply(text, _profile.secrets());
    const char * prefix = _diagnosis != nullptr ? "trace: " : "";
    std::fprintf(stderr, "%s%s\n", prefix, printable(_options.show_secrets ? text : shown.c_str()).c_str());
    if (_diagnosis != nullptr) {
        _diagnosis->see(text);
    }
}

} // namespace orvhost
