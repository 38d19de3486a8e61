#include "support/host_profile.h"

#include <algorithm>
#include <cstring>
#include <ostream>

namespace support {

namespace {

thread_local CallbackRecorder * recorder_of_thread = nullptr;

} // namespace

std::ostream & operator<<(std::ostream & out, const ProfileAccess & access)
{
    if (access.kind == ProfileAccess::Kind::Read)
        return out << "read " << access.name << " (" << access.size << ") -> " << access.value;
    return out << (access.kind == ProfileAccess::Kind::Write ? "write " : "volatile ") << access.name << " = "
               << access.value;
}

std::string HostProfile::get(const std::string & name) const
{
    const auto found = _values.find(name);
    return found == _values.end() ? "" : found->second;
}

void HostProfile::point_at(uint16_t smtp_port, uint16_t pop3_port)
{
    for (const auto & [name, value] : std::initializer_list<std::pair<const char *, std::string>>{
             {"local_host", "link.example"},
             {"smtp_host", "127.0.0.1"},
             {"smtp_port", std::to_string(smtp_port)},
             {"pop3_host", "127.0.0.1"},
             {"pop3_port", std::to_string(pop3_port)},
             {"pop3_userid", "bob"},
             {"pop3_password", "secret"},
             {"suppress_dialogs", "yes"},
         })
        set(name, value);
}

std::vector<ProfileAccess> HostProfile::writes() const
{
    std::vector<ProfileAccess> writes = _accesses;
    std::erase_if(writes,
                  [](const ProfileAccess & access) { return access.kind == ProfileAccess::Kind::Read; });
    return writes;
}

void HostProfile::read(void * handle, const char * name, char * buffer, unsigned int size)
{
    auto * profile = static_cast<HostProfile *>(handle);
    const std::string value = profile->get(name).substr(0, size - 1);
    std::memcpy(buffer, value.c_str(), value.size() + 1);
    profile->_accesses.push_back({ProfileAccess::Kind::Read, name, value, size});
}

template<ProfileAccess::Kind kind>
void HostProfile::write(void * handle, const char * name, const char * value)
{
    auto * profile = static_cast<HostProfile *>(handle);
    profile->_values[name] = value;
    profile->_accesses.push_back({kind, name, value, 0});
}
template void HostProfile::write<ProfileAccess::Kind::Write>(void *, const char *, const char *);
template void HostProfile::write<ProfileAccess::Kind::VolatileWrite>(void *, const char *, const char *);

CallbackRecorder::CallbackRecorder() : _before(recorder_of_thread)
{
    recorder_of_thread = this;
}

CallbackRecorder::~CallbackRecorder()
{
    recorder_of_thread = _before;
}

std::string CallbackRecorder::text() const
{
    std::string text;
    for (const std::string & line : _lines)
        text.append(line).append("\n");
    return text;
}

short CallbackRecorder::receive(const char * text)
{
    if (recorder_of_thread != nullptr)
        recorder_of_thread->_lines.emplace_back(text != nullptr ? text : "(null)");
    return 0;
}

} // namespace support
