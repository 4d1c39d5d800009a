#pragma once

#include <kiv/KIVString.h>

/// A flag with a number as its value. When the configured value is no plain decimal number, the default is
/// read.
class KIV_API KIVDouble : public KIVString {
public:
    KIVDouble() = delete;
    explicit KIVDouble(double defaultValue);
    KIVDouble(double defaultValue, const std::vector<double>& variations);
    KIVDouble(double defaultValue, const std::vector<double>& variations, unsigned freeze);

    /// Reads the flag.
    double value() const { return getDoubleValue(); }
    double value(const KIVDynamicPropertyContext& context) const;

    void forceValue(double value);

protected:
    std::string_view className() const override;
};
