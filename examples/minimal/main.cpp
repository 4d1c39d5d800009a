#include <cstdio>

#include <kiv/kiv.h>

struct CheckoutFlags : KIVBaseContainer {
    KIVFlag expressCheckout{false};
    KIVString buttonColor{"blue", {"blue", "green", "red"}};
    KIV_CONTAINER(CheckoutFlags, expressCheckout, buttonColor);
};

int main() {
    auto flags = std::make_shared<CheckoutFlags>();
    KIVCore::register_("checkout", flags);
    KIVCore::setCustomStringProperty("FR", "country");
    KIVOptions options;
    options.defaultConfigurationPath = "flags.json";
    KIVCore::setupWithKey("5e0bd1f2c3a4b5d6e7f80912", options);
    if (flags->expressCheckout.isEnabled()) {
        std::puts("express checkout");
    }
    std::printf("a %s button\n", flags->buttonColor.value().c_str());
}
