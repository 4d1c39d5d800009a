#include "Reporting/KIVUDID.h"

#include <mutex>

#include <kiv/KIVHost.h>

#include "Platform/Files.h"
#include "Platform/LibraryPath.h"
#include "Platform/PropertyList.h"
#include "Platform/Uuid.h"
#include "Reporting/KIVDevicePropertyKeys.h"
#include "Runtime/KIVDebugger.h"

KIVUDID::KIVUDID(std::string_view key)
    : path_(kiv::libraryPath(kiv::format("/corvane-%@-properties.plist", key))) {
    // One load at a time: the first of several makes the identifier that all of them get.
    static std::mutex& lock = *new std::mutex;
    bool kept = true;
    {
        const std::lock_guard guard(lock);
        if (!unarchiveProperties()) {
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

bool KIVUDID::unarchiveProperties() {
    const auto archive = kiv::readPropertyList(path_);
    const auto* stored = archive ? kiv::textMember(*archive, KIVC_DEVICE_PROPERTIES_DISTINCT_ID) : nullptr;
    if (!stored || stored->empty()) {
        return false;
    }
    distinctId_ = *stored;
    return true;
}

bool KIVUDID::archiveProperties() {
    const std::string archive = kiv::encodePropertyList({{KIVC_DEVICE_PROPERTIES_DISTINCT_ID, distinctId_}});
    // Another process may have been first. What is there and no good is replaced.
    return kiv::createFile(path_, archive) || unarchiveProperties() || kiv::writeFile(path_, archive);
}
