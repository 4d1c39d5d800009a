#include <kiv/KIVCore.h>
#include <kiv/KIVFlagsViewController.h>
#if defined(KIV_FLAGS_SCREEN)
#include <kiv/KIVFlagsScreen.h>
#endif

#include "shell/ShellSession.h"

namespace kiv::tool {

#if defined(KIV_FLAGS_SCREEN)

json::object shell::presentFlagsScreen(ShellSession& session, const ShellFields&) {
    auto screen = std::make_shared<KIVFlagsScreen>(KIVCore::flagsViewController());
    const auto presented = screen->present();
    if (!presented.address) {
        throw KIVException::internalInconsistency(presented.failure);
    }
    session.flagsScreen = std::move(screen);
    return {{"address", *presented.address}};
}

json::object shell::dismissFlagsScreen(ShellSession& session, const ShellFields&) {
    session.flagsScreen.reset();
    return {};
}

#else

json::object shell::presentFlagsScreen(ShellSession&, const ShellFields&) {
    throw KIVException::unrecognizedOperation("this build has no flags screen");
}

json::object shell::dismissFlagsScreen(ShellSession&, const ShellFields&) { return {}; }

#endif

} // namespace kiv::tool
