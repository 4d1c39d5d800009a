#include "Runtime/KIVDebugger.h"

#include <set>

#include "Platform/Host/HostLog.h"
#include "Platform/Snapshots/Epoch.h"

std::atomic<bool> kivDebuggerVerbose{false};

namespace {

using Units = std::set<std::string, std::less<>>;

kiv::Published<Units>& kivDebuggerDisableByFile() {
    static auto& units = *new kiv::Published<Units>;
    return units;
}

std::string_view unitName(std::string_view path) { return path.substr(path.rfind('/') + 1); }

} // namespace

void setKivDebuggerDisableByFile(const std::vector<std::string>& units) {
    kivDebuggerDisableByFile().publish(std::make_unique<const Units>(units.begin(), units.end()));
}

namespace kiv {

std::string formatted(std::string_view pattern, const std::vector<std::string>& arguments) {
    std::string text;
    auto next = arguments.begin();
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        const std::string_view rest = pattern.substr(i);
        std::size_t length = 0;
        if (rest.starts_with("%@") || rest.starts_with("%s") || rest.starts_with("%d") ||
            rest.starts_with("%u")) {
            length = 2;
        } else if (rest.starts_with("%ld") || rest.starts_with("%lu")) {
            length = 3;
        }
        if (length == 0 || next == arguments.end()) {
            text += pattern[i];
            continue;
        }
        text += *next++;
        i += length - 1;
    }
    return text;
}

bool isSilenced(std::string_view path) {
    const ReadGuard guard;
    const Units* silent = kivDebuggerDisableByFile().load();
    return silent && silent->contains(unitName(path));
}

void writeDebugLog(std::string_view path, std::string_view method, int line, const std::string& message) {
    writeHostLog(format("KIV SDK(build %@):%s:%@:%d - ", KIVC_buildNumber, unitName(path), method, line) +
                 message);
}

void plainLog(const std::string& message) { writeHostLog(message); }

} // namespace kiv
