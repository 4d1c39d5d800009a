#include <algorithm>
#include <iterator>

#include <kiv/KIVCore.h>
#include <kiv/KIVHost.h>

#include "Core/KIVCoreInstance.h"
#include "CorvaneClient/KIVStateSender.h"
#include "Network/KIVEndpointFields.h"
#include "Platform/Host/HostFields.h"
#include "Platform/Text/Dates.h"
#include "Platform/Text/Text.h"
#include "evaluate/ValueText.h"
#include "shell/ShellSession.h"

namespace kiv::tool {
namespace {

json::value contextToJson(const std::optional<KIVDynamicPropertyContext>& context) {
    if (!context) {
        return nullptr;
    }
    json::object values;
    for (const auto& [name, value] : context->values()) {
        values.emplace(name, toJson(value));
    }
    return values;
}

KIVHost::Screen screenFrom(const json::object& object) {
    const ShellFields fields(object, {"width", "height"}, "screen");
    return {.width = fields.get<int>("width"), .height = fields.get<int>("height")};
}

KIVNetworkConfigurationsOptions endpointsFrom(const json::object& object) {
    std::vector<std::string_view> names;
    for (const auto& [name, url] : KIVEndpointFields) {
        names.push_back(name);
    }
    const ShellFields fields(object, names, "networkConfigurations");
    KIVNetworkConfigurationsOptions endpoints;
    for (const auto& [name, url] : KIVEndpointFields) {
        fields.assign(name, endpoints.*url);
    }
    return endpoints;
}

KIVOptions optionsFrom(const json::object& object) {
    const ShellFields fields(object,
                             {"disableSyncLoadingFallback", "disableSignatureVerification",
                              "dynamicPropertiesRule", "verbose", "silentFiles", "customSigningCertificate",
                              "defaultConfigurationPath", "defaultFreezeLevel", "networkConfigurations"},
                             "options");
    KIVOptions options;
    fields.assign("disableSyncLoadingFallback", options.disableSyncLoadingFallback);
    fields.assign("disableSignatureVerification", options.disableSignatureVerification);
    fields.assign("verbose", options.verbose);
    fields.assign("silentFiles", options.silentFiles);
    fields.assign("customSigningCertificate", options.customSigningCertificate);
    fields.assign("defaultConfigurationPath", options.defaultConfigurationPath);
    fields.assign("defaultFreezeLevel", options.defaultFreezeLevel);
    if (const auto endpoints = fields.find<json::object>("networkConfigurations")) {
        options.networkConfigurations = endpointsFrom(*endpoints);
    }
    if (auto rule = fields.find<KIVDynamicPropertyContext::Values>("dynamicPropertiesRule")) {
        options.dynamicPropertiesRule = [values = KIVDynamicPropertyContext(std::move(*rule))](
                                            std::string_view name, const KIVDynamicPropertyContext&) {
            return values.get(name);
        };
    }
    return options;
}

void installHandlers(KIVOptions& options, const std::shared_ptr<ShellOutput>& output) {
    options.onConfigurationFetched = [output](const KIVFetcherResult& result) {
        output->event(shellConfigurationFetched,
                      {{"fetcherStatus", result.fetcherStatus},
                       {"creationDate",
                        result.creationDate ? json::value(dateText(*result.creationDate)) : json::value()},
                       {"errorDetails", orNull(result.errorDetails)},
                       {"hasChanges", result.hasChanges}});
    };
    options.impressionHandler = [output](const KIVReportingValue& value) {
        output->event(shellImpression, {{"name", value.name()},
                                        {"value", value.value()},
                                        {"targeting", value.targeting()},
                                        {"context", contextToJson(value.context())}});
    };
    KIVCore::setUserspaceUnhandledErrorHandler([output](unsigned source, const KIVException& exception) {
        output->event(shellUnhandledError, {{"trigger", source}, {"reason", exception.reason()}});
    });
}

double secondsFrom(const ShellFields& fields, std::string_view name) {
    const auto seconds = fields.get<double>(name);
    constexpr double longest = 86400;
    if (seconds < 0 || seconds > longest) {
        ShellFields::refuse(name, "must be a number of seconds from 0 to 86400");
    }
    return seconds;
}

} // namespace

json::object shell::configureHost(ShellSession&, const ShellFields& fields) {
    if (KIVCoreInstance::exists() && KIVCore::currentSDKKey()) {
        throw KIVException::internalInconsistency("the host must be set before setup");
    }
    KIVHost host;
    for (const auto& [name, field] : hostTextFields) {
        fields.assign(name, host.*field);
    }
    fields.assign("analyticsLog", host.analyticsLog);
    if (const auto screen = fields.find<json::object>("screen")) {
        host.screen = screenFrom(*screen);
    }
    KIVHost::configure(std::move(host));
    return {};
}

json::object shell::setup(ShellSession& session, const ShellFields& fields) {
    const auto key = fields.get<std::optional<std::string>>("key");
    const auto platformVersion = fields.find<std::string>("platformVersion");
    const auto languageVersion = fields.find<std::string>("languageVersion");
    KIVOptions options = optionsFrom(fields.getOr<json::object>("options"));
    installHandlers(options, session.output);
    if (platformVersion || languageVersion) {
        KIVCore::setupWithKey(key, std::move(options), platformVersion.value_or(""),
                              languageVersion.value_or(""));
    } else {
        KIVCore::setupWithKey(key, std::move(options));
    }
    return {};
}

json::object shell::setStateDebounceTime(ShellSession&, const ShellFields& fields) {
    KIV_SetStateDebounceTime = static_cast<float>(secondsFrom(fields, "seconds"));
    return {};
}

json::object shell::waitForEvent(ShellSession& session, const ShellFields& fields) {
    const std::string_view event =
        fields.choice("event", {shellConfigurationFetched, shellImpression, shellUnhandledError});
    const double seconds = secondsFrom(fields, "timeout");
    if (!session.output->waitFor(event, std::chrono::duration<double>(seconds))) {
        throw KIVException("timeout",
                           "no " + std::string(event) + " came within " + doubleText(seconds) + " seconds");
    }
    return {};
}

} // namespace kiv::tool
