#include "../../tools/kiv/expression/OperatorSignatures.h"
#include "KivCommand.h"

namespace {

/// What the command says about expressions is held against what their evaluation gives.
class Advice : public KivCommand {
protected:
    static std::string valueOf(const std::string& expression) {
        std::string value = output(joined({"eval", expression}, world));
        value.pop_back();
        return value;
    }

    static inline const Arguments world{"--property", "n=5",
                                        "--property", "yes=true",
                                        "--property", "off=off",
                                        "--property", "text:string=true",
                                        "--property", "since:datetime=2026-01-31T12:00:00.000Z",
                                        "--property", "later:datetime=2999-01-31T12:00:00.000Z"};
};

TEST_F(Advice, OfAStepGivesWhatWasMeant) {
    const struct {
        std::string expression;
        std::string told;
        std::string advised;
        std::string before;
        std::string after;
    } cases[] = {
        {R"(eq(property("n"), "5"))", R"(a number never equals a text: write eq(property("n"), 5))",
         R"(eq(property("n"), 5))", "false", "true"},
        {R"(ne("5", property("n")))", R"(write ne(5, property("n")))", R"(ne(5, property("n")))", "true",
         "false"},
        {R"(eq(concat("", 5), property("n")))", R"(write numeq(concat("", 5), property("n")))",
         R"(numeq(concat("", 5), property("n")))", "false", "true"},
        {R"(eq(property("yes"), "true"))", R"(write eq(property("yes"), true))",
         R"(eq(property("yes"), true))", "false", "true"},
        {R"(eq(property("text"), true))", R"(write eq(property("text"), "true"))",
         R"(eq(property("text"), "true"))", "false", "true"},
        {R"(eq(property("n"), [4, 5]))", R"(write inArray(property("n"), [4, 5]))",
         R"(inArray(property("n"), [4, 5]))", "false", "true"},
        {R"(eq(property("since"), 1769860800))",
         R"(a date never equals a number: tsToNum(property("since")))",
         R"(eq(tsToNum(property("since")), 1769860800))", "false", "true"},
        {R"(inArray(1, ["0", "1.0"]))", R"(in the array, write 1.0 for "1.0")", R"(inArray(1, ["0", 1.0]))",
         "false", "true"},
        {R"(inArray("1", [0, 1]))", R"(in the array, write "1" for 1)", R"(inArray("1", [0, "1"]))", "false",
         "true"},
        {R"(inArray("fr", ["DE", "FR"]))", R"(upper and lower case count: the array has "FR")",
         R"(inArray("FR", ["DE", "FR"]))", "false", "true"},
        {R"(lt("1,5", 2))", R"("1,5" is no number, which always gives false: write 1.5)", "lt(1.5, 2)",
         "false", "true"},
        {R"(gte("1.10.0", "1.9.0"))", "the operators for versions are semverLt",
         R"(semverGte("1.10.0", "1.9.0"))", "false", "true"},
        {R"(lt(property("since"), 2e9))", R"(a date is no number, which always gives false: tsToNum()",
         R"(lt(tsToNum(property("since")), 2e9))", "false", "true"},
        {R"(gt(tsToNum(property("later")), now()))", R"(write concat(tsToNum(property("later")), "000"))",
         R"(gt(concat(tsToNum(property("later")), "000"), now()))", "false", "true"},
        {R"(gt(property("later"), now()))", R"(write concat(tsToNum(property("later")), "000"))",
         R"(gt(concat(tsToNum(property("later")), "000"), now()))", "false", "true"},
        {R"(eq("FR ", "FR"))", "the texts differ in white space at their ends", R"(eq("FR", "FR"))", "false",
         "true"},
        {R"(ifThen(property("off"), 1, 2))",
         R"("off" counts as false: to test for it, write eq(property("off"), "off"))",
         R"(ifThen(eq(property("off"), "off"), 1, 2))", "2", "1"},
        {R"(not("off"))", R"("off" counts as false: write true or false)", "not(true)", "true", "false"},
        {R"(or(false, property("off")))", R"("off" counts as false)",
         R"(or(false, eq(property("off"), "off")))", "false", "true"},
        {R"(b64d("aGk"))", R"("aGk" is no Base64: its padding is missing: write "aGk=")", R"(b64d("aGk="))",
         "undefined", "hi"},
        {R"(b64d("fn5-"))", R"(alphabet for URLs: write "fn5+")", R"(b64d("fn5+"))", "undefined", "~~~"},
        {R"(b64d("aG k="))", R"(it contains white space: write "aGk=")", R"(b64d("aGk="))", "undefined",
         "hi"},
        {R"(semverGte("1.9", "v1.3"))", R"(is greater than every digit: write "1.3")",
         R"(semverGte("1.9", "1.3"))", "false", "true"},
        {R"(semverGte("1.9", ">=1.3"))", R"(counts as a part of the version: write "1.3")",
         R"(semverGte("1.9", "1.3"))", "false", "true"},
        {R"(semverEq("1.3 ", "1.3"))", R"("1.3 " has white space around it)", R"(semverEq("1.3", "1.3"))",
         "false", "true"},
        {R"(isInPercentage(50, "a"))", R"(write 50 % as 0.5)", R"(isInPercentage(0.5, "a"))", "true",
         "false"},
        {R"(isInPercentage("0,9", "a"))", R"("0,9" counts as the share 0: write 0.9)",
         R"(isInPercentage(0.9, "a"))", "false", "true"},
        {R"(match("Hello", "^h", ""))", R"(with the flag "i" they do not)", R"(match("Hello", "^h", "i"))",
         "0", "1"},
        {R"(tsToNum("2026-01-31"))", "a text is no date: only a property can be a date",
         R"(tsToNum(property("since")))", "undefined", "1769860800"},
        {R"(concat("is ", true))", R"(true becomes the text "1")", R"(concat("is ", "true"))", "is 1",
         "is true"},
    };
    for (const auto& each : cases) {
        const std::string shown = output(joined({"explain", each.expression}, world));
        const std::size_t steps = shown.find("\nSteps\n");
        ASSERT_NE(steps, shown.npos) << each.expression;
        EXPECT_CONTAINS(shown.substr(0, steps), each.told) << each.expression;
        EXPECT_CONTAINS(shown.substr(steps), each.told) << each.expression;
        EXPECT_EQ(valueOf(each.expression), each.before) << each.expression;
        EXPECT_EQ(valueOf(each.advised), each.after) << each.advised;
    }
}

TEST_F(Advice, IsNotGivenWhereNothingIsOdd) {
    const std::string longText(5000, 'x');
    std::string longBase64;
    for (int i = 0; i < 1500; ++i) {
        longBase64 += "w6R4"; // each decodes to a character of two bytes and a letter
    }
    const std::vector<std::string> expressions{
        R"(eq(property("n"), 6))",
        "eq(\"" + longText + "a\", \"" + longText + "b\")",
        "b64d(\"" + longBase64 + "\")",
        "b64d(\"a" + longBase64 + "\")",
        R"(eq("a", "b"))",
        R"(inArray("x", ["a", "b"]))",
        R"(lt("10", "9"))",
        R"(semverGte("v1.2", "v1.3"))",
        R"(semverGte("1.2", "1.3-beta"))",
        R"(b64d("aGk="))",
        R"(not("false"))",
        R"(and(0, true))",
        R"(match("Hello", "x", ""))",
        R"(match("Hello", "^h", "i"))",
        R"(concat("a", 1))",
        R"(tsToNum(property("since")))",
    };
    for (const std::string& expression : expressions) {
        const kiv::json::value document = parsed(output(joined({"explain", expression, "--json"}, world)));
        EXPECT_FALSE(kiv::member(document.at_pointer("/evaluation/steps/0"), "remark"))
            << expression << kiv::prettyJson(document);
    }
}

/// A call of the operator in which all arguments but one are what it takes.
std::string callWith(const kiv::tool::OperatorSignature& op, std::size_t index, std::string_view argument) {
    using namespace kiv::tool;
    std::string call(op.name);
    for (std::size_t each = 0; each < op.arity(); ++each) {
        const char kind = op.kinds[each];
        const std::string_view usual = kind == arrayArgument          ? "[1]"
                                       : kind == base64Argument       ? "\"aGk=\""
                                       : kind == dateArgument         ? "property(\"d\")"
                                       : kind == patternFlagsArgument ? "\"\""
                                       : kind == targetGroupArgument  ? "\"vip\""
                                       : kind == numberArgument || kind == fractionArgument ||
                                               kind == conditionArgument || kind == booleanArgument
                                           ? "1"
                                           : "\"1\"";
        call += (each == 0 ? "(" : ", ") + std::string(each == index ? argument : usual);
    }
    return call + ")";
}

TEST_F(Advice, OfLintSaysWhatReallyFollows) {
    std::vector<std::string> expressions;
    for (const auto& op : kiv::tool::operatorSignatures) {
        for (std::size_t index = 0; index < op.arity(); ++index) {
            for (const char* literal :
                 {"5", "\"abc\"", "\"\"", "true", "undefined", "[1]", "[]", R"({"a": 1})"}) {
                expressions.push_back(callWith(op, index, literal));
            }
        }
    }
    kiv::json::array experiments;
    std::string requests;
    for (const std::string& expression : expressions) {
        experiments.push_back({{"name", expression},
                               {"deploymentConfiguration", kiv::json::object{{"condition", expression}}},
                               {"featureFlags", kiv::json::array{kiv::json::object{{"name", expression}}}}});
        requests += kiv::compactJson(kiv::json::object{
                        {"expression", expression}, {"targetGroups", kiv::json::object{{"vip", "true"}}}}) +
                    "\n";
    }
    write("payload.json",
          kiv::compactJson(kiv::json::object{
              {"application", "k"},
              {"experiments", experiments},
              {"targetGroups", kiv::json::array{kiv::json::object{{"_id", "vip"}, {"condition", "true"}}}}}));
    std::map<std::string, std::string> told;
    const kiv::json::value report = parsed(kiv({"config", "lint", "--json", "payload.json"}).out);
    for (const kiv::json::value& finding : report.at("findings").as_array()) {
        const kiv::json::string* advice = kiv::textMember(finding, "advice");
        told[std::string(finding.at_pointer("/experiment/name").as_string())] +=
            std::string(finding.at("message").as_string()) + ". " + (advice ? std::string(*advice) : "");
    }
    std::istringstream answers(kiv({"eval", "--batch"}, requests).out);
    std::size_t failures = 0;
    for (const std::string& expression : expressions) {
        std::string line;
        std::getline(answers, line);
        const kiv::json::value answer = parsed(line);
        const std::string& about = told[expression];
        const auto says = [&about](std::string_view part) { return about.find(part) != about.npos; };
        EXPECT_EQ(answer.at("outcome") == "empty", says("The evaluation fails"))
            << expression << ": " << about;
        failures += answer.at("outcome") == "empty";
        const kiv::json::value* value = kiv::member(answer, "value");
        if (says("always false") || says("gives \"false\"")) {
            EXPECT_TRUE(value && (*value == false || *value == "false")) << expression << ": " << about;
        }
        if (says("gives undefined")) {
            EXPECT_EQ(answer.at("outcome"), "undefined") << expression << ": " << about;
        }
    }
    EXPECT_GT(failures, 50U);
}

TEST_F(Advice, OfLintIsAFormThatWorks) {
    const struct {
        std::string condition;
        std::string told;
        std::string advised;
        std::string value;
    } cases[] = {
        {R"(match("a", "", ""))", R"("^" matches every text)", R"(match("a", "^", ""))", "1"},
        {R"(concat("C:\", "x"))", R"(For the text "C:\", write b64d("Qzpc").)",
         R"(concat(b64d("Qzpc"), "x"))", R"(C:\x)"},
        {R"(eq(property("path"), "C:\"))", R"(write b64d("Qzpc"))", R"(b64d("Qzpc"))", R"(C:\)"},
        {R"(lt 1 2)", "has no parentheses", "lt(1, 2)", "true"},
        {R"(ifThen(eq({"a": 1, "a": 2}, {"a": 2}), "later", "earlier"))", "The later value counts.",
         R"(ifThen(eq({"a": 1, "a": 2}, {"a": 2}), "later", "earlier"))", "later"},
    };
    for (const auto& [condition, told, advised, value] : cases) {
        write("payload.json",
              kiv::compactJson(kiv::json::object{
                  {"application", "k"},
                  {"experiments",
                   kiv::json::array{kiv::json::object{
                       {"name", "e"},
                       {"deploymentConfiguration", kiv::json::object{{"condition", condition}}},
                       {"featureFlags", kiv::json::array{kiv::json::object{{"name", "f"}}}}}}}}));
        EXPECT_CONTAINS(kiv({"config", "lint", "payload.json"}).out, told);
        EXPECT_EQ(valueOf(advised), value) << advised;
    }
}

} // namespace
