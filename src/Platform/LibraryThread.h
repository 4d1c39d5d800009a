#pragma once

#include <functional>

/// The few threads of the library. They are named, block every signal, and are never joined.
///
/// The end of the process does not wait for their work, but lets none of them run into what is being torn
/// down: before OpenSSL and what is older gives up its memory, each thread is told to stop, and has 50
/// milliseconds to come to a halt. A process that has forked has no such threads in the child: the library
/// cannot be used there.
namespace kiv {

/// Starts a thread; false when the system has none to give or the process is ending. `name` has at most 15
/// characters. `run` returns when, and only when, `processIsEnding`; `interrupt` is then called on the
/// exiting thread to wake it, and must not wait. Callable from any thread.
bool startLibraryThread(const char* name, std::function<void()> run, std::function<void()> interrupt);

/// Whether the exit handlers of the process have begun to run. Callable from any thread.
bool processIsEnding() noexcept;

} // namespace kiv
