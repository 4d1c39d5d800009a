#pragma once

class KivxParser;

/// The operator that searches a text for a pattern (match).
class KivxRegularExpressionExtensions {
public:
    explicit KivxRegularExpressionExtensions(KivxParser& parser) : parser_(parser) {}

    /// Adds the operator to the parser. It outlives this object.
    void extend();

private:
    KivxParser& parser_;
};
