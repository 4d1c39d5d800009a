#pragma once

#include <string>

#include "Command.h"

namespace kiv::tool {

/// Adds `--signing-key FILE`, which sets `file` to the path of a private key. The old spelling `--key FILE`
/// works too, unless the value has the form of an application's key: then parsing refuses the command line,
/// because `--key` now means an application's key.
CLI::Option* addSigningKeyOption(CLI::App& command, std::string& file);

} // namespace kiv::tool
