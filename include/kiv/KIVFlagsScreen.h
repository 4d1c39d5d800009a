#pragma once

#include <memory>
#include <optional>
#include <string>

#include <kiv/KIVExport.h>

class KIVFlagsViewController;

/// Presents the model of the flags screen, a `KIVFlagsViewController`, as a page in a browser of this machine
/// (docs/flags-screen.md).
///
/// While the page is presented, a thread of the library serves it on a free port of the loopback interface;
/// whoever has the page's address can see and override all flags. The page ends with `dismiss`, with the
/// model's `done`, with `KIVCore::shutdown`, with another key's setup, and with this object. Callable from
/// any thread; nothing here waits for the browser. The library has no such class when it is built without
/// KIV_FLAGS_SCREEN.
class KIV_API KIVFlagsScreen {
public:
    /// The address of the page; when it is nullopt, `failure` says why.
    struct Presentation {
        std::optional<std::string> address;
        std::string failure;
    };

    /// `controller` is the model. It may be null, as `KIVCore::flagsViewController` is before setup: then
    /// `present` fails.
    explicit KIVFlagsScreen(std::shared_ptr<KIVFlagsViewController> controller);
    ~KIVFlagsScreen();
    KIVFlagsScreen(const KIVFlagsScreen&) = delete;
    KIVFlagsScreen& operator=(const KIVFlagsScreen&) = delete;

    /// Starts to serve the page; returns the same address again while it is presented. Fails when the model's
    /// client has been shut down or replaced.
    Presentation present();

    /// Has the system's opener (`xdg-open`) open the page, by way of a file that this user alone can read.
    /// False when the page is not presented, or there is no opener.
    bool openInBrowser();

    /// Stops serving the page; tabs that show it say so. Waits 200 milliseconds at most for an answer that is
    /// being made. Does nothing when the page is not presented.
    void dismiss();

    /// The address of the page; nullopt while it is not presented.
    std::optional<std::string> address() const;

private:
    class Server;
    struct State;

    std::shared_ptr<State> state_;
};
