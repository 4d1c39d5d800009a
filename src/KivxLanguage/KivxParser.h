#pragma once

#include <atomic>
#include <concepts>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <kiv/EvaluationContext.h>

#include "KivxLanguage/KivxEvaluationResult.h"
#include "KivxLanguage/KivxOperatorTable.h"
#include "KivxLanguage/KivxWords.h"
#include "Platform/Snapshots/Epoch.h"
#include "Platform/Text/Text.h"

class KIVUserspaceUnhandledErrorInvoker;

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

    /// Adds an operator whose result depends on its arguments alone: the handler takes the stack.
    template <std::invocable<KivxStack&> Handler>
    void setOperator(std::string_view name, Handler handler) {
        void (*plain)(KivxStack&) = nullptr;
        if constexpr (std::is_convertible_v<Handler, void (*)(KivxStack&)>) {
            plain = handler;
        }
        operators_.set(
            name,
            [handler = std::move(handler)](const KivxParser&, KivxStack& stack, std::string_view,
                                           const EvaluationContext&) { handler(stack); },
            plain);
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

    /// The text of the same value, as a flag has it; nothing when the value is `undefined` or has no text, or
    /// when the evaluation failed. The text is in `own`, or is "true" or "false".
    std::optional<std::string_view> evaluateText(std::string_view expression, std::string_view flagName,
                                                 const EvaluationContext& context, std::string& own) const;

    /// Whether the debug log names the unknown word at which an evaluation fails. May be set at any time.
    bool debugMode() const { return debugMode_.load(std::memory_order_relaxed); }
    void setDebugMode(bool on) { debugMode_.store(on, std::memory_order_relaxed); }

    /// Values for every read; they win over the values of the read's own context. May be set at any time.
    KIVDynamicPropertyContext globalDynamicPropertyContext() const;
    bool hasGlobalDynamicPropertyContext() const { return globalContext_.load() != nullptr; }
    void setGlobalDynamicPropertyContext(KIVDynamicPropertyContext context);

private:
    struct Evaluation;

    void setOperatorHandlers();
    const KivxValue& valueOf(Evaluation& running, const EvaluationContext& context) const;
    bool evaluate(Evaluation& running, const EvaluationContext& context) const;
    bool evaluateWords(Evaluation& running, const KivxWords& words, const EvaluationContext& context) const;
    bool evaluateNodes(Evaluation& running, bool isLogged, const EvaluationContext& context) const;
    bool pushArray(Evaluation& running, KivxWords::Cursor& word) const;
    void apply(Evaluation& running, const KivxOperatorTable::Operator& op, std::size_t position,
               const EvaluationContext& context) const;
    bool failAtUnknownWord(Evaluation& running, std::size_t position) const;
    void tellFailure(Evaluation& running, const std::exception_ptr& caught) const;

    KivxOperatorTable operators_;
    std::shared_ptr<KIVUserspaceUnhandledErrorInvoker> errorInvoker_;
    std::atomic<bool> debugMode_{false};
    std::mutex globalContextLock_;
    kiv::Published<KIVDynamicPropertyContext> globalContext_; ///< null while there is none
};
