#pragma once

#include <span>

class KivxParser;
class KivxStack;

/// The operators that order numbers (lt, lte, gt, gte) and versions (semverEq, semverNe, semverLt, …).
class KivxValueCompareExtensions {
public:
    explicit KivxValueCompareExtensions(KivxParser& parser) : parser_(parser) {}

    void extend();

    /// Pops two arguments and pushes whether the second compared with the first (-1, 0 or 1) is one of
    /// `trueResultFor`. `undefined` gives false, and so do values that are no numbers when numbers are asked
    /// for. Throws when versions are asked for and an argument is no text. Asked for neither, values have an
    /// order of their own: by kind, then by value.
    static void compareStackTop(KivxStack& stack, std::span<const int> trueResultFor, bool asSemVer,
                                bool asNumber);

private:
    KivxParser& parser_;
};
