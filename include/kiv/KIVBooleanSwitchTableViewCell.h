#pragma once

#include <string>

#include <kiv/KIVVariantTableViewCell.h>

/// The row of a `KIVFlag`: a switch.
class KIV_API KIVBooleanSwitchTableViewCell final : public KIVVariantTableViewCell {
public:
    KIVBooleanSwitchTableViewCell() = default;

    static std::string cellIdentifier() { return "KIVBooleanSwitchTableViewCell"; }

    KIVBooleanSwitchTableViewCell* asBooleanSwitch() override { return this; }

    struct Switch {
        bool isOn = false;
    };
    const Switch& flagSwitch() const { return flagSwitch_; }

    /// To be called when the person has flipped the switch: overrides the flag with "true" or "false".
    void switchToggled(bool isOn);

private:
    void showValue(const std::string& value) override;
    std::string detailOf(const std::string& value) const override;

    Switch flagSwitch_;
};
