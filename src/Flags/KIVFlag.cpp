#include <kiv/KIVFlag.h>

std::string_view KIVFlag::className() const { return "KIVFlag"; }

bool KIVFlag::isBooleanFlag() const { return true; }

bool KIVFlag::isEnabled(const KIVDynamicPropertyContext& context) const {
    const auto evaluation = EvaluationContext::initDefaultWithContext(context);
    return getBoolValue(&evaluation);
}

void KIVFlag::enabled(const Action& action) const { enabled(action, KIVDynamicPropertyContext::empty()); }

void KIVFlag::enabled(const Action& action, const KIVDynamicPropertyContext& context) const {
    if (isEnabled(context) && action) {
        action();
    }
}

void KIVFlag::disabled(const Action& action) const { disabled(action, KIVDynamicPropertyContext::empty()); }

void KIVFlag::disabled(const Action& action, const KIVDynamicPropertyContext& context) const {
    if (!isEnabled(context) && action) {
        action();
    }
}

void KIVFlag::enabled(const Action& whenEnabled, const Action& whenDisabled) const {
    enabled(whenEnabled, whenDisabled, KIVDynamicPropertyContext::empty());
}

void KIVFlag::enabled(const Action& whenEnabled, const Action& whenDisabled,
                      const KIVDynamicPropertyContext& context) const {
    if (isEnabled(context) && whenEnabled) {
        whenEnabled();
        return;
    }
    disabled(whenDisabled, context);
}
