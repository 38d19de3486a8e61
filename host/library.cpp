#include "library.h"

#include <dlfcn.h>

#include <filesystem>

namespace orvhost {
namespace {

template<typename Function> [[nodiscard]] bool resolve(void * handle, const char * name, Function & slot)
{
    slot = reinterpret_cast<Function>(::dlsym(handle, name));
    return slot != nullptr;
}

} // namespace

std::string installed_library()
{
    std::error_code failed;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", failed);
    if (failed) {
        return {};
    }
    return (program.parent_path().parent_path() / "lib64" / library_name).string();
}

Library::~Library()
{
    if (_handle != nullptr) {
        (void)::dlclose(_handle); // the program ends; there is nobody to tell
    }
}

bool Library::load(const std::string & path, std::string & error)
{
    _path = path.empty() ? installed_library() : path;
    std::error_code ignored; // a file that can't be looked at isn't there for us either
    if (path.empty() && !std::filesystem::exists(_path, ignored)) {
        _path = library_name;
    }
    // Without a slash dlopen searches the loader's path; a file that the user names is meant as a file.
    const bool as_file = !path.empty() && path.find('/') == std::string::npos;
    _handle = ::dlopen((as_file ? "./" + _path : _path).c_str(), RTLD_NOW | RTLD_LOCAL);
    if (_handle == nullptr) {
        const char * reason = ::dlerror();
        error = "can't load the message link: " + std::string(reason != nullptr ? reason : _path.c_str());
        return false;
    }
    const std::string missing = missing_function();
    if (!missing.empty()) {
        error = _path + " is no message link of this version: it has no function " + missing;
        (void)::dlclose(_handle);
        _handle = nullptr;
        return false;
    }
    return true;
}

std::string Library::missing_function()
{
    const struct {
        const char * name;
        bool found;
    } functions[] = {
        {"MsgInitLinkV3", resolve(_handle, "MsgInitLinkV3", _api.init_link)},
        {"MsgFiniLink", resolve(_handle, "MsgFiniLink", _api.fini_link)},
        {"MsgSendV3", resolve(_handle, "MsgSendV3", _api.send)},
        {"MsgReceive", resolve(_handle, "MsgReceive", _api.receive)},
        {"MsgContent", resolve(_handle, "MsgContent", _api.content)},
        {"MsgDelete", resolve(_handle, "MsgDelete", _api.delete_message)},
        {"MsgSupportedSettings", resolve(_handle, "MsgSupportedSettings", _api.supported_settings)},
        {"MsgVerifySetting", resolve(_handle, "MsgVerifySetting", _api.verify_setting)},
        {"MsgQueryValue", resolve(_handle, "MsgQueryValue", _api.query_value)},
        {"MsgBrowseForAddress", resolve(_handle, "MsgBrowseForAddress", _api.browse_for_address)},
    };
    for (const auto & function : functions) {
        if (!function.found) {
            return function.name;
        }
    }
    return {};
}

} // namespace orvhost
