#include <stdexcept>

#include <kiv/KIVCore.h>
#include <kiv/KIVCustomProperty.h>

#include "Core/KIVCoreInstance.h"
#include "CorvaneClient/KIVClient.h"
#include "KivxLanguage/KivxParser.h"
#include "evaluate/InputValue.h"
#include "evaluate/ValueText.h"
#include "shell/ShellSession.h"

namespace kiv::tool {
namespace {

/// Sets a property to the field "value", or to a callback that answers that value or throws the text
/// "throws". `setFixed` and `setComputed` are the facade's operations for the property's type. A "value" of
/// null makes the callback give no answer, if the property's type allows that.
template <class Value, class Argument, class Block>
void set(const ShellFields& fields, void (*setFixed)(Argument value, KIVNonnullString key),
         void (*setComputed)(Block block, KIVNonnullString key)) {
    using Answer = typename Block::result_type;
    const auto key = fields.get<std::string>("key");
    const auto failure = fields.find<std::string>("throws");
    if (!failure && !fields.getOr<bool>("computed")) {
        setFixed(fields.get<Value>("value"), key);
        return;
    }
    Answer answer{};
    if (!failure || fields.has("value")) {
        answer = fields.get<Answer>("value");
    }
    setComputed(
        [answer, failure](std::string_view, const KIVDynamicPropertyContext&) {
            if (failure) {
                throw std::runtime_error(*failure);
            }
            return answer;
        },
        key);
}

std::shared_ptr<KIVClient> runningClient() {
    auto client = KIVCoreInstance::getInstance().client();
    if (!client) {
        throw KIVException::internalInconsistency("there is no client before setup");
    }
    return client;
}

} // namespace

json::object shell::setProperty(ShellSession&, const ShellFields& fields) {
    const std::string_view type = fields.choice("type", {std::begin(propertyTypes), std::end(propertyTypes)});
    if (type == KIVC_customPropertyTypeString) {
        set<std::string>(fields, KIVCore::setCustomStringProperty, KIVCore::setCustomComputedStringProperty);
    } else if (type == KIVC_customPropertyTypeSemver) {
        set<std::string>(fields, KIVCore::setCustomSemverProperty, KIVCore::setCustomComputedSemverProperty);
    } else if (type == KIVC_customPropertyTypeDateTime) {
        set<KIVDate>(fields, KIVCore::setCustomDateTimeProperty, KIVCore::setCustomComputedDateTimeProperty);
    } else if (type == KIVC_customPropertyTypeBool) {
        set<bool>(fields, KIVCore::setCustomBooleanProperty, KIVCore::setCustomComputedBooleanProperty);
    } else if (type == KIVC_customPropertyTypeInt) {
        set<int>(fields, KIVCore::setCustomIntProperty, KIVCore::setCustomComputedIntProperty);
    } else {
        set<double>(fields, KIVCore::setCustomDoubleProperty, KIVCore::setCustomComputedDoubleProperty);
    }
    return {};
}

json::object shell::deviceProperties(ShellSession&, const ShellFields&) {
    const auto device = KIVCoreInstance::getInstance().deviceProperties();
    if (!device) {
        throw KIVException::internalInconsistency("there are no device properties before setup");
    }
    return {{"deviceProperties", device->getPropsCopy()}};
}

json::object shell::evaluate(ShellSession&, const ShellFields& fields) {
    const auto expression = fields.get<std::string>("expression");
    const auto flagName = fields.getOr<std::string>("flagName");
    const auto context = EvaluationContext::initDefaultWithContext(
        KIVDynamicPropertyContext(fields.getOr<KIVDynamicPropertyContext::Values>("context")));
    const auto parser = runningClient()->parser();
    return outcome(parser->evaluateExpression(expression, flagName,
                                              EvaluationContext::initMerged(parser.get(), &context)));
}

} // namespace kiv::tool
