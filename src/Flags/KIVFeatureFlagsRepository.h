#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include <kiv/KIVNotifications.h>
#include <kiv/KIVString.h>

#include "Platform/Snapshots/ConcurrentMap.h"

/// The registered flags by full name. Callable from any thread.
class KIVFeatureFlagsRepository {
public:
    using Features = std::map<std::string, std::shared_ptr<KIVString>>;

    KIVFeatureFlagsRepository() = default;

    /// Takes over all that the other repository holds, without announcing it.
    explicit KIVFeatureFlagsRepository(const KIVFeatureFlagsRepository& other);

    /// Names the flag if it has no name, gives it the repository's freeze level if it uses the default one,
    /// puts it in place of any flag of that name, and announces it.
    void addFeature(std::shared_ptr<KIVString> flag, const std::string& name);

    /// The same without the announcement.
    void takeFeature(std::shared_ptr<KIVString> flag, const std::string& name);

    /// Null when there is none.
    std::shared_ptr<KIVString> featureWithName(std::string_view name) const { return features_.get(name); }

    /// All flags as they are now.
    Features features() const;

    /// A flag named a.b.c belongs to the namespace a.b; one without a point to the empty namespace.
    Features featuresWithNamespace(std::string_view nameSpace) const;

    /// Higher after each change of what the repository holds.
    std::uint64_t version() const { return features_.version(); }

    unsigned freezeLevel() const { return freezeLevel_.load(std::memory_order_relaxed); }

    /// Also passes the level to every flag that uses the default one.
    void setFreezeLevel(unsigned level);

    /// Takes every flag's name away and empties the repository. The flags themselves live on with their
    /// containers.
    void clear();

    /// Writes the flags to the debug log, under the caption.
    void logRepositoryState(std::string_view caption) const;

private:
    kiv::ConcurrentMap<KIVString> features_;
    std::atomic<unsigned> freezeLevel_{3};
};
