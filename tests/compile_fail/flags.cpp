#include <memory>

#include <kiv/kiv.h>

void makeFlags() {
    KIVFlag off;
    KIVFlag on{true};
    // refused: KIVFlag text{"true"};
    // refused: KIVFlag number{1};

    KIVInt retries{3, {1, 3, 5}};
    // refused: KIVInt noDefault;
    // refused: KIVInt nilVariation{3, {nullptr}};

    KIVString color{"blue", {"blue", "green"}};
    // refused: KIVString noDefault;

    KIVDouble discount{0.5, {0.25, 0.5}};
    // refused: KIVDouble noDefault;
    // refused: KIVDouble nilVariation{0.5, {nullptr}};
}

void giveTexts(KIVFlagsOverrides& overrides, const std::shared_ptr<KIVString>& flag) {
    KIVCore::setCustomStringProperty("FR", "country");
    // refused: KIVCore::setCustomStringProperty(nullptr, "country");
    // refused: KIVCore::setCustomSemverProperty(nullptr, "version");
    // refused: KIVCore::setCustomIntProperty(1, nullptr);
    // refused: KIVCore::setCustomComputedBooleanProperty({}, nullptr);

    KIVCore::setVariant(flag, std::string("name"));
    // refused: KIVCore::setVariant(flag, nullptr);
    // refused: KIVCore::variantWithKey(nullptr);
    // refused: KIVCore::unfreezeNamespace(nullptr);

    overrides.setOverride("on", *flag);
    overrides.setOverride("on", "name");
    // refused: overrides.setOverride(nullptr, *flag);
    // refused: overrides.setOverride("on", nullptr);
    // refused: overrides.hasOverride(nullptr);
}

void makeRecords() {
    KIVReportingValue impression("checkout.retries", "3", false, KIVDynamicPropertyContext::empty());
    // refused: KIVReportingValue noImpression;

    KIVDynamicPropertyContext context(KIVDynamicPropertyContext::Values{{"country", "FR"}});
    // refused: KIVDynamicPropertyContext noContext;

    KIVCore::setupWithKey("5e0bd1f2c3a4b5d6e7f80912");
    // refused: KIVCore facade;
}
