#include "Platform/Host/UserDefaults.h"

#include <map>

#include <sys/stat.h>

#include <kiv/KIVHost.h>

#include "Platform/Host/LibraryPath.h"
#include "Platform/PropertyLists/PropertyList.h"
#include "Platform/Threads/Fork.h"

namespace kiv {
namespace {

/// A text that differs between the versions of a file; empty when there is no file.
std::string stampOf(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return {};
    }
    return std::to_string(status.st_ino) + ' ' + std::to_string(status.st_size) + ' ' +
           std::to_string(status.st_mtim.tv_sec) + ' ' + std::to_string(status.st_mtim.tv_nsec);
}

} // namespace

UserDefaults::UserDefaults(std::string path) : path_(std::move(path)) {}

UserDefaults& UserDefaults::standard() {
    static auto& lock = *new std::mutex;
    static auto& all = *new std::map<std::string, std::unique_ptr<UserDefaults>>;
    const std::string path =
        libraryPath("/Preferences/" + KIVHost::current()->bundleIdentifier.value_or("kiv") + ".plist");
    const kiv::Lock guard(lock);
    auto& defaults = all[path];
    if (!defaults) {
        defaults = std::make_unique<UserDefaults>(path);
    }
    return *defaults;
}

std::optional<std::string> UserDefaults::string(std::string_view key) {
    const json::value value = object(key);
    return value.is_string() ? std::optional<std::string>(value.get_string()) : std::nullopt;
}

json::value UserDefaults::object(std::string_view key) {
    const kiv::Lock lock(lock_);
    refresh();
    const json::value* value = values_.if_contains(key);
    return value ? *value : json::value();
}

bool UserDefaults::set(std::string_view key, json::value value) {
    const kiv::Lock lock(lock_);
    refresh();
    values_[key] = std::move(value);
    return save();
}

bool UserDefaults::remove(std::string_view key) {
    const kiv::Lock lock(lock_);
    refresh();
    values_.erase(key);
    return save();
}

bool UserDefaults::removeAll(std::string_view prefix) {
    const kiv::Lock lock(lock_);
    refresh();
    json::object kept;
    for (json::key_value_pair& pair : values_) {
        if (!std::string_view(pair.key()).starts_with(prefix)) {
            kept.emplace(pair.key(), std::move(pair.value()));
        }
    }
    values_ = std::move(kept);
    return save();
}

void UserDefaults::refresh() {
    std::string stamp = stampOf(path_);
    if (stamp == stamp_) {
        return;
    }
    values_ = readPropertyList(path_).value_or(json::object());
    stamp_ = std::move(stamp);
}

bool UserDefaults::save() {
    // Makes the next access read the file again, because another process may have written it by then.
    const bool written = writePropertyList(path_, values_);
    stamp_ = written ? std::string() : stampOf(path_);
    return written;
}

} // namespace kiv
