#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <random>
#include <set>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "Analytics/KIVSEGFileStorage.h"
#include "CorvaneClient/Shop.h"
#include "Platform/PropertyLists/PropertyList.h"
#include "Platform/System/Files.h"
#include "Reporting/KIVDeviceProperties.h"
#include "Support/LoopbackServer.h"
#include "Support/Signing.h"

namespace {

namespace json = kiv::json;

/// An application with one flag in a process of its own: `kiv shell`, which a test drives by JSON lines.
class Application {
public:
    Application() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        input_ = ends[1];
        process_ = fork();
        if (process_ == 0) {
            const int nowhere = open("/dev/null", O_WRONLY);
            dup2(ends[0], STDIN_FILENO);
            dup2(nowhere, STDOUT_FILENO);
            dup2(nowhere, STDERR_FILENO);
            execl(KIV_TEST_BIN_DIR "/kiv", "kiv", "shell", nullptr);
            _exit(127);
        }
        close(ends[0]);
    }
    ~Application() {
        close(input_);
        waitpid(process_, nullptr, 0);
    }
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    void setUp(const std::string& folder, const Signer& signer, const json::object& endpoints,
               const std::string& defaultConfigurationPath = "") {
        tell({{"do", "host"}, {"libraryDirectory", folder}});
        tell({{"do", "register"},
              {"flags", json::array{{{"name", "color"}, {"type", "string"}, {"default", "x"}}}}});
        tell({{"do", "setup"},
              {"key", shopKey},
              {"options",
               {{"customSigningCertificate", signer.certificateBase64},
                {"defaultConfigurationPath", defaultConfigurationPath},
                {"networkConfigurations", endpoints}}}});
    }

    /// Sends a line. Lines after the process was killed are dropped.
    void tell(const json::object& line) {
        const std::string text = kiv::compactJson(line) + "\n";
        std::size_t written = 0;
        while (written < text.size()) {
            const ssize_t size = write(input_, text.data() + written, text.size() - written);
            if (size < 0) {
                return;
            }
            written += static_cast<std::size_t>(size);
        }
    }

    void kill() const { ::kill(process_, SIGKILL); }

private:
    int input_ = -1;
    pid_t process_ = -1;
};

/// Reads the property list in a file, which must be whole, and counts the file in `seen`; nullopt when there
/// is none.
std::optional<json::object> wholeList(const std::string& path, int& seen) {
    if (!std::filesystem::exists(path)) {
        return std::nullopt;
    }
    ++seen;
    auto list = kiv::readPropertyList(path);
    EXPECT_TRUE(list) << path;
    return list;
}

TEST(Durability, FilesAreOldOrNewWheneverAProcessIsKilled) {
    std::signal(SIGPIPE, SIG_IGN);
    constexpr int rounds = 200;
    const Signer signer = makeSigner();
    const auto document = [&](std::size_t size) {
        return signer.sign(payloadOf({}, {{"padding", std::string(size, 'x')}}));
    };
    const std::string documents[] = {document(100), document(400'000)};
    const std::string overrides[] = {std::string(10, 'a'), std::string(200'000, 'b')};
    std::set<std::string> known;
    for (const std::string& each : documents) {
        known.insert(std::string(*kiv::textMember(*kiv::parseJson(each), "data")));
    }
    std::atomic<unsigned> asked = 0;
    LoopbackServer server;
    server.on("/cdn/" + shopKey + "/" + KIVDeviceProperties::buidFor(shopKey, signer.certificateBase64),
              [&](const auto& request, auto& connection) {
                  LoopbackServer::answer(200, documents[asked++ % 2])(request, connection);
              });

    const auto run = [&](const std::string& folder, const std::optional<std::chrono::microseconds>& life) {
        const auto start = std::chrono::steady_clock::now();
        std::thread killer;
        {
            Application application;
            killer = std::thread([&] {
                if (life) {
                    std::this_thread::sleep_for(*life);
                    application.kill();
                }
            });
            application.setUp(folder, signer, {{"getConfigCloudEndpoint", server.url("/cdn")}});
            for (int step = 0; step < 6; ++step) {
                application.tell({{"do", "override"}, {"name", "color"}, {"value", overrides[step % 2]}});
                application.tell({{"do", "fetch"}});
            }
            application.tell({{"do", "wait"}, {"event", "configurationFetched"}, {"timeout", 10}});
            killer.join();
        }
        return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() -
                                                                     start);
    };

    const std::string root = *KIVHost::current()->libraryDirectory + "/killed/";
    const auto whole = run(root + "whole", std::nullopt);
    std::mt19937 random(std::random_device{}());
    int identities = 0;
    int records = 0;
    int overrideFiles = 0;
    for (int i = 0; i < rounds; ++i) {
        // Every third run starts in a new folder, so that identities are made too.
        const std::string folder = root + std::to_string(i / 3);
        run(folder, whole * (random() % 1000) / 1000);
        const auto identity = wholeList(folder + "/corvane-" + shopKey + "-properties.plist", identities);
        const auto record =
            wholeList(folder + "/Application Support/Persistency/KIVClientConfigurationLoadingData", records);
        const auto kept =
            wholeList(folder + "/Application Support/io.corvane/flags/overrides", overrideFiles);
        if (identity) {
            EXPECT_TRUE(kiv::textMember(*identity, "distinct_id"));
        }
        if (const auto* stored = record ? kiv::member(*record, "productionConfiguration") : nullptr) {
            EXPECT_TRUE(known.contains(std::string(*kiv::textMember(*stored, "data"))));
        }
        if (const auto* value = kept ? kiv::textMember(*kept, "color") : nullptr) {
            EXPECT_TRUE(*value == overrides[0] || *value == overrides[1]);
        }
        if (i % 3 == 2) {
            std::filesystem::remove_all(folder);
        }
    }
    // Otherwise the kills did not come at all stages.
    EXPECT_GT(identities, 0);
    EXPECT_GT(records, 0);
    EXPECT_GT(overrideFiles, 0);
    EXPECT_LT(overrideFiles, rounds);
}

TEST(Durability, OfQueuedEventsLosesTheNewestAtMost) {
    std::signal(SIGPIPE, SIG_IGN);
    const Signer signer = makeSigner();
    const std::string root = *KIVHost::current()->libraryDirectory + "/queues/";
    const std::string document = root + "document.json";
    ASSERT_TRUE(
        kiv::writeFile(document, signer.sign(payloadOf({experiment("kiv.internal.analytics", "true")}))));
    LoopbackServer server;
    server.on("/impression/" + shopKey, LoopbackServer::reset());
    std::mt19937 random(std::random_device{}());
    constexpr int rounds = 40;
    std::size_t most = 0;
    std::size_t before = 0;
    for (int i = 0; i < rounds; ++i) {
        // Four runs share a folder: each goes on with the queue that the run before it left.
        const std::string folder = root + std::to_string(i / 4);
        {
            Application application;
            application.setUp(folder, signer, {{"analyticsEndpoint", server.url("")}}, document);
            for (int read = 0; read < 200; ++read) {
                application.tell({{"do", "read"}, {"name", "color"}});
            }
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 120'000));
            application.kill();
        }
        const KIVSEGFileStorage storage(folder + "/Application Support/" + shopKey, nullptr);
        const auto queue = storage.arrayForKey("kiv.segmentio.queue.plist");
        const bool isThere = kiv::fileExists(storage.urlForKey("kiv.segmentio.queue.plist"));
        ASSERT_EQ(queue.is_array(), isThere);
        const std::size_t events = isThere ? queue.get_array().size() : 0;
        EXPECT_GE(events, i % 4 == 0 ? 0 : before);
        most = std::max(most, events);
        before = events;
    }
    EXPECT_GT(most, 0U) << "some kills came after a write";
}

} // namespace
