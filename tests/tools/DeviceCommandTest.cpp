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

    const std::string data = std::getenv("XDG_DATA_HOME");
};

TEST_F(DeviceCommand, ShowsTheDocumentOfAnApplicationThatToldTheSame) {
    writeProgram();
    const std::string shown = output({"device", "--key", key, "--program", "shop", "--host", "locale=fr_BE",
                                      "--host", "screen=390x844", "--host", "model=a=b", "--json"});

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
    kiv::json::object actual = parsed(shown).as_object();
    if (!KIVHost::current()->vendorIdentifier) { // another random one each time
        actual["distinct_id"] = expected["distinct_id"];
    }
    EXPECT_EQ(actual, expected);
}

TEST_F(DeviceCommand, FindsTheIdentityThatIsStoredAndWritesNothing) {
    writeProgram();
    const std::string vendor = "vendorIdentifier=AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE";
    const Arguments call{"device", "--key", key, "--program", "shop", "--host", vendor};
    std::string shown = output(call);
    EXPECT_CONTAINS(shown, data + "/io.shop/Library\n");
    EXPECT_CONTAINS(shown, "distinct_id               AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE\n"
                           "                            not stored yet");
    EXPECT_FALSE(std::filesystem::exists(data));

    KIVHost host;
    host.libraryDirectory = data + "/io.shop/Library";
    host.vendorIdentifier = "BBBBBBBB-BBBB-4CCC-8DDD-EEEEEEEEEEEE";
    KIVHost::configure(std::move(host));
    const std::string file = KIVUDID(key).propertiesFilePath();
    shown = output(call);
    EXPECT_CONTAINS(shown, "distinct_id               BBBBBBBB-BBBB-4CCC-8DDD-EEEEEEEEEEEE\n"
                           "                            stored in the Library folder\n");
    EXPECT_CONTAINS(shown, "kiv.distinct_id               string  BBBBBBBB-");
    EXPECT_CONTAINS(output(joined(call, {"--library-folder", "elsewhere"})),
                    "AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE");

    write(file, "bplist00 damaged");
    EXPECT_CONTAINS(output(call), "AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE");
    EXPECT_EQ(read(file), "bplist00 damaged");
    EXPECT_FALSE(std::filesystem::exists("elsewhere"));
}

TEST_F(DeviceCommand, TheCertificateCountsInEitherForm) {
    ASSERT_EQ(kiv({"config", "keygen", "--out", "signing"}).exitCode, 0);
    const auto buid = [](const Arguments& more) {
        return parsed(output(joined({"device", "--key", key, "--json"}, more))).at("buid");
    };
    const kiv::json::value own = buid({"--certificate", "signing.certificate.txt"});
    EXPECT_EQ(buid({"--certificate", "signing.certificate.pem"}), own);
    EXPECT_NE(buid({}), own);
}

TEST_F(DeviceCommand, SaysWhatIsWrongWithItsInput) {
    const Call calls[] = {
        {{"--key", "5e0b"}, 1, "\"5e0b\" is not a key of an application"},
        {{"--json"}, 2, "--key is required"},
        {{"--key", key, "--program", "missing"}, 1, "missing: there is no such program"},
        {{"--key", key, "--program", "."}, 1, ".: there is no such program"},
        {{"--key", key, "--certificate", "stdin"}, 1, "stdin: holds no certificate"},
        {{"--key", key, "--host", "locale"}, 2, "\"locale\" does not have the form FIELD=VALUE"},
        {{"--key", key, "--host", "Local=fr"}, 2, "Did you mean locale?"},
        {{"--key", key, "--host", "screen=390x"}, 1, "\"390x\" is not a size like 390x844"},
        {{"--key", key, "--host", "screen=99999999999x1"}, 1, "is not a size"},
    };
    expectTold({"device"}, calls);
}

} // namespace
