#include "Reporting/KIVUDID.h"

#include <mutex>

#include <kiv/KIVHost.h>

#include "Platform/Crypto/Uuid.h"
#include "Platform/Host/LibraryPath.h"
#include "Platform/PropertyLists/PropertyList.h"
#include "Platform/System/Files.h"
#include "Platform/Text/Text.h"
#include "Platform/Threads/Fork.h"
#include "Reporting/KIVDevicePropertyKeys.h"
#include "Runtime/KIVDebugger.h"

namespace {

std::string pathFor(const std::string& key) {
    return kiv::libraryPath(kiv::format("/corvane-%@-properties.plist", key));
}

std::optional<std::string> storedAt(const std::string& path) {
    const auto archive = kiv::readPropertyList(path);
    const auto* stored = archive ? kiv::textMember(*archive, KIVC_DEVICE_PROPERTIES_DISTINCT_ID) : nullptr;
    return stored && !stored->empty() ? std::optional<std::string>(*stored) : std::nullopt;
}

} // namespace

KIVUDID::KIVUDID(const std::string& key) : path_(pathFor(key)) {
    // One thread loads at a time: the first makes the identifier, and the others find it.
    static std::mutex& lock = *new std::mutex;
    bool kept = true;
    {
        const kiv::Lock guard(lock);
        if (auto stored = storedAt(path_)) {
            distinctId_ = std::move(*stored);
        } else {
            distinctId_ = defaultDistinctId();
            kept = archiveProperties();
        }
    }
    if (!kept) {
        KIV_DEBUG_LOG("could not write %@", kiv::shownPath(path_));
    }
}

std::string KIVUDID::defaultDistinctId() {
    const auto host = KIVHost::current();
    const std::string vendor = kiv::uppercasedAscii(host->vendorIdentifier.value_or(""));
    return vendor.empty() ? kiv::newUuid() : vendor;
}

std::optional<std::string> KIVUDID::storedDistinctId(const std::string& key) {
    return storedAt(pathFor(key));
}

bool KIVUDID::archiveProperties() {
    if (path_.empty()) {
        return false; // there is no Library folder
    }
    if (kiv::createFile(path_, archive()) || takeStoredAt(path_)) {
        return true;
    }
    // The file is damaged. Of several processes that replace it, the first to create the file `claim` wins,
    // and the others take the identifier from `claim`. A process that comes later finds the damaged file
    // replaced.
    const std::string claim = path_ + ".new";
    if (!kiv::createFile(claim, archive())) {
        takeStoredAt(claim);
    }
    const bool isKept = takeStoredAt(path_) || kiv::writeFile(path_, archive());
    kiv::removeFile(claim);
    return isKept;
}

std::string KIVUDID::archive() const {
    return kiv::encodePropertyList({{KIVC_DEVICE_PROPERTIES_DISTINCT_ID, distinctId_}});
}

bool KIVUDID::takeStoredAt(const std::string& path) {
    auto stored = storedAt(path);
    if (stored) {
        distinctId_ = std::move(*stored);
    }
    return stored.has_value();
}
