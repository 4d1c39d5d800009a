#include <filesystem>
#include <iostream>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include "Command.h"
#include "Files.h"
#include "Platform/Crypto/Base64.h"
#include "Terminal.h"
#include "config/SigningIdentity.h"

namespace kiv::tool {
namespace {

struct Options {
    std::string prefix;
    std::string name = signingCommonName;
    int days = signingDays;
    bool force = false;
};

constexpr const char* examples = R"(Makes
  PREFIX.key.pem          the private key, readable by you alone; whoever has it can sign documents
  PREFIX.certificate.txt  the certificate as an application takes it in customSigningCertificate
  PREFIX.certificate.pem  the same certificate for other programs

Example:
  kiv config keygen --out keys/signing --name "Storefront configurations" --days 730)";

int keygen(const Options& options) {
    const SigningFiles files(options.prefix);
    for (const std::string& path : {files.key, files.certificate, files.certificatePem}) {
        if (!options.force && std::filesystem::exists(path)) {
            throw BadInput(
                path + ": is there already; nothing was written", std::nullopt,
                "Add --force to replace it. Documents that were signed with the replaced key stay valid, but "
                "no more documents can be signed with it.");
        }
    }
    const PrivateKey made = generateKey();
    const std::string certificate = selfSignedCertificate(made, options.name, options.days);
    constexpr mode_t forOwner = 0600;
    constexpr mode_t forAll = 0666;
    writeOutput(files.key, privateKeyPem(made), forOwner, options.force);
    writeOutput(files.certificate, encodeBase64(certificate) + "\n", forAll, options.force);
    writeOutput(files.certificatePem, certificatePem(certificate), forAll, options.force);
    const std::size_t width = displayWidth(files.certificatePem) + 2;
    std::cout << padded(files.key, width) << "private key, keep it secret\n"
              << padded(files.certificate, width) << "certificate, for customSigningCertificate\n"
              << padded(files.certificatePem, width) << "certificate, for other programs\n";
    return exitFine;
}

} // namespace

void addKeygenCommand(CLI::App& parent, int& exitCode) {
    auto options = std::make_shared<Options>();
    CLI::App* command = parent.add_subcommand("keygen", "Make a signing key and its certificate");
    command->add_option("--out", options->prefix, "Beginning of the paths of the three files")
        ->required()
        ->type_name("PREFIX");
    command
        ->add_option("--name", options->name,
                     "Common name in the certificate; \"" + options->name + "\" by default")
        ->type_name("CN");
    command
        ->add_option("--days", options->days,
                     "Days that the certificate is valid, 3650 by default; applications do not check them")
        ->check(CLI::Range(1, 36500).description(""))
        ->type_name("N");
    command->add_flag("--force", options->force, "Replace files that are there already");
    command->footer(examples);
    command->callback([options, &exitCode] { exitCode = keygen(*options); });
}

} // namespace kiv::tool
