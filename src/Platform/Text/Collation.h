#pragma once

#include <string>
#include <vector>

namespace kiv {

/// Sorts texts as a dictionary of the locale's language does, ignoring case. `locale` has the form "en_GB";
/// empty for no particular language. Texts that differ in case only keep their order.
void sortIgnoringCase(std::vector<std::string>& texts, const std::string& locale);

} // namespace kiv
