#include "KivCommand.h"

namespace {

class ConfigLint : public KivCommand {
protected:
    static kiv::json::object experiment(const std::string& name, const std::string& condition) {
        return {{"name", name},
                {"deploymentConfiguration", kiv::json::object{{"condition", condition}}},
                {"featureFlags", kiv::json::array{kiv::json::object{{"name", "flag." + name}}}}};
    }

    /// The lint report on a payload with these conditions and the target group "vip".
    static kiv::json::value lint(const std::vector<std::string>& conditions) {
        kiv::json::array experiments;
        for (const std::string& condition : conditions) {
            experiments.push_back(experiment(std::to_string(experiments.size()), condition));
        }
        const kiv::json::array groups{kiv::json::object{{"_id", "vip"}, {"condition", "true"}}};
        write("payload.json",
              kiv::compactJson(kiv::json::object{
                  {"application", "k"}, {"experiments", experiments}, {"targetGroups", groups}}));
        return parsed(kiv({"config", "lint", "--json", "payload.json"}).out);
    }

    /// The findings about one experiment, each as "severity column: message".
    static std::vector<std::string> findings(const kiv::json::value& report, std::size_t experimentIndex) {
        std::vector<std::string> result;
        for (const kiv::json::value& finding : report.at("findings").as_array()) {
            const kiv::json::value* place = kiv::member(finding, "experiment");
            if (place && place->at("index").as_int64() == static_cast<std::int64_t>(experimentIndex + 1)) {
                const kiv::json::value* column = kiv::member(finding, "column");
                result.push_back(std::string(finding.at("severity").as_string()) + " " +
                                 (column ? std::to_string(column->as_int64()) : "-") + ": " +
                                 std::string(finding.at("message").as_string()));
            }
        }
        return result;
    }
};

TEST_F(ConfigLint, SaysNothingAboutGoodExpressions) {
    const kiv::json::value report = lint({
        R"(ifThen(and(eq(property("country"), "FR"), not(isUndefined(property("age")))), "a", "b"))",
        R"(isInPercentage(0.25, mergeSeed("seed", property("userId"))))",
        R"(isInPercentageRange("0", 0.5, property("id")))",
        R"(inArray(property("x"), [1, "x", true, undefined, {"k": 5}]))",
        "ifThen(\n\tisInTargetGroup(\"vip\"),\r\n\tnow ( ), -1.5)",
        R"~(match(property("mail"), "^\"?[a-z]+\"?@", "ix"))~",
        R"(gte(tsToNum(property("since")), "1e9"))",
        R"~(concat(concat("(", ","), "]"))~",
        R"(semverNe(undefined, "1"))",
        R"(semverGte(property("v"), "2.0.0-rc.1"))",
        R"(or("false", property("on")))",
        R"(inArray("a", [{"k": 1}, {"k": 1}]))",
        "concat(\"10\u00A0€ \", \"👨\u200D👩\u200D👧\")",
        R"("")",
    });
    EXPECT_EQ(report.at("findings"), kiv::json::value(kiv::json::array())) << kiv::prettyJson(report);
}

TEST_F(ConfigLint, FindsMistakesInExpressions) {
    const struct {
        std::string condition;
        std::vector<std::string> found;
    } cases[] = {
        {R"(and(equls("a", "b"), foo))",
         {"error 5: unknown word \"equls\"", "error 22: unknown word \"foo\""}},
        {R"(not(eq("a")))", {"error 5: eq takes 2 arguments and has 1"}},
        {R"(eq("ä", "b", "c"))", {"error 14: eq takes 2 arguments, and this is one more"}},
        {R"(now(1))", {"error 5: now takes no arguments"}},
        {R"(eq("a", "b)", {"error 9: the quote that opens here is never closed"}},
        {R"(eq(\"a\", 1))", {"error 4: unknown word"}},
        {R"(eq("a""b", "c"))", {"error 6: there is no comma between these two texts"}},
        {R"(and(eq(1, 2, true))", {"error 4: the \"(\" of and is never closed", "error 14: eq takes 2"}},
        {R"(eq(1, 2)))", {"error 9: \")\" closes nothing"}},
        {R"(eq(1, 2]))", {"error 8: \"]\" closes nothing"}},
        {R"(inArray(1, [1, 2))", {"error 12: \"[\" is not closed before the \")\" in column 17"}},
        {R"(inArray(1, [[1], 2]))", {"error 13: an array cannot stand inside an array"}},
        {R"(inArray(1, [concat("a", "b")]))",
         {"error 13: the operator \"concat\" does nothing inside an array"}},
        {R"(isUndefined({"k": 1, "l"}))", {"error 13: the last key of this dictionary has no value"}},
        {R"(not true)", {"warning 1: the operator \"not\" has no parentheses"}},
        {"1 2", {"error 3: the expression ends before this"}},
        {"", {"error 1: the expression is empty"}},
        {"()", {"warning 1: there is no operator", "error 1: there is nothing in these"}},
        {"eq(1,, 2)", {"warning 6: there is nothing before this comma"}},
        {"eq(1 2)", {"warning 6: there is no comma before this"}},
        {"[1]", {"warning 1: the value is an array or a dictionary"}},
        {R"(eq(property("a"), "b\"c"))", {"warning 19: the backslash before the quote stays"}},
        {R"(semverGt(property("v"), 1.2))", {"error 25: semverGt takes a text here, not 1.2"}},
        {R"(lt(property("v"), "abc"))", {"error 19: lt takes a number here, not \"abc\""}},
        {R"(or(undefined, true))", {"error 4: or takes a condition here, not undefined"}},
        {R"(inArray("a", "a,b"))", {"error 14: inArray takes an array here"}},
        {R"(isInPercentage(50, undefined))",
         {"warning 16: a share is a number from 0 to 1", "error 20: isInPercentage takes a text"}},
        {R"(isInPercentageRange(0.5, 0.5, "s"))", {"warning 26: the range of shares is empty"}},
        {R"(match("a", "[", "g"))",
         {"error 12: match takes a regular expression", "warning 17: the flags \"g\""}},
        {R"(match("a", ")" + std::string(20'000, 'x') + R"(", ""))",
         {"error 12: match takes a regular expression"}},
        {R"(isInTargetGroup("VIP"))", {"error 17: there is no target group \"VIP\""}},
        {"and(lt 1 2, not not true)",
         {"warning 5: the operator \"lt\" has no", "warning 13: the operator \"not\"", "warning 17: the"}},
        {"and(not, true)", {"error 5: the operator \"not\" has no arguments in parentheses"}},
        {"lt 1", {"error 1: lt takes 2 arguments and has 1"}},
        {"not (lt 1",
         {"error 5: the \"(\" of not is never closed", "error 6: lt takes 2 arguments and has 1"}},
        {R"(match(property("x"), "", ""))", {"error 22: the pattern is empty"}},
        {R"(semverGte(property("x"), ">=1.3"))", {"warning 26: \">=1.3\" begins with \">=\""}},
        {R"(semverGte(property("x"), "v1.3"))", {"warning 26: \"v1.3\" begins with a letter"}},
        {R"(b64d("YQ"))", {"error 6: \"YQ\" is no Base64: its padding is missing"}},
        {R"(isUndefined({"k": 1, "l": 2, "k": 3}))", {"warning 30: this key stands in the dictionary twice"}},
        {R"(concat("C:\", "x"))", {"error 11: the backslash escapes this quote"}},
        {R"(concat("say \"hi\", ", "x"))", {"warning 8: the backslash before the quote stays"}},
        {R"(eq(property("p"), "C:\"))", {"error 19: the quote that opens here is never closed"}},
        {"eq(1,\u00A0\"a\")", {"error 6: unknown word"}},
        {"eq(property(\"x\"), \"FR\u200B\")",
         {"warning 19: the text contains the invisible character U+200B"}},
        {R"(ifThen("off", 1, 2))", {"warning 8: the text \"off\" always counts as false"}},
    };
    std::vector<std::string> conditions;
    for (const auto& each : cases) {
        conditions.push_back(each.condition);
    }
    const kiv::json::value report = lint(conditions);
    for (std::size_t index = 0; index < conditions.size(); ++index) {
        const std::vector<std::string> told = findings(report, index);
        ASSERT_EQ(told.size(), cases[index].found.size())
            << conditions[index] << ": " << ::testing::PrintToString(told);
        for (std::size_t each = 0; each < told.size(); ++each) {
            EXPECT_TRUE(told[each].starts_with(cases[index].found[each]))
                << conditions[index] << ": " << told[each];
        }
    }
}

TEST_F(ConfigLint, ReadsAMegabyteOfAnything) {
    constexpr std::size_t size = std::size_t{1} << 20;
    const auto repeated = [](std::string_view part) {
        std::string text;
        while (text.size() < size) {
            text += part;
        }
        return text;
    };
    std::vector<std::string> conditions;
    for (const std::string_view part :
         {"(", "[", "not(", "foo ", "\"a\" ", "\"", ",", "x", "\\", "\"\\\"", "([", ")"}) {
        conditions.push_back(repeated(part));
    }
    const kiv::json::value report = lint(conditions);
    for (std::size_t index = 0; index < conditions.size(); ++index) {
        const std::vector<std::string> told = findings(report, index);
        EXPECT_TRUE(std::ranges::any_of(told, [](const auto& each) { return each.starts_with("error"); }))
            << conditions[index].substr(0, 10) << ::testing::PrintToString(told);
        EXPECT_LE(told.size(), 21U);
    }
}

TEST_F(ConfigLint, FindsMistakesInDocuments) {
    std::string zeros;
    for (int i = 0; i < 1'000'000; ++i) {
        zeros += "0,";
    }
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {R"({"aplication": "k"})", {"there is no \"application\"", "Did you mean \"application\"?"}},
        {R"({"application": "k", "experiments": {}, "targetGroups": 5})",
         {"\"experiments\" must be an array", "\"targetGroups\" must be an array"}},
        {R"({"application": "k", "experiments": [5, {"name": ""}, {"name": "c", "deploymentConfiguration": {}}]})",
         {"experiment 1: error: is no JSON object", "experiment 2: warning: has no name",
          "experiment 2: error: has no \"deploymentConfiguration\"",
          "experiment 3 \"c\": error: has no \"condition\""}},
        {R"({"application": "k", "experiments": [{"name": "e", "labels": [1], "sticky": "yes",
             "deploymentConfiguration": {"condition": "true"}, "featureFlags": [{"name": ""}, {"nam": "x"}, 5]}]})",
         {"a label is no text", "\"sticky\" must be true or false", "a flag has no name",
          "Did you mean \"name\"?", "\"featureFlags\" is no JSON object"}},
        {R"({"application": "k", "targetGroups": [{"_id": "a", "condition": "fo"}, {"_id": "a", "condition": "true"},
             {"condition": null}]})",
         {"target group 1 \"a\", column 1: error: unknown word \"fo\"", "\"_id\" of an earlier target group",
          "target group 3: error: has no \"_id\"", "target group 3: error: has no \"condition\""}},
        {R"({"application": "k", "x": [)" + zeros + "0]}", {"there are 1000006 values and keys"}},
        {R"({"application": "", "experiments": [{"_id": "e", "name": "a"}, {"_id": "e", "name": "b"}]})",
         {"experiment 2 \"b\": warning: has the \"_id\" of experiment 1"}},
        {R"({"signature_v0": "x"})", {"the envelope has no \"data\""}},
        {R"({"data": "{\"application\" 1}"})", {"column 16: error: \"data\": no JSON"}},
    };
    for (const auto& [document, told] : cases) {
        write("document.json", document);
        const Outcome outcome = kiv({"config", "lint", "document.json"});
        EXPECT_EQ(outcome.exitCode, 1) << document;
        expectContains(outcome.out, told);
    }
}

TEST_F(ConfigLint, NamesAnInvisibleCharacterBeforeItSpeaksOfQuotes) {
    const kiv::json::value report = lint({"eq(1,\u00A0\"a\")"});
    EXPECT_EQ(report.at_pointer("/findings/0/advice"),
              "It contains the invisible character U+00A0 (no-break space). Delete it, or type an ordinary "
              "space.");
}

TEST_F(ConfigLint, KnowsThatATargetGroupHasMembersAndNoDefault) {
    const struct {
        std::string condition;
        std::vector<std::string> told;
    } cases[] = {
        {"[1]",
         {": error: an array or a dictionary is neither true nor false",
          "that asks for this target group fails"}},
        {R"("staff")", {": warning: the text \"staff\" always counts as false"}},
        {"", {"the expression is empty", "nobody is in the target group"}},
        {"semverEq(1, \"1\")", {"The evaluation fails: nobody is in the target group."}},
        {"isInTargetGroup(\"g\")", {": error: the target group depends on itself"}},
    };
    for (const auto& [condition, told] : cases) {
        write("payload.json",
              kiv::compactJson(kiv::json::object{
                  {"application", "k"},
                  {"targetGroups", kiv::json::array{{{"_id", "g"}, {"condition", condition}}}}}));
        const std::string out = kiv({"config", "lint", "payload.json"}).out;
        expectContains(out, told);
        EXPECT_EQ(out.find("default"), std::string::npos) << out;
    }
    const Arguments group{"--target-group", "g=[1]"};
    EXPECT_EQ(kiv(joined({"eval", "isInTargetGroup(\"g\")"}, group)).exitCode, 1);
}

TEST_F(ConfigLint, KnowsWhoDecidesAFlag) {
    kiv::json::object first = experiment("a", "true");
    kiv::json::object skipped = experiment("a", "true");
    skipped.erase("deploymentConfiguration");
    const auto report = [&](const kiv::json::array& experiments) {
        write("payload.json",
              kiv::compactJson(kiv::json::object{{"application", "k"}, {"experiments", experiments}}));
        return parsed(kiv({"config", "lint", "--json", "payload.json"}).out);
    };
    const kiv::json::value twice = report({first, experiment("a", "false")});
    EXPECT_EQ(findings(twice, 0), std::vector<std::string>{"error -: never decides the flag \"flag.a\""});
    EXPECT_TRUE(findings(twice, 1).empty());
    const kiv::json::value once = report({first, skipped});
    EXPECT_TRUE(findings(once, 0).empty());
    EXPECT_EQ(findings(once, 1).size(), 1U); // no condition, and nothing about the flag
}

TEST_F(ConfigLint, FindsCircles) {
    const auto flag = [](const std::string& name) { return "flagValue(\"flag." + name + "\")"; };
    const auto group = [](const std::string& name) { return "isInTargetGroup(\"" + name + "\")"; };
    using Conditions = std::vector<std::pair<std::string, std::string>>;
    const struct {
        Conditions experiments;
        Conditions groups;
        std::vector<std::string> told; ///< one part of each finding
    } cases[] = {
        {{{"a", flag("b")}, {"b", flag("a")}},
         {},
         {R"(experiment 2 "b", column 11: error: the flag depends on itself (flag "flag.a" → flag "flag.b" → flag "flag.a")"}},
        {{{"a", flag("a")}}, {}, {R"(experiment 1 "a", column 11: error: the flag depends on itself)"}},
        {{},
         {{"g", group("h")}, {"h", "not(" + group("g") + ")"}},
         {R"((target group "g" → target group "h" → target group "g". Where the circle closes, the evaluation fails: isInTargetGroup is false there.))"}},
        {{{"a", group("g")}},
         {{"g", "eq(" + flag("a") + ", \"true\")"}},
         {R"(target group 1 "g", column 14: error: the flag depends on itself (flag "flag.a" → target group "g" → flag "flag.a")"}},
        {{{"a", "concat(" + flag("a") + ", " + flag("b") + ")"}, {"b", flag("a")}},
         {},
         {R"(experiment 1 "a", column 18: error)", R"(experiment 2 "b", column 11: error)"}},
        {{{"a", flag("b")}, {"b", flag("c")}, {"c", group("g")}, {"d", flag("b")}, {"e", flag("none")}},
         {{"g", "true"}},
         {}},
        // A later experiment decides the flag, so the first one closes no circle.
        {{{"a", flag("b")}, {"b", flag("a")}, {"b", "true"}}, {}, {"never decides the flag"}},
    };
    for (const auto& each : cases) {
        kiv::json::array experiments;
        for (const auto& [name, condition] : each.experiments) {
            experiments.push_back(experiment(name, condition));
        }
        kiv::json::array groups;
        for (const auto& [name, condition] : each.groups) {
            groups.push_back({{"_id", name}, {"condition", condition}});
        }
        write("payload.json",
              kiv::compactJson(kiv::json::object{
                  {"application", "k"}, {"experiments", experiments}, {"targetGroups", groups}}));
        const std::string out = kiv({"config", "lint", "payload.json"}).out;
        expectContains(out, each.told);
        EXPECT_EQ(static_cast<std::size_t>(std::ranges::count(out, '\n')), each.told.size() + 1) << out;
    }
}

TEST_F(ConfigLint, StandsAChainOfAnyLength) {
    constexpr int length = 50'000;
    kiv::json::array experiments;
    for (int i = 0; i < length; ++i) {
        experiments.push_back(
            experiment(std::to_string(i), "flagValue(\"flag." + std::to_string((i + 1) % length) + "\")"));
    }
    write("payload.json",
          kiv::compactJson(kiv::json::object{{"application", "k"}, {"experiments", experiments}}));
    const std::string out = kiv({"config", "lint", "payload.json"}).out;
    EXPECT_CONTAINS(
        out,
        R"((flag "flag.0" → flag "flag.1" → flag "flag.2" → … → flag "flag.49997" → flag "flag.49998" → flag "flag.49999" → flag "flag.0")");
}

TEST_F(ConfigLint, WarningsFailOnlyWhenStrict) {
    write("warning.json",
          R"~({"application": "k", "experiments": [{"name": "e", "featureFlags": [{"name": "f"}],
        "deploymentConfiguration": {"condition": "eq(1 2)"}}]})~");
    write("good.json", R"({"application": "k"})");
    const Outcome lenient = kiv({"config", "lint", "warning.json", "good.json"});
    EXPECT_EQ(lenient.exitCode, 0);
    EXPECT_EQ(lenient.out,
              "warning.json: experiment 1 \"e\", column 6: warning: there is no comma before this\n"
              "0 errors, 1 warning in 2 files.\n");
    EXPECT_EQ(kiv({"config", "lint", "--strict", "warning.json"}).exitCode, 1);
    EXPECT_EQ(kiv({"config", "lint", "--strict", "good.json"}).exitCode, 0);
}

} // namespace
