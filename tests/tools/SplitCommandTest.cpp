#include "KivCommand.h"

#include <cmath>
#include <map>

namespace {

/// The flag that the tests split, a flag that its condition may read, one that reads itself, and target
/// groups.
constexpr const char* payload = R"~({"application": "5e0b", "experiments": [
    {"name": "Colour", "stickinessProperty": "userId", "featureFlags": [{"name": "shop.colour"}],
     "deploymentConfiguration": {"condition": ""}},
    {"featureFlags": [{"name": "base"}], "deploymentConfiguration": {"condition":
     "ifThen(isInPercentage(0.4, mergeSeed(\"base\", property(\"userId\"))), \"yes\", \"no\")"}},
    {"featureFlags": [{"name": "circle"}],
     "deploymentConfiguration": {"condition": "flagValue(\"circle\")"}}],
    "targetGroups": [
    {"_id": "tenth", "condition": "isInPercentageRange(0.2, 0.3, concat(\"g.\", property(\"userId\")))"},
    {"_id": "itself", "condition": "not(isInTargetGroup(\"itself\"))"},
    {"_id": "french", "condition": "eq(property(\"country\"), \"FR\")"}]})~";

class SplitCommand : public KivCommand {
protected:
    static void writeDocument(const std::string& condition) {
        kiv::json::value document = parsed(payload);
        document.at("experiments").at(0).at("deploymentConfiguration").at("condition") = condition;
        write("doc.json", kiv::compactJson(document));
    }

    static Arguments call(const Arguments& more) {
        return joined({"split", "--config", "doc.json", "--flag", "shop.colour", "--property", "userId"},
                      more);
    }

    kiv::json::value split(const Arguments& more) { return parsed(output(joined(call(more), {"--json"}))); }
};

const std::string inHalf = R"(isInPercentageRange(0, 0.5, mergeSeed("s", property("userId"))))";

TEST_F(SplitCommand, TellsTheSharesThatAnExpressionGives) {
    using Shares = std::map<std::string, double>;
    const struct {
        std::string condition;
        Shares expected; ///< by value, or outcome where there is none; empty when it cannot be told
    } cases[] = {
        // The same seed, and independent ones.
        {"ifThen(" + inHalf +
             R"(, "a", ifThen(isInPercentageRange(0.5, 0.8, mergeSeed("s", property("userId"))), "b", "c")))",
         {{"a", 0.5}, {"b", 0.3}, {"c", 0.2}}},
        {"ifThen(" + inHalf +
             R"(, "a", ifThen(isInPercentage(0.3, concat("s.", property("userId"))), "b", "c")))",
         {{"a", 0.5}, {"c", 0.5}}},
        {"ifThen(" + inHalf + R"(, "a", ifThen(isInPercentage(0.3, property("userId")), "b", undefined)))",
         {{"a", 0.5}, {"b", 0.15}, {"undefined", 0.35}}},
        {"and(" + inHalf + R"(, not(isInPercentageRange(0.25, 2, mergeSeed("s", property("userId"))))))",
         {{"true", 0.25}, {"false", 0.75}}},
        // Other flags, target groups, properties that are the same for all.
        {R"(ifThen(eq(flagValue("base"), "yes"), ifThen(isInTargetGroup("tenth"), 1, 2.5), 3))",
         {{"1", 0.04}, {"2.5", 0.36}, {"3", 0.6}}},
        {R"(isInPercentage(ifThen(isInTargetGroup("french"), 0.9, 0.1), mergeSeed("s", property("userId"))))",
         {{"true", 0.9}, {"false", 0.1}}},
        {R"(ifThen(isUndefined(property("userId")), "a", concat(property("country"), flagValue("nothing"))))",
         {{"FRfalse", 1}}},
        // A failure anywhere ends the evaluation of the users who reach it. A value without a text is the
        // default.
        {R"(ifThen(true, "a", and(ifThen()" + inHalf + R"(, true, undefined), true)))",
         {{"a", 0.5}, {"empty", 0.5}}},
        {R"(ifThen(isInPercentage(0.5, property("nobody")), 1, 2))", {{"empty", 1}}},
        {"ifThen(" + inHalf + R"(, [1], "a"))", {{"noText", 0.5}, {"a", 0.5}}},
        {R"(isInPercentage(0, property("userId")))", {{"false", 1}}},
        {"nonsense(" + inHalf + ")", {{"empty", 1}}},
        // Operators that look at the ids themselves; a flag and a target group that depend on themselves.
        {R"(ifThen(eq(property("userId"), "user-7"), "a", "b"))", {}},
        {"ifThen(" + inHalf + R"(, property("userId"), "a"))", {}},
        {"or(" + inHalf + R"(, match(property("userId"), "1$", "")))", {}},
        {R"(flagValue("circle"))", {{"false", 1}}},
        {R"(ifThen(isInTargetGroup("itself"), 1, 2))", {{"1", 1}}},
        // What is left over fails the evaluation as well.
        {R"("a" and(ifThen()" + inHalf + ", true, undefined), true)", {{"a", 0.5}, {"empty", 0.5}}},
        {R"("a" and(isInPercentage(0.4, property("userId")), property("nobody")))", {{"empty", 1}}},
        {R"("a" )" + inHalf, {{"a", 1}}},
        {R"("a" and(eq(property("userId"), "user-7"), undefined))", {}},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.condition);
        writeDocument(each.condition);
        Shares told;
        const kiv::json::value result = split({"--count", "20000", "--fixed", "country=FR"});
        for (const kiv::json::value& share : result.at("shares").as_array()) {
            const kiv::json::value& value = share.at("value");
            const std::string name(value.is_null() ? share.at("outcome").as_string() : value.as_string());
            if (!share.at("expected").is_null()) {
                told[name] = share.at("expected").to_number<double>();
                EXPECT_NEAR(share.at("share").to_number<double>(), told[name], 0.015) << name;
            }
        }
        EXPECT_EQ(told, each.expected);
    }
}

TEST_F(SplitCommand, TakesIdsAsTheyStandInAFile) {
    writeDocument(R"(concat(property("userId"), "!"))");
    write("ids", "\xEF\xBB\xBF"
                 "ada\r\n\n12\n😀\nada\n" +
                     std::string("z\0z\n", 4) + std::string(1U << 20, 'x'));
    std::map<std::string, std::int64_t> counts;
    const kiv::json::value result = split({"--ids", "ids"});
    for (const kiv::json::value& share : result.at("shares").as_array()) {
        counts[std::string(share.at("value").as_string())] = share.at("count").as_int64();
    }
    const std::map<std::string, std::int64_t> expected{{"ada!", 2},
                                                       {"12!", 1},
                                                       {"😀!", 1},
                                                       {std::string("z\0z!", 4), 1},
                                                       {std::string(1U << 20, 'x') + "!", 1}};
    EXPECT_EQ(counts, expected);
    EXPECT_EQ(result.at("users"), 6);

    writeDocument(R"(concat("a, \"", property("userId")))");
    const Outcome csv = kiv(call({"--ids", "-", "--csv"}), "1\n2\n1\n");
    EXPECT_EQ(csv.out, "outcome,value,count,share,expected\n"
                       "value,\"a, \\\"\"1\",2,0.6666666666666666,\n"
                       "value,\"a, \\\"\"2\",1,0.3333333333333333,\n");
}

TEST_F(SplitCommand, ShowsATable) {
    writeDocument(R"(and(property("nobody"), )" + inHalf + ")");
    Outcome outcome = kiv(call({"--ids", "-"}), "a\nb\nc\nd\n");
    EXPECT_EQ(outcome.out,
              "shop.colour\n  experiment 1 \"Colour\" of doc.json\n"
              "  4 users by the property \"userId\"\n\n"
              "  value            users     share  expected\n"
              "  default (fails)      4  100.00 %  100.00 %  ████████████████████████████████████████\n\n"
              "  The evaluation fails for 4 users, for example \"a\". 'kiv explain' tells why.\n");

    writeDocument("ifThen(" + inHalf + R"~(, "", "default (fails)"))~");
    outcome = kiv(call({"--ids", "-"}), "user-1\nuser-5\n");
    EXPECT_CONTAINS(outcome.out,
                    "\n  \"\"                     1   50.00 %   50.00 %  ████████████████████\n");
    EXPECT_CONTAINS(outcome.out, "\n  \"default (fails)\"      1   50.00 %");

    writeDocument(R"(property("userId"))");
    outcome = kiv(call({"--count", "1000"}));
    EXPECT_CONTAINS(outcome.out, "\n  others       980   98.00 %         –");
    EXPECT_CONTAINS(outcome.out, "cannot be computed");

    writeDocument(R"(flagValue("circle"))");
    EXPECT_CONTAINS(kiv(call({"--count", "10"})).out,
                    "The flag \"circle\" depends on itself: where the circle");
    writeDocument(R"(isInTargetGroup("itself"))");
    EXPECT_CONTAINS(kiv(call({"--count", "10"})).out, "The target group \"itself\" depends on itself");
}

TEST_F(SplitCommand, NamesThePropertyThatIsReadInstead) {
    const std::pair<std::string, std::string> cases[] = {
        {inHalf, "read the property \"userID\". Did you mean userId?"},
        {R"(concat(property("country"), property("device")))",
         "The condition reads country and device. The experiment is keyed by \"userId\"."},
        {"1", "The condition reads no property, so all users get the same value."},
    };
    for (const auto& [condition, told] : cases) {
        writeDocument(condition);
        Arguments misspelt = call({"--count", "10"});
        misspelt[6] = "userID";
        EXPECT_CONTAINS(kiv(misspelt).out, told);
    }
}

TEST_F(SplitCommand, SaysWhatIsWrongWithItsInput) {
    writeDocument("1");
    write("empty", "\n\r\n");
    const Call calls[] = {
        {call({}), 2, "either --ids or --count"},
        {call({"--count", "3", "--ids", "ids"}), 2, "either --ids or --count"},
        {call({"--count", "10000001"}), 2, "not in range 1 to 10000000"},
        {call({"--count", "3", "--json", "--csv"}), 2, "exclude each other"},
        {call({"--count", "3", "--fixed", "userId=x"}), 2, "name the same property"},
        {call({"--count", "3", "--fixed", "x"}), 2, "--fixed: \"x\" does not have the form NAME=VALUE"},
        {call({"--count", "3", "--fixed", "x:int=y"}), 1, "does not fit the type"},
        {call({"--ids", "missing"}), 1, "missing: cannot be read: No such file"},
        {call({"--ids", "."}), 1, ".: cannot be read: Is a directory"},
        {call({"--ids", "empty"}), 1, "empty: contains no ids"},
        {{"split", "--config", "doc.json", "--flag", "shop.color", "--property", "p", "--count", "1"},
         1,
         "Did you mean shop.colour?"},
        {{"split", "--config", "-", "--flag", "f", "--property", "p", "--ids", "-"}, 2, "cannot be both"},
    };
    expectTold({}, calls);
}

} // namespace
