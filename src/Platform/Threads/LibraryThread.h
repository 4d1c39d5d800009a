#pragma once

#include <chrono>
#include <functional>

/// The few threads of the library. Each has a name, blocks every signal and cannot be cancelled.
///
/// The end of the process does not wait for their work. Yet no thread may use a library that is being torn
/// down: an exit handler, which runs before OpenSSL's own, tells each thread to stop, and waits a short time
/// for it. A child after a fork has none of these threads, and starts its own once it is not silent any more
/// (Fork.h).
namespace kiv {

/// Starts a thread that calls `run` and ends when `run` returns or throws a `ThreadEnd`. False when the
/// system has no thread to give, when the process is ending, and in a silent child after a fork. `name` has
/// at most 15 characters.
///
/// When the process ends, the exiting thread calls `interrupt`, which must not wait. `run` must then see that
/// `processIsEnding` is true, and return soon. The exiting thread waits for `run` for at most `patience`.
/// Callable from any thread.
bool startLibraryThread(const char* name, std::function<void()> run, std::function<void()> interrupt,
                        std::chrono::milliseconds patience);

/// Does not return on a thread of the library when the process is ending; elsewhere it does nothing. For
/// long work, at places where no lock is held.
void haltIfProcessEnds() noexcept;

/// Whether the exit handlers of the process have begun to run. Callable from any thread.
bool processIsEnding() noexcept;

} // namespace kiv
