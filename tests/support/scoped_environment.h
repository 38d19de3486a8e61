// The locale variables of the environment, cleared for the length of a test and restored behind it.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>
#include <vector>

class ScopedLocaleEnvironment {
public:
    ScopedLocaleEnvironment()
    {
        for (const char * name : {"VXLANG", "VXCHARSET", "LC_ALL", "LC_MESSAGES", "LC_CTYPE", "LANG"}) {
            const char * value = getenv(name);
            _saved.emplace_back(name, value != nullptr ? std::optional<std::string>(value) : std::nullopt);
            unsetenv(name);
        }
    }
    ~ScopedLocaleEnvironment()
    {
        for (const auto & [name, value] : _saved) {
            set(name.c_str(), value ? value->c_str() : nullptr);
        }
    }
    ScopedLocaleEnvironment(const ScopedLocaleEnvironment &) = delete;
    ScopedLocaleEnvironment & operator=(const ScopedLocaleEnvironment &) = delete;

    // Null unsets.
    static void set(const char * name, const char * value)
    {
        if (value != nullptr) {
            setenv(name, value, 1);
        } else {
            unsetenv(name);
        }
    }

private:
    std::vector<std::pair<std::string, std::optional<std::string>>> _saved;
};
