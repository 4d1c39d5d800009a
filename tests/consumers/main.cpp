#include <cstdio>
#include <memory>

#include <kiv/kiv.h>

namespace {

struct CheckoutFlags : KIVBaseContainer {
    KIVFlag expressCheckout{false};
    KIVString buttonColor{"blue", {"blue", "green", "red"}};
    KIVInt retries{3, {1, 3, 5}};
    KIVDouble discount{0.25};

    KIV_CONTAINER(CheckoutFlags, expressCheckout, buttonColor, retries, discount);
};

} // namespace

/// An application as a developer would write it. It has no document, so its flags must have their defaults.
int main() {
    const auto flags = std::make_shared<CheckoutFlags>();
    KIVCore::register_("checkout", flags);
    KIVCore::setCustomStringProperty("FR", "country");
    KIVCore::setupWithKey("5e0bd1f2c3a4b5d6e7f80912");

    bool refused = false;
    try {
        KIVCore::register_("checkout", flags);
    } catch (const KIVException& exception) {
        refused = exception.name() == "InvalidNamespace";
    }
    std::printf("%d %s %d %g\n", flags->expressCheckout.isEnabled(), flags->buttonColor.value().c_str(),
                static_cast<int>(flags->retries.value()), flags->discount.value());
    return refused && !flags->expressCheckout.isEnabled() && flags->buttonColor.value() == "blue" &&
                   flags->retries.value() == 3 && flags->discount.value() == 0.25
               ? 0
               : 1;
}
