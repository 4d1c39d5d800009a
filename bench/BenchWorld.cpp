#include "BenchWorld.h"

#include <cstdlib>
#include <filesystem>

#include "Platform/Files.h"

namespace {

/// A folder that goes with the process.
const std::string& folder() {
    static const std::string path = [] {
        std::string made = (std::filesystem::temp_directory_path() / "kiv-bench-XXXXXX").string();
        if (!mkdtemp(made.data())) {
            std::abort();
        }
        std::atexit([] { std::filesystem::remove_all(folder()); });
        return made;
    }();
    return path;
}

std::string experiment(const std::string& number, const std::string& flag, const std::string& condition) {
    return R"({"_id":"id-)" + number + R"(","name":"Experiment )" + number +
           R"(","deploymentConfiguration":{"condition":")" + condition + R"("},"featureFlags":[{"name":")" +
           flag + R"("}]})";
}

} // namespace

const Signer& benchSigner() {
    static const Signer& signer = *new Signer(makeSigner());
    return signer;
}

std::string payloadOf(std::size_t experiments) {
    std::string text = R"({"application":")" + benchKey + R"(","experiments":[)";
    for (std::size_t i = 0; i < experiments; ++i) {
        const std::string number = std::to_string(i);
        text += (i ? "," : "") + experiment(number, "bench.flag" + number, R"(eq(\"FR\", \"FR\"))");
    }
    return text + R"(],"targetGroups":[]})";
}

BenchFlags& benchFlags() {
    static BenchFlags& flags = []() -> BenchFlags& {
        KIVHost host;
        host.libraryDirectory = folder();
        KIVHost::configure(host);
        const std::string document = folder() + "/document.json";
        kiv::writeFile(document,
                       benchSigner().sign(R"({"application":")" + benchKey + R"(","experiments":[)" +
                                          experiment("1", "bench.rule", R"(eq(\"FR\", \"FR\"))") + "]}"));
        const auto container = std::make_shared<BenchFlags>();
        KIVCore::register_("bench", container);
        KIVCore::setupWithKey(benchKey, {.customSigningCertificate = benchSigner().certificateBase64,
                                         .defaultConfigurationPath = document});
        return *container; // lives on with the library
    }();
    return flags;
}
