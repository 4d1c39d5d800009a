#include <kiv/KIVBooleanSwitchTableViewCell.h>

namespace {

constexpr const char* on = "true";
constexpr const char* off = "false";

} // namespace

void KIVBooleanSwitchTableViewCell::switchToggled(bool isOn) {
    flagSwitch_.isOn = isOn;
    setOverride(isOn ? on : off);
}

void KIVBooleanSwitchTableViewCell::showValue(const std::string& value) { flagSwitch_.isOn = value == on; }

std::string KIVBooleanSwitchTableViewCell::detailOf(const std::string& value) const {
    return value == on ? "TRUE" : "FALSE";
}
