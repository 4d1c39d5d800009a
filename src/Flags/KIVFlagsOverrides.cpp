#include <kiv/KIVFlagsOverrides.h>

#include <atomic>
#include <mutex>

#include <kiv/KIVString.h>

#include "Flags/KIVFeatureFlagsSetter.h"
#include "Platform/Host/LibraryPath.h"
#include "Platform/PropertyLists/PropertyList.h"
#include "Platform/Snapshots/ConcurrentMap.h"
#include "Platform/System/Files.h"
#include "Platform/Threads/Fork.h"
#include "Runtime/KIVDebugger.h"

struct KIVFlagsOverrides::Store {
    std::string directory;
    kiv::ConcurrentMap<const std::string> values;
    const unsigned forks = kiv::forkCount();
    std::atomic<bool> hasChangedInChild{false};
};

KIVFlagsOverrides::KIVFlagsOverrides(std::weak_ptr<KIVFeatureFlagsSetter> setter)
    : setter_(std::move(setter)), store_(std::make_unique<Store>()) {
    store_->directory = kiv::libraryPath("/Application Support/io.corvane/flags");
    kiv::makeDirectories(store_->directory);
    kiv::removeAbandonedTemporaries(store_->directory);
    const auto stored = kiv::readPropertyList(pathForOverridesFile());
    if (!stored) {
        return;
    }
    for (const auto& [name, value] : *stored) {
        if (const auto* text = value.if_string()) {
            store_->values.set(std::string_view(name), std::make_shared<const std::string>(*text));
        }
    }
}

KIVFlagsOverrides::~KIVFlagsOverrides() = default;

bool KIVFlagsOverrides::hasOverride(KIVNonnullString name) const {
    const kiv::ReadGuard guard;
    return store_->values.find(name.view()) != nullptr;
}

std::optional<std::string> KIVFlagsOverrides::overrideForName(KIVNonnullString name) const {
    const kiv::ReadGuard guard;
    const std::string* found = find(name.view());
    return found ? std::optional<std::string>(*found) : std::nullopt;
}

const std::string* KIVFlagsOverrides::find(std::string_view name) const {
    const auto* found = store_->values.find(name);
    return found ? found->get() : nullptr;
}

void KIVFlagsOverrides::setOverride(KIVNonnullString value, const KIVString& flag) {
    if (const auto name = flag.name()) {
        setOverride(value, *name);
    }
}

void KIVFlagsOverrides::setOverride(KIVNonnullString value, KIVNonnullString name) {
    thaw(name);
    store_->values.set(name.view(), std::make_shared<const std::string>(value.view()));
    cacheOverrides();
}

void KIVFlagsOverrides::clearOverrideForName(KIVNonnullString name) {
    store_->values.remove(name.view());
    thaw(name);
    cacheOverrides();
}

void KIVFlagsOverrides::clearOverrides() {
    store_->values.clear();
    if (isOfParent()) {
        return;
    }
    {
        const std::lock_guard writing(writingLock_);
        if (overrides().empty()) {
            kiv::removeFile(pathForOverridesFile());
            return;
        }
    }
    cacheOverrides(); // another thread has set an override meanwhile
}

std::string KIVFlagsOverrides::originalValueForFeature(const KIVString& flag) const {
    return flag.originalValue();
}

std::map<std::string, std::string> KIVFlagsOverrides::overrides() const {
    std::map<std::string, std::string> all;
    for (const auto& [name, value] : store_->values.entries()) {
        all.emplace(name, *value);
    }
    return all;
}

bool KIVFlagsOverrides::cacheOverrides() const {
    if (isOfParent()) {
        return false;
    }
    bool written = false;
    std::size_t leftOut = 0;
    {
        const std::lock_guard writing(writingLock_);
        kiv::json::object archive;
        for (const auto& [name, value] : overrides()) {
            if (kiv::hasPropertyListForm(name) && kiv::hasPropertyListForm(value)) {
                archive[name] = value;
            } else {
                ++leftOut;
            }
        }
        written = kiv::writePropertyList(pathForOverridesFile(), archive);
    }
    if (!written) {
        KIV_DEBUG_LOG("could not write %@", kiv::shownPath(pathForOverridesFile()));
    } else if (leftOut > 0) {
        KIV_DEBUG_LOG("%@ overrides hold until the process ends: their name or value is no text of UTF-8 "
                      "without zeros",
                      leftOut);
    }
    return written && leftOut == 0;
}

/// Whether the object was made in a parent process. Notes that it has changed in this one.
bool KIVFlagsOverrides::isOfParent() const {
    const bool isParents = store_->forks != kiv::forkCount();
    if (isParents) {
        store_->hasChangedInChild = true;
    }
    return isParents;
}

void KIVFlagsOverrides::takeOverFrom(const KIVFlagsOverrides& parents) {
    if (!parents.store_->hasChangedInChild) {
        return;
    }
    store_->values.clear();
    for (const auto& [name, value] : parents.overrides()) {
        store_->values.set(name, std::make_shared<const std::string>(value));
    }
    cacheOverrides();
}

std::string KIVFlagsOverrides::overridesFilesPath() const { return store_->directory; }

std::string KIVFlagsOverrides::pathForOverridesFile(KIVNonnullString fileName) const {
    return kiv::pathIn(store_->directory, fileName.view());
}

void KIVFlagsOverrides::thaw(KIVNonnullString name) const {
    if (const auto setter = setter_.lock()) {
        setter->unfreezeFlagWithName(name.view());
    }
}
