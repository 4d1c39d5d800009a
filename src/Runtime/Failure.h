#pragma once

#include <optional>

#include <kiv/KIVException.h>

#include "Platform/Threads/ThreadEnd.h"

namespace kiv {

/// Runs `call`, which may run a callback of the application, and returns the exception that it threw; nullopt
/// when it threw none. Does not catch a `ThreadEnd`. Handle the failure after this function has returned: a
/// callback that runs inside a `catch` could not end its thread.
template <class Call>
std::optional<KIVException> failureOf(Call&& call) {
    try {
        call();
    } catch (const ThreadEnd&) {
        throw;
    } catch (...) {
        return KIVException::current();
    }
    return std::nullopt;
}

} // namespace kiv
