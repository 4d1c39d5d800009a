#include "expression/ExpressionReader.h"

#include <algorithm>
#include <utility>

#include "KivxLanguage/KivxTokens.h"
#include "Platform/Text/Text.h"
#include "Terminal.h"
#include "expression/ArgumentCheck.h"
#include "expression/TextForms.h"
#include "expression/Words.h"

namespace kiv::tool {
namespace {

bool isLiteralWord(std::string_view word) {
    return word == KivxTrue || word == KivxFalse || word == KivxUndefined || parseNumber(word).has_value();
}

std::string takes(const OperatorSignature& op) {
    return std::string(op.name) + " takes " +
           (op.arity() == 0 ? "no arguments" : counted(op.arity(), "argument"));
}

} // namespace

std::vector<ExpressionFinding> ExpressionReader::read() {
    for (Token token = lexer_.next(); token.kind != Token::Kind::end && errors_ < mostFindings && !lost_;
         token = lexer_.next()) {
        readToken(token);
    }
    if (errors_ < mostFindings && !lost_) {
        reportEnd();
    }
    std::ranges::stable_sort(findings_, {}, &ExpressionFinding::position);
    return std::move(findings_);
}

void ExpressionReader::readToken(const Token& token) {
    if (token.kind == Token::Kind::word) {
        readWord(token);
    } else if (token.kind == Token::Kind::text) {
        readText(token);
    } else {
        readPunctuation(token);
    }
}

void ExpressionReader::readWord(const Token& token) {
    const OperatorSignature* op = operatorSignature(token.text);
    if (op && inLiteral()) {
        error(token,
              "the operator " + inQuotes(op->name) + " does nothing inside " +
                  (top().kind == Kind::array ? "an array" : "a dictionary"),
              "Only literals can stand there; the name is read as the text " + inQuotes(op->name) + ".");
    } else if (!op && !isLiteralWord(token.text)) {
        const bool isInvisible = !invisibleCharacter(token.text, true).empty();
        error(token, "unknown word " + inQuotes(token.text),
              touchesQuote(token) && !isInvisible
                  ? "It touches a quote: either a quote is missing before it, or there is one too many."
                  : adviceForUnknownWord(token.text, token.beforeParenthesis));
        top().countable = token.beforeParenthesis && top().countable;
    }
    if (token.beforeParenthesis) {
        lastWord_ = token;
        return;
    }
    if (op && op->arity() > 0 && !inLiteral()) {
        frames_.push_back({.kind = Kind::bareCall, .start = token, .bracket = token.position, .op = op});
        return;
    }
    Token whole = token;
    if (!isLiteralWord(token.text)) {
        whole.kind = Token::Kind::call;
    }
    value(whole);
}

bool ExpressionReader::touchesQuote(const Token& token) const {
    const std::size_t end = token.position + token.length;
    return (token.position > 0 && expression_[token.position - 1] == '"') ||
           (end < expression_.size() && expression_[end] == '"');
}

bool ExpressionReader::expects(ArgumentKind kind) const {
    const Frame& frame = top();
    return frame.op && frame.count < frame.op->arity() && frame.op->kinds[frame.count] == kind;
}

void ExpressionReader::readText(const Token& token) {
    if (token.touchesText) {
        error({.position = token.position - 1, .length = 2}, "there is no comma between these two texts",
              "They are read as three texts; the one in the middle is empty. To put a quote inside a text, "
              "write a backslash before it.");
        top().separated = true;
        top().countable = false;
    }
    const std::size_t escaped = token.text.rfind(KivxEscapedQuote);
    const std::size_t swallowed = swallowedQuote(expression_, token);
    if (!token.terminated) {
        unterminated_ = true;
        error({.position = token.position, .length = 1}, "the quote that opens here is never closed",
              escaped == token.text.npos
                  ? "The number of quotes is odd: this one, or one before it, has no partner."
                  : adviceForLastBackslash(token.text.substr(0, escaped + 1)));
    } else if (swallowed != token.text.npos && !expects(patternArgument)) {
        error({.position = token.position + 1 + swallowed, .length = KivxEscapedQuote.size()},
              "the backslash escapes this quote, so the text does not end here",
              adviceForLastBackslash(token.text.substr(0, swallowed + 1)));
        lost_ = true;
    } else if (escaped != token.text.npos && !expects(patternArgument)) {
        warning(token, "the backslash before the quote stays in the text",
                "A text that contains the quote alone is not equal to this one.");
    }
    if (const std::string character = invisibleCharacter(token.text, false); !character.empty()) {
        warning(token, "the text contains the invisible character " + character,
                "It is not equal to the text that it looks like.");
    }
    value(token);
}

void ExpressionReader::readPunctuation(const Token& token) {
    switch (token.text.front()) {
    case '(':
        openParenthesis(token);
        break;
    case '[':
    case '{':
        openLiteral(token);
        break;
    case ')':
    case ']':
    case '}':
        close(token);
        break;
    default:
        separate(token);
    }
}

/// Reads a comma or a colon.
void ExpressionReader::separate(const Token& token) {
    if (top().kind == Kind::bareCall && top().count == 0) {
        abandonBareCalls();
    }
    if (token.text.front() == ':' && top().kind != Kind::dictionary) {
        warning(token, "a colon belongs in a dictionary", "Here it only separates, as a comma does.");
        top().separated = true;
    } else if (std::exchange(top().separated, true)) {
        warning(token, "there is nothing before this " + std::string(token.text == "," ? "comma" : "colon"),
                "It is skipped, because arguments cannot be left out. Write undefined for an argument "
                "without a value.");
    }
}

void ExpressionReader::openParenthesis(const Token& token) {
    const Token called = std::exchange(lastWord_, {});
    if (called.kind != Token::Kind::word) {
        warning(token, "there is no operator before this parenthesis",
                "It is skipped: parentheses are for the arguments of an operator.");
        push(Kind::group, token);
        return;
    }
    if (isLiteralWord(called.text)) {
        error(called, inQuotes(called.text) + " is not an operator and takes no arguments");
    }
    const OperatorSignature* op = inLiteral() ? nullptr : operatorSignature(called.text);
    push(Kind::call, called);
    top().op = op;
    top().bracket = token.position;
}

void ExpressionReader::openLiteral(const Token& token) {
    const bool isArray = token.text == KivxArrayStartDelimiter;
    if (top().kind == Kind::dictionary || (isArray && top().kind == Kind::array)) {
        const bool isArrayInDictionary = isArray && top().kind == Kind::dictionary;
        error(token,
              std::string(isArray ? "an array" : "a dictionary") + " cannot stand inside " +
                  (top().kind == Kind::array ? "an array" : "a dictionary"),
              std::string(isArrayInDictionary ? "Its elements go to the dictionary."
                                              : "The outer one loses its elements.") +
                  " Only dictionaries can stand inside an array; nothing else nests.");
    }
    push(isArray ? Kind::array : Kind::dictionary, token);
}

void ExpressionReader::push(Kind kind, const Token& token) {
    ++openOf(kind);
    frames_.push_back({.kind = kind, .start = token, .bracket = token.position});
}

std::size_t& ExpressionReader::openOf(Kind kind) {
    return open_[kind == Kind::array ? 1 : kind == Kind::dictionary ? 2 : 0];
}

/// Counts a value as the next argument or element of the innermost open bracket, or of an operator without
/// one. When that operator then has all its arguments, its call is a value in its turn.
void ExpressionReader::value(Token token) {
    add(token);
    while (top().kind == Kind::bareCall && top().count == top().op->arity()) {
        token = closeBareCall(token);
        add(token);
    }
}

/// Ends the innermost call, which has no parentheses, after its argument `last`.
Token ExpressionReader::closeBareCall(const Token& last) {
    const Frame closed = std::move(frames_.back());
    frames_.pop_back();
    warning(closed.start, "the operator " + inQuotes(closed.op->name) + " has no parentheses",
            "It takes the " + counted(closed.op->arity(), "value") +
                " after it: " + std::string(closed.op->usage) + ".");
    Token whole = closed.start;
    whole.kind = Token::Kind::call;
    whole.length = last.position + last.length - whole.position;
    return whole;
}

/// Ends the innermost calls without parentheses, which have too few arguments.
void ExpressionReader::abandonBareCalls() {
    while (top().kind == Kind::bareCall) {
        const Frame closed = std::move(frames_.back());
        frames_.pop_back();
        error(closed.start,
              closed.count == 0
                  ? "the operator " + inQuotes(closed.op->name) + " has no arguments in parentheses"
                  : takes(*closed.op) + " and has " + std::to_string(closed.count),
              "Write " + std::string(closed.op->usage) + ".");
        Token whole = closed.start;
        whole.kind = Token::Kind::call;
        add(whole);
    }
}

void ExpressionReader::add(const Token& token) {
    Frame& frame = top();
    refuseSurplus(token);
    const bool wanted = frame.kind != Kind::whole && frame.kind != Kind::bareCall && frame.countable &&
                        (!frame.op || frame.count < frame.op->arity());
    if (!frame.separated && wanted) {
        warning(token, "there is no comma before this");
    }
    frame.separated = false;
    checkAsArgument(token);
    ++frame.count;
}

void ExpressionReader::refuseSurplus(const Token& token) {
    const Frame& frame = top();
    if (!frame.countable) {
        return;
    }
    if (frame.kind == Kind::whole && frame.count == 1) {
        error(token, "the expression ends before this",
              "Only the first value counts; everything after it is ignored.");
    } else if (frame.kind == Kind::group && frame.count == 1) {
        error(token, "parentheses without an operator hold one value", "This is a second one.");
    } else if (frame.op && frame.count == frame.op->arity()) {
        error(token, takes(*frame.op) + ", and this is one more",
              "It is left over for the operator around it. The form is " + std::string(frame.op->usage) +
                  ".");
    }
}

void ExpressionReader::checkAsKey(const Token& token) {
    if (!top().keys.insert(expression_.substr(token.position, token.length)).second) {
        warning(token, "this key stands in the dictionary twice", "The later value counts.");
    }
}

void ExpressionReader::checkAsArgument(const Token& token) {
    Frame& frame = top();
    if (frame.kind == Kind::whole && frame.count == 0) {
        report(token, checkWhole(token, setting_));
    } else if (frame.kind == Kind::dictionary && frame.count % 2 == 0) {
        checkAsKey(token);
    }
    if (!frame.op || frame.count >= frame.op->arity()) {
        return;
    }
    const char kind = frame.op->kinds[frame.count];
    if (token.kind == Token::Kind::text && (kind == targetGroupArgument || frame.op->name == "flagValue")) {
        references_.push_back({kind == targetGroupArgument ? ExpressionUse::targetGroup : ExpressionUse::flag,
                               token.text, token.position, token.length});
    }
    report(token, checkArgument(*frame.op, frame.count, token, setting_));
    if (frame.op->kinds.starts_with("pp") && frame.count < 2 && token.kind != Token::Kind::call) {
        const double share = numberOf(token).value_or(frame.low);
        if (frame.count == 1 && share <= frame.low) {
            warning(token, "the range of shares is empty: it ends where it begins, or before",
                    "This is never true.");
        }
        frame.low = share;
    }
}

void ExpressionReader::close(const Token& token) {
    const Kind kind = token.text == ")" ? Kind::call : token.text == "]" ? Kind::array : Kind::dictionary;
    if (openOf(kind) == 0) {
        error(token, inQuotes(token.text) + " closes nothing",
              kind == Kind::call ? "It is skipped." : std::string(meaningOfFailure(setting_.use)));
        return;
    }
    const auto matches = [kind](const Frame& frame) {
        return frame.kind == kind || (kind == Kind::call && frame.kind == Kind::group);
    };
    while (!matches(top())) {
        if (top().kind == Kind::bareCall) {
            abandonBareCalls();
            continue;
        }
        const std::string_view bracket = expression_.substr(top().bracket, 1);
        error({.position = top().bracket, .length = 1},
              inQuotes(bracket) + " is not closed before the " + inQuotes(token.text) + " in column " +
                  std::to_string(lineColumn(expression_, token.position).column));
        --openOf(top().kind);
        frames_.pop_back();
        top().countable = false;
    }
    closeTop(token);
}

void ExpressionReader::closeTop(const Token& token) {
    const Frame closed = std::move(top());
    frames_.pop_back();
    --openOf(closed.kind);
    if (closed.op && closed.countable && closed.count < closed.op->arity()) {
        error(closed.start,
              takes(*closed.op) + " and has " + (closed.count == 0 ? "none" : std::to_string(closed.count)),
              "The form is " + std::string(closed.op->usage) + ".");
    } else if (closed.kind == Kind::group && closed.countable && closed.count == 0) {
        error(closed.start, "there is nothing in these parentheses");
    } else if (closed.kind == Kind::dictionary && closed.count % 2 == 1) {
        error(closed.start, "the last key of this dictionary has no value");
    } else if (closed.separated && closed.count > 0 && closed.countable) {
        warning({.position = token.position, .length = 1}, "there is a comma, and nothing after it");
    }
    Token whole = closed.start;
    whole.length = token.position + 1 - whole.position;
    whole.text = expression_.substr(whole.position, whole.length);
    whole.kind = closed.kind == Kind::array        ? Token::Kind::array
                 : closed.kind == Kind::dictionary ? Token::Kind::dictionary
                                                   : Token::Kind::call;
    value(whole);
}

/// Reports what is missing at the end of the expression.
void ExpressionReader::reportEnd() {
    constexpr std::size_t mostClosers = 8;
    if (!unterminated_) {
        abandonBareCalls();
    }
    std::erase_if(frames_, [](const Frame& frame) { return frame.kind == Kind::bareCall; });
    if (frames_.size() == 1 && top().count == 0 && errors_ == 0) {
        error({.length = 1}, "the expression is empty, and gives no value",
              std::string(meaningOfFailure(setting_.use)));
    }
    if (frames_.size() == 1 || unterminated_) {
        return;
    }
    std::string closers;
    for (auto frame = frames_.rbegin(); frame + 1 != frames_.rend() && closers.size() <= mostClosers;
         ++frame) {
        closers += frame->kind == Kind::array ? ']' : frame->kind == Kind::dictionary ? '}' : ')';
    }
    const std::size_t open = frames_.size() - 1;
    const Frame& inner = top();
    error({.position = inner.bracket, .length = 1},
          "the " + inQuotes(expression_.substr(inner.bracket, 1)) +
              (inner.kind == Kind::call ? " of " + printable(inner.start.text) : "") + " is never closed",
          open > mostClosers ? counted(open, "bracket") + " are open at the end."
                             : "Missing at the end: " + inQuotes(closers) + ".");
}

void ExpressionReader::report(const Token& token, std::optional<ArgumentProblem> problem) {
    if (problem) {
        (this->*(problem->isError ? &ExpressionReader::error : &ExpressionReader::warning))(
            token, std::move(problem->message), std::move(problem->advice));
    }
}

void ExpressionReader::error(const Token& token, std::string message, std::string advice) {
    findings_.push_back({true, token.position, token.length, std::move(message), std::move(advice)});
    ++errors_;
}

void ExpressionReader::warning(const Token& token, std::string message, std::string advice) {
    if (warnings_++ < mostFindings) {
        findings_.push_back({false, token.position, token.length, std::move(message), std::move(advice)});
    }
}

} // namespace kiv::tool
