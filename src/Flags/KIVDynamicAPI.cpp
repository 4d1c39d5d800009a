#include <kiv/KIVDynamicAPI.h>

#include <kiv/KIVDouble.h>
#include <kiv/KIVException.h>
#include <kiv/KIVFlag.h>
#include <kiv/KIVInt.h>

#include "Platform/Text/Text.h"

namespace {

EvaluationContext evaluationWith(const KIVDynamicPropertyContext* context) {
    return context ? EvaluationContext::initDefaultWithContext(*context) : EvaluationContext::initDefault();
}

} // namespace

KIVDynamicAPI::KIVDynamicAPI(FindFlag findFlag, AddFlag addFlag)
    : findFlag_(std::move(findFlag)), addFlag_(std::move(addFlag)) {}

void KIVDynamicAPI::checkFlagName(KIVNullableString name) {
    if (name.isNil()) {
        throw KIVException::invalidArgument("Feature flag name cannot be nil");
    }
}

template <class Make>
std::shared_ptr<KIVString> KIVDynamicAPI::flagNamed(KIVNullableString name, Make&& make) const {
    checkFlagName(name);
    auto flag = findFlag_(name.view());
    if (!flag) {
        auto made = make();
        addFlag_(made, name.string());
        flag = findFlag_(name.view()); // the flag of another thread, when that thread was first
        return flag ? flag : made;
    }
    return flag;
}

bool KIVDynamicAPI::isEnabled(KIVNullableString name, bool defaultValue,
                              const KIVDynamicPropertyContext* context) const {
    const auto flag = flagNamed(name, [&] { return std::make_shared<KIVFlag>(defaultValue); });
    const auto evaluation = evaluationWith(context);
    return flag->getBoolValue(&evaluation, defaultValue ? "true" : "false");
}

std::string KIVDynamicAPI::getValue(KIVNullableString name, const std::string& defaultValue,
                                    const std::vector<KIVNullableString>& variations,
                                    const KIVDynamicPropertyContext* context) const {
    const auto flag = flagNamed(name, [&] { return std::make_shared<KIVString>(defaultValue, variations); });
    const auto evaluation = evaluationWith(context);
    return flag->getStringValue(&evaluation, defaultValue);
}

std::int64_t KIVDynamicAPI::getInt(KIVNullableString name, int defaultValue,
                                   const std::vector<int>& variations,
                                   const KIVDynamicPropertyContext* context) const {
    const auto flag = flagNamed(name, [&] { return std::make_shared<KIVInt>(defaultValue, variations); });
    const auto evaluation = evaluationWith(context);
    return flag->getIntValue(&evaluation, kiv::integerText(defaultValue));
}

double KIVDynamicAPI::getDouble(KIVNullableString name, double defaultValue,
                                const std::vector<double>& variations,
                                const KIVDynamicPropertyContext* context) const {
    const auto flag = flagNamed(name, [&] { return std::make_shared<KIVDouble>(defaultValue, variations); });
    const auto evaluation = evaluationWith(context);
    return flag->getDoubleValue(&evaluation, kiv::doubleText(defaultValue));
}
