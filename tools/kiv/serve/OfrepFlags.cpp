#include "serve/OfrepFlags.h"

#include <algorithm>
#include <utility>

#include "KivxLanguage/KivxStack.h"
#include "Model/KIVJSONKeys.h"
#include "config/ConfigDocument.h"
#include "evaluate/ValueText.h"
#include "serve/OfrepReason.h"

namespace kiv::tool {
namespace {

/// Flags with this prefix steer the library.
constexpr std::string_view ofLibrary = "kiv.internal.";
constexpr const char* analyticsFlag = "kiv.internal.analytics";

/// Makes the evaluations of the calling thread read a context, as long as it lives.
class Reading {
public:
    explicit Reading(const OfrepContext& context)
        : context_(context), outer_(std::exchange(current_, this)) {}
    ~Reading() { current_ = outer_; }
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;

    /// The operator `property`.
    static void property(KivxStack& stack) {
        const KivxValue name = stack.pop();
        const KivxValue* value = nullptr;
        if (name.text()) {
            stack.chargeReading(name);
            value = current_->context_.find(*name.text());
            if (KivxTrace* trace = KivxTrace::current(); !value && trace) {
                if (OfrepContext::isTargetingKey(*name.text())) {
                    trace->noted(OfrepTrace::missingKey, name);
                }
            }
        }
        if (value && value->text()) {
            stack.push(KivxValue::borrowed(*value->text())); // the context outlives the evaluation
        } else {
            stack.push(value ? *value : KivxValue::undefined());
        }
    }

private:
    static inline constinit thread_local Reading* current_ = nullptr;

    const OfrepContext& context_;
    Reading* const outer_;
};

json::object payloadOf(const std::string& envelope) {
    const json::object whole = parseObject(envelope, "");
    const json::string* data = textMember(whole, KIVC_JSON_data);
    return data ? parseObject(*data, "") : json::object();
}

/// The value that clients get. A text that says "true" or "false" is a boolean, because a boolean flag may be
/// written so, unless the flag is declared as one that is not on or off.
json::value valueForClients(const KivxValue& value, const std::string& flag,
                            const OfrepDeclarations& declared) {
    const auto text = value.text();
    if (text == "true" || text == "false") {
        const auto known = declared.flags.find(flag);
        if (known == declared.flags.end() || known->second) {
            return text == "true";
        }
    }
    return toJson(value);
}

json::object metadataOf(const KIVExperimentModel& experiment) {
    json::object metadata;
    if (experiment.name()) {
        metadata["experimentName"] = *experiment.name();
    }
    if (experiment.identifier()) {
        metadata["experimentId"] = *experiment.identifier();
    }
    return metadata;
}

std::string quoted(std::string_view text) { return compactJson(json::string(text)); }

OfrepEvaluation failed(const std::string& flag, OfrepError error) {
    return {.answer = errorAnswer(error, flag), .error = error, .reported = {}, .outcome = error.code};
}

std::string_view reasonOf(const OfrepTrace& trace, const EvaluationWorld& world, const std::string& condition,
                          const std::string& flag) {
    if (trace.hasPercentage()) {
        EvaluationRecorder recorder(world.parser().operators());
        const KivxTrace::Scope scope(recorder);
        world.evaluate(condition, flag);
        if (isDecidedByPercentage(recorder.evaluation())) {
            return "SPLIT";
        }
    }
    return trace.asks() ? "TARGETING_MATCH" : "STATIC";
}

} // namespace

std::string errorAnswer(const OfrepError& error, std::string_view flag) {
    json::object answer;
    if (!flag.empty()) {
        answer["key"] = flag;
    }
    answer["errorCode"] = error.code;
    answer["errorDetails"] = error.details;
    return compactJson(answer);
}

OfrepFlags::Document::Document(const std::string& envelope) : Document(payloadOf(envelope)) {}

OfrepFlags::Document::Document(const json::object& payload) : world(EvaluationRequest{}, &payload) {
    world.setPropertyOperator(&Reading::property);
    for (std::string& name : world.flagNames()) {
        if (!name.starts_with(ofLibrary)) {
            const KIVExperimentModel* experiment = world.experimentFor(name);
            const json::object metadata = metadataOf(*experiment);
            std::string start = "{\"key\":" + quoted(name);
            std::string end = metadata.empty() ? "}" : ",\"metadata\":" + compactJson(metadata) + "}";
            flags.push_back({std::move(name), experiment, std::move(start), std::move(end)});
        }
    }
}

const OfrepFlags::Document& OfrepFlags::document() const {
    std::call_once(parsed_, [this] { document_ = std::make_unique<const Document>(*envelope_); });
    return *document_;
}

const OfrepFlags::Flag* OfrepFlags::find(std::string_view name) const {
    const auto& flags = all();
    const auto found = std::ranges::lower_bound(flags, name, {}, &Flag::name);
    return found != flags.end() && found->name == name ? &*found : nullptr;
}

OfrepEvaluation OfrepFlags::evaluate(const Flag& flag, const OfrepContext& context,
                                     const OfrepDeclarations& declared) const {
    const EvaluationWorld& world = document().world;
    const std::string& condition = flag.experiment->deploymentConfiguration().condition();
    const Reading reading(context);
    OfrepTrace trace;
    std::optional<KivxEvaluationResult> result;
    {
        const KivxTrace::Scope scope(trace);
        result = world.evaluate(condition, flag.name);
    }
    if (trace.lacksKey()) {
        return failed(flag.name, {ofrepError::targetingKeyMissing,
                                  "the expression asks for the targeting key, which the context lacks"});
    }
    if (!trace.failure().empty()) {
        return failed(flag.name, {ofrepError::general, "the expression fails at " + trace.failure()});
    }
    OfrepEvaluation evaluation{.answer = flag.answerStart, .error = {}, .reported = {}, .outcome = "DEFAULT"};
    if (result && !result->value().isNone()) {
        const json::value value = valueForClients(result->value(), flag.name, declared);
        if (!isJson(value)) {
            return failed(flag.name, {ofrepError::general, "the value is infinite or not a number"});
        }
        evaluation.outcome = reasonOf(trace, world, condition, flag.name);
        evaluation.reported = result->stringValue();
        evaluation.answer += ",\"value\":" + compactJson(value);
        evaluation.answer += ",\"variant\":" + quoted(toText(result->value()));
    }
    evaluation.answer += ",\"reason\":\"" + std::string(evaluation.outcome) + "\"" + flag.answerEnd;
    return evaluation;
}

bool OfrepFlags::wantsImpressions(const OfrepContext& context) const {
    const EvaluationWorld& world = document().world;
    const KIVExperimentModel* experiment = world.experimentFor(analyticsFlag);
    const Reading reading(context);
    return experiment &&
           experiment->valueWithParser(world.parser(), analyticsFlag, world.context()) == "true";
}

std::string OfrepFlags::distinctId(const Flag& flag, const OfrepContext& context) {
    const auto& property = flag.experiment->stickinessProperty();
    const KivxValue* sticky = property ? context.find(*property) : nullptr;
    return sticky && sticky->text() ? std::string(*sticky->text()) : context.targetingKey();
}

} // namespace kiv::tool
