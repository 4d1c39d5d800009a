#pragma once

#include <atomic>
#include <concepts>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <kiv/EvaluationContext.h>

#include "KivxLanguage/KivxEvaluationResult.h"
#include "KivxLanguage/KivxOperatorTable.h"
#include "Platform/Snapshots/Epoch.h"
#include "Platform/Text/Text.h"

class KIVUserspaceUnhandledErrorInvoker;
struct KivxNode;

/// Evaluates expressions.
///
/// Operators are added while one thread alone knows the parser; from then on it is read only and any thread
/// may evaluate. No evaluation throws. Evaluations may nest, as an operator or a callback may ask for another
/// one; those that would come round to themselves, or go on without end, fail.
class KivxParser {
public:
    /// The base operators, the comparisons and the regular expressions.
    KivxParser();

    /// The same; failures of the application's callbacks go to the invoker (may be null).
    explicit KivxParser(std::shared_ptr<KIVUserspaceUnhandledErrorInvoker> errorInvoker);

    KivxParser(const KivxParser&) = delete;
    KivxParser& operator=(const KivxParser&) = delete;

    /// Adds an operator; replaces a present operator of that name.
    void setOperator(std::string_view name, KivxOperatorHandler handler);

    /// The same, for an operator whose result depends on its arguments alone: `apply` takes the stack.
    template <std::invocable<KivxStack&> Apply>
    void setOperator(std::string_view name, Apply apply) {
        setOperator(name, [apply = std::move(apply)](const KivxParser&, KivxStack& stack, std::string_view,
                                                     const EvaluationContext&) { apply(stack); });
    }

    const KivxOperatorTable& operators() const { return operators_; }

    /// True for a number and for a text that parses as one; `number` is then that number, else 0.
    static bool isNumberOperand(const KivxValue& value, kiv::Number& number);

    /// Nothing when the value is `undefined`; a result of `none` when the evaluation failed or nothing was
    /// left. The expression and the name are only borrowed for the call.
    std::optional<KivxEvaluationResult> evaluateExpression(std::string_view expression,
                                                           std::string_view flagName,
                                                           const EvaluationContext& context) const;

    /// Makes the log say which word stopped an evaluation. May be set at any time.
    bool debugMode() const { return debugMode_.load(std::memory_order_relaxed); }
    void setDebugMode(bool on) { debugMode_.store(on, std::memory_order_relaxed); }

    /// Asked before the context of each read. May be set at any time.
    KIVDynamicPropertyContext globalDynamicPropertyContext() const;
    void setGlobalDynamicPropertyContext(KIVDynamicPropertyContext context);

private:
    struct Evaluation;

    void setOperatorHandlers();
    KivxValue valueOrNone(Evaluation& running, const EvaluationContext& context) const;
    void tellFailure(Evaluation& running, const std::exception_ptr& caught) const;
    KivxValue evaluate(Evaluation& running, const EvaluationContext& context) const;
    void applyTraced(Evaluation& running, const KivxNode& node, KivxStack& stack,
                     const EvaluationContext& context) const;

    KivxOperatorTable operators_;
    std::shared_ptr<KIVUserspaceUnhandledErrorInvoker> errorInvoker_;
    std::atomic<bool> debugMode_{false};
    std::mutex globalContextLock_;
    kiv::Published<KIVDynamicPropertyContext> globalContext_; ///< null while there is none
};
