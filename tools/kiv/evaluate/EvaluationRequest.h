#pragma once

#include <string>
#include <utility>
#include <vector>

#include <kiv/KIVDynamicPropertyContext.h>

#include "Platform/Text/Json.h"
#include "evaluate/InputValue.h"

namespace kiv::tool {

/// An expression and the world that it is to be evaluated in.
struct EvaluationRequest {
    std::string expression;
    std::string flagName = {};
    std::vector<Property> properties = {};
    KIVDynamicPropertyContext::Values context = {};
    std::vector<std::pair<std::string, std::string>> targetGroups = {}; ///< identifier and condition
};

/// Reads {"expression", "flagName", "properties", "context", "targetGroups"}, of which only the expression is
/// required. Throws `BadInput` that names the wrong member.
EvaluationRequest parseRequest(const json::value& document);

} // namespace kiv::tool
