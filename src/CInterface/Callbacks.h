#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <kiv/EvaluationContext.h>
#include <kiv/KivxValue.h>
#include <kiv/c.h>

namespace kiv {

/// A user pointer of the application. Its last owner has it destroyed, if it was taken: a call that fails
/// leaves it to the caller.
class UserPointer {
public:
    UserPointer(void* user, kiv_destroy_function destroy) : user_(user), destroy_(destroy) {}
    ~UserPointer();
    UserPointer(const UserPointer&) = delete;
    UserPointer& operator=(const UserPointer&) = delete;

    void* get() const { return user_; }
    /// For the call that passes the pointer, when it has succeeded. The call still owns the pointer then.
    void take() { isTaken_ = true; }

private:
    void* const user_;
    const kiv_destroy_function destroy_;
    bool isTaken_ = false;
};

/// What a computing callback is asked for, and its answer.
struct Question {
    /// Refuses a value of a kind that is not asked for, and keeps any other.
    void answerWith(const kiv_value& given);

    kiv_kind kind; ///< KIV_NONE: all kinds
    KivxValue answer = {};
};

/// Open while a callback of the application runs: gives out the handles that are valid in it, and keeps what
/// `kiv_callback_failed` says.
class CallbackScope {
public:
    explicit CallbackScope(const KIVDynamicPropertyContext* context = nullptr, Question* question = nullptr);
    ~CallbackScope();
    CallbackScope(const CallbackScope&) = delete;
    CallbackScope& operator=(const CallbackScope&) = delete;

    const kiv_context* context() const;
    kiv_answer* answer() const;
    /// Throws what the callback has told of, if anything.
    void finish() const;

    /// Find the scope that is open on this thread and whose context or answer has the handle; null when this
    /// thread has no such scope.
    static CallbackScope* withContext(const kiv_context* handle);
    static CallbackScope* withAnswer(const kiv_answer* handle);
    /// The innermost scope of this thread, or null.
    static CallbackScope* present();

    const EvaluationContext& evaluation();
    Question& question() const { return *question_; }
    void fail(std::string reason) { failure_ = std::move(reason); }

private:
    static CallbackScope* with(std::uint64_t handle);

    const std::uint64_t number_;
    const KIVDynamicPropertyContext* const context_;
    Question* const question_;
    CallbackScope* const outer_;
    std::optional<EvaluationContext> evaluation_;
    std::optional<std::string> failure_;
};

/// Asks a computing callback.
KivxValue ask(kiv_compute_function function, const UserPointer& user, kiv_kind kind, std::string_view name,
              const KIVDynamicPropertyContext& context);

} // namespace kiv
