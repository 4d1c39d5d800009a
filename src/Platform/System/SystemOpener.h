#pragma once

#include <string>

namespace kiv {

/// Opens an address with the program that the system has for it. Does not wait for that program, which keeps
/// none of this process's files open and is no child of it. False when the system has no opener. Callable
/// from any thread.
bool openWithSystem(const std::string& address);

} // namespace kiv
