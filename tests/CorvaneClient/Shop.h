#pragma once

#include <string>

#include <kiv/kiv.h>

#include "Platform/Text/Json.h"

inline const std::string shopKey = "5e0bd1f2c3a4b5d6e7f80912";

struct ShopFlags : KIVBaseContainer {
    KIVString color{"blue", {"blue", "red"}};
    KIVFlag open{true};
    KIV_CONTAINER(ShopFlags, color, open);
};

/// An experiment of a payload: it gives the flag that text. `more` are members besides.
inline kiv::json::object experiment(const std::string& flag, const std::string& text,
                                    const kiv::json::object& more = {}) {
    kiv::json::object all{{"_id", flag},
                          {"deploymentConfiguration", {{"condition", '"' + text + '"'}}},
                          {"featureFlags", kiv::json::array{{{"name", flag}}}}};
    all.insert(more.begin(), more.end());
    return all;
}

/// A payload for the key's application.
inline std::string payloadOf(const kiv::json::array& experiments, const kiv::json::object& more = {}) {
    kiv::json::object all{{"application", shopKey}, {"experiments", experiments}};
    all.insert(more.begin(), more.end());
    return kiv::compactJson(all);
}
