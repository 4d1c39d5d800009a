#pragma once

#include <string>

#include <cxxabi.h>

namespace kiv {

/// The exception that unwinds the stack of a thread when a callback calls `pthread_exit`, or the thread is
/// cancelled. The C library ends the process when this exception is stopped on its way. So each `catch (...)`
/// around a callback of the application has a clause before it that passes the exception on, and no function
/// on the way is `noexcept`:
///
///     catch (const kiv::ThreadEnd&) { throw; }
///
/// `kiv::failureOf` (Runtime/Failure.h) does so. No callback runs inside a `catch`, because a thread cannot
/// end there.
///
/// A callback may end a thread of the application. It must not end a thread of the library. If it does, that
/// thread ends, and the rest of the task that ran the callback does not run; the log says so once
/// (`threadEndText`), and a new thread takes over the other tasks. Threads of the library cannot be
/// cancelled.
using ThreadEnd = abi::__forced_unwind;

/// The line of the log about the thread of that name.
inline std::string threadEndText(const std::string& thread) {
    return "A callback ended the library's thread " + thread +
           "; another one takes its place. Callbacks must not end threads of the library.";
}

} // namespace kiv
