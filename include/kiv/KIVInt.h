#pragma once

#include <kiv/KIVString.h>

/// A flag with an integer value. When the configured value is no whole number, the default is read.
class KIV_API KIVInt : public KIVString {
public:
    KIVInt() = delete;
    explicit KIVInt(int defaultValue);
    KIVInt(int defaultValue, const std::vector<int>& variations);
    KIVInt(int defaultValue, const std::vector<int>& variations, unsigned freeze);

    /// Reads the flag. A configured value may be any 64-bit integer.
    std::int64_t value() const { return getIntValue(); }
    std::int64_t value(const KIVDynamicPropertyContext& context) const;

    void forceValue(int value);

protected:
    std::string_view className() const override;
};
