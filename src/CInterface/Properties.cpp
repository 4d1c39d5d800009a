#include <chrono>
#include <utility>

#include <kiv/KIVCore.h>

#include "CInterface/Callbacks.h"
#include "CInterface/Calls.h"

namespace {

std::string_view propertyName(const char* name, std::size_t size) {
    const std::string_view checked = kiv::text(name, size, "the property's name");
    if (checked.empty()) {
        kiv::refuse(KIV_INVALID_ARGUMENT, "the property's name is empty");
    }
    return checked;
}

/// A callback for the facade that asks the application's function for a value of the kind, which `read` turns
/// into what the facade wants.
template <class Read>
auto blockOf(kiv_kind kind, kiv_compute_function function, std::shared_ptr<kiv::UserPointer> user,
             Read read) {
    return [=, user = std::move(user)](std::string_view flagName, const KIVDynamicPropertyContext& context) {
        return read(kiv::ask(function, *user, kind, flagName, context));
    };
}

KivxValue answered(KivxValue value) {
    if (value.isNone()) {
        throw KIVException("CallbackFailure", "the callback gave no answer");
    }
    return value;
}

std::optional<std::string> readText(KivxValue value) { return std::move(value).stringValue(); }
bool readBool(KivxValue value) { return answered(std::move(value)).boolValue(); }
std::int32_t readInt(KivxValue value) {
    return static_cast<std::int32_t>(answered(std::move(value)).integerValue());
}
double readDouble(KivxValue value) { return answered(std::move(value)).doubleValue(); }
std::optional<KIVDate> readDate(KivxValue value) {
    return value.date() ? std::optional<KIVDate>(*value.date()) : std::nullopt;
}

void setComputed(std::string_view name, kiv_kind kind, kiv_compute_function function,
                 const std::shared_ptr<kiv::UserPointer>& user) {
    switch (kind) {
    case KIV_TEXT:
        return KIVCore::setCustomComputedStringProperty(blockOf(kind, function, user, readText), name);
    case KIV_SEMVER:
        return KIVCore::setCustomComputedSemverProperty(blockOf(kind, function, user, readText), name);
    case KIV_BOOL:
        return KIVCore::setCustomComputedBooleanProperty(blockOf(kind, function, user, readBool), name);
    case KIV_INT:
        return KIVCore::setCustomComputedIntProperty(blockOf(kind, function, user, readInt), name);
    case KIV_DOUBLE:
        return KIVCore::setCustomComputedDoubleProperty(blockOf(kind, function, user, readDouble), name);
    case KIV_DATE:
        return KIVCore::setCustomComputedDateTimeProperty(blockOf(kind, function, user, readDate), name);
    default:
        kiv::refuse(KIV_INVALID_ARGUMENT, "there are no properties of the kind " + std::to_string(kind));
    }
}

} // namespace

kiv_status kiv_set_text_property(const char* name, std::size_t nameSize, const char* value,
                                 std::size_t valueSize) {
    return kiv::call([&] {
        const std::string_view text = kiv::text(value, valueSize, "the property's value");
        KIVCore::setCustomStringProperty(text, propertyName(name, nameSize));
    });
}

kiv_status kiv_set_semver_property(const char* name, std::size_t nameSize, const char* value,
                                   std::size_t valueSize) {
    return kiv::call([&] {
        const std::string_view text = kiv::text(value, valueSize, "the property's value");
        KIVCore::setCustomSemverProperty(text, propertyName(name, nameSize));
    });
}

kiv_status kiv_set_bool_property(const char* name, std::size_t nameSize, std::int32_t value) {
    return kiv::call([&] { KIVCore::setCustomBooleanProperty(value != 0, propertyName(name, nameSize)); });
}

kiv_status kiv_set_int_property(const char* name, std::size_t nameSize, std::int32_t value) {
    return kiv::call([&] { KIVCore::setCustomIntProperty(value, propertyName(name, nameSize)); });
}

kiv_status kiv_set_double_property(const char* name, std::size_t nameSize, double value) {
    return kiv::call([&] { KIVCore::setCustomDoubleProperty(value, propertyName(name, nameSize)); });
}

kiv_status kiv_set_date_property(const char* name, std::size_t nameSize, std::int64_t microseconds) {
    return kiv::call([&] {
        KIVCore::setCustomDateTimeProperty(KIVDate(std::chrono::microseconds(microseconds)),
                                           propertyName(name, nameSize));
    });
}

kiv_status kiv_set_computed_property(const char* name, std::size_t nameSize, kiv_kind kind,
                                     kiv_compute_function function, void* user,
                                     kiv_destroy_function destroy) {
    return kiv::call([&] {
        const std::string_view checked = propertyName(name, nameSize);
        if (!function) {
            kiv::refuseNull("function");
        }
        const auto owned = std::make_shared<kiv::UserPointer>(user, destroy);
        setComputed(checked, kind, function, owned);
        owned->take();
    });
}
