#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Model/KIVExperimentModel.h"
#include "Platform/Text/Json.h"
#include "config/PayloadFolder.h"
#include "evaluate/EvaluationWorld.h"
#include "serve/OfrepContext.h"

namespace kiv::tool {

/// The evaluation of a flag for a context.
struct OfrepEvaluation {
    std::string answer;                  ///< a JSON object as the protocol wants it, also for an error
    std::optional<OfrepError> error;     ///< nothing for a value or a code default
    std::optional<std::string> reported; ///< the value of an impression; nothing when there is none
    std::string_view outcome;            ///< the reason or the error's code, for the log
};

/// The JSON object of an answer that has nothing but an error, about the flag unless its name is empty.
std::string errorAnswer(const OfrepError& error, std::string_view flag);

/// The flags of one document. The document is parsed once, at the first use. Any thread may use this object;
/// none waits for another, except while the document is being parsed.
class OfrepFlags {
public:
    explicit OfrepFlags(Envelope envelope) : envelope_(std::move(envelope)) {}

    /// A flag of the application.
    struct Flag {
        std::string name;
        const KIVExperimentModel* experiment;
        std::string answerStart; ///< what every answer about the flag begins with
        std::string answerEnd;   ///< and ends with
    };

    /// The flags of the application, sorted. Flags of the library itself are not among them.
    const std::vector<Flag>& all() const { return document().flags; }

    /// Null when the document has no such flag.
    const Flag* find(std::string_view name) const;

    /// The value of the flag, which is one of this object. What goes wrong is in the answer.
    OfrepEvaluation evaluate(const Flag& flag, const OfrepContext& context,
                             const OfrepDeclarations& declared) const;

    /// Whether the document asks for impressions of this context.
    bool wantsImpressions(const OfrepContext& context) const;

    /// Whom an impression of the flag is about: what the experiment's stickiness property says, else the
    /// targeting key.
    static std::string distinctId(const Flag& flag, const OfrepContext& context);

private:
    struct Document {
        explicit Document(const std::string& envelope);
        explicit Document(const json::object& payload);

        EvaluationWorld world;
        std::vector<Flag> flags;
    };

    const Document& document() const;

    const Envelope envelope_;
    mutable std::once_flag parsed_;
    mutable std::unique_ptr<const Document> document_;
};

} // namespace kiv::tool
