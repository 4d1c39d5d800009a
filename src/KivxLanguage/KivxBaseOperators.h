#pragma once

class KivxParser;

/// The operators for logic (and, or, not, ifThen, isUndefined), equality (eq, ne, numeq, numne, inArray),
/// texts (concat, md5, b64d) and time (now, tsToNum).
class KivxBaseOperators {
public:
    explicit KivxBaseOperators(KivxParser& parser) : parser_(parser) {}

    /// Adds the operators to the parser. They outlive this object.
    void extend();

private:
    KivxParser& parser_;
};
