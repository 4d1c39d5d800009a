#include "Flags/KIVFeatureFlagsRepository.h"

#include <kiv/NotificationCenter.h>

#include "Runtime/KIVDebugger.h"

void KIVFeatureFlagsRepository::takeAll(const KIVFeatureFlagsRepository& other) {
    for (const auto& [name, flag] : features_.entries()) {
        flag->setNameIfNone(name);
    }
    for (auto& [name, flag] : other.features_.entries()) {
        flag->setNameIfNone(name);
        features_.setIfAbsent(name, std::move(flag));
    }
}

void KIVFeatureFlagsRepository::takeFeature(std::shared_ptr<KIVString> flag, const std::string& name) {
    flag->setNameIfNone(name);
    if (flag->isUsingDefaultFreezeLevel()) {
        flag->setFreezeLevel(freezeLevel());
    }
    features_.set(name, std::move(flag));
}

void KIVFeatureFlagsRepository::addFeature(std::shared_ptr<KIVString> flag, const std::string& name) {
    takeFeature(flag, name);
    kiv::NotificationCenter::defaultCenter().post(KIVFlagAddedNotification, flag);
}

KIVFeatureFlagsRepository::Features KIVFeatureFlagsRepository::features() const {
    Features all;
    for (auto& [name, flag] : features_.entries()) {
        all.emplace(name, std::move(flag));
    }
    return all;
}

KIVFeatureFlagsRepository::Features
KIVFeatureFlagsRepository::featuresWithNamespace(std::string_view nameSpace) const {
    Features selected;
    for (auto& [name, flag] : features_.entries()) {
        const std::size_t point = name.rfind('.');
        if (std::string_view(name).substr(0, point == std::string::npos ? 0 : point) == nameSpace &&
            (point != std::string::npos || nameSpace.empty())) {
            selected.emplace(name, std::move(flag));
        }
    }
    return selected;
}

void KIVFeatureFlagsRepository::setFreezeLevel(unsigned level) {
    freezeLevel_.store(level, std::memory_order_relaxed);
    for (const auto& [name, flag] : features_.entries()) {
        flag->setFreezeLevel(level);
    }
}

void KIVFeatureFlagsRepository::renewFreezeLevel(unsigned level) {
    freezeLevel_.store(level, std::memory_order_relaxed);
    for (const auto& [name, flag] : features_.entries()) {
        flag->renewFreezeLevel(level);
    }
}

void KIVFeatureFlagsRepository::clear() {
    for (const auto& [name, flag] : features_.entries()) {
        flag->clearName();
    }
    features_.clear();
}

void KIVFeatureFlagsRepository::logRepositoryState(std::string_view caption) const {
    KIV_DEBUG_LOG("%@: %@ flags, freeze level %@", caption, features_.size(), freezeLevel());
}
