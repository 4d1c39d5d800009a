#pragma once

#include <initializer_list>
#include <string_view>
#include <vector>

#include "Platform/Host/HostFields.h"

namespace kiv::tool {

/// The names of the text fields of `KIVHost`, then those of `others`.
inline std::vector<std::string_view> hostFieldNames(std::initializer_list<std::string_view> others) {
    std::vector<std::string_view> names;
    for (const auto& [name, member] : hostTextFields) {
        names.push_back(name);
    }
    names.insert(names.end(), others);
    return names;
}

} // namespace kiv::tool
