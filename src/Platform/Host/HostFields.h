#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <kiv/KIVHost.h>

namespace kiv {

/// The text fields of a host that describe the device and the application, with their names.
inline constexpr std::pair<std::string_view, std::optional<std::string> KIVHost::*> hostTextFields[] = {
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

} // namespace kiv
