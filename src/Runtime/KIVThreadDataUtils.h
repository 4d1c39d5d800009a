#pragma once

#include <csetjmp>
#include <optional>

#include "Runtime/KIVSignalHandlingData.h"

/// Stacks of the calling thread, for turning signals into exceptions. Each pop removes and answers the
/// element that was pushed last, and answers nothing when there is none.
class KIVThreadDataUtils {
public:
    KIVThreadDataUtils() = delete;

    /// The buffer is not copied: its owner keeps it until it is popped.
    static void pushJumpBuffer(std::jmp_buf& buffer);
    static std::jmp_buf* popJumpBuffer();

    static void pushTranslateSignalToException(bool translate);
    static std::optional<bool> popTranslateSignalToException();
    /// What was pushed last, without removing it; false when there is none.
    static bool shouldTranslateSignalToException();

    static void pushSignalHandlingData(KIVSignalHandlingData data);
    static std::optional<KIVSignalHandlingData> popSignalHandlingData();
};
