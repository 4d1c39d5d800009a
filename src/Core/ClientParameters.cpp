#include "Core/ClientParameters.h"

#include "Core/KIVCoreInstance.h"
#include "CorvaneClient/KIVClient.h"
#include "CorvaneClient/KIVClientDataParser.h"
#include "Model/KIVConfiguration.h"
#include "Model/KeyForm.h"
#include "Network/KIVEnvironment.h"
#include "Network/KIVNetwork.h"
#include "Runtime/KIVAppVersionMonitor.h"
#include "Runtime/KIVDataPersistency.h"

std::shared_ptr<KIVClient> makeClient(const ClientParameters& parameters, const KIVCoreInstance& core) {
    const auto& [deviceProperties, storedKey, options] = parameters;
    // The key that the client works for decides which built-in endpoints it uses and whether it checks
    // signatures.
    const std::string& key = deviceProperties->appKey();
    const bool isUuidKey = kiv::isUuidForm(key);
    auto clientOptions = std::make_shared<KIVClientOptions>();
    clientOptions->defaultConfigurationPath = options.defaultConfigurationPath;
    clientOptions->disableSignatureVerification = options.disableSignatureVerification || isUuidKey;
    clientOptions->customSigningCertificate = options.customSigningCertificate;
    const auto flags = core.flagsRepositoryForSDKKey(key);
    flags->renewFreezeLevel(options.defaultFreezeLevel);
    const auto dataPersistency = std::make_shared<const KIVDataPersistency>();
    return KIVClient::create({
        .storedKey = storedKey,
        .clientOptions = clientOptions,
        .configuration = std::make_shared<KIVConfiguration>(),
        .network = std::make_shared<KIVNetwork>(clientOptions, std::make_shared<const KIVURLSession>()),
        .deviceProperties = deviceProperties,
        .dataPersistency = dataPersistency,
        .dataParserFactory = std::make_shared<KIVClientDataParserFactory>(
            deviceProperties->distinctId(),
            [properties = deviceProperties] { return properties->allProperties(); }),
        .appVersionMonitor = std::make_shared<const KIVAppVersionMonitor>(*dataPersistency),
        .configurationFetchedHandler = options.onConfigurationFetched,
        .impressionHandler = options.impressionHandler,
        .dynamicPropertiesRule = options.dynamicPropertiesRule,
        .propertiesRepository = core.propertiesRepository(),
        .flagsRepository = flags,
        .targetGroupRepository = core.targetGroupRepository(),
        .errorInvoker = core.errorInvoker(),
        .environment = std::make_shared<const KIVEnvironment>(
            options.networkConfigurations || !isUuidKey ? options.networkConfigurations
                                                        : KIVEnvironment::platformNetworkConfigurations()),
    });
}
