#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "KivxLanguage/KivxExperimentSources.h"

class KivxParser;

/// The operators that split users: percentages of a seed, values of other flags, target groups.
class KivxExperimentsExtensions {
public:
    /// Neither source may be null.
    KivxExperimentsExtensions(KivxParser& parser, std::shared_ptr<const KivxTargetGroupSource> targetGroups,
                              std::shared_ptr<const KivxFlagValueSource> flags);

    /// Registers the operators on the parser. They share the sources and outlive this object.
    void extend();

    /// The place of a seed between 0 and 1 (excluded), the same on every device. A seed ends at its first
    /// zero byte.
    static double bucketFrom(std::string_view seed);

    static constexpr std::uint64_t maxUIntegerValue() { return (std::uint64_t{1} << 32U) - 1; }

private:
    KivxParser& parser_;
    const std::shared_ptr<const KivxTargetGroupSource> targetGroups_;
    const std::shared_ptr<const KivxFlagValueSource> flags_;
};
