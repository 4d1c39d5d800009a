#include "Flags/KIVFeatureFlagsRepository.h"

#include <kiv/NotificationCenter.h>

#include "Runtime/KIVDebugger.h"

void KIVFeatureFlagsRepository::takeAll(const KIVFeatureFlagsRepository& other) {
    forEach([](const std::string& name, const auto& flag) { flag->setNameIfNone(name); });
    other.forEach([this](const std::string& name, const auto& flag) {
        flag->setNameIfNone(name);
        features_.setIfAbsent(name, flag);
    });
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
    forEach([&](const std::string& name, const auto& flag) { all.emplace(name, flag); });
    return all;
}

KIVFeatureFlagsRepository::Features
KIVFeatureFlagsRepository::featuresWithNamespace(std::string_view nameSpace) const {
    Features selected;
    forEach([&](const std::string& name, const auto& flag) {
        const std::size_t point = name.rfind('.');
        if (std::string_view(name).substr(0, point == std::string::npos ? 0 : point) == nameSpace &&
            (point != std::string::npos || nameSpace.empty())) {
            selected.emplace(name, flag);
        }
    });
    return selected;
}

void KIVFeatureFlagsRepository::setFreezeLevel(unsigned level) {
    freezeLevel_.store(level, std::memory_order_relaxed);
    forEach([=](const std::string&, const auto& flag) { flag->setFreezeLevel(level); });
}

void KIVFeatureFlagsRepository::renewFreezeLevel(unsigned level) {
    freezeLevel_.store(level, std::memory_order_relaxed);
    forEach([=](const std::string&, const auto& flag) { flag->renewFreezeLevel(level); });
}

void KIVFeatureFlagsRepository::clear() {
    forEach([](const std::string&, const auto& flag) { flag->clearName(); });
    features_.clear();
}

void KIVFeatureFlagsRepository::logRepositoryState(std::string_view caption) const {
    KIV_DEBUG_LOG("%@: %@ flags, freeze level %@", caption, features_.size(), freezeLevel());
}
