// The link library as a host has it: loaded by dlopen, called through its exports, with a profile in memory.
// One LoadedLink at a time, since a callback carries no data to tell links apart.
#pragma once

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/host_profile.h"
#include "support/loaded_library.h"

namespace e2e {

using Settings = std::map<std::string, std::string>;

class LoadedLink {
public:
    explicit LoadedLink(const Settings & settings)
    {
        for (const auto & [name, value] : settings) {
            _profile.set(name, value);
        }
    }
    ~LoadedLink() { close(); }
    LoadedLink(const LoadedLink &) = delete;
    LoadedLink & operator=(const LoadedLink &) = delete;

    // Makes the link. False: there is none; reports() says why.
    [[nodiscard]] bool open(const std::string & address)
    {
        if (library().init != nullptr) {
            _link = library().init(address.c_str(), _recorder.callback(), _profile.access(), nullptr);
        }
        return _link != nullptr;
    }
    void close()
    {
        if (_link != nullptr) {
            library().fini(_link);
        }
        _link = nullptr;
    }

    [[nodiscard]] MSGRET send(const std::string & to, std::string_view text)
    {
        // A block of exactly this size, so that the sanitizers see a read behind the text.
        const std::vector<char> block(text.begin(), text.end());
        return library().send(_link, "remote", to.c_str(), block.data(), static_cast<uint32>(block.size()), 1,
                              0);
    }
    [[nodiscard]] MSGRET receive(HMSG * msg) { return library().receive(_link, msg); }
    // The text, or nothing when the link gives something other than MSG_SUCCESS.
    [[nodiscard]] std::optional<std::string> content(HMSG msg)
    {
        char * text = nullptr;
        uint32 length = 0;
        const bool read = library().content(_link, msg, &text, &length) == MSG_SUCCESS;
        return read ? std::optional(std::string(text, length)) : std::nullopt;
    }
    [[nodiscard]] MSGRET remove(HMSG msg) { return library().remove(_link, msg); }

    // All that the callback has been given, in order; with the setting Debug also the conversation.
    [[nodiscard]] const std::vector<std::string> & reports() const { return _recorder.lines(); }
    // How many reports begin with `start`.
    [[nodiscard]] int count_reports(std::string_view start) const
    {
        return static_cast<int>(
            std::count_if(reports().begin(), reports().end(),
                          [&](const std::string & report) { return report.starts_with(start); }));
    }

private:
    // Loaded once and kept: a process of a host does no other.
    static const support::LoadedLibrary & library()
    {
        static const support::LoadedLibrary loaded;
        return loaded;
    }

    support::HostProfile _profile;
    support::CallbackRecorder _recorder;
    HLINK _link = nullptr;
};

} // namespace e2e
