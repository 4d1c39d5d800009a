#include <kiv/KIVVariantTableViewCell.h>

#include <utility>

#include <kiv/KIVException.h>
#include <kiv/KIVFlagsOverrides.h>
#include <kiv/KIVString.h>

#include "Flags/KIVFeatureFlagsSetter.h"
#include "Platform/Text/Text.h"

namespace {

bool isLower(char c) { return c >= 'a' && c <= 'z'; }
bool isUpper(char c) { return c >= 'A' && c <= 'Z'; }

/// "myApp.showNewLogin" is "Show New Login".
std::string labelOf(std::string_view name) {
    std::string words;
    for (const char c : name.substr(name.rfind('.') + 1)) {
        if (isUpper(c) && !words.empty() && isLower(words.back())) {
            words += ' ';
        }
        words += c;
    }
    return kiv::capitalized(words);
}

} // namespace

KIVVariantTableViewCell::~KIVVariantTableViewCell() = default;

std::string KIVVariantTableViewCell::cellIdentifier() {
    throw KIVException::unrecognizedOperation("KIVVariantTableViewCell has no cellIdentifier");
}

void KIVVariantTableViewCell::setFeature(std::shared_ptr<KIVString> feature) {
    feature_ = std::move(feature);
    textLabel_ = feature_ ? labelOf(feature_->name().value_or("")) : "";
    refresh();
}

void KIVVariantTableViewCell::refresh() {
    showValue(feature_ ? feature_->peek() : "");
    setOverrideDetailLabel();
}

void KIVVariantTableViewCell::setOverride(const std::string& value) {
    if (feature_ && setter_) {
        setter_->overrides()->setOverride(value, *feature_);
    }
    setOverrideDetailLabel();
}

void KIVVariantTableViewCell::setOverrideDetailLabel() {
    detailTextLabel_.reset();
    if (feature_ && setter_ && setter_->overrides()->hasOverride(feature_->name().value_or(""))) {
        detailTextLabel_ = "Overriding original value: " + detailOf(feature_->originalValue());
    }
}
