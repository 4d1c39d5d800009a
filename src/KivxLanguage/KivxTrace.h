#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include <kiv/KivxValue.h>

/// Watches the evaluations of one thread, step by step, for those who ask why a flag has its value.
///
/// Evaluations nest: a target group or another flag is entered and left inside the operator that asks for it.
class KivxTrace {
public:
    virtual ~KivxTrace() = default;

    virtual void entered(std::string_view expression, std::string_view flagName) = 0;
    /// An operator has run. `position` is its byte offset in the expression.
    virtual void applied(std::string_view name, std::size_t position, const std::vector<KivxValue>& arguments,
                         const KivxValue& result) = 0;
    /// A step has failed, and with it the evaluation: an operator, or a word that is none (then `name` is the
    /// word).
    virtual void failed(std::string_view name, std::size_t position, std::string_view reason) = 0;
    /// A detail of the operator that is running, such as the bucket of a percentage test.
    virtual void noted(std::string_view what, const KivxValue& value) = 0;
    virtual void left(const KivxValue& result) = 0;

    /// The one that watches this thread, null most of the time.
    static KivxTrace* current();

    /// Watches this thread as long as it lives.
    class Scope {
    public:
        explicit Scope(KivxTrace& trace);
        ~Scope();
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        KivxTrace* outer_;
    };
};
