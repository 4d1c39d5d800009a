#include "Flags/KIVFeatureFlagsStickiness.h"

#include "Model/KIVExperimentModel.h"
#include "Platform/Host/LibraryPath.h"
#include "Platform/PropertyLists/PropertyList.h"
#include "Platform/System/Files.h"
#include "Platform/Threads/Fork.h"
#include "Runtime/KIVDebugger.h"

KIVFeatureFlagsStickiness::KIVFeatureFlagsStickiness(
    std::function<std::shared_ptr<const KIVExperiments>()> experiments)
    : experiments_(std::move(experiments)),
      path_(kiv::libraryPath("/Application Support/io.corvane/stickiness")) {
    const auto stored = kiv::readPropertyList(path_);
    if (!stored) {
        return;
    }
    for (const auto& [name, value] : *stored) {
        if (const auto* text = value.if_string()) {
            stickyFlags_.emplace(name, *text);
        }
    }
}

void KIVFeatureFlagsStickiness::addStickyFlagWithName(const std::string& name, const std::string& value) {
    bool written = false;
    {
        const kiv::Lock lock(lock_);
        stickyFlags_[name] = value;
        kiv::json::object archive;
        for (const auto& [flag, kept] : stickyFlags_) {
            archive[flag] = kept;
        }
        written = kiv::writePropertyList(path_, archive);
    }
    if (!written) {
        KIV_DEBUG_LOG("could not write %@", kiv::shownPath(path_));
    }
}

std::optional<std::string>
KIVFeatureFlagsStickiness::stickyValueForFlagWithName(const std::string& name) const {
    const kiv::Lock lock(lock_);
    const auto found = stickyFlags_.find(name);
    return found == stickyFlags_.end() ? std::nullopt : std::optional<std::string>(found->second);
}

void KIVFeatureFlagsStickiness::clearStickiness() {
    const kiv::Lock lock(lock_);
    kiv::removeFile(path_);
    stickyFlags_.clear();
}

void KIVFeatureFlagsStickiness::receiveFlagFreezed(const KIVString& flag) {
    const std::string value = flag.value();
    const auto name = flag.name();
    const auto experiments = experiments_();
    if (!name || !experiments) {
        return;
    }
    const auto found = experiments->find(KIVFeatureFlagId{*name, value});
    if (found != experiments->end() && found->second->sticky() && !isFlagSticky(*name)) {
        addStickyFlagWithName(*name, value);
    }
}
