#include "serve/Endpoints.h"

#include "Network/KIVEndpointFields.h"

namespace kiv::tool {

json::object endpointOptions(const std::string& base) {
    const auto below = [&](std::string_view path) { return base + std::string(path); };
    const KIVNetworkConfigurationsOptions endpoints{
        .getConfigApiEndpoint = below(endpoint::configurationApi),
        .getConfigCloudEndpoint = below(endpoint::configurationCdn),
        .sendStateApiEndpoint = below(endpoint::stateApi),
        .sendStateCloudEndpoint = below(endpoint::stateCdn),
        .analyticsEndpoint = below(endpoint::analytics),
        .pushNotificationEndpoint = below(endpoint::push),
    };
    json::object options;
    for (const auto& [name, url] : KIVEndpointFields) {
        options.emplace(name, *(endpoints.*url));
    }
    return options;
}

std::string optionsSource(const json::object& endpoints, const std::string& certificate) {
    std::string source = "KIVOptions{\n    .customSigningCertificate = \"" + certificate + "\",\n" +
                         "    .networkConfigurations = KIVNetworkConfigurationsOptions{\n";
    for (const auto& [name, value] : endpoints) {
        source += "        ." + std::string(name) + " = \"" + std::string(value.get_string()) + "\",\n";
    }
    return source + "    },\n};\n";
}

} // namespace kiv::tool
