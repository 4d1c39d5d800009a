#include <cstdio>
#include <memory>
#include <stdexcept>

#include <kiv/kiv.h>

#if __cplusplus >= 202002L || defined(__cpp_rtti)
#error "This application is for C++17 without run-time type information."
#endif

namespace {

struct CheckoutFlags : KIVBaseContainer {
    KIVFlag expressCheckout{false};
    KIVString buttonColor{"blue", {"blue", "green", "red"}};

    KIV_CONTAINER(CheckoutFlags, expressCheckout, buttonColor);
};

/// Has no table of its own, so none of its flags are registered.
struct DerivedFlags : CheckoutFlags {};

/// A flag class of the application, for whose objects there is no type information.
struct OwnFlag : KIVFlag {
    std::string_view className() const override { return "OwnFlag"; }
};

struct MoreFlags : CheckoutFlags {
    OwnFlag isNew;

    KIV_CONTAINER(MoreFlags, isNew);
};

struct OwnObject {
    int number;
};

int failures = 0;

void check(bool isRight, const char* what) {
    if (!isRight) {
        std::printf("wrong: %s\n", what);
        ++failures;
    }
}

void checkRegistration() {
    const auto flags = std::make_shared<CheckoutFlags>();
    const auto derived = std::make_shared<DerivedFlags>();
    const auto more = std::make_shared<MoreFlags>();
    KIVCore::register_("checkout", flags);
    KIVCore::register_("derived", derived);
    KIVCore::register_("more", more);
    check(flags->buttonColor.name() == "checkout.buttonColor", "a container's flag is registered");
    check(!derived->buttonColor.name() && !more->buttonColor.name(),
          "flags of a base class are not registered");
    check(more->isNew.name() == "more.isNew", "the derived class's own flag is registered");
    try {
        KIVCore::register_("checkout", flags);
        check(false, "a second registration throws");
    } catch (const KIVException& exception) {
        check(exception.name() == "InvalidNamespace", "the exception has its name");
    }
}

void checkNotifications() {
    auto& center = kiv::NotificationCenter::defaultCenter();
    int impressions = 0;
    int hosts = 0;
    int own = 0;
    const auto read =
        center.addObserver(std::string(KIVFlagImpressionNotification), [&](const auto& notification) {
            impressions += notification.template object<KIVFlagImpression>() ? 1 : 0;
            hosts += notification.template object<KIVHost>() ? 1 : 0;
        });
    const auto ownToken = center.addObserver("own", [&](const auto& notification) {
        const auto* object = notification.template object<OwnObject>();
        own += object ? object->number : 0;
        check(!notification.template object<int>(), "another type is none");
    });
    KIVCore::dynamicAPI()->isEnabled("more.isNew", true);
    center.post("own", OwnObject{7});
    center.removeObserver(read);
    center.removeObserver(ownToken);
    check(impressions > 0 && hosts == 0, "the library's object is found by its type alone");
    check(own == 7, "the application's object is found by its type");
}

void checkFlagsScreen() {
    const auto model = KIVCore::flagsViewController();
    check(model != nullptr, "there is a model of the flags screen");
    model->viewDidLoad();
    int switches = 0;
    int choices = 0;
    for (std::size_t section = 0; section < model->numberOfSectionsInTableView(); ++section) {
        for (std::size_t row = 0; row < model->numberOfRowsInSection(section); ++row) {
            const auto cell = model->cellForRowAtIndexPath({section, row});
            switches += cell->asBooleanSwitch() ? 1 : 0;
            choices += cell->asMultiVariant() ? 1 : 0;
        }
    }
    check(switches == 2 && choices == 1, "boolean flags have switches, the other one a choice");
}

} // namespace

/// An application in C++17 without run-time type information, as a developer would write it.
int main() {
    checkRegistration();
    KIVCore::setCustomDateTimeProperty(KIVDate(std::chrono::microseconds(7)), "born");
    KIVCore::setupWithKey("5e0bd1f2c3a4b5d6e7f80912");
    checkNotifications();
    checkFlagsScreen();
    return failures == 0 ? 0 : 1;
}
