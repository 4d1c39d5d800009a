#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <kiv/KIVHost.h>

namespace kiv::tool {

/// A field of `KIVHost` that holds a text, by its name.
struct HostTextField {
    std::string_view name;
    std::optional<std::string> KIVHost::*member;
};

/// The text fields about the application and the device, which a caller of the command can set.
inline constexpr HostTextField hostTextFields[] = {
    {"bundleIdentifier", &KIVHost::bundleIdentifier},
    {"shortVersion", &KIVHost::shortVersion},
    {"version", &KIVHost::version},
    {"resourceDirectory", &KIVHost::resourceDirectory},
    {"libraryDirectory", &KIVHost::libraryDirectory},
    {"homeDirectory", &KIVHost::homeDirectory},
    {"deviceName", &KIVHost::deviceName},
    {"systemName", &KIVHost::systemName},
    {"systemVersion", &KIVHost::systemVersion},
    {"model", &KIVHost::model},
    {"vendorIdentifier", &KIVHost::vendorIdentifier},
    {"locale", &KIVHost::locale},
    {"idiom", &KIVHost::idiom},
};

/// The names of these fields, then those of `others`.
inline std::vector<std::string_view> hostFieldNames(std::initializer_list<std::string_view> others) {
    std::vector<std::string_view> names;
    for (const HostTextField& field : hostTextFields) {
        names.push_back(field.name);
    }
    names.insert(names.end(), others);
    return names;
}

} // namespace kiv::tool
