#pragma once

#include <any>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <typeindex>

#include <kiv/KIVExport.h>

/// Classes and their operations without arguments, by name: how a wrapper in another language reaches what it
/// knows by name only. An operation answers an object, or an empty `std::any` when it has nothing to answer.
/// Callable from any thread.
class KIV_API KIVNamedOperations {
public:
    using ClassOperation = std::function<std::any()>;
    using InstanceOperation = std::function<std::any(const std::any& instance)>;

    static KIVNamedOperations& shared();

    void addClassOperation(const std::string& className, const std::string& operation, ClassOperation body);

    /// For objects that arrive as this type (`typeid(std::shared_ptr<Foo>)`, for example).
    void addInstanceOperation(const std::type_info& type, const std::string& operation,
                              InstanceOperation body);

    /// Empty when there is no such class or operation. Throws what the operation throws.
    std::any callClassOperation(const std::string& className, const std::string& operation) const;
    std::any callInstanceOperation(const std::any& instance, const std::string& operation) const;

private:
    template <class Operations, class Key>
    typename Operations::mapped_type find(const Operations& operations, const Key& key) const;

    mutable std::mutex lock_;
    std::map<std::pair<std::string, std::string>, ClassOperation> classOperations_;
    std::map<std::pair<std::type_index, std::string>, InstanceOperation> instanceOperations_;
};
