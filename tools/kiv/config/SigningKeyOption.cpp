#include "config/SigningKeyOption.h"

#include <CLI/CLI.hpp>

#include "Model/KeyForm.h"
#include "Terminal.h"

namespace kiv::tool {
namespace {

/// The error message for a value of `--key` that is an application's key; empty for any other value, which
/// names a file.
std::string refusalOf(const std::string& value) {
    if (!isApplicationKeyForm(value) && !isUuidForm(value)) {
        return "";
    }
    return inQuotes(value) + " is an application's key, which this command does not take. The file with the "
                             "private key is given with --signing-key.";
}

} // namespace

CLI::Option* addSigningKeyOption(CLI::App& command, std::string& file) {
    CLI::Option* option =
        command.add_option("--signing-key", file, "File with the private key")->type_name("FILE");
    addOldSpelling(command, option, "--key");
    command.get_option("--key")->check(CLI::Validator(refusalOf, ""));
    return option;
}

} // namespace kiv::tool
