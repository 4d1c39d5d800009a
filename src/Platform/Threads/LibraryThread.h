#pragma once

#include <chrono>
#include <functional>

/// The few threads of the library. They are named and block every signal, and nobody waits for their work.
///
/// The end of the process does not wait for their work, but lets none of them run into what is being torn
/// down: before OpenSSL and what is older gives up its memory, each thread is told to stop, and is given a
/// little time to come to a halt. A process that has forked has no such threads in the child: the library
/// cannot be used there.
namespace kiv {

/// Starts a thread; false when the system has none to give or the process is ending. `name` has at most 15
/// characters. The thread ends when `run` returns, and `run` returns when `processIsEnding`; `interrupt` is
/// then called on the exiting thread to wake it, and must not wait. The end of the process waits for the
/// thread as long as `patience`, at most. Callable from any thread.
bool startLibraryThread(const char* name, std::function<void()> run, std::function<void()> interrupt,
                        std::chrono::milliseconds patience);

/// For a place in the midst of a library thread's work where it holds no lock: does not return when the
/// process is ending. Nothing happens on other threads.
void haltIfProcessEnds() noexcept;

/// Whether the exit handlers of the process have begun to run. Callable from any thread.
bool processIsEnding() noexcept;

} // namespace kiv
