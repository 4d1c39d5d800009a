#include "Reporting/KIVUDID.h"

#include <mutex>

#include <kiv/KIVHost.h>

#include "Platform/Crypto/Uuid.h"
#include "Platform/Host/LibraryPath.h"
#include "Platform/PropertyLists/PropertyList.h"
#include "Platform/System/Files.h"
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
        const std::lock_guard guard(lock);
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
    return host->vendorIdentifier ? *host->vendorIdentifier : kiv::newUuid();
}

std::optional<std::string> KIVUDID::storedDistinctId(const std::string& key) {
    return storedAt(pathFor(key));
}

bool KIVUDID::archiveProperties() {
    const std::string archive = kiv::encodePropertyList({{KIVC_DEVICE_PROPERTIES_DISTINCT_ID, distinctId_}});
    if (kiv::createFile(path_, archive)) {
        return true;
    }
    // Another process may have written its identifier first; a damaged file is replaced.
    if (auto stored = storedAt(path_)) {
        distinctId_ = std::move(*stored);
        return true;
    }
    return kiv::writeFile(path_, archive);
}
