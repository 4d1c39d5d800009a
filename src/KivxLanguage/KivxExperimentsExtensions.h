#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "KivxLanguage/KivxExperimentSources.h"

class KivxParser;

/// The operators that split users: by a seed (mergeSeed, isInPercentage, isInPercentageRange), by the value
/// of another flag (flagValue), and by target group (isInTargetGroup, isTargetGroupPaired).
class KivxExperimentsExtensions {
public:
    /// Neither source may be null.
    KivxExperimentsExtensions(KivxParser& parser, std::shared_ptr<const KivxTargetGroupSource> targetGroups,
                              std::shared_ptr<const KivxFlagValueSource> flags);

    /// Adds the operators to the parser. They share the sources and outlive this object.
    void extend();

    /// The bucket of a seed: a number from 0 up to, but not including, 1, the same on every device. The seed
    /// ends at its first zero byte.
    static double bucketFrom(std::string_view seed);

    static constexpr std::uint64_t maxUIntegerValue() { return (std::uint64_t{1} << 32U) - 1; }

private:
    KivxParser& parser_;
    const std::shared_ptr<const KivxTargetGroupSource> targetGroups_;
    const std::shared_ptr<const KivxFlagValueSource> flags_;
};
