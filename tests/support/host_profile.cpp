#include "support/host_profile.h"

#include <algorithm>
#include <cstring>
#include <ostream>

namespace support {

namespace {

thread_local CallbackRecorder * recorder_of_thread = nullptr;
std::mutex common_mutex;
CallbackRecorder * common_recorder = nullptr; // under common_mutex

} // namespace

std::ostream & operator<<(std::ostream & out, const ProfileAccess & access)
{
    switch (access.kind) {
    case ProfileAccess::Kind::Read:
        return out << "read " << access.name << " (" << access.size << ") -> " << access.value;
    case ProfileAccess::Kind::Write:
        return out << "write " << access.name << " = " << access.value;
    case ProfileAccess::Kind::VolatileWrite:
        return out << "volatile " << access.name << " = " << access.value;
    }
    return out;
}

HostProfile::HostProfile(std::initializer_list<std::pair<const std::string, std::string>> values)
{
    for (const auto & [name, value] : values)
        set(name, value);
}

a_profile_rw_access * HostProfile::access()
{
    return &_access;
}

void HostProfile::set(const std::string & name, const std::string & value)
{
    const std::lock_guard lock(_mutex);
    _values[name] = Value{.kept = value, .this_run = {}, .has_kept = true, .has_this_run = false};
}

const HostProfile::Value * HostProfile::find(const std::string & name) const
{
    const auto found = _values.find(name);
    return found == _values.end() ? nullptr : &found->second;
}

std::string HostProfile::get(const std::string & name) const
{
    const std::lock_guard lock(_mutex);
    const Value * value = find(name);
    if (value == nullptr)
        return "";
    return value->has_this_run ? value->this_run : value->kept;
}

bool HostProfile::has(const std::string & name) const
{
    const std::lock_guard lock(_mutex);
    const Value * value = find(name);
    return value != nullptr && (value->has_this_run || value->has_kept);
}

bool HostProfile::is_volatile(const std::string & name) const
{
    const std::lock_guard lock(_mutex);
    const Value * value = find(name);
    return value != nullptr && value->has_this_run;
}

void HostProfile::forget_volatile()
{
    const std::lock_guard lock(_mutex);
    for (auto & [name, value] : _values) {
        value.this_run.clear();
        value.has_this_run = false;
    }
}

std::vector<ProfileAccess> HostProfile::accesses() const
{
    const std::lock_guard lock(_mutex);
    return _accesses;
}

std::vector<ProfileAccess> HostProfile::writes() const
{
    std::vector<ProfileAccess> writes = accesses();
    std::erase_if(writes,
                  [](const ProfileAccess & access) { return access.kind == ProfileAccess::Kind::Read; });
    return writes;
}

void HostProfile::clear_accesses()
{
    const std::lock_guard lock(_mutex);
    _accesses.clear();
}

void HostProfile::read(void * handle, const char * name, char * buffer, unsigned int size)
{
    auto * profile = static_cast<HostProfile *>(handle);
    std::string value = profile->get(name);
    if (size == 0)
        value.clear();
    else {
        value.resize(std::min<size_t>(value.size(), size - 1));
        std::memcpy(buffer, value.c_str(), value.size() + 1);
    }
    const std::lock_guard lock(profile->_mutex);
    profile->_accesses.push_back({ProfileAccess::Kind::Read, name, value, size});
}

void HostProfile::write(void * handle, const char * name, const char * value)
{
    auto * profile = static_cast<HostProfile *>(handle);
    const std::lock_guard lock(profile->_mutex);
    profile->_values[name] = Value{.kept = value, .this_run = {}, .has_kept = true, .has_this_run = false};
    profile->_accesses.push_back({ProfileAccess::Kind::Write, name, value, 0});
}

void HostProfile::write_volatile(void * handle, const char * name, const char * value)
{
    auto * profile = static_cast<HostProfile *>(handle);
    const std::lock_guard lock(profile->_mutex);
    Value & held = profile->_values[name];
    held.this_run = value;
    held.has_this_run = true;
    profile->_accesses.push_back({ProfileAccess::Kind::VolatileWrite, name, value, 0});
}

CallbackRecorder::CallbackRecorder(For whom) : _whom(whom)
{
    if (whom == For::ThisThread) {
        _before = recorder_of_thread;
        recorder_of_thread = this;
        return;
    }
    const std::lock_guard lock(common_mutex);
    _before = common_recorder;
    common_recorder = this;
}

CallbackRecorder::~CallbackRecorder()
{
    if (_whom == For::ThisThread) {
        recorder_of_thread = _before;
        return;
    }
    const std::lock_guard lock(common_mutex);
    common_recorder = _before;
}

MSG_CALLBACK CallbackRecorder::callback()
{
    return receive;
}

std::vector<std::string> CallbackRecorder::lines() const
{
    const std::lock_guard lock(_mutex);
    return _lines;
}

std::string CallbackRecorder::text() const
{
    std::string text;
    for (const std::string & line : lines())
        text.append(line).append("\n");
    return text;
}

void CallbackRecorder::clear()
{
    const std::lock_guard lock(_mutex);
    _lines.clear();
}

short CallbackRecorder::receive(const char * text)
{
    // The common lock is held while the line is kept, so that a recorder can't end in between.
    const std::lock_guard common(common_mutex);
    CallbackRecorder * recorder = recorder_of_thread != nullptr ? recorder_of_thread : common_recorder;
    if (recorder != nullptr) {
        const std::lock_guard lock(recorder->_mutex);
        recorder->_lines.emplace_back(text != nullptr ? text : "(null)");
    }
    return 0;
}

} // namespace support
