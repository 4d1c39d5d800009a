#include "serve/OfrepTarget.h"

#include <charconv>

namespace kiv::tool {
namespace {

constexpr std::string_view prefix = "/ofrep/v1/";
constexpr std::string_view allFlagsPath = "evaluate/flags";
constexpr std::string_view eventsName = "events";

} // namespace

std::optional<OfrepTarget> OfrepTarget::from(std::string_view path) {
    std::size_t start = 0;
    if (!path.starts_with(prefix)) {
        start = path.find('/', 1);
        if (start == path.npos || !path.substr(start).starts_with(prefix)) {
            return std::nullopt;
        }
    }
    OfrepTarget target;
    target.key = path.substr(0, start).substr(start > 0 ? 1 : 0);
    target.eventsPath = std::string(path.substr(0, start + prefix.size())) + std::string(eventsName);
    const std::string_view rest = path.substr(start + prefix.size());
    if (rest == allFlagsPath) {
        target.kind = Kind::allFlags;
    } else if (rest == eventsName) {
        target.kind = Kind::events;
    } else if (rest.starts_with(allFlagsPath) && rest.size() > allFlagsPath.size() + 1 &&
               rest[allFlagsPath.size()] == '/') {
        target.kind = Kind::flag;
        target.flag = percentDecoded(rest.substr(allFlagsPath.size() + 1));
    }
    return target;
}

std::string percentDecoded(std::string_view text) {
    std::string decoded;
    while (!text.empty()) {
        unsigned char byte = 0;
        const char* digits = text.data() + 1;
        if (text.front() == '%' && text.size() > 2 &&
            std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2) {
            decoded += static_cast<char>(byte);
            text.remove_prefix(3);
        } else {
            decoded += text.front();
            text.remove_prefix(1);
        }
    }
    return decoded;
}

} // namespace kiv::tool
