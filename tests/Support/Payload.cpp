#include "Support/Payload.h"

namespace {

kiv::json::object joined(kiv::json::object members, const kiv::json::object& more) {
    for (const auto& member : more) {
        members[member.key()] = member.value();
    }
    return members;
}

} // namespace

kiv::json::object makeExperiment(const std::string& flag, const std::string& condition,
                                 const kiv::json::object& more) {
    return joined({{"_id", flag},
                   {"deploymentConfiguration", {{"condition", condition}}},
                   {"featureFlags", kiv::json::array{{{"name", flag}}}}},
                  more);
}

std::string makePayload(const std::string& key, const kiv::json::array& experiments,
                        const kiv::json::object& more) {
    return kiv::compactJson(joined({{"application", key}, {"experiments", experiments}}, more));
}
