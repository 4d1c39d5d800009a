#include "KivCommand.h"

namespace {

using EvalCommand = KivCommand;

TEST_F(EvalCommand, PrintsTheValue) {
    const std::pair<std::string, std::string> cases[] = {
        {R"(ifThen(semverGte("1.10", "1.9"), "new", "old"))", "new"},
        {"undefined", "undefined"},
        {"1e20", "100000000000000000000"},
        {"-5", "-5"},
        {R"([1, "x", true, undefined, {"a": 0.5}])", R"([1,"x",true,null,{"a":0.5}])"},
    };
    for (const auto& [expression, value] : cases) {
        EXPECT_EQ(output({"eval", "--", expression}), value + "\n");
    }
}

TEST_F(EvalCommand, SeesWhatItIsGiven) {
    const Arguments world{"--property",     "country=FR",
                          "--property",     "appVersion:semver=2.10",
                          "--context",      "screen=cart",
                          "--target-group", R"(french=eq(property("country"), "FR"))",
                          "--target-group", R"(at-the-cart=eq(property("screen"), "cart"))",
                          "--flag-name",    "shop.page"};
    const std::pair<std::string, std::string> cases[] = {
        {R"(and(semverGte(property("appVersion"), "2.9"), isInTargetGroup("french")))", "true"},
        {R"(property("screen"))", "cart"},
        {R"(isInTargetGroup("at-the-cart"))", "false"},
        {R"(isTargetGroupPaired("french"))", "false"},
        {R"(flagValue("shop.page"))", "false"},
    };
    for (const auto& [expression, value] : cases) {
        EXPECT_EQ(output(joined({"eval", expression}, world)), value + "\n") << expression;
    }
}

TEST_F(EvalCommand, TellsWhichStepFailedAndWhy) {
    const struct {
        std::string expression;
        std::vector<std::string> told;
    } cases[] = {
        {"eq(equls(1, 2), 1)",
         {"unknown word \"equls\" — column 4\n", "\n     ^~~~~\n", "Did you mean eq(first, second)?"}},
        {R"(and(true, semverGt(1.2, "1")))",
         {"\"semverGt\" fails: ", " — column 11\n", "At column 20: ", "Put it in double quotes: \"1.2\"."}},
        {"[[1]]", {"an array cannot stand inside an array — column 2\n"}},
        {"eq(1,\n   fo\x1b)", {"unknown word \"fo\\u001b\" — line 2, column 4\n"}},
        {"", {"contains no value"}},
    };
    for (const auto& each : cases) {
        const Outcome outcome = kiv({"eval", each.expression});
        EXPECT_EQ(outcome.exitCode, 1) << each.expression;
        EXPECT_EQ(outcome.out, "");
        expectContains(outcome.err, each.told);
    }
}

TEST_F(EvalCommand, TellsAPersonWhatIsOdd) {
    const std::pair<Arguments, std::string> cases[] = {
        {{R"(eq(property("n"), "5"))", "--property", "n=5"},
         "false\n  • a number never equals a text: write eq(property(\"n\"), 5)\n"
         "  'kiv explain' shows every step.\n"},
        {{R"(isInTargetGroup("g"))", "--target-group", "g=fo"},
         "false\n  • an evaluation inside fails: unknown word \"fo\" — column\n    1. "},
        {{"lt(1, 2)"}, "true\n"},
    };
    for (const auto& [arguments, told] : cases) {
        const std::string shown = onTerminal("NO_COLOR=", joined({"eval"}, arguments));
        EXPECT_TRUE(shown.starts_with(told)) << shown;
        expectNarrow(shown);
        output(joined({"eval"}, arguments)); // nothing on standard error
    }
    EXPECT_EQ(onTerminal("NO_COLOR=", {"eval", "lt(1, 2)"}), "true\n");
}

TEST_F(EvalCommand, AnswersABatchLineByLine) {
    const std::pair<std::string, std::string> lines[] = {
        {R"~({"expression": "numeq(\"1.0\", 1)"})~",
         R"({"outcome":"value","type":"bool","value":true,"stringValue":"true"})"},
        {R"~({"expression": "match(\"a\", \"A\", \"i\")", "flagName": "a.b"})~",
         R"({"outcome":"value","type":"int","value":1,"stringValue":"1"})"},
        {R"({"expression": "\"é\""})",
         R"({"outcome":"value","type":"string","value":"é","stringValue":"é"})"},
        {R"({"expression": "0.5"})",
         R"({"outcome":"value","type":"double","value":0.5,"stringValue":"0.5"})"},
        {R"({"expression": "[undefined]"})",
         R"({"outcome":"value","type":"array","value":[null],"stringValue":null})"},
        {R"({"expression": "{\"a\": 1}"})",
         R"({"outcome":"value","type":"dictionary","value":{"a":1},"stringValue":null})"},
        {R"({"expression": "undefined"})", R"({"outcome":"undefined"})"},
        {R"~({"expression": "eq(foo, 1)"})~", R"({"outcome":"empty"})"},
        {R"~({"expression": "and(and(gt(property(\"n\"), 4e9), semverGt(property(\"v\"), \"1.1\")),
            and(isInTargetGroup(\"vip\"), isUndefined(property(\"c\"))))", "properties": {"n": 5000000000, "v": {"type": "semver", "value": "1.2"},
            "d": {"type": "datetime", "value": "2026-01-31T12:00:00.000Z"}}, "context": {"c": null},
            "targetGroups": {"vip": "eq(tsToNum(property(\"d\")), 1769860800)"}})~",
         R"({"outcome":"value","type":"bool","value":true,"stringValue":"true"})"},
        {R"~({"expression": "property(\"c\")", "context": {"c": "x"}})~",
         R"({"outcome":"value","type":"string","value":"x","stringValue":"x"})"},
        {R"~({"expression": "property(\"c\")"})~", R"({"outcome":"undefined"})"},
    };
    std::string input = "\n \t\r\n";
    std::string expected;
    for (const auto& [line, answer] : lines) {
        std::string oneLine = line;
        std::erase(oneLine, '\n');
        input += oneLine + "\n\n";
        expected += answer + "\n";
    }
    const Outcome outcome = kiv({"eval", "--batch"}, input);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.out, expected);
}

TEST_F(EvalCommand, AnswersBadLinesAndGoesOn) {
    const std::pair<std::string, std::string> lines[] = {
        {"nonsense", "not JSON"},
        {"[1]", "a JSON object"},
        {R"({"flagName": "a"})", "\"expression\": is missing"},
        {R"({"expression": "1", "flagName": 1})", "\"flagName\": must be a text"},
        {R"({"expression": "1", "properties": []})", "\"properties\": must be an object"},
        {R"({"expression": "1", "properties": {"p": [1]}})", "\"properties\": \"p\": must be a text"},
        {R"({"expression": "1", "properties": {"p": {"type": "int", "value": 5000000000}}})",
         "does not fit the type"},
        {R"({"expression": "1", "properties": {"p": {"type": "float", "value": 1}}})",
         "is none of string, semver"},
        {R"({"expression": "1", "properties": {"p": {"type": "datetime", "value": "today"}}})",
         "2026-01-31T12:00"},
        {R"({"expression": "1", "context": {"c": {}}})", "\"context\": \"c\": must be a text"},
        {R"({"expression": "1", "targetGroups": {"vip": 1}})", "the condition must be a text"},
    };
    std::string input;
    for (const auto& [line, reason] : lines) {
        input += line + "\n{\"expression\": \"undefined\"}\n";
    }
    const Outcome outcome = kiv({"eval", "--batch"}, input);
    EXPECT_EQ(outcome.exitCode, 1);
    std::istringstream answers(outcome.out);
    std::string answer;
    for (const auto& [line, reason] : lines) {
        std::getline(answers, answer);
        const kiv::json::value document = parsed(answer);
        EXPECT_EQ(*kiv::textMember(document, "outcome"), "error") << line;
        EXPECT_CONTAINS(std::string(*kiv::textMember(document, "reason")), reason);
        std::getline(answers, answer);
        EXPECT_EQ(answer, R"({"outcome":"undefined"})");
    }
}

TEST_F(EvalCommand, WrongUsageIsToldApartFromBadInput) {
    const Call calls[] = {
        {{"--version"}, 0, "5.0.16\n"},
        {{"--help"}, 0, "Examples:"},
        {{"config", "lint", "--help"}, 0, "--strict"},
        {{"config"}, 2, "a subcommand is missing. The subcommands are keygen, sign,"},
        {{"config", "lnt"}, 2, "Did you mean lint?"},
        {{"eval"}, 2, "'kiv eval --help'"},
        {{"eval", "1", "--batch"}, 2, "either an expression or --batch"},
        {{"eval", "--batch", "--property", "a=1"}, 2, "each request has its own properties"},
        {{"config", "lint"}, 2, "FILE is required"},
        {{"config", "keygen", "--out", "x", "--days", "0"}, 2, "--days"},
        {{"config", "show", "no-such-file"}, 1, "no-such-file: cannot be read"},
    };
    expectTold({}, calls);
}

} // namespace
