#pragma once

#include <string>
#include <string_view>

#include "Platform/Text/Json.h"

/// Receives impressions as analytics events.
class KIVImpressionEvents {
public:
    virtual ~KIVImpressionEvents() = default;

    /// Called on the thread that read the flag; may throw.
    virtual void track(std::string_view event, kiv::json::object properties) = 0;
};
