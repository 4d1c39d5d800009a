#include <kiv/KIVHost.h>

#include "KivCommand.h"
#include "Reporting/KIVDeviceProperties.h"
#include "Reporting/KIVUDID.h"

namespace {

const std::string key = "5e0bd1f2c3a4b5d6e7f80912";

class DeviceCommand : public KivCommand {
protected:
    /// A program with an information file, as an application ships it.
    static void writeProgram() {
        write("shop", "#!/bin/sh\n");
        write("shop.info.json", R"({"bundleIdentifier": "io.shop", "shortVersion": "2.10", "version": "7"})");
    }

    static std::vector<std::string> filesBelow(const std::string& directory) {
        std::vector<std::string> files;
        std::error_code none;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(directory, none)) {
            files.push_back(entry.path());
        }
        return files;
    }

    const std::string data = std::getenv("XDG_DATA_HOME");
};

TEST_F(DeviceCommand, ShowsTheDocumentOfAnApplicationThatToldTheSame) {
    writeProgram();
    const Outcome shown = kiv({"device", "--key", key, "--program", "shop", "--host", "locale=fr_BE",
                               "--host", "screen=390x844", "--host", "model=a=b", "--json"});
    ASSERT_EQ(shown.exitCode, 0) << shown.err;

    KIVHost host;
    host.shortVersion = "2.10";
    host.version = "7";
    host.resourceDirectory = folder;
    host.locale = "fr_BE";
    host.screen = KIVHost::Screen{390, 844};
    host.model = "a=b";
    KIVHost::configure(std::move(host));
    const KIVDeviceProperties device(key, std::nullopt, std::make_shared<KIVCustomPropertiesRepository>(),
                                     std::make_shared<KIVFeatureFlagsRepository>());
    device.addInternalProperties();
    kiv::json::object expected = device.getPropsCopy();
    kiv::json::object actual = parsed(shown.out).as_object();
    if (!KIVHost::current()->vendorIdentifier) { // another random one each time
        actual["distinct_id"] = expected["distinct_id"];
    }
    EXPECT_EQ(actual, expected);
}

TEST_F(DeviceCommand, FindsTheIdentityThatIsStoredAndWritesNothing) {
    writeProgram();
    const std::vector<std::string> call{"device",
                                        "--key",
                                        key,
                                        "--program",
                                        "shop",
                                        "--host",
                                        "vendorIdentifier=AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE"};
    Outcome shown = kiv(call);
    EXPECT_CONTAINS(shown.out, data + "/io.shop/Library\n");
    EXPECT_CONTAINS(shown.out, "distinct_id               AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE\n"
                               "                            not stored yet");
    EXPECT_TRUE(filesBelow(data).empty());

    KIVHost host;
    host.libraryDirectory = data + "/io.shop/Library";
    host.vendorIdentifier = "BBBBBBBB-BBBB-4CCC-8DDD-EEEEEEEEEEEE";
    KIVHost::configure(std::move(host));
    const std::string file = KIVUDID(key).propertiesFilePath();
    shown = kiv(call);
    EXPECT_CONTAINS(shown.out, "distinct_id               BBBBBBBB-BBBB-4CCC-8DDD-EEEEEEEEEEEE\n"
                               "                            stored in the Library folder\n");
    EXPECT_CONTAINS(shown.out, "kiv.distinct_id               string  BBBBBBBB-");
    std::vector<std::string> elsewhere = call;
    elsewhere.insert(elsewhere.end(), {"--library-folder", "elsewhere"});
    EXPECT_CONTAINS(kiv(elsewhere).out, "AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE");

    write(file, "bplist00 damaged");
    EXPECT_CONTAINS(kiv(call).out, "AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE");
    EXPECT_EQ(read(file), "bplist00 damaged");
    EXPECT_FALSE(std::filesystem::exists("elsewhere"));
}

TEST_F(DeviceCommand, TheCertificateCountsInEitherForm) {
    ASSERT_EQ(kiv({"config", "keygen", "--out", "signing"}).exitCode, 0);
    const auto buid = [](const std::vector<std::string>& more) {
        std::vector<std::string> call{"device", "--key", key, "--json"};
        call.insert(call.end(), more.begin(), more.end());
        return std::string(parsed(kiv(call).out).at("buid").as_string());
    };
    const std::string own = buid({"--certificate", "signing.certificate.txt"});
    EXPECT_EQ(buid({"--certificate", "signing.certificate.pem"}), own);
    EXPECT_NE(buid({}), own);
}

TEST_F(DeviceCommand, SaysWhatIsWrongWithItsInput) {
    const struct {
        std::vector<std::string> arguments;
        int exitCode;
        std::string message;
    } cases[] = {
        {{"--key", "5e0b"}, 1, "\"5e0b\" is no key of an application"},
        {{"--json"}, 2, "--key is required"},
        {{"--key", key, "--program", "missing"}, 1, "missing: there is no such program"},
        {{"--key", key, "--program", "."}, 1, ".: there is no such program"},
        {{"--key", key, "--certificate", "stdin"}, 1, "stdin: holds no certificate"},
        {{"--key", key, "--host", "locale"}, 2, "there is no NAME=VALUE in \"locale\""},
        {{"--key", key, "--host", "Local=fr"}, 2, "Did you mean locale?"},
        {{"--key", key, "--host", "screen=390x"}, 1, "\"390x\" is no size like 390x844"},
        {{"--key", key, "--host", "screen=99999999999x1"}, 1, "is no size"},
    };
    for (const auto& each : cases) {
        std::vector<std::string> call{"device"};
        call.insert(call.end(), each.arguments.begin(), each.arguments.end());
        const Outcome outcome = kiv(call);
        EXPECT_EQ(outcome.exitCode, each.exitCode) << each.message;
        EXPECT_CONTAINS(outcome.err, each.message);
        EXPECT_EQ(outcome.out, "");
    }
}

} // namespace
