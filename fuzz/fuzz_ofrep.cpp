#include <cstdlib>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "Support/FuzzWorld.h"
#include "serve/OfrepAnswers.h"
#include "serve/OfrepTarget.h"

namespace {

namespace json = kiv::json;
using namespace kiv::tool;

constexpr std::string_view conditions[] = {
    R"(concat("", property("p")))",
    R"(semverGte(property("v"), "2.9"))",
    R"(tsToNum(property("d")))",
    R"(ifThen(isInPercentageRange(0, 0.5, mergeSeed("s", property("distinct_id"))), {"a": 1}, [1, 2]))",
    R"(or(isInTargetGroup("g"), match(property("p"), "^a+$", "i")))",
    R"(b64d(property("p")))",
    R"(flagValue(property("p")))",
};

OfrepApplication makeApplication() {
    useNoFolder();
    json::array experiments;
    for (const std::string_view condition : conditions) {
        const json::object flag{{"name", "f" + std::to_string(experiments.size())}};
        experiments.push_back({{"_id", "id"},
                               {"featureFlags", json::array{flag}},
                               {"deploymentConfiguration", json::object{{"condition", condition}}}});
    }
    const json::object analytics{{"name", "kiv.internal.analytics"}};
    experiments.push_back({{"featureFlags", json::array{analytics}},
                           {"deploymentConfiguration", json::object{{"condition", "true"}}}});
    const json::object group{{"_id", "g"}, {"condition", R"(gt(property("p"), 1))"}};
    const json::object payload{{"experiments", std::move(experiments)}, {"targetGroups", json::array{group}}};
    const json::object envelope{{"data", kiv::compactJson(payload)}};
    OfrepDeclarations declared;
    declared.properties.emplace("d", "datetime");
    return {
        std::make_shared<const OfrepFlags>(std::make_shared<const std::string>(kiv::compactJson(envelope))),
        std::make_shared<const OfrepDeclarations>(std::move(declared))};
}

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// Expects that a client understands the body: an error with one of the protocol's codes, or, in a single
/// answer, a reason.
void requireEvaluation(const json::value& body, bool isError) {
    static const std::set<std::string, std::less<>> codes{"PARSE_ERROR", "TARGETING_KEY_MISSING",
                                                          "INVALID_CONTEXT", "FLAG_NOT_FOUND", "GENERAL"};
    const json::string* code = kiv::textMember(body, "errorCode");
    require(isError ? code && codes.contains(std::string_view(*code))
                    : !code && kiv::textMember(body, "reason") && kiv::textMember(body, "key"));
}

} // namespace

/// Takes the first line as the path of a request, and the rest as its body.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const OfrepApplication application = makeApplication();
    const std::string_view text = textOf(data, size);
    const std::size_t line = std::min(text.find('\n'), text.size());
    const auto target = OfrepTarget::from(text.substr(0, line));
    if (!target) {
        return 0;
    }
    kiv::HttpCall call{.contentType = "application/json",
                       .body = std::string(text.substr(std::min(line + 1, text.size())))};
    if (target->kind == OfrepTarget::Kind::flag) {
        const OfrepAnswer answer = answerFlag(application, target->flag, call);
        const auto body = kiv::parseJson(*answer.http.body);
        require(body.has_value() && answer.http.status != 500);
        requireEvaluation(*body, answer.http.status != 200);
        require(answer.impressions.size() <= (answer.http.status == 200 ? 1 : 0));
        return 0;
    }
    const OfrepAnswer answer = answerAllFlags(application, target->eventsPath, call);
    const auto body = kiv::parseJson(*answer.http.body);
    require(body.has_value() && answer.http.status != 500);
    if (answer.http.status != 200) {
        requireEvaluation(*body, true);
        return 0;
    }
    const json::array& flags = body->at("flags").as_array();
    require(flags.size() == std::size(conditions) && answer.impressions.size() <= flags.size());
    for (const json::value& flag : flags) {
        requireEvaluation(flag, kiv::member(flag, "errorCode") != nullptr);
    }
    call.ifNoneMatch = answer.http.headers.front().second;
    const OfrepAnswer again = answerAllFlags(application, target->eventsPath, call);
    require(again.http.status == 304 && !again.http.body && again.impressions.empty());
    return 0;
}
