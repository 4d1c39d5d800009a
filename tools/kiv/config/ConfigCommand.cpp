#include <CLI/CLI.hpp>

#include "Command.h"

namespace kiv::tool {
namespace {

constexpr const char* explanation = R"(A configuration document is an envelope, a JSON object of
  "data"          the payload: a JSON object as text, with the experiments and target groups
  "signature_v0"  base64 of the RSA PKCS#1 v1.5 SHA-256 signature of that text
  "signed_date"   when it was signed

From a payload to an application:
  kiv config keygen --out signing
  kiv config lint payload.json
  kiv config sign payload.json --signing-key signing.key.pem --out configuration.json
  kiv config verify configuration.json --certificate signing.certificate.txt
  kiv config show configuration.json
The application gets configuration.json as its defaultConfigurationPath and the text in
signing.certificate.txt as its customSigningCertificate.)";

} // namespace

void addConfigCommand(CLI::App& parent, int& exitCode) {
    CLI::App* command = parent.add_subcommand(
        "config", "Make, sign, verify, show, check and publish configuration documents");
    command->require_subcommand(1);
    command->footer(explanation);
    addKeygenCommand(*command, exitCode);
    addSignCommand(*command, exitCode);
    addVerifyCommand(*command, exitCode);
    addShowCommand(*command, exitCode);
    addLintCommand(*command, exitCode);
    addExportCommand(*command, exitCode);
}

} // namespace kiv::tool
