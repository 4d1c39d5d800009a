#include "CInterface/Callbacks.h"

#include <atomic>
#include <limits>

#include <kiv/KIVException.h>

#include "CInterface/Calls.h"
#include "CInterface/Contexts.h"
#include "CInterface/Handles.h"
#include "Runtime/KIVDebugger.h"

namespace {

constinit thread_local kiv::CallbackScope* presentScope = nullptr;

/// A number that no other scope of the process has: that of the thread, and of the scope within it.
std::uint64_t newNumber() {
    constexpr unsigned scopeBits = 36;
    static constinit std::atomic<std::uint64_t> threads{0};
    constinit thread_local std::uint64_t next = 0;
    if (next == 0) {
        next = ++threads << scopeBits;
    }
    return ++next & ((std::uint64_t{1} << kiv::handleKindShift) - 1);
}

/// Why a property of that kind does not take the value; null when it does.
const char* faultOf(const kiv_value& value, kiv_kind kind) {
    switch (kind) {
    case KIV_BOOL:
        return value.kind == KIV_BOOL ? nullptr : "the property is a boolean";
    case KIV_DOUBLE:
        return value.kind == KIV_DOUBLE || value.kind == KIV_INT ? nullptr : "the property is a double";
    case KIV_DATE:
        return value.kind == KIV_DATE ? nullptr : "the property is a date";
    case KIV_TEXT:
    case KIV_SEMVER:
        return value.kind == KIV_TEXT ? nullptr : "the property is a text";
    case KIV_INT:
        return value.kind == KIV_INT && std::in_range<std::int32_t>(value.integer)
                   ? nullptr
                   : "the property is an integer of 32 bits";
    default:
        return nullptr;
    }
}

} // namespace

namespace kiv {

UserPointer::~UserPointer() {
    if (!isTaken_ || !destroy_) {
        return;
    }
    try {
        destroy_(user_);
    } catch (...) {
        plainLog(format("a function that destroys a user pointer threw: %@", KIVException::current().what()));
    }
}

void Question::answerWith(const kiv_value& given) {
    KivxValue value = valueOf(given, "value");
    if (const char* fault = given.kind == KIV_NONE ? nullptr : faultOf(given, kind)) {
        refuse(KIV_INVALID_ARGUMENT, fault);
    }
    answer = std::move(value);
}

CallbackScope::CallbackScope(const KIVDynamicPropertyContext* context, Question* question)
    : number_(newNumber()), context_(context), question_(question), outer_(presentScope) {
    presentScope = this;
}

CallbackScope::~CallbackScope() { presentScope = outer_; }

const kiv_context* CallbackScope::context() const {
    return context_ ? reinterpret_cast<const kiv_context*>(handleOf(HandleKind::callbackContext, number_))
                    : nullptr;
}

kiv_answer* CallbackScope::answer() const {
    return reinterpret_cast<kiv_answer*>(handleOf(HandleKind::answer, number_));
}

void CallbackScope::finish() const {
    if (failure_) {
        throw KIVException("CallbackFailure", *failure_);
    }
}

CallbackScope* CallbackScope::with(std::uint64_t handle) {
    CallbackScope* scope = presentScope;
    while (scope && scope->number_ != (handle & ((std::uint64_t{1} << handleKindShift) - 1))) {
        scope = scope->outer_;
    }
    return scope;
}

CallbackScope* CallbackScope::withContext(const kiv_context* handle) {
    CallbackScope* scope = with(handleNumber(handle));
    return scope && scope->context() == handle ? scope : nullptr;
}

CallbackScope* CallbackScope::withAnswer(const kiv_answer* handle) {
    CallbackScope* scope = with(handleNumber(handle));
    return scope && scope->question_ && scope->answer() == handle ? scope : nullptr;
}

CallbackScope* CallbackScope::present() { return presentScope; }

const EvaluationContext& CallbackScope::evaluation() {
    if (!evaluation_) {
        evaluation_ = EvaluationContext::initDefaultWithContext(*context_);
    }
    return *evaluation_;
}

KivxValue ask(kiv_compute_function function, const UserPointer& user, kiv_kind kind, std::string_view name,
              const KIVDynamicPropertyContext& context) {
    Question question{.kind = kind};
    const CallbackScope scope(&context, &question);
    const kiv_text passed = asText(name);
    function(user.get(), passed.data, passed.size, scope.context(), scope.answer());
    scope.finish();
    return std::move(question.answer);
}

} // namespace kiv

kiv_status kiv_callback_failed(const char* reason, std::size_t reasonSize) {
    return kiv::call([&] {
        const std::string_view text = kiv::text(reason, reasonSize, "reason");
        kiv::CallbackScope* scope = kiv::CallbackScope::present();
        if (!scope) {
            kiv::refuse(KIV_INVALID_ARGUMENT, "no callback is running on this thread");
        }
        scope->fail(std::string(text));
    });
}

kiv_status kiv_answer_with(kiv_answer* answer, const kiv_value* value) {
    return kiv::call([&] {
        kiv::requirePointer(answer, "answer");
        kiv::requirePointer(value, "value");
        kiv::CallbackScope* scope = kiv::CallbackScope::withAnswer(answer);
        if (!scope) {
            kiv::refuse(KIV_INVALID_HANDLE,
                        "the answer belongs to no callback that is running on this thread");
        }
        scope->question().answerWith(*value);
    });
}
