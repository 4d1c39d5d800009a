#pragma once

#include <string>

#include <cxxabi.h>

namespace kiv {

/// What unwinds the stack of a thread on which somebody calls `pthread_exit`, or which is cancelled. The C
/// library ends the process when it does not reach the thread's beginning. So each `catch (...)` around a
/// callback of the application has a clause before it that lets it pass, and no function on the way is
/// `noexcept`:
///
///     catch (const kiv::ThreadEnd&) { throw; }
///
/// `kiv::failureOf` (Runtime/Failure.h) does so. No callback runs inside of a `catch`: there a thread cannot
/// end.
///
/// A callback may end a thread of the application's. It must not end one of the library's; if it does, the
/// thread goes, with what was left of the task that ran the callback, the log says so once (`threadEndText`),
/// and a new thread does the rest. Threads of the library cannot be cancelled.
using ThreadEnd = abi::__forced_unwind;

/// The line of the log about the thread of that name.
inline std::string threadEndText(const std::string& thread) {
    return "A callback ended the library's thread " + thread +
           "; another one takes its place. Callbacks must not end threads of the library.";
}

} // namespace kiv
