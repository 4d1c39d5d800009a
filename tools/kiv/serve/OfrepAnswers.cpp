#include "serve/OfrepAnswers.h"

#include <chrono>
#include <utility>

#include "Platform/Crypto/Digest.h"
#include "Platform/System/Clock.h"
#include "Platform/Text/Text.h"
#include "Terminal.h"
#include "serve/RequestBody.h"

namespace kiv::tool {
namespace {

std::shared_ptr<const std::string> bodyOf(std::string text) {
    text += '\n';
    return std::make_shared<const std::string>(std::move(text));
}

OfrepContext contextOf(HttpCall& call, const OfrepDeclarations& declared) {
    if (call.body.size() > mostOfrepBytes) {
        throw OfrepError{ofrepError::parse,
                         "the body is larger than " + std::to_string(mostOfrepBytes >> 10U) + " KiB"};
    }
    try {
        return OfrepContext(bodyObject(call, mostOfrepBytes, mostOfrepValues), declared);
    } catch (const Refusal& wrong) {
        throw OfrepError{ofrepError::parse, wrong.reason};
    }
}

/// Calls `answer`, which may throw `OfrepError`. The answer to another exception has the status 500.
template <class Answer>
OfrepAnswer guarded(std::string_view flag, Answer answer) {
    try {
        return answer();
    } catch (const OfrepError& error) {
        return {ofrepErrorAnswer(error, flag)};
    } catch (const std::exception& problem) {
        return {ofrepErrorAnswer({ofrepError::general, problem.what(), 500}, flag)};
    }
}

/// Collects the impressions of one request.
class Impressions {
public:
    Impressions(const OfrepFlags& flags, const OfrepContext& context)
        : context_(context), isWanted_(flags.wantsImpressions(context)) {}

    void add(const OfrepFlags::Flag& flag, const OfrepEvaluation& evaluation) {
        if (isWanted_ && evaluation.reported) {
            events_.push_back({{"distinctId", OfrepFlags::distinctId(flag, context_)},
                               {"flag", flag.name},
                               {"time", time_},
                               {"type", "IMPRESSION"},
                               {"value", *evaluation.reported}});
        }
    }

    json::array take() { return std::move(events_); }

private:
    const OfrepContext& context_;
    const bool isWanted_;
    const double time_ = std::chrono::duration<double>(Clock::current().now().time_since_epoch()).count();
    json::array events_;
};

/// Whether a header If-None-Match names the tag.
bool names(std::string_view header, std::string_view tag) {
    while (!header.empty()) {
        const std::size_t comma = std::min(header.find(','), header.size());
        std::string_view each = trimmed(header.substr(0, comma));
        header.remove_prefix(std::min(comma + 1, header.size()));
        each.remove_prefix(each.starts_with("W/") ? 2 : 0);
        if (each == tag || each == "*") {
            return true;
        }
    }
    return false;
}

} // namespace

HttpAnswer ofrepErrorAnswer(const OfrepError& error, std::string_view flag) {
    return {.status = error.status,
            .body = bodyOf(errorAnswer(error, flag)),
            .note = (flag.empty() ? "" : std::string(flag) + "  ") + std::string(error.code) + ": " +
                    error.details};
}

OfrepAnswer answerFlag(const OfrepApplication& application, const std::string& flag, HttpCall call) {
    return guarded(flag, [&]() -> OfrepAnswer {
        const OfrepContext context = contextOf(call, *application.declared);
        const OfrepFlags::Flag* found = application.flags->find(flag);
        if (!found) {
            throw OfrepError{ofrepError::flagNotFound, "the document has no flag " + inQuotes(flag), 404};
        }
        OfrepEvaluation evaluation = application.flags->evaluate(*found, context, *application.declared);
        if (evaluation.error) {
            throw *evaluation.error;
        }
        Impressions impressions(*application.flags, context);
        impressions.add(*found, evaluation);
        return {{.body = bodyOf(std::move(evaluation.answer)),
                 .note = flag + "  " + std::string(evaluation.outcome)},
                impressions.take()};
    });
}

OfrepAnswer answerAllFlags(const OfrepApplication& application, const std::string& eventsPath,
                           HttpCall call) {
    return guarded("", [&]() -> OfrepAnswer {
        const OfrepContext context = contextOf(call, *application.declared);
        Impressions impressions(*application.flags, context);
        std::string text = "{\"flags\":[";
        std::string_view separator;
        std::size_t errors = 0;
        for (const OfrepFlags::Flag& flag : application.flags->all()) {
            const OfrepEvaluation evaluation =
                application.flags->evaluate(flag, context, *application.declared);
            impressions.add(flag, evaluation);
            errors += evaluation.error ? 1 : 0;
            text.append(std::exchange(separator, ",")).append(evaluation.answer);
        }
        const json::object stream{{"type", "sse"}, {"endpoint", json::object{{"requestUri", eventsPath}}}};
        text += "],\"eventStreams\":[" + compactJson(stream) + "]}";
        const auto body = bodyOf(std::move(text));
        const std::string note = counted(application.flags->all().size(), "flag") +
                                 (errors > 0 ? ", " + counted(errors, "error") : "");
        const std::string tag = '"' + md5Hex(*body) + '"';
        if (names(call.ifNoneMatch, tag)) {
            return {{.status = 304, .headers = {{"ETag", tag}}, .note = note + ", as the client knows them"}};
        }
        return {{.body = body, .headers = {{"ETag", tag}}, .note = note}, impressions.take()};
    });
}

} // namespace kiv::tool
