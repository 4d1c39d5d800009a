#pragma once

#include <any>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <typeindex>

#include <kiv/KIVExport.h>

#if defined(__cpp_rtti)

/// Operations without arguments, found by the names of class and operation: a wrapper in another language,
/// which knows the names only, calls them here. An operation returns an object, or an empty `std::any` when
/// it has none to return. Callable from any thread; an operation runs on the calling thread, and no lock is
/// held meanwhile. Not declared for code without run-time type information (`-fno-rtti`), because a
/// `std::any` that such code makes does not know its type.
class KIV_API KIVNamedOperations {
public:
    using ClassOperation = std::function<std::any()>;
    using InstanceOperation = std::function<std::any(const std::any& instance)>;

    static KIVNamedOperations& shared();

    /// Adds an operation of a class; replaces a present operation of the same names.
    void addClassOperation(const std::string& className, const std::string& operation, ClassOperation body);

    /// Adds an operation of objects; replaces a present operation of the same type and name. `type` is the
    /// type that the `std::any` holds, for example `typeid(std::shared_ptr<Foo>)`.
    void addInstanceOperation(const std::type_info& type, const std::string& operation,
                              InstanceOperation body);

    /// The operation's result; empty when there is no operation of those names. Throws what the operation
    /// throws.
    std::any callClassOperation(const std::string& className, const std::string& operation) const;
    std::any callInstanceOperation(const std::any& instance, const std::string& operation) const;

private:
    template <class Operations, class Key>
    typename Operations::mapped_type find(const Operations& operations, const Key& key) const;

    mutable std::mutex lock_;
    std::map<std::pair<std::string, std::string>, ClassOperation> classOperations_;
    std::map<std::pair<std::type_index, std::string>, InstanceOperation> instanceOperations_;
};

#endif
