#pragma once

#include <memory>
#include <mutex>

#include "Flags/KIVFeatureFlagsRepository.h"
#include "KivxLanguage/KivxExperimentSources.h"

class KIVFeatureFlagsSetter;

/// Answers expressions that ask for other flags. Callable from any thread.
class KIVFlagValueSource : public KivxFlagValueSource {
public:
    explicit KIVFlagValueSource(std::shared_ptr<const KIVFeatureFlagsRepository> flagsRepository);

    /// Who knows the configuration. Not owned: the setter owns the parser whose operators own this source.
    /// Given apart as the operators stand before the setter is made, which hands the parser to other threads.
    void setFeatureFlagsSetter(std::weak_ptr<const KIVFeatureFlagsSetter> setter);

    std::optional<std::string> valueOfFlag(std::string_view name,
                                           const EvaluationContext& context) const override;

private:
    const std::shared_ptr<const KIVFeatureFlagsRepository> flagsRepository_;
    mutable std::mutex lock_;
    std::weak_ptr<const KIVFeatureFlagsSetter> setter_;
};
