#include "e2e/loaded_link.h"

#include <algorithm>
#include <cstdio>

#include "support/loaded_library.h"

namespace e2e {

namespace {

// Loaded once and kept: a process of a host does no other.
const support::LoadedLibrary & library()
{
    static const support::LoadedLibrary loaded;
    return loaded;
}

std::vector<std::string> & all_reports()
{
    static std::vector<std::string> reports;
    return reports;
}

short on_report(const char * text)
{
    all_reports().emplace_back(text == nullptr ? "(no text)" : text);
    return 0;
}

void read_setting(void * handle, const char * name, char * buffer, unsigned int size)
{
    const Settings & settings = *static_cast<Settings *>(handle);
    const auto found = settings.find(name);
    (void)std::snprintf(buffer, size, "%s", found == settings.end() ? "" : found->second.c_str());
}

void write_setting(void * handle, const char * name, const char * value)
{
    (*static_cast<Settings *>(handle))[name] = value;
}

} // namespace

LoadedLink::LoadedLink(Settings settings)
    : _settings(std::move(settings)), _access{&_settings, read_setting, write_setting, write_setting}
{
    all_reports().clear();
}

bool LoadedLink::open(const std::string & address)
{
    if (library().init != nullptr) {
        _link = library().init(address.c_str(), on_report, &_access, nullptr);
    }
    return _link != nullptr;
}

void LoadedLink::close()
{
    if (_link != nullptr) {
        library().fini(_link);
        _link = nullptr;
    }
}

MSGRET LoadedLink::send(const std::string & to, std::string_view text, uint32 count)
{
    // A block of exactly this size, so that the sanitizers see a read behind the text.
    const std::vector<char> block(text.begin(), text.end());
    return library().send(_link, "remote", to.c_str(), block.data(), static_cast<uint32>(block.size()), count,
                          0);
}

MSGRET LoadedLink::receive(HMSG * msg)
{
    return library().receive(_link, msg);
}

std::optional<std::string> LoadedLink::content(HMSG msg)
{
    char * text = nullptr;
    uint32 length = 0;
    if (library().content(_link, msg, &text, &length) != MSG_SUCCESS) {
        return std::nullopt;
    }
    return std::string(text, length);
}

MSGRET LoadedLink::remove(HMSG msg)
{
    return library().remove(_link, msg);
}

const std::vector<std::string> & LoadedLink::reports() const
{
    return all_reports();
}

int LoadedLink::count_reports(std::string_view start) const
{
    return static_cast<int>(
        std::count_if(all_reports().begin(), all_reports().end(),
                      [&](const std::string & report) { return report.starts_with(start); }));
}

} // namespace e2e
