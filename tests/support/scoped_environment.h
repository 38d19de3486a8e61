// Variables of the environment, changed for the length of a test and restored behind it.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// The locale's, cleared.
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

// One variable; null unsets it.
class ScopedVariable {
public:
    ScopedVariable(const char * name, const char * value) : _name(name)
    {
        if (const char * const before = getenv(name); before != nullptr) {
            _saved = before;
        }
        ScopedLocaleEnvironment::set(name, value);
    }
    ~ScopedVariable() { ScopedLocaleEnvironment::set(_name, _saved ? _saved->c_str() : nullptr); }
    ScopedVariable(const ScopedVariable &) = delete;
    ScopedVariable & operator=(const ScopedVariable &) = delete;

private:
    const char * _name;
    std::optional<std::string> _saved;
};
