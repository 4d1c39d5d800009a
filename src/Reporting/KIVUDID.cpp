#include "Reporting/KIVUDID.h"

#include <mutex>
#include <utility>

#include <kiv/KIVHost.h>

#include "Platform/PropertyList.h"
#include "Platform/Uuid.h"
#include "Reporting/KIVDevicePropertyKeys.h"
#include "Runtime/KIVDebugger.h"

KIVUDID::KIVUDID(std::string key)
    : key_(std::move(key)), directory_(KIVHost::current()->libraryDirectory.value_or("")) {
    // One load at a time: the first of several makes the identifier that all of them get.
    static std::mutex& lock = *new std::mutex;
    bool written = true;
    {
        const std::lock_guard guard(lock);
        if (!unarchiveProperties()) {
            distinctId_ = defaultDistinctId();
            written = archiveProperties();
        }
    }
    if (!written) {
        KIV_DEBUG_LOG("could not write %@", propertiesFilePath());
    }
}

std::string KIVUDID::defaultDistinctId() {
    const auto host = KIVHost::current();
    return host->vendorIdentifier ? *host->vendorIdentifier : kiv::newUuid();
}

std::string KIVUDID::propertiesFilePath() const {
    return directory_ + "/" + kiv::format("corvane-%@-properties.plist", key_);
}

bool KIVUDID::unarchiveProperties() {
    const auto archive = kiv::readPropertyList(propertiesFilePath());
    const auto* stored = archive ? kiv::textMember(*archive, KIVC_DEVICE_PROPERTIES_DISTINCT_ID) : nullptr;
    if (stored) {
        distinctId_ = *stored;
    }
    return !distinctId_.empty();
}

bool KIVUDID::archiveProperties() const {
    return kiv::writePropertyList(propertiesFilePath(), {{KIVC_DEVICE_PROPERTIES_DISTINCT_ID, distinctId_}});
}
