// Draws the flags screen as text: the model without a toolkit, in the way docs/flags-screen.md tells.

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
                continue; // registered no more
            }
            std::string control;
            if (const auto* boolean = dynamic_cast<const KIVBooleanSwitchTableViewCell*>(cell.get())) {
                control = boolean->flagSwitch().isOn ? "[ON]" : "[off]";
            } else if (const auto* multi = dynamic_cast<const KIVMultiVariantTableViewCell*>(cell.get())) {
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
    host.libraryDirectory = argc > 1 ? argv[1] : ""; // with an empty one nothing is kept
    KIVHost::configure(host);
    KIVCore::register_("checkout", std::make_shared<CheckoutFlags>());
    KIVCore::setupWithKey("5e0bd1f2c3a4b5d6e7f80912",
                          {.networkConfigurations = KIVNetworkConfigurationsOptions{}});

    const auto screen = KIVCore::flagsViewController(); // null before setup
    if (!screen) {
        return EXIT_FAILURE;
    }
    screen->viewDidLoad();
    screen->viewWillAppear(true);
    draw(*screen);
    screen->setView({
        .reloadData = [&] { draw(*screen); },
        .present =
            [](const KIVFlagsAlert& alert) {
                std::printf("\n  %s\n  %s\n", alert.title.c_str(), alert.message.c_str());
                for (const auto& action : alert.actions) {
                    std::printf("    - %s\n", action.title.c_str());
                }
                alert.actions[1].handler(); // as if the person had picked the second
            },
        .dismiss = [] { std::puts("\n(the screen is gone)"); },
    });
    screen->textDidChange("color"); // a search
    if (const auto cell =
            std::dynamic_pointer_cast<KIVMultiVariantTableViewCell>(screen->cellForRowAtIndexPath({0, 0}))) {
        cell->flagButtonTapped();
    }
    screen->searchBarCancelButtonClicked();
    screen->rightBarButtonItem()->action(); // "Reset All"
    screen->setView({});
    KIVCore::shutdown();
}
