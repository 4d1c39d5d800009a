#include <kiv/KIVCore.h>
#include <kiv/KIVFlagsOverrides.h>

#include "CInterface/Calls.h"

namespace {

std::shared_ptr<KIVFlagsOverrides> overrides() {
    auto present = KIVCore::overrides();
    if (!present) {
        kiv::refuse(KIV_NOT_SET_UP, "overrides need a setup before them");
    }
    return present;
}

constexpr const char* flagName = "the flag's name";

} // namespace

kiv_status kiv_override_set(const char* name, std::size_t nameSize, const char* value,
                            std::size_t valueSize) {
    return kiv::call([&] {
        const std::string_view checkedName = kiv::text(name, nameSize, flagName);
        const std::string_view checkedValue = kiv::text(value, valueSize, "the override's value");
        overrides()->setOverride(KIVNonnullString(checkedValue), KIVNonnullString(checkedName));
    });
}

kiv_status kiv_override_get(const char* name, std::size_t nameSize, char* buffer, std::size_t capacity,
                            std::size_t* size) {
    return kiv::call([&]() -> kiv_status {
        const kiv::CallersBuffer target(buffer, capacity, size);
        const auto value = overrides()->overrideForName(kiv::text(name, nameSize, flagName));
        if (!value) {
            kiv::refuse(KIV_NOT_FOUND, "the flag has no override");
        }
        return target.give(*value);
    });
}

kiv_status kiv_override_clear(const char* name, std::size_t nameSize) {
    return kiv::call([&] { overrides()->clearOverrideForName(kiv::text(name, nameSize, flagName)); });
}

kiv_status kiv_overrides_clear() {
    return kiv::call([] { overrides()->clearOverrides(); });
}
