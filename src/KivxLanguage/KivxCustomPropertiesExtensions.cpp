#include "KivxLanguage/KivxCustomPropertiesExtensions.h"

#include <optional>
#include <string_view>
#include <utility>

#include "KivxLanguage/KivxParser.h"
#include "KivxLanguage/KivxStack.h"
#include "KivxLanguage/KivxTrace.h"
#include "Properties/KIVCustomPropertiesRepository.h"
#include "Runtime/Failure.h"
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

KivxValue valueOf(const KIVCustomProperty& property, std::string_view flagName, const Context& context) {
    const auto request = requestFor(property.type());
    if (!property.hasBlock()) {
        return request(property, flagName, context);
    }
    KivxValue value;
    if (auto failure = kiv::failureOf([&] { value = request(property, flagName, context); })) {
        throw KIVUserspaceHandlerException(KIVUserspaceSource::computedCustomProperty, std::move(*failure));
    }
    return value;
}

/// Asks the rule; without a rule, the context. A value that is neither a text nor a number becomes
/// `undefined`.
KivxValue unregisteredValue(std::string_view name, const KIVDynamicPropertiesRule& rule,
                            const Context& context) {
    KivxValue value;
    if (auto failure = kiv::failureOf([&] { value = rule ? rule(name, context) : context.get(name); })) {
        throw KIVUserspaceHandlerException(KIVUserspaceSource::dynamicPropertiesRule, std::move(*failure));
    }
    return value.isString() || value.isNumber() ? std::move(value) : KivxValue::undefined();
}

/// Answers with the value, or with a text that is borrowed.
template <class Value>
void answer(KivxStack& stack, const char* source, Value value) {
    if (KivxTrace* trace = KivxTrace::current()) {
        const KivxValue noted = KivxValue(value).owned();
        trace->noted("source", source);
        trace->noted("property", noted.isNone() ? KivxValue::undefined() : noted);
    }
    stack.answer(1, std::move(value));
}

void property(KivxStack& stack, const KIVCustomPropertiesRepository& repository,
              const KIVDynamicPropertiesRule& rule, std::string_view flagName, const Context& context) {
    const auto name = stack.first().text();
    if (!name) {
        stack.answer(1, KivxValue::undefined());
        return;
    }
    stack.chargeReading(stack.first());
    const KIVCustomProperty* registered = repository.find(*name);
    if (registered && registered->fixedText()) {
        // Borrowed: the evaluation's guard keeps the property alive.
        answer(stack, "registered", KivxValue::BorrowedText{*registered->fixedText()});
        return;
    }
    KivxValue value =
        registered ? valueOf(*registered, flagName, context) : unregisteredValue(*name, rule, context);
    stack.charge(value.text().value_or("").size());
    answer(stack, registered ? "registered" : rule ? "rule" : "context", std::move(value));
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
        property(stack, *repository, rule, flagName, context.dynamicPropertyContext);
    });
}
