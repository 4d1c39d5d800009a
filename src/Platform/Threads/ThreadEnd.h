#pragma once

#include <cxxabi.h>

namespace kiv {

/// What unwinds a thread that is cancelled or calls `pthread_exit`. The process ends when a `catch (...)`
/// keeps it, so each one around a callback of the application's passes it on first (see also
/// Runtime/Failure.h): `catch (const kiv::ThreadEnd&) { throw; }`.
using ThreadEnd = abi::__forced_unwind;

} // namespace kiv
