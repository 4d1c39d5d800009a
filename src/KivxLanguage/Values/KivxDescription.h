#pragma once

#include <cstddef>
#include <string>

#include <kiv/KivxValue.h>

namespace kiv {

/// Appends the value as it appears in logs to a text; stops when the text has more than `most` bytes.
void describe(const KivxValue& value, std::string& text, std::size_t most);

/// The description of a value for the message of a failure, cut off where it gets long: a value may be a text
/// of megabytes.
std::string shortDescription(const KivxValue& value);

} // namespace kiv
