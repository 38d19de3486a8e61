// library.h - the message link as a host loads it at run time: the file, its ten functions, and one open
// link.
#pragma once

#include "orvlink.h"

#include <string>

namespace orvhost {

// The ten functions of the link library. All are there after Library::load has succeeded.
struct LinkApi {
    decltype(&::MsgInitLinkV3) init_link = nullptr;
    decltype(&::MsgFiniLink) fini_link = nullptr;
    decltype(&::MsgSendV3) send = nullptr;
    decltype(&::MsgReceive) receive = nullptr;
    decltype(&::MsgContent) content = nullptr;
    decltype(&::MsgDelete) delete_message = nullptr;
    decltype(&::MsgSupportedSettings) supported_settings = nullptr;
    decltype(&::MsgVerifySetting) verify_setting = nullptr;
    decltype(&::MsgQueryValue) query_value = nullptr;
    decltype(&::MsgBrowseForAddress) browse_for_address = nullptr;
};

// The library's file name, and the place beside this program where an installation has it.
inline constexpr char library_name[] = "liborvsmtp16_r.so";
[[nodiscard]] std::string installed_library();

// Keeps the library loaded. All links must be gone before this object is.
class Library {
public:
    Library() = default;
    Library(const Library &) = delete;
    Library & operator=(const Library &) = delete;
    ~Library();

    // Loads the file `path`; with an empty path the installed one, and where there is none the one that the
    // loader finds. False: `error` says what is missing, and nothing stays loaded.
    [[nodiscard]] bool load(const std::string & path, std::string & error);

    [[nodiscard]] const LinkApi & api() const { return _api; }
    [[nodiscard]] const std::string & path() const { return _path; }

private:
    [[nodiscard]] std::string missing_function();

    void * _handle = nullptr;
    std::string _path;
    LinkApi _api;
};

// One link, ended with MsgFiniLink when this object goes: that is what makes deletions final.
class Link {
public:
    Link(const LinkApi & api, const std::string & address, MSG_CALLBACK msgcb, a_profile_rw_access * profile)
        : _api(api), _link(api.init_link(address.c_str(), msgcb, profile, nullptr))
    {
    }
    Link(const Link &) = delete;
    Link & operator=(const Link &) = delete;
    ~Link()
    {
        if (_link != nullptr) {
            _api.fini_link(_link);
        }
    }
    [[nodiscard]] HLINK get() const { return _link; } // null: no link could be made

private:
    const LinkApi & _api;
    HLINK _link;
};

} // namespace orvhost
