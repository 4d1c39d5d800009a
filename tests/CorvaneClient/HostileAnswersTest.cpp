#include <chrono>
#include <fstream>
#include <string>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "Analytics/SEG_GZIP.h"
#include "CorvaneClient/KIVClientConfigurationLoadingDataManager.h"
#include "CorvaneClient/Shop.h"
#include "Reporting/KIVDeviceProperties.h"
#include "Support/Inbox.h"
#include "Support/LoopbackServer.h"
#include "Support/Signing.h"

namespace {

using namespace std::chrono_literals;
using Server = LoopbackServer;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool isSanitized = true;
#elif defined(__has_feature)
constexpr bool isSanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool isSanitized = false;
#endif

constexpr std::size_t MiB = 1U << 20;

std::string repeated(std::string_view text, std::size_t bytes) {
    std::string all;
    all.reserve(bytes + text.size());
    while (all.size() < bytes) {
        all += text;
    }
    return all;
}

/// A value of /proc/self/status, in bytes.
std::size_t statusBytes(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == name + ":") {
            std::size_t kilobytes = 0;
            status >> kilobytes;
            return kilobytes * 1024;
        }
    }
    return 0;
}

void forgetPeak() { std::ofstream("/proc/self/clear_refs") << "5"; }

class HostileAnswers : public ::testing::Test {
protected:
    HostileAnswers() { KIVCore::register_("shop", flags); }
    ~HostileAnswers() override { KIVCore::shutdown(); }

    void setUp() {
        KIVCore::setupWithKey(shopKey,
                              {.onConfigurationFetched =
                                   [heard = heard](const KIVFetcherResult& result) { heard->put(result); },
                               .customSigningCertificate = signer.certificateBase64,
                               .networkConfigurations = {{.getConfigCloudEndpoint = server.url("/cdn")}}});
    }
    void answer(Server::Behaviour behaviour) { server.on(path, std::move(behaviour)); }
    void serve(const std::string& color) {
        answer(Server::answer(200, signer.sign(payloadOf({experiment("shop.color", color)}))));
    }
    /// What the next fetch brings, as "STATUS ERROR".
    std::string fetched() {
        KIVCore::fetch();
        return nextResult();
    }
    std::string nextResult() {
        const auto next = heard->next();
        return next ? std::to_string(next->fetcherStatus) + " " + next->errorDetails.value_or("") : "nothing";
    }

    const Signer signer = makeSigner();
    LoopbackServer server;
    const std::string path =
        "/cdn/" + shopKey + "/" + KIVDeviceProperties::buidFor(shopKey, signer.certificateBase64);
    std::shared_ptr<ShopFlags> flags = std::make_shared<ShopFlags>();
    std::shared_ptr<Inbox<KIVFetcherResult>> heard = std::make_shared<Inbox<KIVFetcherResult>>();
};

TEST_F(HostileAnswers, TakeLittleMemoryAndHoldNothingUp) {
    const std::string zeros = repeated("0,", 15 * MiB) + "0";
    const std::string empties = repeated("[],", 15 * MiB) + "[]";
    const std::string letters = repeated("a", 15 * MiB);
    const auto unsignedText = [](const std::string& data) { return R"({"data":")" + data + R"("})"; };
    const auto padded = [](const std::string& text) {
        return payloadOf({experiment("shop.color", "red")}, {{"padding", text}});
    };
    const std::string unknown = "5 KIVNetwork_unknownError";
    const std::string notJson = "5 KIVNetwork_jsonParsing";
    const std::string notVerified = "5 KIVNetwork_signatureWasNotVerified";
    const struct {
        const char* name;
        Server::Behaviour behaviour;
        std::string result;
        std::string color;
    } cases[] = {
        {"numbers", Server::answer(200, R"({"x":[)" + zeros + "]}"), notJson, "green"},
        {"arrays", Server::answer(200, R"({"x":[)" + empties + "]}"), notJson, "green"},
        {"members", Server::answer(200, "{" + repeated(R"("x":0,)", 15 * MiB) + R"("x":0})"), notJson,
         "green"},
        {"an answer of 32 MB", Server::answer(200, R"({"x":[)" + zeros + zeros + "]}"), unknown, "green"},
        {"a small one of 32 MB",
         Server::answer(200, seg_gzippedData(R"({"x":[)" + zeros + "," + zeros + "]}").value(),
                        {{"Content-Encoding", "gzip"}}),
         unknown, "green"},
        {"an unsigned text", Server::answer(200, unsignedText(letters)), notVerified, "green"},
        {"signed numbers", Server::answer(200, signer.sign(R"({"x":[)" + zeros + "]}")), notJson, "green"},
        {"signed arrays", Server::answer(200, signer.sign(R"({"x":[)" + empties + "]}")), notJson, "green"},
        {"a signed text", Server::answer(200, signer.sign(padded(letters))), "3 ", "red"},
        {"a signed text in two bytes a letter", Server::answer(200, signer.sign(padded(letters + "é"))), "3 ",
         "red"},
        {"a document within a million values",
         Server::answer(200, signer.sign(payloadOf({experiment("shop.color", "red")},
                                                   {{"x", kiv::json::array(990'000, kiv::json::value(7))}}))),
         "3 ", "red"},
    };
    setUp();
    EXPECT_EQ(nextResult(), unknown) << "the server does not know it yet";
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        serve("green");
        EXPECT_EQ(fetched(), "3 ");
        answer(each.behaviour);
        const std::size_t before = statusBytes("VmRSS");
        forgetPeak();
        EXPECT_EQ(fetched(), each.result);
        EXPECT_EQ(flags->color.value(), each.color);
        const std::size_t peak = statusBytes("VmHWM") - before;
        if (!isSanitized) { // a sanitizer keeps what is released
            EXPECT_LE(peak, 200 * MiB);
        }
        const auto loading = std::chrono::steady_clock::now();
        const KIVClientConfigurationLoadingDataManager stored(KIVDataPersistency(), nullptr, std::nullopt,
                                                              shopKey);
        RecordProperty(each.name, std::to_string(peak / MiB) + " MiB, " +
                                      std::to_string((std::chrono::steady_clock::now() - loading) / 1ms) +
                                      " ms to load");
    }
}

// The signature does not cover it, and so anybody can add it.
TEST_F(HostileAnswers, AreStoredWithAllTheirMembers) {
    const auto nested = [](int depth) {
        return repeated("[", static_cast<std::size_t>(depth)) +
               repeated("]", static_cast<std::size_t>(depth));
    };
    const std::string document = signer.sign(payloadOf({experiment("shop.color", "red")}));
    setUp();
    nextResult();
    for (const int depth : {499, 999}) {
        const std::string whole = R"({"more":)" + nested(depth) + "," + document.substr(1);
        answer(Server::answer(200, whole));
        EXPECT_EQ(fetched(), "3 ");
        const auto stored =
            KIVClientConfigurationLoadingDataManager(KIVDataPersistency(), nullptr, std::nullopt, shopKey)
                .productionConfiguration();
        ASSERT_TRUE(stored);
        EXPECT_EQ(*stored, *kiv::parseJson(whole)) << depth;
    }
}

TEST_F(HostileAnswers, AreErrorsWhereMemoryIsShort) {
    if (isSanitized) {
        GTEST_SKIP() << "a sanitizer reserves more address space than the limit";
    }
    setUp();
    nextResult();
    const std::string document =
        signer.sign(payloadOf({experiment("shop.color", "red")}, {{"padding", repeated("a", 15 * MiB)}}));
    const auto whole = std::make_shared<const std::string>(
        "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(document.size()) + "\r\n\r\n" + document);
    answer([whole](const auto&, Server::Connection& connection) { connection.send(*whole); });
    ASSERT_EQ(fetched(), "3 ");
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_AS, &limit), 0);
    for (const std::size_t room : {5U, 20U, 28U, 40U, 50U, 60U}) {
        const rlimit tight{.rlim_cur = statusBytes("VmSize") + room * MiB, .rlim_max = limit.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_AS, &tight), 0);
        const std::string result = fetched();
        ASSERT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
        EXPECT_TRUE(result == "5 KIVNetwork_unknownError" || result == "3 ") << room << " MiB: " << result;
    }
}

} // namespace
