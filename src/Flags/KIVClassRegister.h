#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include <kiv/KIVBaseContainer.h>
#include <kiv/KIVNullableString.h>

/// Registers containers, and keeps the set of namespaces in use; a namespace is never released. Callable from
/// any thread.
class KIVClassRegister {
public:
    using AddFlag = std::function<void(std::shared_ptr<KIVString> flag, const std::string& name)>;

    /// `addFlag` is called with each registered flag and its full name.
    explicit KIVClassRegister(AddFlag addFlag) : addFlag_(std::move(addFlag)) {}

    /// Reserves the namespace, then adds every flag that the container's own class declares. Throws as
    /// `handleNamespace` does, before any flag is touched.
    void handleContainer(const std::shared_ptr<KIVBaseContainer>& container, KIVNullableString nameSpace);

    /// Throws "InvalidNamespace" when the namespace is nil or in use.
    void handleNamespace(KIVNullableString nameSpace);

    /// "namespace.property"; the property alone when the namespace is empty or begins with "config_".
    static std::string fullName(std::string_view nameSpace, std::string_view propertyName);

private:
    const AddFlag addFlag_;
    std::mutex lock_;
    std::set<std::string, std::less<>> namespaceStore_;
};
