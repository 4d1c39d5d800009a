#pragma once

#include <csetjmp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// A caught signal and the stack of the thread that it hit. Immutable.
class KIVSignalHandlingData {
public:
    KIVSignalHandlingData() = delete;
    KIVSignalHandlingData(int signo, int codeno, std::vector<std::string> strackFrames)
        : signo_(signo), codeno_(codeno), stackFrames_(std::move(strackFrames)) {}

    int signo() const { return signo_; }
    int codeno() const { return codeno_; }
    const std::vector<std::string>& stackFrames() const { return stackFrames_; }

private:
    int signo_;
    int codeno_;
    std::vector<std::string> stackFrames_;
};

/// Stacks of the calling thread, for turning signals into exceptions. Each pop removes and returns the
/// element that was pushed last; null or nullopt when the stack is empty.
class KIVThreadDataUtils {
public:
    KIVThreadDataUtils() = delete;

    /// The buffer is not copied: its owner keeps it until it is popped.
    static void pushJumpBuffer(std::jmp_buf& buffer);
    static std::jmp_buf* popJumpBuffer();

    static void pushTranslateSignalToException(bool translate);
    static std::optional<bool> popTranslateSignalToException();
    /// The element that was pushed last, without removing it; false when the stack is empty.
    static bool shouldTranslateSignalToException();

    static void pushSignalHandlingData(KIVSignalHandlingData data);
    static std::optional<KIVSignalHandlingData> popSignalHandlingData();
};
