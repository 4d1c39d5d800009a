#include "Platform/Host/LinuxHost.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include <pwd.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "Platform/Crypto/Digest.h"
#include "Platform/Crypto/Uuid.h"
#include "Platform/System/Files.h"
#include "Platform/Text/Json.h"

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

/// The path of this program; empty where /proc is missing.
fs::path executable() {
    std::error_code error;
    return fs::read_symlink("/proc/self/exe", error);
}

/// The path of a folder without slashes at its end; nullopt when it is not absolute.
Text folder(Text path) {
    if (!path || !path->starts_with('/')) {
        return std::nullopt;
    }
    path->erase(path->find_last_not_of('/') + 1);
    return path;
}

Text homeDirectory() {
    if (auto home = folder(environment("HOME"))) {
        return home;
    }
    struct passwd record {};
    struct passwd* found = nullptr;
    std::array<char, 16384> buffer;
    getpwuid_r(getuid(), &record, buffer.data(), buffer.size(), &found);
    return found && found->pw_dir ? folder(found->pw_dir) : std::nullopt;
}

Text libraryDirectory(const Text& home, const std::string& name) {
    Text data = folder(environment("XDG_DATA_HOME"));
    if (!data && home) {
        data = *home + "/.local/share";
    }
    return data ? Text(*data + "/" + name + "/Library") : std::nullopt;
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
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
        value.back() == value.front()) {
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
    // While the system is being set up, the file does not hold an identifier yet.
    const Text machine = firstLine("/etc/machine-id");
    if (!machine || machine->size() != 32) {
        return std::nullopt;
    }
    const auto digest = sha256("kiv.vendor" + *machine);
    std::array<std::uint8_t, 16> bytes{};
    std::copy_n(digest.begin(), bytes.size(), bytes.begin());
    return uuidText(bytes);
}

void complete(Text& field, Text found) {
    if (!field) {
        field = std::move(found);
    }
}

void completeFromInformationFile(const fs::path& program, KIVHost& host) {
    const Text content = readFile(program.string() + ".info.json", 1U << 20);
    const auto information = content ? parseJson(*content) : std::nullopt;
    if (!information) {
        return;
    }
    const auto text = [&](const char* name) {
        const json::string* value = textMember(*information, name);
        return value && !value->empty() ? Text(*value) : std::nullopt;
    };
    complete(host.bundleIdentifier, text("bundleIdentifier"));
    complete(host.shortVersion, text("shortVersion"));
    complete(host.version, text("version"));
    if (const Text resources = text("resources")) {
        complete(host.resourceDirectory,
                 folder((program.parent_path() / *resources).lexically_normal().string()));
    }
}

void completeFromSystem(KIVHost& host) {
    struct utsname kernel {};
    uname(&kernel);
    complete(host.deviceName, kernel.nodename);
    const std::string release = readFile("/etc/os-release", 64U << 10).value_or("");
    complete(host.systemName, releaseValue(release, "NAME").value_or(kernel.sysname));
    complete(host.systemVersion, releaseValue(release, "VERSION_ID").value_or(kernel.release));
    complete(host.model, firstLine("/sys/devices/virtual/dmi/id/product_name"));
    complete(host.model, firstLine("/proc/device-tree/model"));
    complete(host.model, kernel.machine);
    complete(host.vendorIdentifier, vendorIdentifier());
}

} // namespace

KIVHost completeHost(KIVHost host) { return completeHost(std::move(host), executable()); }

KIVHost completeHost(KIVHost host, const fs::path& program) {
    if (!program.empty()) {
        completeFromInformationFile(program, host);
        complete(host.resourceDirectory, folder(program.parent_path().string()));
    }
    const std::string name = program.empty() ? "kiv" : program.filename().string();
    complete(host.homeDirectory, homeDirectory());
    complete(host.libraryDirectory,
             libraryDirectory(host.homeDirectory, host.bundleIdentifier.value_or(name)));
    completeFromSystem(host);
    complete(host.locale, locale());
    complete(host.idiom, "unspecified");
    return host;
}

} // namespace kiv
