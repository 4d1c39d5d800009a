#pragma once

#include <chrono>

/// How long a test waits for an event that must come, before it fails. It is long because a busy machine is
/// slow; a test that passes does not wait until the end.
inline constexpr std::chrono::seconds patience{30};
