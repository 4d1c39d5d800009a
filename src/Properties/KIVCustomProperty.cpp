#include <kiv/KIVCustomProperty.h>

#include <kiv/KIVException.h>

#include "Runtime/KIVDebugger.h"

namespace {

template <class Value>
auto fixed(Value value) {
    return [kept = std::move(value)](std::string_view, const KIVDynamicPropertyContext&) { return kept; };
}

template <class Block>
auto ask(const Block& block, const char* expected, const std::string& actual, std::string_view flagName,
         const KIVDynamicPropertyContext& context) {
    if (!block) {
        throw KIVException::internalInconsistency(
            kiv::format("KIV Custom property is of wrong type, expected '%@' actual '%@", expected, actual));
    }
    return block(flagName, context);
}

} // namespace

KIVCustomProperty::~KIVCustomProperty() = default;

bool KIVDeviceProperty::isKivProperty() const { return true; }

KIVCustomProperty::KIVCustomProperty(std::string name, const char* type, const char* externalType)
    : name_(std::move(name)), type_(type), externalType_(externalType) {}

KIVCustomProperty::KIVCustomProperty(std::string name, const KIVCustomProperty& other)
    : KIVCustomProperty(other) {
    name_ = std::move(name);
}

KIVDeviceProperty::KIVDeviceProperty(const KIVCustomProperty& inner)
    : KIVCustomProperty(kiv::format("%@.%@", KIVC_customPropertyKIV, inner.name()), inner) {}

template <class Block>
std::shared_ptr<KIVCustomProperty> KIVCustomProperty::make(std::string name, const char* type,
                                                           const char* externalType,
                                                           Block KIVCustomProperty::*field, Block block) {
    std::shared_ptr<KIVCustomProperty> property(new KIVCustomProperty(std::move(name), type, externalType));
    (*property).*field = std::move(block);
    return property;
}

std::shared_ptr<KIVCustomProperty> KIVCustomProperty::withStringValue(std::string name, std::string value) {
    auto property = withStringBlock(std::move(name), fixed(std::optional<std::string>(value)));
    property->fixedText_ = std::move(value);
    return property;
}

std::shared_ptr<KIVCustomProperty> KIVCustomProperty::withStringBlock(std::string name,
                                                                      KIVStringBlock block) {
    return make(std::move(name), KIVC_customPropertyTypeString, KIVC_customPropertyExternalTypeString,
                &KIVCustomProperty::stringBlock_, std::move(block));
}

std::shared_ptr<KIVCustomProperty> KIVCustomProperty::withSemverValue(std::string name, std::string value) {
    auto property = withSemverBlock(std::move(name), fixed(std::optional<std::string>(value)));
    property->fixedText_ = std::move(value);
    return property;
}

std::shared_ptr<KIVCustomProperty> KIVCustomProperty::withSemverBlock(std::string name,
                                                                      KIVStringBlock block) {
    return make(std::move(name), KIVC_customPropertyTypeSemver, KIVC_customPropertyExternalTypeSemver,
                &KIVCustomProperty::stringBlock_, std::move(block));
}

std::shared_ptr<KIVCustomProperty> KIVCustomProperty::withDateTimeValue(std::string name, KIVDate value) {
    return withDateTimeBlock(std::move(name), fixed(std::optional<KIVDate>(value)));
}

std::shared_ptr<KIVCustomProperty> KIVCustomProperty::withDateTimeBlock(std::string name,
                                                                        KIVDateBlock block) {
    return make(std::move(name), KIVC_customPropertyTypeDateTime, KIVC_customPropertyExternalTypeDateTime,
                &KIVCustomProperty::dateBlock_, std::move(block));
}

std::shared_ptr<KIVCustomProperty> KIVCustomProperty::withBoolValue(std::string name, bool value) {
    return withBoolBlock(std::move(name), fixed(value));
}

std::shared_ptr<KIVCustomProperty> KIVCustomProperty::withBoolBlock(std::string name, KIVBoolBlock block) {
    return make(std::move(name), KIVC_customPropertyTypeBool, KIVC_customPropertyExternalTypeBool,
                &KIVCustomProperty::boolBlock_, std::move(block));
}

std::shared_ptr<KIVCustomProperty> KIVCustomProperty::withIntValue(std::string name, std::int32_t value) {
    return withIntBlock(std::move(name), fixed(value));
}

std::shared_ptr<KIVCustomProperty> KIVCustomProperty::withIntBlock(std::string name, KIVIntBlock block) {
    return make(std::move(name), KIVC_customPropertyTypeInt, KIVC_customPropertyExternalTypeNumber,
                &KIVCustomProperty::intBlock_, std::move(block));
}

std::shared_ptr<KIVCustomProperty> KIVCustomProperty::withDoubleValue(std::string name, double value) {
    return withDoubleBlock(std::move(name), fixed(value));
}

std::shared_ptr<KIVCustomProperty> KIVCustomProperty::withDoubleBlock(std::string name,
                                                                      KIVDoubleBlock block) {
    return make(std::move(name), KIVC_customPropertyTypeDouble, KIVC_customPropertyExternalTypeNumber,
                &KIVCustomProperty::doubleBlock_, std::move(block));
}

std::optional<std::string> KIVCustomProperty::stringValue(std::string_view flagName,
                                                          const KIVDynamicPropertyContext& context) const {
    return ask(stringBlock_, "string", type_, flagName, context);
}

bool KIVCustomProperty::boolValue(std::string_view flagName, const KIVDynamicPropertyContext& context) const {
    return ask(boolBlock_, "bool", type_, flagName, context);
}

std::int32_t KIVCustomProperty::intValue(std::string_view flagName,
                                         const KIVDynamicPropertyContext& context) const {
    return ask(intBlock_, "int", type_, flagName, context);
}

double KIVCustomProperty::doubleValue(std::string_view flagName,
                                      const KIVDynamicPropertyContext& context) const {
    return ask(doubleBlock_, "double", type_, flagName, context);
}

// The message says "double" for a date: it has always said so, and people search their logs for it.
std::optional<KIVDate> KIVCustomProperty::dateValue(std::string_view flagName,
                                                    const KIVDynamicPropertyContext& context) const {
    return ask(dateBlock_, "double", type_, flagName, context);
}
