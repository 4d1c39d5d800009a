#pragma once

#include <memory>
#include <mutex>

#include "Flags/KIVFeatureFlagsRepository.h"
#include "KivxLanguage/KivxExperimentSources.h"

class KIVFeatureFlagsSetter;

/// Answers expressions that ask for other flags. Callable from any thread.
///
/// It owns neither of whom it asks: both own the parser, whose operators own this source.
class KIVFlagValueSource : public KivxFlagValueSource {
public:
    explicit KIVFlagValueSource(std::weak_ptr<const KIVFeatureFlagsRepository> flagsRepository);

    /// Who knows the configuration. Given apart, as the operators must stand before the setter is made, which
    /// hands the parser to other threads.
    void setFeatureFlagsSetter(std::weak_ptr<const KIVFeatureFlagsSetter> setter);

    std::optional<std::string> valueOfFlag(std::string_view name,
                                           const EvaluationContext& context) const override;

private:
    const std::weak_ptr<const KIVFeatureFlagsRepository> flagsRepository_;
    mutable std::mutex lock_;
    std::weak_ptr<const KIVFeatureFlagsSetter> setter_;
};
