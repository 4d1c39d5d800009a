#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include <kiv/KIVCustomProperty.h>
#include <kiv/KIVNotifications.h>

#include "Platform/Snapshots/ConcurrentMap.h"

/// The properties by name. Callable from any thread; looking up takes no lock.
class KIVCustomPropertiesRepository {
public:
    using Property = std::shared_ptr<const KIVCustomProperty>;

    /// Puts the property in place of any of its name and announces it.
    void addCustomProperty(Property property);

    /// Does so only when there is none of that name.
    void addCustomPropertyIfNotExists(Property property);

    /// Null when there is none.
    Property customPropertyForName(std::string_view name) const { return properties_.get(name); }

    /// The same without counting a reference: valid until the caller's `kiv::ReadGuard` closes.
    const KIVCustomProperty* find(std::string_view name) const {
        const auto* found = properties_.find(name);
        return found ? found->get() : nullptr;
    }

    /// All properties as they are now, in no order.
    std::vector<Property> availableCustomProperties() const;

    /// Higher after each change of what the repository holds.
    std::uint64_t version() const { return properties_.version(); }

private:
    kiv::ConcurrentMap<const KIVCustomProperty> properties_;
};
