#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include <kiv/KIVCustomProperty.h>
#include <kiv/KIVNotifications.h>

#include "Platform/Snapshots/ConcurrentMap.h"

/// The properties by name. Callable from any thread; look-ups take no lock. Both ways of adding announce the
/// property by the notification `KIVC_customPropertyAddedNotification`, on the calling thread.
class KIVCustomPropertiesRepository {
public:
    using Property = std::shared_ptr<const KIVCustomProperty>;

    /// Adds the property; replaces a present one of its name.
    void addCustomProperty(Property property);

    /// Adds the property unless there is one of its name.
    void addCustomPropertyIfNotExists(Property property);

    /// The property of that name; null when there is none.
    Property customPropertyForName(std::string_view name) const { return properties_.get(name); }

    /// Like `customPropertyForName`, but without counting a reference: valid until the caller's
    /// `kiv::ReadGuard` closes.
    const KIVCustomProperty* find(std::string_view name) const {
        const auto* found = properties_.find(name);
        return found ? found->get() : nullptr;
    }

    /// The present properties, in no particular order.
    std::vector<Property> availableCustomProperties() const;

    /// A number that grows with each change of the repository.
    std::uint64_t version() const { return properties_.version(); }

private:
    kiv::ConcurrentMap<const KIVCustomProperty> properties_;
};
