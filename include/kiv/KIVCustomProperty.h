#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <kiv/KIVCustomPropertyBlocks.h>
#include <kiv/KIVDynamicPropertyContext.h>
#include <kiv/KIVExport.h>
#include <kiv/KivxValue.h>

inline constexpr const char* KIVC_customPropertyTypeString = "string";
inline constexpr const char* KIVC_customPropertyTypeSemver = "semver";
inline constexpr const char* KIVC_customPropertyTypeDateTime = "datetime";
inline constexpr const char* KIVC_customPropertyTypeBool = "bool";
inline constexpr const char* KIVC_customPropertyTypeInt = "int";
inline constexpr const char* KIVC_customPropertyTypeDouble = "double";
inline constexpr const char* KIVC_customPropertyExternalTypeString = "String";
inline constexpr const char* KIVC_customPropertyExternalTypeSemver = "Semver";
inline constexpr const char* KIVC_customPropertyExternalTypeDateTime = "DateTime";
inline constexpr const char* KIVC_customPropertyExternalTypeBool = "Boolean";
inline constexpr const char* KIVC_customPropertyExternalTypeNumber = "Number";
inline constexpr const char* KIVC_customPropertyDataName = "name";
inline constexpr const char* KIVC_customPropertyDataType = "type";
inline constexpr const char* KIVC_customPropertyDataExternalType = "externalType";
inline constexpr const char* KIVC_customPropertyCustom = "custom";
inline constexpr const char* KIVC_customPropertyKIV = "kiv";

/// A named fact about the user or the device: a fixed value, or a callback that computes one. Immutable; any
/// thread may use it.
class KIV_API KIVCustomProperty {
public:
    KIVCustomProperty() = delete;
    virtual ~KIVCustomProperty();

    /// Make a property with a fixed value, or with a callback that runs each time the value is read.
    static std::shared_ptr<KIVCustomProperty> withStringValue(std::string name, std::string value);
    static std::shared_ptr<KIVCustomProperty> withStringBlock(std::string name, KIVStringBlock block);
    static std::shared_ptr<KIVCustomProperty> withSemverValue(std::string name, std::string value);
    static std::shared_ptr<KIVCustomProperty> withSemverBlock(std::string name, KIVStringBlock block);
    static std::shared_ptr<KIVCustomProperty> withDateTimeValue(std::string name, KIVDate value);
    static std::shared_ptr<KIVCustomProperty> withDateTimeBlock(std::string name, KIVDateBlock block);
    static std::shared_ptr<KIVCustomProperty> withBoolValue(std::string name, bool value);
    static std::shared_ptr<KIVCustomProperty> withBoolBlock(std::string name, KIVBoolBlock block);
    static std::shared_ptr<KIVCustomProperty> withIntValue(std::string name, std::int32_t value);
    static std::shared_ptr<KIVCustomProperty> withIntBlock(std::string name, KIVIntBlock block);
    static std::shared_ptr<KIVCustomProperty> withDoubleValue(std::string name, double value);
    static std::shared_ptr<KIVCustomProperty> withDoubleBlock(std::string name, KIVDoubleBlock block);

    const std::string& name() const { return name_; }
    /// The kind of the property's value, one of the `KIVC_customPropertyType…` constants.
    const std::string& type() const { return type_; }
    /// The kind that is reported to the server, one of the `KIVC_customPropertyExternalType…` constants.
    const std::string& externalType() const { return externalType_; }
    /// True for a property of the library itself (`KIVDeviceProperty`).
    virtual bool isKivProperty() const { return false; }

    /// Read the value. A callback runs on the calling thread and receives `flagName`, the flag that is being
    /// evaluated, and `context`, the values of the read; its exceptions pass to the caller. Each reader
    /// throws a `KIVException` "InternalInconsistency" when the property is of another type or was made with
    /// an empty callback.
    std::optional<std::string> stringValue(std::string_view flagName,
                                           const KIVDynamicPropertyContext& context) const;
    bool boolValue(std::string_view flagName, const KIVDynamicPropertyContext& context) const;
    std::int32_t intValue(std::string_view flagName, const KIVDynamicPropertyContext& context) const;
    double doubleValue(std::string_view flagName, const KIVDynamicPropertyContext& context) const;
    std::optional<KIVDate> dateValue(std::string_view flagName,
                                     const KIVDynamicPropertyContext& context) const;

    /// The text of a property made by `withStringValue` or `withSemverValue`, without a copy; null for every
    /// other property. Valid as long as the property.
    const std::string* fixedText() const { return fixedText_ ? &*fixedText_ : nullptr; }

    /// False when the property was made with an empty callback: then every reading of its value throws.
    bool hasBlock() const { return stringBlock_ || boolBlock_ || intBlock_ || doubleBlock_ || dateBlock_; }

protected:
    KIVCustomProperty(std::string name, const KIVCustomProperty& other);
    KIVCustomProperty(std::string name, const char* type, const char* externalType);

private:
    template <class Block>
    static std::shared_ptr<KIVCustomProperty> make(std::string name, const char* type,
                                                   const char* externalType, Block KIVCustomProperty::*field,
                                                   Block block);

    std::string name_;
    std::string type_;
    std::string externalType_;
    std::optional<std::string> fixedText_;
    KIVStringBlock stringBlock_;
    KIVBoolBlock boolBlock_;
    KIVIntBlock intBlock_;
    KIVDoubleBlock doubleBlock_;
    KIVDateBlock dateBlock_;
};

/// A property of the library itself. Its name begins with "kiv.".
class KIV_API KIVDeviceProperty : public KIVCustomProperty {
public:
    /// A property named "kiv." and the name of `inner`, with the type and the value or callback of `inner`.
    explicit KIVDeviceProperty(const KIVCustomProperty& inner);

    bool isKivProperty() const override;
};
