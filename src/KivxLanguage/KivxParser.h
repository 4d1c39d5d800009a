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
/// Operators are added before other threads know the parser; after that, any thread may evaluate. An
/// evaluation does not throw. Evaluations may nest, because an operator or a callback may start another one;
/// an evaluation fails when it depends on itself, when it is nested too deeply, or when the outermost
/// evaluation has started too many others.
class KivxParser {
public:
    /// A parser with the operators of `KivxBaseOperators`, `KivxValueCompareExtensions` and
    /// `KivxRegularExpressionExtensions`.
    KivxParser();

    /// A parser with the same operators. Exceptions of the application's callbacks go to the invoker, which
    /// may be null.
    explicit KivxParser(std::shared_ptr<KIVUserspaceUnhandledErrorInvoker> errorInvoker);

    KivxParser(const KivxParser&) = delete;
    KivxParser& operator=(const KivxParser&) = delete;

    /// Adds an operator; replaces a present operator of that name.
    void setOperator(std::string_view name, KivxOperatorHandler handler);

    /// Adds an operator whose result depends on its arguments alone: `apply` takes the stack.
    template <std::invocable<KivxStack&> Apply>
    void setOperator(std::string_view name, Apply apply) {
        setOperator(name, [apply = std::move(apply)](const KivxParser&, KivxStack& stack, std::string_view,
                                                     const EvaluationContext&) { apply(stack); });
    }

    const KivxOperatorTable& operators() const { return operators_; }

    /// True for a number and for a text that as a whole is a number; sets `number` to it, otherwise to 0.
    static bool isNumberOperand(const KivxValue& value, kiv::Number& number);

    /// The value of the expression. Nothing when it is `undefined`; a result that holds `none` when the
    /// evaluation failed or the expression is empty. Borrows the expression and the name during the call
    /// only. Operators and callbacks run on the calling thread.
    std::optional<KivxEvaluationResult> evaluateExpression(std::string_view expression,
                                                           std::string_view flagName,
                                                           const EvaluationContext& context) const;

    /// Whether the debug log names the unknown word at which an evaluation fails. May be set at any time.
    bool debugMode() const { return debugMode_.load(std::memory_order_relaxed); }
    void setDebugMode(bool on) { debugMode_.store(on, std::memory_order_relaxed); }

    /// Values for every read; they win over the values of the read's own context. May be set at any time.
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
