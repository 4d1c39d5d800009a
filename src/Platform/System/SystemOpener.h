#pragma once

#include <string>

namespace kiv {

/// Opens an address with the program that the system has chosen for it. Does not wait for that program, which
/// is no child of this process and has none of its files open. False when the system has no `xdg-open`.
/// Callable from any thread.
bool openWithSystem(const std::string& address);

} // namespace kiv
