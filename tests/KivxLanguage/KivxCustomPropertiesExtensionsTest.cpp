#include "KivxLanguage/KivxCustomPropertiesExtensions.h"

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "Properties/KIVCustomPropertiesRepository.h"
#include "Runtime/KIVUserspaceUnhandledErrorInvoker.h"
#include "Support/CapturedLog.h"
#include "Support/Outcome.h"

namespace {

using Property = KIVCustomProperty;
using Context = KIVDynamicPropertyContext;

class PropertyOperator : public ::testing::Test {
protected:
    PropertyOperator() {
        invoker->setHandler([this](unsigned source, const KIVException& exception) {
            reported.emplace_back(source, exception.reason());
        });
        KivxCustomPropertiesExtensions(parser, properties).extend();
    }

    void add(std::shared_ptr<const Property> property) { properties->addCustomProperty(std::move(property)); }

    std::string evaluate(std::string_view expression, Context context = Context::empty()) {
        return outcome(parser, expression, "running",
                       EvaluationContext::initDefaultWithContext(std::move(context)));
    }

    std::shared_ptr<KIVUserspaceUnhandledErrorInvoker> invoker =
        std::make_shared<KIVUserspaceUnhandledErrorInvoker>();
    std::vector<std::pair<unsigned, std::string>> reported;
    std::shared_ptr<KIVCustomPropertiesRepository> properties =
        std::make_shared<KIVCustomPropertiesRepository>();
    KivxParser parser{invoker};
};

TEST_F(PropertyOperator, AsksCallbacksWithTheFlagAndTheContext) {
    add(Property::withStringBlock("nothing", [](auto, const auto&) { return std::nullopt; }));
    add(Property::withDateTimeBlock("never", [](auto, const auto&) { return std::nullopt; }));
    add(Property::withStringBlock("about", [](std::string_view flag, const Context& context) {
        return std::string(flag) + " " + context.get("who").description();
    }));
    add(std::make_shared<KIVDeviceProperty>(*Property::withStringValue("model", "M1")));

    const OutcomeCase cases[] = {
        {R"(property("kiv.model"))", "string M1"},
        {R"(property("nothing"))", "undefined"},
        {R"(isUndefined(property("never")))", "boolean 1"},
    };
    expectOutcomes(parser, cases);
    EXPECT_EQ(evaluate(R"(property("about"))", Context(Context::Values{{"who", "me"}})), "string running me");
    EXPECT_TRUE(reported.empty());
}

TEST_F(PropertyOperator, AsksContextOrRuleForWhatNobodyRegistered) {
    const Context context(
        Context::Values{{"text", "t"}, {"number", 1.5}, {"yes", true}, {"date", KIVDate{}}});
    const struct {
        std::string expression;
        std::string fromContext;
        std::string fromRule;
    } cases[] = {
        {R"(property("text"))", "string t", "undefined"},
        {R"(property("number"))", "real 1.5", "real 1.5"},
        {R"(property("yes"))", "boolean 1", "boolean 1"},
        {R"(property("date"))", "undefined", "undefined"},
        {R"(property("unknown"))", "undefined", "string rule"},
        {"property(7)", "undefined", "undefined"},
        {"property()", "undefined", "undefined"},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(evaluate(each.expression, context), each.fromContext) << each.expression;
    }
    std::vector<std::string> asked;
    KivxCustomPropertiesExtensions(parser, properties, [&](std::string_view name, const Context& given) {
        asked.emplace_back(name);
        return name == "unknown" ? KivxValue("rule") : name == "text" ? KivxValue() : given.get(name);
    }).extend();
    for (const auto& each : cases) { // with a rule the context is not asked
        EXPECT_EQ(evaluate(each.expression, context), each.fromRule) << each.expression;
    }
    EXPECT_EQ(asked, (std::vector<std::string>{"text", "number", "yes", "date", "unknown"}));
    add(Property::withStringValue("text", "registered"));
    EXPECT_EQ(evaluate(cases[0].expression), "string registered");
}

TEST_F(PropertyOperator, ReportsWhatCallbacksThrow) {
    const CapturedLog log;
    add(Property::withIntBlock("throws",
                               [](auto, const auto&) -> std::int32_t { throw std::runtime_error("one"); }));
    add(Property::withDateTimeBlock("throwsText",
                                    [](auto, const auto&) -> std::optional<KIVDate> { throw "two"; }));
    add(Property::withBoolBlock("throwsNumber", [](auto, const auto&) -> bool { throw 3; }));
    KivxCustomPropertiesExtensions(parser, properties, [](auto, const auto&) -> KivxValue {
        throw KIVException("Own", "four");
    }).extend();
    for (const char* name : {"throws", "throwsText", "throwsNumber", "unregistered"}) {
        EXPECT_EQ(evaluate("ifThen(false, property(\"" + std::string(name) + "\"), 1)"), "empty") << name;
    }
    EXPECT_TRUE(
        log.has({R"(Kivx Exception: Failed evaluate expression ifThen(false, property("throws"), 1), )"
                 "user unhandled expression",
                 "one"}));
    EXPECT_EQ(reported,
              (decltype(reported){{3, "one"}, {3, "two"}, {3, "an exception of another type"}, {0, "four"}}));
}

TEST_F(PropertyOperator, FailsOnCorruptedPropertiesWithoutReporting) {
    struct Odd : Property {
        Odd(const char* name, const char* type) : Property(name, type, "Odd") {}
    };
    const CapturedLog log;
    add(std::make_shared<Odd>("colour", "colour"));
    add(std::make_shared<Odd>("date", "datetime"));
    add(Property::withStringBlock("empty callback", nullptr));
    for (const char* expression :
         {R"(property("colour"))", R"(property("date"))", R"(property("empty callback"))"}) {
        EXPECT_EQ(evaluate(expression), "empty") << expression;
    }
    EXPECT_TRUE(log.has({"Expected a valid property type, got colour"}));
    EXPECT_TRUE(log.has({"KIV Custom property is of wrong type, expected 'double' actual 'datetime"}));
    EXPECT_TRUE(log.has({"KIV Custom property is of wrong type, expected 'string' actual 'string"}));
    EXPECT_TRUE(reported.empty()) << "none of them is a callback's failure";
}

// Arguments are evaluated from the right: the text is on the stack when its property is replaced.
TEST_F(PropertyOperator, KeepsATextWhosePropertyIsReplacedMeanwhile) {
    const std::string text(100, 'x');
    add(Property::withStringValue("text", text));
    add(Property::withStringBlock("replaces", [this](auto, const auto&) {
        add(Property::withStringValue("text", "new"));
        add(Property::withStringValue("replaces", "gone"));
        return std::optional<std::string>("y");
    }));
    EXPECT_EQ(evaluate(R"(concat(property("replaces"), property("text")))"), "string y" + text);
    EXPECT_EQ(evaluate(R"(concat(property("replaces"), property("text")))"), "string gonenew");
}

TEST_F(PropertyOperator, BoundsTheTextThatCallbacksMake) {
    add(Property::withStringBlock("large", [](auto, const auto&) { return std::string(8U << 20U, 'x'); }));
    std::string expression = R"("")";
    for (int i = 0; i < 9; ++i) {
        expression += R"( property("large"))";
    }
    EXPECT_EQ(evaluate(expression), "empty");
}

} // namespace
