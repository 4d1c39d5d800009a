// An application that uses every template and macro of the public headers. check-headers compiles it in all
// standards and dialects, and compares what the object files need of the library and the layouts that they
// have written down.
#include <cstddef>

#include <kiv/kiv.h>

namespace {

struct Flags : KIVBaseContainer {
    KIVFlag isOn{false, KIVFreezeNever};
    KIVString color{"blue", {"blue", nullptr, std::string("red")}};
    KIVInt retries{3, {1, 3, 5}};
    std::shared_ptr<KIVDouble> discount = std::make_shared<KIVDouble>(0.25);
    int other = 0;

    KIV_CONTAINER(Flags, isOn, color, retries, discount, other);
};

struct MoreFlags : Flags {
    KIVFlag isNew;

    KIV_CONTAINER(MoreFlags, isNew);
};

KivxValue values() {
    const KIVDate date{std::chrono::microseconds(7)};
    KivxValue::Dictionary members{{"text", std::string_view("a")}, {1, nullptr}, {2U, std::nullopt}};
    KivxValue::Array elements{true, 1,      2L, 3ULL, short{4}, 0.5, 0.5F, "text", std::string("text"),
                              date, members};
    KivxValue value = elements;
    value = KivxValue(elements);
    value = KivxValue::borrowed("text");
    const bool isFound = value == "text" || value != KivxValue(KivxValue::Elements(elements.data(), 1));
    return isFound && value.text() && !value.date() ? std::move(value).owned() : value;
}

} // namespace

void useLibrary() {
    const auto flags = std::make_shared<MoreFlags>();
    KIVCore::register_("application", flags);
    KIVCore::setCustomStringProperty("FR", "country");
    KIVCore::setCustomComputedDateTimeProperty(
        [](std::string_view, const KIVDynamicPropertyContext& context) {
            return context.get("now").date() ? std::optional<KIVDate>(*context.get("now").date())
                                             : std::nullopt;
        },
        "now");
    KIVCore::setupWithKey("5e0bd1f2c3a4b5d6e7f80912");
    flags->isNew.forceValue(flags->isOn.isEnabled());
    flags->isNew.enabled([] {},
                         KIVDynamicPropertyContext({{"country", "FR"}, {"age", 7}, {"more", values()}}));
    KIVCore::dynamicAPI()->getInt("name", 3, {1, 2, 3});

    auto& center = kiv::NotificationCenter::defaultCenter();
    const auto token =
        center.addObserver(std::string(KIVFlagImpressionNotification), [](const auto& notification) {
            const auto* impression = notification.template object<KIVFlagImpression>();
            static_cast<void>(impression && impression->flag.description().empty());
        });
    center.post("of the application", flags);
    center.removeObserver(token);
    if (const auto controller = KIVCore::flagsViewController()) {
        const auto cell = controller->cellForRowAtIndexPath({0, 0});
        static_cast<void>(cell && cell->asBooleanSwitch() && cell->asBooleanSwitch()->flagSwitch().isOn);
    }
    KIVHost host;
    host.screen = KIVHost::Screen{320, 480};
    KIVHost::configure(host);
}

#define SIZE(Type) sizeof(Type), alignof(Type)
extern const std::size_t kivLayouts[];
const std::size_t kivLayouts[] = {SIZE(EvaluationContext),
                                  SIZE(KIVBaseContainer),
                                  SIZE(KIVBooleanSwitchTableViewCell),
                                  SIZE(KIVContainerTable),
                                  SIZE(KIVCustomProperty),
                                  SIZE(KIVDate),
                                  SIZE(KIVDeviceProperty),
                                  SIZE(KIVDouble),
                                  SIZE(KIVDynamicAPI),
                                  SIZE(KIVDynamicPropertyContext),
                                  SIZE(KIVException),
                                  SIZE(KIVFetcherResult),
                                  SIZE(KIVFlag),
                                  SIZE(KIVFlagImpression),
                                  SIZE(KIVFlagsAlert),
                                  SIZE(KIVFlagsOverrides),
                                  SIZE(KIVFlagsViewController),
                                  SIZE(KIVHost),
                                  SIZE(KIVInt),
                                  SIZE(KIVMultiVariantTableViewCell),
                                  SIZE(KIVNetworkConfigurationsOptions),
                                  SIZE(KIVNonnullString),
                                  SIZE(KIVNullableString),
                                  SIZE(KIVOptions),
                                  SIZE(KIVReportingValue),
                                  SIZE(KIVString),
                                  SIZE(KivxValue),
                                  SIZE(MoreFlags),
                                  SIZE(kiv::Notification),
                                  SIZE(kiv::NotificationCenter),
                                  SIZE(kiv::TypeMark)};
