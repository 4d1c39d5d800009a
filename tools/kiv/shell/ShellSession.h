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

/// What a shell keeps from one command to the next.
struct ShellSession {
    /// Shared with the handlers, which the library keeps until the process ends.
    std::shared_ptr<ShellOutput> output = std::make_shared<ShellOutput>();
    /// The registered flags by full name. They stay readable after a shutdown, as in an application that
    /// keeps its containers.
    std::map<std::string, std::shared_ptr<KIVString>> registered = {};
    std::shared_ptr<KIVFlagsScreen> flagsScreen = {}; ///< null while none is presented
    bool isOver = false;
};

/// The names of the events.
inline constexpr std::string_view shellConfigurationFetched = "configurationFetched";
inline constexpr std::string_view shellImpression = "impression";
inline constexpr std::string_view shellUnhandledError = "unhandledError";

/// The commands that do more than call one operation of the facade. Each returns the fields of its answer.
/// Throws `BadInput`, and what the library throws.
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
