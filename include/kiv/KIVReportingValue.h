#pragma once

#include <optional>
#include <string>

#include <kiv/KIVDynamicPropertyContext.h>
#include <kiv/KIVExport.h>

/// One impression: a value of a flag that was read. Handed to the application's impression handler.
class KIV_API KIVReportingValue {
public:
    KIVReportingValue() = delete;
    KIVReportingValue(std::string name, std::string value, bool targeting,
                      std::optional<KIVDynamicPropertyContext> context);

    /// The flag had an experiment when it was read.
    bool targeting() const { return targeting_; }
    const std::string& name() const { return name_; }
    const std::string& value() const { return value_; }
    /// The values that the read was given, with the global ones.
    const std::optional<KIVDynamicPropertyContext>& context() const { return context_; }

    std::string description() const;

private:
    bool targeting_;
    std::string name_;
    std::string value_;
    std::optional<KIVDynamicPropertyContext> context_;
};
