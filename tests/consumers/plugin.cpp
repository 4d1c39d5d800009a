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
    options.networkConfigurations.emplace(); // no endpoints, so no requests
    KIVCore::setupWithKey("5e0bd1f2c3a4b5d6e7f80912", options);
    const std::string color = flags->color.value();
    KIVCore::shutdown();
    return color == "blue" ? 0 : 1;
}
