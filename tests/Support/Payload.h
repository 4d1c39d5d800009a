#pragma once

#include <string>

#include "Platform/Text/Json.h"

/// An experiment that gives the flag the value of the expression `condition`. `more` adds members or replaces
/// them.
kiv::json::object makeExperiment(const std::string& flag, const std::string& condition,
                                 const kiv::json::object& more = {});

/// The text of a payload for the application of the SDK key. `more` adds members or replaces them.
std::string makePayload(const std::string& key, const kiv::json::array& experiments,
                        const kiv::json::object& more = {});
