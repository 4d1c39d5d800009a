#include "KivxLanguage/KivxParser.h"

#include <algorithm>
#include <exception>
#include <utility>
#include <vector>

#include <kiv/KIVException.h>

#include "KivxLanguage/KivxBaseOperators.h"
#include "KivxLanguage/KivxConstants.h"
#include "KivxLanguage/KivxRegularExpressionExtensions.h"
#include "KivxLanguage/KivxStack.h"
#include "KivxLanguage/KivxTokenizedExpression.h"
#include "KivxLanguage/KivxTokens.h"
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
          outer(innermost), outermost(outer ? outer->outermost : this), depth(outer ? outer->depth + 1 : 1),
          stack(outermost->account) {
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

    /// Texts on the stack may be borrowed from properties; the guard keeps replaced properties alive.
    const kiv::ReadGuard guard;
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

    KivxStack stack;

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
    Evaluation running(*this, expression, flagName);
    const KivxValue& value = valueOf(running, context);
    if (value.isUndefined()) {
        return std::nullopt;
    }
    return std::optional<KivxEvaluationResult>(std::in_place, KivxValue(value).owned());
}

std::optional<std::string_view> KivxParser::evaluateText(std::string_view expression,
                                                         std::string_view flagName,
                                                         const EvaluationContext& context,
                                                         std::string& own) const {
    Evaluation running(*this, expression, flagName);
    const KivxValue& value = valueOf(running, context);
    if (value.isBoolean()) {
        return value.boolValue() ? KivxTrue : KivxFalse;
    }
    if (const auto text = value.text()) {
        return own = *text;
    }
    if (auto text = value.stringValue()) {
        return own = std::move(*text);
    }
    return std::nullopt;
}

/// The value of the expression, which lasts as long as `running`; `none` when the evaluation fails.
const KivxValue& KivxParser::valueOf(Evaluation& running, const EvaluationContext& context) const {
    if (running.trace) {
        running.trace->entered(running.expression, running.flagName);
    }
    bool isEvaluated = false;
    std::exception_ptr failure;
    try {
        if (running.outer) {
            running.refuseEndless();
        }
        isEvaluated = evaluate(running, context);
    } catch (const kiv::ThreadEnd&) {
        throw;
    } catch (...) {
        failure = std::current_exception();
    }
    if (failure) {
        tellFailure(running, failure);
    }
    if (!isEvaluated) {
        running.stack.clear();
    }
    const KivxValue& value = running.stack.first();
    if (running.trace) {
        running.trace->left(KivxValue(value).owned());
    }
    return value;
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

/// Walks the words of the expression from the last to the first; the value is then on top of the stack. False
/// when one of them is an unknown word. In debug mode an unknown word throws.
bool KivxParser::evaluate(Evaluation& running, const EvaluationContext& context) const {
    running.stack.charge(chargeOfCutting * running.expression.size());
    const bool isLogged = kiv::debugLogEnabled(__FILE__);
    KivxWords words;
    const bool isEvaluated = !isLogged && words.cut(running.expression)
                                 ? evaluateWords(running, words, context)
                                 : evaluateNodes(running, isLogged, context);
    running.stack.chargeReading(running.stack.first());
    return isEvaluated;
}

bool KivxParser::evaluateWords(Evaluation& running, const KivxWords& words,
                               const EvaluationContext& context) const {
    KivxStack& stack = running.stack;
    for (KivxWords::Cursor word(words, running.expression); word.toPrevious();) {
        if (word.isString()) {
            stack.push(KivxValue::BorrowedText{word.text()});
        } else if (word.first() == KivxArrayEndDelimiter.front()) {
            if (!pushArray(running, word)) {
                return false;
            }
        } else if (const auto* op = operators_.find(word.text())) {
            if (op->plain && !running.trace) {
                op->plain(stack);
            } else {
                apply(running, *op, word.position(), context);
            }
        } else if (!takeConstant(word.text(), [&](auto value) { stack.push(value); })) {
            return failAtUnknownWord(running, word.position());
        }
    }
    return true;
}

/// Pushes the array whose closing bracket is the present word, and goes to its opening one. The elements
/// borrow their texts.
bool KivxParser::pushArray(Evaluation& running, KivxWords::Cursor& word) const {
    const auto isInside = [](KivxWords::Cursor& cursor) {
        return cursor.toPrevious() && cursor.first() != KivxArrayStartDelimiter.front();
    };
    std::size_t count = 0;
    for (KivxWords::Cursor ahead = word; isInside(ahead); ++count) {
    }
    KivxValue* const elements = running.stack.roomForElements(count);
    for (KivxValue* element = elements + count; isInside(word);) {
        --element;
        if (word.isString()) {
            std::construct_at(element, KivxValue::BorrowedText{word.text()});
        } else if (const auto* op = operators_.find(word.text())) {
            std::construct_at(element, KivxValue::BorrowedText{op->name});
        } else if (!takeConstant(word.text(), [&](auto value) { std::construct_at(element, value); })) {
            return failAtUnknownWord(running, word.position());
        }
    }
    running.stack.push(KivxValue::Elements(elements, count));
    return true;
}

/// The general way, for what `KivxWords` does not cut, and for the log.
bool KivxParser::evaluateNodes(Evaluation& running, bool isLogged, const EvaluationContext& context) const {
    // Each line holds the whole stack, so an evaluation stops logging after about this many bytes.
    constexpr std::size_t mostLogged = std::size_t{1} << 20;
    std::size_t leftToLog = isLogged ? mostLogged : 0;
    KivxTokenizedExpression expression(running.expression, operators_);
    const auto tokens = expression.tokens();
    for (auto node = tokens.rbegin(); node != tokens.rend(); ++node) {
        if (node->type == KivxNodeTypeOperand) {
            running.stack.push(std::move(node->value));
        } else if (node->type == KivxNodeTypeOperator) {
            apply(running, *node->op, node->position, context);
        } else {
            return failAtUnknownWord(running, node->position);
        }
        if (leftToLog > 0) {
            const std::string line = running.stack.description();
            KIV_DEBUG_LOG("Kivx Stack: %@", line);
            leftToLog -= std::min(leftToLog, line.size());
        }
    }
    running.stack.ownTop(); // it may have borrowed from the nodes
    return true;
}

/// An operator without a handler does nothing.
void KivxParser::apply(Evaluation& running, const KivxOperatorTable::Operator& op, std::size_t position,
                       const EvaluationContext& context) const {
    KivxStack& stack = running.stack;
    if (!op.handler) {
        return;
    }
    if (!running.trace) {
        op.handler(*this, stack, running.flagName, context);
        return;
    }
    running.step = op.name;
    running.position = position;
    std::vector<KivxValue> arguments;
    stack.record(&arguments);
    op.handler(*this, stack, running.flagName, context);
    stack.record(nullptr);
    running.trace->applied(running.step, running.position, arguments, KivxValue(stack.first()).owned());
}

bool KivxParser::failAtUnknownWord(Evaluation& running, std::size_t position) const {
    running.step = KivxTokenizedExpression::wordIn(running.expression, position);
    running.position = position;
    if (debugMode()) {
        KIV_DEBUG_LOG("Kivx unknown word %@ at %@ of %@", running.step, position, running.expression);
        throw KIVException::internalInconsistency("Expected valid token, got '" + KivxValue().description() +
                                                  "'");
    }
    running.failed("Expected valid token");
    return false;
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
