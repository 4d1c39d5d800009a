#pragma once

namespace kiv {

/// Makes every later `dlclose` leave the object in memory that holds this library: a plug-in, or the shared
/// library. A plug-in that is loaded again then finds the library as it was.
///
/// Unloading cannot be made safe. A thread of the library may be inside a callback of the application or a
/// look-up of a host's name, which nobody can end, and threads of the application have thread-local objects
/// of the library. To be called before the first thread starts and before the first handler of forks is set.
void keepLoaded() noexcept;

/// The same for the object that holds the code or data at the address.
void keepLoaded(const void* address) noexcept;

} // namespace kiv
