#pragma once

#include <atomic>

#include "Runtime/KIVDebugger.h"

/// Whether the analytics log is written. Off until the application asks for it.
inline std::atomic<bool> kivSegLogEnabled{false};

/// A line of the analytics log, for the host's log sink: a pattern with placeholders, then its arguments,
/// which are evaluated only when the line is written.
#define KIV_SEG_LOG(...)                                                                                     \
    do {                                                                                                     \
        if (kivSegLogEnabled.load(std::memory_order_relaxed)) {                                              \
            kiv::plainLog(kiv::format(__VA_ARGS__));                                                         \
        }                                                                                                    \
    } while (false)
