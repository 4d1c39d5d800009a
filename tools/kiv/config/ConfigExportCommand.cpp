#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Command.h"
#include "Files.h"
#include "Reporting/KIVDeviceProperties.h"
#include "Terminal.h"
#include "config/DataFolder.h"
#include "config/PayloadFolder.h"
#include "config/SigningIdentity.h"
#include "config/SigningKeyOption.h"

namespace kiv::tool {
namespace {

namespace fs = std::filesystem;

struct Options {
    std::string folder;
    std::string out;
    std::string signingKey;
    std::string certificate;
    std::string data;
};

constexpr const char* explanation =
    R"(Checks and signs each payload KEY.flags.json of a folder, and writes the envelopes as files that any web
server or CDN can serve as a configuration CDN: OUT/KEY/BUILD. BUILD stands for the certificate and for
the version of the library that this command belongs to. An application with another version of the library
asks for another BUILD: for each version in use, run the 'kiv' of that version with the same OUT.

Without --signing-key and --certificate the documents are signed as 'kiv serve FOLDER' signs them.

Examples:
  kiv config export flags public
  kiv config export flags public --signing-key signing.key.pem --certificate signing.certificate.txt

When a payload has errors nothing is written, and the exit code is 1.)";

SigningIdentity identityOf(const Options& options) {
    if (options.signingKey.empty()) {
        return identityInFolder(dataFolder(options.folder, options.data));
    }
    return identityInFiles(options.signingKey, options.certificate);
}

/// Prints the findings about a payload. False when it has errors.
bool isFine(const PayloadChange& change) {
    for (const Finding& finding : change.findings) {
        std::cerr << finding.line(change.file) << '\n';
    }
    return change.kind == PayloadChange::Kind::published;
}

/// Writes a new file and renames it to `path`, because a web server may be reading the old one.
void publish(const fs::path& path, const std::string& envelope) {
    std::error_code problem;
    fs::create_directories(path.parent_path(), problem);
    const fs::path unfinished = path.string() + ".new";
    constexpr mode_t forAll = 0666; // less the umask: the web server may be another user
    writeOutput(unfinished, envelope, forAll, true);
    fs::rename(unfinished, path, problem);
    if (problem) {
        throw BadInput(path.string() + ": cannot be written: " + problem.message(), std::nullopt,
                       adviceForFile(problem.value()));
    }
}

int exportFolder(const Options& options) {
    if (options.signingKey.empty() != options.certificate.empty()) {
        throw WrongUsage("--signing-key and --certificate belong together");
    }
    PayloadFolder folder(options.folder, identityOf(options));
    const std::vector<PayloadChange> payloads = folder.changes();
    if (payloads.empty()) {
        throw BadInput(options.folder + ": holds no payload", std::nullopt,
                       "The payload of a key is a file KEY.flags.json.");
    }
    bool allFine = true;
    for (const PayloadChange& payload : payloads) {
        allFine = isFine(payload) && allFine;
    }
    if (!allFine) {
        throw BadInput(options.folder + ": holds payloads with errors; nothing was written", std::nullopt,
                       "Correct what is told above; 'kiv config lint' shows it in place.");
    }
    const std::string& certificate = folder.identity().certificate;
    for (const PayloadChange& payload : payloads) {
        const fs::path path =
            fs::path(options.out) / payload.key / KIVDeviceProperties::buidFor(payload.key, certificate);
        publish(path, *payload.envelope);
        std::cout << printable(path.string()) << '\n';
    }
    return exitFine;
}

} // namespace

void addExportCommand(CLI::App& parent, int& exitCode) {
    auto options = std::make_shared<Options>();
    CLI::App* command =
        parent.add_subcommand("export", "Write a folder of payloads as the files of a configuration CDN");
    command->add_option("FOLDER", options->folder, "Folder with the payloads, KEY.flags.json each")
        ->required()
        ->type_name("");
    command->add_option("OUT", options->out, "Folder that the web server serves")->required()->type_name("");
    addSigningKeyOption(*command, options->signingKey);
    command->add_option("--certificate", options->certificate, "File with its certificate")
        ->type_name("FILE");
    command
        ->add_option("--data", options->data,
                     "Data folder of the service, with its signing key; FOLDER/.kiv by default")
        ->type_name("DIR");
    command->footer(explanation);
    command->callback([options, &exitCode] { exitCode = exportFolder(*options); });
}

} // namespace kiv::tool
