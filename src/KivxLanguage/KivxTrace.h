#pragma once

#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

#include <kiv/KivxValue.h>

/// Watches the evaluations of one thread step by step, to explain why a flag has its value.
///
/// Evaluations nest: while an operator reads a target group or another flag, that evaluation is entered and
/// left. All functions are called on the thread that evaluates, with values that own what they have.
class KivxTrace {
public:
    virtual ~KivxTrace() = default;

    /// An evaluation begins.
    virtual void entered(std::string_view expression, std::string_view flagName) = 0;

    /// An operator has run. `position` is its byte offset in the expression.
    virtual void applied(std::string_view name, std::size_t position, const std::vector<KivxValue>& arguments,
                         const KivxValue& result) = 0;

    /// The evaluation fails: the operator `name` has thrown, or `name` is an unknown word. The name is empty
    /// when the evaluation fails before its first step.
    virtual void failed(std::string_view name, std::size_t position, std::string_view reason) = 0;

    /// A detail of the operator that is running, such as the bucket of a percentage test.
    virtual void noted(std::string_view what, const KivxValue& value) = 0;

    /// The evaluation that was entered last ends; the result is `none` when it failed.
    virtual void left(const KivxValue& result) = 0;

    /// The trace that watches the calling thread; null when there is none, which is the normal case.
    static KivxTrace* current() { return current_; }

    /// Makes a trace watch the calling thread while the scope lives. The former trace watches again
    /// afterwards.
    class Scope {
    public:
        explicit Scope(KivxTrace& trace) : outer_(std::exchange(current_, &trace)) {}
        ~Scope() { current_ = outer_; }
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        KivxTrace* outer_;
    };

private:
    static inline constinit thread_local KivxTrace* current_ = nullptr;
};
