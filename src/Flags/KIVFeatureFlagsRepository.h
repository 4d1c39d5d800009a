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

    /// Names the flag if it has no name, gives it the repository's freeze level if it uses the default level,
    /// replaces any flag of that name, and announces the flag.
    void addFeature(std::shared_ptr<KIVString> flag, const std::string& name);

    /// Does what `addFeature` does, without the announcement.
    void takeFeature(std::shared_ptr<KIVString> flag, const std::string& name);

    /// Adds the flags of `other` whose names this repository lacks, and gives its own flags that have lost
    /// their names these names back. Announces nothing, and changes no freeze level.
    void takeAll(const KIVFeatureFlagsRepository& other);

    /// The flag of that full name, or null.
    std::shared_ptr<KIVString> featureWithName(std::string_view name) const { return features_.get(name); }

    /// The same flag without a share in it. Valid until the caller's `kiv::ReadGuard` closes.
    const KIVString* borrow(std::string_view name) const {
        const auto* found = features_.find(name);
        return found ? found->get() : nullptr;
    }

    /// Calls `visit` with the full name and the `std::shared_ptr` of each flag, in no particular order.
    /// Copies nothing, so it is the way to go through many flags.
    template <class Visit>
    void forEach(Visit&& visit) const {
        features_.forEach(visit);
    }

    /// All flags as they are now.
    Features features() const;

    /// The flags of one namespace: a flag named a.b.c belongs to the namespace a.b, a flag without a point in
    /// its name to the empty namespace.
    Features featuresWithNamespace(std::string_view nameSpace) const;

    /// A number that grows with each change of the set of flags.
    std::uint64_t version() const { return features_.version(); }

    unsigned freezeLevel() const { return freezeLevel_.load(std::memory_order_relaxed); }

    /// Sets the repository's level, also on every flag that uses the default level.
    void setFreezeLevel(unsigned level);

    /// For another setup: sets the level as `setFreezeLevel` does, and in the same step thaws each flag whose
    /// level was not `KIVFreezeForever`. Otherwise a flag could keep a former document's value under a lower
    /// level.
    void renewFreezeLevel(unsigned level);

    /// Removes all flags and takes their names away. The flags themselves live on with their containers.
    void clear();

    /// Writes the number of flags and the freeze level to the debug log, under the caption.
    void logRepositoryState(std::string_view caption) const;

private:
    kiv::ConcurrentMap<KIVString> features_;
    std::atomic<unsigned> freezeLevel_{KIVFreezeNever};
};
