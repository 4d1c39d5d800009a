#include <kiv/KIVCore.h>
#include <kiv/KIVHost.h>

#include "CInterface/Callbacks.h"
#include "CInterface/Calls.h"
#include "CInterface/Levels.h"
#include "CInterface/Screen.h"
#include "Core/KIVCoreInstance.h"

namespace {

using kiv::optionalText;
using kiv::UserPointer;

/// The user pointers of a call, to be taken when it succeeds.
class UserPointers {
public:
    std::shared_ptr<UserPointer> add(void* user, kiv_destroy_function destroy) {
        return all_.emplace_back(std::make_shared<UserPointer>(user, destroy));
    }
    void take() const {
        for (const auto& each : all_) {
            each->take();
        }
    }

private:
    std::vector<std::shared_ptr<UserPointer>> all_;
};

KIVNetworkConfigurationsOptions endpointsOf(const kiv_endpoints& given) {
    kiv::checkSize(given, "kiv_endpoints");
    constexpr const char* what = "the URL of an endpoint";
    return {.getConfigApiEndpoint = optionalText(given.config_api, what),
            .getConfigCloudEndpoint = optionalText(given.config_cdn, what),
            .sendStateApiEndpoint = optionalText(given.state_api, what),
            .sendStateCloudEndpoint = optionalText(given.state_cdn, what),
            .analyticsEndpoint = optionalText(given.analytics, what),
            .pushNotificationEndpoint = optionalText(given.push, what)};
}

auto fetchedHandler(kiv_fetched_function function, std::shared_ptr<UserPointer> user) {
    return [=, user = std::move(user)](const KIVFetcherResult& result) {
        const kiv_fetch_result passed{
            .size = sizeof(kiv_fetch_result),
            .source = result.fetcherStatus,
            .has_changes = result.hasChanges ? 1 : 0,
            .has_date = result.creationDate ? 1 : 0,
            .date = result.creationDate ? result.creationDate->time_since_epoch().count() : 0,
            .error = result.errorDetails ? kiv::asText(*result.errorDetails) : kiv_text{}};
        const kiv::CallbackScope scope;
        function(user->get(), &passed);
        scope.finish();
    };
}

auto impressionHandler(kiv_impression_function function, std::shared_ptr<UserPointer> user) {
    return [=, user = std::move(user)](const KIVReportingValue& value) {
        const bool hasContext = value.context() && !value.context()->isEmpty();
        const kiv::CallbackScope scope(hasContext ? &*value.context() : nullptr);
        const kiv_impression passed{.size = sizeof(kiv_impression),
                                    .targeting = value.targeting() ? 1 : 0,
                                    .name = kiv::asText(value.name()),
                                    .value = kiv::asText(value.value()),
                                    .context = scope.context()};
        function(user->get(), &passed);
        scope.finish();
    };
}

KIVOptions optionsOf(const kiv_options& given, UserPointers& users) {
    kiv::checkSize(given, "kiv_options");
    KIVOptions options;
    options.disableSignatureVerification = given.disable_signature_verification != 0;
    options.verbose = given.verbose == 1 ? 1 : 0;
    options.defaultFreezeLevel = kiv::freezeLevelOf(given.default_freeze).value_or(KIVFreezeNever);
    options.customSigningCertificate = optionalText(given.signing_certificate, "the signing certificate");
    options.defaultConfigurationPath = optionalText(given.configuration_path, "the document's path");
    if (given.silent_file_count > 0) {
        kiv::requirePointer(given.silent_files, "silent_files");
    }
    for (std::uint32_t i = 0; i < given.silent_file_count; ++i) {
        options.silentFiles.emplace_back(kiv::text(given.silent_files[i], "the name of a silent file"));
    }
    if (given.endpoints) {
        options.networkConfigurations = endpointsOf(*given.endpoints);
    }
    if (given.fetched) {
        options.onConfigurationFetched =
            fetchedHandler(given.fetched, users.add(given.fetched_user, given.fetched_destroy));
    }
    if (given.impression) {
        options.impressionHandler =
            impressionHandler(given.impression, users.add(given.impression_user, given.impression_destroy));
    }
    if (given.rule) {
        options.dynamicPropertiesRule = [function = given.rule,
                                         user = users.add(given.rule_user, given.rule_destroy)](
                                            std::string_view name, const KIVDynamicPropertyContext& context) {
            return kiv::ask(function, *user, KIV_NONE, name, context);
        };
    }
    return options;
}

constexpr std::pair<kiv_text kiv_host::*, std::optional<std::string> KIVHost::*> hostTexts[] = {
    {&kiv_host::bundle_identifier, &KIVHost::bundleIdentifier},
    {&kiv_host::short_version, &KIVHost::shortVersion},
    {&kiv_host::version, &KIVHost::version},
    {&kiv_host::resource_directory, &KIVHost::resourceDirectory},
    {&kiv_host::library_directory, &KIVHost::libraryDirectory},
    {&kiv_host::home_directory, &KIVHost::homeDirectory},
    {&kiv_host::device_name, &KIVHost::deviceName},
    {&kiv_host::system_name, &KIVHost::systemName},
    {&kiv_host::system_version, &KIVHost::systemVersion},
    {&kiv_host::model, &KIVHost::model},
    {&kiv_host::vendor_identifier, &KIVHost::vendorIdentifier},
    {&kiv_host::locale, &KIVHost::locale},
    {&kiv_host::idiom, &KIVHost::idiom},
    {&kiv_host::ca_file, &KIVHost::caFile},
    {&kiv_host::proxy, &KIVHost::proxy},
};

KIVHost hostOf(const kiv_host& given, UserPointers& users) {
    kiv::checkSize(given, "kiv_host");
    KIVHost host;
    for (const auto& [from, to] : hostTexts) {
        host.*to = optionalText(given.*from, "a text of the host");
    }
    if (given.screen_width < 0 || given.screen_height < 0) {
        kiv::refuse(KIV_INVALID_ARGUMENT, "the screen has a negative size");
    }
    if (given.screen_width > 0 || given.screen_height > 0) {
        host.screen = KIVHost::Screen{.width = given.screen_width, .height = given.screen_height};
    }
    if (given.encryption_password.data || given.encryption_salt.data || given.encryption_iv.data) {
        const auto secret = [](const kiv_text& bytes, const char* what) {
            return std::string(kiv::bytes(bytes.data, bytes.size, what));
        };
        host.analyticsEncryption = {.password = secret(given.encryption_password, "encryption_password"),
                                    .salt = secret(given.encryption_salt, "encryption_salt"),
                                    .iv = secret(given.encryption_iv, "encryption_iv")};
        if (host.analyticsEncryption->iv.size() != 16) {
            kiv::refuse(KIV_INVALID_ARGUMENT, "encryption_iv has to have 16 bytes");
        }
    }
    host.analyticsLog = given.analytics_log != 0;
    if (given.log) {
        host.logSink = [function = given.log,
                        user = users.add(given.log_user, given.log_destroy)](const std::string& line) {
            const kiv::CallbackScope scope;
            function(user->get(), line.c_str(), line.size());
            scope.finish();
        };
    }
    return host;
}

} // namespace

kiv_status kiv_configure_host(const kiv_host* host) {
    return kiv::call([&] {
        kiv::requirePointer(host, "host");
        UserPointers users;
        KIVHost::configure(hostOf(*host, users));
        users.take();
    });
}

kiv_status kiv_setup(const char* key, std::size_t keySize, const kiv_options* options) {
    return kiv::call([&] {
        const std::string_view keyText = kiv::text(key, keySize, "the key");
        UserPointers users;
        KIVCore::setupWithKey(keyText, options ? optionsOf(*options, users) : KIVOptions());
        users.take();
    });
}

std::uint32_t kiv_state() {
    std::uint32_t state = 0;
    kiv::call([&] { state = KIVCore::state(); });
    return state;
}

kiv_status kiv_current_key(char* buffer, std::size_t capacity, std::size_t* size) {
    return kiv::call([&]() -> kiv_status {
        const kiv::CallersBuffer target(buffer, capacity, size);
        const auto key = KIVCore::currentSDKKey();
        if (!key) {
            kiv::refuse(KIV_NOT_FOUND, "no key was set up or switched to");
        }
        return target.give(*key);
    });
}

kiv_status kiv_switch_key(const char* key, std::size_t keySize) {
    return kiv::call([&] { KIVCore::switchToSDKKey(kiv::text(key, keySize, "the key")); });
}

kiv_status kiv_shutdown() {
    return kiv::call([] {
        KIVCore::shutdown();
        kiv::dismissScreen();
    });
}

kiv_status kiv_resume_after_fork() {
    return kiv::call([] { KIVCore::resumeAfterFork(); });
}

kiv_status kiv_fetch() {
    return kiv::call([] {
        if (!KIVCoreInstance::getInstance().client()) {
            kiv::refuse(KIV_NOT_SET_UP, "a fetch needs a setup before it");
        }
        KIVCore::fetch();
    });
}

kiv_status kiv_will_enter_foreground() {
    return kiv::call([] { KIVHost::applicationWillEnterForeground(); });
}

kiv_status kiv_set_error_handler(kiv_error_function function, void* user, kiv_destroy_function destroy) {
    return kiv::call([&] {
        if (!function) {
            KIVCore::setUserspaceUnhandledErrorHandler({});
            return;
        }
        const auto owned = std::make_shared<UserPointer>(user, destroy);
        KIVCore::setUserspaceUnhandledErrorHandler(
            [function, owned](unsigned source, const KIVException& exception) {
                const kiv::CallbackScope scope;
                function(owned->get(), source, exception.name().c_str(), exception.name().size(),
                         exception.reason().c_str(), exception.reason().size());
                scope.finish();
            });
        owned->take();
    });
}
