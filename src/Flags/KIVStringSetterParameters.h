#pragma once

#include <string>
#include <utility>

/// A value for a flag, and whether an experiment gave it.
class KIVStringSetterParameters {
public:
    KIVStringSetterParameters(bool experimenting, std::string value)
        : experimenting_(experimenting), value_(std::move(value)) {}

    bool experimenting() const { return experimenting_; }
    const std::string& value() const { return value_; }

private:
    bool experimenting_;
    std::string value_;
};
