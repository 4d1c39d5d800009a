#pragma once

#include <memory>
#include <optional>
#include <string>

#include <kiv/KIVExport.h>

class KIVFlagsViewController;

/// Shows a flags screen in the browser of this machine (docs/flags-screen.md).
///
/// While it is presented, a thread of the library listens on a port of loopback that is free; whoever has the
/// address may see and override all flags. It ends with `dismiss`, with the controller's `done`, with
/// `KIVCore::shutdown` and another key's setup, and with this object. Callable from any thread; nothing here
/// waits for the browser. Not part of the library when it is built without KIV_FLAGS_SCREEN.
class KIV_API KIVFlagsScreen {
public:
    /// The address to open, or why there is none.
    struct Presentation {
        std::optional<std::string> address;
        std::string failure;
    };

    /// The controller may be null, as the facade's is before setup: then nothing is ever presented.
    explicit KIVFlagsScreen(std::shared_ptr<KIVFlagsViewController> controller);
    ~KIVFlagsScreen();
    KIVFlagsScreen(const KIVFlagsScreen&) = delete;
    KIVFlagsScreen& operator=(const KIVFlagsScreen&) = delete;

    /// Listens from now on. Presented already, it answers the address that it has. A controller whose client
    /// has been shut down or replaced is not presented any more.
    Presentation present();

    /// Opens the address with the system's opener (`xdg-open`), by way of a file that this user alone can
    /// read. False when nothing is presented, or there is no opener.
    bool openInBrowser();

    /// Listens no more; pages that are open say so. Does nothing when nothing is presented.
    void dismiss();

    /// Nothing while it is not presented.
    std::optional<std::string> address() const;

private:
    class Server;
    struct State;

    std::shared_ptr<State> state_;
};
