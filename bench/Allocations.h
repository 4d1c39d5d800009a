#pragma once

#include <cstdint>

/// How often this thread has asked the heap for memory.
std::uint64_t allocationsOfThread();

/// Bytes of live heap of the process.
std::uint64_t liveHeapBytes();
