#pragma once

#include <string>

namespace kiv {

/// Gives a line, without a line break, to the host's log sink; writes it to standard error when there is no
/// sink. Lines that are logged while the sink runs on the same thread are left out. What the sink throws ends
/// here. Callable from any thread, without a lock.
void writeHostLog(const std::string& line);

} // namespace kiv
