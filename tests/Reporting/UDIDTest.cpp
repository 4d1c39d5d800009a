#include <cstdlib>

#include <gtest/gtest.h>

#include <kiv/KIVHost.h>

#include "Platform/Files.h"
#include "Platform/PropertyList.h"
#include "Reporting/KIVUDID.h"
#include "Support/CapturedLog.h"

namespace {

const std::string vendor = "AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE";
const std::string otherVendor = "BBBBBBBB-BBBB-4CCC-8DDD-EEEEEEEEEEEE";

KIVHost hostOf(const std::string& identifier) {
    KIVHost host;
    host.libraryDirectory = std::string(std::getenv("HOME")) + "/Library";
    host.vendorIdentifier = identifier;
    return host;
}

TEST(UDID, IsKeptForEachKey) {
    KIVHost::configure(hostOf(vendor));
    const KIVUDID first("k1");
    EXPECT_EQ(first.distinctId(), vendor);
    EXPECT_EQ(first.propertiesFilePath(),
              *KIVHost::current()->libraryDirectory + "/corvane-k1-properties.plist");
    EXPECT_EQ(kiv::readPropertyList(first.propertiesFilePath()),
              (kiv::json::object{{"distinct_id", vendor}}));
    KIVHost::configure(hostOf(otherVendor));
    EXPECT_EQ(KIVUDID("k1").distinctId(), vendor);
    EXPECT_EQ(KIVUDID("k2").distinctId(), otherVendor);
}

TEST(UDID, IsMadeAnewWhenItsFileIsNoGood) {
    KIVHost::configure(hostOf(vendor));
    const std::string path = KIVUDID("k").propertiesFilePath();
    std::string altered = *kiv::readFile(path);
    altered.replace(altered.find("AAAA"), 4, "aaaa");
    const std::string contents[] = {"",
                                    "nonsense",
                                    altered,
                                    kiv::encodePropertyList({{"distinct_id", 7}}),
                                    kiv::encodePropertyList({{"distinct_id", ""}}),
                                    kiv::encodePropertyList({{"other", vendor}})};
    KIVHost::configure(hostOf(otherVendor));
    for (const std::string& content : contents) {
        ASSERT_TRUE(kiv::writeFile(path, content));
        EXPECT_EQ(KIVUDID("k").distinctId(), otherVendor);
        EXPECT_EQ(kiv::readPropertyList(path), (kiv::json::object{{"distinct_id", otherVendor}}));
    }
}

TEST(UDID, ServesWithoutAFolderToWriteTo) {
    KIVHost host = hostOf(vendor);
    ASSERT_TRUE(kiv::writeFile(*host.libraryDirectory, "a file where the folder should be"));
    const CapturedLog log(host);
    EXPECT_EQ(KIVUDID("k").distinctId(), vendor);
    EXPECT_TRUE(log.has({"could not write", "corvane-k-properties.plist"}));
}

} // namespace
