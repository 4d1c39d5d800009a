#include "CInterface/Flags.h"

#include <cmath>

#include <kiv/KIVCore.h>
#include <kiv/KIVDynamicAPI.h>

#include "CInterface/Calls.h"
#include "CInterface/Contexts.h"
#include "CInterface/Handles.h"
#include "Core/KIVCoreInstance.h"
#include "Flags/KIVFlagReader.h"
#include "Platform/Snapshots/Epoch.h"
#include "Platform/Text/Text.h"

namespace {

constinit kiv::NeverDestroyed<kiv::HandleTable<KIVString>> table(kiv::HandleKind::flag);

kiv::HandleTable<KIVString>& flags() { return table.object; }

[[noreturn]] void refuseFlag(const kiv_flag* handle) {
    kiv::requirePointer(handle, "flag");
    kiv::refuse(KIV_INVALID_HANDLE, "the flag's handle was freed, or the library has not given it");
}

/// The caller holds a `ReadGuard`.
const KIVString& flagOf(const kiv_flag* handle) {
    const KIVString* flag = flags().find(handle);
    if (!flag) {
        refuseFlag(handle);
    }
    return *flag;
}

/// Reads a flag by its handle with the getter of a type.
template <class Get, class Value>
kiv_status read(const kiv_flag* handle, const kiv_context* context, Value* value, Get get) {
    return kiv::call([&] {
        kiv::requirePointer(value, "value");
        const kiv::ReadGuard guard;
        const KIVString& flag = flagOf(handle);
        *value = get(flag, kiv::evaluationOf(context));
    });
}

/// Gives the flag's text in a context.
kiv_status giveText(const KIVString& flag, const EvaluationContext* context, std::string_view defaultValue,
                    const kiv::CallersBuffer& target) {
    std::string own;
    return target.give(KIVFlagReader::value(flag, context, defaultValue, own));
}

kiv_status giveText(const kiv_flag* handle, const EvaluationContext& context, char* buffer,
                    std::size_t capacity, std::size_t* size) {
    return kiv::call([&]() -> kiv_status {
        const kiv::CallersBuffer target(buffer, capacity, size);
        const kiv::ReadGuard guard;
        const KIVString& flag = flagOf(handle);
        return giveText(flag, &context, flag.defaultValue(), target);
    });
}

EvaluationContext peeking(bool usesOverrides = true) {
    return {.shouldRaiseImpression = false, .shouldUseFreeze = false, .shouldUseOverride = usesOverrides};
}

/// The flag of that name, or null. The caller holds a `ReadGuard`.
const KIVString* find(std::string_view name) { return KIVCoreInstance::getInstance().borrowFlag(name); }

/// The values of a context for the facade; null for none.
const KIVDynamicPropertyContext* valuesOf(const EvaluationContext* context) {
    return context ? &context->dynamicPropertyContext : nullptr;
}

/// Reads a flag by name: with `get` when there is one, else with `make`, which makes it.
template <class Value, class Default, class Get, class Make>
kiv_status readNamed(const char* name, std::size_t nameSize, Default defaultValue, const kiv_context* context,
                     Value* value, Get get, Make make) {
    const kiv_status status = kiv::call([&] {
        kiv::requirePointer(value, "value");
        const std::string_view wanted = kiv::text(name, nameSize, "the flag's name");
        const kiv::ReadGuard guard;
        const EvaluationContext* evaluation = kiv::evaluationOf(context);
        const KIVString* flag = find(wanted);
        *value = flag ? get(*flag, evaluation) : make(wanted, valuesOf(evaluation));
    });
    if (status != KIV_OK && value) {
        *value = defaultValue;
    }
    return status;
}

} // namespace

kiv_flag* kiv::handleOfFlag(std::shared_ptr<KIVString> flag) {
    return static_cast<kiv_flag*>(flags().add(std::move(flag)));
}

kiv_status kiv_flag_find(const char* name, std::size_t nameSize, kiv_flag** flag) {
    return kiv::call([&] {
        kiv::requirePointer(flag, "flag");
        auto found = KIVCoreInstance::getInstance().findFlag(kiv::text(name, nameSize, "the flag's name"));
        if (!found) {
            kiv::refuse(KIV_NOT_FOUND, "there is no flag of that name");
        }
        *flag = kiv::handleOfFlag(std::move(found));
    });
}

kiv_status kiv_flag_free(kiv_flag* flag) {
    return kiv::call([&] {
        if (!flags().remove(flag)) {
            refuseFlag(flag);
        }
    });
}

kiv_status kiv_flag_read_bool(const kiv_flag* flag, const kiv_context* context, std::int32_t* value) {
    return read(flag, context, value, [](const KIVString& found, const EvaluationContext* evaluation) {
        return KIVFlagReader::boolValue(found, evaluation, found.defaultValue()) ? 1 : 0;
    });
}

kiv_status kiv_flag_read_int(const kiv_flag* flag, const kiv_context* context, std::int64_t* value) {
    return read(flag, context, value, [](const KIVString& found, const EvaluationContext* evaluation) {
        return KIVFlagReader::intValue(found, evaluation, found.defaultValue());
    });
}

kiv_status kiv_flag_read_double(const kiv_flag* flag, const kiv_context* context, double* value) {
    return read(flag, context, value, [](const KIVString& found, const EvaluationContext* evaluation) {
        return KIVFlagReader::doubleValue(found, evaluation, found.defaultValue());
    });
}

kiv_status kiv_flag_read_text(const kiv_flag* flag, const kiv_context* context, char* buffer,
                              std::size_t capacity, std::size_t* size) {
    return kiv::call([&]() -> kiv_status {
        const kiv::CallersBuffer target(buffer, capacity, size);
        const kiv::ReadGuard guard;
        const KIVString& found = flagOf(flag);
        return giveText(found, kiv::evaluationOf(context), found.defaultValue(), target);
    });
}

kiv_status kiv_flag_peek(const kiv_flag* flag, char* buffer, std::size_t capacity, std::size_t* size) {
    return giveText(flag, peeking(), buffer, capacity, size);
}

kiv_status kiv_flag_original(const kiv_flag* flag, char* buffer, std::size_t capacity, std::size_t* size) {
    return giveText(flag, peeking(false), buffer, capacity, size);
}

kiv_status kiv_flag_is_frozen(const kiv_flag* flag, std::int32_t* value) {
    return read(flag, nullptr, value,
                [](const KIVString& found, const EvaluationContext*) { return found.isFreezed() ? 1 : 0; });
}

kiv_status kiv_read_bool(const char* name, std::size_t nameSize, std::int32_t defaultValue,
                         const kiv_context* context, std::int32_t* value) {
    const bool isOn = defaultValue != 0;
    return readNamed(
        name, nameSize, isOn ? 1 : 0, context, value,
        [=](const KIVString& flag, const EvaluationContext* evaluation) {
            return KIVFlagReader::boolValue(flag, evaluation, isOn ? "true" : "false") ? 1 : 0;
        },
        [=](std::string_view wanted, const KIVDynamicPropertyContext* values) {
            return KIVCore::dynamicAPI()->isEnabled(wanted, isOn, values) ? 1 : 0;
        });
}

kiv_status kiv_read_int(const char* name, std::size_t nameSize, std::int32_t defaultValue,
                        const kiv_context* context, std::int64_t* value) {
    return readNamed(
        name, nameSize, defaultValue, context, value,
        [=](const KIVString& flag, const EvaluationContext* evaluation) {
            return KIVFlagReader::intValue(flag, evaluation, kiv::integerText(defaultValue));
        },
        [=](std::string_view wanted, const KIVDynamicPropertyContext* values) {
            return KIVCore::dynamicAPI()->getInt(wanted, defaultValue, {}, values);
        });
}

kiv_status kiv_read_double(const char* name, std::size_t nameSize, double defaultValue,
                           const kiv_context* context, double* value) {
    if (!std::isfinite(defaultValue)) {
        if (value) {
            *value = defaultValue;
        }
        return kiv::failWith(KIV_INVALID_ARGUMENT, "the default is infinite or no number");
    }
    return readNamed(
        name, nameSize, defaultValue, context, value,
        [=](const KIVString& flag, const EvaluationContext* evaluation) {
            return KIVFlagReader::doubleValue(flag, evaluation, kiv::doubleText(defaultValue));
        },
        [=](std::string_view wanted, const KIVDynamicPropertyContext* values) {
            return KIVCore::dynamicAPI()->getDouble(wanted, defaultValue, {}, values);
        });
}

kiv_status kiv_read_text(const char* name, std::size_t nameSize, const char* defaultValue,
                         std::size_t defaultSize, const kiv_context* context, char* buffer,
                         std::size_t capacity, std::size_t* size) {
    return kiv::call([&]() -> kiv_status {
        const kiv::CallersBuffer target(buffer, capacity, size);
        const std::string_view wanted = kiv::text(name, nameSize, "the flag's name");
        const std::string_view ownDefault = kiv::text(defaultValue, defaultSize, "the default");
        const kiv::ReadGuard guard;
        const EvaluationContext* evaluation = kiv::evaluationOf(context);
        if (const KIVString* flag = find(wanted)) {
            return giveText(*flag, evaluation, ownDefault, target);
        }
        return target.give(
            KIVCore::dynamicAPI()->getValue(wanted, std::string(ownDefault), {}, valuesOf(evaluation)));
    });
}

kiv_status kiv_peek(const char* name, std::size_t nameSize, char* buffer, std::size_t capacity,
                    std::size_t* size) {
    return kiv::call([&]() -> kiv_status {
        const kiv::CallersBuffer target(buffer, capacity, size);
        const std::string_view wanted = kiv::text(name, nameSize, "the flag's name");
        const kiv::ReadGuard guard;
        const KIVString* flag = find(wanted);
        if (!flag) {
            kiv::refuse(KIV_NOT_FOUND, "there is no flag of that name");
        }
        const EvaluationContext context = peeking();
        return giveText(*flag, &context, flag->defaultValue(), target);
    });
}

kiv_status kiv_unfreeze() {
    return kiv::call([] { KIVCore::unfreeze(); });
}

kiv_status kiv_unfreeze_namespace(const char* nameSpace, std::size_t nameSpaceSize) {
    return kiv::call(
        [&] { KIVCore::unfreezeNamespace(kiv::text(nameSpace, nameSpaceSize, "the namespace")); });
}
