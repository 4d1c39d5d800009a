#include <kiv/KIVMultiVariantTableViewCell.h>

#include <kiv/KIVFlagsViewController.h>
#include <kiv/KIVString.h>

#include "Platform/Text/Text.h"

void KIVMultiVariantTableViewCell::flagButtonTapped() {
    const auto model = controller();
    if (!model || !feature()) {
        return;
    }
    KIVFlagsAlert alert{feature()->name().value_or(""), "Override the value with", {}};
    const auto self = std::static_pointer_cast<KIVMultiVariantTableViewCell>(shared_from_this());
    for (const auto& variation : feature()->variations()) {
        alert.actions.push_back({variation, false, [self, variation] { self->choose(variation); }});
    }
    alert.actions.push_back({"Cancel", true, [] {}});
    model->present(alert);
}

void KIVMultiVariantTableViewCell::choose(const std::string& variation) {
    setOverride(variation);
    showValue(variation);
}

void KIVMultiVariantTableViewCell::showValue(const std::string& value) {
    value_ = value;
    flagButton_.title = kiv::capitalized(value);
}
