#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include "Command.h"
#include "Files.h"
#include "Model/KIVJSONKeys.h"
#include "Network/KIVSignatureChecker.h"
#include "Platform/Crypto/Base64.h"
#include "Platform/Crypto/PublicKey.h"
#include "Platform/Text/Dates.h"
#include "Terminal.h"
#include "config/ConfigDocument.h"
#include "config/Signing.h"

namespace kiv::tool {
namespace {

struct Options {
    std::string envelope;
    std::string certificate;
    std::string appKey;
};

constexpr const char* examples = R"(Examples:
  kiv config verify configuration.json
  kiv config verify configuration.json --certificate signing.certificate.txt --key 5e0bd1f2c3a4b5d6e7f80912)";

struct VerificationKey {
    PublicKey key;
    std::string description;
};

/// The key of a certificate, which is given as a file or as its text; empty for the built-in certificate.
VerificationKey verificationKey(const std::string& certificate) {
    std::string name = "the built-in certificate";
    std::string text(KIVSignatureChecker::KIVCertificateBase64());
    if (!certificate.empty()) {
        std::error_code ignored;
        const bool isFile = std::filesystem::exists(certificate, ignored);
        name = isFile ? certificate : "--certificate, which names no file";
        text = isFile ? readInput(certificate) : certificate;
    }
    const auto key = PublicKey::fromCertificate(certificateDer(text, name));
    if (!key) {
        throw BadInput(name + ": holds no certificate with an RSA key", std::nullopt, adviceForCertificate);
    }
    return {*key, certificate == text ? "the given certificate" : name};
}

/// Prints a line for each point that was checked, and counts the wrong ones.
class Checklist {
public:
    void good(std::string_view point, const std::string& what) {
        tell(Terminal::Style::good, "ok", point, what);
    }
    void warning(std::string_view point, const std::string& what) {
        tell(Terminal::Style::warning, "warning", point, what);
    }
    void wrong(std::string_view point, const std::string& what) {
        tell(Terminal::Style::error, "wrong", point, what);
        ++wrong_;
    }

    std::size_t wrongPoints() const { return wrong_; }

private:
    void tell(Terminal::Style style, std::string_view verdict, std::string_view point,
              const std::string& what) {
        constexpr std::size_t verdictWidth = 9;
        constexpr std::size_t indent = 26;
        const std::string name = padded(point, indent - verdictWidth - 2);
        std::cout << "  " << terminal_.styled(style, padded(verdict, verdictWidth)) << name
                  << terminal_.wrapped(printable(what), indent, indent) << '\n';
    }

    Terminal terminal_ = Terminal::ofOutput();
    std::size_t wrong_ = 0;
};

/// The member as a text. When the member is missing or no text, prints that and returns null.
const json::string* needText(const json::object& envelope, std::string_view name, Checklist& checks) {
    const json::string* text = textMember(envelope, name);
    if (!envelope.contains(name)) {
        checks.wrong(name, "missing");
    } else if (!text) {
        checks.wrong(name, "not a text");
    }
    return text;
}

void checkSignature(const json::object& envelope, const json::string* data,
                    const VerificationKey& verification, Checklist& checks) {
    constexpr std::string_view point = KIVC_JSON_signature;
    const json::string* text = needText(envelope, point, checks);
    if (!text) {
        return;
    }
    const std::optional<std::string> signature = decodeBase64(*text);
    const std::size_t block = verification.key.blockSize();
    if (!signature) {
        checks.wrong(point, "not base64 on one line with its padding");
    } else if (signature->size() < block) {
        checks.wrong(point, "too short: " + counted(signature->size(), "byte") +
                                "; signatures by the certificate's key have " + std::to_string(block));
    } else if (!data) {
        checks.wrong(point, "there is no \"data\" that it could belong to");
    } else if (!KIVSignatureChecker::PKCSVerifyBytesSHA256withRSAWithPlainData(*data, *signature,
                                                                               verification.key)) {
        checks.wrong(
            point, "does not match: \"data\" was changed after signing, or was signed with a key other than "
                   "that of " +
                       verification.description);
    } else if (signature->size() > block) {
        checks.warning(point,
                       "longer than a signature; its first " + std::to_string(block) + " bytes are valid");
    } else {
        checks.good(point, "made with the key of " + verification.description);
    }
}

void checkPayload(const json::string& data, const std::string& appKey, Checklist& checks) {
    json::object payload;
    try {
        payload = parseObject(data, "");
    } catch (const BadInput& problem) {
        checks.wrong(KIVC_JSON_data, messageText(problem));
        return;
    }
    checks.good(KIVC_JSON_data, counted(data.size(), "byte") + ", " +
                                    counted(experimentsOf(payload).size(), "experiment") + ", " +
                                    counted(targetGroupsOf(payload).size(), "target group"));
    const json::string* application = needText(payload, KIVC_JSON_appKey, checks);
    if (!application) {
        return;
    }
    if (!appKey.empty() && *application != appKey) {
        checks.wrong(KIVC_JSON_appKey, "made for another application: expected " + inQuotes(appKey) +
                                           ", actual " + inQuotes(*application));
    } else {
        checks.good(KIVC_JSON_appKey, std::string(*application));
    }
}

void checkDate(const json::object& envelope, Checklist& checks) {
    const json::value* date = member(envelope, KIVC_JSON_data_signedDate);
    const json::string* text = date ? date->if_string() : nullptr;
    if (text && parseDate(*text)) {
        checks.good(KIVC_JSON_data_signedDate, std::string(*text));
    } else {
        checks.warning(KIVC_JSON_data_signedDate,
                       std::string(date ? "not a date like 2026-01-31T12:00:00.000Z" : "missing") +
                           ": an application cannot tell whether this document is newer than its stored one");
    }
}

int verify(const Options& options) {
    const VerificationKey verification = verificationKey(options.certificate);
    const json::object envelope = parseObject(readInput(options.envelope), options.envelope);
    std::cout << printable(options.envelope) << '\n';
    Checklist checks;
    const json::string* data = needText(envelope, KIVC_JSON_data, checks);
    if (data) {
        checkPayload(*data, options.appKey, checks);
    }
    checkSignature(envelope, data, verification, checks);
    checkDate(envelope, checks);
    if (checks.wrongPoints() > 0) {
        const bool isPayload = !isEnvelope(envelope) && envelope.contains(KIVC_JSON_appKey);
        throw BadInput(options.envelope + ": an application would refuse this document", std::nullopt,
                       isPayload ? "It is a payload without an envelope: 'kiv config sign' makes one."
                                 : "Each line marked \"wrong\" says why. 'kiv config sign' makes a valid "
                                   "document of a payload.");
    }
    return exitFine;
}

} // namespace

void addVerifyCommand(CLI::App& parent, int& exitCode) {
    auto options = std::make_shared<Options>();
    CLI::App* command = parent.add_subcommand("verify", "Check an envelope as an application would");
    command->add_option("ENVELOPE", options->envelope, "File with the envelope, - for standard input")
        ->required()
        ->type_name("");
    command
        ->add_option("--certificate", options->certificate,
                     "Certificate of the signer, a file or the text itself; the built-in one by default")
        ->type_name("FILE-OR-TEXT");
    CLI::Option* key =
        command->add_option("--key", options->appKey, "Key of the application that it must be made for")
            ->type_name("KEY");
    addOldSpelling(*command, key, "--app-key");
    command->footer(examples);
    command->callback([options, &exitCode] { exitCode = verify(*options); });
}

} // namespace kiv::tool
