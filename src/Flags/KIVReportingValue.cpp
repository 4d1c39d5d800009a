#include <kiv/KIVReportingValue.h>

#include "Runtime/KIVDebugger.h"

KIVReportingValue::KIVReportingValue(std::string name, std::string value, bool targeting,
                                     std::optional<KIVDynamicPropertyContext> context)
    : targeting_(targeting), name_(std::move(name)), value_(std::move(value)), context_(std::move(context)) {}

std::string KIVReportingValue::description() const {
    return kiv::format("%@ - %@ (%@) [%@]", "<KIVReportingValue>", name_, value_, targeting_ ? "YES" : "NO");
}
