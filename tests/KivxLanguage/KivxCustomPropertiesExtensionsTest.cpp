#include "KivxLanguage/KivxCustomPropertiesExtensions.h"

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "KivxLanguage/KivxParser.h"
#include "Properties/KIVCustomPropertiesRepository.h"
#include "Runtime/KIVUserspaceUnhandledErrorInvoker.h"
#include "Support/CapturedLog.h"

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
        const auto result = parser.evaluateExpression(
            expression, "running", EvaluationContext::initDefaultWithContext(std::move(context)));
        return !result ? "undefined" : result->value().isNone() ? "empty" : *result->stringValue();
    }

    std::shared_ptr<KIVUserspaceUnhandledErrorInvoker> invoker =
        std::make_shared<KIVUserspaceUnhandledErrorInvoker>();
    std::vector<std::pair<unsigned, std::string>> reported;
    std::shared_ptr<KIVCustomPropertiesRepository> properties =
        std::make_shared<KIVCustomPropertiesRepository>();
    KivxParser parser{invoker};
};

TEST_F(PropertyOperator, GivesTheValueInItsKind) {
    const KIVDate date{std::chrono::seconds(1'000)};
    add(Property::withIntValue("int", 42));
    add(Property::withBoolValue("bool", true));
    add(Property::withDoubleValue("double", 0.25));
    add(Property::withStringValue("text", "caf\xC3\xA9"));
    add(Property::withSemverValue("version", "1.10"));
    add(Property::withDateTimeValue("date", date));
    add(Property::withStringBlock("nothing", [](auto, const auto&) { return std::nullopt; }));
    add(Property::withDateTimeBlock("never", [](auto, const auto&) { return std::nullopt; }));
    add(Property::withStringBlock("about", [](std::string_view flag, const Context& context) {
        return std::string(flag) + " " + context.get("who").description();
    }));
    add(std::make_shared<KIVDeviceProperty>(*Property::withStringValue("model", "M1")));

    const std::pair<std::string, KivxValue> kinds[] = {
        {"int", 42},         {"bool", true}, {"double", 0.25},    {"text", "caf\xC3\xA9"},
        {"version", "1.10"}, {"date", date}, {"kiv.model", "M1"},
    };
    for (const auto& [name, expected] : kinds) {
        const auto result = parser.evaluateExpression("property(\"" + name + "\")", "running", {});
        ASSERT_TRUE(result) << name;
        EXPECT_EQ(result->value().kind(), expected.kind()) << name;
        EXPECT_EQ(result->value(), expected) << name;
    }
    EXPECT_EQ(evaluate(R"(tsToNum(property("date")))"), "1000");
    EXPECT_EQ(evaluate(R"(property("nothing"))"), "undefined");
    EXPECT_EQ(evaluate(R"(isUndefined(property("never")))"), "true");
    EXPECT_EQ(evaluate(R"(property("about"))", Context(Context::Values{{"who", "me"}})), "running me");
    EXPECT_TRUE(reported.empty());
}

TEST_F(PropertyOperator, AsksContextOrRuleForWhatNobodyRegistered) {
    const KIVDate date{std::chrono::seconds(1)};
    const Context context(
        Context::Values{{"text", "t"}, {"number", 1.5}, {"yes", true}, {"date", date}, {"name", "context"}});
    const std::string expressions[] = {R"(property("text"))", R"(property("number"))",  R"(property("yes"))",
                                       R"(property("date"))", R"(property("unknown"))", "property(7)",
                                       "property()"};
    const auto values = [&] {
        std::vector<std::string> all;
        for (const auto& expression : expressions) {
            all.push_back(evaluate(expression, context));
        }
        return all;
    };
    const std::vector<std::string> fromContext = {"t",         "1.5",       "true",     "undefined",
                                                  "undefined", "undefined", "undefined"};
    EXPECT_EQ(values(), fromContext);

    std::vector<std::string> asked;
    KivxCustomPropertiesExtensions(parser, properties, [&](std::string_view name, const Context& given) {
        asked.emplace_back(name);
        return name == "unknown" ? KivxValue("rule") : name == "text" ? KivxValue() : given.get(name);
    }).extend();
    const std::vector<std::string> fromRule = {"undefined", "1.5",       "true",     "undefined",
                                               "rule",      "undefined", "undefined"};
    EXPECT_EQ(values(), fromRule) << "the context is not consulted beside a rule";
    EXPECT_EQ(asked, (std::vector<std::string>{"text", "number", "yes", "date", "unknown"}));
    add(Property::withStringValue("text", "registered"));
    EXPECT_EQ(evaluate(R"(property("text"))"), "registered");
}

TEST_F(PropertyOperator, ReportsWhatCallbacksThrow) {
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

// Operands are taken from the right: the text is on the stack when its property goes.
TEST_F(PropertyOperator, KeepsATextWhosePropertyIsReplacedMeanwhile) {
    const std::string text(100, 'x');
    add(Property::withStringValue("text", text));
    add(Property::withStringBlock("replaces", [this](auto, const auto&) {
        add(Property::withStringValue("text", "new"));
        add(Property::withStringValue("replaces", "gone"));
        return std::optional<std::string>("y");
    }));
    EXPECT_EQ(evaluate(R"(concat(property("replaces"), property("text")))"), "y" + text);
    EXPECT_EQ(evaluate(R"(concat(property("replaces"), property("text")))"), "gonenew");
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
