#pragma once

#include <map>
#include <memory>
#include <string>

#include "Platform/Text/Json.h"
#include "shell/ShellFields.h"
#include "shell/ShellOutput.h"

class KIVFlagsScreen;
class KIVString;

namespace kiv::tool {

/// What one run of the shell keeps between its commands.
struct ShellSession {
    /// Shared with the handlers, which the library keeps to the end of the process.
    std::shared_ptr<ShellOutput> output = std::make_shared<ShellOutput>();
    /// What was registered, by full name: an application has its containers, also after a shutdown.
    std::map<std::string, std::shared_ptr<KIVString>> registered = {};
    std::shared_ptr<KIVFlagsScreen> flagsScreen = {}; ///< null while none is presented
    bool isOver = false;
};

/// Names of the events.
inline constexpr std::string_view shellConfigurationFetched = "configurationFetched";
inline constexpr std::string_view shellImpression = "impression";
inline constexpr std::string_view shellUnhandledError = "unhandledError";

/// The commands that are more than a call of the facade. Each answers the fields of its result, and throws
/// what the library throws, or `BadInput`.
namespace shell {
json::object configureHost(ShellSession& session, const ShellFields& fields);
json::object setup(ShellSession& session, const ShellFields& fields);
json::object setStateDebounceTime(ShellSession& session, const ShellFields& fields);
json::object waitForEvent(ShellSession& session, const ShellFields& fields);

json::object registerFlags(ShellSession& session, const ShellFields& fields);
json::object read(ShellSession& session, const ShellFields& fields);
json::object peek(ShellSession& session, const ShellFields& fields);
json::object originalValue(ShellSession& session, const ShellFields& fields);
json::object describe(ShellSession& session, const ShellFields& fields);
json::object forceValue(ShellSession& session, const ShellFields& fields);
json::object dynamicRead(ShellSession& session, const ShellFields& fields);
json::object allFlags(ShellSession& session, const ShellFields& fields);
json::object setOverride(ShellSession& session, const ShellFields& fields);
json::object clearOverride(ShellSession& session, const ShellFields& fields);
json::object clearOverrides(ShellSession& session, const ShellFields& fields);

json::object presentFlagsScreen(ShellSession& session, const ShellFields& fields);
json::object dismissFlagsScreen(ShellSession& session, const ShellFields& fields);

json::object setProperty(ShellSession& session, const ShellFields& fields);
json::object deviceProperties(ShellSession& session, const ShellFields& fields);
json::object evaluate(ShellSession& session, const ShellFields& fields);
} // namespace shell

} // namespace kiv::tool
