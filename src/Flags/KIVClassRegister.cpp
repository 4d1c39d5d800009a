#include "Flags/KIVClassRegister.h"

#include <kiv/KIVException.h>

#include "Platform/System/KeepLoaded.h"
#include "Platform/Threads/Fork.h"
#include "Runtime/KIVDebugger.h"

namespace {
constexpr const char* invalidNamespace = "InvalidNamespace";
}

std::string KIVClassRegister::fullName(std::string_view nameSpace, std::string_view propertyName) {
    if (nameSpace.empty() || nameSpace.starts_with("config_")) {
        return std::string(propertyName);
    }
    return kiv::format("%@.%@", nameSpace, propertyName);
}

void KIVClassRegister::handleNamespace(KIVNullableString nameSpace) {
    if (nameSpace.isNil()) {
        throw KIVException(invalidNamespace, "Parameter 'namespace' cannot be nil.");
    }
    const kiv::Lock lock(lock_);
    if (!namespaceStore_.insert(nameSpace.string()).second) {
        throw KIVException(
            invalidNamespace,
            kiv::format("A container with the given namesapce ('%@') has already been registered.",
                        nameSpace.view()));
    }
}

void KIVClassRegister::handleContainer(const std::shared_ptr<KIVBaseContainer>& container,
                                       KIVNullableString nameSpace) {
    handleNamespace(nameSpace);
    if (!container) {
        KIV_DEBUG_LOG("there is no container to register under '%@'", nameSpace.view());
        return;
    }
    const KIVContainerTable table = container->kivContainerTable();
    if (table.isInherited()) {
        return; // the flags that a base class declares are not registered
    }
    // The flags stay registered for the life of the process, and their container with them. A plug-in that
    // links the shared library could be unloaded without it.
    kiv::keepLoaded(KIVContainerMark::virtualTable(*container));
    for (const KIVContainerTable::Member& member : table.members()) {
        if (member.flag) {
            addFlag_(member.owner ? member.owner : std::shared_ptr<KIVString>(container, member.flag),
                     fullName(nameSpace.view(), member.name));
        }
    }
}
