#include "Platform/LinuxHost.h"

#include <cstdlib>
#include <filesystem>

#include <pwd.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "Platform/Digest.h"
#include "Platform/Files.h"
#include "Platform/Json.h"
#include "Platform/Uuid.h"

namespace kiv {

namespace {

using Text = std::optional<std::string>;
namespace fs = std::filesystem;

Text environment(const char* name) {
    const char* value = std::getenv(name);
    return value && *value ? Text(value) : std::nullopt;
}

Text firstLine(const char* path) {
    auto content = readFile(path, 64U << 10);
    if (!content) {
        return std::nullopt;
    }
    content->erase(std::min(content->find_first_of(std::string("\n\0", 2)), content->size()));
    return content->empty() ? std::nullopt : content;
}

fs::path executable() {
    std::error_code error;
    return fs::read_symlink("/proc/self/exe", error);
}

Text homeDirectory() {
    if (auto home = environment("HOME")) {
        return home;
    }
    struct passwd record {};
    struct passwd* found = nullptr;
    char buffer[4096];
    getpwuid_r(getuid(), &record, buffer, sizeof buffer, &found);
    return found && found->pw_dir ? Text(found->pw_dir) : std::nullopt;
}

/// One value of an os-release file, its quotes removed.
Text releaseValue(const std::string& content, const std::string& name) {
    const std::string lines = "\n" + content;
    const std::size_t at = lines.find("\n" + name + "=");
    if (at == std::string::npos) {
        return std::nullopt;
    }
    const std::size_t start = at + name.size() + 2;
    std::string value = lines.substr(start, lines.find('\n', start) - start);
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front()) {
        value = value.substr(1, value.size() - 2);
    }
    return value.empty() ? std::nullopt : Text(value);
}

Text locale() {
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        if (auto value = environment(name)) {
            value->erase(std::min(value->find_first_of(".@"), value->size()));
            return *value == "C" || *value == "POSIX" || value->empty() ? std::nullopt : value;
        }
    }
    return std::nullopt;
}

Text vendorIdentifier() {
    const auto machine = firstLine("/etc/machine-id");
    if (!machine) {
        return std::nullopt;
    }
    const auto digest = sha256("kiv.vendor" + *machine);
    std::array<std::uint8_t, 16> bytes{};
    std::copy_n(digest.begin(), bytes.size(), bytes.begin());
    return uuidText(bytes);
}

void readInformationFile(const fs::path& program, KIVHost& host) {
    const auto content = readFile(program.string() + ".info.json", 1U << 20);
    const auto information = content ? parseJson(*content) : std::nullopt;
    if (!information) {
        return;
    }
    const auto text = [&](const char* name) {
        const json::string* value = textMember(*information, name);
        return value ? Text(*value) : std::nullopt;
    };
    host.bundleIdentifier = text("bundleIdentifier");
    host.shortVersion = text("shortVersion");
    host.version = text("version");
    if (const auto resources = text("resources")) {
        host.resourceDirectory = (program.parent_path() / *resources).lexically_normal().string();
    }
}

} // namespace

KIVHost detectHost() {
    KIVHost host;
    const fs::path program = executable();
    readInformationFile(program, host);
    if (!host.resourceDirectory) {
        host.resourceDirectory = program.parent_path().string();
    }
    host.homeDirectory = homeDirectory();
    const Text data = environment("XDG_DATA_HOME");
    host.libraryDirectory = data.value_or(host.homeDirectory.value_or("") + "/.local/share") + "/" +
                            host.bundleIdentifier.value_or(program.filename().string()) + "/Library";
    struct utsname kernel {};
    uname(&kernel);
    host.deviceName = kernel.nodename;
    const std::string release = readFile("/etc/os-release", 64U << 10).value_or("");
    host.systemName = releaseValue(release, "NAME").value_or(kernel.sysname);
    host.systemVersion = releaseValue(release, "VERSION_ID").value_or(kernel.release);
    host.model = firstLine("/sys/devices/virtual/dmi/id/product_name");
    if (!host.model) {
        host.model = firstLine("/proc/device-tree/model").value_or(kernel.machine);
    }
    host.vendorIdentifier = vendorIdentifier();
    host.locale = locale();
    host.idiom = "unspecified";
    return host;
}

} // namespace kiv
