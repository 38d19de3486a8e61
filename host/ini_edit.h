// ini_edit.h - changes one value in the text of an INI file and leaves every other byte as it is.
#pragma once

#include <string>
#include <string_view>

namespace orvhost {

// Names of settings, keys and sections are equal ignoring the case of ASCII letters.
[[nodiscard]] bool same_name(std::string_view a, std::string_view b);

// Gives `text` with `value` behind the key `name` of `section` (empty: the part in front of the first
// section). Of several such lines the last is changed, as readers take the last. A new key goes behind the
// last key of its section, or right behind the section's head. Without that section nothing is changed.
[[nodiscard]] std::string with_ini_value(const std::string & text, std::string_view section,
                                         std::string_view name, std::string_view value);

} // namespace orvhost
