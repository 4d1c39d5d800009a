#pragma once

/// How long a flag keeps ("freezes") the value of a read. The levels are in order: a request to thaw with a
/// level thaws the flags of that level and of every higher one.
enum KIVFreezeLevel : unsigned {
    KIVFreezeForever = 0,         ///< until the process ends
    KIVFreezeUntilUnfreeze = 1,   ///< until `unfreeze` or the next setup
    KIVFreezeUntilForeground = 2, ///< also until the application returns to the foreground
    KIVFreezeNever = 3,           ///< each read evaluates; the library's default
};
