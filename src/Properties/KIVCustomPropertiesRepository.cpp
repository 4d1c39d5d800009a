#include "Properties/KIVCustomPropertiesRepository.h"

#include <kiv/NotificationCenter.h>

void KIVCustomPropertiesRepository::addCustomProperty(Property property) {
    properties_.set(property->name(), property);
    kiv::NotificationCenter::defaultCenter().post(KIVC_customPropertyAddedNotification, property);
}

void KIVCustomPropertiesRepository::addCustomPropertyIfNotExists(Property property) {
    if (properties_.setIfAbsent(property->name(), property)) {
        kiv::NotificationCenter::defaultCenter().post(KIVC_customPropertyAddedNotification, property);
    }
}

std::vector<KIVCustomPropertiesRepository::Property>
KIVCustomPropertiesRepository::availableCustomProperties() const {
    std::vector<Property> all;
    for (auto& [name, property] : properties_.entries()) {
        all.push_back(std::move(property));
    }
    return all;
}
