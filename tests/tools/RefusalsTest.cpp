#include "KivCommand.h"

namespace {

using Refusals = KivCommand;

TEST_F(Refusals, OfEverySubcommandEndInWhatToDo) {
    write("broken.json", "{\"experiments\": [");
    write("array.json", "[1]");
    write("payload.json",
          R"({"application": "k", "experiments": [{"name": "e", "featureFlags": [{"name": "f"}]}]})");
    write("noData.json", R"({"signature_v0": "x"})");
    write("dataOfNumber.json", R"({"data": 5})");
    write("none.pem", "-----BEGIN CERTIFICATE-----\nx\n");
    write("none.txt", "no certificate!");
    write("empty.ids", "\n");
    write("file", "");
    std::filesystem::create_directories("emptyFolder");
    std::filesystem::create_directories("badFolder");
    write("badFolder/5e0bd1f2c3a4b5d6e7f80912.flags.json", "{\"experiments\": 5}");
    write("badFolder/nokey.flags.json", "{}");
    ASSERT_EQ(kiv({"config", "keygen", "--out", "signing"}).exitCode, 0);
    const std::string config = "--config";
    const Arguments calls[] = {
        {},
        {"evl"},
        {"config"},
        {"config", "lnt"},
        {"eval"},
        {"eval", "1", "--nonsense"},
        {"eval", ""},
        {"eval", "[1, 2"},
        {"eval", "fooo"},
        {"eval", "and(true, undefined)"},
        {"eval", R"(semverGte("1", 1))"},
        {"eval", R"(isInPercentage([1], "a"))"},
        {"eval", "inArray(1, 2)"},
        {"eval", R"(inArray(1, property("x")))"},
        {"eval", R"(match("a", "[", ""))"},
        {"eval", "1", "--property", "x"},
        {"eval", "1", "--property", "x:int=5000000000"},
        {"eval", "1", "--property", "x:datetime=today"},
        {"eval", "1", "--property", "x:zzz=1"},
        {"eval", "1", "--context", "x:semver=1"},
        {"eval", "1", "--target-group", "x"},
        {"explain"},
        {"explain", config, "missing.json", "--flag", "f"},
        {"explain", config, ".", "--flag", "f"},
        {"explain", config, "broken.json", "--flag", "f"},
        {"explain", config, "array.json", "--flag", "f"},
        {"explain", config, "noData.json", "--flag", "f"},
        {"explain", config, "dataOfNumber.json", "--flag", "f"},
        {"explain", config, "payload.json", "--flag", "f"},
        {"explain", config, "payload.json", "--flag", "zzz"},
        {"split", config, "payload.json", "--flag", "f", "--property", "p", "--count", "1"},
        {"split", config, "payload.json", "--flag", "f", "--property", "p", "--count", "0"},
        {"config", "lint"},
        {"config", "lint", "--format", "xml", "payload.json"},
        {"config", "show", "missing.json"},
        {"config", "sign", "noData.json", "--signing-key", "signing.key.pem", "--out", "x.json"},
        {"config", "sign", "payload.json", "--signing-key", "signing.certificate.pem", "--out", "x.json"},
        {"config", "sign", "payload.json", "--signing-key", "signing.key.pem", "--out", "no/folder.json"},
        {"config", "sign", "payload.json", "--signing-key", "signing.key.pem", "--date", "today", "--out",
         "x"},
        {"config", "keygen", "--out", "signing"},
        {"config", "keygen", "--out", "no/folder"},
        {"config", "verify", "payload.json"},
        {"config", "verify", "noData.json"},
        {"config", "verify", "payload.json", "--certificate", "none.pem"},
        {"config", "verify", "payload.json", "--certificate", "none.txt"},
        {"config", "export", "missing", "--out", "out"},
        {"config", "export", "emptyFolder", "--out", "out"},
        {"config", "export", "badFolder", "--out", "out"},
        {"serve", "missing"},
        {"serve", "emptyFolder", "--data", "file"},
        {"impressions", "emptyFolder"},
        {"device"},
        {"device", "--key", "nonsense"},
        {"device", "--key", "5e0bd1f2c3a4b5d6e7f80912", "--host", "screen=big"},
        {"device", "--key", "5e0bd1f2c3a4b5d6e7f80912", "--host", "nonsense=1"},
        {"device", "--key", "5e0bd1f2c3a4b5d6e7f80912", "--program", "missing"},
        {"shell", "--nonsense"},
    };
    for (const Arguments& call : calls) {
        const Outcome outcome = kiv(call);
        const std::string line = commandLine(call) + "\n" + outcome.err;
        EXPECT_NE(outcome.exitCode, 0) << line;
        ASSERT_TRUE(outcome.err.ends_with('\n')) << line;
        const std::size_t last = outcome.err.rfind('\n', outcome.err.size() - 2) + 1;
        const bool isHelp = outcome.err.substr(last).find("--help' ") != outcome.err.npos;
        if (outcome.exitCode == 2) {
            EXPECT_TRUE(isHelp) << line;
            continue;
        }
        // Bad input has advice of its own, below the message and the mark under the place.
        const std::string advice = outcome.err.substr(last);
        EXPECT_TRUE(advice.starts_with("  ") && advice.find_first_not_of(" ^~\n") != advice.npos) << line;
        EXPECT_GT(last, 0U) << line;
        EXPECT_FALSE(isHelp) << line;
    }
}

TEST_F(Refusals, OfABatchEndInWhatToDo) {
    const std::pair<std::string, std::string> lines[] = {
        {R"({"expression": "1", "propertys": {}})",
         "no member \"propertys\". Did you mean properties? Its members are"},
        {R"({"expresion": "1"})", "Did you mean expression?"},
        {R"({"expression": "1", "flag": "x"})",
         "Its members are expression, flagName, properties, context and"},
        {R"({"expression": "1", "properties": {"p": {"type": "int", "value": 1, "valeu": 2}}})",
         "\"type\" and \"value\" only, and not \"valeu\""},
        {R"({"expression": "1", "properties": {"p": {"type": "int", "value": "x"}}})",
         "The type takes a whole number of 32 bits"},
        {R"({"expression": "1", "properties": {"p": {"type": "itn", "value": 1}}})", "Did you mean int?"},
    };
    for (const auto& [line, told] : lines) {
        const Outcome outcome = kiv({"eval", "--batch"}, line);
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_CONTAINS(std::string(parsed(outcome.out).at("reason").as_string()), told);
    }
}

TEST_F(Refusals, TheCommandAloneSaysHowToBegin) {
    const Outcome outcome = kiv({});
    EXPECT_EQ(outcome.exitCode, 2);
    const std::size_t start = outcome.err.find("Start with one of these:\n");
    const std::size_t list = outcome.err.find("Subcommands:\n");
    ASSERT_LT(start, list) << outcome.err;
    std::istringstream lines(outcome.err.substr(start, list - start));
    std::string line;
    std::getline(lines, line);
    for (const char* command : {"  kiv eval ", "  kiv explain ", "  kiv serve "}) {
        std::getline(lines, line);
        EXPECT_TRUE(line.starts_with(command)) << line;
    }
    expectContains(outcome.err.substr(list), {"  eval  ", "  device  ", "'kiv SUBCOMMAND --help'"});
    EXPECT_EQ(shell(commandLine({"eval", "lt(1, 2)"})).out, "true\n");
    EXPECT_CONTAINS(output({"explain", R"(eq(1, "1"))"}), "a number never equals a text");
}

} // namespace
