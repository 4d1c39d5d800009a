#pragma once

#include <chrono>

/// A moment, in microseconds since 1970-01-01 UTC.
using KIVDate = std::chrono::time_point<std::chrono::system_clock, std::chrono::microseconds>;
