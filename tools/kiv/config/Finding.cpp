#include "config/Finding.h"

#include "Terminal.h"

namespace kiv::tool {

std::string Finding::positionText() const { return spot ? tool::positionText(*spot) : ""; }

std::string Finding::line(const std::string& path) const {
    const std::string about = place.text();
    const std::string position = positionText();
    return printable(path + ": " + about + (about.empty() || position.empty() ? "" : ", ") + position +
                     (about.empty() && position.empty() ? "" : ": ") + (isError ? "error" : "warning") +
                     ": " + message + (advice.empty() ? "" : " (" + advice + ")"));
}

} // namespace kiv::tool
