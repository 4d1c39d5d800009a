// Draws the flags screen as text, and plays a person who uses it. An application draws it with its own
// toolkit in the same way; docs/flags-screen.md explains the calls.
//
// Usage: flags-listing [FOLDER]. Overrides are kept in the folder; without one nothing is kept.

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include <kiv/kiv.h>

namespace {

struct CheckoutFlags : KIVBaseContainer {
    KIVFlag expressCheckout{false};
    KIVString buttonColor{"blue", {"blue", "green", "red"}};
    KIVInt retries{3, {1, 3, 5}};

    KIV_CONTAINER(CheckoutFlags, expressCheckout, buttonColor, retries);
};

void draw(KIVFlagsViewController& screen) {
    std::printf("\n%s\n", screen.title().c_str());
    for (std::size_t section = 0; section < screen.numberOfSectionsInTableView(); ++section) {
        std::printf("\n  %s\n", screen.titleForHeaderInSection(section).c_str());
        for (std::size_t row = 0; row < screen.numberOfRowsInSection(section); ++row) {
            const auto cell = screen.cellForRowAtIndexPath({section, row});
            if (!cell) {
                continue; // the flag is no longer registered
            }
            std::string control;
            if (const auto* boolean = cell->asBooleanSwitch()) {
                control = boolean->flagSwitch().isOn ? "[ON]" : "[off]";
            } else if (const auto* multi = cell->asMultiVariant()) {
                control = multi->flagButton().title;
            }
            std::printf("    %-20s %s\n", cell->textLabel().c_str(), control.c_str());
            if (cell->detailTextLabel()) {
                std::printf("      %s\n", cell->detailTextLabel()->c_str());
            }
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    KIVHost host;
    host.libraryDirectory = argc > 1 ? argv[1] : ""; // empty: the library writes no files
    KIVHost::configure(host);
    KIVCore::register_("checkout", std::make_shared<CheckoutFlags>());
    // Options without endpoints: the library makes no requests.
    KIVCore::setupWithKey("5e0bd1f2c3a4b5d6e7f80912",
                          {.networkConfigurations = KIVNetworkConfigurationsOptions{}});

    const auto screen = KIVCore::flagsViewController(); // null before setup
    if (!screen) {
        return EXIT_FAILURE;
    }
    screen->viewDidLoad();        // groups the flags
    screen->viewWillAppear(true); // sets the title and the "Reset All" button
    draw(*screen);
    // From here on the screen says when to draw.
    screen->setView({
        .reloadData = [&] { draw(*screen); },
        .present =
            [](const KIVFlagsAlert& alert) {
                std::printf("\n  %s\n  %s\n", alert.title.c_str(), alert.message.c_str());
                for (const auto& action : alert.actions) {
                    std::printf("    - %s\n", action.title.c_str());
                }
                alert.actions[1].handler(); // the person picks the second variation
            },
        .dismiss = [] { std::puts("\n(the screen is gone)"); },
    });
    screen->textDidChange("color"); // the person searches for "color" ...
    if (const auto cell =
            std::dynamic_pointer_cast<KIVMultiVariantTableViewCell>(screen->cellForRowAtIndexPath({0, 0}))) {
        cell->flagButtonTapped(); // ... and presses the value of the flag that was found
    }
    screen->searchBarCancelButtonClicked();
    screen->rightBarButtonItem()->action(); // the person presses "Reset All"
    screen->setView({});
    KIVCore::shutdown();
}
