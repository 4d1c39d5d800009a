#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "Flags/FlagFixture.h"
#include "Flags/KIVFlagValueSource.h"
#include "KivxLanguage/KivxCustomPropertiesExtensions.h"
#include "KivxLanguage/KivxExperimentsExtensions.h"
#include "Model/KIVTargetGroupLinkArchiver.h"
#include "Model/KIVTargetGroupRepository.h"
#include "Model/KIVTargetGroupSource.h"
#include "Platform/Dates.h"
#include "Platform/Json.h"
#include "Platform/Text.h"
#include "Properties/KIVCustomPropertiesRepository.h"

namespace {

const std::filesystem::path project = std::filesystem::path(KIV_TEST_DATA).parent_path().parent_path();

std::string textOf(const std::filesystem::path& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

/// The contents of the fenced blocks of that kind.
std::vector<std::string> blocksOf(const std::string& document, const std::string& kind) {
    std::vector<std::string> blocks;
    const std::string start = "\n```" + kind + "\n";
    for (std::size_t at = document.find(start); at != std::string::npos; at = document.find(start, at)) {
        at += start.size();
        const std::size_t end = document.find("```\n", at);
        blocks.push_back(document.substr(at, end - at));
    }
    return blocks;
}

struct Example {
    std::string expression;
    std::string result;
};

std::vector<Example> examplesOf(const std::string& document) {
    std::vector<Example> examples;
    for (const std::string& block : blocksOf(document, "kivx")) {
        std::istringstream lines(block);
        for (std::string line; std::getline(lines, line);) {
            const std::size_t arrow = line.rfind("=> ");
            if (arrow == std::string::npos) {
                ADD_FAILURE() << "no example: " << line;
                continue;
            }
            const std::size_t end = line.find_last_not_of(' ', arrow - 1);
            examples.push_back({line.substr(0, end + 1), line.substr(arrow + 3)});
        }
    }
    return examples;
}

/// The value as the language writes it.
std::string written(const KivxValue& value) {
    std::string text;
    const auto append = [&text](const KivxValue& element) {
        text += (text.size() > 1 && !text.ends_with(": ") ? ", " : "") + written(element);
    };
    if (const auto* elements = value.array()) {
        text = "[";
        for (const KivxValue& element : *elements) {
            append(element);
        }
        return text + "]";
    }
    if (const auto* members = value.dictionary()) {
        text = "{";
        for (const auto& [key, member] : *members) {
            append(key);
            text += ": ";
            append(member);
        }
        return text + "}";
    }
    return value.isString() ? "\"" + std::string(*value.text()) + "\""
                            : value.stringValue().value_or("failure");
}

class ExpressionsDoc : public FlagFixture {
protected:
    ExpressionsDoc() {
        const auto sources = std::make_shared<KIVFlagValueSource>(flags);
        KivxExperimentsExtensions(*parser, std::make_shared<KIVTargetGroupSource>(groups, links), sources)
            .extend();
        KivxCustomPropertiesExtensions(*parser, properties, {}).extend();
        start();
        sources->setFeatureFlagsSetter(setter);
        add<KIVInt>("store.paymentRetries", 3);
        apply({{"store.buttonColor", "\"green\""}});
        links->addTargetGroupLinkPairing("launch-party");
        const auto customer = kiv::parseJson(blocksOf(document, "json").at(0));
        for (const auto& [name, value] : customer->at("properties").as_object()) {
            addProperty(name, value);
        }
        std::vector<KIVTargetGroupModel> models;
        for (const auto& [identifier, condition] : customer->at("targetGroups").as_object()) {
            models.emplace_back(std::string(identifier), std::string(condition.as_string()));
        }
        groups->setTargetGroups(std::move(models));
        KIVDynamicPropertyContext::Values values;
        for (const auto& [name, value] : customer->at("context").as_object()) {
            values.emplace(name, std::string(value.as_string()));
        }
        context.dynamicPropertyContext = KIVDynamicPropertyContext(std::move(values));
    }

    void addProperty(const std::string& name, const kiv::json::value& value) {
        using Property = KIVCustomProperty;
        std::shared_ptr<Property> property;
        if (const auto* text = value.if_string()) {
            property = Property::withStringValue(name, std::string(*text));
        } else if (const auto* number = value.if_int64()) {
            property = Property::withIntValue(name, static_cast<std::int32_t>(*number));
        } else if (const auto* real = value.if_double()) {
            property = Property::withDoubleValue(name, *real);
        } else if (const auto* boolean = value.if_bool()) {
            property = Property::withBoolValue(name, *boolean);
        } else {
            const std::string typed(value.at("value").as_string());
            property = value.at("type") == "semver"
                           ? Property::withSemverValue(name, typed)
                           : Property::withDateTimeValue(name, kiv::parseDate(typed).value());
        }
        properties->addCustomProperty(property);
    }

    std::string evaluated(const std::string& expression) const {
        const auto result = parser->evaluateExpression(expression, "store.example", context);
        return result ? written(result->value()) : "undefined";
    }

    const std::string document = textOf(project / "docs/expressions.md");
    std::shared_ptr<KIVTargetGroupRepository> groups = std::make_shared<KIVTargetGroupRepository>();
    std::shared_ptr<KIVTargetGroupLinkArchiver> links = std::make_shared<KIVTargetGroupLinkArchiver>();
    EvaluationContext context;
};

TEST_F(ExpressionsDoc, ExamplesHaveTheValuesThatItSays) {
    const auto examples = examplesOf(document);
    EXPECT_GT(examples.size(), 80U);
    for (const Example& example : examples) {
        EXPECT_EQ(evaluated(example.expression), example.result) << example.expression;
    }
}

/// Whether the operator is called in the expression; `eq` is not in `numeq(1, 2)`.
bool calls(const std::string& expression, const std::string& name) {
    const std::string call = name + "(";
    for (std::size_t at = expression.find(call); at != std::string::npos;
         at = expression.find(call, at + 1)) {
        if (at == 0 || !std::isalnum(static_cast<unsigned char>(expression[at - 1]))) {
            return true;
        }
    }
    return false;
}

TEST_F(ExpressionsDoc, NamesEveryOperatorInATableAndInAnExample) {
    const auto examples = examplesOf(document);
    for (const std::string& name : parser->operators().names()) {
        EXPECT_NE(document.find("| `" + name + "("), std::string::npos) << name << " is in no table";
        EXPECT_TRUE(std::ranges::any_of(
            examples, [&](const Example& example) { return calls(example.expression, name); }))
            << name << " is in no example";
    }
}

TEST(ReadmeDoc, ShowsTheExampleThatIsBuilt) {
    const auto blocks = blocksOf(textOf(project / "README.md"), "cpp");
    ASSERT_FALSE(blocks.empty());
    EXPECT_EQ(blocks[0], textOf(project / "examples/minimal/main.cpp"));
}

} // namespace
