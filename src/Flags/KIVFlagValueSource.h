#pragma once

#include <memory>
#include <mutex>

#include "Flags/KIVFeatureFlagsRepository.h"
#include "KivxLanguage/KivxExperimentSources.h"

class KIVFeatureFlagsSetter;

/// Gives expressions the values of other flags. Callable from any thread.
///
/// It holds the repository and the setter weakly: both own the parser, and the parser's operators own this
/// source.
class KIVFlagValueSource : public KivxFlagValueSource {
public:
    explicit KIVFlagValueSource(std::weak_ptr<const KIVFeatureFlagsRepository> flagsRepository);

    /// Sets the setter, which gives the values of flags that are not registered. It is no parameter of the
    /// constructor, because the parser needs this source before the setter is made.
    void setFeatureFlagsSetter(std::weak_ptr<const KIVFeatureFlagsSetter> setter);

    std::optional<std::string> valueOfFlag(std::string_view name,
                                           const EvaluationContext& context) const override;

private:
    const std::weak_ptr<const KIVFeatureFlagsRepository> flagsRepository_;
    mutable std::mutex lock_;
    std::weak_ptr<const KIVFeatureFlagsSetter> setter_;
};
