#pragma once

#include <string>

namespace kiv {

/// Gives a line, without a line break, to the host's log sink, or writes it to standard error when there is
/// no sink. Lines that are logged on a thread while the sink runs there are left out. An exception of the
/// sink ends here. Callable from any thread that holds no lock.
void writeHostLog(const std::string& line);

} // namespace kiv
