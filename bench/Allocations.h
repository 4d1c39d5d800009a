#pragma once

#include <cstdint>

/// How many heap allocations this thread has made so far.
std::uint64_t allocationsOfThread();

/// Bytes that the process holds on the heap now.
std::uint64_t liveHeapBytes();
