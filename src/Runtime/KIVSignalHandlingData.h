#pragma once

#include <string>
#include <utility>
#include <vector>

/// A signal that was caught, and where. Immutable.
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
