#pragma once

#include <optional>
#include <string>

#include <kiv/KIVDynamicPropertyContext.h>
#include <kiv/KIVExport.h>

/// One impression: the value that a read of a flag gave. The application's impression handler receives it.
class KIV_API KIVReportingValue {
public:
    KIVReportingValue() = delete;
    KIVReportingValue(std::string name, std::string value, bool targeting,
                      std::optional<KIVDynamicPropertyContext> context);

    /// Whether the flag had an experiment when it was read.
    bool targeting() const { return targeting_; }
    const std::string& name() const { return name_; }
    const std::string& value() const { return value_; }
    /// The context of the read, merged with the global context.
    const std::optional<KIVDynamicPropertyContext>& context() const { return context_; }

    std::string description() const;

private:
    bool targeting_;
    std::string name_;
    std::string value_;
    std::optional<KIVDynamicPropertyContext> context_;
};
