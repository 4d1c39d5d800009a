#pragma once

#include <string>

#include <kiv/kiv.h>

#include "Support/Payload.h"

inline const std::string shopKey = "5e0bd1f2c3a4b5d6e7f80912";

struct ShopFlags : KIVBaseContainer {
    KIVString color{"blue", {"blue", "red"}};
    KIVFlag open{true};
    KIV_CONTAINER(ShopFlags, color, open);
};

/// An experiment that gives the flag the text. `more` adds members or replaces them.
inline kiv::json::object experiment(const std::string& flag, const std::string& text,
                                    const kiv::json::object& more = {}) {
    return makeExperiment(flag, '"' + text + '"', more);
}

/// The text of a payload for the application of `shopKey`. `more` adds members or replaces them.
inline std::string payloadOf(const kiv::json::array& experiments, const kiv::json::object& more = {}) {
    return makePayload(shopKey, experiments, more);
}
