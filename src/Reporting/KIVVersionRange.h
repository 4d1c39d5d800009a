#pragma once

#include <string>
#include <utility>

class KIVDeviceProperties;

/// A test of the application's own version. Immutable.
class KIVVersionRange {
public:
    KIVVersionRange() = delete;
    KIVVersionRange(std::string version, std::string comperator)
        : version_(std::move(version)), comperator_(std::move(comperator)) {}

    const std::string& version() const { return version_; }
    const std::string& comperator() const { return comperator_; }

    /// Whether the application's short version equals the range's version, with runs of digits compared as
    /// numbers. False when the comparator is another than "Equals to".
    bool isApplicableForDevice(const KIVDeviceProperties& deviceProperties) const;

private:
    std::string version_;
    std::string comperator_;
};
