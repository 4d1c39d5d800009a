#pragma once

#include <string>
#include <vector>

namespace kiv {

/// Sorts texts as a dictionary of the locale's language does ("en_GB"; empty for no language in particular),
/// regardless of case. Texts that differ in case alone keep their order.
void sortIgnoringCase(std::vector<std::string>& texts, const std::string& locale);

} // namespace kiv
