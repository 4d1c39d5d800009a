#include <algorithm>
#include <iostream>

#include "Terminal.h"
#include "evaluate/Explanation.h"
#include "evaluate/FailureText.h"
#include "evaluate/Reasons.h"
#include "evaluate/StepText.h"
#include "evaluate/ValueText.h"

namespace kiv::tool {
namespace {

using Outcome = RecordedStep::Outcome;
using Style = Terminal::Style;

/// Prints an explanation for a person.
class Page {
public:
    explicit Page(const Explanation& explanation)
        : explanation_(explanation), evaluation_(explanation.evaluation) {}

    void print() const {
        headline();
        origin();
        if (explanation_.failed()) {
            failure();
        } else {
            reasons();
            mistakes();
        }
        properties();
        steps();
    }

private:
    struct Piece {
        std::string text;
        std::optional<Style> style;
    };

    /// The part of the tree that is drawn to the left of a step.
    struct Branch {
        std::string first; ///< stands before the first line of the step
        std::string rest;  ///< stands before its other lines, and begins those of the steps below
        std::size_t depth = 0;
        bool taken = true;

        Branch below(bool isLast, bool isTaken) const {
            return {rest + (isLast ? "└─ " : "├─ "), rest + (isLast ? "   " : "│  "), depth + 1,
                    taken && isTaken};
        }
    };

    static constexpr std::size_t margin = 2;

    void headline() const {
        const auto& result = explanation_.result;
        std::string text = explanation_.flag ? printable(explanation_.flag->name) : "The value";
        if (result && result->stringValue()) {
            text += " is " + wholeText(result->value());
        } else if (!explanation_.flag) {
            text = explanation_.failed()
                       ? "The evaluation fails."
                       : text + " is " + (result ? wholeText(result->value()) : "undefined");
        } else {
            text += " gets no value, so it has the application's default: its condition ";
            text += !result ? "is undefined."
                    : result->value().isNone()
                        ? "fails."
                        : "gives a value without a text, " + literalText(result->value()) + ".";
        }
        std::cout << styledLines(Style::heading, terminal_.wrapped(text, 0)) << '\n';
    }

    /// The value with its whole text, unless the text would fill the terminal.
    static std::string wholeText(const KivxValue& value) {
        constexpr std::size_t longest = 1000;
        const auto text = value.text();
        return text && text->size() < longest ? "\"" + printable(*text) + "\"" : literalText(value);
    }

    void origin() const {
        if (!explanation_.flag) {
            return;
        }
        const ExplainedFlag& flag = *explanation_.flag;
        std::cout << '\n';
        const std::string number = std::to_string(flag.experiment);
        field("experiment", number + (flag.model.name() ? " \"" + *flag.model.name() + "\"" : ""));
        if (flag.model.identifier()) {
            field("id", *flag.model.identifier());
        }
        field("document", flag.document);
        field("condition", onOneLine(flag.model.deploymentConfiguration().condition()));
        for (const std::size_t other : flag.overruled) {
            field("", "Experiment " + std::to_string(other) + " names this flag too, but experiment " +
                          number + " counts: the last one with a condition.");
        }
    }

    void field(std::string_view label, const std::string& text) const {
        constexpr std::size_t labelWidth = 12;
        std::cout << terminal_.field(label, text, margin, labelWidth);
    }

    void heading(std::string_view text) const {
        std::cout << '\n' << terminal_.styled(Style::heading, text) << '\n';
    }

    void failure() const {
        const BadInput problem = failureOf(evaluation_, explanation_.world.parser().operators());
        const std::string message = "✗ " + messageText(problem);
        std::cout << '\n' << styledLines(Style::error, terminal_.wrapped(message, margin)) << '\n';
        if (problem.spot) {
            std::cout << terminal_.excerpt(*problem.spot, 2 * margin, Style::error);
        }
        if (!problem.advice.empty()) {
            std::cout << terminal_.wrapped(printable(problem.advice), margin) << '\n';
        }
    }

    void reasons() const {
        const Reasons reasons = reasonsFor(evaluation_, explanation_.world);
        if (reasons.facts.empty()) {
            return;
        }
        heading("Why");
        for (std::size_t index = 0; index < reasons.facts.size(); ++index) {
            if (index == Reasons::keptAtEachEnd && reasons.skipped > 0) {
                std::cout << "  … " << reasons.skipped << " more, see the steps …\n";
            }
            const auto& [depth, text] = reasons.facts[index];
            const std::string indent(margin * (depth + 1), ' ');
            std::cout << indent << "• " << terminal_.wrapped(text, indent.size() + 2, indent.size() + 2)
                      << '\n';
        }
    }

    void mistakes() const {
        const auto found = looseFindings(evaluation_);
        if (found.empty()) {
            return;
        }
        heading("Is the expression what you mean?");
        for (const ExpressionFinding& mistake : found) {
            const Spot spot{evaluation_.expression, mistake.position, mistake.length};
            const std::string text = positionText(spot) + ": " + mistake.message +
                                     (mistake.advice.empty() ? "" : ". " + mistake.advice);
            std::cout << styledLines(Style::warning, terminal_.wrapped(printable(text), margin)) << '\n';
        }
    }

    void properties() const {
        const auto read = propertiesRead(evaluation_, explanation_.world);
        if (read.empty()) {
            return;
        }
        constexpr std::size_t widest = 30;
        std::size_t nameWidth = 0;
        std::size_t valueWidth = 0;
        for (const PropertyRead& each : read) {
            nameWidth = std::min(widest, std::max(nameWidth, displayWidth(printable(each.name))));
            valueWidth = std::min(widest, std::max(valueWidth, displayWidth(literalText(each.value))));
        }
        heading("Properties read");
        for (const PropertyRead& each : read) {
            const Branch branch{std::string(margin, ' '), std::string(2 * margin, ' ')};
            line(branch, {{padded(printable(each.name), nameWidth), {}},
                          {padded(literalText(each.value), valueWidth), Style::heading},
                          {each.source, each.value.isUndefined() ? Style::warning : Style::quiet}});
        }
    }

    void steps() const {
        const bool isOneLiteral =
            evaluation_.steps.size() == 1 && evaluation_.steps.front().kind == RecordedStep::Kind::literal;
        if (evaluation_.roots.empty() || isOneLiteral) {
            return;
        }
        heading("Steps");
        roots(evaluation_, {"  ", "  "}, false);
    }

    /// Prints the trees of an evaluation: from the margin, or, when `below` is set, as children of `branch`.
    void roots(const RecordedEvaluation& evaluation, const Branch& branch, bool below) const {
        for (std::size_t index = 0; index < evaluation.roots.size(); ++index) {
            const bool isLast = index + 1 == evaluation.roots.size();
            const bool counts = index == 0;
            const Branch own = below ? branch.below(isLast, counts) : branch;
            step(evaluation, evaluation.steps[evaluation.roots[index]], own,
                 counts || evaluation.failure ? "" : "left over: only the first value counts");
        }
    }

    void step(const RecordedEvaluation& evaluation, const RecordedStep& own, Branch branch,
              const std::string& extra) const {
        std::vector<const RecordedStep*> arguments;
        for (const std::size_t index : own.arguments) {
            if (index != RecordedStep::missing &&
                evaluation.steps[index].kind != RecordedStep::Kind::literal) {
                arguments.push_back(&evaluation.steps[index]);
            }
        }
        std::size_t left = arguments.size() + own.evaluations.size();
        line(branch, pieces(evaluation, own, branch.taken, extra), left > 0);
        if (branch.depth == deepest() && left > 0) {
            line(branch.below(true, false), {{"… more, see --json", Style::quiet}});
            return;
        }
        for (const RecordedStep* argument : arguments) {
            step(evaluation, *argument, branch.below(--left == 0, argument->taken), "");
        }
        for (const auto& inner : own.evaluations) {
            nested(own, *inner, branch.below(--left == 0, true));
        }
    }

    /// How many levels of the tree are shown, so that a line has room for a step.
    std::size_t deepest() const {
        constexpr std::size_t most = 100;
        constexpr std::size_t leastForStep = 26;
        return std::min(most, terminal_.width() / 3 - leastForStep / 3);
    }

    void nested(const RecordedStep& own, const RecordedEvaluation& inner, const Branch& branch) const {
        const KivxValue* group = own.note("targetGroup");
        const KivxValue* flag = own.note("flag");
        std::vector<Piece> pieces{{group  ? "condition of the target group " + literalText(*group)
                                   : flag ? "condition of the flag " + literalText(*flag)
                                          : "another evaluation",
                                   Style::quiet}};
        if (inner.failure) {
            pieces.push_back(
                {"✗ fails: " + messageText(failureOf(inner, explanation_.world.parser().operators())),
                 Style::error});
        }
        if (inner.cut) {
            pieces.push_back({"… too many steps to show", Style::quiet});
        }
        line(branch, pieces);
        roots(inner, branch, true);
    }

    std::vector<Piece> pieces(const RecordedEvaluation& evaluation, const RecordedStep& own, bool taken,
                              const std::string& extra) const {
        const auto style = [taken](Style usual) { return taken ? usual : Style::quiet; };
        std::vector<Piece> pieces{{callText(evaluation, own), taken ? std::optional<Style>() : Style::quiet}};
        if (own.outcome == Outcome::notReached) {
            return {{pieces.front().text, Style::quiet}, {"not reached", Style::quiet}};
        }
        if (own.kind == RecordedStep::Kind::unknownWord) {
            return {pieces.front(), {"✗ unknown word", Style::error}};
        }
        if (own.outcome == Outcome::failed) {
            return {pieces.front(), {"✗ fails", Style::error}};
        }
        if (own.kind == RecordedStep::Kind::call) {
            const Style usual = own.value.isUndefined() ? Style::warning : Style::heading;
            pieces.push_back({"→ " + literalText(own.value), style(usual)});
            pieces.push_back({remark(evaluation, own, explanation_.world), Style::quiet});
        }
        pieces.push_back({extra, Style::quiet});
        pieces.push_back({own.taken ? "" : "not taken", Style::quiet});
        return pieces;
    }

    /// Prints the pieces on one line as far as they fit. A piece that does not fit starts a new, indented
    /// line.
    void line(const Branch& branch, const std::vector<Piece>& pieces, bool hasBelow = false) const {
        const std::string continued = branch.rest + (hasBelow ? "│    " : "   ");
        std::size_t used = displayWidth(branch.first);
        bool isFirst = true;
        std::string output = tree(branch.first);
        for (const auto& [text, style] : pieces) {
            if (text.empty()) {
                continue;
            }
            const std::size_t width = displayWidth(text);
            const std::size_t gap = isFirst ? 0 : text.starts_with("→") ? 1 : 2;
            if (isFirst || used + gap + width <= terminal_.width()) {
                output += std::string(gap, ' ');
                used += gap;
            } else {
                output += '\n' + tree(continued);
                used = displayWidth(continued);
            }
            const std::string wrapped = terminal_.wrapped(text, displayWidth(continued), used);
            output += onBranch(wrapped, continued, style);
            const std::size_t lastBreak = wrapped.rfind('\n');
            used = (lastBreak == wrapped.npos ? used : 0) + displayWidth(wrapped.substr(lastBreak + 1));
            isFirst = false;
        }
        std::cout << output << '\n';
    }

    /// Styles each line of `wrapped`, and draws the tree in place of the margin of each line but the first.
    std::string onBranch(const std::string& wrapped, const std::string& margins,
                         std::optional<Style> style) const {
        std::string result;
        std::size_t start = 0;
        for (std::size_t end = 0; end != wrapped.npos; start = end + 1) {
            end = wrapped.find('\n', start);
            std::string text = wrapped.substr(start, end - start);
            if (start > 0) {
                text.erase(0, displayWidth(margins));
                result += '\n' + tree(margins);
            }
            result += style ? terminal_.styled(*style, text) : text;
        }
        return result;
    }

    std::string tree(const std::string& prefix) const {
        return prefix.find_first_not_of(' ') == prefix.npos ? prefix : terminal_.styled(Style::quiet, prefix);
    }

    std::string styledLines(Style style, const std::string& wrapped) const {
        return onBranch(wrapped, "", style);
    }

    const Explanation& explanation_;
    const RecordedEvaluation& evaluation_;
    Terminal terminal_ = Terminal::ofOutput();
};

} // namespace

void printExplanation(const Explanation& explanation) { Page(explanation).print(); }

} // namespace kiv::tool
