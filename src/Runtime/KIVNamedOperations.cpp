#include <kiv/KIVNamedOperations.h>

#include "Platform/Threads/Fork.h"

KIVNamedOperations& KIVNamedOperations::shared() {
    static KIVNamedOperations& registry = *new KIVNamedOperations;
    return registry;
}

void KIVNamedOperations::addClassOperation(const std::string& className, const std::string& operation,
                                           ClassOperation body) {
    // A replaced operation may own objects of the application. The parameter destroys it after the lock is
    // released.
    const kiv::Lock lock(lock_);
    classOperations_[{className, operation}].swap(body);
}

void KIVNamedOperations::addInstanceOperation(const std::type_info& type, const std::string& operation,
                                              InstanceOperation body) {
    const kiv::Lock lock(lock_);
    instanceOperations_[{std::type_index(type), operation}].swap(body);
}

template <class Operations, class Key>
typename Operations::mapped_type KIVNamedOperations::find(const Operations& operations,
                                                          const Key& key) const {
    const kiv::Lock lock(lock_);
    const auto found = operations.find(key);
    return found == operations.end() ? nullptr : found->second;
}

std::any KIVNamedOperations::callClassOperation(const std::string& className,
                                                const std::string& operation) const {
    const auto body = find(classOperations_, std::pair(className, operation));
    return body ? body() : std::any();
}

std::any KIVNamedOperations::callInstanceOperation(const std::any& instance,
                                                   const std::string& operation) const {
    const auto body = find(instanceOperations_, std::pair(std::type_index(instance.type()), operation));
    return body ? body(instance) : std::any();
}
