#include "KivCommand.h"

#include <sstream>

namespace {

constexpr const char* payload = R"~({"application": "5e0b", "experiments": [
    {"_id": "1", "name": "Express", "sticky": true, "labels": ["beta", "eu"], "stickinessProperty": "userId",
     "deploymentConfiguration": {"condition": "ifThen(isInTargetGroup(\"vip\"), true, false)"},
     "featureFlags": [{"name": "checkout.express"}, {"name": "checkout.colour"}]},
    {"name": "Colour 日本語 \u001b[31m", "archived": true,
     "deploymentConfiguration": {"condition": "\"a very very very very very very very very long text\""},
     "featureFlags": [{"name": "checkout.colour"}]},
    {"name": "Unfinished", "featureFlags": [{"name": "checkout.other"}]}],
    "targetGroups": [{"_id": "vip", "condition": "numeq(property(\"level\"), 3)"}]})~";

class ConfigShow : public KivCommand {
protected:
    ConfigShow() { write("payload.json", payload); }
};

TEST_F(ConfigShow, ListsWhatADocumentHolds) {
    const std::string shown = output({"config", "show", "payload.json"});
    expectContains(
        shown,
        {"  application 5e0b\n", "3 experiments\n", "     labels      beta, eu\n",
         "     keyed by    userId\n",
         "     flags       checkout.express, checkout.colour (decided by experiment 2)\n",
         "     condition   none, so the experiment is skipped\n", "Colour 日本語 \\u001b[31m\n", "2 flags\n",
         "  checkout.express  1 Express                   ifThen(isInTargetGroup(\"vip\"), true, false)\n",
         "  vip  numeq(property(\"level\"), 3)\n"});
    EXPECT_EQ(shown.find('\x1b'), std::string::npos);
}

TEST_F(ConfigShow, TellsTheSameAsJson) {
    const kiv::json::value shown = parsed(output({"config", "show", "payload.json", "--json"}));
    const kiv::json::value flags = parsed(R"~([
        {"name": "checkout.colour", "experiment": 2,
         "condition": "\"a very very very very very very very very long text\""},
        {"name": "checkout.express", "experiment": 1, "condition": "ifThen(isInTargetGroup(\"vip\"), true, false)"}])~");
    const kiv::json::value second = parsed(R"({"index": 2, "id": null, "name": "Colour 日本語 \u001b[31m",
        "archived": true, "sticky": false, "labels": [], "stickinessProperty": null, "flags": ["checkout.colour"],
        "condition": "\"a very very very very very very very very long text\""})");
    EXPECT_EQ(shown.at("application"), "5e0b");
    EXPECT_EQ(shown.at("flags"), flags);
    EXPECT_EQ(shown.at("experiments").at(1), second);
    EXPECT_TRUE(shown.at("experiments").at(2).at("condition").is_null());
    EXPECT_EQ(shown.at("targetGroups").at(0).at("id"), "vip");
}

TEST_F(ConfigShow, WrapsToTheTerminalAndColoursUnlessAskedNotTo) {
    const std::string plain = onTerminal("NO_COLOR=", {"config", "show", "payload.json"});
    EXPECT_CONTAINS(plain, "3 experiments");
    EXPECT_EQ(plain.find('\x1b'), std::string::npos);
    expectNarrow(plain);
    const std::string coloured = onTerminal("", {"config", "show", "payload.json"});
    EXPECT_CONTAINS(coloured, "\x1b[1m3 experiments\x1b[0m");
    EXPECT_EQ(onTerminal("TERM=dumb", {"config", "show", "payload.json"}), plain);
}

TEST_F(ConfigShow, LintMarksThePlaceOnATerminal) {
    const std::string dots(200, '.');
    write("bad.json", R"({"application": "k", "experiments": [{"name": "E", "featureFlags": [{"name": "f"}],
        "deploymentConfiguration": {"condition": "eq(\"日本\", \n   concat(\"日本)" +
                          dots + R"(\", fooo, \")" + dots + R"~(\"))"}}]})~");
    const std::string shown = onTerminal("NO_COLOR=1", {"config", "lint", "bad.json"});
    EXPECT_CONTAINS(
        shown, "bad.json\n  experiment 1 \"E\"\n    error: unknown word \"fooo\" — line 2, column 217\n");
    std::istringstream lines(shown.substr(shown.find("column 217")));
    std::string line;
    std::string mark;
    std::getline(lines, line);
    std::getline(lines, line);
    std::getline(lines, mark);
    // The ellipsis before the cut is one column and three bytes.
    EXPECT_EQ(line.find("fooo"), mark.find("^~~~") + 2) << line << '\n' << mark;
    EXPECT_TRUE(line.starts_with("      …..")) << line;
}

} // namespace
