#pragma once

#include <optional>

#include <kiv/KIVException.h>

#include "Platform/Threads/ThreadEnd.h"

namespace kiv {

/// Runs a callback of the application's, or what may run one. What it threw, or nothing; the end of a thread
/// goes on. Answer a failure after this has returned: a thread cannot end in a callback that runs inside a
/// `catch`.
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
