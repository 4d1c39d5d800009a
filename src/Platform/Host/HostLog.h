#pragma once

#include <string>

namespace kiv {

/// Passes a line, without a line break, to the host's log sink, or writes the line to standard error when
/// there is no sink. Drops a line that the sink itself logs while it runs. Does not pass on an exception of
/// the sink, except a `ThreadEnd`. Callable from any thread that holds no lock.
void writeHostLog(const std::string& line);

} // namespace kiv
