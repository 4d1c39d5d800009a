#include <kiv/KIVDouble.h>

#include "Platform/Text/Text.h"

namespace {

std::vector<std::string> texts(const std::vector<double>& numbers) {
    std::vector<std::string> all;
    for (const double number : numbers) {
        all.push_back(kiv::doubleText(number));
    }
    return all;
}

} // namespace

KIVDouble::KIVDouble(double defaultValue) : KIVString(kiv::doubleText(defaultValue)) {}

KIVDouble::KIVDouble(double defaultValue, const std::vector<double>& variations)
    : KIVString(kiv::doubleText(defaultValue), texts(variations), std::nullopt) {}

KIVDouble::KIVDouble(double defaultValue, const std::vector<double>& variations, unsigned freeze)
    : KIVString(kiv::doubleText(defaultValue), texts(variations), std::optional<unsigned>(freeze)) {}

double KIVDouble::value(const KIVDynamicPropertyContext& context) const {
    const auto evaluation = EvaluationContext::initDefaultWithContext(context);
    return getDoubleValue(&evaluation);
}

void KIVDouble::forceValue(double value) { KIVString::forceValue(kiv::doubleText(value)); }

std::string_view KIVDouble::className() const { return "KIVDouble"; }
