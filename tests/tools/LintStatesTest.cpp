#include "Background.h"
#include "KivCommand.h"

namespace {

const std::string key = "5e0bd1f2c3a4b5d6e7f80912";

class LintStates : public KivCommand {
protected:
    LintStates() {
        std::filesystem::create_directory("flags");
        write(payload, R"({"application": ")" + key + R"(", "experiments": [
            {"name": "good", "featureFlags": [{"name": "shop.colour"}, {"name": "shop.new"}],
             "deploymentConfiguration": {"condition": "\"red\""}},
            {"name": "bad", "featureFlags": [{"name": "shop.color"}, {"name": "vip.discount"}],
             "deploymentConfiguration": {"condition": "\"red\""}}]})");
    }

    /// Runs a service on the folder and posts states to it.
    static void report(const Arguments& options, const std::vector<std::string>& posted) {
        const Background service(commandLine(joined({"serve", "flags", "--port", "0", "--json"}, options)) +
                                 " >ready 2>log");
        waitUntil([] { return read("ready").ends_with('\n'); }, "the service");
        const kiv::json::value ready = parsed(read("ready"));
        const std::string url =
            std::string(ready.at_pointer("/networkConfigurations/sendStateApiEndpoint").as_string()) + "/" +
            key;
        for (std::size_t index = 0; index < posted.size(); ++index) {
            write("state", posted[index]);
            const Outcome outcome =
                shell("curl -sS --noproxy '*' --max-time 30 -f --data-binary @state -H 'Content-Type: "
                      "application/json' " +
                      url + "/0123456789abcdef0123456789abcde" + std::to_string(index));
            ASSERT_EQ(outcome.exitCode, 0) << outcome.err << read("log");
        }
    }

    static Outcome lint(const std::string& folder) {
        return kiv({"config", "lint", "--states", folder, payload});
    }

    static inline const std::string payload = "flags/" + key + ".flags.json";
    static inline const std::vector<std::string> states{R"({"feature_flags": [{"name": "shop.colour"}]})",
                                                        R"({"feature_flags": [{"name": "shop.new"}, {}, 5]})",
                                                        R"({"feature_flags": "none"})"};
};

TEST_F(LintStates, FindsFlagsThatNobodyHasReported) {
    report({}, states);
    const Outcome outcome = lint("flags");
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.out, payload +
                               R"(: experiment 2 "bad": warning: no application has ever reported the flag )"
                               "\"shop.color\" (Did you mean shop.colour?)\n" +
                               payload +
                               R"(: experiment 2 "bad": warning: no application has ever reported the flag )"
                               "\"vip.discount\" (Applications report the flags that they register: check "
                               "the spelling, or register it.)\n"
                               "0 errors, 2 warnings in 1 file.\n");
    EXPECT_EQ(lint("flags/.kiv").out, outcome.out);
}

TEST_F(LintStates, SaysWhenThereIsNothingToCompareWith) {
    const Outcome none = lint("flags");
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_EQ(none.out, "");
    EXPECT_CONTAINS(none.err,
                    "kiv: flags/.kiv/records.sqlite: there are no records\n  'kiv serve flags' writes");
    report({"--data", "elsewhere"}, {});
    const Outcome silent = lint("elsewhere");
    EXPECT_EQ(silent.exitCode, 0);
    EXPECT_CONTAINS(silent.out, "no application with the key \"" + key + "\" has reported its flags");
}

} // namespace
