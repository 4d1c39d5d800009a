#include "KivCommand.h"

namespace {

class LintFormats : public KivCommand {
protected:
    static kiv::json::value sarif(const Arguments& files) {
        const kiv::json::value log = parsed(kiv(joined({"config", "lint", "--format", "sarif"}, files)).out);
        EXPECT_EQ(log.at("version"), "2.1.0");
        EXPECT_EQ(log.at_pointer("/runs/0/tool/driver/name"), "kiv");
        EXPECT_EQ(log.at_pointer("/runs/0/columnKind"), "unicodeCodePoints");
        return log;
    }

    static const kiv::json::array& results(const kiv::json::value& log) {
        return log.at_pointer("/runs/0/results").as_array();
    }

    /// The text of the file that the region of a result marks.
    static std::string marked(const kiv::json::value& result) {
        const kiv::json::value& place = result.at_pointer("/locations/0/physicalLocation");
        std::istringstream file(read(std::string(place.at_pointer("/artifactLocation/uri").as_string())));
        std::string line;
        const kiv::json::value& region = place.at("region");
        EXPECT_EQ(region.at("startLine"), region.at("endLine"));
        for (std::int64_t number = 0; number < region.at("startLine").to_number<std::int64_t>(); ++number) {
            std::getline(file, line);
        }
        const auto byteOf = [&line](std::int64_t column) {
            std::size_t at = 0;
            for (; column > 1; --column) {
                for (++at; at < line.size() && (line[at] & 0xC0) == 0x80; ++at) {
                }
            }
            return at;
        };
        const std::size_t begin = byteOf(region.at("startColumn").to_number<std::int64_t>());
        return line.substr(begin, byteOf(region.at("endColumn").to_number<std::int64_t>()) - begin);
    }

    static constexpr std::string_view payload = R"~({
  "application": "k", "experiments": [null,
    {"name": "übung", "deploymentConfiguration": {"condition": "old", "condition": "eq(\"ä\uD83D\uDE00\\\t\", foo)"}, "featureFlags": [{"name": "f"}]},
    {"name": "flagless", "deploymentConfiguration": {"x": [{}, "]"], "condition": "true"}}
  ],
  "targetGroups": [{"_id": "g", "condition": "not(\"\u00e9\", 1)"}]
})~";
};

TEST_F(LintFormats, SarifMarksTheMistakeInTheFile) {
    write("payload.json", payload);
    const kiv::json::value log = sarif({"payload.json"});
    const std::pair<std::string, std::string> expected[] = {
        {"expression", "foo"}, {"document", "{"}, {"expression", "\\\"\\u00e9\\\""}, {"expression", "1"}};
    ASSERT_EQ(results(log).size(), std::size(expected)) << kiv::prettyJson(log);
    for (std::size_t index = 0; index < std::size(expected); ++index) {
        const kiv::json::value& result = results(log)[index];
        EXPECT_EQ(*kiv::textMember(result, "ruleId"), expected[index].first);
        EXPECT_EQ(marked(result), expected[index].second) << kiv::prettyJson(result);
    }
    EXPECT_EQ(results(log)[0].at("level"), "error");
    EXPECT_EQ(results(log)[1].at("level"), "warning");
    EXPECT_EQ(
        results(log)[0].at_pointer("/message/text"),
        "experiment 1 \"übung\": unknown word \"foo\". If it is meant as a text, put it in double quotes: "
        "\"foo\".");
    EXPECT_EQ(results(log)[0].at_pointer("/locations/0/logicalLocations/0/fullyQualifiedName"),
              "experiment 1 \"übung\"");
}

TEST_F(LintFormats, SarifMarksTheMistakeInsideAnEnvelope) {
    std::string condition =
        R"~({"application": "k", "targetGroups": [{"_id": "g", "condition": "and(\"a\", foo)"}]})~";
    write("my envelope.json", "\xEF\xBB\xBF" + kiv::prettyJson(kiv::json::object{{"data", condition}}));
    const kiv::json::value log = sarif({"my envelope.json"});
    ASSERT_GE(results(log).size(), 1U);
    const kiv::json::value& result = results(log).back();
    EXPECT_EQ(result.at_pointer("/locations/0/physicalLocation/artifactLocation/uri"), "my%20envelope.json");
    std::filesystem::copy_file("my envelope.json", "my%20envelope.json");
    EXPECT_EQ(marked(result), "foo");
}

TEST_F(LintFormats, AMistakeInTheJsonIsMarkedToo) {
    write("broken.json", "{\n  \"application\": k\n}");
    const kiv::json::value region =
        results(sarif({"broken.json"}))[0].at_pointer("/locations/0/physicalLocation/region");
    EXPECT_EQ(region.at("startLine"), 2);
    const kiv::json::value missing = results(sarif({"missing.json"}))[0];
    EXPECT_EQ(missing.at("level"), "error");
    EXPECT_EQ(missing.at_pointer("/locations/0/physicalLocation/region/startLine"), 1);
}

TEST_F(LintFormats, JsonHasTheLineOfTheFileAndOldSpellingsWork) {
    write("payload.json", payload);
    const kiv::json::value report = parsed(kiv({"config", "lint", "--format", "json", "payload.json"}).out);
    EXPECT_EQ(report.at_pointer("/findings/0/fileLine"), 3);
    EXPECT_EQ(report.at_pointer("/findings/0/column"), 12);
    EXPECT_EQ(report, parsed(kiv({"config", "lint", "--json", "payload.json"}).out));
    EXPECT_EQ(kiv({"config", "lint", "--format", "text", "payload.json"}).out,
              kiv({"config", "lint", "payload.json"}).out);
    const Call calls[] = {
        {{"--format", "xml", "payload.json"}, 2, "--format"},
        {{"--json", "--format", "sarif", "payload.json"}, 2, "exclude each other"},
    };
    expectTold({"config", "lint"}, calls);
    EXPECT_EQ(kiv({"config", "lint", "--format", "sarif", "-"}, payload).exitCode, 1);
}

TEST_F(LintFormats, ManyFindingsInOneEnvelopeKeepTheirPlaces) {
    constexpr int count = 5'000;
    std::string experiments;
    for (int i = 0; i < count; ++i) {
        experiments += std::string(i == 0 ? "" : ",\n") + R"({"name": "e", "featureFlags": [{"name": "f)" +
                       std::to_string(i) + R"("}], "deploymentConfiguration": {"condition": "fo)" +
                       std::to_string(i) + R"("}})";
    }
    write("payload.json", "{\"application\": \"k\", \"experiments\": [" + experiments + "]}");
    const kiv::json::value plain = sarif({"payload.json"});
    ASSERT_EQ(results(plain).size(), count);
    EXPECT_EQ(results(plain)[count - 2].at_pointer("/locations/0/physicalLocation/region/startLine"),
              count - 1);
    EXPECT_EQ(marked(results(plain)[count - 2]), "fo" + std::to_string(count - 2));

    write("envelope.json", kiv::compactJson(kiv::json::object{{"data", read("payload.json")}}));
    const kiv::json::value wrapped = sarif({"envelope.json"});
    ASSERT_EQ(results(wrapped).size(), count);
    EXPECT_EQ(marked(results(wrapped)[count - 2]), "fo" + std::to_string(count - 2));
}

} // namespace
