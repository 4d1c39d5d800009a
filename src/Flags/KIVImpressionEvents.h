#pragma once

#include <string>

#include "Platform/Text/Json.h"

/// An impression on its way to analytics. The thread that reads a flag makes it, so it is no more than that
/// thread has to say; `properties` makes an event of it later.
struct KIVImpressionEvent {
    std::string distinctId; ///< of the user
    std::string flag;       ///< full name
    double time;            ///< seconds since 1970
    std::string value;

    kiv::json::object properties() const {
        return {{"distinctId", distinctId},
                {"flag", flag},
                {"time", time},
                {"type", "IMPRESSION"},
                {"value", value}};
    }
};

/// Receives impressions as analytics events.
class KIVImpressionEvents {
public:
    /// The name of these events.
    static constexpr std::string_view eventName = "impression";

    virtual ~KIVImpressionEvents() = default;

    /// Called on the thread that read the flag; may throw.
    virtual void track(KIVImpressionEvent impression) = 0;
};
