#pragma once

#include <span>

class KivxParser;
class KivxStack;

/// The operators that order numbers (lt, lte, gt, gte) and versions (semverEq, semverNe, semverLt, …).
class KivxValueCompareExtensions {
public:
    explicit KivxValueCompareExtensions(KivxParser& parser) : parser_(parser) {}

    /// Adds the operators to the parser. They outlive this object.
    void extend();

    /// Pops two arguments, compares the second with the first (-1, 0 or 1), and pushes whether the outcome is
    /// one of `trueResultFor`. An `undefined` argument gives false.
    ///
    /// With `asSemVer` the arguments are compared as versions; throws when one is not a text. With `asNumber`
    /// they are compared as numbers; false when one is not a number. With neither they are compared by kind,
    /// then by value.
    static void compareStackTop(KivxStack& stack, std::span<const int> trueResultFor, bool asSemVer,
                                bool asNumber);

private:
    KivxParser& parser_;
};
