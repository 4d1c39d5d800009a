#pragma once

#include <vector>

#include "Platform/Text/Json.h"
#include "lint/LintedFile.h"

namespace kiv::tool {

/// The findings as a SARIF 2.1.0 log, which editors and code hosts show beside the lines of the files.
json::object sarifLog(const std::vector<LintedFile>& files);

} // namespace kiv::tool
