#include "CInterface/Contexts.h"

#include <chrono>

#include <kiv/KIVCore.h>

#include "CInterface/Callbacks.h"
#include "CInterface/Calls.h"
#include "CInterface/Handles.h"
#include "Core/KIVCoreInstance.h"
#include "Platform/Snapshots/Epoch.h"

namespace {

constinit kiv::NeverDestroyed<kiv::HandleTable<EvaluationContext>> table(kiv::HandleKind::context);

kiv::HandleTable<EvaluationContext>& contexts() { return table.object; }

/// Writes the value, but a text, to `value`; returns the text.
std::optional<std::string> give(KivxValue&& found, kiv_value& value) {
    value = {};
    if (found.isBoolean()) {
        value.kind = KIV_BOOL;
        value.boolean = found.boolValue() ? 1 : 0;
    } else if (const auto* integer = found.integer()) {
        value.kind = KIV_INT;
        value.integer = *integer;
    } else if (const auto* real = found.real()) {
        value.kind = KIV_DOUBLE;
        value.real = *real;
    } else if (found.isString()) {
        value.kind = KIV_TEXT;
        return std::move(found).stringValue();
    }
    return std::nullopt;
}

} // namespace

namespace kiv {

KivxValue valueOf(const kiv_value& given, const char* what) {
    switch (given.kind) {
    case KIV_NONE:
        return {};
    case KIV_TEXT:
        return text(given.text, what);
    case KIV_BOOL:
        return given.boolean != 0;
    case KIV_INT:
        return given.integer;
    case KIV_DOUBLE:
        return given.real;
    case KIV_DATE:
        return KIVDate(std::chrono::microseconds(given.integer));
    default:
        refuse(KIV_INVALID_ARGUMENT,
               std::string(what) + " is of the unknown kind " + std::to_string(given.kind));
    }
}

const EvaluationContext* evaluationOf(const kiv_context* handle) {
    if (!handle) {
        return nullptr;
    }
    const EvaluationContext* found = contexts().find(handle);
    if (!found) {
        CallbackScope* scope = CallbackScope::withContext(handle);
        if (!scope) {
            refuse(KIV_INVALID_HANDLE,
                   "the context was freed, or belongs to a callback that is not running on this thread");
        }
        return &scope->evaluation();
    }
    return found;
}

} // namespace kiv

kiv_status kiv_context_create(const kiv_entry* entries, std::size_t count, kiv_context** context) {
    return kiv::call([&] {
        kiv::requirePointer(context, "context");
        if (count > 0) {
            kiv::requirePointer(entries, "entries");
        }
        KIVDynamicPropertyContext::Values values;
        for (std::size_t i = 0; i < count; ++i) {
            values.insert_or_assign(std::string(kiv::text(entries[i].name, "the name of an entry")),
                                    kiv::valueOf(entries[i].value, "the value of an entry"));
        }
        *context = static_cast<kiv_context*>(contexts().add(std::make_shared<const EvaluationContext>(
            EvaluationContext::initDefaultWithContext(KIVDynamicPropertyContext(std::move(values))))));
    });
}

kiv_status kiv_context_free(kiv_context* context) {
    return kiv::call([&] {
        kiv::requirePointer(context, "context");
        if (!contexts().remove(context)) {
            kiv::refuse(KIV_INVALID_HANDLE, "the context was freed, or was not made by kiv_context_create");
        }
    });
}

kiv_status kiv_context_get(const kiv_context* context, const char* name, std::size_t nameSize,
                           kiv_value* value, char* buffer, std::size_t capacity) {
    return kiv::call([&]() -> kiv_status {
        kiv::requirePointer(context, "context");
        kiv::requirePointer(value, "value");
        const std::string_view wanted = kiv::text(name, nameSize, "name");
        std::size_t size = 0;
        const kiv::CallersBuffer target(buffer, capacity, &size);
        const kiv::ReadGuard guard;
        KivxValue found = kiv::evaluationOf(context)->dynamicPropertyContext.get(wanted);
        if (found.isNone()) {
            kiv::refuse(KIV_NOT_FOUND, "the context has no value of that name");
        }
        const auto text = give(std::move(found), *value);
        if (!text) {
            return KIV_OK;
        }
        const kiv_status status = target.give(*text);
        value->text = {buffer, size};
        return status;
    });
}

kiv_status kiv_set_global_context(const kiv_context* context) {
    return kiv::call([&] {
        const kiv::ReadGuard guard;
        const EvaluationContext* evaluation = kiv::evaluationOf(context);
        if (!KIVCoreInstance::getInstance().client()) {
            kiv::refuse(KIV_NOT_SET_UP, "a global context needs a setup before it");
        }
        KIVCore::setGlobalDynamicPropertyContext(evaluation ? evaluation->dynamicPropertyContext
                                                            : KIVDynamicPropertyContext::empty());
    });
}
