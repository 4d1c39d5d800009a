#include "KivCommand.h"

#include "KivxLanguage/KivxExperimentsExtensions.h"

namespace {

constexpr std::string_view documentText = R"~({
  "application": "5e0bd1f2c3a4b5d6e7f80912",
  "targetGroups": [
    {"_id": "loyal", "condition": "gte(property(\"orders\"), 10)"},
    {"_id": "at-the-cart", "condition": "eq(property(\"screen\"), \"cart\")"},
    {"_id": "empty"}
  ],
  "experiments": [
    {"_id": "e1", "name": "First", "featureFlags": [{"name": "shop.discount"}],
     "deploymentConfiguration": {"condition": "0.5"}},
    {"_id": "e2", "name": "For the loyal", "featureFlags": [{"name": "shop.discount"}],
     "deploymentConfiguration": {"condition": "ifThen(isInTargetGroup(\"loyal\"), 0.15, undefined)"}},
    {"_id": "e3", "featureFlags": [{"name": "shop.colour"}],
     "deploymentConfiguration": {"condition":
       "ifThen(isInPercentageRange(0, 0.5, mergeSeed(\"c\", property(\"userId\"))), \"green\", \"red\")"}},
    {"_id": "e4", "featureFlags": [{"name": "shop.page"}],
     "deploymentConfiguration": {"condition":
       "ifThen(eq(flagValue(\"shop.discount\"), \"0.15\"), \"short\", concat(\"lo\", \"ng\"))"}},
    {"_id": "e5", "featureFlags": [{"name": "shop.circle"}],
     "deploymentConfiguration": {"condition": "concat(\"<\", flagValue(\"shop.circle\"))"}},
    {"_id": "e6", "featureFlags": [{"name": "shop.skipped"}]}
  ]
})~";

class ExplainCommand : public KivCommand {
protected:
    ExplainCommand() { write("payload.json", documentText); }

    static std::string explain(const Arguments& arguments) { return output(joined({"explain"}, arguments)); }

    static std::string explainFlag(const std::string& flag, const Arguments& more = {}) {
        return explain(joined({"--config", "payload.json", "--flag", flag}, more));
    }

    /// The step at a JSON pointer below the first step: "/arguments/0" is its first argument.
    static const kiv::json::value& step(const kiv::json::value& document, const std::string& pointer) {
        return document.at_pointer("/evaluation/steps/0" + pointer);
    }
};

TEST_F(ExplainCommand, ShowsEachStepOfATree) {
    const std::string shown =
        explain({R"(ifThen(gt(property("orders"), 10), concat("a", property("kind")), md5("b")))",
                 "--property", "orders=12", "--context", "kind=x"});
    EXPECT_EQ(shown, R"(The value is "ax"

Why
  • gt(property("orders"), 10) is true: orders is 12
  • concat("a", property("kind")) is "ax": kind is "x"

Properties read
  kind    "x"  from the context
  orders  12   int

Steps
  ifThen(true, "ax", "92eb5ffee6ae2fec3ad71c777531578f") → "ax"
  ├─ gt(12, 10) → true
  │  └─ property("orders") → 12  int
  ├─ concat("a", "x") → "ax"
  │  └─ property("kind") → "x"  from the context
  └─ md5("b") → "92eb5ffee6ae2fec3ad71c777531578f"  not taken
)");
}

TEST_F(ExplainCommand, TellsWhereTheValueOfAFlagComesFrom) {
    expectContains(explainFlag("shop.page", {"--property", "orders=3"}),
                   {
                       "shop.page is \"long\"\n",
                       "experiment  4\n",
                       "document    payload.json\n",
                       "condition   ifThen(eq(flagValue(\"shop.discount\"), \"0.15\"), \"short\", ",
                       "  • eq(flagValue(\"shop.discount\"), \"0.15\") is false\n"
                       "    • not in the target group \"loyal\"\n"
                       "      • gte(property(\"orders\"), 10) is false: orders is 3\n",
                       "flagValue(\"shop.discount\") → \"false\"  it gets no value: \"false\" here",
                       "condition of the flag \"shop.discount\"\n",
                       "condition of the target group \"loyal\"\n",
                   });
    expectContains(explainFlag("shop.discount", {"--property", "orders=10"}),
                   {"shop.discount is 0.15\n", "experiment  2 \"For the loyal\"\n",
                    "Experiment 1 names this flag too, but experiment 2 counts"});
    EXPECT_CONTAINS(explainFlag("shop.discount", {"--target-group", "loyal=false"}),
                    "so it has the application's default: its condition is undefined.");
}

TEST_F(ExplainCommand, GivesJson) {
    const kiv::json::value document =
        parsed(explainFlag("shop.colour", {"--property", "userId=ada", "--json"}));
    const double bucket = KivxExperimentsExtensions::bucketFrom("c.ada");
    EXPECT_EQ(document.at("outcome"), "value");
    EXPECT_EQ(document.at("value"), bucket < 0.5 ? "green" : "red");
    EXPECT_EQ(document.at_pointer("/flag/experiment/id"), "e3");
    EXPECT_EQ(document.at_pointer("/flag/experiment/name"), nullptr);
    EXPECT_EQ(document.at_pointer("/flag/experiment/index"), 3);
    EXPECT_EQ(document.at_pointer("/properties/0/name"), "userId");
    EXPECT_EQ(document.at_pointer("/properties/0/value"), "ada");
    const kiv::json::value& range = step(document, "/arguments/0");
    EXPECT_EQ(range.at("operator"), "isInPercentageRange");
    EXPECT_EQ(range.at("position"), 7);
    EXPECT_EQ(range.at("order"), 3);
    EXPECT_EQ(range.at("seed"), "c.ada");
    EXPECT_EQ(range.at("bucket"), bucket);
    EXPECT_EQ(range.at_pointer("/arguments/1/value"), 0.5);
    EXPECT_EQ(range.at_pointer("/arguments/2/arguments/1/operator"), "property");
}

TEST_F(ExplainCommand, ShowsNestedEvaluationsAsJson) {
    const kiv::json::value document =
        parsed(explain({R"(or(isInTargetGroup("at-the-cart"), isInTargetGroup("empty")))", "--config",
                        "payload.json", "--context", "screen=cart", "--json"}));
    EXPECT_EQ(document.at("value"), false);
    const kiv::json::value& nested = step(document, "/arguments/0").at("evaluation");
    EXPECT_EQ(nested.at("targetGroup"), "at-the-cart");
    EXPECT_EQ(nested.at("value"), false);
    EXPECT_EQ(nested.at_pointer("/steps/0/arguments/0/remark"),
              "in the context, which target groups do not see");
    EXPECT_EQ(step(document, "/arguments/1").at("remark"), "it has no condition");
}

TEST_F(ExplainCommand, TellsWhichStepFailedAndWhatWasNotReached) {
    const std::string expression = R"(ifThen(semverGte(property("version"), "2"), not(true), "b"))";
    const Outcome outcome = kiv({"explain", expression, "--property", "version=2.5"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.err, "");
    expectContains(outcome.out,
                   {
                       "The evaluation fails.\n",
                       "✗ the operator \"semverGte\" fails: A version is expected to be a text — column 8\n",
                       "           ^~~~~~~~~\n",
                       "called as semverGte(2.5, \"2\"). To give the property as a text: version:semver=2.5.",
                       "  ifThen(…, false, \"b\")  not reached\n"
                       "  ├─ semverGte(2.5, \"2\")  ✗ fails\n"
                       "  │  └─ property(\"version\") → 2.5  double\n"
                       "  └─ not(true) → false\n",
                   });
    explain({expression, "--property", "version=2.50"}); // a text, so all is well
    const kiv::json::value document = parsed(explain({expression, "--json"}));
    EXPECT_EQ(document.at("outcome"), "value"); // undefined is no version, and no failure
    const kiv::json::value unknown = parsed(kiv({"explain", "eq(1, equls(2, 3))", "--json"}).out);
    EXPECT_EQ(unknown.at("outcome"), "empty");
    EXPECT_EQ(unknown.at_pointer("/failure/word"), "equls");
    EXPECT_EQ(unknown.at_pointer("/failure/position"), 6);
    EXPECT_EQ(unknown.at_pointer("/failure/advice"), "Did you mean eq(first, second)?");
    EXPECT_EQ(step(unknown, "").at("outcome"), "notReached");
}

TEST_F(ExplainCommand, TellsFailuresInTheWordsOfTheExpression) {
    const struct {
        Arguments arguments;
        int exitCode;
        std::vector<std::string> told;
    } cases[] = {
        {{"[1, 2"}, 1, {"✗ the \"[\" is never closed — column 1\n", "Missing at the end: \"]\"."}},
        {{R"(isInTargetGroup("vip"))", "--target-group", "vip=eq(foo, 1)"},
         0,
         {"not in the target group \"vip\": its condition fails",
          "this evaluation fails: unknown word \"foo\" — column 4. If it is meant as a text",
          "✗ fails: unknown word \"foo\" — column 4\n"}},
        {{R"(inArray(1, property("x")))"}, 1, {"\"inArray\" fails: undefined has no elements"}},
        {{R"(isInPercentage(property("x"), "a"))"}, 1, {"fails: undefined has no double value"}},
        {{R"(and(true, property("x")))"}, 1, {"write eq(property(\"x\"), true)."}},
        {{R"(match("a", property("p"), ""))", "--property", "p="}, 1, {"fails: the pattern is empty"}},
        {{R"(match("a", property("p"), ""))", "--property", "p=["},
         1,
         {"compile: missing close bracket at 1"}},
        {{"and(true,\n\t foo)"}, 1, {"line 2, column 3\n      foo)\n      ^~~\n"}},
    };
    for (const auto& each : cases) {
        const Outcome outcome = kiv(joined({"explain"}, each.arguments));
        EXPECT_EQ(outcome.exitCode, each.exitCode) << outcome.out;
        expectContains(outcome.out, each.told);
        EXPECT_EQ(outcome.out.find("<null>"), std::string::npos) << outcome.out;
        EXPECT_EQ(outcome.out.find("\\u0009"), std::string::npos) << outcome.out;
    }
}

TEST_F(ExplainCommand, FitsTheTerminal) {
    const Arguments arguments{"explain", "--config", "payload.json", "--flag", "shop.colour"};
    const std::string plain = onTerminal("NO_COLOR=", arguments);
    expectNarrow(plain);
    EXPECT_CONTAINS(plain, "     │    bucket ");
    EXPECT_CONTAINS(onTerminal("", arguments), "\x1b[33mnot given\x1b[0m");
    std::string chain = "0";
    for (int i = 1; i <= 40; ++i) {
        chain = "ifThen(eq(property(\"p\"), " + std::to_string(i) + "), 1, " + chain + ")";
    }
    const std::string deep = onTerminal("NO_COLOR=", {"explain", chain});
    expectNarrow(deep);
    EXPECT_CONTAINS(deep, "… more, see --json");
    EXPECT_CONTAINS(deep, "  … 28 more, see the steps …\n");
    EXPECT_CONTAINS(deep, "eq(property(\"p\"), 1) is false");
}

TEST_F(ExplainCommand, StandsOddExpressions) {
    std::string deep;
    for (int i = 0; i < 20'000; ++i) {
        deep += "not ";
    }
    const std::pair<std::string, std::string> cases[] = {
        {deep + "true", "The value is true"},
        {"eq(1", "eq(1, (missing)) → false"},
        {"isInTargetGroup()", "is false: there is no such target group"},
        {"1 2", "left over: only the first value counts"},
        {"property(5)", "the name is not a text"},
        {"ifThen(not", "→ undefined"},
        {"\"a\x1b[31m\"", "The value is \"a\\u001b[31m\""},
        {R"([1, {"k": 5}])", R"(The value is [1, {"k": 5}])"},
        {R"(eq(1, {"k": [5]}))", R"(eq(1, {"k": 5}) is false)"},
        {R"(eq(1, {"k": [5]}))", "Its elements go to the dictionary."},
        {"", "contains no value"},
    };
    for (const auto& [expression, told] : cases) {
        const Outcome outcome = kiv({"explain", expression});
        EXPECT_EQ(outcome.exitCode, expression.empty() ? 1 : 0) << told;
        EXPECT_CONTAINS(outcome.out, told);
        parsed(kiv({"explain", expression, "--json"}).out);
    }
    expectContains(explainFlag("shop.circle"),
                   {"shop.circle is \"<false\"", "✗ fails: the expression depends on itself"});
}

TEST_F(ExplainCommand, TakesTypesAndGuessesThem) {
    const struct {
        std::string property;
        kiv::json::value type;
        kiv::json::value value;
    } cases[] = {
        {"p=12", "int", 12},
        {"p=-0.5", "double", -0.5},
        {"p=true", "bool", true},
        {"p=2.10", "string", "2.10"},
        {"p=007", "string", "007"},
        {"p=", "string", ""},
        {"p=a=b", "string", "a=b"},
        {"p:string=12", "string", "12"},
        {"p:semver=2.10", "string", "2.10"},
        {"p:double=3", "double", 3.0},
        {"p:datetime=2026-01-31T12:00:00.000Z", "date", "2026-01-31T12:00:00.000Z"},
    };
    for (const auto& [property, type, value] : cases) {
        const kiv::json::value document =
            parsed(explain({"property(\"p\")", "--property", property, "--json"}));
        EXPECT_EQ(document.at("type"), type) << property;
        EXPECT_TRUE(kiv::equalJson(document.at("value"), value)) << property;
    }
}

TEST_F(ExplainCommand, RefusesBadInput) {
    write("broken.json", "{\"experiments\": [");
    write("other.json", "{}");
    const Call calls[] = {
        {{"--config", "none.json", "--flag", "a"}, 1, "none.json: cannot be read"},
        {{"--config", "broken.json", "--flag", "a"}, 1, "broken.json: no JSON"},
        {{"--config", "other.json", "--flag", "a"}, 1, "not name the flag \"a\"\n  It names no flag at all"},
        {{"--config", "payload.json", "--flag", "shop.color"},
         1,
         "payload.json: the document does not name the flag \"shop.color\"\n  Did you mean shop.colour?"},
        {{"--config", "payload.json", "--flag", "shop.skipped"},
         1,
         "experiment 6 names the flag \"shop.skipped\", but has no condition"},
        {{"1", "--property", "v:sting=2"}, 1, "double\n  Did you mean string?"},
        {{"1", "--property", "v:int=2.5"}, 1, "\"v:int=2.5\": the value 2.5 does not fit the type \"int\""},
        {{"1", "--context", "v:semver=2"},
         1,
         "no value of the context has the type \"semver\"\n  Its types are"},
        {{"1", "--property", "v"}, 2, "--property: \"v\" does not have the form NAME=VALUE"},
        {{"1", "--target-group", "=true"}, 2, "does not have the form ID=CONDITION"},
        {{}, 2, "either an expression, or --config and --flag"},
        {{"1", "--config", "payload.json", "--flag", "shop.page"}, 2, "either an expression"},
        {{"--flag", "shop.page"}, 2, "--flag needs --config"},
    };
    expectTold({"explain"}, calls);
}

} // namespace
