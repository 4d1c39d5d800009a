#include <algorithm>
#include <charconv>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include <kiv/KIVHost.h>

#include "Command.h"
#include "Files.h"
#include "Flags/KIVFeatureFlagsRepository.h"
#include "HostFields.h"
#include "Model/KeyForm.h"
#include "Platform/Crypto/Base64.h"
#include "Platform/Crypto/PublicKey.h"
#include "Platform/Host/HostFields.h"
#include "Platform/Host/LinuxHost.h"
#include "Platform/Text/Json.h"
#include "Platform/Text/Text.h"
#include "Properties/KIVCustomPropertiesRepository.h"
#include "Reporting/KIVDeviceProperties.h"
#include "Reporting/KIVUDID.h"
#include "Terminal.h"
#include "config/Signing.h"
#include "expression/Words.h"

namespace kiv::tool {
namespace {

using Style = Terminal::Style;
namespace fs = std::filesystem;

constexpr const char* examples = R"(Examples:
  kiv device --key 5e0bd1f2c3a4b5d6e7f80912
  kiv device --key 5e0bd1f2c3a4b5d6e7f80912 --program build/storefront
  kiv device --key 5e0bd1f2c3a4b5d6e7f80912 --host locale=fr_FR --host screen=390x844 --json

Shows what the library would report for an application without flags and properties of its own,
started in the present environment. --json prints it as the JSON document that the library makes.
The command writes no files. While no application has stored an identity, it shows the one that
setup would make.

Fields for --host:
  )";

struct Options {
    std::string key;
    std::string program;
    std::string libraryFolder;
    std::string certificate;
    std::vector<std::string> host;
    bool asJson = false;
};

KIVHost::Screen screen(std::string_view text) {
    KIVHost::Screen size;
    const char* const end = text.data() + text.size();
    const auto width = std::from_chars(text.data(), end, size.width);
    if (width.ec == std::errc() && width.ptr != end && *width.ptr == 'x') {
        const auto height = std::from_chars(width.ptr + 1, end, size.height);
        if (height.ec == std::errc() && height.ptr == end && size.width > 0 && size.height > 0) {
            return size;
        }
    }
    throw BadInput("--host screen: " + inQuotes(text) + " is not a size like 390x844", {},
                   "Write width and height in points: screen=390x844.");
}

void setField(KIVHost& host, std::string_view text) {
    const std::size_t equals = text.find('=');
    if (equals == text.npos || equals == 0) {
        throw WrongUsage("--host: " + inQuotes(text) + " does not have the form FIELD=VALUE");
    }
    const std::string_view name = text.substr(0, equals);
    const std::string_view value = text.substr(equals + 1);
    if (name == "screen") {
        host.screen = screen(value);
        return;
    }
    const auto* field = std::ranges::find(hostTextFields, name, [](const auto& each) { return each.first; });
    if (field == std::end(hostTextFields)) {
        throw WrongUsage("--host: there is no field " + inQuotes(name) + "." +
                         didYouMean(name, hostFieldNames({"screen"}), " "));
    }
    host.*field->second = std::string(value);
}

/// The program of the application: the one given with --program, or kiv itself.
fs::path programOf(const Options& options) {
    std::error_code failure;
    const fs::path path =
        fs::canonical(options.program.empty() ? "/proc/self/exe" : options.program, failure);
    if (!options.program.empty() && (failure || !fs::is_regular_file(path, failure))) {
        throw BadInput(options.program + ": there is no such program", {},
                       "--program takes the path of the application's executable file.");
    }
    return path;
}

KIVHost hostOf(const Options& options, const fs::path& program) {
    KIVHost host;
    for (const std::string& text : options.host) {
        setField(host, text);
    }
    if (!options.libraryFolder.empty()) {
        host.libraryDirectory = fs::absolute(options.libraryFolder).lexically_normal().string();
    }
    return completeHost(std::move(host), program);
}

/// The certificate as an application gives it to setup; nothing for the built-in one.
std::optional<std::string> certificateText(const std::string& path) {
    if (path.empty()) {
        return {};
    }
    const std::string der = certificateDer(readInput(path), path);
    if (!PublicKey::fromCertificate(der)) {
        throw BadInput(path + ": holds no certificate with an RSA key", {}, adviceForCertificate);
    }
    return encodeBase64(der);
}

/// The device properties of the application that the options describe. Writes nothing to disk.
class Device {
public:
    explicit Device(const Options& options) : program_(programOf(options)), host_(hostOf(options, program_)) {
        const auto certificate = certificateText(options.certificate);
        KIVHost::configure(host_);
        stored_ = KIVUDID::storedDistinctId(options.key);
        // In a Library folder that cannot exist, KIVDeviceProperties stores no identity. It then takes the
        // vendor's identifier, which here stands in for a stored identity.
        KIVHost unwritable = host_;
        unwritable.libraryDirectory = "/dev/null";
        if (stored_) {
            unwritable.vendorIdentifier = *stored_;
        }
        KIVHost::configure(std::move(unwritable));
        repository_ = std::make_shared<KIVCustomPropertiesRepository>();
        const KIVDeviceProperties device(options.key, certificate, repository_,
                                         std::make_shared<KIVFeatureFlagsRepository>());
        device.addInternalProperties();
        properties_ = device.allProperties();
    }

    const json::object& properties() const { return *properties_; }
    const KIVCustomPropertiesRepository& repository() const { return *repository_; }
    const KIVHost& host() const { return host_; }
    const fs::path& program() const { return program_; }

    std::string originOfIdentity() const {
        return stored_                  ? "stored in the Library folder"
               : host_.vendorIdentifier ? "not stored yet; setup will store this vendor identifier"
                                        : "not stored yet; setup will make another random one";
    }

private:
    fs::path program_;
    KIVHost host_;
    std::optional<std::string> stored_;
    std::shared_ptr<KIVCustomPropertiesRepository> repository_;
    std::shared_ptr<const json::object> properties_;
};

struct Section {
    std::string_view title;
    std::vector<std::string_view> keys;
};

const std::vector<Section>& sections() {
    static const auto& all = *new std::vector<Section>{
        {"Configuration to fetch",
         {KIVC_DEVICE_PROPERTIES_BUID, KIVC_DEVICE_PROPERTIES_BUID_GENERATORS_LIST,
          KIVC_DEVICE_PROPERTIES_CUSTOM_SIGNING_CERTIFICATE, KIVC_DEVICE_PROPERTIES_CACHE_MISS_RELATIVE_URL}},
        {"Installation", {KIVC_DEVICE_PROPERTIES_DISTINCT_ID, KIVC_DEVICE_PROPERTIES_DEV_MODE_SECRET}},
        {"Application",
         {KIVC_DEVICE_PROPERTIES_APP_KEY, KIVC_DEVICE_PROPERTIES_APP_RELEASE,
          KIVC_DEVICE_PROPERTIES_VERSION_NAME, KIVC_DEVICE_PROPERTIES_APP_VERSION,
          KIVC_DEVICE_PROPERTIES_ITUNES_PLIST_FILE_EXISTS,
          KIVC_DEVICE_PROPERTIES_EMBEDDED_MOBILEPROVISION_FILE_EXISTS}},
        {"Device",
         {KIVC_DEVICE_PROPERTIES_DEVICE_NAME, KIVC_DEVICE_PROPERTIES_MANUFACTURER,
          KIVC_DEVICE_PROPERTIES_MODEL, KIVC_DEVICE_PROPERTIES_OS, KIVC_DEVICE_PROPERTIES_OS_VERSION,
          KIVC_DEVICE_PROPERTIES_USER_INTERFACE_IDIOM, KIVC_DEVICE_PROPERTIES_SCREEN_WIDTH,
          KIVC_DEVICE_PROPERTIES_SCREEN_HEIGHT, KIVC_DEVICE_PROPERTIES_LANGUAGE,
          KIVC_DEVICE_PROPERTIES_COUNTRY}},
        {"Library",
         {KIVC_DEVICE_PROPERTIES_LIB_VERSION, KIVC_DEVICE_PROPERTIES_CORVANE_BUILD,
          KIVC_DEVICE_PROPERTIES_API_VERSION, KIVC_DEVICE_PROPERTIES_PLATFORM,
          KIVC_DEVICE_PROPERTIES_REAL_PLATFORM, KIVC_DEVICE_PROPERTIES_PLATFORM_VERSION,
          KIVC_DEVICE_PROPERTIES_LANGUAGE_VERSION}},
    };
    return all;
}

/// Prints the device for a person.
class DevicePage {
public:
    explicit DevicePage(const Device& device) : device_(device), left_(keys(device.properties())) {}

    void print() {
        title("What is reported for " + std::string(text(KIVC_DEVICE_PROPERTIES_APP_KEY)));
        line("program", device_.program().string(), labelWidth);
        line("Library folder", device_.host().libraryDirectory.value_or("none"), labelWidth);
        for (const Section& section : sections()) {
            std::cout << '\n';
            title(section.title);
            facts(section.keys);
        }
        // The table below shows what these two lists contain.
        for (const char* key :
             {KIVC_DEVICE_PROPERTIES_CUSTOM_PROPERTIES_STRING, KIVC_DEVICE_PROPERTIES_FEATURE_FLAGS_STRING}) {
            left_.erase(key);
        }
        std::cout << '\n';
        title("State");
        facts({left_.begin(), left_.end()});
        line("", "changes with the application's own flags and properties", labelWidth);
        std::cout << '\n';
        properties();
        if (hasUnknown_) {
            std::cout << '\n'
                      << terminal_.wrapped(
                             std::string(KIVC_DEVICE_PROPERTIES_UNDEFINED) +
                                 " stands for what is not known. An application can set it in KIVHost; here, "
                                 "use --host.",
                             2)
                      << '\n';
        }
    }

private:
    static constexpr std::size_t labelWidth = 26;

    static std::set<std::string_view> keys(const json::object& object) {
        std::set<std::string_view> names;
        for (const auto& [name, value] : object) {
            if (value.is_string()) {
                names.insert(name);
            }
        }
        return names;
    }

    std::string_view text(std::string_view key) const {
        const json::string* found = textMember(device_.properties(), key);
        return found ? std::string_view(*found) : std::string_view();
    }

    void title(std::string_view text) const {
        std::cout << terminal_.styled(Style::heading, printable(text)) << '\n';
    }

    void line(std::string_view label, std::string_view value, std::size_t width) const {
        std::cout << terminal_.field(label, value, 2, width);
    }

    void facts(const std::vector<std::string_view>& keys) {
        for (const std::string_view key : keys) {
            if (left_.erase(key) == 0) {
                continue;
            }
            line(key, text(key), labelWidth);
            if (key == KIVC_DEVICE_PROPERTIES_DISTINCT_ID) {
                line("", device_.originOfIdentity(), labelWidth);
            }
            hasUnknown_ |= text(key) == KIVC_DEVICE_PROPERTIES_UNDEFINED;
        }
    }

    void properties() const {
        const auto none = KIVDynamicPropertyContext::empty();
        auto all = device_.repository().availableCustomProperties();
        std::ranges::sort(all, {},
                          [](const auto& property) -> const std::string& { return property->name(); });
        title("Properties for expressions");
        for (const auto& property : all) {
            const std::string* fixed = property->fixedText();
            line(property->name(),
                 padded(property->type(), 8) + (fixed ? *fixed : integerText(property->intValue("", none))),
                 labelWidth + 4);
        }
    }

    const Device& device_;
    std::set<std::string_view> left_; ///< the names of the properties that have not been shown yet
    bool hasUnknown_ = false;
    Terminal terminal_ = Terminal::ofOutput();
};

int show(const Options& options) {
    if (!isApplicationKeyForm(options.key) && !isUuidForm(options.key)) {
        throw BadInput("--key: " + inQuotes(options.key) + " is not a key of an application", {},
                       "A key has 24 hexadecimal digits, or the form of a UUID.");
    }
    const Device device(options);
    if (options.asJson) {
        std::cout << prettyJson(device.properties()) << '\n';
    } else {
        DevicePage(device).print();
    }
    return exitFine;
}

} // namespace

void addDeviceCommand(CLI::App& parent, int& exitCode) {
    auto options = std::make_shared<Options>();
    CLI::App* command =
        parent.add_subcommand("device", "Show what the library reports about the device it runs on");
    command->add_option("--key", options->key, "The application's key")->required()->type_name("KEY");
    command->add_option("--program", options->program, "The program of the application; otherwise kiv itself")
        ->type_name("FILE");
    command
        ->add_option("--library-folder", options->libraryFolder,
                     "Folder with the stored identity; otherwise the program's Library folder")
        ->type_name("DIR");
    command
        ->add_option("--certificate", options->certificate,
                     "Certificate that the application gives to setup; otherwise the built-in one")
        ->type_name("FILE");
    command
        ->add_option("--host", options->host, "A field that the application sets in KIVHost; may be repeated")
        ->type_name("FIELD=VALUE")
        ->allow_extra_args(false);
    command->add_flag("--json", options->asJson, "Print JSON");
    command->footer(std::string(examples) +
                    Terminal::ofOutput().wrapped(listed(hostFieldNames({"screen=WIDTHxHEIGHT"})), 2, 2));
    command->callback([options, &exitCode] { exitCode = show(*options); });
}

} // namespace kiv::tool
