#pragma once

/// Whether the library promises that a child after a fork can read flags. Until it does, a child that hangs
/// is counted, and is no failure.
inline constexpr bool childrenMayRead = false;

/// What a child after a fork calls before it uses more of the library than reads of flags. False when the
/// library cannot be used there: then the child only reads.
inline bool resumeAfterFork() { return false; }
