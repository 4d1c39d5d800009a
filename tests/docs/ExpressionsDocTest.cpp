#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include "KivxLanguage/KivxCustomPropertiesExtensions.h"
#include "Platform/Text/Dates.h"
#include "Platform/Text/Json.h"
#include "Properties/KIVCustomPropertiesRepository.h"
#include "Support/ExperimentFixture.h"
#include "Support/Outcome.h"

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
            std::smatch parts;
            EXPECT_TRUE(std::regex_match(line, parts, std::regex("(.*\\S) *=> (.*)")))
                << "no example: " << line;
            examples.push_back({parts.str(1), parts.str(2)});
        }
    }
    return examples;
}

class ExpressionsDoc : public ExperimentFixture {
protected:
    ExpressionsDoc() {
        KivxCustomPropertiesExtensions(*parser, properties, {}).extend();
        startWithSetter();
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
        return outcome(*parser, expression, "store.example", context);
    }

    const std::string document = textOf(project / "docs/expressions.md");
    EvaluationContext context;
};

TEST_F(ExpressionsDoc, ExamplesHaveTheValuesThatItSays) {
    const auto examples = examplesOf(document);
    EXPECT_GT(examples.size(), 80U);
    for (const Example& example : examples) {
        // The results are expressions too, and "failure" is an unknown word.
        const std::string result = evaluated(example.result);
        EXPECT_EQ(evaluated(example.expression), result) << example.expression;
        EXPECT_EQ(result == "empty", example.result == "failure") << example.expression;
    }
}

TEST_F(ExpressionsDoc, NamesEveryOperatorInATableAndInAnExample) {
    const auto examples = examplesOf(document);
    for (const std::string& name : parser->operators().names()) {
        EXPECT_NE(document.find("| `" + name + "("), std::string::npos) << name << " is in no table";
        const std::regex call("\\b" + name + "\\(");
        EXPECT_TRUE(std::ranges::any_of(
            examples, [&](const Example& example) { return std::regex_search(example.expression, call); }))
            << name << " is in no example";
    }
}

TEST(ReadmeDoc, ShowsTheExampleThatIsBuilt) {
    const auto blocks = blocksOf(textOf(project / "README.md"), "cpp");
    ASSERT_FALSE(blocks.empty());
    EXPECT_EQ(blocks[0], textOf(project / "examples/minimal/main.cpp"));
}

} // namespace
