#include "KivxLanguage/KivxParser.h"

#include <algorithm>
#include <exception>
#include <utility>
#include <vector>

#include <kiv/KIVException.h>

#include "KivxLanguage/KivxBaseOperators.h"
#include "KivxLanguage/KivxRegularExpressionExtensions.h"
#include "KivxLanguage/KivxStack.h"
#include "KivxLanguage/KivxTokenizedExpression.h"
#include "KivxLanguage/KivxTrace.h"
#include "KivxLanguage/KivxValueCompareExtensions.h"
#include "KivxLanguage/Values/KivxNumbers.h"
#include "Platform/Threads/ThreadEnd.h"
#include "Runtime/KIVDebugger.h"
#include "Runtime/KIVUserspaceUnhandledErrorInvoker.h"

namespace {

/// The bytes that are charged for each byte of an expression: cutting it takes longer than reading a text.
constexpr std::size_t chargeOfCutting = 8;

} // namespace

/// An evaluation under way on the calling thread, linked to the evaluation that it runs inside of.
struct KivxParser::Evaluation {
    Evaluation(const KivxParser& ownParser, std::string_view ownExpression, std::string_view ownFlagName)
        : parser(ownParser), expression(ownExpression), flagName(ownFlagName), trace(KivxTrace::current()),
          outer(innermost), outermost(outer ? outer->outermost : this), depth(outer ? outer->depth + 1 : 1) {
        innermost = this;
        ++outermost->total;
    }
    ~Evaluation() { innermost = outer; }
    Evaluation(const Evaluation&) = delete;
    Evaluation& operator=(const Evaluation&) = delete;

    /// Throws when the same evaluation is under way already, when this evaluation is nested too deeply, or
    /// when the outermost evaluation has started too many others.
    void refuseEndless() const;

    /// Tells the trace, if there is one, why the evaluation fails.
    void failed(const std::string& reason) const {
        if (trace) {
            trace->failed(step, position, reason);
        }
    }

    static constexpr unsigned mostDepth = 64;
    static constexpr unsigned mostInOutermost = 10'000;
    static inline constinit thread_local Evaluation* innermost = nullptr;

    const KivxParser& parser;
    const std::string_view expression;
    const std::string_view flagName;
    KivxTrace* const trace;      ///< null when nobody traces this thread
    Evaluation* const outer;     ///< null for the outermost evaluation
    Evaluation* const outermost; ///< the evaluation itself when it is the outermost
    const unsigned depth;        ///< evaluations inside one another, this one included

    // The outermost evaluation counts for itself and all evaluations inside it; inner evaluations do not use
    // these two.
    unsigned total = 0; ///< evaluations started, the outermost included
    KivxAccount account;

    std::string_view step;    ///< the operator or unknown word that is being handled, for the trace
    std::size_t position = 0; ///< its byte offset in the expression
};

void KivxParser::Evaluation::refuseEndless() const {
    for (const Evaluation* each = outer; each; each = each->outer) {
        if (&each->parser == &parser && each->expression.data() == expression.data() &&
            each->expression.size() == expression.size() && each->flagName == flagName) {
            throw KIVException::internalInconsistency("The expression depends on itself");
        }
    }
    if (depth > mostDepth || outermost->total > mostInOutermost) {
        throw KIVException::internalInconsistency("The expression depends on too many others");
    }
}

KivxParser::KivxParser() : KivxParser(nullptr) {}

KivxParser::KivxParser(std::shared_ptr<KIVUserspaceUnhandledErrorInvoker> errorInvoker)
    : errorInvoker_(std::move(errorInvoker)) {
    setOperatorHandlers();
}

void KivxParser::setOperatorHandlers() {
    KivxBaseOperators(*this).extend();
    KivxValueCompareExtensions(*this).extend();
    KivxRegularExpressionExtensions(*this).extend();
}

void KivxParser::setOperator(std::string_view name, KivxOperatorHandler handler) {
    operators_.set(name, std::move(handler));
}

bool KivxParser::isNumberOperand(const KivxValue& value, kiv::Number& number) {
    number = std::int64_t{0};
    if (value.isNumber()) {
        number = kiv::numberOf(value);
        return true;
    }
    const auto text = value.text();
    const auto parsed = text ? kiv::parseNumber(*text) : std::nullopt;
    number = parsed.value_or(number);
    return parsed.has_value();
}

std::optional<KivxEvaluationResult> KivxParser::evaluateExpression(std::string_view expression,
                                                                   std::string_view flagName,
                                                                   const EvaluationContext& context) const {
    // Texts on the stack may be borrowed from properties; the guard keeps replaced properties alive.
    const kiv::ReadGuard guard;
    Evaluation running(*this, expression, flagName);
    if (running.trace) {
        running.trace->entered(expression, flagName);
    }
    KivxValue value = valueOrNone(running, context);
    if (running.trace) {
        running.trace->left(value);
    }
    if (value.isUndefined()) {
        return std::nullopt;
    }
    return std::optional<KivxEvaluationResult>(std::in_place, std::move(value));
}

/// The value of the expression; `none` when the evaluation fails.
KivxValue KivxParser::valueOrNone(Evaluation& running, const EvaluationContext& context) const {
    std::exception_ptr failure;
    try {
        running.refuseEndless();
        return evaluate(running, context);
    } catch (const kiv::ThreadEnd&) {
        throw;
    } catch (...) {
        failure = std::current_exception();
    }
    tellFailure(running, failure);
    return KivxValue();
}

/// Logs a failure, and hands an exception of a callback to the unhandled-error handler. Must not be called
/// inside a `catch`: the handler is the application's and may end its thread.
void KivxParser::tellFailure(Evaluation& running, const std::exception_ptr& caught) const {
    std::optional<KIVUserspaceHandlerException> ofCallback;
    std::string reason;
    try {
        std::rethrow_exception(caught);
    } catch (const KIVUserspaceHandlerException& failure) {
        ofCallback = failure;
    } catch (...) {
        reason = KIVException::current().reason();
    }
    running.failed(ofCallback ? ofCallback->exception().reason() : reason);
    if (!ofCallback) {
        KIV_DEBUG_LOG("Kivx exception %@", reason);
        return;
    }
    if (errorInvoker_) {
        errorInvoker_->trigger(ofCallback->trigger(), ofCallback->exception());
    }
    KIV_DEBUG_LOG("Kivx Exception: Failed evaluate expression %@, user unhandled expression %@",
                  running.expression, ofCallback->exception().what());
}

/// Walks the tokens from the last to the first and returns the value on top of the stack; `none` when a token
/// is an unknown word. In debug mode an unknown word throws.
KivxValue KivxParser::evaluate(Evaluation& running, const EvaluationContext& context) const {
    // Each line holds the whole stack, so an evaluation stops logging after about this many bytes.
    constexpr std::size_t mostLogged = std::size_t{1} << 20;
    std::size_t leftToLog = kiv::debugLogEnabled(__FILE__) ? mostLogged : 0;
    KivxAccount& account = running.outermost->account;
    account.charge(chargeOfCutting * running.expression.size());
    KivxTokenizedExpression expression(running.expression, operators_);
    const auto tokens = expression.tokens();
    KivxStack stack(account);
    for (auto node = tokens.rbegin(); node != tokens.rend(); ++node) {
        if (node->type == KivxNodeTypeOperand) {
            stack.push(std::move(node->value));
        } else if (node->type == KivxNodeTypeUnknown) {
            running.step = expression.wordAt(node->position);
            running.position = node->position;
            if (!debugMode()) {
                running.failed("Expected valid token");
                return KivxValue();
            }
            KIV_DEBUG_LOG("Kivx unknown word %@ at %@ of %@", running.step, node->position,
                          running.expression);
            throw KIVException::internalInconsistency("Expected valid token, got '" +
                                                      node->value.description() + "'");
        } else if (!node->op->handler) {
            continue;
        } else if (running.trace) {
            applyTraced(running, *node, stack, context);
        } else {
            node->op->handler(*this, stack, running.flagName, context);
        }
        if (leftToLog > 0) {
            const std::string line = stack.description();
            KIV_DEBUG_LOG("Kivx Stack: %@", line);
            leftToLog -= std::min(leftToLog, line.size());
        }
    }
    KivxValue value = stack.pop();
    if (value.isString()) {
        stack.chargeReading(value);
        value = std::move(value).owned();
    }
    return value;
}

void KivxParser::applyTraced(Evaluation& running, const KivxNode& node, KivxStack& stack,
                             const EvaluationContext& context) const {
    running.step = node.op->name;
    running.position = node.position;
    std::vector<KivxValue> arguments;
    stack.record(&arguments);
    node.op->handler(*this, stack, running.flagName, context);
    stack.record(nullptr);
    running.trace->applied(running.step, running.position, arguments,
                           stack.peek() ? *stack.peek() : KivxValue());
}

KIVDynamicPropertyContext KivxParser::globalDynamicPropertyContext() const {
    const kiv::ReadGuard guard;
    const KIVDynamicPropertyContext* context = globalContext_.load();
    return context ? *context : KIVDynamicPropertyContext::empty();
}

void KivxParser::setGlobalDynamicPropertyContext(KIVDynamicPropertyContext context) {
    auto next =
        context.isEmpty() ? nullptr : std::make_unique<const KIVDynamicPropertyContext>(std::move(context));
    const kiv::WriterLock lock(globalContextLock_);
    globalContext_.publish(std::move(next));
}
