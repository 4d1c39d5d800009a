#include "KivxLanguage/KivxCustomPropertiesExtensions.h"

#include <optional>
#include <string_view>
#include <utility>

#include "KivxLanguage/KivxParser.h"
#include "KivxLanguage/KivxStack.h"
#include "KivxLanguage/KivxTrace.h"
#include "Properties/KIVCustomPropertiesRepository.h"
#include "Runtime/KIVDebugger.h"
#include "Runtime/KIVUserspaceHandlerException.h"

namespace {

using Context = KIVDynamicPropertyContext;

template <class T>
KivxValue asValue(T value) {
    return value;
}

template <class T>
KivxValue asValue(std::optional<T> value) {
    return value ? KivxValue(std::move(*value)) : KivxValue();
}

template <auto request>
KivxValue ask(const KIVCustomProperty& property, std::string_view flagName, const Context& context) {
    return asValue((property.*request)(flagName, context));
}

auto requestFor(const std::string& type) {
    constexpr struct {
        std::string_view type;
        KivxValue (*ask)(const KIVCustomProperty& property, std::string_view flagName,
                         const Context& context);
    } requests[] = {
        {KIVC_customPropertyTypeInt, ask<&KIVCustomProperty::intValue>},
        {KIVC_customPropertyTypeBool, ask<&KIVCustomProperty::boolValue>},
        {KIVC_customPropertyTypeDouble, ask<&KIVCustomProperty::doubleValue>},
        {KIVC_customPropertyTypeString, ask<&KIVCustomProperty::stringValue>},
        {KIVC_customPropertyTypeSemver, ask<&KIVCustomProperty::stringValue>},
        {KIVC_customPropertyTypeDateTime, ask<&KIVCustomProperty::dateValue>},
    };
    for (const auto& each : requests) {
        if (each.type == type) {
            return each.ask;
        }
    }
    throw KIVException::internalInconsistency(kiv::format("Expected a valid property type, got %@", type));
}

/// The property refuses the request by itself when it has no callback of its type.
bool isRefusal(const KIVException& failure) {
    return failure.reason().starts_with("KIV Custom property is of wrong type, expected ");
}

KivxValue valueOf(const KIVCustomProperty& property, std::string_view flagName, const Context& context) {
    const auto request = requestFor(property.type());
    try {
        return request(property, flagName, context);
    } catch (...) {
        KIVException failure = KIVException::current();
        if (isRefusal(failure)) {
            throw;
        }
        throw KIVUserspaceHandlerException(KIVUserspaceSource::computedCustomProperty, std::move(failure));
    }
}

KivxValue unregisteredValue(std::string_view name, const KIVDynamicPropertiesRule& rule,
                            const Context& context) {
    if (!rule) {
        return context.get(name);
    }
    try {
        return rule(name, context);
    } catch (...) {
        throw KIVUserspaceHandlerException(KIVUserspaceSource::dynamicPropertiesRule,
                                           KIVException::current());
    }
}

void push(KivxStack& stack, std::string_view source, KivxValue value) {
    if (KivxTrace* trace = KivxTrace::current()) {
        trace->noted("source", KivxValue::borrowed(source));
        trace->noted("property", value.isNone() ? KivxValue::undefined() : value);
    }
    stack.push(std::move(value));
}

} // namespace

KivxCustomPropertiesExtensions::KivxCustomPropertiesExtensions(
    KivxParser& parser, std::shared_ptr<const KIVCustomPropertiesRepository> repository,
    KIVDynamicPropertiesRule rule)
    : parser_(parser), repository_(std::move(repository)), rule_(std::move(rule)) {}

void KivxCustomPropertiesExtensions::extend() {
    parser_.setOperator("property", [repository = repository_, rule = rule_](
                                        const KivxParser&, KivxStack& stack, std::string_view flagName,
                                        const EvaluationContext& context) {
        const KivxValue argument = stack.pop();
        // What is no text names no property.
        const std::string_view name = argument.text().value_or("");
        const KIVCustomProperty* property = argument.text() ? repository->find(name) : nullptr;
        if (property && property->fixedText()) {
            // Stays where it is, under the evaluation's guard.
            return push(stack, "registered", KivxValue::borrowed(*property->fixedText()));
        }
        KivxValue value;
        if (property) {
            value = valueOf(*property, flagName, context.dynamicPropertyContext);
        } else if (argument.text()) {
            value = unregisteredValue(name, rule, context.dynamicPropertyContext);
            if (!value.isString() && !value.isNumber()) {
                value = KivxValue::undefined();
            }
        }
        stack.charge(value.text().value_or("").size());
        push(stack, property ? "registered" : rule ? "rule" : "context", std::move(value));
    });
}
