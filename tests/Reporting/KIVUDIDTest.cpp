#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <kiv/KIVHost.h>

#include "Platform/PropertyLists/PropertyList.h"
#include "Platform/System/Files.h"
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

TEST(UDID, IsTheVendorIdentifierInUpperCaseOrElseNew) {
    KIVHost::configure(hostOf("aaaaaaaa-bbbb-4ccc-8ddd-eeeeeeeeeeee"));
    EXPECT_EQ(KIVUDID("lower").distinctId(), vendor);
    KIVHost::configure(hostOf(""));
    EXPECT_EQ(KIVUDID("none").distinctId().size(), vendor.size());
}

/// Four processes start together with a new folder, or with a damaged file, and each would choose another
/// identifier.
TEST(UDID, IsTheSameForProcessesThatStartTogether) {
    for (int round = 0; round < 20; ++round) {
        const std::string key = std::to_string(round);
        if (round % 2 == 1) {
            const KIVHost host = hostOf(vendor);
            ASSERT_TRUE(
                kiv::writeFile(*host.libraryDirectory + "/corvane-" + key + "-properties.plist", "damaged"));
        }
        std::vector<int> ends;
        for (char process = 'A'; process < 'E'; ++process) {
            int pair[2];
            ASSERT_EQ(pipe(pair), 0);
            if (fork() == 0) {
                KIVHost::configure(hostOf(std::string(36, process)));
                const std::string own = KIVUDID(key).distinctId();
                _exit(write(pair[1], own.data(), own.size()) == 36 ? 0 : 1);
            }
            close(pair[1]);
            ends.push_back(pair[0]);
        }
        KIVHost::configure(hostOf(vendor));
        std::set<std::string> identifiers;
        for (const int end : ends) {
            std::string identifier(36, ' ');
            EXPECT_EQ(read(end, identifier.data(), identifier.size()), 36);
            identifiers.insert(identifier);
            close(end);
            wait(nullptr);
        }
        EXPECT_EQ(identifiers, std::set{KIVUDID(key).distinctId()});
    }
}

TEST(UDID, TouchesNoFileWithoutALibraryFolder) {
    KIVHost host = hostOf(vendor);
    host.libraryDirectory = "";
    KIVHost::configure(host);
    ASSERT_EQ(chdir(std::getenv("HOME")), 0);
    ASSERT_TRUE(kiv::writeFile(std::getenv("HOME") + std::string("/.new"), "the application's"));
    EXPECT_EQ(KIVUDID("k").distinctId(), vendor);
    EXPECT_EQ(kiv::readFile(std::getenv("HOME") + std::string("/.new")), "the application's");
}

TEST(UDID, ServesWithoutAFolderToWriteTo) {
    KIVHost host = hostOf(vendor);
    ASSERT_TRUE(kiv::writeFile(*host.libraryDirectory, "a file where the folder should be"));
    const CapturedLog log(host);
    EXPECT_EQ(KIVUDID("k").distinctId(), vendor);
    EXPECT_TRUE(log.has({"could not write", "corvane-k-properties.plist"}));
}

} // namespace
