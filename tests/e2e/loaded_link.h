// loaded_link.h - the link library as a host has it: loaded by dlopen, called through its ten exports, with a
// profile in memory. One LoadedLink at a time, since a callback carries no data to tell links apart.
#pragma once

#include "orvlink.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace e2e {

using Settings = std::map<std::string, std::string>;

class LoadedLink {
public:
    explicit LoadedLink(Settings settings);
    ~LoadedLink() { close(); }
    LoadedLink(const LoadedLink &) = delete;
    LoadedLink & operator=(const LoadedLink &) = delete;

    // Makes the link. False: there is none; reports() says why, dlerror() when the library can't be loaded.
    [[nodiscard]] bool open(const std::string & address);
    void close();

    [[nodiscard]] MSGRET send(const std::string & to, std::string_view text, uint32 count = 1);
    [[nodiscard]] MSGRET receive(HMSG * msg);
    // The text, or nothing when the link gives something other than MSG_SUCCESS.
    [[nodiscard]] std::optional<std::string> content(HMSG msg);
    [[nodiscard]] MSGRET remove(HMSG msg);

    // All that the callback has been given, in order; with the setting Debug also the conversation.
    [[nodiscard]] const std::vector<std::string> & reports() const;
    // How many reports begin with `start`.
    [[nodiscard]] int count_reports(std::string_view start) const;

private:
    Settings _settings;
    a_profile_rw_access _access;
    HLINK _link = nullptr;
};

} // namespace e2e
