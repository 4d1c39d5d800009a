#include <thread>

#include <kiv/kiv.h>

namespace {

struct PluginFlags : KIVBaseContainer {
    KIVString color{"blue", {"blue", "green"}};

    KIV_CONTAINER(PluginFlags, color);
};

} // namespace

/// Uses and shuts down the library, as often as it is called. Leaves threads of the library, a handler of
/// forks and one of the exit behind. Nonzero when a flag had another value than its default.
extern "C" int usePlugin() {
    static const auto flags = [] {
        auto made = std::make_shared<PluginFlags>();
        KIVCore::register_("plugin", made);
        return made;
    }();
    KIVOptions options;
    options.networkConfigurations = KIVNetworkConfigurationsOptions(); // no requests
    options.networkConfigurations->getConfigApiEndpoint = "http://127.0.0.1:9";
    KIVCore::setupWithKey("5e0bd1f2c3a4b5d6e7f80912", options);
    std::string color;
    // On a thread that ends here: the thread-local objects of one that goes on would keep the plug-in loaded.
    std::thread([&] { color = flags->color.value(); }).join();
    KIVCore::shutdown();
    return color == "blue" ? 0 : 1;
}
