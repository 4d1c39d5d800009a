#pragma once

#include <optional>

#include <kiv/EvaluationContext.h>

#include "EvaluationRequest.h"
#include "KivxLanguage/KivxEvaluationResult.h"
#include "KivxLanguage/KivxParser.h"

namespace kiv::tool {

/// All that an expression of a request can ask: the parser with its extensions, the context, and what they
/// read.
class EvaluationWorld {
public:
    /// Takes everything but the expression and the flag's name from the request, and keeps no reference to
    /// it.
    explicit EvaluationWorld(const EvaluationRequest& request);

    /// As `KivxParser::evaluateExpression`.
    std::optional<KivxEvaluationResult> evaluate(std::string_view expression,
                                                 std::string_view flagName) const {
        return parser_.evaluateExpression(expression, flagName, context_);
    }

    const KivxParser& parser() const { return parser_; }

private:
    KivxParser parser_;
    EvaluationContext context_;
};

} // namespace kiv::tool
