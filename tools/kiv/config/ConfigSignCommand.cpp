#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include "Command.h"
#include "Files.h"
#include "Platform/System/Clock.h"
#include "Platform/Text/Dates.h"
#include "config/ConfigDocument.h"
#include "config/Signing.h"
#include "config/SigningKeyOption.h"

namespace kiv::tool {
namespace {

struct Options {
    std::string payload;
    std::string signingKey;
    std::string out;
    std::string date;
};

constexpr const char* examples =
    R"(The payload's text is signed exactly as it stands in the file, without the line break at its end.

Examples:
  kiv config sign payload.json --signing-key signing.key.pem --out configuration.json
  kiv config sign payload.json --signing-key signing.key.pem --date 2026-01-31T12:00:00.000Z > configuration.json)";

std::string dateOf(const Options& options) {
    if (options.date.empty()) {
        return dateText(Clock::current().now());
    }
    const std::optional<KIVDate> date = parseDate(options.date);
    if (!date) {
        throw WrongUsage("--date: a date is written like 2026-01-31T12:00:00.000Z");
    }
    return dateText(*date);
}

int signPayload(const Options& options) {
    const std::string date = dateOf(options);
    const std::string content = readInput(options.payload);
    const std::string_view payload = withoutLastLineBreak(content);
    if (isEnvelope(parseObject(payload, options.payload))) {
        throw BadInput(options.payload + ": is an envelope already", std::nullopt,
                       "Sign the payload that is in its \"data\".");
    }
    const PrivateKey key = readPrivateKey(readInput(options.signingKey), options.signingKey);
    const std::string text = signedEnvelope(key, payload, date);
    if (options.out.empty()) {
        std::cout << text;
    } else {
        constexpr mode_t forAll = 0666;
        writeOutput(options.out, text, forAll, true);
    }
    return exitFine;
}

} // namespace

void addSignCommand(CLI::App& parent, int& exitCode) {
    auto options = std::make_shared<Options>();
    CLI::App* command = parent.add_subcommand("sign", "Wrap a payload into a signed envelope");
    command->add_option("PAYLOAD", options->payload, "File with the payload, - for standard input")
        ->required()
        ->type_name("");
    addSigningKeyOption(*command, options->signingKey)->required();
    command->add_option("--out", options->out, "File for the envelope; standard output by default")
        ->type_name("FILE");
    command
        ->add_option("--date", options->date,
                     "Date of signing, like 2026-01-31T12:00:00.000Z; now by default")
        ->type_name("DATE");
    command->footer(examples);
    command->callback([options, &exitCode] { exitCode = signPayload(*options); });
}

} // namespace kiv::tool
