#include "serve/ReportedFlags.h"

#include <algorithm>
#include <charconv>

#include "serve/Query.h"

namespace kiv::tool {
namespace {

bool isNumber(const std::string& text) {
    double number = 0;
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number);
    return problem == std::errc() && end == text.data() + text.size();
}

} // namespace

std::string ReportedFlag::type() const {
    constexpr std::size_t mostOptions = 8;
    if (options.size() == 2 && std::ranges::count(options, "true") == 1 &&
        std::ranges::count(options, "false") == 1) {
        return "on or off";
    }
    if (options.empty()) {
        return isNumber(defaultValue) ? "a number or text" : "text";
    }
    std::string list;
    for (std::size_t index = 0; index < std::min(options.size(), mostOptions); ++index) {
        list += (index == 0 ? "one of " : ", ") +
                (options[index].empty() ? "(empty)" : shortened(options[index]));
    }
    return list + (options.size() > mostOptions ? ", …" : "");
}

std::map<std::string, ReportedFlag> reportedFlags(const json::value& document) {
    std::map<std::string, ReportedFlag> flags;
    const json::array* all = arrayMember(document, "feature_flags");
    for (const json::value& each : all ? *all : json::array()) {
        const json::string* name = textMember(each, "name");
        if (!name) {
            continue;
        }
        const json::string* defaultValue = textMember(each, "defaultValue");
        ReportedFlag& flag = flags[std::string(*name)];
        flag.defaultValue = defaultValue ? std::string(*defaultValue) : "";
        const json::array* options = arrayMember(each, "options");
        for (const json::value& option : options ? *options : json::array()) {
            if (option.is_string()) {
                flag.options.emplace_back(option.get_string());
            }
        }
    }
    return flags;
}

} // namespace kiv::tool
