#include "Flags/KIVFlagValueSource.h"

#include <utility>

#include "Flags/KIVFeatureFlagsSetter.h"
#include "Platform/Threads/Fork.h"

KIVFlagValueSource::KIVFlagValueSource(std::weak_ptr<const KIVFeatureFlagsRepository> flagsRepository)
    : flagsRepository_(std::move(flagsRepository)) {}

void KIVFlagValueSource::setFeatureFlagsSetter(std::weak_ptr<const KIVFeatureFlagsSetter> setter) {
    const kiv::Lock lock(lock_);
    setter_ = std::move(setter);
}

std::optional<std::string> KIVFlagValueSource::valueOfFlag(std::string_view name,
                                                           const EvaluationContext& context) const {
    const auto repository = flagsRepository_.lock();
    if (const auto flag = repository ? repository->featureWithName(name) : nullptr) {
        return flag->getStringValue(&context);
    }
    std::shared_ptr<const KIVFeatureFlagsSetter> setter;
    {
        const kiv::Lock lock(lock_);
        setter = setter_.lock();
    }
    return setter ? setter->experimentValueWithFlagName(name) : std::nullopt;
}
