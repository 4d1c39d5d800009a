#pragma once

#include <optional>
#include <string>
#include <string_view>

class KivxParser;
struct EvaluationContext;

/// What the experiment operators ask of target groups. Called on the thread that evaluates, from any thread.
class KivxTargetGroupSource {
public:
    virtual ~KivxTargetGroupSource() = default;

    /// Whether there is a group of that identifier and its condition holds, evaluated with the parser. May
    /// throw what fails the evaluation.
    virtual bool isInTargetGroup(std::string_view identifier, const KivxParser& parser,
                                 std::string_view flagName) const = 0;

    /// Whether this device was linked to the group, known or not.
    virtual bool isTargetGroupPaired(std::string_view identifier) const = 0;
};

/// What the experiment operators ask of flags. Called on the thread that evaluates, from any thread.
class KivxFlagValueSource {
public:
    virtual ~KivxFlagValueSource() = default;

    /// The value that a read of the registered flag with this context gives. Without such a flag, what the
    /// configuration gives for the name; nothing when it gives none.
    virtual std::optional<std::string> valueOfFlag(std::string_view name,
                                                   const EvaluationContext& context) const = 0;
};
